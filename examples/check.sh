#!/bin/sh
# check.sh EXPECTED FOLDER COMMAND...
#
# Runs the command in a new folder, with the path of a database file to make there as its last
# argument, and compares what it prints with the file EXPECTED.
set -eu
expected=$1 folder=$2
shift 2
rm -rf -- "$folder"
mkdir -- "$folder"
cd -- "$folder"
"$@" "$folder/example.db" >output.txt
diff -u -- "$expected" output.txt

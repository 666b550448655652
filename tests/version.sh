#!/bin/sh
# version.sh VERSION HEADER [LIBRARY]: the header's macros say VERSION, and so does a text within
# the library.
set -eu
fail() {
    echo "$1 does not say $version"
    exit 1
}
version=$1
numbers=$(sed -n 's/^#define VAMEL_VERSION_\(MAJOR\|MINOR\|PATCH\) //p' "$2" | paste -sd.)
[ "$numbers" = "$version" ] || fail "$2: $numbers"
grep -q "^#define VAMEL_VERSION_STRING \"$version\"\$" "$2" || fail "$2: VAMEL_VERSION_STRING"
[ $# -lt 3 ] || grep -aqF "vamel $version (" "$3" || fail "$3"

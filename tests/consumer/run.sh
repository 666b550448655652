#!/bin/sh
# run.sh PREFIX FOLDER: builds the consumer with the vamel that is installed under PREFIX, through
# CMake and through pkg-config, with the shared and with the static libraries, and runs it. FOLDER
# is made for what that takes.
set -eu
prefix=$(realpath "$1")
source=$(realpath "$(dirname "$0")")
mkdir -p "$2"
cd "$2"

fail() {
    echo "consumer of $prefix: $1" >&2
    exit 1
}

# uses PROGRAM yes|no: does it load libvamel, and then that of PREFIX?
uses() {
    loaded=$(ldd "$1" 2>/dev/null | sed -n 's/.*libvamel\.so\.1 => \([^ ]*\).*/\1/p')
    case $2:$loaded in
        no:) ;;
        yes:?*) case $(realpath "$loaded") in "$prefix"/*) ;; *) fail "$1 loads $loaded" ;; esac ;;
        *) fail "$1 loads '$loaded'" ;;
    esac
}

for build in cmake-c cmake-cxx; do
    languages=C
    [ $build = cmake-c ] || languages='C CXX'
    cmake -S "$source" -B "$build" -D CMAKE_PREFIX_PATH="$prefix" \
        -D CONSUMER_LANGUAGES="$languages"
    cmake --build "$build"
    (cd "$build" && ctest --output-on-failure --no-tests=error)
    uses "$build/c_vamel" yes
    uses "$build/c_vamel_static" no
done
uses "$build/cpp_vamel" yes
uses "$build/cpp_vamel_static" no

# On the system's own paths, nothing is to be set.
if [ "$prefix" != /usr ]; then
    PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vamel.pc)")
    export PKG_CONFIG_PATH
fi
version=$(pkg-config --modversion vamel)
libdir=$(pkg-config --variable=libdir vamel)
# The flags are words.
# shellcheck disable=SC2046
{
    cc -std=c99 "$source/consumer.c" -o c_shared \
        $(pkg-config --cflags --libs vamel) -Wl,-rpath,"$libdir"
    cc -std=c99 "$source/consumer.c" -o c_static \
        -static $(pkg-config --static --cflags --libs vamel)
    c++ -std=c++17 "$source/consumer.cpp" -o cpp_shared \
        $(pkg-config --cflags --libs vamel) -Wl,-rpath,"$libdir"
}
for program in c_shared c_static cpp_shared; do
    ./$program "$program.db" "$version" || fail "$program says $?"
done
uses c_shared yes
uses c_static no
echo "the consumer of $prefix builds and runs"

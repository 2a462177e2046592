#!/usr/bin/env bash
# Installs the build into a private prefix, then builds the consumer program
# twice, with pkg-config and with find_package(phonecore), and runs both.
set -euo pipefail
build=$1 work=$2 src=$3 sanitize=${4:-}
# A sanitized library wants its runtime in the program as well.
flags=
[ -n "$sanitize" ] && flags="-fsanitize=$sanitize"
rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libphonecore.so' | head -n 1)")

export PKG_CONFIG_PATH=$libdir/pkgconfig
cc -std=c99 -Wall -Werror $flags "$src/consumer.c" -o "$work/consumer-pc" $(pkg-config --cflags --libs phonecore)
LD_LIBRARY_PATH=$libdir "$work/consumer-pc"

# Ninja, which ./run installs: a new user's machine need not have make.
cmake -S "$src" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_FLAGS="$flags" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
LD_LIBRARY_PATH=$libdir "$work/cmake-build/consumer"

#!/usr/bin/env bash
# Installs a build into a fresh prefix and uses it as a stranger would.
#
#   consumer_test.sh BUILD_DIR PREFIX LIBDIR C_COMPILER CXX_COMPILER
set -euo pipefail
build=$1 prefix=$2 libdir=$3 cc=$4 cxx=$5
consumer=$(cd "$(dirname "$0")" && pwd)/consumer

rm -rf "$prefix"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$prefix" > "$work/install.log" || { cat "$work/install.log"; exit 1; }
# What is installed has to work without the build it came from, and wherever it is moved.
mv "$prefix" "$work/moved"
prefix=$work/moved

echo "-- through find_package"
cmake -S "$consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_CXX_COMPILER="$cxx" > "$work/configure.log" || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/build" > "$work/build.log" || { cat "$work/build.log"; exit 1; }
"$work/build/consumer_c" "$work/c.canvas"
"$work/build/consumer_cxx" "$work/cxx.canvas"

echo "-- through pkg-config"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig LD_LIBRARY_PATH=$prefix/$libdir
read -r -a flags <<< "$(pkg-config --cflags --libs iocache_host)"
"$cc" -std=c11 -Wall -Wextra -Werror "$consumer/consumer.c" -o "$work/consumer" "${flags[@]}"
"$work/consumer" "$work/pkg_config.canvas"

if [[ -e $prefix/bin/iocache ]]; then
    echo "-- the command"
    env -u LD_LIBRARY_PATH "$prefix/bin/iocache" --help > /dev/null
    env -u LD_LIBRARY_PATH "$prefix/bin/iocache" info "$work/c.canvas" > /dev/null
fi
echo "installed, built and run"

#!/usr/bin/env bash
# Installs the build into a temporary prefix, then configures, builds and runs a client
# program against it with find_package(wxTaviro CONFIG) and with pkg-config.
set -euo pipefail
build=$1; src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$src/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/consumer" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib:${LD_LIBRARY_PATH:-}" "$work/consumer/consumer"
libdir=$(ls -d "$work"/prefix/lib*/pkgconfig | head -1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs wxTaviro)
g++ "$src/consumer/main.cpp" $flags $(wx-config --cxxflags --libs) -o "$work/consumer-pc"
LD_LIBRARY_PATH="$work/prefix/lib:${LD_LIBRARY_PATH:-}" "$work/consumer-pc"

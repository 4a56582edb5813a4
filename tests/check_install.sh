#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds the example against it the
# two ways a user would: CMake's find_package(olvm), and pkg-config with a plain compiler.
# Optional: the build's toolchain file and C flags (e.g. -m32), so the example is built
# for the same target as the library.
set -euo pipefail
build=$1 source=$2 toolchain=${3:-} cflags=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$source/examples" -B "$work/example" -DCMAKE_PREFIX_PATH="$work/prefix" \
  ${toolchain:+-DCMAKE_TOOLCHAIN_FILE="$toolchain"} >/dev/null
cmake --build "$work/example" >/dev/null
LD_LIBRARY_PATH="$work/prefix/lib" "$work/example/olvm_example"
pc="$work/prefix/lib/pkgconfig"
[ -d "$pc" ] || pc=$(dirname "$(find "$work/prefix" -name olvm.pc | head -n 1)")
cc $cflags -std=c99 -o "$work/pc_example" "$source/examples/lu_batch.c" \
   $(PKG_CONFIG_PATH="$pc" pkg-config --cflags --libs olvm)
LD_LIBRARY_PATH="$(dirname "$(find "$work/prefix" -name 'libolvm.so' | head -n 1)")" "$work/pc_example" >/dev/null
echo "installed package consumed through find_package and pkg-config"

#!/usr/bin/env bash
# Installs the library from a configured build directory into a temporary
# prefix, then builds and runs the example application against it, once
# through the CMake package and once through pkg-config; then the Java
# example against the installed jar and JNI library (check-install-java.sh).
# Usage: scripts/check-install.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:?usage: scripts/check-install.sh BUILD_DIR}"
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix/usr" >/dev/null
cmake -S examples/migrate_one_table -B "$prefix/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/cmake-build" >/dev/null
"$prefix/cmake-build/migrate_one_table" "$prefix"

export PKG_CONFIG_PATH="$(dirname "$(find "$prefix/usr" -name veq_migrate.pc)")"
# shellcheck disable=SC2046
g++ -std=c++20 examples/migrate_one_table/main.cpp -o "$prefix/pc-example" \
  $(pkg-config --static --cflags --libs veq_migrate)
"$prefix/pc-example" "$prefix"
echo "install check: the example builds and runs against the installed package (CMake and pkg-config)"
scripts/check-install-java.sh "$prefix/usr"

#!/usr/bin/env bash
# Installs the library from a configured build directory into a temporary
# prefix, then builds and runs the example application against it, once
# through the CMake package and once through pkg-config; then the C example
# (the C interface's header and shared library) the same two ways, on stores
# the build's tool generates; then the Java example against the installed jar
# and JNI library (check-install-java.sh).
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

"$build/veq-migrate" fixtures --out "$prefix/stores" --days 10 >/dev/null
c_example() {
  rm -f "$prefix/c-new.sqlite"
  cp "$prefix/stores/defaults.json" "$prefix/c-defaults.json"
  "$@" "$prefix/c-new.sqlite" --ios "$prefix/stores/ios.sqlite" --android "$prefix/stores/android.sqlite" \
    --android-cloud "$prefix/stores/android_cloud.sqlite" --defaults "$prefix/c-defaults.json" --zone UTC >/dev/null
}
cmake -S examples/c_migrate -B "$prefix/c-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix/usr" >/dev/null
cmake --build "$prefix/c-build" >/dev/null
c_example "$prefix/c-build/c_migrate"
# shellcheck disable=SC2046
cc -std=c99 -Wall -Wextra -pedantic -Werror examples/c_migrate/main.c -o "$prefix/pc-c-example" \
  $(pkg-config --cflags --libs veq_migrate_c)
LD_LIBRARY_PATH="$(pkg-config --variable=libdir veq_migrate_c)" c_example "$prefix/pc-c-example"
echo "install check: the examples build and run against the installed package (CMake and pkg-config; C++ and C)"
scripts/check-install-java.sh "$prefix/usr"

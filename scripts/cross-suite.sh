#!/usr/bin/env bash
# Builds the library, the tool and the tests for a phone processor with
# Debian's cross compiler and runs the whole test suite under qemu-user
# (the tests start the tool under qemu too).
# Usage: scripts/cross-suite.sh TARGET [BUILD_DIR]
#   TARGET: aarch64-linux-gnu (arm64) or arm-linux-gnueabihf (32-bit ARM)
#   BUILD_DIR: default build-cross/TARGET; the target's libraries are
#   unpacked into BUILD_DIR-root (scripts/cross-sysroot.sh).
# Extra arguments for ctest can be given in CTEST_ARGS (e.g. "-R Cli").
set -euo pipefail
cd "$(dirname "$0")/.."
target="${1:?usage: scripts/cross-suite.sh aarch64-linux-gnu|arm-linux-gnueabihf [BUILD_DIR]}"
case "$target" in
  aarch64-linux-gnu) arch=arm64 ;;
  arm-linux-gnueabihf) arch=armhf ;;
  *) echo "cross-suite: unknown target '$target' (aarch64-linux-gnu, arm-linux-gnueabihf)" >&2; exit 2 ;;
esac
build="${2:-build-cross/$target}"

# The host's cross compiler and emulator (native packages only).
host_packages=("g++-$target" qemu-user cmake ninja-build)
missing=()
for p in "${host_packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get install -y --no-install-recommends "${missing[@]}" ||
    { $SUDO apt-get update && $SUDO apt-get install -y --no-install-recommends "${missing[@]}"; }
fi

root="$(realpath -m "$build-root")"
scripts/cross-sysroot.sh "$arch" "$root"

# No benchmark: it measures the build machine, not the phone.
cmake -S . -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="cmake/toolchains/$target.cmake" \
  -DVEQ_TARGET_ROOT="$root" -DVEQ_BUILD_BENCH=OFF >/dev/null
cmake --build "$build"
# shellcheck disable=SC2086
ctest --test-dir "$build" --output-on-failure -j "$(nproc)" ${CTEST_ARGS:-}

#!/usr/bin/env bash
# Installs the Debian 12 packages the build needs, when any is missing.
# Safe to run again: with everything installed it does nothing.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libsqlite3-dev sqlite3 nlohmann-json3-dev libcli11-dev libfmt-dev
  libhowardhinnant-date-dev tzdata
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  chromium  # renders the HTML report in a test
  default-jdk-headless junit5  # the Android bridge's jar, JNI library and JVM tests
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends "${missing[@]}"

#!/usr/bin/env bash
# Installs a configured build directory into a temporary prefix and runs the
# Java example against the installed jar and JNI library, on stores the
# installed tool generates.
# Usage: scripts/check-install-java.sh BUILD_DIR
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:?usage: scripts/check-install-java.sh BUILD_DIR}"
prefix="$(mktemp -d)"
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix/usr" >/dev/null
jar="$(find "$prefix/usr" -name veq-migrate.jar)"
library="$(find "$prefix/usr" -name libveq_migrate_jni.so)"
if [ -z "$jar" ] || [ -z "$library" ]; then
  echo "install check: the jar or the JNI library was not installed (no JDK at configure time?)" >&2
  exit 1
fi
"$prefix/usr/bin/veq-migrate" fixtures --out "$prefix/stores" >/dev/null
# The source-file launcher compiles the example against the installed jar.
java -Djava.library.path="$(dirname "$library")" -cp "$jar" examples/java_migrate/Main.java "$prefix/stores"
echo "install check: the Java example runs against the installed jar and JNI library"

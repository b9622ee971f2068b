#!/usr/bin/env bash
# Runs the Java example against the jar and JNI library installed under
# PREFIX (scripts/check-install.sh calls it after installing a build), on
# stores the installed tool generates. Without a JVM on the machine the
# bridge is not built, and the check says so and passes.
# Usage: scripts/check-install-java.sh PREFIX
set -euo pipefail
cd "$(dirname "$0")/.."
prefix="${1:?usage: scripts/check-install-java.sh PREFIX}"

jar="$(find "$prefix" -name veq-migrate.jar)"
library="$(find "$prefix" -name libveq_migrate_jni.so)"
if [ -z "$jar" ] || [ -z "$library" ]; then
  if ! command -v java >/dev/null; then
    echo "install check: no JVM here, the Java bridge is not built (apt-get install default-jdk-headless)"
    exit 0
  fi
  echo "install check: the jar or the JNI library was not installed" >&2
  exit 1
fi
stores="$(mktemp -d)"
trap 'rm -rf "$stores"' EXIT
"$prefix/bin/veq-migrate" fixtures --out "$stores" >/dev/null
# The source-file launcher compiles the example against the installed jar.
java -Djava.library.path="$(dirname "$library")" -cp "$jar" examples/java_migrate/Main.java "$stores"
echo "install check: the Java example runs against the installed jar and JNI library"

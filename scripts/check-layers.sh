#!/usr/bin/env bash
# check-layers.sh [SOURCE_DIR]: fails when a file includes a header from a
# layer above its own, or a front end includes another. The layers, lowest
# first:
#   collaborators/  <  migration/  <  files/  <  fixtures/
#     <  the front ends cli/, capi/ (< android/)  <  bench/, tests/, fuzz/
# where cli/ uses the generators only in main.cpp, for the `fixtures`
# command; capi/ uses the library only, and android/ the C interface only.
# docs/architecture.md draws them.
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

status=0
# forbid FOLDER PATTERN: no file under FOLDER may include a header matching PATTERN.
forbid() {
  local folder="$1" pattern="$2" hits
  [ -d "$folder" ] || return 0
  hits="$(grep -rnE "^#include \"(${pattern})/" "$folder" --include='*.h' --include='*.cpp' --include='*.c' || true)"
  if [ -n "$hits" ]; then
    echo "$folder/ includes from a layer above it or from another front end:"
    echo "$hits"
    status=1
  fi
}

forbid collaborators 'migration|files|fixtures|cli|capi|android|bench|tests|fuzz'
forbid migration 'files|fixtures|cli|capi|android|bench|tests|fuzz'
forbid files 'fixtures|cli|capi|android|bench|tests|fuzz'
forbid fixtures 'cli|capi|android|bench|tests|fuzz'
hits="$(grep -rnE '^#include "(fixtures)/' cli --include='*.h' --include='*.cpp' | grep -v '^cli/main.cpp:' || true)"
if [ -n "$hits" ]; then
  echo "cli/ includes the generators outside its main:"
  echo "$hits"
  status=1
fi
forbid cli 'capi|android|bench|tests|fuzz'
forbid capi 'fixtures|cli|android|bench|tests|fuzz'
forbid android 'collaborators|migration|files|fixtures|cli|bench|tests|fuzz'
[ "$status" -eq 0 ] && echo "layers: every include points downward"
exit "$status"

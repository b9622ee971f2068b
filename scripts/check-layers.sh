#!/usr/bin/env bash
# check-layers.sh [SOURCE_DIR]: fails when a file includes a header from a
# layer above its own. The layers, lowest first:
#   collaborators/  <  migration/  <  fixtures/  <  cli/  <  bench/, tests/, fuzz/
# where cli/ uses the generators only in main.cpp, for the `fixtures`
# command. docs/architecture.md draws them.
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

status=0
# forbid FOLDER PATTERN: no file under FOLDER may include a header matching PATTERN.
forbid() {
  local folder="$1" pattern="$2" hits
  hits="$(grep -rnE "^#include \"(${pattern})/" "$folder" --include='*.h' --include='*.cpp' || true)"
  if [ -n "$hits" ]; then
    echo "$folder/ includes from a layer above it:"
    echo "$hits"
    status=1
  fi
}

forbid collaborators 'migration|fixtures|cli|bench|tests|fuzz'
forbid migration 'fixtures|cli|bench|tests|fuzz'
forbid fixtures 'cli|bench|tests|fuzz'
hits="$(grep -rnE '^#include "(fixtures)/' cli --include='*.h' --include='*.cpp' | grep -v '^cli/main.cpp:' || true)"
if [ -n "$hits" ]; then
  echo "cli/ includes the generators outside its main:"
  echo "$hits"
  status=1
fi
forbid cli 'bench|tests|fuzz'
[ "$status" -eq 0 ] && echo "layers: every include points downward"
exit "$status"

#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/) with clang-14 and runs each for a
# bounded time from a scratch copy of its seed corpus, so the repository is
# never modified. Fails on any crash, leak, timeout or sanitizer report.
#
#   scripts/fuzz.sh [BUILD_DIR] [SECONDS] [TARGET...]
#
# BUILD_DIR defaults to build-fuzz, SECONDS (per target) to 60, targets to
# all three. Findings (crash-*, leak-*, timeout-* files) and each target's
# log are kept in BUILD_DIR/findings/<target>/.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build-fuzz}
seconds=${2:-60}
# A fixed seed by default, so that the same code and corpus fuzz the same way
# on every run (CI's verdict is not left to chance); VEQ_FUZZ_SEED=0 lets
# libFuzzer pick one, as long runs should.
seed=${VEQ_FUZZ_SEED:-1}
shift $(( $# > 2 ? 2 : $# ))
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(legacy_row_fuzzer json_fuzzer exists_query_fuzzer)

launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
CC=clang-14 CXX=clang++-14 cmake -S fuzz -B "$build" -G Ninja "${launcher[@]}" >/dev/null
cmake --build "$build" --target "${targets[@]}"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:allocator_may_return_null=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
status=0
for target in "${targets[@]}"; do
  name=${target%_fuzzer}
  scratch=$(mktemp -d)
  cp -r "fuzz/corpus/$name/." "$scratch/"
  findings="$build/findings/$target"
  rm -rf "$findings" && mkdir -p "$findings"
  if "$build/$target" -seed="$seed" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
       -artifact_prefix="$findings/" "$scratch" >"$findings/log" 2>&1; then
    echo "$target: $(grep -E '^#[0-9]+.*DONE' "$findings/log" | tail -1)"
  else
    echo "$target: FAILED (log and reproducer in $findings)" >&2
    grep -E 'ERROR|SUMMARY|runtime error|_fuzzer:|fuzz setup' "$findings/log" | head -20 >&2 || true
    status=1
  fi
  rm -rf "$scratch"
done
exit $status

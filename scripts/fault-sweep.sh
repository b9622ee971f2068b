#!/usr/bin/env bash
# Runs the fault sweep (docs/reliability.md) in a build directory configured
# with the tests: a migration of small generated stores, run again and again
# with one of its I/O calls failed. VEQ_SWEEP_ALL=1 fails every call in turn;
# otherwise VEQ_SWEEP_FIRST (default 100) and VEQ_SWEEP_SAMPLE (default 60)
# bound the calls failed per mode.
set -euo pipefail
build="${1:?usage: scripts/fault-sweep.sh BUILD_DIR}"
cmake --build "$build" --target veq_fault_sweep
exec "$build/tests/fault_sweep/veq_fault_sweep"

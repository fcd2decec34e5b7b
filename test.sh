#!/usr/bin/env bash
# Sets up, builds (with AddressSanitizer and UndefinedBehaviorSanitizer) and runs every test,
# then runs each fuzz target for a bounded time.
#   ORRELWICK_FUZZ_SECONDS  seconds per fuzz target (default 10, 60 under CI; 0 skips fuzzing)
#   ORRELWICK_QUICK=1       leaves out the tests named Large… or Slow… (gigabyte pages, long
#                           time-outs), as GTEST_FILTER would
set -euo pipefail
cd "$(dirname "$0")"

tools/setup.sh
tools/check-format.sh

build=build/test
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DORRELWICK_SANITIZE=ON -DORRELWICK_WERROR=ON >/dev/null
cmake --build "$build" -j"$(nproc)"
if [ "${ORRELWICK_QUICK:-}" = 1 ]; then
  export GTEST_FILTER='-*.Large*:*.Slow*'
fi
ctest --test-dir "$build" --output-on-failure -j2

default_fuzz=10
[ "${CI:-}" = true ] && default_fuzz=60
fuzz_seconds=${ORRELWICK_FUZZ_SECONDS:-$default_fuzz}
if [ "$fuzz_seconds" != 0 ] && [ -x fuzz/run.sh ]; then
  fuzz/run.sh "$fuzz_seconds"
fi

#!/usr/bin/env bash
# Builds the libFuzzer targets with clang in build/fuzz and runs each for SECONDS (default 60)
# on a scratch copy of its seed corpus in fuzz/corpus/<target>/. Fails when a target crashes,
# hangs or leaks; the crashing input is left in build/fuzz/artifacts/.
#   fuzz/run.sh [SECONDS]
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
build=build/fuzz

CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DORRELWICK_FUZZ=ON -DORRELWICK_TESTS=OFF -DORRELWICK_GUI=OFF >/dev/null

targets=(fuzz_parser)
if [ -f src/common/Plist.h ]; then
  targets+=(fuzz_plist)
fi
cmake --build "$build" --target "${targets[@]}" -j"$(nproc)"

mkdir -p "$build/artifacts"
status=0
for target in "${targets[@]}"; do
  work=$(mktemp -d)
  cp -R "fuzz/corpus/$target/." "$work/"
  echo "== $target: ${seconds}s"
  if ! ASAN_OPTIONS=detect_leaks=1 "$build/fuzz/$target" -max_total_time="$seconds" \
      -timeout=20 -rss_limit_mb=4096 -max_len=65536 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target-" "$work" 2>"$build/$target.log"; then
    tail -n 60 "$build/$target.log"
    echo "== $target FAILED (log: $build/$target.log)"
    status=1
  else
    grep -E "stat::number_of_executed_units|Done" "$build/$target.log" | tail -n 2 || true
  fi
  rm -rf "$work"
done
exit $status

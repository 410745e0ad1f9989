#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for a total time, split evenly between the
# targets (one after another, so the run uses one core), and fails on the first finding.
#
#   CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DORR_FUZZ=ON
#   cmake --build build-fuzz
#   scripts/run-fuzzers.sh build-fuzz 60
#
# Each target starts from its seed corpus tests/fuzz/corpus/<target> (read only); inputs it
# finds go to <build-dir>/fuzz-corpus/<target>, crash reproducers to
# <build-dir>/fuzz-artifacts/<target>/.
set -euo pipefail

if [[ $# -ne 2 || ! "$2" =~ ^[0-9]+$ || "$2" -lt 1 ]]; then
  echo "usage: $0 <fuzz-build-dir> <total-seconds>" >&2
  exit 2
fi
build=$(cd "$1" && pwd)
total=$2
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
seeds="$repo/tests/fuzz/corpus"
dict="$repo/tests/fuzz/conf.dict"

shopt -s nullglob
targets=("$build"/bin/fuzz/fuzz_*)
if (( ${#targets[@]} == 0 )); then
  echo "run-fuzzers: no fuzz targets in $build/bin/fuzz (configure with -DORR_FUZZ=ON and build first)" >&2
  exit 2
fi
per_target=$(( total / ${#targets[@]} ))
(( per_target >= 1 )) || per_target=1

failed=0
for exe in "${targets[@]}"; do
  name=$(basename "$exe")
  corpus="$build/fuzz-corpus/$name"
  artifacts="$build/fuzz-artifacts/$name"
  mkdir -p "$corpus" "$artifacts"
  echo "run-fuzzers: $name for ${per_target}s"
  # Leaks count as findings; -timeout catches hangs, -rss_limit_mb runaway allocations.
  if ! "$exe" -max_total_time="$per_target" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
       -dict="$dict" -artifact_prefix="$artifacts/" -print_final_stats=1 \
       "$corpus" "$seeds/$name" > "$build/fuzz-artifacts/$name.log" 2>&1; then
    echo "run-fuzzers: $name found a problem; reproducers in $artifacts/, log in $build/fuzz-artifacts/$name.log" >&2
    tail -n 60 "$build/fuzz-artifacts/$name.log" >&2
    failed=1
  else
    grep -E '^stat::number_of_executed_units|^Done' "$build/fuzz-artifacts/$name.log" || true
  fi
done
if (( failed )); then
  echo "run-fuzzers: FAILED" >&2
  exit 1
fi
echo "run-fuzzers: ${#targets[@]} targets ran clean"

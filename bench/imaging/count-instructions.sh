#!/usr/bin/env bash
# Instructions per frame of every imaging benchmark, counted by callgrind (stable on
# shared, noisy machines). Usage: count-instructions.sh <imaging_bench> [name-regex]
set -euo pipefail
bench=$1
filter=${2:-.}
printf '%-52s %14s\n' "benchmark" "instr/frame"
for name in $("$bench" --list | grep -E -- "$filter"); do
  out=$(valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file=/dev/null \
        "$bench" --instructions="$name" 2>&1) || continue
  collected=$(sed -n 's/.*Collected : \([0-9]*\).*/\1/p' <<<"$out" | tail -1)
  frames=$(sed -n 's/^frames \([0-9]*\)$/\1/p' <<<"$out" | tail -1)
  [[ -n "$collected" && -n "$frames" ]] || continue
  printf '%-52s %14d\n' "$name" $((collected / frames))
done

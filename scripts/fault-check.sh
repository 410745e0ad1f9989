#!/usr/bin/env bash
# Fault-injection check: puts the deliberate bugs of a mutation list into a copy of the
# tree one at a time, rebuilds that copy and runs the test programs each mutation names,
# and reports which programs noticed it. A developer's tool (not part of scripts/test.sh):
# it shows which tests earn their lines and which faults nothing catches.
#
#   scripts/fault-check.sh [-n] [-r] [-l LIST] [-o REPORT] [-d DIR] [-p REGEX] [ID...]
#
#   -n      only check that every mutation applies (its text occurs once in its file)
#   -r      resume an interrupted run in DIR: mutations with a recorded result are not run again
#   LIST    mutation list (default scripts/fault-mutations.txt, its format is described there)
#   REPORT  report file (default DIR/report.txt)
#   DIR     work directory (default build-fault): src/ holds the copy of the working tree
#           (tracked and untracked, not ignored), build/ its build (RelWithDebInfo, ccache)
#   REGEX   only the test programs whose names match (extended regex), e.g. one area's
#   ID...   only these mutations (default: all)
#
# Each mutation is one step under cpu-lock: an incremental build of the named programs,
# then the programs, two at a time. A program fails (catches the mutation) by a non-zero
# exit, a crash or its time limit (ORR_FAULT_TIMEOUT seconds, default 300). Programs that
# already fail without a mutation are reported and not counted.
set -euo pipefail

# Runs one program of the build; its exit status, its output in $2. Tests that fail in
# the unmutated run (some need a process of their own, as ctest gives them) are left out
# through logs/filter.NAME.
run_program() {
  local name=$1 out=$2 path args=()
  path=$(find "$build" -type f -name "$name" -perm -u+x -print -quit)
  [[ -n $path ]] || { echo "no program $name" >"$out"; return 127; }
  if [[ $name == *_replay ]]; then
    args=("$src/tests/fuzz/corpus/${name%_replay}")
  else
    args=(--gtest_brief=1)
    [[ -f $logs/filter.$name ]] && args+=("--gtest_filter=$(cat "$logs/filter.$name")")
  fi
  (cd "$(dirname "$path")" && ORR_TEST_TMP=$build/test-tmp timeout -k 10 "$timeout_s" "$path" "${args[@]}" \
    >"$out" 2>&1)
}

# Runs the programs two at a time; prints "name:status:seconds" per program.
run_programs() {
  local tag=$1; shift
  local name pids=() names=()
  mkdir -p "$build/test-tmp"
  for name in "$@"; do
    ( s=$(date +%s); st=0; run_program "$name" "$logs/$tag.$name.log" || st=$?
      echo "$name:$st:$(( $(date +%s) - s ))" >"$logs/$tag.$name.status" ) &
    pids+=($!); names+=("$name")
    if (( ${#pids[@]} >= 2 )); then wait "${pids[0]}"; pids=("${pids[@]:1}"); fi
  done
  wait
  for name in "${names[@]}"; do cat "$logs/$tag.$name.status"; done
}

build_programs() {  # $1: log file; the rest: targets
  local log=$1; shift
  cmake --build "$build" -j2 --target "$@" >"$log" 2>&1
}

# One mutation: build, then run; the status lines go to logs/TAG.status.
step() {
  local tag=$1; shift
  build_programs "$logs/$tag.build.log" "$@" && run_programs "$tag" "$@" >"$logs/$tag.status"
}

# The steps run under cpu-lock, in a new shell: the script calls itself with --inner.
if [[ ${1:-} == --inner ]]; then shift; "$@"; exit; fi

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
list=$root/scripts/fault-mutations.txt
work=$root/build-fault
report=
check_only=
only_programs=.
resume=
while getopts "nrl:o:d:p:" opt; do
  case $opt in
    r) resume=1 ;;
    p) only_programs=$OPTARG ;;
    n) check_only=1 ;;
    l) list=$(realpath "$OPTARG") ;;
    o) report=$(realpath -m "$OPTARG") ;;
    d) work=$(realpath -m "$OPTARG") ;;
    *) sed -n '2,17p' "$0"; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
report=${report:-$work/report.txt}
timeout_s=${ORR_FAULT_TIMEOUT:-300}
src=$work/src
build=$work/build
logs=$work/logs
export build src logs timeout_s
self=$(realpath "${BASH_SOURCE[0]}")
lock() { if command -v cpu-lock >/dev/null; then cpu-lock "$@"; else "$@"; fi; }
inner() { lock bash "$self" --inner "$@"; }

# --- the mutation list ---------------------------------------------------------------
declare -a ids descs files tests finds replaces
declare -A groups
cur=-1
while IFS= read -r line || [[ -n $line ]]; do
  case $line in
    ''|'#'*) ;;
    'group '*) read -r _ name members <<<"$line"; groups[$name]=$members ;;
    '['*) cur=$((cur + 1)); ids[cur]=${line%%]*}; ids[cur]=${ids[cur]#[}; descs[cur]=${line#*] } ;;
    'file '*) files[cur]=${line#file } ;;
    'tests '*) tests[cur]=${line#tests } ;;
    'find '*) finds[cur]=${line#find } ;;
    'replace '*|'replace') replaces[cur]=${line#replace}; replaces[cur]=${replaces[cur]# } ;;
    *) echo "fault-check: cannot read line: $line" >&2; exit 2 ;;
  esac
done <"$list"

expand() {  # test words with @group references -> program names
  local word out=()
  for word in $1; do
    if [[ $word == @* ]]; then out+=(${groups[${word#@}]}); else out+=("$word"); fi
  done
  printf '%s\n' "${out[@]}" | awk '!seen[$0]++' | tr '\n' ' '
}

selected=()
for i in "${!ids[@]}"; do
  if [[ $# -eq 0 ]] || printf '%s\n' "$@" | grep -qxF "${ids[i]}"; then selected+=("$i"); fi
done
[[ ${#selected[@]} -gt 0 ]] || { echo "fault-check: no mutation selected" >&2; exit 2; }

# The file's text with the mutation applied, in $mutated; false when the text to replace
# does not occur exactly once.
mutate() {
  local i=$1 path=$2 content rest
  content=$(cat "$path"; printf x); content=${content%x}
  rest=${content#*"${finds[i]}"}
  [[ $rest != "$content" && $rest != *"${finds[i]}"* ]] || return 1
  original=$content
  mutated=${content%%"${finds[i]}"*}${replaces[i]}$rest
}
if [[ -n $check_only ]]; then
  bad=0
  for i in "${selected[@]}"; do
    mutate "$i" "$root/${files[i]}" || { echo "[${ids[i]}] not exactly once in ${files[i]}"; bad=1; }
  done
  echo "fault-check: ${#selected[@]} mutations checked"
  exit $bad
fi

# --- the copy of the tree ------------------------------------------------------------
# Only changed files are copied, so the build stays incremental; a copied or restored
# file gets a new modification time, so ninja rebuilds whatever depends on it.
mkdir -p "$src" "$logs"
(cd "$root" && git ls-files -co --exclude-standard -z) | while IFS= read -r -d '' f; do
  [[ -f $root/$f ]] || continue
  if ! cmp -s "$root/$f" "$src/$f"; then mkdir -p "$(dirname "$src/$f")"; cp "$root/$f" "$src/$f"; fi
done
# Configured every time: the copy may have gained or lost test programs.
cmake -S "$src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORR_BUILD_BENCH=OFF \
  -DORR_WERROR=OFF -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache >/dev/null

# Programs the list names but this tree does not build (removed or renamed) are left out.
known=$(ninja -C "$build" -t targets all 2>/dev/null | sed -n 's/^\([A-Za-z0-9_]*\): phony$/\1/p' | sort -u)
present() {
  local w
  for w in $1; do grep -qxF "$w" <<<"$known" && grep -qE "$only_programs" <<<"$w" && printf '%s ' "$w"; done
  return 0
}
all_named=$(for i in "${selected[@]}"; do expand "${tests[i]}"; done | tr ' ' '\n' | sed '/^$/d' | sort -u | tr '\n' ' ')
all_programs=$(present "$all_named")
absent=$(for w in $all_named; do grep -qxF "$w" <<<"$known" || printf '%s ' "$w"; done)
[[ $only_programs == . ]] || echo "fault-check: only the programs matching $only_programs"
[[ -z $absent ]] || echo "fault-check: not in this tree, left out: $absent"


# --- baseline --------------------------------------------------------------------------
started=$(date +%s)
declare -A broken base_seconds excluded
if [[ -n $resume && -f $logs/baseline.summary ]]; then
  while IFS=: read -r name secs bad without; do
    base_seconds[$name]=$secs
    [[ -n $bad ]] && broken[$name]=1
    [[ -n $without ]] && excluded[$name]=$without
  done <"$logs/baseline.summary"
else
echo "fault-check: baseline build and run of: $all_programs"
if ! inner build_programs "$logs/baseline.build.log" $all_programs; then
  echo "fault-check: the unmutated tree does not build, see $logs/baseline.build.log" >&2
  exit 1
fi
rm -f "$logs"/filter.* "$logs"/*.result
retry=()
while IFS=: read -r name st secs; do
  base_seconds[$name]=$secs
  [[ $st == 0 ]] && continue
  failed=$(sed -n 's/^\[  FAILED  \] \([A-Za-z0-9_/.]*\).*/\1/p' "$logs/baseline.$name.log" | sort -u | paste -sd: -)
  if [[ -n $failed && $name != *_replay ]]; then
    echo "-$failed" >"$logs/filter.$name"; excluded[$name]=$failed; retry+=("$name")
  else
    broken[$name]=1; echo "fault-check: $name fails without a mutation (status $st)"
  fi
done < <(inner run_programs baseline $all_programs)
if (( ${#retry[@]} )); then
  while IFS=: read -r name st secs; do
    if [[ $st != 0 ]]; then broken[$name]=1; echo "fault-check: $name fails without a mutation (status $st)"
    else echo "fault-check: $name runs without ${excluded[$name]} (they fail in one process with the others)"; fi
  done < <(inner run_programs baseline-retry "${retry[@]}")
fi
for name in $all_programs; do
  echo "$name:${base_seconds[$name]:-}:${broken[$name]:-}:${excluded[$name]:-}"
done >"$logs/baseline.summary"
fi

# Area of a program: its directory under tests/ (the source of its build directory).
area_of() {
  local path
  path=$(find "$build/tests" -type f -name "$1" -perm -u+x -print -quit)
  path=${path#"$build/tests/"}
  echo "${path%%/*}"
}

# --- the mutations -----------------------------------------------------------------------
results=()
declare -A caught_by_area
caught=0 missed=0 unbuilt=0
for i in "${selected[@]}"; do
  id=${ids[i]} file=${files[i]} target=$src/${files[i]}
  if [[ -n $resume && -f $logs/$id.result ]]; then
    { IFS= read -r line; IFS= read -r done_areas; } <"$logs/$id.result"
    results+=("$line")
    case $(cut -f2 <<<"$line") in
      CAUGHT) caught=$((caught + 1)) ;;
      MISSED) missed=$((missed + 1)) ;;
      *) unbuilt=$((unbuilt + 1)) ;;
    esac
    for a in $done_areas; do caught_by_area[$a]=$(( ${caught_by_area[$a]:-0} + 1 )); done
    continue
  fi
  programs=$(present "$(expand "${tests[i]}")")
  if [[ -z $programs ]]; then
    results+=("$id	NO-PROGRAM	-	${descs[i]}"); unbuilt=$((unbuilt + 1)); continue
  fi
  if ! mutate "$i" "$target"; then
    echo "fault-check: [$id] the text to replace is not in $file exactly once" >&2
    results+=("$id	NOT-APPLIED	-	${descs[i]}"); unbuilt=$((unbuilt + 1)); continue
  fi
  printf '%s' "$mutated" >"$target"
  s=$(date +%s)
  outcome=
  if inner step "$id" $programs; then
    catchers=()
    declare -A areas=()
    while IFS=: read -r name st secs; do
      [[ -n ${broken[$name]:-} ]] && continue
      if [[ $st != 0 ]]; then
        how=
        if [[ $st == 124 || $st == 137 ]]; then how='(timeout)'; fi
        catchers+=("$name$how")
        areas[$(area_of "$name")]=1
      fi
    done <"$logs/$id.status"
    for a in "${!areas[@]}"; do caught_by_area[$a]=$(( ${caught_by_area[$a]:-0} + 1 )); done
    done_areas="${!areas[*]}"
    unset areas
    if (( ${#catchers[@]} )); then outcome="CAUGHT	${catchers[*]}"; caught=$((caught + 1))
    else outcome="MISSED	-"; missed=$((missed + 1)); fi
  else
    outcome="NOT-BUILT	-"; unbuilt=$((unbuilt + 1))
  fi
  printf '%s' "$original" >"$target"  # restored, with a new time: rebuilt (from ccache) next time
  results+=("$id	$outcome	${descs[i]}")
  printf '%s\n%s\n' "$id	$outcome	${descs[i]}" "${done_areas:-}" >"$logs/$id.result"
  done_areas=
  printf 'fault-check: %-34s %s (%ds)\n' "$id" "${outcome%%	*}" $(( $(date +%s) - s ))
done

# --- report ------------------------------------------------------------------------------
{
  echo "Fault-injection check of $(cd "$root" && git rev-parse --short HEAD)$(cd "$root" && git diff --quiet HEAD -- . || echo ' with working-tree changes'), $(date -u '+%Y-%m-%d %H:%M UTC'), $(( ($(date +%s) - started) / 60 )) min"
  echo
  echo "Mutations: ${#selected[@]}; caught $caught, missed $missed, not applied, not built or without a program $unbuilt"
  echo
  echo "Caught per test area (a mutation counts for every area whose programs caught it):"
  for a in $(printf '%s\n' "${!caught_by_area[@]}" | sort); do printf '  %-10s %d\n' "$a" "${caught_by_area[$a]}"; done
  echo
  [[ -z $absent ]] || echo "Named in the list but not in this tree: $absent"
  echo "Unmutated run (program: seconds):"
  for name in $all_programs; do
    printf '  %s: %ss%s%s\n' "$name" "${base_seconds[$name]:-?}" "${broken[$name]:+ FAILS WITHOUT A MUTATION}" \
      "${excluded[$name]:+ (without ${excluded[$name]})}"
  done
  echo
  echo "id	result	caught by	mutation"
  printf '%s\n' "${results[@]}" | awk -F'\t' '{ printf "%s\t%s\t%s\t%s\n", $1, $2, $3, $4 }'
} >"$report"
echo "fault-check: $caught of ${#selected[@]} caught; report in $report"

#!/usr/bin/env bash
# Builds and runs every test: natively, under ASan+UBSan, under TSan, and cross-built
# for aarch64 with the tests run under qemu-aarch64; then the configuration fuzzers.
# Installs what is missing first (Debian 12, apt-get).
#
#   scripts/test.sh            everything
#   ORR_SKIP=arm64,tsan scripts/test.sh   leave stages out (native, asan, tsan, arm64, fuzz)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
out=${ORR_CI_DIR:-$root/build-ci}
jobs=${ORR_JOBS:-$(nproc)}
skip=",${ORR_SKIP:-},"

t0=${ORR_T0:-$(date +%s)}
stage() { printf '\n=== %s (%ds elapsed)\n' "$1" $(( $(date +%s) - t0 )); }
wanted() { [[ "$skip" != *",$1,"* ]]; }

if [[ -z "${ORR_PRIVATE_NET:-}" ]]; then
  stage "dependencies"
  scripts/install-deps.sh --all
  # The test stages run in a private network namespace (only loopback): no test traffic,
  # network discovery's broadcasts included, leaves the machine.
  ORR_PRIVATE_NET=1 ORR_T0=$t0 exec scripts/private-net.sh "$0" "$@"
fi

# configure <dir> <cmake args...>; build; ctest
run_suite() {
  local dir=$1; shift
  cmake -S "$root" -B "$dir" -G Ninja -DORR_WERROR=ON -DORR_BUILD_BENCH=OFF "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  ctest --test-dir "$dir" --output-on-failure --timeout 300 -j"$jobs"
}

if wanted native; then
  stage "native build and tests"
  run_suite "$out/native" -DCMAKE_BUILD_TYPE=RelWithDebInfo
fi

if wanted asan; then
  stage "ASan+UBSan build and tests"
  run_suite "$out/asan" -DCMAKE_BUILD_TYPE=Debug -DORR_SANITIZE=address,undefined
fi

if wanted tsan; then
  # The tools' tests run their own processes, where libusb's own threads race in ways
  # the tool cannot influence: they run natively and under ASan.
  stage "TSan build and tests"
  TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" \
    run_suite "$out/tsan" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORR_SANITIZE=thread -DORR_BUILD_TOOLS=OFF
fi

if wanted arm64; then
  # Emulated-device tests included: the shim unpacks arm64's umockdev for them. ccache
  # keeps the second and later cross builds short.
  stage "aarch64 cross build, tests under qemu-aarch64"
  scripts/arm64-shim.sh
  run_suite "$out/arm64" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-aarch64-linux-gnu.cmake"
fi

if wanted fuzz && [[ -x scripts/run-fuzzers.sh ]]; then
  stage "configuration fuzzers (60 s)"
  CC=clang CXX=clang++ cmake -S "$root" -B "$out/fuzz" -G Ninja -DORR_FUZZ=ON >/dev/null
  cmake --build "$out/fuzz" -j"$jobs"
  scripts/run-fuzzers.sh "$out/fuzz" 60
fi

stage "all test stages passed"

# Size of the suite against the code it tests (informs, never fails): non-blank lines not
# starting with "//" in C/C++ files, tests/ against everything else tracked except bench/.
count_lines() { grep -E '\.(c|cc|cpp|h|hpp)$' | tr '\n' '\0' | xargs -0 -r cat | grep -cvE '^[[:space:]]*(//|$)' || true; }
test_lines=$(git ls-files tests | count_lines)
code_lines=$(git ls-files | grep -vE '^(tests|bench)/' | count_lines)
awk -v t="$test_lines" -v c="$code_lines" \
  'BEGIN { printf "\ntest lines %d, code lines %d: ratio %.2f (the aim is about a third)\n", t, c, (c ? t / c : 0) }'

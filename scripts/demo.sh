#!/usr/bin/env bash
# The main job: installs what is missing, builds the library and its tools, then streams
# for a few seconds and saves what the camera saw under out/: from the attached camera,
# or, when none is attached, from the built-in emulated Fl30c.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DORR_BUILD_TESTS=OFF -DORR_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)"

# qv runs in a private network namespace (only loopback), so that listing cameras sends no
# discovery broadcast out of this machine; USB cameras are seen as usual.
qv() { scripts/private-net.sh build/tools/qv/qv "$@"; }
source=()
if [[ $(qv list --json --quiet) == "[]" ]]; then
  echo "No camera is attached: streaming from the built-in emulated Fl30c."
  source=(--emulate fl30c)
fi
qv list "${source[@]}" --quiet
qv stream "${source[@]}" --seconds 4 --save out --save-at 30 --quiet
echo "Pictures and point clouds of the scene are in $root/out/"

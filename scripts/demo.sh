#!/usr/bin/env bash
# The main job: installs what is missing, builds the library and its tools, and shows
# the attached cameras.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DORR_BUILD_TESTS=OFF -DORR_BUILD_BENCH=OFF >/dev/null
cmake --build build -j"$(nproc)"
build/tools/qv/qv list

#!/usr/bin/env bash
# Gives the cross build what Debian cannot co-install for arm64: libuvc's link name and
# pkg-config file, pointing at libuvc0:arm64 (libuvc's headers are architecture-independent).
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
extra=${1:-$root/cmake/arm64-extra}
mkdir -p "$extra/lib/pkgconfig"
ln -sfn /usr/lib/aarch64-linux-gnu/libuvc.so.0 "$extra/lib/libuvc.so"
sed "s|^libdir=.*|libdir=$extra/lib|" /usr/lib/x86_64-linux-gnu/pkgconfig/libuvc.pc > "$extra/lib/pkgconfig/libuvc.pc"

#!/usr/bin/env bash
# Gives the cross build what Debian cannot co-install for arm64, under one prefix
# (default cmake/arm64-extra, where the toolchain file looks):
#  - libuvc's link name and pkg-config file, pointing at libuvc0:arm64 (libuvc's headers
#    are architecture-independent);
#  - umockdev's headers, link name and pkg-config file (libumockdev-dev:arm64) pointing at
#    libumockdev0:arm64, and the arm64 preload library (umockdev:arm64): both .debs are
#    downloaded and unpacked into the prefix, never installed (apt would remove the amd64
#    packages). Done again only when the installed libumockdev0:arm64 changes version.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
extra=${1:-$root/cmake/arm64-extra}
lib=/usr/lib/aarch64-linux-gnu
mkdir -p "$extra/lib/pkgconfig"

ln -sfn $lib/libuvc.so.0 "$extra/lib/libuvc.so"
sed "s|^libdir=.*|libdir=$extra/lib|" /usr/lib/x86_64-linux-gnu/pkgconfig/libuvc.pc > "$extra/lib/pkgconfig/libuvc.pc"

version=$(dpkg-query -W -f='${Version}' libumockdev0:arm64 2>/dev/null || true)
if [[ -z "$version" ]]; then
  echo "arm64-shim: libumockdev0:arm64 is not installed (scripts/install-deps.sh --cross): no emulator for arm64" >&2
  exit 0
fi
unpacked=$extra/umockdev
if [[ "$(cat "$unpacked/version" 2>/dev/null)" != "$version" ]]; then
  debs=$extra/debs
  rm -rf "$debs" "$unpacked"
  mkdir -p "$debs" "$unpacked"
  # Same version as the installed runtime (libumockdev-dev depends on it exactly).
  (cd "$debs" && apt-get download -q=2 -o APT::Sandbox::User=root \
    "libumockdev-dev:arm64=$version" "umockdev:arm64=$version")
  for deb in "$debs"/*.deb; do dpkg-deb -x "$deb" "$unpacked"; done
  echo "$version" > "$unpacked/version"
fi
ln -sfn $lib/libumockdev.so.0 "$extra/lib/libumockdev.so"
sed -e "s|^prefix=.*|prefix=$unpacked/usr|" -e "s|^libdir=.*|libdir=$extra/lib|" \
  "$unpacked/usr/lib/aarch64-linux-gnu/pkgconfig/umockdev-1.0.pc" > "$extra/lib/pkgconfig/umockdev-1.0.pc"

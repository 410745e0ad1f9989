#!/usr/bin/env bash
# Installs the Debian 12 packages this project needs. Idempotent: only missing
# packages are fetched, and apt is not touched at all when nothing is missing.
#
#   scripts/install-deps.sh            build the library, tools and emulator
#   scripts/install-deps.sh --test     + test, sanitizer, fuzzing and peer-library packages
#   scripts/install-deps.sh --cross    + aarch64 cross toolchain, qemu-user and arm64 libraries
#                                      (and scripts/arm64-shim.sh)
#   scripts/install-deps.sh --all      everything above
set -euo pipefail

want_test=0 want_cross=0
for a in "$@"; do
  case "$a" in
    --test) want_test=1 ;;
    --cross) want_cross=1 ;;
    --all) want_test=1; want_cross=1 ;;
    *) echo "usage: $0 [--test] [--cross] [--all]" >&2; exit 2 ;;
  esac
done

BUILD_PKGS=(build-essential cmake ninja-build pkg-config git
  libusb-1.0-0-dev libuvc-dev libturbojpeg0-dev libcjson-dev libzmq3-dev cppzmq-dev
  libssl-dev libpng-dev
  umockdev libumockdev-dev udev usbutils iproute2
  python3-dev pybind11-dev python3-pybind11 python3-numpy)
TEST_PKGS=(libgtest-dev libgmock-dev libbenchmark-dev v4l-utils python3-pytest
  clang libclang-rt-14-dev valgrind openssl
  libopencv-dev libopencv-contrib-dev imagemagick pcl-tools python3-open3d)
CROSS_PKGS=(crossbuild-essential-arm64 qemu-user ccache
  libusb-1.0-0-dev:arm64 libuvc0:arm64 libturbojpeg0-dev:arm64 libcjson-dev:arm64
  libzmq3-dev:arm64 cppzmq-dev:arm64 libssl-dev:arm64 libpng-dev:arm64
  libgtest-dev:arm64 libgmock-dev:arm64 libbenchmark-dev:arm64
  libasan8:arm64 libubsan1:arm64
  libumockdev0:arm64 libglib2.0-dev:arm64)

pkgs=("${BUILD_PKGS[@]}")
(( want_test )) && pkgs+=("${TEST_PKGS[@]}")
(( want_cross )) && pkgs+=("${CROSS_PKGS[@]}")

SUDO=""
if [[ $(id -u) -ne 0 ]]; then SUDO="sudo"; fi

if (( want_cross )) && ! dpkg --print-foreign-architectures | grep -qx arm64; then
  $SUDO dpkg --add-architecture arm64
  need_update=1
fi

missing=()
for p in "${pkgs[@]}"; do
  status=$(dpkg-query -W -f='${db:Status-Abbrev}' "$p" 2>/dev/null || true)
  [[ "$status" == ii* ]] || missing+=("$p")
done

if (( ${#missing[@]} == 0 )) && [[ -z "${need_update:-}" ]]; then
  echo "install-deps: all ${#pkgs[@]} packages present"
else
  export DEBIAN_FRONTEND=noninteractive
  echo "install-deps: installing ${#missing[@]} packages: ${missing[*]}"
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq -o DPkg::Lock::Timeout=600 --no-install-recommends "${missing[@]}" >/dev/null
  echo "install-deps: done"
fi

# The arm64 pieces that cannot be installed beside the amd64 ones are downloaded now and
# unpacked into the cross build's prefix: the test stages run without a network.
if (( want_cross )); then
  "$(dirname "${BASH_SOURCE[0]}")/arm64-shim.sh"
fi

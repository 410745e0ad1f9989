# Cross build for 64-bit ARM Linux (aarch64, glibc) on a Debian 12 amd64 host, with
# Debian's cross compiler and the multiarch :arm64 libraries in /usr/lib/aarch64-linux-gnu.
# Target programs (tests, test discovery) run under user-mode QEMU.
#
#   cmake -S . -B build-arm64 -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64-linux-gnu.cmake
#
# Cache variables:
#   ORR_ARM64_CPU_FLAGS  extra -mcpu/-march flags, e.g. -mcpu=cortex-a55 (default: GCC's armv8-a)
#   ORR_QEMU_CPU         qemu -cpu model for running tests (default: qemu's own)
#   ORR_ARM64_EXTRA      prefix with the arm64 libuvc link name and .pc file (scripts/arm64-shim.sh)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(_triplet aarch64-linux-gnu)
set(CMAKE_C_COMPILER /usr/bin/${_triplet}-gcc)
set(CMAKE_CXX_COMPILER /usr/bin/${_triplet}-g++)
set(CMAKE_AR /usr/bin/${_triplet}-ar CACHE FILEPATH "")
set(CMAKE_RANLIB /usr/bin/${_triplet}-ranlib CACHE FILEPATH "")
set(CMAKE_STRIP /usr/bin/${_triplet}-strip CACHE FILEPATH "")
set(CMAKE_LIBRARY_ARCHITECTURE ${_triplet})

set(ORR_ARM64_CPU_FLAGS "" CACHE STRING "extra -mcpu/-march flags for aarch64")
if(ORR_ARM64_CPU_FLAGS)
  set(CMAKE_C_FLAGS_INIT "${ORR_ARM64_CPU_FLAGS}")
  set(CMAKE_CXX_FLAGS_INIT "${ORR_ARM64_CPU_FLAGS}")
endif()

# libuvc's development package cannot be co-installed for arm64; its runtime can, and
# scripts/arm64-shim.sh adds the link name and a pkg-config file under this prefix.
set(ORR_ARM64_EXTRA "${CMAKE_CURRENT_LIST_DIR}/arm64-extra" CACHE PATH "")

# The host's libuvc CMake package names the amd64 library: hide it, use pkg-config.
list(APPEND CMAKE_IGNORE_PATH /usr/lib/cmake/libuvc /lib/cmake/libuvc)
list(APPEND CMAKE_PREFIX_PATH "${ORR_ARM64_EXTRA}")

set(ENV{PKG_CONFIG_LIBDIR} "${ORR_ARM64_EXTRA}/lib/pkgconfig:/usr/lib/${_triplet}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

# QEMU must take ld.so and libc from the same package: with :arm64 packages installed
# that is libc6:arm64 under "/", never the cross toolchain's copy (the mix hangs in the
# first pthread_create).
if(EXISTS /lib/ld-linux-aarch64.so.1)
  set(_qemu_prefix "/")
else()
  set(_qemu_prefix "/usr/${_triplet}")
endif()
set(ORR_QEMU_CPU "" CACHE STRING "qemu-aarch64 -cpu model (empty: qemu's default)")
set(_emulator /usr/bin/qemu-aarch64 -L ${_qemu_prefix})
if(ORR_QEMU_CPU)
  list(APPEND _emulator -cpu ${ORR_QEMU_CPU})
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${_emulator} CACHE STRING "" FORCE)

# Emulated devices in a cross build whose programs run under qemu-user. A program cannot
# re-execute itself there under umockdev's preload (the kernel cannot start an aarch64
# /proc/self/exe without binfmt_misc), so the tests get the preload from their environment.
# Programs they start through a shell (lsusb, udevadm, ls) are host programs and need the
# host's preload: LD_PRELOAD names a directory per architecture through ld.so's $LIB
# ("lib/aarch64-linux-gnu", "lib/x86_64-linux-gnu"), so each loader takes its own copy.
#
# Sets ORR_HAVE_EMULATOR and ORR_QEMU_PRELOAD (the tests' LD_PRELOAD).
find_file(ORR_TARGET_UMOCKDEV_PRELOAD libumockdev-preload.so.0
  PATHS ${ORR_ARM64_EXTRA}/umockdev/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
set(_host_multiarch ${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu)
find_file(ORR_HOST_UMOCKDEV_PRELOAD libumockdev-preload.so.0
  PATHS /usr/lib/${_host_multiarch} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
if(ORR_TARGET_UMOCKDEV_PRELOAD AND ORR_HOST_UMOCKDEV_PRELOAD)
  set(ORR_HAVE_EMULATOR ON)
  set(_preloads ${CMAKE_BINARY_DIR}/umockdev-preload)
  file(MAKE_DIRECTORY ${_preloads}/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${_preloads}/lib/${_host_multiarch})
  file(CREATE_LINK ${ORR_TARGET_UMOCKDEV_PRELOAD}
       ${_preloads}/lib/${CMAKE_LIBRARY_ARCHITECTURE}/libumockdev-preload.so.0 SYMBOLIC)
  file(CREATE_LINK ${ORR_HOST_UMOCKDEV_PRELOAD} ${_preloads}/lib/${_host_multiarch}/libumockdev-preload.so.0 SYMBOLIC)
  set(ORR_QEMU_PRELOAD "${_preloads}/$LIB/libumockdev-preload.so.0")
else()
  message(STATUS "umockdev's preload library for ${CMAKE_SYSTEM_PROCESSOR} (scripts/arm64-shim.sh) or "
                 "for the host (umockdev) not found: the emulated devices and their tests are not built")
endif()

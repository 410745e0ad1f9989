# Every dependency is a Debian package, found through pkg-config or its CMake package.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(LIBUSB REQUIRED IMPORTED_TARGET libusb-1.0)
# libuvc through pkg-config only: its CMake package hard-codes the host's library path,
# which breaks cross builds.
pkg_check_modules(LIBUVC REQUIRED IMPORTED_TARGET libuvc)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
pkg_check_modules(CJSON REQUIRED IMPORTED_TARGET libcjson)
pkg_check_modules(ZMQ REQUIRED IMPORTED_TARGET libzmq)
pkg_check_modules(CRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(PNG IMPORTED_TARGET libpng)

set(ORR_HAVE_EMULATOR OFF)
if(ORR_BUILD_EMULATOR)
  pkg_check_modules(UMOCKDEV IMPORTED_TARGET umockdev-1.0 gio-2.0)
  if(UMOCKDEV_FOUND AND CMAKE_CROSSCOMPILING)
    include(${CMAKE_CURRENT_LIST_DIR}/EmulatorUnderQemu.cmake)
  elseif(UMOCKDEV_FOUND)
    set(ORR_HAVE_EMULATOR ON)
  else()
    message(STATUS "umockdev not found: the emulated devices and their tests are not built")
  endif()
endif()

if(ORR_BUILD_TESTS)
  find_package(GTest REQUIRED)
endif()
if(ORR_BUILD_BENCH)
  find_package(benchmark QUIET)
endif()

# Independent reference implementations, used by tests and benchmarks only (never linked
# into the library).
find_package(OpenCV QUIET COMPONENTS core imgproc calib3d rgbd)

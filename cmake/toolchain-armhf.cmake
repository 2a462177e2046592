# Cross-build for the phone's board: 32-bit ARM, hard float. The armhf
# libraries come from the private sysroot made by cmake/armhf-sysroot.sh,
# named by the environment variable PHONECORE_ARMHF_SYSROOT.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(_sysroot $ENV{PHONECORE_ARMHF_SYSROOT})
if(NOT _sysroot)
  message(FATAL_ERROR "PHONECORE_ARMHF_SYSROOT is not set (./run cross sets it)")
endif()
set(_libs ${_sysroot}/usr/lib/arm-linux-gnueabihf)
# Some libraries (zlib, com_err, keyutils: libcurl's own dependencies) lie
# in /lib of the sysroot.
set(_base_libs ${_sysroot}/lib/arm-linux-gnueabihf)

set(CMAKE_FIND_ROOT_PATH ${_sysroot} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${_sysroot})
set(ENV{PKG_CONFIG_LIBDIR} "${_libs}/pkgconfig:${_sysroot}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# The architecture-specific headers of the sysroot (json-c's config, curl's
# build header) and the libraries that those link in turn.
include_directories(SYSTEM ${_sysroot}/usr/include/arm-linux-gnueabihf ${_sysroot}/usr/include)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_libs}:${_base_libs}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-Wl,-rpath-link,${_libs}:${_base_libs}")

# Unit tests run under user-mode emulation.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf -E LD_LIBRARY_PATH=${_libs}:${_base_libs})

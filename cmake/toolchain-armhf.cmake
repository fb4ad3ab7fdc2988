# Cross build for the gateway: 32-bit Arm, hard-float ABI, with Debian's cross compiler and a
# sysroot holding the target's libraries and headers in Debian's multiarch layout (unpacked
# armhf packages; scripts/cross-test assembles one). Configure with -DCMAKE_SYSROOT=<sysroot>.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(UPLINKER_CROSS_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${UPLINKER_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${UPLINKER_CROSS_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${UPLINKER_CROSS_TRIPLE})
# GCC notes every std::vector iterator passed by value that GCC 7.1 changed the Arm calling
# convention for; all our code is built by one compiler, so the notes only bury real warnings.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

if(NOT CMAKE_SYSROOT)
    message(FATAL_ERROR "the armhf build needs -DCMAKE_SYSROOT=<dir> (see scripts/cross-test)")
endif()

# Libraries, headers and package files come from the sysroot only; programs (pkg-config, the
# compilers) from the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config must see only the target's .pc files, never the build machine's, and must prefix
# the paths it reports with the sysroot.
set(target_libs ${CMAKE_SYSROOT}/usr/lib/${UPLINKER_CROSS_TRIPLE})
set(ENV{PKG_CONFIG_LIBDIR} "${target_libs}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")

# Target programs run under qemu-user, which finds the target's loader and libraries below the
# sysroot. ctest and the system tests' wrappers start them through this.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${CMAKE_SYSROOT})

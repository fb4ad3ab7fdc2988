# Cross build for the gateway: 32-bit Arm, hard-float ABI, with Debian's cross compiler and the
# target's libraries installed as :armhf multiarch packages (headers in /usr/include, libraries
# and pkg-config files in /usr/lib/arm-linux-gnueabihf).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(UPLINKER_CROSS_TRIPLE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${UPLINKER_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${UPLINKER_CROSS_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${UPLINKER_CROSS_TRIPLE})

# Multiarch keeps both architectures under /usr, so a find root would hide the target's files;
# the library architecture above already steers find_library and find_package to the right
# directory. pkg-config must see only the target's .pc files, never the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${UPLINKER_CROSS_TRIPLE}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# Target programs run under qemu-user, which finds the target's loader below this prefix.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${UPLINKER_CROSS_TRIPLE})

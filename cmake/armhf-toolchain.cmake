# Cross build for the board: 32-bit ARM with the hard-float ABI, Debian's armhf.
# The compiler is Debian's cross g++; the board's libraries come from Debian's
# multiarch armhf packages (scripts/debian-packages) under
# /usr/lib/arm-linux-gnueabihf, where the armhf loader also looks for them. So
# the programs of the build (the fixture data generator, the unit tests) run
# through user-mode QEMU without a library prefix. The host's tools (mkimage,
# dtc, mkfs.ubifs) stay host programs.
# SPDX-License-Identifier: MIT
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

find_program(FPU_QEMU_ARM qemu-arm-static REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${FPU_QEMU_ARM})

# libfdt and zlib for armhf are installed as runtime packages only, so there is
# no unversioned libfdt.so or libz.so to find: the build links the shared
# objects by their runtime names. Their headers are the host's.
set(FDT_LIBRARY /usr/lib/arm-linux-gnueabihf/libfdt.so.1 CACHE FILEPATH "libfdt of the board")
set(ZLIB_LIBRARY /usr/lib/arm-linux-gnueabihf/libz.so.1 CACHE FILEPATH "zlib of the board")

# Libraries found through pkg-config (OpenSSL's libcrypto) are the board's:
# the armhf .pc files, not the host's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig)

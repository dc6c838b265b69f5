# SPDX-License-Identifier: Zlib
# 32-bit big-endian PowerPC with Debian's cross compiler; programs run under qemu-ppc.
set(CMAKE_SYSTEM_PROCESSOR powerpc)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake")
set(ENV{PKG_CONFIG_LIBDIR} "${ormsel_prefix}/lib/pkgconfig")
set(CMAKE_CROSSCOMPILING_EMULATOR
    "qemu-ppc;-L;/usr/powerpc-linux-gnu;-E;LD_LIBRARY_PATH=${ormsel_prefix}/lib")

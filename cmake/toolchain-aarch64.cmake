# SPDX-License-Identifier: Zlib
# 64-bit Arm with Debian's cross compiler; programs run under qemu-aarch64.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include("${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake")

# The packages lie in the prefix as on a machine of their own.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(libs "${ormsel_prefix}/usr/lib/aarch64-linux-gnu")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${ormsel_prefix}")
set(ENV{PKG_CONFIG_LIBDIR} "${libs}/pkgconfig:${ormsel_prefix}/usr/share/pkgconfig")
set(CMAKE_C_FLAGS_INIT "-idirafter ${ormsel_prefix}/usr/include")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${libs} -Wl,-rpath-link,${libs}:${libs}/pulseaudio")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
set(CMAKE_CROSSCOMPILING_EMULATOR
    "qemu-aarch64;-L;/usr/aarch64-linux-gnu;-E;LD_LIBRARY_PATH=${libs}:${libs}/pulseaudio")

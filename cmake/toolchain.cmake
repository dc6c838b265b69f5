# SPDX-License-Identifier: Zlib
# Another processor, ORMSEL_PROCESSOR, with Debian's cross compiler: what `processors` says of it.
# tools/build-cross-libs puts its libraries below build/cross/<processor>/prefix, as on a machine of its own.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR "${ORMSEL_PROCESSOR}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORMSEL_PROCESSOR)

file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/processors" row REGEX "^${ORMSEL_PROCESSOR} ")
if(NOT row MATCHES "^[^ ]+ +[^ ]+ +([^ ]+) +([^ ]+) +[^ ]+ *(.*)$")
    message(FATAL_ERROR "cmake/processors has no '${ORMSEL_PROCESSOR}'")
endif()
set(triple "${CMAKE_MATCH_1}")
set(emulator "${CMAKE_MATCH_2}")
set(flags "${CMAKE_MATCH_3}")
get_filename_component(prefix "${CMAKE_CURRENT_LIST_DIR}/../build/cross/${ORMSEL_PROCESSOR}/prefix" ABSOLUTE)
# The folder's name isn't always the triple.
file(GLOB libs "${prefix}/usr/lib/*-linux-gnu*")

set(CMAKE_C_COMPILER "${triple}-gcc")
set(CMAKE_CXX_COMPILER "${triple}-g++")
get_filename_component(CMAKE_LIBRARY_ARCHITECTURE "${libs}" NAME)
set(CMAKE_FIND_ROOT_PATH "/usr/${triple}" "${prefix}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${prefix}")
set(ENV{PKG_CONFIG_LIBDIR} "${libs}/pkgconfig:${prefix}/usr/share/pkgconfig")
set(CMAKE_C_FLAGS_INIT "${flags} -idirafter ${prefix}/usr/include")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${libs} -Wl,-rpath-link,${libs}:${libs}/pulseaudio")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")

# The C library is the cross compiler's, so its loader is named even where no emulator is needed.
if(emulator STREQUAL "none")
    file(GLOB loader "/usr/${triple}/lib/ld-linux*.so.*")
    set(CMAKE_CROSSCOMPILING_EMULATOR "${loader};--library-path;/usr/${triple}/lib:${libs}:${libs}/pulseaudio")
else()
    set(CMAKE_CROSSCOMPILING_EMULATOR
        "${emulator};-L;/usr/${triple};-E;LD_LIBRARY_PATH=${libs}:${libs}/pulseaudio")
endif()

# Sources of the host's own are fine to compile.
set(ORMSEL_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources")

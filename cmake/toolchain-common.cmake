# SPDX-License-Identifier: Zlib
# What the cross targets share. tools/build-cross-libs puts their libraries below build/cross/<processor>/prefix.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-g++)

get_filename_component(ormsel_prefix
    "${CMAKE_CURRENT_LIST_DIR}/../build/cross/${CMAKE_SYSTEM_PROCESSOR}/prefix" ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH "/usr/${CMAKE_SYSTEM_PROCESSOR}-linux-gnu" "${ormsel_prefix}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Sources of the host's own are fine to compile.
set(ORMSEL_GTEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's sources")

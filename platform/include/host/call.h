/* SPDX-License-Identifier: Zlib */
/**
 * @file host/call.h
 * @brief How the host declares the platform's calls.
 *
 * A call has its platform name in a program's text and a name of its own for the linker, so that a program
 * that uses none of the platform's headers may have functions called `Wait` or `RectFill`. In C++ no call
 * throws.
 */
#ifndef HOST_CALL_H
#define HOST_CALL_H

#ifdef __cplusplus
#    define HOST_NOEXCEPT noexcept
#else
#    define HOST_NOEXCEPT
#endif

#define HOST_TEXT_OF(x) #x
#define HOST_TEXT(x) HOST_TEXT_OF(x)

/** Stands behind the parameters of a declaration. The linker sees `ormsel_host_<name>`. */
#define HOST_CALL(name) HOST_NOEXCEPT __asm__(HOST_TEXT(__USER_LABEL_PREFIX__) "ormsel_host_" #name)

#endif

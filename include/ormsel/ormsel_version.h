/* SPDX-License-Identifier: Zlib */
/** @file ormsel_version.h  Version of the library; the build reads it from here. */
#ifndef ORMSEL_VERSION_H
#define ORMSEL_VERSION_H

#define ORMSEL_VERSION_MAJOR 1 /**< rises when programs have to be compiled anew */
#define ORMSEL_VERSION_MINOR 0 /**< rises with new calls */
#define ORMSEL_VERSION_PATCH 0 /**< rises with corrections */

/** Stands behind every call: none throws. */
#ifdef __cplusplus
#    define ORMSEL_NOEXCEPT noexcept
#else
#    define ORMSEL_NOEXCEPT
#endif

#endif

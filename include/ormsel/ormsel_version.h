/* SPDX-License-Identifier: Zlib */
/** @file ormsel_version.h  Version of the library; the build reads it from here. */
#ifndef ORMSEL_VERSION_H
#define ORMSEL_VERSION_H

#define ORMSEL_VERSION_MAJOR 1
#define ORMSEL_VERSION_MINOR 0
#define ORMSEL_VERSION_PATCH 0

/* No call throws. */
#ifdef __cplusplus
#    define ORMSEL_NOEXCEPT noexcept
#else
#    define ORMSEL_NOEXCEPT
#endif

#endif

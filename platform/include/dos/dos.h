/* SPDX-License-Identifier: Zlib */
/** @file dos/dos.h  The break signal. */
#ifndef DOS_DOS_H
#define DOS_DOS_H

#define SIGBREAKB_CTRL_C 12
/** Raised by Ctrl-C in the terminal (the host's SIGINT). */
#define SIGBREAKF_CTRL_C 0x1000UL

#endif

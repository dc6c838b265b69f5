/* SPDX-License-Identifier: Zlib */
/** @file intuition/intuition.h  Windows and their input messages. */
#ifndef INTUITION_INTUITION_H
#define INTUITION_INTUITION_H

#include <exec/ports.h>
#include <graphics/rastport.h>
#include <intuition/screens.h>

/**
 * A window. The host draws its title bar and frame, outside of it: borders are 0 pixels wide, inner and
 * outer size are the same.
 */
struct Window {
    struct Window* NextWindow;
    /** On the screen. */
    int16 LeftEdge, TopEdge;
    int16 Width, Height;
    /** Where the mouse was last seen, from the window's top-left corner. */
    int16 MouseX, MouseY;
    /** WFLG_... bits. */
    uint32 Flags;
    struct Screen* WScreen;
    /** Draws in the window, clipped by its layer. */
    struct RastPort* RPort;
    uint32 IDCMPFlags;
    /** Where input messages arrive; NULL while IDCMPFlags is 0. */
    struct MsgPort* UserPort;
    struct Layer* WLayer;
};

/** @name Flags of a window @{ */
#define WFLG_DRAGBAR 0x00000002UL
#define WFLG_DEPTHGADGET 0x00000004UL
/** Without it the host's close button raises the break signal instead of a message. */
#define WFLG_CLOSEGADGET 0x00000008UL
#define WFLG_SMART_REFRESH 0x00000000UL
#define WFLG_SIMPLE_REFRESH 0x00000040UL
/** Needs WA_SuperBitMap. */
#define WFLG_SUPER_BITMAP 0x00000080UL
#define WFLG_BACKDROP 0x00000100UL
/** IDCMP_MOUSEMOVE is sent only with this flag. */
#define WFLG_REPORTMOUSE 0x00000200UL
#define WFLG_GIMMEZEROZERO 0x00000400UL
#define WFLG_BORDERLESS 0x00000800UL
#define WFLG_ACTIVATE 0x00001000UL
/** The right mouse button is reported. */
#define WFLG_RMBTRAP 0x00010000UL
#define WFLG_NOCAREREFRESH 0x00020000UL
/** @} */

/** @name Tags of OpenWindowTags() @{ */
#define WA_Dummy (TAG_USER + 99)
/** Position on the screen, clamped so that the window lies inside. */
#define WA_Left (WA_Dummy + 1)
#define WA_Top (WA_Dummy + 2)
/** Size in pixels, clamped to the screen's. */
#define WA_Width (WA_Dummy + 3)
#define WA_Height (WA_Dummy + 4)
#define WA_IDCMP (WA_Dummy + 7)
#define WA_Flags (WA_Dummy + 8)
#define WA_Title (WA_Dummy + 11)
/** The screen to open on; default: the Workbench. */
#define WA_CustomScreen (WA_Dummy + 13)
/** The bitmap of a super-bitmap window; stays the caller's, who frees it after the window. */
#define WA_SuperBitMap (WA_Dummy + 14)
#define WA_InnerWidth (WA_Dummy + 19)
#define WA_InnerHeight (WA_Dummy + 20)
/** @} */

/**
 * An input message. It belongs to the system again after ReplyMsg(), but it and what IAddress points at
 * stay readable until the next GetMsg() or Wait().
 */
struct IntuiMessage {
    struct Message ExecMessage;
    /** One IDCMP_... bit. */
    uint32 Class;
    uint16 Code;
    uint16 Qualifier;
    APTR IAddress;
    /** From the window's top-left corner. */
    int16 MouseX, MouseY;
    /** When it happened: the time of GetSysTime(). */
    uint32 Seconds, Micros;
    struct Window* IDCMPWindow;
};

/** @name Classes of input messages @{ */
/** Code: SELECTDOWN, SELECTUP, ... */
#define IDCMP_MOUSEBUTTONS 0x00000008UL
#define IDCMP_MOUSEMOVE 0x00000010UL
#define IDCMP_CLOSEWINDOW 0x00000200UL
/** Code: the key's place on the keyboard, with IECODE_UP_PREFIX for a release. */
#define IDCMP_RAWKEY 0x00000400UL
#define IDCMP_ACTIVEWINDOW 0x00040000UL
#define IDCMP_INACTIVEWINDOW 0x00080000UL
/** The window or the host's window was moved (CWCODE_MOVESIZE), or went to the front or back (CWCODE_DEPTH).
 */
#define IDCMP_CHANGEWINDOW 0x02000000UL
/** Code: IMSGCODE_INTUIWHEELDATA; IAddress: a struct IntuiWheelData. */
#define IDCMP_EXTENDEDMOUSE 0x08000000UL
/** @} */

/** @name Codes of input messages @{ */
#define IECODE_UP_PREFIX 0x80
#define SELECTDOWN 0x68
#define SELECTUP (SELECTDOWN | IECODE_UP_PREFIX)
#define MENUDOWN 0x69
#define MENUUP (MENUDOWN | IECODE_UP_PREFIX)
#define MIDDLEDOWN 0x6A
#define MIDDLEUP (MIDDLEDOWN | IECODE_UP_PREFIX)
#define CWCODE_MOVESIZE 0x0000
#define CWCODE_DEPTH 0x0001
#define IMSGCODE_INTUIWHEELDATA 0x8000
/** @} */

/** @name Qualifier bits @{ */
#define IEQUALIFIER_LSHIFT 0x0001
#define IEQUALIFIER_RSHIFT 0x0002
#define IEQUALIFIER_CAPSLOCK 0x0004
#define IEQUALIFIER_CONTROL 0x0008
#define IEQUALIFIER_LALT 0x0010
#define IEQUALIFIER_RALT 0x0020
#define IEQUALIFIER_LCOMMAND 0x0040
#define IEQUALIFIER_RCOMMAND 0x0080
/** A key of the numeric keypad. */
#define IEQUALIFIER_NUMERICPAD 0x0100
/** The key is held down; the first message of a press is without it. */
#define IEQUALIFIER_REPEAT 0x0200
/** @} */

/** A turn of the mouse wheel, in steps. */
struct IntuiWheelData {
    uint16 Version;
    uint16 Reserved;
    /** Positive: to the right. */
    int16 WheelX;
    /** Positive: towards the user. */
    int16 WheelY;
};

#endif

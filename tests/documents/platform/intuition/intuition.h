/* SPDX-License-Identifier: Zlib */
#pragma once

#include <exec/ports.h>
#include <intuition/screens.h>

struct Window {
    struct RastPort* RPort;
    struct MsgPort* UserPort;
};

struct IntuiMessage {
    struct Message ExecMessage;
    uint32 Class;
    uint16 Code;
    uint16 Qualifier;
    APTR IAddress;
    int16 MouseX, MouseY;
};

struct IntuiWheelData {
    int16 WheelX, WheelY;
};

#define WFLG_DRAGBAR 0x00000002UL
#define WFLG_DEPTHGADGET 0x00000004UL
#define WFLG_CLOSEGADGET 0x00000008UL
#define WFLG_BACKDROP 0x00000100UL
#define WFLG_REPORTMOUSE 0x00000200UL
#define WFLG_GIMMEZEROZERO 0x00000400UL
#define WFLG_BORDERLESS 0x00000800UL
#define WFLG_ACTIVATE 0x00001000UL
#define WFLG_RMBTRAP 0x00010000UL
#define WFLG_NOCAREREFRESH 0x00020000UL

#define WA_Dummy (TAG_USER + 99)
#define WA_Left (WA_Dummy + 1)
#define WA_Top (WA_Dummy + 2)
#define WA_IDCMP (WA_Dummy + 7)
#define WA_Flags (WA_Dummy + 8)
#define WA_Title (WA_Dummy + 11)
#define WA_CustomScreen (WA_Dummy + 13)
#define WA_InnerWidth (WA_Dummy + 19)
#define WA_InnerHeight (WA_Dummy + 20)

#define IDCMP_MOUSEBUTTONS 0x00000008UL
#define IDCMP_MOUSEMOVE 0x00000010UL
#define IDCMP_CLOSEWINDOW 0x00000200UL
#define IDCMP_RAWKEY 0x00000400UL
#define IDCMP_ACTIVEWINDOW 0x00040000UL
#define IDCMP_INACTIVEWINDOW 0x00080000UL
#define IDCMP_CHANGEWINDOW 0x02000000UL
#define IDCMP_EXTENDEDMOUSE 0x08000000UL

#define IECODE_UP_PREFIX 0x80
#define SELECTDOWN 0x68
#define SELECTUP (SELECTDOWN | IECODE_UP_PREFIX)
#define IMSGCODE_INTUIWHEELDATA 0x8000

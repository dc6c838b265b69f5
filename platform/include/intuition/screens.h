/* SPDX-License-Identifier: Zlib */
/** @file intuition/screens.h  Screens. */
#ifndef INTUITION_SCREENS_H
#define INTUITION_SCREENS_H

#include <graphics/rastport.h>

struct Window;

struct Screen {
    /** All windows, the newest first. */
    struct Window* FirstWindow;
    int16 LeftEdge, TopEdge;
    int16 Width, Height;
    /** Draws on the whole screen, in front of its windows. */
    struct RastPort RastPort;
};

/** @name Values of SA_Type @{ */
#define CUSTOMSCREEN 0x000FU
/** No title bar. */
#define SCREENQUIET 0x0100U
/** @} */

/** @name Tags of OpenScreenTags(); those without a comment are accepted and have no effect on a host @{ */
#define SA_Dummy (TAG_USER + 32)
/** Pixels; default: the mode's. */
#define SA_Width (SA_Dummy + 3)
#define SA_Height (SA_Dummy + 4)
/** Bits per pixel: 15, 16, 24 or 32; default: the mode's. */
#define SA_Depth (SA_Dummy + 5)
/** Title of the host's window. */
#define SA_Title (SA_Dummy + 8)
#define SA_Type (SA_Dummy + 13)
/** A mode from BestModeID(). */
#define SA_DisplayID (SA_Dummy + 18)
#define SA_ShowTitle (SA_Dummy + 22)
#define SA_FullPalette (SA_Dummy + 27)
#define SA_SharePens (SA_Dummy + 32)
/** Size and depth, where no other tag gives them, are the Workbench screen's. */
#define SA_LikeWorkbench (SA_Dummy + 39)
/** @} */

#endif

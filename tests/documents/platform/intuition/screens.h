/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/rastport.h>

struct Screen {
    int16 Width, Height;
    struct RastPort RastPort;
};

#define CUSTOMSCREEN 0x000FU
#define SCREENQUIET 0x0100U
#define SA_Dummy (TAG_USER + 32)
#define SA_Depth (SA_Dummy + 5)
#define SA_Title (SA_Dummy + 8)
#define SA_Type (SA_Dummy + 13)
#define SA_DisplayID (SA_Dummy + 18)
#define SA_ShowTitle (SA_Dummy + 22)
#define SA_FullPalette (SA_Dummy + 27)
#define SA_SharePens (SA_Dummy + 32)
#define SA_LikeWorkbench (SA_Dummy + 39)

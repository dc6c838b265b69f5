/* SPDX-License-Identifier: Zlib */
#define GAME_GFX 1

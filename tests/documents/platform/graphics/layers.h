/* SPDX-License-Identifier: Zlib */
#pragma once

#include <graphics/clip.h>

#define LAYERSIMPLE 1
#define LAYERSMART 2
#define LAYERSUPER 4

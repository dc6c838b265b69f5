/* SPDX-License-Identifier: Zlib */
#pragma once

#define RPTAG_DrMd (TAG_USER + 4)
#define RPTAG_APenColor (TAG_USER + 9)

// The state section of the second road: where each source's base and log are, and the words that are waited for.
//
//   offset           size   content
//   0                16     "road.1.0", filled with zeros
//   16               4      steps with each publication of any source
//   20               44     0
//   64 + 64*source   8      generation of the source's base and log; 0 when the source has no second road
//   72 + 64*source   8      bytes of the log that are written
//   80 + 64*source   4      steps with each publication of this source
//   84 + 64*source   4      how often a reader took a base of this source
//   88 + 64*source   8      generation whose sections are being made, or 0
//   96 + 64*source   8      generation whose sections are being taken away, or 0
//   104 + 64*source  4      how often a reader found the base or log unsound
//   108 + 64*source  4      update count of the image of the other road that this publisher published last
//   112 + 64*source  16     0
//
// All numbers are little-endian. The publisher stores the bytes of a record, then how far the log is written, then
// steps the words. A new base and its log are whole under their names before their generation is stored here, behind a
// 0 for the written bytes. A reader that finds one generation before and after it has loaded the written bytes knows
// that they are of this generation's log, or less than that. A publisher that ends leaves its last generation standing
// here, so that those who have it know that nothing came behind it; the three generations tell the next publisher what
// a killed one left. Readers write to their two counts alone, and only to be counted.
//
// The second road belongs to the publisher that holds the lock of the state section's name, and goes with its images: a
// reader takes it while that lock is held, and holds to it while uImageCount is the update count of the first road, or
// the one that comes next, which is stored here first. So what a killed publisher left is never taken for a later
// one's.
//
// Names: "vo_fileMappingAssetNodeRoad" for this section; the base and log of a generation have the name of the source's
// data section, "~base" or "~log", and the generation as 16 digits of 0123456789ABCDEF.
#pragma once

#include <stdint.h>

#include "tray_service_types.h"
#include "vo_types.h"

inline const VOWCHAR* const kpszVORoadStateName = VOTEXT("vo_fileMappingAssetNodeRoad");
constexpr char kVORoadVersion[16] = "road.1.0";

struct VORoadSource
{
    uint64_t ullGeneration;
    uint64_t ullWritten;
    uint32_t uSteps;
    uint32_t uAttached;
    uint64_t ullMaking;
    uint64_t ullLeaving;
    uint32_t uDoubted;
    uint32_t uImageCount;
    uint32_t auReserved[4];
};
static_assert(sizeof(VORoadSource) == 64);

struct VORoadState
{
    char szVersion[16];
    uint32_t uImageSteps;
    uint32_t auReserved[11];
    VORoadSource arrSource[LUMTrayService::ASSETTYPE_COUNT];
};
static_assert(sizeof(VORoadState) == 64 + 64 * LUMTrayService::ASSETTYPE_COUNT);

// What waits and steps the words have for a name: of one source, or of any for AF_ERROR.
VOWString VORoadSignalName(LUMTrayService::enumAssetFrom eaf);

// The name of the base, or log, of a generation; empty for a source without a data section.
VOWString VORoadSectionName(LUMTrayService::enumAssetFrom eaf, const char* pszPart, uint64_t ullGeneration);

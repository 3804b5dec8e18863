// Images out of sections and files. Everything is copied first: what lies in a section may change at any moment.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "tray_service_types.h"
#include "vots_file_mapping.h"

namespace lum
{

struct LoadedImage
{
    std::vector<unsigned char> vecImage;
    uint64_t ullBlockSize = 0;  // of the compressed block; 0 for an image that wasn't compressed
};

// The published image of a source. False with a message when there is none, or when its block is damaged.
bool LoadSectionImage(LUMTrayService::enumAssetFrom eaf, LoadedImage* pResult, std::string* pstrError);

// A file with an image, or with a compressed block.
bool LoadFileImage(const std::string& strNative, LoadedImage* pResult, std::string* pstrError);

// A copy of the update state section. *pbMissing tells that there is none.
bool LoadState(AssetNodeUpdateState* pState, bool* pbMissing, std::string* pstrError);

}  // namespace lum

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

// The published image of a source. A Failure when there is none, or when its block is damaged.
LoadedImage LoadSectionImage(LUMTrayService::enumAssetFrom eaf);

// A file with an image, or with a compressed block.
LoadedImage LoadFileImage(const std::string& strNative);

// A copy of the update state section. What is thrown is a NotPublished where there is none.
AssetNodeUpdateState LoadState();

}  // namespace lum

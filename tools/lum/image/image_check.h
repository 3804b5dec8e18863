// What is in an image: counts, and everything that isn't as it has to be.
#pragma once

#include <string>
#include <vector>

#include "image/image_layout.h"
#include "vo_types.h"

namespace lum
{

struct TableReport
{
    uint32_t uSlots = 0;
    uint32_t uUsed = 0;
    uint32_t uLongestProbe = 0;  // slots that the worst lookup of a key in the table looks at
};

struct TypeReport
{
    int32_t nNumber = 0;
    VOWString strName;
    VOWString strExtensions;
    uint32_t uTypeColor = 0;
    uint32_t uBackgroundColor = 0;
};

struct ImageReport
{
    VOWString strRootPath;
    VOWString strRootName;

    uint32_t uStrings = 0;
    uint32_t uWithText = 0;
    uint32_t uKeysOnly = 0;
    uint32_t uRemovedStrings = 0;  // tombstones
    uint32_t uTexts = 0;
    uint64_t ullTextBytes = 0;
    TableReport primary;
    TableReport conflict;

    uint32_t uNodes = 0;
    uint32_t uFiles = 0;
    uint32_t uFolders = 0;
    uint32_t uRemovedNodes = 0;  // tombstones
    uint32_t uWithoutKey = 0;    // live nodes that no path leads to, because another node has their key

    uint32_t uNumbers = 0;
    uint32_t uLists = 0;
    uint32_t uListed = 0;  // children in the lists of live nodes
    uint32_t uHoles = 0;   // in these lists
    uint32_t uDead = 0;    // words that belong to no list of a live node
    TableReport keys;

    std::vector<TypeReport> vecTypes;
};

// Looks at every byte that a reader may come to. The work is bounded by the size of the image, whatever it says.
ImageReport CheckImage(const ImageLayout& layout, Findings* pFindings);

// The types of an image.
std::vector<TypeReport> TypesOf(const ImageLayout& layout, Findings* pFindings);

// The text of a string handle; empty when it has none.
VOWString StringText(const ImageLayout& layout, uint64_t ullHandle);

}  // namespace lum

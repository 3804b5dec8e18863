// The key under which the peers keep a path: the same normal form, in 8-bit units, which is their fastest form.
#pragma once

#include "vots_asset_node_container_helper.h"

struct NarrowKey
{
    char szKey[MAX_PATH];
    size_t uLength = 0;

    explicit NarrowKey(const VOWString& path)
    {
        VOWCHAR szWide[MAX_PATH];
        VOTSAssetNodeContainerHelper::NormalizedPath(szWide, path.c_str(), MAX_PATH, 1);
        while (szWide[uLength] != 0)
        {
            szKey[uLength] = static_cast<char>(szWide[uLength]);
            ++uLength;
        }
    }
};

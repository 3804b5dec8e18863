// Texts whose string hashes are equal, found by a search. The tests called StringHashCollisions check them against the
// reference hash.
#pragma once

#include <stdint.h>

#include <array>
#include <string>
#include <vector>

#include "support/text.h"

namespace votest
{
// Four texts with the same hash of row 0 and four different ones of row 1.
inline const std::vector<std::array<const char*, 4>>& CollidingTexts()
{
    static const std::vector<std::array<const char*, 4>> s_vecGroup = {
        {"bhgwyb", "znvdbd", "czypfe", "urizpf"}, {"stytga", "jrwznb", "hmcric", "hoqqof"},
        {"laocja", "cndgub", "spyngc", "nomwuf"}, {"bpdsqa", "zvefyb", "mevunc", "jbudue"},
        {"spczzb", "gouuwd", "rsokee", "sexiwe"}, {"qpwmtb", "oytoyc", "ezfnbd", "vseofd"},
        {"oygvdc", "kocazc", "mrbaif", "tgcfif"}, {"kueshb", "jbmouc", "bhhikd", "uidcte"},
        {"ktjzea", "pyvquc", "uzkxzc", "ufsddd"}, {"fgalsa", "xtjoxe", "zkckcf", "ubvftf"},
        {"tvxhdc", "xycgoc", "fezivd", "gcmtfe"}, {"esomva", "roiroc", "wnbtxd", "hullzd"},
        {"yopkea", "xbmqwc", "pdbste", "lmxhwe"},
    };
    return s_vecGroup;
}

// Two texts with the same hash of row 0 and the same hash of row 1.
inline const std::vector<std::array<const char*, 2>>& TwinTexts()
{
    static const std::vector<std::array<const char*, 2>> s_vecPair = {
        {"bPVJTEGfe4n", "4NwzuLSk-Yn"},
        {"vdsr731NkWo", "tNz_93TgEml"},
    };
    return s_vecPair;
}

// The texts of one group as the interface takes them.
inline std::vector<VOWString> CollidingGroup(size_t uGroup)
{
    std::vector<VOWString> vecText;
    for (const char* pszText : CollidingTexts().at(uGroup))
    {
        vecText.push_back(Wide(pszText));
    }
    return vecText;
}
}  // namespace votest

// The hashes of paths, straight from what a caller asks for: folded as VOFoldCopy folds with bLower, without the
// slashes at the end, and hashed as VOStringHash::HashRows does.
#pragma once

#include "containers/pair_hash.h"
#include "platform/vo_platform.h"

// One path in one pass. False for a path that isn't plain, which is for the general functions: a null one, one of more
// than kVOMostPlainUnits units, an absolute one (":" among the units), one with a unit above 255, and one with a slash
// at its end. The text may sit at an odd address.
constexpr unsigned int kVOMostPlainUnits = 255;
bool VOHashPlainPath(const VOWCHAR* pszPath, VOHashPair& pair);

// The normal form of a path as the bytes that are hashed: two for a unit above 255, the high one first, else one.
struct VOPathBytes
{
    // False, and no bytes, for a null path and for an absolute one.
    bool Take(const VOWCHAR* pszPath);

    static constexpr unsigned int kMost = 2 * (MAX_PATH - 1);
    unsigned char abByte[kMost];
    unsigned int uLength;

private:
    bool _TakePlain(const VOWCHAR* pszPath);
};

// Four of them, in less than the time of two: each step of a text waits for the one before, but not for another text's.
// Bytes behind a shorter one are read as far as the longest one goes, and may have any value.
void VOHashFourPaths(const VOPathBytes* const (&apPath)[4], VOHashPair (&arrPair)[4]);

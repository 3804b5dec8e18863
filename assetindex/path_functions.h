// The normal form of a path, as the node store and the path functions of the helper make it.
#pragma once

#include "vo_types.h"

// As VOTSAssetNodeContainerHelper::NormalizedPath; the result is the length, and bHasColon tells whether ":" occurs,
// which is what makes a path count as absolute.
unsigned int VONormalizePath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize, bool bLower,
                             bool& bHasColon);

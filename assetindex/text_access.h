// Reading text that may lie at an odd address, as every text inside an image may.
#pragma once

#include "diagnostics/check.h"
#include "platform/wide_scan.h"

// "pszText && *pszText" for such a text.
inline bool VOHasText(const VOWCHAR* pszText)
{
    return pszText != nullptr && VOLoadUnit(pszText) != 0;
}

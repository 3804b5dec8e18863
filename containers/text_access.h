// Texts of a caller, which may lie at an odd address as every text inside an image may, and may be a pool's own.
#pragma once

#include <string.h>

#include "diagnostics/check.h"
#include "platform/vo_platform.h"
#include "platform/wide_scan.h"

// "pszText && *pszText".
inline bool VOHasText(const VOWCHAR* pszText)
{
    return pszText != nullptr && VOLoadUnit(pszText) != 0;
}

// A copy that outlasts what a pool does with the text when it grows.
class VOTextCopy
{
public:
    VOTextCopy() = default;
    VOTextCopy(const VOTextCopy&) = delete;
    VOTextCopy& operator=(const VOTextCopy&) = delete;

    // The copy, which lasts as long as this object; an empty pointer for no text and for the empty one.
    const VOWCHAR* Take(const VOWCHAR* pszText)
    {
        if (!VOHasText(pszText))
        {
            return nullptr;
        }
        const size_t uUnits = static_cast<size_t>(lstrlenW(pszText)) + 1;
        VOWCHAR* pszCopy = m_szShort;
        if (uUnits > MAX_PATH)
        {
            m_strLong.resize(uUnits);
            pszCopy = m_strLong.data();
        }
        memcpy(pszCopy, static_cast<const void*>(pszText), uUnits * sizeof(VOWCHAR));
        return pszCopy;
    }

private:
    VOWCHAR m_szShort[MAX_PATH];
    VOWString m_strLong;
};

// The path functions of VOTSAssetNodeContainerHelper.
#include "assetindex/path_functions.h"

#include "containers/text_access.h"
#include "vots_asset_node_container_helper.h"

namespace
{

// The position of the last "/" before nEnd, -1 if there is none.
int LastSlash(const VOWCHAR* pszPath, int nEnd)
{
    int nAt = nEnd - 1;
    while (nAt >= 0 && VOLoadUnit(pszPath + nAt) != '/')
    {
        --nAt;
    }
    return nAt;
}

// Writes the units of [nBegin, nEnd) and a terminator.
void CopyPart(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nBegin, int nEnd)
{
    if (pszResult != nullptr)
    {
        const size_t uUnits = static_cast<size_t>(nEnd - nBegin);
        memmove(static_cast<void*>(pszResult), static_cast<const void*>(pszPath + nBegin), uUnits * sizeof(VOWCHAR));
        VOStoreUnit(pszResult + uUnits, 0);
    }
}

}  // namespace

unsigned int VONormalizePath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize, bool bLower,
                             bool& bHasColon)
{
    bHasColon = false;
    if (pszResult == nullptr || uSize == 0)
    {
        return 0;
    }
    unsigned int uLength = 0;
    if (pszPath != nullptr)
    {
        uLength = VOFoldCopy(pszResult, pszPath, uSize, bLower, &bHasColon);
    }
    else
    {
        VOStoreUnit(pszResult, 0);
    }
    // A path of slashes only comes out empty.
    while (uLength > 0 && VOLoadUnit(pszResult + uLength - 1) == '/')
    {
        VOStoreUnit(pszResult + --uLength, 0);
    }
    return uLength;
}

int VOTSAssetNodeContainerHelper::NormalizedPath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize,
                                                 int bLower)
{
    bool bHasColon = false;
    VONormalizePath(pszResult, pszPath, uSize, bLower != 0, bHasColon);
    return 1;
}

int VOTSAssetNodeContainerHelper::ParseDir(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen)
{
    // The scan begins at position nLen itself, which for a whole path is its terminator.
    const int nSlash = pszPath != nullptr && nLen >= 0 ? LastSlash(pszPath, nLen + 1) : -1;
    if (nSlash <= 0)
    {
        return 0;
    }
    CopyPart(pszResult, pszPath, 0, nSlash);
    return 1;
}

int VOTSAssetNodeContainerHelper::ParseExtension(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen)
{
    if (pszPath == nullptr || nLen <= 0 || VOLoadUnit(pszPath + nLen - 1) == '/')
    {
        return 1;
    }
    // The dot furthest to the left in the last part counts; the last character isn't tested as a dot.
    int nExtension = -1;
    for (int nAt = nLen - 2; nAt >= 0 && VOLoadUnit(pszPath + nAt) != '/'; --nAt)
    {
        if (VOLoadUnit(pszPath + nAt) == '.')
        {
            nExtension = nAt + 1;
        }
    }
    if (nExtension >= 0)
    {
        CopyPart(pszResult, pszPath, nExtension, nLen);
    }
    return 1;
}

int VOTSAssetNodeContainerHelper::ParseBaseName(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen,
                                                const VOWCHAR* pszExt)
{
    if (pszPath == nullptr)
    {
        return 0;
    }
    const int nSlash = LastSlash(pszPath, nLen);
    const int nBegin = nSlash > 0 ? nSlash + 1 : 0;
    const int nEnd = VOHasText(pszExt) ? nLen - lstrlenW(pszExt) - 1 : nLen;
    if (nEnd <= nBegin)
    {
        return 0;
    }
    CopyPart(pszResult, pszPath, nBegin, nEnd);
    return 1;
}

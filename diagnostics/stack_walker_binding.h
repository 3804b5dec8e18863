// What the parts of the walker share: the room of texts, copies of them, and a bound function under its type.
#pragma once

#include <algorithm>

#include "platform/vo_debug_help.h"
#include "platform/vo_memory.h"
#include "platform/vo_owners.h"
#include "vo_stack_walker.h"

// Bytes of a name or a path, with its terminator.
constexpr size_t kTextSize = 1024;

// A block for free(); null for a null text and when memory runs out.
inline char* CopyBlock(const char* pszText)
{
    const size_t uSize = pszText != nullptr ? strlen(pszText) + 1 : 0;
    char* const pszCopy = uSize != 0 ? static_cast<char*>(VOTryAllocate(uSize)) : nullptr;
    if (pszCopy != nullptr)
    {
        memcpy(pszCopy, pszText, uSize);
    }
    return pszCopy;
}

// Copies what fits of the first uAtMost characters.
template <size_t uSize>
void CopyText(char (&szTo)[uSize], const char* pszFrom, size_t uAtMost = uSize - 1)
{
    const size_t uLength = strnlen(pszFrom, std::min(uAtMost, uSize - 1));
    memcpy(szTo, pszFrom, uLength);
    szTo[uLength] = 0;
}

inline const void* AsPointer(unsigned long long ullAddress)
{
    return reinterpret_cast<const void*>(static_cast<uintptr_t>(ullAddress));
}

// A value that has no name in the table has this one.
template <size_t uCount>
const char* NameIn(const char* const (&apszNames)[uCount], int nValue, const char* pszOther)
{
    return nValue >= 0 && static_cast<size_t>(nValue) < uCount ? apszNames[nValue] : pszOther;
}

template <typename Function>
Function Call(void (*pfnBound)())
{
    return reinterpret_cast<Function>(reinterpret_cast<uintptr_t>(pfnBound));
}

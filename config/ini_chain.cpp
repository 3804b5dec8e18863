#include "config/ini_chain.h"

#include <stdlib.h>

#include <utility>

#include "diagnostics/check.h"
#include "platform/vo_memory.h"

ZENTRY* ZIniMakeNode(ZIniChain* pChain)
{
    ZIniNode* const pNode = static_cast<ZIniNode*>(VOTryAllocate(sizeof(ZIniNode)));
    if (pNode == nullptr)
    {
        return nullptr;
    }
    if (pChain == nullptr)
    {
        pChain = static_cast<ZIniChain*>(VOTryAllocate(sizeof(ZIniChain)));
        if (pChain == nullptr)
        {
            free(pNode);
            return nullptr;
        }
        pChain->uHolders = 1;
    }
    pNode->pChain = pChain;
    pNode->pAllNext = std::exchange(pChain->pAll, pNode);
    return &pNode->entry;
}

void ZIniKill(ZENTRY* pEntry)
{
    ZIniNodeOf(pEntry)->bDead = true;
    free(pEntry->pszText);
    pEntry->pszText = nullptr;
    pEntry->cType = 0;
}

// Takes a node out of the list of all, where the link that leads to it is known.
static void FreeNode(ZIniNode*& pLink)
{
    ZIniNode* const pNode = std::exchange(pLink, pLink->pAllNext);
    free(pNode->entry.pszText);
    free(pNode);
}

void ZIniSweep(ZIniChain* pChain, const ZENTRY* pKeep)
{
    for (ZIniNode* pNode = pChain->pAll; pNode != nullptr; pNode = pNode->pAllNext)
    {
        ZENTRY& entry = pNode->entry;
        while (entry.pNext != nullptr && ZIniNodeOf(entry.pNext)->bDead)
        {
            entry.pNext = entry.pNext->pNext;
        }
        while (entry.pPrev != nullptr && ZIniNodeOf(entry.pPrev)->bDead)
        {
            entry.pPrev = entry.pPrev->pPrev;
        }
    }
    // Another object's pointers may name any entry of a shared chain.
    for (ZIniNode** ppLink = &pChain->pAll; pChain->uHolders == 1 && *ppLink != nullptr;)
    {
        if ((*ppLink)->bDead && &(*ppLink)->entry != pKeep)
        {
            FreeNode(*ppLink);
        }
        else
        {
            ppLink = &(*ppLink)->pAllNext;
        }
    }
}

void ZIniDrop(ZIniChain* pChain)
{
    if (--pChain->uHolders != 0)
    {
        return;
    }
    while (pChain->pAll != nullptr)
    {
        FreeNode(pChain->pAll);
    }
    free(pChain);
}

char* ZIniJoin(std::string_view strFirst, std::string_view strSecond, std::string_view strThird,
               std::string_view strFourth)
{
    const size_t uSize = strFirst.size() + strSecond.size() + strThird.size() + strFourth.size() + 1;
    char* const pszText = static_cast<char*>(VOTryAllocate(uSize));
    char* pchTo = pszText;
    for (const std::string_view strPart : {strFirst, strSecond, strThird, strFourth})
    {
        if (pszText != nullptr && !strPart.empty())
        {
            memcpy(pchTo, strPart.data(), strPart.size());
            pchTo += strPart.size();
        }
    }
    return pszText;
}

// ---------------------------------------------------------------------------------------------------------------------
// The operations on the chain
// ---------------------------------------------------------------------------------------------------------------------

ZIniFile::ZIniFile() : m_pFirstEntry(nullptr), m_pLastEntry(nullptr)
{
    m_szReturnBuffer[0] = 0;
}

ZIniFile::~ZIniFile()
{
    FreeAllMem();
}

ZIniFile::ZIniFile(const ZIniFile& rkOther) : ZIniFile()
{
    *this = rkOther;
}

ZIniFile& ZIniFile::operator=(const ZIniFile& rkOther)
{
    if (this == &rkOther)
    {
        return *this;
    }
    if (rkOther.m_pFirstEntry != nullptr)
    {
        ++ZIniNodeOf(rkOther.m_pFirstEntry)->pChain->uHolders;
    }
    FreeAllMem();
    m_pFirstEntry = rkOther.m_pFirstEntry;
    m_pLastEntry = rkOther.m_pLastEntry;
    memcpy(m_szReturnBuffer, rkOther.m_szReturnBuffer, sizeof(m_szReturnBuffer));
    return *this;
}

void ZIniFile::FreeAllMem()
{
    if (m_pFirstEntry != nullptr)
    {
        ZIniDrop(ZIniNodeOf(m_pFirstEntry)->pChain);
    }
    m_pFirstEntry = nullptr;
    m_pLastEntry = nullptr;
}

void ZIniFile::CloseIniFile()
{
    FreeAllMem();
}

void ZIniFile::ClearIniFile()
{
    FreeAllMem();
}

void ZIniFile::FreeMem(void* p)
{
    free(p);
}

ZENTRY* ZIniFile::MakeNewEntry()
{
    ZENTRY* pTail = m_pLastEntry;
    ZENTRY* const pEntry = ZIniMakeNode(m_pFirstEntry != nullptr ? ZIniNodeOf(m_pFirstEntry)->pChain : nullptr);
    if (!VO_STEP(pEntry))
    {
        FreeAllMem();
        return nullptr;
    }
    // A tail that was deleted: the line goes where it is seen, to the chain's end.
    if (pTail != nullptr && ZIniNodeOf(pTail)->bDead)
    {
        for (pTail = m_pFirstEntry; pTail->pNext != nullptr;)
        {
            pTail = pTail->pNext;
        }
    }
    pEntry->pPrev = pTail;
    if (pTail != nullptr)
    {
        pTail->pNext = pEntry;
    }
    if (m_pFirstEntry == nullptr)
    {
        m_pFirstEntry = pEntry;
    }
    return pEntry;
}

int ZIniFile::AddItem(char cType, const char* pszText)
{
    char* const pszCopy = pszText != nullptr ? ZIniJoin(pszText) : nullptr;
    ZENTRY* const pEntry = pszCopy != nullptr ? MakeNewEntry() : nullptr;
    if (pEntry == nullptr)
    {
        free(pszCopy);
        return 0;
    }
    const bool bTailWasDead = m_pLastEntry != nullptr && ZIniNodeOf(m_pLastEntry)->bDead;
    pEntry->cType = cType;
    pEntry->pszText = pszCopy;
    m_pLastEntry = pEntry;
    if (bTailWasDead)
    {
        ZIniSweep(ZIniNodeOf(pEntry)->pChain, nullptr);
    }
    return 1;
}

// The back link of the entry behind the new one stays as it was, and so does m_pLastEntry: derived classes walk these
// links and go by their exact state.
int ZIniFile::AddItemAt(ZENTRY* pEntry, char cType, const char* pszText)
{
    char* const pszCopy = pEntry != nullptr && pszText != nullptr ? ZIniJoin(pszText) : nullptr;
    ZENTRY* const pNew = pszCopy != nullptr ? ZIniMakeNode(ZIniNodeOf(pEntry)->pChain) : nullptr;
    if (pNew == nullptr)
    {
        free(pszCopy);
        return 0;
    }
    pNew->cType = cType;
    pNew->pszText = pszCopy;
    pNew->pPrev = pEntry;
    pNew->pNext = pEntry->pNext;
    pEntry->pNext = pNew;
    return 1;
}

int ZIniFile::DeleteKey(const char* pSection, const char* pKey)
{
    tgEFIND find;
    if (FindKey(pSection, pKey, &find) == 0)
    {
        return 0;
    }
    ZENTRY* const pEntry = find.pKeyEntry;
    (pEntry->pPrev != nullptr ? pEntry->pPrev->pNext : m_pFirstEntry) = pEntry->pNext;
    if (pEntry->pNext != nullptr)
    {
        pEntry->pNext->pPrev = pEntry->pPrev;
    }
    ZIniKill(pEntry);
    ZIniSweep(ZIniNodeOf(pEntry)->pChain, m_pLastEntry);
    return 1;
}

// The line at which the walk stops stays: in the chain when it is the last one of the file, which the section in front
// takes over, else out of it and alive.
int ZIniFile::DeleteSection(const char* pSection)
{
    ZENTRY* const pFirst = FindSection(pSection);
    if (pFirst == nullptr)
    {
        return 1;
    }
    ZIniChain* const pChain = ZIniNodeOf(pFirst)->pChain;
    ZENTRY* const pInFront = pFirst->pPrev;
    ZENTRY* pEntry = pFirst;
    while (pEntry->pNext != nullptr && pEntry->pNext->cType != tpSECTION)
    {
        ZENTRY* const pNextEntry = pEntry->pNext;
        ZIniKill(pEntry);
        pEntry = pNextEntry;
    }
    ZENTRY* const pStop = pEntry->pNext != nullptr ? pEntry->pNext : pEntry;
    (pInFront != nullptr ? pInFront->pNext : m_pFirstEntry) = pStop;
    pStop->pPrev = pInFront;
    ZIniSweep(pChain, m_pLastEntry);
    return 1;
}

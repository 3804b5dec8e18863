// The Customer's side of a string set: a read-only view that works on the tables inside an image. No map is built,
// and a lookup allocates nothing.
#include "containers/handles.h"
#include "diagnostics/check.h"
#include "vo_string_hash_set.h"

VOStringHashSet::Lookup VOStringHashSet::_Candidate_C(const VOWCHAR* pszString) const
{
    Lookup kLookup;
    HashTable::Iterator kIterator;
    m_kStringHash.HashRows(pszString, kLookup.uHash0, kLookup.uHash1);
    kLookup.dwHashMask = kMaskPrimary;
    kLookup.bFound = m_mapTableHashString.Find(kLookup.uHash0, kIterator);
    kLookup.hString = kLookup.bFound ? kIterator.kValue : INVALID_HANDLE_VALUE;
    return kLookup;
}

VOStringHashSet::Lookup VOStringHashSet::_Confirm_C(Lookup kLookup) const
{
    kLookup.bFound = kLookup.bFound && _IsRecord(kLookup.hString);
    if (kLookup.bFound && m_vecHashStringParam[NumberOf(kLookup.hString)].uHash1 != kLookup.uHash1)
    {
        // The second string of this first hash is taken unseen, as the Provider does.
        HashTable::Iterator kIterator;
        kLookup.dwHashMask |= kMaskConflict;
        kLookup.bFound = m_mapTableHashConflict.Find(kLookup.uHash0, kIterator);
        kLookup.hString = kIterator.kValue;
    }
    return kLookup;
}

int VOStringHashSet::_FindHashString_C(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1,
                                       unsigned int&, VOULONG& dwHashMask, void*& hString) const
{
    const Lookup kLookup = _Lookup_C(pszString);
    uHash0 = kLookup.uHash0;
    uHash1 = kLookup.uHash1;
    dwHashMask |= kLookup.dwHashMask;
    if (kLookup.bFound)
    {
        hString = kLookup.hString;
    }
    return kLookup.bFound;
}

void* VOStringHashSet::_Find_C(const VOWCHAR* pszString) const
{
    void* hResult = INVALID_HANDLE_VALUE;
    if (pszString == nullptr)
    {
        VO_PROCESS_ERROR_FALSE;
    }
    hResult = _LiveHandle(_Lookup_C(pszString));

Exit0:
    return hResult;
}

unsigned int VOStringHashSet::_Count_C() const
{
    return m_mapTableHashString.Count() + m_mapTableHashConflict.Count();
}

// The records and the pool stay, so that GetString goes on answering from what was loaded.
int VOStringHashSet::_CleanUp_C()
{
    m_mapTableHashString.CleanUp();
    m_mapTableHashConflict.CleanUp();
    return 1;
}

int VOStringHashSet::_GetFirst_C(Iterator& rkIterator) const
{
    HashTable::Iterator kSlot;
    if (!m_mapTableHashString.GetFirst(kSlot) || NumberOf(kSlot.kValue) >= m_vecHashStringParam.Count())
    {
        return 0;
    }
    rkIterator.kSlot = kSlot;
    rkIterator.hString = kSlot.kValue;
    rkIterator.uStage = 1;
    return 1;
}

int VOStringHashSet::_HasNext_C(Iterator& rkIterator) const
{
    switch (rkIterator.uStage)
    {
        case 1:
            if (!m_mapTableHashString.GetNext(rkIterator.kSlot))
            {
                if (!m_mapTableHashConflict.GetFirst(rkIterator.kSlot))
                {
                    return 0;
                }
                rkIterator.uStage = 2;
            }
            break;
        case 2:
            if (!m_mapTableHashConflict.GetNext(rkIterator.kSlot))
            {
                return 0;
            }
            break;
        default:
            return 0;
    }
    rkIterator.hString = rkIterator.kSlot.kValue;
    return 1;
}

int VOStringHashSet::_SetAlloc_C(StringHashSetAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_C(pAlloc, bCopy, kVOUnbounded);
}

int VOStringHashSet::_SetAlloc_C(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    StringHashSetAlloc kHead;
    if (m_eHashRole != SHR_Customer || !_SetRecordsAndPool(pAlloc, bCopy, ullLimit, kHead))
    {
        return 0;
    }
    const unsigned char* pbTables = reinterpret_cast<const unsigned char*>(pAlloc) +
                                    offsetof(StringHashSetAlloc, abData) + kHead.uParamBufSize +
                                    kHead.uStringAllocBufSize;
    return m_mapTableHashString.SetAlloc(reinterpret_cast<const VOMapTableAlloc*>(pbTables), bCopy,
                                         kHead.uMapTableBufSize) &&
           m_mapTableHashConflict.SetAlloc(reinterpret_cast<const VOMapTableAlloc*>(pbTables + kHead.uMapTableBufSize),
                                           bCopy, kHead.uConflictMapTableBufSize);
}

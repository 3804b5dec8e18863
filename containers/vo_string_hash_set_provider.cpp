// The Provider's side of a string set: a mutable set on sorted maps.
//
//   m_mapHashString    first hash -> record of the first string that has it
//   m_mapHashConflict  first hash -> record of the second one
//   record             { text in the pool, state, mask of the maps needed, both hashes }
//
// An insertion only ever appends a record; removing marks one. Handles stay, texts may move.
#include "containers/handles.h"
#include "diagnostics/check.h"
#include "vo_string_hash_set.h"

VOStringHashSet::Lookup VOStringHashSet::_Lookup_P(const VOWCHAR* pszString) const
{
    Lookup lookup;
    m_kStringHash.HashRows(pszString, lookup.uHash0, lookup.uHash1);
    lookup.dwHashMask = kMaskPrimary;

    void* hFirst = INVALID_HANDLE_VALUE;
    if (!m_mapHashString.Find(lookup.uHash0, hFirst) || !_IsRecord(hFirst))
    {
        return lookup;
    }
    if (m_vecHashStringParam[NumberOf(hFirst)].uHash1 == lookup.uHash1)
    {
        lookup.hString = hFirst;
        lookup.bFound = true;
        return lookup;
    }

    // The second string of this first hash is taken unseen: readers do the same, and the two must agree.
    lookup.dwHashMask |= kMaskConflict;
    lookup.bFound = m_mapHashConflict.Find(lookup.uHash0, lookup.hString) && _IsRecord(lookup.hString);
    return lookup;
}

int VOStringHashSet::_FindHashString_P(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1,
                                       unsigned int&, VOULONG& dwHashMask, void*& hString) const
{
    return _Lookup_P(pszString).Give(uHash0, uHash1, dwHashMask, hString);
}

void* VOStringHashSet::_AddHashStringParam_P(void* hString, VOULONG dwHashMask, unsigned int uHash0,
                                             unsigned int uHash1, unsigned int)
{
    const unsigned int uRecord = m_vecHashStringParam.Count();
    const StringHashParam param = {hString, kStateKeyOnly, dwHashMask, uHash0, uHash1};
    return m_vecHashStringParam.PushBack(param) ? HandleOf(uRecord) : INVALID_HANDLE_VALUE;
}

int VOStringHashSet::_ResetHashStringParam(void* hString, VOULONG dwHashMask, VOULONG dwState, unsigned int uHash0,
                                           unsigned int uHash1, unsigned int, StringHashParam* pkParam)
{
    if (pkParam == nullptr)
    {
        return 0;
    }
    *pkParam = {hString, dwState, dwHashMask, uHash0, uHash1};
    return 1;
}

// Makes the record of a new string and enters it in the map that told it apart.
void* VOStringHashSet::_AddString_P(const Lookup& rkLookup, void* hText, VOULONG dwState)
{
    void* hResult = _AddHashStringParam_P(hText, rkLookup.dwHashMask, rkLookup.uHash0, rkLookup.uHash1, 0);
    if (hResult != INVALID_HANDLE_VALUE)
    {
        StringHashParam param;
        _ResetHashStringParam(hText, rkLookup.dwHashMask, dwState, rkLookup.uHash0, rkLookup.uHash1, 0, &param);
        m_vecHashStringParam.Set(NumberOf(hResult), param);
        VOHashIndex& map = (rkLookup.dwHashMask & kMaskConflict) != 0 ? m_mapHashConflict : m_mapHashString;
        map.Insert(rkLookup.uHash0, hResult);
    }
    return hResult;
}

// Whether a string is, letter for letter, the live text that Insert found last: the files of one folder insert its path
// one after the other, and comparing is cheaper than hashing. A text is found under its own hashes and no others, so
// the answer is the one that a lookup would give.
bool VOStringHashSet::_IsLastFound(const VOWCHAR* pszString) const
{
    if (m_uLastFound >= m_vecHashStringParam.Count() || m_eHashMode != SHM_HashAndString)
    {
        return false;
    }
    // Unit by unit: the system's comparison may take different texts for equal, as a language does.
    const VOWCHAR* pszText = GetString(HandleOf(m_uLastFound));
    const int nLength = lstrlenW(pszString);
    return pszText != nullptr && lstrlenW(pszText) == nLength &&
           memcmp(static_cast<const void*>(pszText), static_cast<const void*>(pszString),
                  static_cast<size_t>(nLength) * sizeof(VOWCHAR)) == 0;
}

void* VOStringHashSet::_Insert_P(const VOWCHAR* pszString, int* pbExist)
{
    const bool bKeepText = m_eHashMode == SHM_HashAndString;
    const VOULONG dwWanted = bKeepText ? kStateText : kStateKeyOnly;
    if (m_pkStringPool == nullptr || !VO_STEP_OR_FALSE(pszString != nullptr))
    {
        return INVALID_HANDLE_VALUE;
    }
    if (_IsLastFound(pszString))
    {
        if (pbExist != nullptr)
        {
            *pbExist = 1;
        }
        return HandleOf(m_uLastFound);
    }

    const Lookup lookup = _Lookup_P(pszString);
    if (!lookup.bFound)
    {
        return _AddString_P(lookup, bKeepText ? m_pkStringPool->Add(pszString) : INVALID_HANDLE_VALUE, dwWanted);
    }
    StringHashParam param = m_vecHashStringParam[NumberOf(lookup.hString)];
    if (param.dwState == dwWanted)
    {
        m_uLastFound = NumberOf(lookup.hString);
        if (pbExist != nullptr)
        {
            *pbExist = 1;
        }
        return lookup.hString;
    }
    // A removed string's old text is used again; a key gets its text now.
    void* hText = param.hString;
    if (hText == INVALID_HANDLE_VALUE && bKeepText)
    {
        hText = m_pkStringPool->Add(pszString);
        if (hText == INVALID_HANDLE_VALUE)
        {
            return INVALID_HANDLE_VALUE;
        }
    }
    _ResetHashStringParam(hText, lookup.dwHashMask, dwWanted, lookup.uHash0, lookup.uHash1, 0, &param);
    _Rewrite(lookup.hString, param);
    return lookup.hString;
}

void* VOStringHashSet::_InsertKey_P(const VOWCHAR* pszString, int* pbExist)
{
    if (m_pkStringPool == nullptr || !VO_STEP_OR_FALSE(pszString != nullptr))
    {
        return INVALID_HANDLE_VALUE;
    }
    const Lookup lookup = _Lookup_P(pszString);
    if (!lookup.bFound)
    {
        return _AddString_P(lookup, INVALID_HANDLE_VALUE, kStateKeyOnly);
    }
    StringHashParam param = m_vecHashStringParam[NumberOf(lookup.hString)];
    if ((param.dwState & kStateRemoved) != 0)
    {
        // Revived as a key: its text stays in the pool, hidden by the state.
        _ResetHashStringParam(param.hString, lookup.dwHashMask, kStateKeyOnly, lookup.uHash0, lookup.uHash1, 0, &param);
        _Rewrite(lookup.hString, param);
    }
    else if (pbExist != nullptr)
    {
        *pbExist = 1;
    }
    return lookup.hString;
}

void* VOStringHashSet::_Find_P(const VOWCHAR* pszString) const
{
    return VO_STEP_OR_FALSE(pszString != nullptr) ? _LiveHandle(_Lookup_P(pszString)) : INVALID_HANDLE_VALUE;
}

int VOStringHashSet::_Remove_P(void* hString)
{
    if (!_IsRecord(hString))
    {
        return 0;
    }
    StringHashParam param = m_vecHashStringParam[NumberOf(hString)];
    param.dwState = kStateRemoved;
    _Rewrite(hString, param);
    return 1;
}

void VOStringHashSet::_Rewrite(void* hString, const StringHashParam& param)
{
    m_vecHashStringParam.Set(NumberOf(hString), param);
    if (m_pJournal != nullptr)
    {
        m_pJournal->Note(NumberOf(hString));
    }
}

unsigned int VOStringHashSet::_Count_P() const
{
    return m_mapHashString.Count() + m_mapHashConflict.Count();
}

int VOStringHashSet::_GetFirst_P(Iterator& rkIterator) const
{
    VOHashIndex::Position position;
    void* hFirst = INVALID_HANDLE_VALUE;
    if (!m_mapHashString.First(position, hFirst) || NumberOf(hFirst) >= m_vecHashStringParam.Count())
    {
        return 0;
    }
    rkIterator.kPosition = position;
    rkIterator.hString = hFirst;
    rkIterator.uStage = 1;
    return 1;
}

int VOStringHashSet::_HasNext_P(Iterator& rkIterator) const
{
    if (rkIterator.uStage == 2)
    {
        return m_mapHashConflict.Next(rkIterator.kPosition, rkIterator.hString);
    }
    if (rkIterator.uStage != 1 || m_mapHashString.Next(rkIterator.kPosition, rkIterator.hString))
    {
        return rkIterator.uStage == 1;
    }
    const bool bConflict = m_mapHashConflict.First(rkIterator.kPosition, rkIterator.hString);
    rkIterator.uStage = bConflict ? 2 : 1;
    return bConflict;
}

int VOStringHashSet::_ShrinkToFit_P()
{
    m_vecHashStringParam.ShrinkToFit();
    return m_pkStringPool != nullptr ? m_pkStringPool->ShrinkToFit() : 0;
}

int VOStringHashSet::_CleanUp_P()
{
    m_mapHashString.Clear();
    m_mapHashConflict.Clear();
    m_vecHashStringParam.Release();
    if (m_pkStringPool != nullptr)
    {
        VO_CHECK_ERROR(m_pkStringPool->Release());
    }
    return 1;
}

int VOStringHashSet::_SetAlloc_P(StringHashSetAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_P(pAlloc, bCopy, kVOUnbounded);
}

int VOStringHashSet::_SetAlloc_P(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    StringHashSetAlloc head;
    const VOMapTableAlloc* const pTable =
        m_eHashRole == SHR_Provider ? _SetRecordsAndPool(pAlloc, bCopy, ullLimit, head) : nullptr;
    return pTable != nullptr && HashTable::ReadInto(m_mapHashString, pTable, head.uMapTableBufSize) &&
           HashTable::ReadInto(m_mapHashConflict, _ConflictTable(pTable, head), head.uConflictMapTableBufSize);
}

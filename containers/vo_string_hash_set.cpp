// A string set: the choice between its roles, what they share, and the Customer's side, a read-only view that works on
// the tables inside an image. No map is built there, and a lookup allocates nothing.
#include "vo_string_hash_set.h"

#include <memory>

#include "containers/handles.h"
#include "diagnostics/check.h"

namespace
{

constexpr unsigned int kNoRecord = 0xFFFFFFFFu;

}  // namespace

VOStringHashSet::VOStringHashSet(StringHashRole eRole, StringHashMode eMode)
    : m_eOperations(kNoRole), m_eHashMode(eMode), m_eHashRole(eRole), m_pkStringPool(nullptr), m_uLastFound(kNoRecord)
{
    // Made last: what the constructor owns by a plain pointer can't be lost to a failed allocation.
    m_pkStringPool = new VOStringContainer;
    _SetRole(eRole);
}

VOStringHashSet::~VOStringHashSet()
{
    CleanUp();
    delete m_pkStringPool;
}

// A copy has a pool of its own.
VOStringHashSet::VOStringHashSet(const VOStringHashSet& rkOther)
    : m_eOperations(rkOther.m_eOperations),
      m_eHashMode(rkOther.m_eHashMode),
      m_eHashRole(rkOther.m_eHashRole),
      m_vecHashStringParam(rkOther.m_vecHashStringParam),
      m_pkStringPool(nullptr),
      m_kStringHash(rkOther.m_kStringHash),
      m_mapHashString(rkOther.m_mapHashString),
      m_mapHashConflict(rkOther.m_mapHashConflict),
      m_mapTableHashString(rkOther.m_mapTableHashString),
      m_mapTableHashConflict(rkOther.m_mapTableHashConflict),
      m_uLastFound(rkOther.m_uLastFound)
{
    m_pkStringPool = rkOther.m_pkStringPool != nullptr ? new VOStringContainer(*rkOther.m_pkStringPool) : nullptr;
}

VOStringHashSet& VOStringHashSet::operator=(const VOStringHashSet& rkOther)
{
    if (this != &rkOther)
    {
        m_eOperations = rkOther.m_eOperations;
        m_eHashMode = rkOther.m_eHashMode;
        m_eHashRole = rkOther.m_eHashRole;
        m_vecHashStringParam = rkOther.m_vecHashStringParam;
        auto pStringPool = std::unique_ptr<VOStringContainer>(
            rkOther.m_pkStringPool != nullptr ? new VOStringContainer(*rkOther.m_pkStringPool) : nullptr);
        delete m_pkStringPool;
        m_pkStringPool = pStringPool.release();
        m_kStringHash = rkOther.m_kStringHash;
        m_mapHashString = rkOther.m_mapHashString;
        m_mapHashConflict = rkOther.m_mapHashConflict;
        m_mapTableHashString = rkOther.m_mapTableHashString;
        m_mapTableHashConflict = rkOther.m_mapTableHashConflict;
        m_uLastFound = rkOther.m_uLastFound;
    }
    return *this;
}

int VOStringHashSet::_SetRole(StringHashRole eRole)
{
    m_eHashRole = eRole;
    m_eOperations = eRole == SHR_Provider || eRole == SHR_Customer ? eRole : m_eOperations;
    return 1;
}

void* VOStringHashSet::Insert(const VOWCHAR* pszString, int* pbExist)
{
    return m_eOperations == SHR_Provider ? _Insert_P(pszString, pbExist) : INVALID_HANDLE_VALUE;
}

void* VOStringHashSet::InsertKey(const VOWCHAR* pszString, int* pbExist)
{
    return m_eOperations == SHR_Provider ? _InsertKey_P(pszString, pbExist) : INVALID_HANDLE_VALUE;
}

void* VOStringHashSet::Find(const VOWCHAR* pszString) const
{
    return m_eOperations == SHR_Provider   ? _Find_P(pszString)
           : m_eOperations == SHR_Customer ? _Find_C(pszString)
                                           : INVALID_HANDLE_VALUE;
}

int VOStringHashSet::Remove(void* hString)
{
    return m_eOperations == SHR_Provider ? _Remove_P(hString) : 0;
}

int VOStringHashSet::CleanUp()
{
    return m_eOperations == SHR_Provider ? _CleanUp_P() : m_eOperations == SHR_Customer ? _CleanUp_C() : 0;
}

int VOStringHashSet::GetFirst(Iterator& rkIterator) const
{
    return m_eOperations == SHR_Provider   ? _GetFirst_P(rkIterator)
           : m_eOperations == SHR_Customer ? _GetFirst_C(rkIterator)
                                           : 0;
}

int VOStringHashSet::HasNext(Iterator& rkIterator) const
{
    return m_eOperations == SHR_Provider   ? _HasNext_P(rkIterator)
           : m_eOperations == SHR_Customer ? _HasNext_C(rkIterator)
                                           : 0;
}

unsigned int VOStringHashSet::Count() const
{
    return m_eOperations == SHR_Provider ? _Count_P() : m_eOperations == SHR_Customer ? _Count_C() : 0;
}

int VOStringHashSet::ShrinkToFit()
{
    return m_eOperations == SHR_Provider ? _ShrinkToFit_P() : 0;
}

int VOStringHashSet::SetAlloc(StringHashSetAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOStringHashSet::SetAlloc(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    return m_eOperations == SHR_Provider   ? _SetAlloc_P(pAlloc, bCopy, ullLimit)
           : m_eOperations == SHR_Customer ? _SetAlloc_C(pAlloc, bCopy, ullLimit)
                                           : 0;
}

void VOStringHashSet::DropViews()
{
    m_vecHashStringParam.DropView();
    if (m_pkStringPool != nullptr)
    {
        m_pkStringPool->DropView();
    }
}

bool VOStringHashSet::_IsRecord(void* hString) const
{
    return hString != INVALID_HANDLE_VALUE && NumberOf(hString) < m_vecHashStringParam.Count();
}

const VOWCHAR* VOStringHashSet::GetString(void* hString) const
{
    const unsigned int uRecord = NumberOf(hString);
    if (uRecord >= m_vecHashStringParam.Count() || m_pkStringPool == nullptr)
    {
        return nullptr;
    }
    const StringHashParam param = m_vecHashStringParam[uRecord];
    return (param.dwState & kStateText) != 0 ? m_pkStringPool->Get(param.hString) : nullptr;
}

// The handle of what a lookup found, unless it is removed.
void* VOStringHashSet::_LiveHandle(const Lookup& rkLookup) const
{
    if (!rkLookup.bFound || !_IsRecord(rkLookup.hString))
    {
        return INVALID_HANDLE_VALUE;
    }
    const unsigned int uRecord = NumberOf(rkLookup.hString);
    const VOULONG dwState = VOLoad<VOULONG>(m_vecHashStringParam.Bytes(uRecord) + offsetof(StringHashParam, dwState));
    return (dwState & kStateRemoved) == 0 ? rkLookup.hString : INVALID_HANDLE_VALUE;
}

// Fills the four sizes and their sum into the head; the result is the size of the whole image, and more than
// kVOMaxImageSize when there can be none.
unsigned long long VOStringHashSet::_SizesOfParts(StringHashSetAlloc& rkHead) const
{
    const bool bMaps = _HasMaps();
    const unsigned long long arrSize[] = {
        m_vecHashStringParam.AllocSize(),
        m_pkStringPool->AllocSize(),
        bMaps ? HashTable::AllocSizeOf(HashTable::SlotCountFor(m_mapHashString.Count()))
              : m_mapTableHashString.AllocSize(),
        bMaps ? HashTable::AllocSizeOf(HashTable::SlotCountFor(m_mapHashConflict.Count()))
              : m_mapTableHashConflict.AllocSize(),
    };
    const unsigned long long ullSum = arrSize[0] + arrSize[1] + arrSize[2] + arrSize[3];
    rkHead = {VO_IMAGE_VERSION_1_1,
              static_cast<unsigned int>(arrSize[0]),
              static_cast<unsigned int>(arrSize[1]),
              static_cast<unsigned int>(arrSize[2]),
              static_cast<unsigned int>(arrSize[3]),
              static_cast<unsigned int>(ullSum),
              {}};
    return sizeof(StringHashSetAlloc) + ullSum;
}

unsigned long long VOStringHashSet::AllocSize() const
{
    StringHashSetAlloc kHead;
    return m_pkStringPool != nullptr ? _SizesOfParts(kHead) : kVOUnbounded;
}

int VOStringHashSet::WriteAlloc(unsigned char* pbTo) const
{
    StringHashSetAlloc kHead;
    if (m_pkStringPool == nullptr)
    {
        return 0;
    }
    _SizesOfParts(kHead);
    memcpy(pbTo, &kHead, offsetof(StringHashSetAlloc, abData));

    unsigned char* pbPart = pbTo + offsetof(StringHashSetAlloc, abData);
    m_vecHashStringParam.WriteAlloc(pbPart);
    pbPart += kHead.uParamBufSize;
    m_pkStringPool->WriteAlloc(pbPart);
    pbPart += kHead.uStringAllocBufSize;

    if (!_HasMaps())
    {
        m_mapTableHashString.WriteAlloc(pbPart);
        m_mapTableHashConflict.WriteAlloc(pbPart + kHead.uMapTableBufSize);
        return 1;
    }
    const auto WriteMap = [](unsigned char* pbTable, const VOHashIndex& map)
    {
        const auto pSorted = map.Sorted();
        return HashTable::WriteAllocOfMap(pbTable, pSorted->vecEntry, &VOHashIndex::HandleOf);
    };
    return WriteMap(pbPart, m_mapHashString) && WriteMap(pbPart + kHead.uMapTableBufSize, m_mapHashConflict);
}

VOStringHashSet::StringHashSetAlloc* VOStringHashSet::GetAlloc() const
{
    if (AllocSize() > kVOMaxImageSize)
    {
        return nullptr;
    }
    std::unique_ptr<unsigned char, decltype(&free)> pbAlloc(static_cast<unsigned char*>(VOAllocateImage(AllocSize())),
                                                            &free);
    return WriteAlloc(pbAlloc.get()) ? reinterpret_cast<StringHashSetAlloc*>(pbAlloc.release()) : nullptr;
}

bool VOStringHashSet::_HasMaps() const
{
    return m_eHashRole == SHR_Provider || m_mapHashString.Count() != 0;
}

// What a Provider has beside records and texts, as long as an image is made of a base, which has neither the maps nor
// the places of the texts: these lie behind each other, each with its terminator and a byte more.
void VOStringHashSet::_EnterRecords()
{
    VOBufferContainer& texts = m_pkStringPool->m_kBufferContainer;
    for (unsigned long long ullAt = 0; ullAt < texts.m_uBufferSize; ullAt += sizeof(VOWCHAR) + 1)
    {
        texts.m_vecHandle.PushBack(HandleOf(static_cast<unsigned int>(ullAt)));
        while (ullAt + sizeof(VOWCHAR) <= texts.m_uBufferSize && VOLoad<uint16_t>(texts.m_pbBuffer + ullAt) != 0)
        {
            ullAt += sizeof(VOWCHAR);
        }
    }
    for (unsigned int i = 0; i < m_vecHashStringParam.Count(); ++i)
    {
        const StringHashParam param = m_vecHashStringParam[i];
        ((param.dwHashMask & kMaskConflict) != 0 ? m_mapHashConflict : m_mapHashString)
            .Insert(param.uHash0, HandleOf(i));
    }
}

void VOStringHashSet::_DropMaps()
{
    m_mapHashString.Clear();
    m_mapHashConflict.Clear();
    m_pkStringPool->m_kBufferContainer.m_vecHandle.Release();
}

// What both roles do with an image, up to the tables: check it whole, clean up, take the records and the pool. The
// first of the tables; null on failure.
const VOMapTableAlloc* VOStringHashSet::_SetRecordsAndPool(StringHashSetAlloc* pAlloc, int bCopy,
                                                           unsigned long long ullLimit, StringHashSetAlloc& rkHead)
{
    if (m_pkStringPool == nullptr || pAlloc == nullptr || ullLimit < sizeof(StringHashSetAlloc))
    {
        return nullptr;
    }
    rkHead = VOLoad<StringHashSetAlloc>(pAlloc);
    const unsigned long long ullSum = static_cast<unsigned long long>(rkHead.uParamBufSize) +
                                      rkHead.uStringAllocBufSize + rkHead.uMapTableBufSize +
                                      rkHead.uConflictMapTableBufSize;
    if (rkHead.uDataBufSize == 0 || !VOIsVersion(rkHead.szVersion, VO_IMAGE_VERSION_1_1) ||
        rkHead.uDataBufSize != ullSum || ullSum > ullLimit - sizeof(StringHashSetAlloc) || !CleanUp())
    {
        return nullptr;
    }
    unsigned char* const pbRecords = reinterpret_cast<unsigned char*>(pAlloc) + offsetof(StringHashSetAlloc, abData);
    unsigned char* const pbPool = pbRecords + rkHead.uParamBufSize;
    return m_vecHashStringParam.SetAlloc(reinterpret_cast<VORecordVectorAlloc*>(pbRecords), bCopy,
                                         rkHead.uParamBufSize) &&
                   m_pkStringPool->SetAlloc(reinterpret_cast<VOStringContainer::StringAlloc*>(pbPool), bCopy,
                                            rkHead.uStringAllocBufSize)
               ? reinterpret_cast<const VOMapTableAlloc*>(pbPool + rkHead.uStringAllocBufSize)
               : nullptr;
}

// The conflict table of an image, behind its primary one.
const VOMapTableAlloc* VOStringHashSet::_ConflictTable(const VOMapTableAlloc* pTable, const StringHashSetAlloc& rkHead)
{
    return reinterpret_cast<const VOMapTableAlloc*>(reinterpret_cast<const unsigned char*>(pTable) +
                                                    rkHead.uMapTableBufSize);
}

VOStringHashSet::Lookup VOStringHashSet::_Lookup_C(const VOWCHAR* pszString) const
{
    Lookup lookup = _Candidate_C(pszString);
    return _Confirm_C(lookup);
}

VOStringHashSet::Lookup VOStringHashSet::_Candidate_C(const VOWCHAR* pszString) const
{
    Lookup lookup;
    HashTable::Iterator iterator;
    m_kStringHash.HashRows(pszString, lookup.uHash0, lookup.uHash1);
    lookup.dwHashMask = kMaskPrimary;
    lookup.bFound = m_mapTableHashString.Find(lookup.uHash0, iterator);
    lookup.hString = lookup.bFound ? iterator.value : INVALID_HANDLE_VALUE;
    return lookup;
}

// In place: a copy would be read in wider pieces than it has just been written in, and such a read waits for every
// miss before it.
const VOStringHashSet::Lookup& VOStringHashSet::_Confirm_C(Lookup& lookup) const
{
    lookup.bFound = lookup.bFound && _IsRecord(lookup.hString);
    if (lookup.bFound && m_vecHashStringParam[NumberOf(lookup.hString)].uHash1 != lookup.uHash1)
    {
        // The second string of this first hash is taken unseen, as the Provider does.
        HashTable::Iterator iterator;
        lookup.dwHashMask |= kMaskConflict;
        lookup.bFound = m_mapTableHashConflict.Find(lookup.uHash0, iterator);
        lookup.hString = iterator.value;
    }
    return lookup;
}

int VOStringHashSet::_FindHashString_C(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1,
                                       unsigned int&, VOULONG& dwHashMask, void*& hString) const
{
    return _Lookup_C(pszString).Give(uHash0, uHash1, dwHashMask, hString);
}

void* VOStringHashSet::_Find_C(const VOWCHAR* pszString) const
{
    return VO_STEP_OR_FALSE(pszString != nullptr) ? _LiveHandle(_Lookup_C(pszString)) : INVALID_HANDLE_VALUE;
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
    HashTable::Iterator slot;
    if (!m_mapTableHashString.GetFirst(slot) || NumberOf(slot.value) >= m_vecHashStringParam.Count())
    {
        return 0;
    }
    rkIterator.kSlot = slot;
    rkIterator.hString = slot.value;
    rkIterator.uStage = 1;
    return 1;
}

int VOStringHashSet::_HasNext_C(Iterator& rkIterator) const
{
    bool bMore = false;
    if (rkIterator.uStage == 1)
    {
        bMore = m_mapTableHashString.GetNext(rkIterator.kSlot);
        if (!bMore && m_mapTableHashConflict.GetFirst(rkIterator.kSlot))
        {
            bMore = true;
            rkIterator.uStage = 2;
        }
    }
    else if (rkIterator.uStage == 2)
    {
        bMore = m_mapTableHashConflict.GetNext(rkIterator.kSlot);
    }
    rkIterator.hString = bMore ? rkIterator.kSlot.value : rkIterator.hString;
    return bMore;
}

int VOStringHashSet::_SetAlloc_C(StringHashSetAlloc* pAlloc, int bCopy)
{
    return _SetAlloc_C(pAlloc, bCopy, kVOUnbounded);
}

int VOStringHashSet::_SetAlloc_C(StringHashSetAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    StringHashSetAlloc head;
    const VOMapTableAlloc* const pTable =
        m_eHashRole == SHR_Customer ? _SetRecordsAndPool(pAlloc, bCopy, ullLimit, head) : nullptr;
    return pTable != nullptr && m_mapTableHashString.SetAlloc(pTable, bCopy, head.uMapTableBufSize) &&
           m_mapTableHashConflict.SetAlloc(_ConflictTable(pTable, head), bCopy, head.uConflictMapTableBufSize);
}

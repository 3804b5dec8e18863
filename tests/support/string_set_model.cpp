#include "support/string_set_model.h"

#include "support/opened_containers.h"
#include "support/reference_hash.h"
#include "support/text.h"

namespace votest
{
namespace
{
constexpr uint32_t kKeyOnly = 0;
constexpr uint32_t kRemoved = 2;
constexpr uint32_t kText = 4;

void AppendWalkOfSlots(const Bytes& slots, std::vector<uint64_t>& vecHandle)
{
    for (size_t uAt = 0; uAt < slots.size(); uAt += 16)
    {
        if (ReadU32(slots, uAt + 12) != 0)
        {
            vecHandle.push_back(ReadU64(slots, uAt + 4));
        }
    }
}
}  // namespace

StringSetModel::Lookup StringSetModel::Look(const VOWString& strText) const
{
    Lookup lookup;
    lookup.uHash0 = ReferenceHash(strText, 0);
    lookup.uHash1 = ReferenceHash(strText, 1);
    const auto itPrimary = m_mapPrimary.find(lookup.uHash0);
    if (itPrimary == m_mapPrimary.end())
    {
        return lookup;
    }
    if (Record(itPrimary->second).uHash1 == lookup.uHash1)
    {
        lookup.bFound = true;
        lookup.ullHandle = itPrimary->second;
        return lookup;
    }
    lookup.dwMask = 3;
    const auto itConflict = m_mapConflict.find(lookup.uHash0);
    if (itConflict != m_mapConflict.end())
    {
        lookup.bFound = true;
        lookup.ullHandle = itConflict->second;
    }
    return lookup;
}

uint64_t StringSetModel::Enter(const Lookup& lookup, uint64_t hString, uint32_t dwState)
{
    const uint64_t ullHandle = m_vecRecord.size();
    m_vecRecord.push_back({hString, dwState, lookup.dwMask, lookup.uHash0, lookup.uHash1});
    (lookup.dwMask == 3 ? m_mapConflict : m_mapPrimary).emplace(lookup.uHash0, ullHandle);
    return ullHandle;
}

uint64_t StringSetModel::Insert(const VOWString& strText, bool& bExist)
{
    const uint32_t dwWanted = m_bKeepsText ? kText : kKeyOnly;
    const Lookup lookup = Look(strText);
    const auto fnKeep = [&]
    {
        const uint64_t hString = m_pool.Add(strText);
        m_mapText[hString] = strText;
        return hString;
    };
    if (!lookup.bFound)
    {
        return Enter(lookup, m_bKeepsText ? fnKeep() : kInvalidHandle, dwWanted);
    }
    StringRecord& record = m_vecRecord[static_cast<size_t>(lookup.ullHandle)];
    if (record.dwState == dwWanted)
    {
        bExist = true;
        return lookup.ullHandle;
    }
    if (record.hString == kInvalidHandle && m_bKeepsText)
    {
        record.hString = fnKeep();
    }
    record = {record.hString, dwWanted, lookup.dwMask, lookup.uHash0, lookup.uHash1};
    return lookup.ullHandle;
}

uint64_t StringSetModel::InsertKey(const VOWString& strText, bool& bExist)
{
    const Lookup lookup = Look(strText);
    if (!lookup.bFound)
    {
        return Enter(lookup, kInvalidHandle, kKeyOnly);
    }
    StringRecord& record = m_vecRecord[static_cast<size_t>(lookup.ullHandle)];
    if ((record.dwState & kRemoved) != 0)
    {
        record = {record.hString, kKeyOnly, lookup.dwMask, lookup.uHash0, lookup.uHash1};
        return lookup.ullHandle;
    }
    bExist = true;
    return lookup.ullHandle;
}

uint64_t StringSetModel::Find(const VOWString& strText) const
{
    const Lookup lookup = Look(strText);
    return lookup.bFound && (Record(lookup.ullHandle).dwState & kRemoved) == 0 ? lookup.ullHandle : kInvalidHandle;
}

bool StringSetModel::Remove(uint64_t ullHandle)
{
    if (ullHandle >= m_vecRecord.size())
    {
        return false;
    }
    m_vecRecord[static_cast<size_t>(ullHandle)].dwState = kRemoved;
    return true;
}

void StringSetModel::CleanUp()
{
    *this = StringSetModel(m_bKeepsText);
}

bool StringSetModel::GetString(uint64_t ullHandle, VOWString& strText) const
{
    if (ullHandle >= m_vecRecord.size() || (Record(ullHandle).dwState & kText) == 0 ||
        Record(ullHandle).hString == kInvalidHandle)
    {
        return false;
    }
    strText = m_mapText.at(Record(ullHandle).hString);
    return true;
}

std::vector<uint64_t> StringSetModel::ProviderWalk() const
{
    std::vector<uint64_t> vecHandle;
    for (const auto* pMap : {&m_mapPrimary, &m_mapConflict})
    {
        for (const auto& [uHash, ullHandle] : *pMap)
        {
            vecHandle.push_back(ullHandle);
        }
    }
    return vecHandle;
}

std::vector<uint64_t> StringSetModel::CustomerWalk() const
{
    std::vector<uint64_t> vecHandle;
    AppendWalkOfSlots(TableSlots(m_mapPrimary), vecHandle);
    AppendWalkOfSlots(TableSlots(m_mapConflict), vecHandle);
    return vecHandle;
}

Bytes StringSetModel::Image() const
{
    return StringSetImage(RecordVectorImage(m_vecRecord.size(), StringRecordBytes(m_vecRecord)), StringImage(m_pool),
                          TableImage(m_mapPrimary), TableImage(m_mapConflict));
}

Bytes ImageOf(const VOStringHashSet& set)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(set.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 28), 24) + 32);
}

int Set(VOStringHashSet& set, const MisalignedBlock& image, int bCopy)
{
    return set.SetAlloc(image.As<VOStringHashSet::StringHashSetAlloc>(), bCopy, image.Size());
}

std::vector<uint64_t> WalkOf(const VOStringHashSet& set, size_t uAtMost)
{
    std::vector<uint64_t> vecHandle;
    VOStringHashSet::Iterator iterator;
    for (int bMore = set.GetFirst(iterator); bMore != 0 && vecHandle.size() < uAtMost; bMore = set.HasNext(iterator))
    {
        vecHandle.push_back(Number(iterator.hString));
    }
    return vecHandle;
}

void ExpectSame(const StringSetModel& model, const VOStringHashSet& set, bool bCustomer,
                const std::vector<VOWString>& texts)
{
    ASSERT_EQ(model.Count(), set.Count());
    for (uint32_t uHandle = 0; uHandle < model.RecordCount() + 2; ++uHandle)
    {
        VOWString strExpected;
        const bool bText = model.GetString(uHandle, strExpected);
        const VOWCHAR* pszText = set.GetString(Handle(uHandle));
        ASSERT_EQ(bText, pszText != nullptr) << "handle " << uHandle;
        ASSERT_EQ(strExpected, ReadText(pszText)) << "handle " << uHandle;
    }
    for (const VOWString& text : texts)
    {
        ASSERT_EQ(model.Find(text), Number(set.Find(text.c_str()))) << Shown(text);
    }
    ASSERT_EQ(bCustomer ? model.CustomerWalk() : model.ProviderWalk(), WalkOf(set));
}
}  // namespace votest

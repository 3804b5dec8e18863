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

void AppendWalkOfSlots(const Bytes& rkSlots, std::vector<uint64_t>& rvecHandle)
{
    for (size_t uAt = 0; uAt < rkSlots.size(); uAt += 16)
    {
        if (ReadU32(rkSlots, uAt + 12) != 0)
        {
            rvecHandle.push_back(ReadU64(rkSlots, uAt + 4));
        }
    }
}
}  // namespace

StringSetModel::Lookup StringSetModel::Look(const VOWString& strText) const
{
    Lookup kLookup;
    kLookup.uHash0 = ReferenceHash(strText, 0);
    kLookup.uHash1 = ReferenceHash(strText, 1);
    const auto itPrimary = m_mapPrimary.find(kLookup.uHash0);
    if (itPrimary == m_mapPrimary.end())
    {
        return kLookup;
    }
    if (Record(itPrimary->second).uHash1 == kLookup.uHash1)
    {
        kLookup.bFound = true;
        kLookup.ullHandle = itPrimary->second;
        return kLookup;
    }
    kLookup.dwMask = 3;
    const auto itConflict = m_mapConflict.find(kLookup.uHash0);
    if (itConflict != m_mapConflict.end())
    {
        kLookup.bFound = true;
        kLookup.ullHandle = itConflict->second;
    }
    return kLookup;
}

uint64_t StringSetModel::Enter(const Lookup& rkLookup, uint64_t hString, uint32_t dwState)
{
    const uint64_t ullHandle = m_vecRecord.size();
    m_vecRecord.push_back({hString, dwState, rkLookup.dwMask, rkLookup.uHash0, rkLookup.uHash1});
    (rkLookup.dwMask == 3 ? m_mapConflict : m_mapPrimary).emplace(rkLookup.uHash0, ullHandle);
    return ullHandle;
}

uint64_t StringSetModel::Insert(const VOWString& strText, bool& rbExist)
{
    const uint32_t dwWanted = m_bKeepsText ? kText : kKeyOnly;
    const Lookup kLookup = Look(strText);
    const auto fnKeep = [&]
    {
        const uint64_t hString = m_kPool.Add(strText);
        m_mapText[hString] = strText;
        return hString;
    };
    if (!kLookup.bFound)
    {
        return Enter(kLookup, m_bKeepsText ? fnKeep() : kInvalidHandle, dwWanted);
    }
    StringRecord& rRecord = m_vecRecord[static_cast<size_t>(kLookup.ullHandle)];
    if (rRecord.dwState == dwWanted)
    {
        rbExist = true;
        return kLookup.ullHandle;
    }
    if (rRecord.hString == kInvalidHandle && m_bKeepsText)
    {
        rRecord.hString = fnKeep();
    }
    rRecord = {rRecord.hString, dwWanted, kLookup.dwMask, kLookup.uHash0, kLookup.uHash1};
    return kLookup.ullHandle;
}

uint64_t StringSetModel::InsertKey(const VOWString& strText, bool& rbExist)
{
    const Lookup kLookup = Look(strText);
    if (!kLookup.bFound)
    {
        return Enter(kLookup, kInvalidHandle, kKeyOnly);
    }
    StringRecord& rRecord = m_vecRecord[static_cast<size_t>(kLookup.ullHandle)];
    if ((rRecord.dwState & kRemoved) != 0)
    {
        rRecord = {rRecord.hString, kKeyOnly, kLookup.dwMask, kLookup.uHash0, kLookup.uHash1};
        return kLookup.ullHandle;
    }
    rbExist = true;
    return kLookup.ullHandle;
}

uint64_t StringSetModel::Find(const VOWString& strText) const
{
    const Lookup kLookup = Look(strText);
    return kLookup.bFound && (Record(kLookup.ullHandle).dwState & kRemoved) == 0 ? kLookup.ullHandle : kInvalidHandle;
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

bool StringSetModel::GetString(uint64_t ullHandle, VOWString& rstrText) const
{
    if (ullHandle >= m_vecRecord.size() || (Record(ullHandle).dwState & kText) == 0 ||
        Record(ullHandle).hString == kInvalidHandle)
    {
        return false;
    }
    rstrText = m_mapText.at(Record(ullHandle).hString);
    return true;
}

std::vector<uint64_t> StringSetModel::ProviderWalk() const
{
    std::vector<uint64_t> vecHandle;
    for (const auto* pkMap : {&m_mapPrimary, &m_mapConflict})
    {
        for (const auto& [uHash, ullHandle] : *pkMap)
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
    return StringSetImage(RecordVectorImage(m_vecRecord.size(), StringRecordBytes(m_vecRecord)), StringImage(m_kPool),
                          TableImage(m_mapPrimary), TableImage(m_mapConflict));
}

Bytes ImageOf(const VOStringHashSet& rkSet)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(rkSet.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 28), 24) + 32);
}

int Set(VOStringHashSet& rkSet, const MisalignedBlock& rkImage, int bCopy)
{
    return rkSet.SetAlloc(rkImage.As<VOStringHashSet::StringHashSetAlloc>(), bCopy, rkImage.Size());
}

std::vector<uint64_t> WalkOf(const VOStringHashSet& rkSet, size_t uAtMost)
{
    std::vector<uint64_t> vecHandle;
    VOStringHashSet::Iterator kIterator;
    for (int bMore = rkSet.GetFirst(kIterator); bMore != 0 && vecHandle.size() < uAtMost;
         bMore = rkSet.HasNext(kIterator))
    {
        vecHandle.push_back(Number(kIterator.hString));
    }
    return vecHandle;
}

void ExpectSame(const StringSetModel& rkModel, const VOStringHashSet& rkSet, bool bCustomer,
                const std::vector<VOWString>& rkTexts)
{
    ASSERT_EQ(rkModel.Count(), rkSet.Count());
    for (uint32_t uHandle = 0; uHandle < rkModel.RecordCount() + 2; ++uHandle)
    {
        VOWString strExpected;
        const bool bText = rkModel.GetString(uHandle, strExpected);
        const VOWCHAR* pszText = rkSet.GetString(Handle(uHandle));
        ASSERT_EQ(bText, pszText != nullptr) << "handle " << uHandle;
        ASSERT_EQ(strExpected, ReadText(pszText)) << "handle " << uHandle;
    }
    for (const VOWString& rkText : rkTexts)
    {
        ASSERT_EQ(rkModel.Find(rkText), Number(rkSet.Find(rkText.c_str()))) << Shown(rkText);
    }
    ASSERT_EQ(bCustomer ? rkModel.CustomerWalk() : rkModel.ProviderWalk(), WalkOf(rkSet));
}
}  // namespace votest

// A simple model of VOStringHashSet: its rules, on standard containers, with the reference hash. It answers what the
// set has to answer, and builds the image that the set has to build.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/reference_images.h"
#include "vo_string_hash_set.h"

namespace votest
{
class StringSetModel
{
public:
    explicit StringSetModel(bool bKeepsText = true) : m_bKeepsText(bKeepsText) {}

    // The handle; bExist is set to true only where *pbExist has to become 1.
    uint64_t Insert(const VOWString& strText, bool& theBExist);
    uint64_t InsertKey(const VOWString& strText, bool& theBExist);

    uint64_t Find(const VOWString& strText) const;
    bool Remove(uint64_t ullHandle);
    void CleanUp();

    uint32_t Count() const { return static_cast<uint32_t>(m_mapPrimary.size() + m_mapConflict.size()); }
    uint32_t RecordCount() const { return static_cast<uint32_t>(m_vecRecord.size()); }
    const StringRecord& Record(uint64_t ullHandle) const { return m_vecRecord.at(static_cast<size_t>(ullHandle)); }

    // True and the text, when GetString has to answer.
    bool GetString(uint64_t ullHandle, VOWString& theStrText) const;

    // The handles of a walk: a Provider's ascending order of the first hash, and a Customer's order of slots.
    std::vector<uint64_t> ProviderWalk() const;
    std::vector<uint64_t> CustomerWalk() const;

    Bytes Image() const;
    size_t PoolSize() const { return m_pool.vecData.size(); }

private:
    struct Lookup
    {
        uint32_t uHash0;
        uint32_t uHash1;
        uint32_t dwMask = 1;
        bool bFound = false;
        uint64_t ullHandle = kInvalidHandle;
    };
    Lookup Look(const VOWString& strText) const;
    uint64_t Enter(const Lookup& lookup, uint64_t hString, uint32_t dwState);

    bool m_bKeepsText;
    std::vector<StringRecord> m_vecRecord;
    TextPool m_pool;
    std::map<uint64_t, VOWString> m_mapText;  // pool handle to text
    std::map<uint32_t, uint64_t> m_mapPrimary;
    std::map<uint32_t, uint64_t> m_mapConflict;
};

// The whole image of a set, its size taken from its own head.
Bytes ImageOf(const VOStringHashSet& set);

int Set(VOStringHashSet& set, const MisalignedBlock& image, int bCopy);

// The handles that GetFirst and HasNext show, in their order; at most uAtMost of them.
std::vector<uint64_t> WalkOf(const VOStringHashSet& set, size_t uAtMost = 1u << 20);

// Checks that a set answers as the model does: count, every record's text, the walk, and the lookups of these texts.
void ExpectSame(const StringSetModel& model, const VOStringHashSet& set, bool bCustomer,
                const std::vector<VOWString>& texts);
}  // namespace votest

// The Provider's maps. VOHashIndex is an open-addressing table that is sorted when a walk asks for the order;
// VOHandleIndex is an array, since handles are dense small integers.
#include "internal/vo_ordered_index.h"

#include <algorithm>
#include <bit>
#include <mutex>
#include <utility>

#include "internal/vo_bytes.h"
#include "platform/vo_owners.h"

namespace
{

// A handle that doesn't fit the table: no record has this index, so it is found and then refused like any dangling
// one. Only a damaged image holds such a handle.
constexpr unsigned int kDangling = 0xFFFFFFFEu;

unsigned int RecordOf(void* hHandle)
{
    const uintptr_t uHandle = reinterpret_cast<uintptr_t>(hHandle);
    return uHandle < kDangling ? static_cast<unsigned int>(uHandle) : kDangling;
}

}  // namespace

void* VOHashIndex::HandleOf(unsigned int uRecord)
{
    return uRecord == kDangling ? INVALID_HANDLE_VALUE : reinterpret_cast<void*>(static_cast<uintptr_t>(uRecord));
}

struct VOHashIndex::Impl
{
    // Slots of a power of two, free while they are zero, as fresh memory is. The load stays at or below a half, so that
    // a probe touches one cache line as a rule.
    struct Slot
    {
        unsigned int uKey;
        unsigned int uRecordPlus1;

        bool IsFree() const { return uRecordPlus1 == 0; }
        Entry ToEntry() const { return {uKey, uRecordPlus1 - 1}; }
    };
    static constexpr unsigned long long kFirstSlots = 64;

    std::unique_ptr<Slot[], VOFreeBlock> pSlots;
    unsigned long long ullSlots = 0;
    unsigned int uCount = 0;
    unsigned long long ullGeneration = 1;  // steps with every change

    // The order as of some generation, shared with the walks that use it.
    mutable std::mutex sortedLock;
    mutable std::shared_ptr<const SortedEntries> pSorted;

    Impl() = default;
    Impl(const Impl& rkOther) : ullSlots(rkOther.ullSlots), uCount(rkOther.uCount)
    {
        if (ullSlots != 0)
        {
            pSlots.reset(NewSlots(ullSlots));
            memcpy(pSlots.get(), rkOther.pSlots.get(), ullSlots * sizeof(Slot));
        }
    }
    Impl& operator=(const Impl&) = delete;

    static Slot* NewSlots(unsigned long long ullCount)
    {
        return static_cast<Slot*>(VOAllocateImage(ullCount * sizeof(Slot)));
    }

    // Keys are hashes of the publisher's choosing, so they are mixed once more before their top bits place them.
    unsigned long long HomeOf(unsigned int uKey) const
    {
        return (uKey * 0x9E3779B97F4A7C15ull) >> (64 - std::countr_zero(ullSlots));
    }

    Slot* SlotOf(unsigned int uKey) const
    {
        unsigned long long ullSlot = HomeOf(uKey);
        while (!pSlots[ullSlot].IsFree() && pSlots[ullSlot].uKey != uKey)
        {
            ullSlot = (ullSlot + 1) & (ullSlots - 1);
        }
        return &pSlots[ullSlot];
    }

    void Grow()
    {
        const unsigned long long ullOldSlots = ullSlots;
        const unsigned long long ullNewSlots = ullSlots != 0 ? ullSlots * 2 : kFirstSlots;
        std::unique_ptr<Slot[], VOFreeBlock> pOld(NewSlots(ullNewSlots));
        pOld.swap(pSlots);
        ullSlots = ullNewSlots;
        for (unsigned long long i = 0; i < ullOldSlots; ++i)
        {
            if (!pOld[i].IsFree())
            {
                *SlotOf(pOld[i].uKey) = pOld[i];
            }
        }
    }

    // Radix sort, three passes of 11 bits: keys are evenly spread, and there may be millions.
    static void SortByKey(std::vector<Entry>& vecEntry)
    {
        constexpr unsigned int kBits = 11;
        constexpr unsigned int kBuckets = 1u << kBits;
        std::vector<Entry> vecOther(vecEntry.size());
        for (unsigned int uShift = 0; uShift < 32; uShift += kBits)
        {
            std::vector<size_t> vecStart(kBuckets + 1);
            for (const Entry& entry : vecEntry)
            {
                ++vecStart[((entry.uKey >> uShift) & (kBuckets - 1)) + 1];
            }
            for (unsigned int i = 0; i < kBuckets; ++i)
            {
                vecStart[i + 1] += vecStart[i];
            }
            for (const Entry& entry : vecEntry)
            {
                vecOther[vecStart[(entry.uKey >> uShift) & (kBuckets - 1)]++] = entry;
            }
            vecEntry.swap(vecOther);
        }
    }
};

VOHashIndex::VOHashIndex() : m_pImpl(std::make_unique<Impl>()) {}
VOHashIndex::~VOHashIndex() = default;
VOHashIndex::VOHashIndex(const VOHashIndex& rkOther) : m_pImpl(std::make_unique<Impl>(*rkOther.m_pImpl)) {}
VOHashIndex& VOHashIndex::operator=(const VOHashIndex& rkOther)
{
    if (this != &rkOther)
    {
        m_pImpl = std::make_unique<Impl>(*rkOther.m_pImpl);
    }
    return *this;
}

unsigned int VOHashIndex::Count() const
{
    return m_pImpl->uCount;
}

bool VOHashIndex::Find(unsigned int uKey, void*& rhHandle) const
{
    if (m_pImpl->uCount == 0)
    {
        return false;
    }
    const Impl::Slot slot = *m_pImpl->SlotOf(uKey);
    if (!slot.IsFree())
    {
        rhHandle = HandleOf(slot.ToEntry().uRecord);
    }
    return !slot.IsFree();
}

bool VOHashIndex::Insert(unsigned int uKey, void* hHandle)
{
    Impl& impl = *m_pImpl;
    if (impl.uCount * 2ull >= impl.ullSlots)
    {
        impl.Grow();
    }
    Impl::Slot* const pSlot = impl.SlotOf(uKey);
    if (!pSlot->IsFree())
    {
        return false;
    }
    *pSlot = {uKey, RecordOf(hHandle) + 1};
    ++impl.uCount;
    ++impl.ullGeneration;
    return true;
}

void VOHashIndex::Clear()
{
    m_pImpl->pSlots.reset();
    m_pImpl->ullSlots = 0;
    m_pImpl->uCount = 0;
    ++m_pImpl->ullGeneration;
    m_pImpl->pSorted.reset();
}

std::shared_ptr<const VOHashIndex::SortedEntries> VOHashIndex::Sorted() const
{
    const Impl& impl = *m_pImpl;
    const std::lock_guard<std::mutex> guard(impl.sortedLock);
    if (impl.pSorted == nullptr || impl.pSorted->ullGeneration != impl.ullGeneration)
    {
        const auto pNew = std::make_shared<SortedEntries>();
        pNew->ullGeneration = impl.ullGeneration;
        pNew->vecEntry.reserve(impl.uCount);
        for (unsigned long long i = 0; i < impl.ullSlots; ++i)
        {
            if (!impl.pSlots[i].IsFree())
            {
                pNew->vecEntry.push_back(impl.pSlots[i].ToEntry());
            }
        }
        Impl::SortByKey(pNew->vecEntry);
        impl.pSorted = pNew;
    }
    return impl.pSorted;
}

bool VOHashIndex::First(Position& position, void*& rhHandle) const
{
    if (Count() == 0)
    {
        return false;
    }
    position.pSorted = Sorted();
    position.uAt = 0;
    rhHandle = HandleOf(position.pSorted->vecEntry[0].uRecord);
    return true;
}

bool VOHashIndex::Next(Position& position, void*& rhHandle) const
{
    if (position.pSorted == nullptr || position.uAt >= position.pSorted->vecEntry.size())
    {
        return false;
    }
    if (position.pSorted->ullGeneration == m_pImpl->ullGeneration)
    {
        ++position.uAt;
    }
    else
    {
        // Keys were entered meanwhile: go on behind the current one in the order as it is now.
        const unsigned int uKey = position.pSorted->vecEntry[position.uAt].uKey;
        position.pSorted = Sorted();
        const std::vector<Entry>& vecEntry = position.pSorted->vecEntry;
        const auto cIter = std::ranges::upper_bound(vecEntry, uKey, {}, &Entry::uKey);
        position.uAt = static_cast<size_t>(cIter - vecEntry.begin());
    }
    if (position.uAt >= position.pSorted->vecEntry.size())
    {
        return false;
    }
    rhHandle = HandleOf(position.pSorted->vecEntry[position.uAt].uRecord);
    return true;
}

// The array holds the keys below its size; mapFar the ones behind, which would make the array mostly empty.
struct VOHandleIndex::Impl
{
    static constexpr unsigned long long kEntriesPerKey = 16;
    static constexpr unsigned long long kFreeSize = 4096;

    std::vector<unsigned int> vecNear;
    std::map<unsigned long long, unsigned int> mapFar;
    unsigned int uCount = 0;

    static unsigned long long KeyOf(void* hHandle) { return reinterpret_cast<uintptr_t>(hHandle); }

    // Takes the array up to a key, if that leaves it reasonably full.
    void ReachFor(unsigned long long ullKey)
    {
        const unsigned long long ullLargest = kFreeSize + kEntriesPerKey * uCount;
        if (ullKey < vecNear.size() || ullKey >= ullLargest)
        {
            return;
        }
        const unsigned long long ullWanted = std::min(ullLargest, std::max(ullKey + 1, vecNear.size() * 2ull));
        vecNear.resize(static_cast<size_t>(ullWanted), kNone);
        while (!mapFar.empty() && mapFar.begin()->first < vecNear.size())
        {
            vecNear[static_cast<size_t>(mapFar.begin()->first)] = mapFar.begin()->second;
            mapFar.erase(mapFar.begin());
        }
    }
};

VOHandleIndex::VOHandleIndex() : m_pImpl(std::make_unique<Impl>()) {}
VOHandleIndex::~VOHandleIndex() = default;
VOHandleIndex::VOHandleIndex(const VOHandleIndex& rkOther) : m_pImpl(std::make_unique<Impl>(*rkOther.m_pImpl)) {}
VOHandleIndex& VOHandleIndex::operator=(const VOHandleIndex& rkOther)
{
    if (this != &rkOther)
    {
        *m_pImpl = *rkOther.m_pImpl;
    }
    return *this;
}

unsigned int VOHandleIndex::Count() const
{
    return m_pImpl->uCount;
}

unsigned int VOHandleIndex::Find(void* hHandle) const
{
    const unsigned long long ullKey = Impl::KeyOf(hHandle);
    if (ullKey < m_pImpl->vecNear.size())
    {
        return m_pImpl->vecNear[static_cast<size_t>(ullKey)];
    }
    const auto cIter = m_pImpl->mapFar.find(ullKey);
    return cIter != m_pImpl->mapFar.end() ? cIter->second : kNone;
}

bool VOHandleIndex::Insert(void* hHandle, unsigned int uNumber)
{
    if (uNumber == kNone || Find(hHandle) != kNone)
    {
        return false;
    }
    const unsigned long long ullKey = Impl::KeyOf(hHandle);
    m_pImpl->ReachFor(ullKey);
    if (ullKey < m_pImpl->vecNear.size())
    {
        m_pImpl->vecNear[static_cast<size_t>(ullKey)] = uNumber;
    }
    else
    {
        m_pImpl->mapFar.emplace(ullKey, uNumber);
    }
    ++m_pImpl->uCount;
    return true;
}

bool VOHandleIndex::Erase(void* hHandle)
{
    const unsigned long long ullKey = Impl::KeyOf(hHandle);
    if (Find(hHandle) == kNone)
    {
        return false;
    }
    if (ullKey < m_pImpl->vecNear.size())
    {
        m_pImpl->vecNear[static_cast<size_t>(ullKey)] = kNone;
    }
    else
    {
        m_pImpl->mapFar.erase(ullKey);
    }
    --m_pImpl->uCount;
    return true;
}

void VOHandleIndex::Clear()
{
    *m_pImpl = Impl();
}

std::vector<std::pair<void*, unsigned int>> VOHandleIndex::Sorted() const
{
    std::vector<std::pair<void*, unsigned int>> vecResult;
    vecResult.reserve(m_pImpl->uCount);
    for (size_t uKey = 0; uKey < m_pImpl->vecNear.size(); ++uKey)
    {
        if (m_pImpl->vecNear[uKey] != kNone)
        {
            vecResult.emplace_back(reinterpret_cast<void*>(uKey), m_pImpl->vecNear[uKey]);
        }
    }
    for (const auto& [ullKey, uNumber] : m_pImpl->mapFar)
    {
        vecResult.emplace_back(reinterpret_cast<void*>(static_cast<uintptr_t>(ullKey)), uNumber);
    }
    return vecResult;
}

// The Provider's maps on std::map: the plain form that the fill benchmark compares with.
#include "internal/vo_ordered_index.h"

namespace
{

// Handles that are no small number count as one, which no record has.
constexpr unsigned int kDangling = 0xFFFFFFFEu;

}  // namespace

struct VOHashIndex::Impl
{
    std::map<unsigned int, unsigned int> mapEntry;
    unsigned long long ullGeneration = 1;
};

VOHashIndex::VOHashIndex() : m_pImpl(std::make_unique<Impl>()) {}
VOHashIndex::~VOHashIndex() = default;
VOHashIndex::VOHashIndex(const VOHashIndex& rkOther) : m_pImpl(std::make_unique<Impl>(*rkOther.m_pImpl)) {}
VOHashIndex& VOHashIndex::operator=(const VOHashIndex& rkOther)
{
    *m_pImpl = *rkOther.m_pImpl;
    return *this;
}

void* VOHashIndex::HandleOf(unsigned int uRecord)
{
    return uRecord == kDangling ? INVALID_HANDLE_VALUE : reinterpret_cast<void*>(static_cast<uintptr_t>(uRecord));
}

unsigned int VOHashIndex::Count() const
{
    return static_cast<unsigned int>(m_pImpl->mapEntry.size());
}

bool VOHashIndex::Find(unsigned int uKey, void*& rhHandle) const
{
    const auto cIter = m_pImpl->mapEntry.find(uKey);
    if (cIter == m_pImpl->mapEntry.end())
    {
        return false;
    }
    rhHandle = HandleOf(cIter->second);
    return true;
}

bool VOHashIndex::Insert(unsigned int uKey, void* hHandle)
{
    const uintptr_t uHandle = reinterpret_cast<uintptr_t>(hHandle);
    ++m_pImpl->ullGeneration;
    return m_pImpl->mapEntry.emplace(uKey, uHandle < kDangling ? static_cast<unsigned int>(uHandle) : kDangling).second;
}

void VOHashIndex::Clear()
{
    m_pImpl->mapEntry.clear();
    ++m_pImpl->ullGeneration;
}

std::shared_ptr<const VOHashIndex::SortedEntries> VOHashIndex::Sorted() const
{
    const auto pSorted = std::make_shared<SortedEntries>();
    pSorted->ullGeneration = m_pImpl->ullGeneration;
    for (const auto& [uKey, uRecord] : m_pImpl->mapEntry)
    {
        pSorted->vecEntry.push_back({uKey, uRecord});
    }
    return pSorted;
}

// The benchmark fills and doesn't walk.
bool VOHashIndex::First(Position&, void*&) const
{
    return false;
}

bool VOHashIndex::Next(Position&, void*&) const
{
    return false;
}

struct VOHandleIndex::Impl
{
    std::map<void*, unsigned int> mapNumber;
};

VOHandleIndex::VOHandleIndex() : m_pImpl(std::make_unique<Impl>()) {}
VOHandleIndex::~VOHandleIndex() = default;
VOHandleIndex::VOHandleIndex(const VOHandleIndex& rkOther) : m_pImpl(std::make_unique<Impl>(*rkOther.m_pImpl)) {}
VOHandleIndex& VOHandleIndex::operator=(const VOHandleIndex& rkOther)
{
    *m_pImpl = *rkOther.m_pImpl;
    return *this;
}

unsigned int VOHandleIndex::Count() const
{
    return static_cast<unsigned int>(m_pImpl->mapNumber.size());
}

unsigned int VOHandleIndex::Find(void* hHandle) const
{
    const auto cIter = m_pImpl->mapNumber.find(hHandle);
    return cIter != m_pImpl->mapNumber.end() ? cIter->second : kNone;
}

bool VOHandleIndex::Insert(void* hHandle, unsigned int uNumber)
{
    return uNumber != kNone && m_pImpl->mapNumber.emplace(hHandle, uNumber).second;
}

bool VOHandleIndex::Erase(void* hHandle)
{
    return m_pImpl->mapNumber.erase(hHandle) != 0;
}

void VOHandleIndex::Clear()
{
    m_pImpl->mapNumber.clear();
}

std::vector<std::pair<void*, unsigned int>> VOHandleIndex::Sorted() const
{
    return {m_pImpl->mapNumber.begin(), m_pImpl->mapNumber.end()};
}

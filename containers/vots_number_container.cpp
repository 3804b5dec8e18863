#include "containers/vots_number_container.h"

#include <algorithm>

#include "diagnostics/check.h"

namespace
{

typedef VOTSNumberContainer::NumberAlloc NumberAlloc;

constexpr unsigned int kNumberSize = 4;
constexpr unsigned int kNumberDataOffset = offsetof(NumberAlloc, abData);
constexpr unsigned long long kMaxNumbers = 0xFFFFFFFFull;

// A list that moves because a number was entered into it gets a hole behind so many numbers, and this share of it as
// holes at the place itself, where more may come. A hole that is farther away isn't looked for.
constexpr size_t kNumbersForHole = 16;
constexpr size_t kHolesAtPlace = 4;
constexpr unsigned int kNear = 512;

}  // namespace

VOTSNumberContainer::~VOTSNumberContainer()
{
    CleanUp();
}

// A copy owns its numbers; the copy of a view is a view of the same image.
VOTSNumberContainer::VOTSNumberContainer(const VOTSNumberContainer& rkOther)
{
    _Buffer().CopyFrom(rkOther.m_pArrNumber, rkOther.m_uCount, rkOther.m_uCapacity);
}

VOTSNumberContainer& VOTSNumberContainer::operator=(const VOTSNumberContainer& rkOther)
{
    if (this != &rkOther)
    {
        VOTSNumberContainer copy(rkOther);
        _Buffer().Swap(copy._Buffer());
    }
    return *this;
}

int VOTSNumberContainer::InsertNumber(const std::vector<unsigned int>& vecNumber, unsigned int& uIndexResult)
{
    const unsigned long long uNeedSize = vecNumber.size() + 1ull;
    const unsigned long long ullNewCount = m_uCount + uNeedSize;
    if (!VO_STEP(uNeedSize != 0) || !VO_STEP_OR_FALSE(ullNewCount <= kMaxNumbers) ||
        (ullNewCount > m_uCapacity &&
         !VO_STEP_AS("_ResetNumberArrayCount((m_uCount + uNeedSize) * 2)",
                     _ResetNumberArrayCount(static_cast<unsigned int>(std::min(ullNewCount * 2, kMaxNumbers))))))
    {
        return 0;
    }
    if (!vecNumber.empty())
    {
        memcpy(m_pArrNumber + m_uCount * static_cast<size_t>(kNumberSize), vecNumber.data(),
               vecNumber.size() * kNumberSize);
    }
    uIndexResult = m_uCount;
    _Put(static_cast<unsigned int>(ullNewCount - 1), kTerminator);
    m_uCount = static_cast<unsigned int>(ullNewCount);
    return 1;
}

// What every operation on a list begins with.
bool VOTSNumberContainer::_IsList(const char* pszFunction, unsigned int uIndex) const
{
    return VO_STEP_IN(pszFunction, uIndex < m_uCount) && VO_STEP_IN(pszFunction, m_pArrNumber);
}

int VOTSNumberContainer::InsertNumber(unsigned int uIndex, unsigned int uNumber, unsigned int& uIndexResult)
{
    VO_NAMED_FUNCTION(pszFunction);
    std::vector<unsigned int> vecNumber;
    if (!_IsList(pszFunction, uIndex))
    {
        return 0;
    }
    uIndexResult = uIndex;
    for (unsigned int uAt = uIndex; EntryAt(uAt) != kTerminator; ++uAt)
    {
        if (EntryAt(uAt) == kHole)
        {
            _Put(uAt, uNumber);
            return 1;
        }
        if (EntryAt(uAt) == uNumber)
        {
            break;
        }
        vecNumber.push_back(EntryAt(uAt));
    }
    vecNumber.push_back(uNumber);
    return InsertNumber(vecNumber, uIndexResult);
}

int VOTSNumberContainer::InsertNumberBefore(unsigned int uIndex, unsigned int uNumber, unsigned int uBefore,
                                            unsigned int& uIndexResult)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_IsList(pszFunction, uIndex))
    {
        return 0;
    }
    uIndexResult = uIndex;
    unsigned int uPlace = uIndex;  // behind the last number before it
    unsigned int uAt = uIndex;
    for (; EntryAt(uAt) != kTerminator && EntryAt(uAt) != uBefore; ++uAt)
    {
        uPlace = EntryAt(uAt) != kHole ? uAt + 1 : uPlace;
    }
    if (!VO_STEP(EntryAt(uAt) == uBefore))
    {
        return 0;
    }
    unsigned int uHole = uPlace;
    while (EntryAt(uHole) != kHole && EntryAt(uHole) != kTerminator && uHole - uPlace < kNear)
    {
        ++uHole;
    }
    if (EntryAt(uHole) == kHole)
    {
        for (; uHole > uPlace; --uHole)
        {
            _Put(uHole, EntryAt(uHole - 1));
        }
        _Put(uPlace, uNumber);
        return 1;
    }
    for (uHole = uPlace; uHole > uIndex && EntryAt(uHole - 1) != kHole && uPlace - uHole < kNear;)
    {
        --uHole;
    }
    if (uHole > uIndex && EntryAt(uHole - 1) == kHole)
    {
        for (--uHole; uHole + 1 < uPlace; ++uHole)
        {
            _Put(uHole, EntryAt(uHole + 1));
        }
        _Put(uHole, uNumber);
        return 1;
    }
    return _MoveList(uIndex, uNumber, uPlace, uIndexResult);
}

// A list of some length anew, with a number more at a place of the old one, and with holes.
int VOTSNumberContainer::_MoveList(unsigned int uIndex, unsigned int uNumber, unsigned int uPlace,
                                   unsigned int& uIndexResult)
{
    const size_t uCount = _NumbersIn(uIndex);
    std::vector<unsigned int> vecNumber;
    vecNumber.reserve(uCount + uCount / kNumbersForHole + uCount / kHolesAtPlace + 1);
    const auto EnterNumber = [&]
    {
        vecNumber.push_back(uNumber);
        vecNumber.insert(vecNumber.end(), uCount / kHolesAtPlace, kHole);
    };
    size_t uPassed = 0;
    unsigned int uAt = uIndex;
    for (; EntryAt(uAt) != kTerminator; ++uAt)
    {
        if (uAt == uPlace)
        {
            EnterNumber();
        }
        if (EntryAt(uAt) != kHole)
        {
            vecNumber.push_back(EntryAt(uAt));
            if (++uPassed % kNumbersForHole == 0)
            {
                vecNumber.push_back(kHole);
            }
        }
    }
    if (uAt == uPlace)
    {
        EnterNumber();
    }
    return InsertNumber(vecNumber, uIndexResult);
}

int VOTSNumberContainer::GetNumberList(unsigned int uIndex, std::vector<unsigned int>& vecNumber) const
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_IsList(pszFunction, uIndex))
    {
        return 0;
    }
    // Never less than twice the capacity, so that appending list after list doesn't copy again and again.
    const size_t uWanted = vecNumber.size() + _NumbersIn(uIndex);
    if (vecNumber.capacity() < uWanted)
    {
        vecNumber.reserve(std::max(uWanted, vecNumber.capacity() * 2));
    }
    for (unsigned int uAt = uIndex; EntryAt(uAt) != kTerminator; ++uAt)
    {
        if (EntryAt(uAt) != kHole)
        {
            vecNumber.push_back(EntryAt(uAt));
        }
    }
    return 1;
}

int VOTSNumberContainer::GetNumber(unsigned int uIndex, int nNumberIndex, unsigned int& uNumber) const
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_IsList(pszFunction, uIndex))
    {
        return 0;
    }
    int nPosition = 0;
    for (unsigned int uAt = uIndex; EntryAt(uAt) != kTerminator; ++uAt)
    {
        if (EntryAt(uAt) != kHole && nPosition++ == nNumberIndex)
        {
            uNumber = EntryAt(uAt);
            return 1;
        }
    }
    return 0;
}

int VOTSNumberContainer::GetNumberCount(unsigned int uIndex, unsigned int& uCount) const
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_IsList(pszFunction, uIndex))
    {
        return 0;
    }
    uCount = _NumbersIn(uIndex);
    return 1;
}

int VOTSNumberContainer::RemoveNumber(unsigned int uIndex, unsigned int uNumber)
{
    VO_NAMED_FUNCTION(pszFunction);
    if (!_IsList(pszFunction, uIndex))
    {
        return 0;
    }
    unsigned int uAt = uIndex;
    while (EntryAt(uAt) != kTerminator && EntryAt(uAt) != uNumber)
    {
        ++uAt;
    }
    if (EntryAt(uAt) != kTerminator)
    {
        _Put(uAt, kHole);
    }
    return 1;
}

unsigned int VOTSNumberContainer::_NumbersIn(unsigned int uIndex) const
{
    unsigned int uNumbers = 0;
    for (unsigned int uAt = uIndex; EntryAt(uAt) != kTerminator; ++uAt)
    {
        uNumbers += EntryAt(uAt) != kHole;
    }
    return uNumbers;
}

int VOTSNumberContainer::CleanUp()
{
    _Buffer().Release();
    return 1;
}

int VOTSNumberContainer::ShrinkToFit()
{
    VO_CHECK_ERROR(_ResetNumberArrayCount(m_uCount));
    return 1;
}

void VOTSNumberContainer::DropView()
{
    _Buffer().DropView();
}

int VOTSNumberContainer::_ResetNumberArrayCount(unsigned int uNewCount)
{
    if (uNewCount == 0)
    {
        return CleanUp();
    }
    _Buffer().SetCapacity(uNewCount);
    return 1;
}

unsigned long long VOTSNumberContainer::AllocSize() const
{
    return sizeof(NumberAlloc) + static_cast<unsigned long long>(m_uCount) * kNumberSize;
}

void VOTSNumberContainer::WriteAlloc(unsigned char* pbTo) const
{
    const NumberAlloc kHead = {m_uCount, m_uCount * kNumberSize, {}};
    memcpy(pbTo, &kHead, kNumberDataOffset);
    if (m_uCount != 0)
    {
        memcpy(pbTo + kNumberDataOffset, m_pArrNumber, static_cast<size_t>(m_uCount) * kNumberSize);
    }
}

int VOTSNumberContainer::SetAlloc(NumberAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    if (!VO_STEP(pAlloc) || !VO_STEP_OR_FALSE(ullLimit >= sizeof(NumberAlloc)))
    {
        return 0;
    }
    unsigned char* const pbData = reinterpret_cast<unsigned char*>(pAlloc) + kNumberDataOffset;
    const NumberAlloc head = VOLoad<NumberAlloc>(pAlloc);
    const unsigned long long uDataBufSize = static_cast<unsigned long long>(head.uNumberCount) * kNumberSize;
    if (!VO_STEP_AS("uDataBufSize == pAlloc->uDataBufSize", uDataBufSize == head.uDataBufSize) ||
        !VO_STEP_OR_FALSE(uDataBufSize <= ullLimit - sizeof(NumberAlloc)))
    {
        return 0;
    }
    CleanUp();
    if (bCopy == 0)
    {
        _Buffer().Take(pbData, head.uNumberCount);
        return 1;
    }
    if (!VO_STEP_AS("_ResetNumberArrayCount(pAlloc->uNumberCount)", _ResetNumberArrayCount(head.uNumberCount)))
    {
        return 0;
    }
    _Buffer().Copy(pbData, head.uNumberCount);
    return 1;
}

#include "containers/vots_number_container.h"

#include <algorithm>

#include "diagnostics/check.h"

namespace
{

typedef VOTSNumberContainer::NumberAlloc NumberAlloc;

constexpr unsigned int kNumberSize = 4;
constexpr unsigned int kNumberDataOffset = offsetof(NumberAlloc, abData);
constexpr unsigned long long kMaxNumbers = 0xFFFFFFFFull;

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
        std::swap(m_pArrNumber, copy.m_pArrNumber);
        std::swap(m_uCapacity, copy.m_uCapacity);
        std::swap(m_uCount, copy.m_uCount);
    }
    return *this;
}

int VOTSNumberContainer::InsertNumber(const std::vector<unsigned int>& vecNumber, unsigned int& uIndexResult)
{
    int nResult = 0;
    const unsigned long long uNeedSize = vecNumber.size() + 1ull;
    const unsigned long long ullNewCount = m_uCount + uNeedSize;
    VO_PROCESS_ERROR(uNeedSize != 0);
    if (ullNewCount > kMaxNumbers)
    {
        VO_PROCESS_ERROR_FALSE;
    }
    if (ullNewCount > m_uCapacity)
    {
        VO_PROCESS_ERROR_AS("_ResetNumberArrayCount((m_uCount + uNeedSize) * 2)",
                            _ResetNumberArrayCount(static_cast<unsigned int>(std::min(ullNewCount * 2, kMaxNumbers))));
    }
    if (!vecNumber.empty())
    {
        memcpy(m_pArrNumber + m_uCount * static_cast<size_t>(kNumberSize), vecNumber.data(),
               vecNumber.size() * kNumberSize);
    }
    uIndexResult = m_uCount;
    _Put(static_cast<unsigned int>(ullNewCount - 1), kTerminator);
    m_uCount = static_cast<unsigned int>(ullNewCount);
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSNumberContainer::InsertNumber(unsigned int uIndex, unsigned int uNumber, unsigned int& uIndexResult)
{
    int nResult = 0;
    std::vector<unsigned int> vecNumber;
    VO_PROCESS_ERROR(uIndex < m_uCount);
    VO_PROCESS_ERROR(m_pArrNumber);

    uIndexResult = uIndex;
    for (unsigned int uAt = uIndex; uAt < m_uCount; ++uAt)
    {
        const unsigned int uValue = _At(uAt);
        if (uValue == kHole)
        {
            _Put(uAt, uNumber);
            return 1;
        }
        if (uValue == kTerminator || uValue == uNumber)
        {
            break;
        }
        vecNumber.push_back(uValue);
    }
    vecNumber.push_back(uNumber);
    nResult = InsertNumber(vecNumber, uIndexResult);

Exit0:
    return nResult;
}

int VOTSNumberContainer::GetNumberList(unsigned int uIndex, std::vector<unsigned int>& vecNumber) const
{
    int nResult = 0;
    unsigned int uEnd = 0;
    size_t uNumbers = 0;
    VO_PROCESS_ERROR(uIndex < m_uCount);
    VO_PROCESS_ERROR(m_pArrNumber);

    for (uEnd = uIndex; uEnd < m_uCount && _At(uEnd) != kTerminator; ++uEnd)
    {
        uNumbers += _At(uEnd) != kHole;
    }
    // Never less than twice the capacity, so that appending list after list doesn't copy again and again.
    if (vecNumber.capacity() < vecNumber.size() + uNumbers)
    {
        vecNumber.reserve(std::max(vecNumber.size() + uNumbers, vecNumber.capacity() * 2));
    }
    for (unsigned int uAt = uIndex; uAt < uEnd; ++uAt)
    {
        if (_At(uAt) != kHole)
        {
            vecNumber.push_back(_At(uAt));
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSNumberContainer::GetNumber(unsigned int uIndex, int nNumberIndex, unsigned int& uNumber) const
{
    int nResult = 0;
    int nPosition = 0;
    VO_PROCESS_ERROR(uIndex < m_uCount);
    VO_PROCESS_ERROR(m_pArrNumber);

    for (unsigned int uAt = uIndex; uAt < m_uCount && _At(uAt) != kTerminator; ++uAt)
    {
        if (_At(uAt) == kHole)
        {
            continue;
        }
        if (nPosition == nNumberIndex)
        {
            uNumber = _At(uAt);
            nResult = 1;
            break;
        }
        ++nPosition;
    }

Exit0:
    return nResult;
}

int VOTSNumberContainer::GetNumberCount(unsigned int uIndex, unsigned int& uCount) const
{
    int nResult = 0;
    unsigned int uNumbers = 0;
    VO_PROCESS_ERROR(uIndex < m_uCount);
    VO_PROCESS_ERROR(m_pArrNumber);

    for (unsigned int uAt = uIndex; uAt < m_uCount && _At(uAt) != kTerminator; ++uAt)
    {
        uNumbers += _At(uAt) != kHole;
    }
    uCount = uNumbers;
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSNumberContainer::RemoveNumber(unsigned int uIndex, unsigned int uNumber)
{
    int nResult = 0;
    VO_PROCESS_ERROR(uIndex < m_uCount);
    VO_PROCESS_ERROR(m_pArrNumber);

    for (unsigned int uAt = uIndex; uAt < m_uCount && _At(uAt) != kTerminator; ++uAt)
    {
        if (_At(uAt) == uNumber)
        {
            _Put(uAt, kHole);
            break;
        }
    }
    nResult = 1;

Exit0:
    return nResult;
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

VOTSNumberContainer::NumberAlloc* VOTSNumberContainer::GetAlloc() const
{
    NumberAlloc* pResult = nullptr;
    unsigned char* pbAlloc = nullptr;
    const unsigned long long uMemorySize = AllocSize();
    VO_PROCESS_ERROR(uMemorySize);
    if (uMemorySize > kVOMaxImageSize)
    {
        VO_PROCESS_ERROR_FALSE;
    }
    pbAlloc = static_cast<unsigned char*>(VOAllocateImage(uMemorySize));
    WriteAlloc(pbAlloc);
    pResult = reinterpret_cast<NumberAlloc*>(pbAlloc);

Exit0:
    return pResult;
}

int VOTSNumberContainer::SetAlloc(NumberAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    int nResult = 0;
    NumberAlloc kHead = {};
    unsigned long long uDataBufSize = 0;
    unsigned char* pbData = nullptr;
    VO_PROCESS_ERROR(pAlloc);
    if (ullLimit < sizeof(NumberAlloc))
    {
        VO_PROCESS_ERROR_FALSE;
    }
    pbData = reinterpret_cast<unsigned char*>(pAlloc) + kNumberDataOffset;
    kHead = VOLoad<NumberAlloc>(pAlloc);
    uDataBufSize = static_cast<unsigned long long>(kHead.uNumberCount) * kNumberSize;
    VO_PROCESS_ERROR_AS("uDataBufSize == pAlloc->uDataBufSize", uDataBufSize == kHead.uDataBufSize);
    if (uDataBufSize > ullLimit - sizeof(NumberAlloc))
    {
        VO_PROCESS_ERROR_FALSE;
    }
    CleanUp();
    if (bCopy != 0)
    {
        // The array is made before the count is set, so that nothing of an old one is taken over.
        VO_PROCESS_ERROR_AS("_ResetNumberArrayCount(pAlloc->uNumberCount)", _ResetNumberArrayCount(kHead.uNumberCount));
        if (kHead.uNumberCount != 0)
        {
            memcpy(m_pArrNumber, pbData, static_cast<size_t>(uDataBufSize));
        }
    }
    else
    {
        m_pArrNumber = pbData;
    }
    m_uCount = kHead.uNumberCount;
    nResult = 1;

Exit0:
    return nResult;
}

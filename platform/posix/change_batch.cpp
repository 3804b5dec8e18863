#include "platform/posix/change_batch.h"

#include <string.h>

namespace
{
constexpr size_t NAME_OFFSET = offsetof(FILE_NOTIFY_INFORMATION, FileName);
static_assert(NAME_OFFSET == 12 && offsetof(FILE_NOTIFY_INFORMATION, FileNameLength) == 8);

size_t RoundedUp(size_t uBytes)
{
    return (uBytes + 3) / 4 * 4;
}
}  // namespace

size_t ChangeBatch::JoinedSize(size_t uFirst, size_t uSecond)
{
    return RoundedUp(uFirst) + uSecond;
}

size_t ChangeBatch::Continue(size_t uBytes)
{
    const size_t uOffset = RoundedUp(m_vecBytes.size());
    if (!m_vecBytes.empty())
    {
        const DWORD uNext = static_cast<DWORD>(uOffset - m_uLast);
        memcpy(m_vecBytes.data() + m_uLast, &uNext, sizeof(uNext));
    }
    m_vecBytes.resize(uOffset + uBytes);
    return uOffset;
}

void ChangeBatch::Append(DWORD uAction, const VOWString& strName)
{
    const size_t uNameBytes = strName.size() * sizeof(VOWCHAR);
    m_uLast = Continue(NAME_OFFSET + uNameBytes);
    const DWORD aHeader[3] = {0, uAction, static_cast<DWORD>(uNameBytes)};
    memcpy(m_vecBytes.data() + m_uLast, aHeader, sizeof(aHeader));
    memcpy(m_vecBytes.data() + m_uLast + NAME_OFFSET, strName.data(), uNameBytes);
}

void ChangeBatch::Append(const ChangeBatch& batch)
{
    if (!batch.IsEmpty())
    {
        const size_t uOffset = Continue(batch.Size());
        memcpy(m_vecBytes.data() + uOffset, batch.Data(), batch.Size());
        m_uLast = uOffset + batch.m_uLast;
    }
}

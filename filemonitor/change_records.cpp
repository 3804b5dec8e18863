#include "filemonitor/change_records.h"

#include <algorithm>

#include "internal/vo_bytes.h"

bool ChangeRecordReader::Next(ChangeRecord* pGivenRecord)
{
    constexpr size_t kNameOffset = offsetof(FILE_NOTIFY_INFORMATION, FileName);
    if (m_bEnded || m_uSize < kNameOffset || m_uOffset > m_uSize - kNameOffset)
    {
        return false;
    }
    const unsigned char* const pRecord = m_pBuffer + m_uOffset;
    DWORD uNext = 0;
    DWORD uNameLength = 0;
    memcpy(&uNext, pRecord + offsetof(FILE_NOTIFY_INFORMATION, NextEntryOffset), sizeof(uNext));
    memcpy(&pGivenRecord->uAction, pRecord + offsetof(FILE_NOTIFY_INFORMATION, Action), sizeof(pGivenRecord->uAction));
    memcpy(&uNameLength, pRecord + offsetof(FILE_NOTIFY_INFORMATION, FileNameLength), sizeof(uNameLength));

    const size_t uThere = std::min<size_t>(uNameLength, m_uSize - m_uOffset - kNameOffset);
    VOWString strName(uThere / sizeof(VOWCHAR), VOWCHAR(0));
    memcpy(strName.data(), pRecord + kNameOffset, strName.size() * sizeof(VOWCHAR));
    strName.resize(std::min(strName.find(VOWCHAR(0)), strName.size()));
    pGivenRecord->bNamed = uNameLength != 0;
    pGivenRecord->strName = std::move(strName);

    m_uOffset += uNext;
    m_bEnded = uNext == 0;
    return true;
}

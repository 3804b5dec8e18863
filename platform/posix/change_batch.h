// Change records as the reader gets them: a chain of FILE_NOTIFY_INFORMATION.
#pragma once

#include <stddef.h>

#include <vector>

#include "platform/vo_platform.h"

class ChangeBatch
{
public:
    void Append(DWORD uAction, const VOWString& strName);
    void Append(const ChangeBatch& batch);

    bool IsEmpty() const { return m_vecBytes.empty(); }
    size_t Size() const { return m_vecBytes.size(); }
    const unsigned char* Data() const { return m_vecBytes.data(); }

    // The bytes of two batches of these sizes that are joined.
    static size_t JoinedSize(size_t uFirst, size_t uSecond);

private:
    // Makes room for the next record and lets the last one point to it. Gives its offset.
    size_t Continue(size_t uBytes);

    std::vector<unsigned char> m_vecBytes;
    size_t m_uLast = 0;  // offset of the last record
};

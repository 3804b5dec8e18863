// Reads directory changes and gathers them as text, for the tests.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/platform/platform_test_support.h"

// Calls fnChange with each record of a chain: its text, its name, and whether it is aligned. The text is "+ a\b" for
// what was added, "- a" removed, "* a" modified, "< a" and "> b" for the halves of a rename. Records that go beyond the
// bytes fail the test.
template <typename Function>
void ForEachChange(const void* pRecords, size_t uBytes, Function fnChange)
{
    const unsigned char* const pBytes = static_cast<const unsigned char*>(pRecords);
    size_t uOffset = 0;
    for (DWORD uNext = uBytes > 0 ? 1 : 0; uNext != 0; uOffset += uNext)
    {
        DWORD aHeader[3] = {};
        ASSERT_LE(uOffset + sizeof(aHeader), uBytes);
        memcpy(aHeader, pBytes + uOffset, sizeof(aHeader));
        ASSERT_LE(uOffset + sizeof(aHeader) + aHeader[2], uBytes);
        VOWString strName(aHeader[2] / sizeof(VOWCHAR), 0);
        memcpy(strName.data(), pBytes + uOffset + sizeof(aHeader), aHeader[2]);
        ASSERT_GE(aHeader[1], 1u);
        ASSERT_LE(aHeader[1], 5u);
        std::string strChange = std::string(1, " +-*<>"[aHeader[1]]) + " ";
        for (const VOWCHAR cUnit : strName)
        {
            strChange.push_back(cUnit < 0x80 ? static_cast<char>(cUnit) : '?');
        }
        fnChange(strChange, strName, uOffset % sizeof(DWORD) == 0);
        uNext = aHeader[0];
    }
}

class ChangeReader
{
public:
    static constexpr DWORD ALL =
        FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE;
    static constexpr DWORD LONG_TIME = 60000;

    explicit ChangeReader(const VOWString& strRoot, DWORD uBytes = 260000, DWORD uFilter = ALL)
        : m_vecBuffer(uBytes / sizeof(DWORD) + 1), m_uBytes(uBytes), m_uFilter(uFilter)
    {
        m_overlapped.hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        m_hDirectory = CreateFileW(strRoot.c_str(), GENERIC_READ | GENERIC_WRITE | FILE_LIST_DIRECTORY,
                                   FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                   FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    }
    ~ChangeReader()
    {
        if (m_bPending)
        {
            DWORD uBytes = 0;
            CancelIoEx(m_hDirectory, &m_overlapped);
            GetOverlappedResult(m_hDirectory, &m_overlapped, &uBytes, TRUE);
        }
        if (IsOpen())
        {
            EXPECT_TRUE(CloseHandle(m_hDirectory));
        }
        EXPECT_TRUE(CloseHandle(m_overlapped.hEvent));
    }
    ChangeReader(const ChangeReader&) = delete;
    ChangeReader& operator=(const ChangeReader&) = delete;

    bool IsOpen() const { return m_hDirectory != INVALID_HANDLE_VALUE; }
    HANDLE Handle() const { return m_hDirectory; }
    OVERLAPPED& Overlapped() { return m_overlapped; }

    // Issues a read. The first one begins the watch.
    bool Begin()
    {
        DWORD uBytes = 0;
        m_bPending = ReadDirectoryChangesW(m_hDirectory, m_vecBuffer.data(), m_uBytes, TRUE, m_uFilter, &uBytes,
                                           &m_overlapped, nullptr) != FALSE;
        return m_bPending;
    }

    // Waits for the read and appends its records to Changes(); IsLost() when it had none. False after the time, or when
    // the read has failed.
    bool End(DWORD uMilliseconds = LONG_TIME)
    {
        if (WaitForSingleObject(m_overlapped.hEvent, uMilliseconds) != WAIT_OBJECT_0)
        {
            return false;
        }
        m_bPending = false;
        DWORD uBytes = 0;
        if (!GetOverlappedResult(m_hDirectory, &m_overlapped, &uBytes, FALSE))
        {
            return false;
        }
        m_bLost = m_bLost || uBytes == 0;
        m_uLosses += uBytes == 0 ? 1 : 0;
        Parse(uBytes);
        return true;
    }

    // Reads until this record has come; false when it doesn't.
    bool ReadUntil(const std::string& strChange)
    {
        while (!Has(strChange))
        {
            if ((!m_bPending && !Begin()) || !End())
            {
                return false;
            }
        }
        return true;
    }

    // The same, or until changes were lost.
    bool ReadUntilOrLost(const std::string& strChange)
    {
        const size_t uLosses = m_uLosses;
        while (!Has(strChange) && m_uLosses == uLosses)
        {
            if ((!m_bPending && !Begin()) || !End())
            {
                return false;
            }
        }
        return true;
    }

    bool Has(const std::string& strChange) const
    {
        return std::find(m_vecChanges.begin(), m_vecChanges.end(), strChange) != m_vecChanges.end();
    }
    size_t Count(const std::string& strChange) const
    {
        return static_cast<size_t>(std::count(m_vecChanges.begin(), m_vecChanges.end(), strChange));
    }

    const std::vector<std::string>& Changes() const { return m_vecChanges; }
    std::vector<VOWString> Names() const { return m_vecNames; }
    bool IsLost() const { return m_bLost; }
    size_t Losses() const { return m_uLosses; }
    bool IsAligned() const { return m_bAligned; }  // every record so far
    void Clear()
    {
        m_vecChanges.clear();
        m_vecNames.clear();
        m_bLost = false;
    }

private:
    void Parse(DWORD uBytes)
    {
        ForEachChange(m_vecBuffer.data(), uBytes,
                      [this](const std::string& strChange, const VOWString& strName, bool bAligned)
                      {
                          m_vecChanges.push_back(strChange);
                          m_vecNames.push_back(strName);
                          m_bAligned = m_bAligned && bAligned;
                      });
    }

    std::vector<DWORD> m_vecBuffer;
    DWORD m_uBytes;
    DWORD m_uFilter;
    HANDLE m_hDirectory = INVALID_HANDLE_VALUE;
    OVERLAPPED m_overlapped = {};
    bool m_bPending = false;
    bool m_bLost = false;
    bool m_bAligned = true;
    size_t m_uLosses = 0;
    std::vector<std::string> m_vecChanges;
    std::vector<VOWString> m_vecNames;
};

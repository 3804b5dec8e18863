// Reading directories, where they live, what of a tree is watched, and what the system says of its changes: for
// programs that fill an index.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/vo_platform.h"

// One entry of a directory. Links (symbolic links, junctions) are described themselves and never followed.
struct VODirectoryEntry
{
    VOWString strName;        // one path component, in the form of vo_text.h
    bool bFolder = false;     // a directory that can be listed in turn; never set for a link
    bool bLink = false;       // a symbolic link or a junction
    uint32_t uAttribute = 0;  // the _A_ bits, as _wfindfirst64i32 reports them
    uint64_t ullSize = 0;     // bytes; 0 for a folder
    int64_t nCreateTime = 0;  // seconds since 1970 UTC; the write time where the file system keeps no birth time
    int64_t nAccessTime = 0;
    int64_t nWriteTime = 0;
    uint32_t uWriteFraction = 0;  // the nanoseconds of the write time
    uint32_t uStatusStamp = 0;    // another value when content or attributes were changed since; 0 where none is kept
    bool bDescribed = true;       // false for one that couldn't be looked at: its name is all that is sure
};

// Why a call of the system failed: its own error number, and that in words (UTF-8).
struct VOSystemError
{
    int nError = 0;
    bool bGone = false;  // there is no such file or directory; any other failure says nothing about that, and may pass
    std::string strText;
};

// Lists a directory without "." and "..", sorted by the units of the names. Sockets, pipes and devices count as files.
// An entry that vanishes while the directory is read is left out; one that can't be looked at is listed with what is
// known. strPath may be a link to a directory. Failure: false, *pError set, *pvecEntries empty.
bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError);

// Describes the one file, directory or link that a path names; strName is its last component. Failure: false, *pError
// set.
bool VODescribeFile(const VOWString& strPath, VODirectoryEntry* pEntry, VOSystemError* pError);

// Where a directory lives.
enum class VODirectoryKind
{
    Local,
    Remote  // changes that others make there may not be told: a network, a file system in user space, a host's folder
};

// Linux: by the type of the file system; Windows: by the drive. Failure: false, *pError set.
bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError);

// What of a tree the directory changes of vo_platform.h don't reach.

// Counts the directories of a tree, the root among them, that no handle of this process watches: the user's limit of
// watches is reached, or they can't be opened. Links aren't followed. It reads the tree, and what the system says of
// the process's watches; a directory that was made a moment ago may count although it is about to be watched. Before
// the first read of the changes everything counts. Windows watches a tree as a whole: 0 there. Failure: false, *pError
// set.
bool VOCountUnwatchedDirectories(const VOWString& strRoot, size_t* puCount, VOSystemError* pError);

// The records that ReadDirectoryChangesW writes, read out of a buffer that nothing is taken for granted of.

// One record. Its name is relative to the watched directory.
struct VOChangeRecord
{
    DWORD uAction = 0;
    bool bNamed = false;  // the record's name has a length other than 0
    VOWString strName;    // up to its first zero
};

// Walks the records of a buffer; the one without a successor is the last. What a record says to lie outside the buffer
// isn't there.
class VOChangeRecordReader
{
public:
    VOChangeRecordReader(const unsigned char* pBuffer, size_t uSize) : m_pBuffer(pBuffer), m_uSize(uSize) {}

    // False behind the last record.
    bool Next(VOChangeRecord* pGivenRecord)
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
        memcpy(&pGivenRecord->uAction, pRecord + offsetof(FILE_NOTIFY_INFORMATION, Action),
               sizeof(pGivenRecord->uAction));
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

private:
    const unsigned char* m_pBuffer;
    size_t m_uSize;
    size_t m_uOffset = 0;
    bool m_bEnded = false;
};

#include "live/root_watch.h"

#include <fmt/format.h>

#include <system_error>

namespace lum
{

namespace
{

constexpr DWORD kAccess = GENERIC_READ | FILE_LIST_DIRECTORY;
constexpr DWORD kShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kFlags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED;
constexpr DWORD kFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE;

// Bytes of records that the system keeps for a watch between two reads.
constexpr size_t kRecords = 1u << 20;

// A read that fails is tried again after so many milliseconds.
constexpr DWORD kNextTry = 100;

}  // namespace

RootWatch::RootWatch(const VOWString& strRoot, HintPool* pPool)
    : m_strRoot(strRoot), m_pPool(pPool), m_vecRecords(kRecords / sizeof(uint32_t))
{
}

std::unique_ptr<RootWatch> RootWatch::Start(const VOWString& strRoot, HintPool* pPool, std::string* pstrReason)
{
    VODirectoryKind eKind = VODirectoryKind::Local;
    VOSystemError error;
    if (VODirectoryKindOf(strRoot, &eKind, &error) && eKind == VODirectoryKind::Remote)
    {
        *pstrReason = "it lies on a remote file system, which doesn't tell of all changes";
        return nullptr;
    }
    std::unique_ptr<RootWatch> pWatch(new RootWatch(strRoot, pPool));
    if (!pWatch->_Open())
    {
        *pstrReason = "it can't be watched";
        return nullptr;
    }
    return pWatch;
}

bool RootWatch::_Open()
{
    m_hRoot = CreateFileW(m_strRoot.c_str(), kAccess, kShare, nullptr, OPEN_EXISTING, kFlags, nullptr);
    m_hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (m_hRoot == INVALID_HANDLE_VALUE || m_hEvent == nullptr)
    {
        return false;
    }
    try
    {
        m_thread = std::thread(&RootWatch::_Run, this);
        return true;
    }
    catch (const std::system_error&)
    {
        return false;
    }
}

RootWatch::~RootWatch()
{
    if (m_thread.joinable())
    {
        m_bEnd = true;
        SetEvent(m_hEvent);
        m_thread.join();
    }
    if (m_hRoot != INVALID_HANDLE_VALUE)
    {
        CloseHandle(m_hRoot);
    }
    if (m_hEvent != nullptr)
    {
        CloseHandle(m_hEvent);
    }
}

void RootWatch::_Run()
{
    OVERLAPPED read = {};
    read.hEvent = m_hEvent;
    while (!m_bEnd)
    {
        const bool bBegan = ReadDirectoryChangesW(m_hRoot, m_vecRecords.data(), kRecords, TRUE, kFilter, nullptr, &read,
                                                  nullptr) != FALSE;
        if (bBegan)
        {
            m_bWatching = true;
        }
        // The read has reset the event, and with it a request to end that came between the look above and here: so the
        // request is looked at once more before the wait.
        if (bBegan && !m_bEnd)
        {
            WaitForSingleObject(m_hEvent, INFINITE);
        }
        if (m_bEnd)
        {
            if (bBegan)
            {
                // The system must be done with the buffer before it goes.
                DWORD uBytes = 0;
                CancelIoEx(m_hRoot, &read);
                GetOverlappedResult(m_hRoot, &read, &uBytes, TRUE);
            }
            return;
        }
        if (!bBegan || !_Read(&read))
        {
            // Between two reads of which one failed nobody may have watched.
            m_uLosses += m_bWatching ? 1 : 0;
            WaitForSingleObject(m_hEvent, kNextTry);
        }
    }
}

// Takes what a read has brought. False for one that failed.
bool RootWatch::_Read(OVERLAPPED* pRead)
{
    DWORD uBytes = 0;
    if (GetOverlappedResult(m_hRoot, pRead, &uBytes, FALSE) == FALSE)
    {
        return false;
    }
    if (uBytes == 0)
    {
        ++m_uLosses;
        return true;
    }
    VOChangeRecordReader reader(reinterpret_cast<const unsigned char*>(m_vecRecords.data()), uBytes);
    VOChangeRecord record;
    while (reader.Next(&record))
    {
        std::replace(record.strName.begin(), record.strName.end(), VOWCHAR('\\'), VOWCHAR('/'));
        _Hint(record);
    }
    return true;
}

void RootWatch::_Hint(const VOChangeRecord& record)
{
    switch (record.strName.empty() ? 0 : record.uAction)
    {
        case FILE_ACTION_ADDED:
        case FILE_ACTION_MODIFIED:
            // What is added may be made anew in place of what was there before.
            m_pPool->Written(record.strName);
            break;
        case FILE_ACTION_REMOVED:
            m_pPool->Gone(record.strName);
            break;
        case FILE_ACTION_RENAMED_OLD_NAME:
            m_strOldName = record.strName;
            break;
        case FILE_ACTION_RENAMED_NEW_NAME:
            if (ParentPath(m_strOldName) == ParentPath(record.strName))
            {
                m_pPool->Renamed(m_strOldName, LastPart(record.strName));
            }
            else
            {
                m_pPool->Gone(m_strOldName);
                m_pPool->Written(record.strName);
            }
            break;
        default:
            m_pPool->Doubt();
            break;
    }
}

RootWatch::Presence RootWatch::PresenceOf(const VOWString& strRoot)
{
    VODirectoryEntry entry;
    VOSystemError error;
    // Through ".", because a root may be a link to a directory.
    if (!VODescribeFile(strRoot + VOTEXT("/."), &entry, &error))
    {
        return error.bGone ? Presence::Gone : Presence::Unknown;
    }
    return entry.bFolder ? Presence::There : Presence::Gone;
}

size_t RootWatch::CountUnwatched(std::string* pstrReason) const
{
    size_t uCount = 0;
    VOSystemError error;
    if (!VOCountUnwatchedDirectories(m_strRoot, &uCount, &error))
    {
        // A root that is gone is looked after elsewhere.
        return 0;
    }
    *pstrReason = fmt::format(
        "{} director{} can't be watched; when that is because the limit of watches is reached, raise it: "
        "sysctl fs.inotify.max_user_watches=NUMBER",
        uCount, uCount == 1 ? "y" : "ies");
    return uCount;
}

}  // namespace lum

// The life of a monitor: what it opens and makes, in which order, and how it is stopped.
#include "vots_file_monitor.h"

#include <new>
#include <utility>

#include "diagnostics/check.h"
#include "filemonitor/shared_flag.h"

namespace
{

constexpr DWORD kDirectoryAccess = GENERIC_READ | GENERIC_WRITE | FILE_LIST_DIRECTORY;
constexpr DWORD kDirectoryShare = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kDirectoryFlags = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED;
static_assert(kDirectoryAccess == 0xC0000001 && kDirectoryShare == 7 && kDirectoryFlags == 0x42000000);

// Resumes a thread that is to be waited for. Its mark says how often it is suspended, except after an Init that failed
// half-way.
void LetGo(HANDLE hThread)
{
    constexpr DWORD kFailed = static_cast<DWORD>(-1);
    DWORD uBefore = ::ResumeThread(hThread);
    while (uBefore != kFailed && uBefore > 1)
    {
        uBefore = ::ResumeThread(hThread);
    }
}

}  // namespace

VOTSFileMonitorManager::VOTSFileMonitorManager()
    : m_tszRootPath(),
      m_hFileMonitorHandle(INVALID_HANDLE_VALUE),
      m_hFileMonitorThread(nullptr),
      m_bFileMonitorSuspended(false),
      m_hFileEventThread(nullptr),
      m_bFileEventSuspended(false),
      m_nSpecialEventCount(0),
      m_nEventQueueBusy(0),
      m_nExitThread(0),
      m_overLapped(),
      m_pFileMonitorEventDispatcher(nullptr),
      m_nFilterBusy(0),
      m_nFiltersShown(0),
      m_uWatching(0),
      m_uLosses(0)
{
}

VOTSFileMonitorManager::~VOTSFileMonitorManager() = default;
VOTSFileMonitorManager::VOTSFileMonitorManager(const VOTSFileMonitorManager& kOther) = default;
VOTSFileMonitorManager& VOTSFileMonitorManager::operator=(const VOTSFileMonitorManager& kOther) = default;

int VOTSFileMonitorManager::Init(const VOWCHAR* pszRootPath)
{
    _SetRootPath(pszRootPath);
    return VO_STEP(CreateFileMonitorDispatcher()) && VO_STEP(CreateFileDirMonitorHandle()) &&
           VO_STEP(CreateFileMonitorThread()) && VO_STEP(CreateFileEventProcessThread());
}

// The monitor thread reads the root while a host may be at a second Init: hence unit by unit.
void VOTSFileMonitorManager::_SetRootPath(const VOWCHAR* pszRootPath)
{
    // A null path copies nothing, and leaves the empty root.
    VOWCHAR tszRoot[MAX_PATH] = {};
    (void)::lstrcpynW(tszRoot, pszRootPath, MAX_PATH);
    VOStoreWords(m_tszRootPath, tszRoot, MAX_PATH);
}

VOWString VOTSFileMonitorManager::_RootPath()
{
    VOWCHAR tszRoot[MAX_PATH] = {};
    VOLoadWords(tszRoot, m_tszRootPath, MAX_PATH - 1);
    return tszRoot;
}

// The consumer goes first, then the producer, then the handle that it read from, then the fan-out. Both are let go
// before either is waited for: one that is held suspended may hold a lock that the other needs to end, such as the
// allocator's.
int VOTSFileMonitorManager::UnInit()
{
    for (void* const hThread : {m_hFileEventThread, m_hFileMonitorThread})
    {
        if (hThread != nullptr)
        {
            VOStoreWord(m_nExitThread, 1);
            LetGo(hThread);
        }
    }
    DestoryFileEventProcessThread();
    DestroyFileMonitorThread();
    DestoryFileDirMonitorHandle();
    DesotryFileMonitorDispatcher();
    return 1;
}

int VOTSFileMonitorManager::CreateFileMonitorDispatcher()
{
    return VO_STEP(NULL == m_pFileMonitorEventDispatcher) &&
           VO_STEP_AS("m_pFileMonitorEventDispatcher",
                      m_pFileMonitorEventDispatcher = new VOTSFileMonitorEventDispatcher);
}

int VOTSFileMonitorManager::DesotryFileMonitorDispatcher()
{
    delete m_pFileMonitorEventDispatcher;
    m_pFileMonitorEventDispatcher = nullptr;
    return 1;
}

int VOTSFileMonitorManager::CreateFileDirMonitorHandle()
{
    if (!VO_STEP(INVALID_HANDLE_VALUE == m_hFileMonitorHandle) || !VO_STEP(*m_tszRootPath))
    {
        return 0;
    }
    m_hFileMonitorHandle = ::CreateFileW(m_tszRootPath, kDirectoryAccess, kDirectoryShare, nullptr, OPEN_EXISTING,
                                         kDirectoryFlags, nullptr);
    return VO_STEP(INVALID_HANDLE_VALUE != m_hFileMonitorHandle);
}

int VOTSFileMonitorManager::DestoryFileDirMonitorHandle()
{
    if (m_hFileMonitorHandle != INVALID_HANDLE_VALUE)
    {
        ::CloseHandle(m_hFileMonitorHandle);
        m_hFileMonitorHandle = INVALID_HANDLE_VALUE;
    }
    return 1;
}

int VOTSFileMonitorManager::CreateFileMonitorThread()
{
    if (!VO_STEP(NULL == m_hFileMonitorThread))
    {
        return 0;
    }
    m_hFileMonitorThread = ::CreateThread(nullptr, 0, ThreadProc_FileMonitor, this, CREATE_SUSPENDED, nullptr);
    if (!VO_STEP(m_hFileMonitorThread))
    {
        return 0;
    }
    m_overLapped = {};
    m_overLapped.hEvent = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (!VO_STEP(m_overLapped.hEvent != NULL))
    {
        return 0;
    }
    m_bFileMonitorSuspended = true;
    return 1;
}

int VOTSFileMonitorManager::DestroyFileMonitorThread()
{
    if (m_hFileMonitorThread != nullptr)
    {
        VOStoreWord(m_nExitThread, 1);
        LetGo(m_hFileMonitorThread);
        ::SetEvent(m_overLapped.hEvent);
        ::WaitForSingleObject(m_hFileMonitorThread, INFINITE);
        ::CloseHandle(m_hFileMonitorThread);
        m_hFileMonitorThread = nullptr;
    }
    if (m_overLapped.hEvent != nullptr)
    {
        ::CloseHandle(m_overLapped.hEvent);
        m_overLapped = {};
    }
    return 1;
}

int VOTSFileMonitorManager::CreateFileEventProcessThread()
{
    if (!VO_STEP(NULL == m_hFileEventThread))
    {
        return 0;
    }
    _ShowFilters();
    m_hFileEventThread = ::CreateThread(nullptr, 0, ThreadProc_FileEventDispatcher, this, CREATE_SUSPENDED, nullptr);
    if (!VO_STEP(m_hFileEventThread))
    {
        return 0;
    }
    m_bFileEventSuspended = true;
    return 1;
}

int VOTSFileMonitorManager::DestoryFileEventProcessThread()
{
    if (m_hFileEventThread != nullptr)
    {
        VOStoreWord(m_nExitThread, 1);
        LetGo(m_hFileEventThread);
        ::WaitForSingleObject(m_hFileEventThread, INFINITE);
        ::CloseHandle(m_hFileEventThread);
        m_hFileEventThread = nullptr;
    }
    return 1;
}

int VOTSFileMonitorManager::BeginThread()
{
    SuspendFileMonitor(false);
    SuspendEventDispatcher(false);
    return 1;
}

int VOTSFileMonitorManager::SuspendThread()
{
    SuspendFileMonitor(true);
    SuspendEventDispatcher(true);
    return 1;
}

int VOTSFileMonitorManager::SuspendFileMonitor(bool bSuspend)
{
    return _SuspendOne(m_hFileMonitorThread, m_bFileMonitorSuspended, bSuspend);
}

int VOTSFileMonitorManager::SuspendEventDispatcher(bool bSuspend)
{
    if (!bSuspend && m_hFileEventThread != nullptr)
    {
        // With what a derived class has made of them meanwhile.
        _ShowFilters();
    }
    return _SuspendOne(m_hFileEventThread, m_bFileEventSuspended, bSuspend);
}

// The marks keep the system's own counts at 0 and 1.
int VOTSFileMonitorManager::_SuspendOne(void* hThread, bool& rbSuspended, bool bSuspend)
{
    if (hThread == nullptr)
    {
        return 0;
    }
    if (rbSuspended != bSuspend)
    {
        rbSuspended = bSuspend;
        bSuspend ? ::SuspendThread(hThread) : ::ResumeThread(hThread);
    }
    return 1;
}

int VOTSFileMonitorManager::AddFileMonitorListener(IVOTSFileMonitorEventListener* piListener)
{
    return m_pFileMonitorEventDispatcher != nullptr ? m_pFileMonitorEventDispatcher->AddListener(piListener) : 0;
}

int VOTSFileMonitorManager::RemoveFileMonitorListener(IVOTSFileMonitorEventListener* piListener)
{
    return m_pFileMonitorEventDispatcher != nullptr ? m_pFileMonitorEventDispatcher->RemoveListener(piListener) : 0;
}

int VOTSFileMonitorManager::AddFilterDir(const VOWCHAR* pszDir)
{
    if (pszDir == nullptr)
    {
        return 1;
    }
    VOWString strDir(pszDir);
    // Hosts' threads keep each other out.
    FlagGuard guard(m_nFilterBusy);
    guard.Acquire();
    m_vecFilterDir.push_back(std::move(strDir));
    if (VOLoadWord(m_nFiltersShown) != 0)
    {
        try
        {
            m_kFilters.Publish(m_vecFilterDir);
        }
        catch (...)
        {
            m_vecFilterDir.pop_back();
            throw;
        }
    }
    return 1;
}

// The dispatch thread, which may be stopped anywhere, never looks into the vector itself. False when it still has the
// filters of before: for want of memory, or because somebody adds one, who shows them all. Filters that it knows
// already cost no memory, for this comes before a resumption, and a suspended thread may hold the allocator's lock.
bool VOTSFileMonitorManager::_ShowFilters()
{
    FlagGuard guard(m_nFilterBusy);
    if (!guard.AcquireSoon())
    {
        return false;
    }
    try
    {
        const VOPublished<std::vector<VOWString>>::Reading shown(m_kFilters);
        if (shown.Get() == nullptr || *shown.Get() != m_vecFilterDir)
        {
            m_kFilters.Publish(m_vecFilterDir);
        }
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
    VOStoreWord(m_nFiltersShown, 1);
    return true;
}

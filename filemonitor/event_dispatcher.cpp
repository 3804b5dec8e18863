// The fan-out of the directory monitor.
//
// m_blstEnable turns changes of the list away while it is walked. It is a flag and no lock: a listener that passes
// events on through the same dispatcher ends the inner walk with the flag up, and the outer one goes on. So the list is
// touched under a guard of its own, which nobody holds while a listener runs, and a walk keeps a position, which no
// change can leave dangling.
#include <algorithm>
#include <iterator>
#include <thread>

#include "diagnostics/check.h"
#include "filemonitor/shared_flag.h"
#include "vo_small_objects.h"
#include "vots_file_monitor.h"

namespace
{

// A thread that is held suspended at the list is a fan-out under way: whoever has tried this often takes it for one.
constexpr int kGuardTries = 1000;

// The search of a list, with the flag down for its time. The caller has the guard, and keeps it until it has changed
// the list: nothing comes in between.
bool IsInList(const std::list<IVOTSFileMonitorEventListener*>& listListeners, int& rnEnable,
              const IVOTSFileMonitorEventListener* pListener)
{
    const ZRecoverState kRecover(&rnEnable, 1);
    StoreFlag(rnEnable, 0);
    return std::find(listListeners.begin(), listListeners.end(), pListener) != listListeners.end();
}

}  // namespace

class VOTSFileMonitorEventDispatcher::Guard
{
public:
    explicit Guard(int& rnBusy) : m_rnBusy(rnBusy) {}
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;
    ~Guard()
    {
        if (m_bHeld)
        {
            StoreFlag(m_rnBusy, 0);
        }
    }

    bool TryAcquire()
    {
        m_bHeld = TakeFlag(m_rnBusy);
        return m_bHeld;
    }

    bool AcquireSoon()
    {
        for (int i = 0; i < kGuardTries && !TryAcquire(); ++i)
        {
            std::this_thread::yield();
        }
        return m_bHeld;
    }

    void Acquire()
    {
        while (!TryAcquire())
        {
            std::this_thread::yield();
        }
    }

private:
    int& m_rnBusy;
    bool m_bHeld = false;
};

VOTSFileMonitorEventDispatcher::VOTSFileMonitorEventDispatcher() : m_blstEnable(1), m_nListBusy(0) {}

VOTSFileMonitorEventDispatcher::VOTSFileMonitorEventDispatcher(const VOTSFileMonitorEventDispatcher& kOther)
    : VOTSFileMonitorEventListener_Adapter(kOther),
      m_listListeners(kOther.m_listListeners),
      m_blstEnable(kOther.m_blstEnable),
      m_nListBusy(0)
{
}

VOTSFileMonitorEventDispatcher& VOTSFileMonitorEventDispatcher::operator=(const VOTSFileMonitorEventDispatcher& kOther)
{
    if (this != &kOther)
    {
        Guard kGuard(m_nListBusy);
        kGuard.Acquire();
        m_listListeners = kOther.m_listListeners;
        StoreFlag(m_blstEnable, kOther.m_blstEnable);
    }
    return *this;
}

VOTSFileMonitorEventDispatcher::~VOTSFileMonitorEventDispatcher()
{
    VO_CHECK_ERROR(m_listListeners.size() == 0);
}

int VOTSFileMonitorEventDispatcher::AddListener(IVOTSFileMonitorEventListener* pListener)
{
    int nResult = 0;
    Guard kGuard(m_nListBusy);
    VO_PROCESS_ERROR(pListener);
    VO_PROCESS_ERROR_AS("m_blstEnable", LoadFlag(m_blstEnable) != 0 && kGuard.AcquireSoon());
    if (!IsInList(m_listListeners, m_blstEnable, pListener))
    {
        m_listListeners.push_back(pListener);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMonitorEventDispatcher::RemoveListener(IVOTSFileMonitorEventListener* pListener)
{
    int nResult = 0;
    Guard kGuard(m_nListBusy);
    VO_PROCESS_ERROR(pListener);
    VO_PROCESS_ERROR_AS("m_blstEnable", LoadFlag(m_blstEnable) != 0 && kGuard.AcquireSoon());
    if (IsInList(m_listListeners, m_blstEnable, pListener))
    {
        m_listListeners.remove(pListener);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileMonitorEventDispatcher::IsListenerExist(IVOTSFileMonitorEventListener* pListener)
{
    Guard kGuard(m_nListBusy);
    return kGuard.AcquireSoon() && IsInList(m_listListeners, m_blstEnable, pListener) ? 1 : 0;
}

// False behind the last entry.
bool VOTSFileMonitorEventDispatcher::_ListenerAt(size_t uIndex, IVOTSFileMonitorEventListener** ppiListener)
{
    Guard kGuard(m_nListBusy);
    kGuard.Acquire();
    if (uIndex >= m_listListeners.size())
    {
        return false;
    }
    *ppiListener = *std::next(m_listListeners.begin(), static_cast<ptrdiff_t>(uIndex));
    return true;
}

// The four are written out, so that each logs under its own name.
void VOTSFileMonitorEventDispatcher::OnFileMonitor_Add(const VOWCHAR* pszFilePath)
{
    const ZRecoverState kRecover(&m_blstEnable, 1);
    IVOTSFileMonitorEventListener* piListener = nullptr;
    StoreFlag(m_blstEnable, 0);
    for (size_t i = 0; _ListenerAt(i, &piListener); ++i)
    {
        VO_PROCESS_ERROR(piListener);
        piListener->OnFileMonitor_Add(pszFilePath);
    }

Exit0:
    return;
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Remove(const VOWCHAR* pszFilePath)
{
    const ZRecoverState kRecover(&m_blstEnable, 1);
    IVOTSFileMonitorEventListener* piListener = nullptr;
    StoreFlag(m_blstEnable, 0);
    for (size_t i = 0; _ListenerAt(i, &piListener); ++i)
    {
        VO_PROCESS_ERROR(piListener);
        piListener->OnFileMonitor_Remove(pszFilePath);
    }

Exit0:
    return;
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName)
{
    const ZRecoverState kRecover(&m_blstEnable, 1);
    IVOTSFileMonitorEventListener* piListener = nullptr;
    StoreFlag(m_blstEnable, 0);
    for (size_t i = 0; _ListenerAt(i, &piListener); ++i)
    {
        VO_PROCESS_ERROR(piListener);
        piListener->OnFileMonitor_Rename(pszFilePath, pszNewFileName);
    }

Exit0:
    return;
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Modified(const VOWCHAR* pszFilePath)
{
    const ZRecoverState kRecover(&m_blstEnable, 1);
    IVOTSFileMonitorEventListener* piListener = nullptr;
    StoreFlag(m_blstEnable, 0);
    for (size_t i = 0; _ListenerAt(i, &piListener); ++i)
    {
        VO_PROCESS_ERROR(piListener);
        piListener->OnFileMonitor_Modified(pszFilePath);
    }

Exit0:
    return;
}

void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Add(const VOWCHAR* /*pszFilePath*/) {}
void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Remove(const VOWCHAR* /*pszFilePath*/) {}
void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Rename(const VOWCHAR* /*pszFilePath*/,
                                                                const VOWCHAR* /*pszNewFileName*/)
{
}
void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Modified(const VOWCHAR* /*pszFilePath*/) {}

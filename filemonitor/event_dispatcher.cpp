// The fan-out of the directory monitor.
//
// m_blstEnable turns changes of the list away while it is walked. It is a flag and no lock, so it is looked at and
// changed under a guard alone, which nobody holds while a listener runs. What a listener passes on through the same
// dispatcher is a walk inside a walk, and threads may walk beside each other: the walks are counted, and the last one
// to end opens the list. So once a removal has been granted no call to that listener is under way, and none comes. A
// walk keeps a position, which nothing can leave dangling.
//
// Whoever has tried to get the guard often takes a thread that is held suspended with it for a fan-out under way.
#include <algorithm>
#include <iterator>

#include "diagnostics/check.h"
#include "filemonitor/shared_flag.h"
#include "vots_file_monitor.h"

// One walk over the list. The scope's end opens the list again, also when a listener's exception leaves it.
class VOTSFileMonitorEventDispatcher::Walk
{
public:
    explicit Walk(VOTSFileMonitorEventDispatcher& dispatcher) : m_dispatcher(dispatcher)
    {
        FlagGuard guard(m_dispatcher.m_nListBusy);
        guard.Acquire();
        ++m_dispatcher.m_nWalks;
        m_dispatcher._ShowWalks();
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk()
    {
        FlagGuard guard(m_dispatcher.m_nListBusy);
        guard.Acquire();
        --m_dispatcher.m_nWalks;
        m_dispatcher._ShowWalks();
    }

    // Calls the listeners one after the other. An entry that is null ends the walk.
    template <typename Call>
    void Tell(const char* pszFunction, Call call)
    {
        IVOTSFileMonitorEventListener* piListener = nullptr;
        for (size_t i = 0; m_dispatcher._ListenerAt(i, &piListener) && VO_STEP_IN(pszFunction, piListener); ++i)
        {
            call(piListener);
        }
    }

private:
    VOTSFileMonitorEventDispatcher& m_dispatcher;
};

VOTSFileMonitorEventDispatcher::VOTSFileMonitorEventDispatcher() : m_blstEnable(1), m_nListBusy(0), m_nWalks(0) {}

VOTSFileMonitorEventDispatcher::VOTSFileMonitorEventDispatcher(const VOTSFileMonitorEventDispatcher& kOther)
    : VOTSFileMonitorEventListener_Adapter(kOther),
      m_listListeners(kOther.m_listListeners),
      m_blstEnable(VOLoadWord(kOther.m_blstEnable)),
      m_nListBusy(0),
      m_nWalks(0)
{
}

VOTSFileMonitorEventDispatcher& VOTSFileMonitorEventDispatcher::operator=(const VOTSFileMonitorEventDispatcher& kOther)
{
    if (this != &kOther)
    {
        FlagGuard guard(m_nListBusy);
        guard.Acquire();
        m_listListeners = kOther.m_listListeners;
        VOStoreWord(m_blstEnable, m_nWalks != 0 ? 0 : VOLoadWord(kOther.m_blstEnable));
    }
    return *this;
}

VOTSFileMonitorEventDispatcher::~VOTSFileMonitorEventDispatcher()
{
    VO_CHECK_ERROR(m_listListeners.size() == 0);
}

int VOTSFileMonitorEventDispatcher::AddListener(IVOTSFileMonitorEventListener* pListener)
{
    FlagGuard guard(m_nListBusy);
    if (!VO_STEP(pListener) || !VO_STEP_AS("m_blstEnable", guard.AcquireSoon() && VOLoadWord(m_blstEnable) != 0))
    {
        return 0;
    }
    if (!_IsInList(pListener))
    {
        m_listListeners.push_back(pListener);
    }
    return 1;
}

int VOTSFileMonitorEventDispatcher::RemoveListener(IVOTSFileMonitorEventListener* pListener)
{
    FlagGuard guard(m_nListBusy);
    if (!VO_STEP(pListener) || !VO_STEP_AS("m_blstEnable", guard.AcquireSoon() && VOLoadWord(m_blstEnable) != 0))
    {
        return 0;
    }
    if (_IsInList(pListener))
    {
        m_listListeners.remove(pListener);
    }
    return 1;
}

int VOTSFileMonitorEventDispatcher::IsListenerExist(IVOTSFileMonitorEventListener* pListener)
{
    FlagGuard guard(m_nListBusy);
    return guard.AcquireSoon() && _IsInList(pListener) ? 1 : 0;
}

// 0 while anybody walks, else 1. The caller has the guard.
void VOTSFileMonitorEventDispatcher::_ShowWalks()
{
    VOStoreWord(m_blstEnable, m_nWalks != 0 ? 0 : 1);
}

// The caller has the guard, and keeps it until it has changed the list: nothing comes in between. A search leaves the
// flag as the walks have it, whatever a derived class made of it.
bool VOTSFileMonitorEventDispatcher::_IsInList(const IVOTSFileMonitorEventListener* pListener)
{
    _ShowWalks();
    return std::find(m_listListeners.begin(), m_listListeners.end(), pListener) != m_listListeners.end();
}

// False behind the last entry.
bool VOTSFileMonitorEventDispatcher::_ListenerAt(size_t uIndex, IVOTSFileMonitorEventListener** ppiListener)
{
    FlagGuard guard(m_nListBusy);
    guard.Acquire();
    if (uIndex >= m_listListeners.size())
    {
        return false;
    }
    *ppiListener = *std::next(m_listListeners.begin(), static_cast<ptrdiff_t>(uIndex));
    return true;
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Add(const VOWCHAR* pszFilePath)
{
    VO_NAMED_FUNCTION(pszFunction);
    Walk(*this).Tell(pszFunction, [&](auto* piListener) { piListener->OnFileMonitor_Add(pszFilePath); });
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Remove(const VOWCHAR* pszFilePath)
{
    VO_NAMED_FUNCTION(pszFunction);
    Walk(*this).Tell(pszFunction, [&](auto* piListener) { piListener->OnFileMonitor_Remove(pszFilePath); });
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName)
{
    VO_NAMED_FUNCTION(pszFunction);
    Walk(*this).Tell(pszFunction,
                     [&](auto* piListener) { piListener->OnFileMonitor_Rename(pszFilePath, pszNewFileName); });
}

void VOTSFileMonitorEventDispatcher::OnFileMonitor_Modified(const VOWCHAR* pszFilePath)
{
    VO_NAMED_FUNCTION(pszFunction);
    Walk(*this).Tell(pszFunction, [&](auto* piListener) { piListener->OnFileMonitor_Modified(pszFilePath); });
}

void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Add(const VOWCHAR* /*pszFilePath*/) {}
void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Remove(const VOWCHAR* /*pszFilePath*/) {}
void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Rename(const VOWCHAR* /*pszFilePath*/,
                                                                const VOWCHAR* /*pszNewFileName*/)
{
}
void VOTSFileMonitorEventListener_Adapter::OnFileMonitor_Modified(const VOWCHAR* /*pszFilePath*/) {}

#include "platform/posix/directory_watcher.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/futex.h"
#include "platform/posix/last_error.h"
#include "platform/posix/library_life.h"
#include "platform/posix/watch_tree.h"

DirectoryWatcher::DirectoryWatcher(ChangeSink& sink, std::string strRoot, const FileIdentity& identity, DWORD uFilter)
    : m_sink(sink), m_strRoot(std::move(strRoot)), m_identity(identity), m_uFilter(uFilter)
{
}

DirectoryWatcher::~DirectoryWatcher()
{
    RequestStop();
    if (m_bStarted)
    {
        pthread_join(m_thread, nullptr);
    }
}

void DirectoryWatcher::RequestStop()
{
    m_bStop.store(true);
    if (m_wakeUp.IsOpen())
    {
        const uint64_t ullOne = 1;
        const ssize_t nWritten = write(m_wakeUp.Get(), &ullOne, sizeof(ullOne));
        (void)nWritten;  // a counter at its end wakes as well
    }
}

DWORD DirectoryWatcher::Start()
{
    m_wakeUp = Descriptor(VO_FAULT_POINT("watcher.wake") ? -1 : eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!m_wakeUp.IsOpen())
    {
        return ERROR_TOO_MANY_OPEN_FILES;
    }
    // The program's signals are for its own threads.
    sigset_t allSignals;
    sigset_t oldSignals;
    sigfillset(&allSignals);
    pthread_sigmask(SIG_SETMASK, &allSignals, &oldSignals);
    const int nError = VO_FAULT_POINT("watcher.thread") ? EAGAIN : pthread_create(&m_thread, nullptr, Run, this);
    pthread_sigmask(SIG_SETMASK, &oldSignals, nullptr);
    if (nError != 0)
    {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    m_bStarted = true;
    while (m_uReady.load() == 0)
    {
        FutexWait(m_uReady, 0, nullptr);
    }
    return m_uError.load();
}

// Nothing may leave the thread: it would take the process with it.
void* DirectoryWatcher::Run(void* pThis)
{
    // Its code is the library's: nothing more to do at the end.
    CallAtEndOfThread([](void*) {}, nullptr);
    DirectoryWatcher* const pWatcher = static_cast<DirectoryWatcher*>(pThis);
    try
    {
        pWatcher->Watch();
    }
    catch (const std::bad_alloc&)
    {
        pWatcher->SetReady(ERROR_NOT_ENOUGH_MEMORY);
    }
    return nullptr;
}

void DirectoryWatcher::SetReady(DWORD uError)
{
    m_uError.store(uError);
    m_uReady.store(1);
    FutexWakeAll(m_uReady);
}

void DirectoryWatcher::Watch()
{
    WatchTree tree(m_strRoot, m_identity, m_uFilter, m_bStop);
    const int nError = tree.Open();
    tree.TakeLost();  // nothing was told before
    m_bLimited.store(tree.IsLimited());
    SetReady(tree.IsGone() ? ERROR_ACCESS_DENIED : ErrorFromErrno(nError));
    if (nError == 0)
    {
        Loop(tree);
    }
}

void DirectoryWatcher::Loop(WatchTree& tree)
{
    bool bGoesOn = true;
    while (bGoesOn && !m_bStop.load())
    {
        try
        {
            bGoesOn = Turn(tree);
        }
        catch (const std::bad_alloc&)
        {
            // The notices of this turn are spent and the tree may be half changed: both are made good by a new one.
            tree.GiveUp();
        }
    }
}

// False when the watch has ended.
bool DirectoryWatcher::Turn(WatchTree& tree)
{
    constexpr int MEMORY_PAUSE = 100;  // milliseconds until memory that wasn't there is asked for again
    ChangeBatch batch;
    if (tree.NeedsOpen())
    {
        Wait(-1, MEMORY_PAUSE);
    }
    else
    {
        Wait(tree.Inotify(), tree.Timeout());
        tree.Process(&batch);
        if (VO_FAULT_POINT("watcher.memory"))
        {
            throw std::bad_alloc();
        }
    }
    bool bReopened = true;
    if (tree.NeedsOpen())
    {
        // The loss is told when everything is watched again: what a reader finds on disk then is not to be missed.
        bReopened = tree.Open() == 0;
        batch = ChangeBatch();
    }
    if (!batch.IsEmpty())
    {
        m_sink.OnChanges(std::move(batch));
    }
    if (tree.TakeLost() && !m_bStop.load())
    {
        m_sink.OnLost();
    }
    if (tree.IsGone() || !bReopened)
    {
        m_sink.OnGone();
        return false;
    }
    return true;
}

void DirectoryWatcher::Wait(int nInotify, int nMilliseconds)
{
    pollfd aDescriptors[2] = {{nInotify, POLLIN, 0}, {m_wakeUp.Get(), POLLIN, 0}};
    poll(aDescriptors, 2, nMilliseconds);
}

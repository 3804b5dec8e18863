// Threads: the object behind a handle, signals of the library's own, and the library's life while its threads run.
#pragma once

#include <pthread.h>
#include <signal.h>
#include <ucontext.h>

#include <initializer_list>

#include "platform/posix/waits.h"

// Threads that can be made to stand still.
//
// Who suspends a thread writes the request into the thread's word, sends it a signal, and waits until the word says
// that the thread stands. The thread answers from the signal's handler, at whatever instruction it has reached, also
// inside a call of the system; only a KernelRegion it leaves first. Between request and answer nothing is locked, so
// two threads that suspend one another both come to stand, and a third one can resume them. The handler uses atomic
// words and system calls only.

// Signalled when the thread has ended, after the destructors of its thread_local objects.
class ThreadObject : public Waitable
{
public:
    // A thread that Start makes.
    explicit ThreadObject(bool bSuspended);
    // The calling thread, which somebody else made.
    explicit ThreadObject(pthread_t thread);
    ~ThreadObject() override;

    // The object of a thread handle, which may be the pseudo handle of the calling thread. Null for another handle.
    static std::shared_ptr<ThreadObject> Find(HANDLE hThread);

    // Runs the procedure on a new thread. 0, or an errno value.
    static int Start(const std::shared_ptr<ThreadObject>& pThread, LPTHREAD_START_ROUTINE pfnProcedure,
                     void* pParameter, DWORD* puThreadId);

    // SuspendThread and ResumeThread.
    DWORD Suspend();
    DWORD Resume();

    // The calling thread stands still until it is resumed, if somebody has asked for it. Async-signal-safe.
    static void StandStillIfAsked();

    // How many kernel regions the calling thread is in; null for a thread that has no object. Async-signal-safe.
    static volatile sig_atomic_t* RegionDepth();

    // For a handler that interrupts a thread which stands still: where the thread itself was. Null when it stands at a
    // place of its own choice, or doesn't.
    static const ucontext_t* InterruptedContext();

protected:
    void OnWaited() override { JoinOnce(); }

private:
    struct Record;

    struct Process;

    static Record* Current();
    static void* Run(void* pRecord);
    static void Finish(void* pRecord);
    static void OnSignal(int nSignal, siginfo_t* pInfo, void* pvContext);
    static bool PrepareProcess();
    static std::shared_ptr<ThreadObject> AttachCurrent();

    void End();
    void StandStill();
    void JoinOnce();

    pthread_t m_thread{};       // constant once Start has returned
    bool m_bEnded = false;      // under the lock
    DWORD m_uSuspendCount = 0;  // under the lock
    std::atomic<uint32_t> m_uStand;
    std::atomic<bool> m_bJoined{false};  // joined, or never to be

    static Process s_process;
};

// Real-time signals of the library's own.
typedef void (*SignalHandler)(int nSignal, siginfo_t* pInfo, void* pvContext);

// Takes a real-time signal that nobody in the process handles yet, from the lower or the upper end; 0 when there is
// none. While the handler runs, all other signals wait but nLeftOpen (0 for none).
int TakeOwnSignal(SignalHandler pfnHandler, bool bFromBelow, int nLeftOpen);

// Gives it back, and what of it is still under way is dropped. Nothing, if somebody has taken it over meanwhile.
void GiveBackOwnSignal(int nSignal, SignalHandler pfnHandler);

// The calling thread lets these signals through. Async-signal-safe.
void UnblockSignals(std::initializer_list<int> signals);

// Starts a thread on which all signals are blocked: those of the program are for its own threads. 0, or an errno value.
int StartWithoutSignals(pthread_t* pThread, void* (*pfnProcedure)(void*), void* pvParameter);

// The signal by which the stack walker makes a thread of the process stand.
// Taken at the first call; 0 when there is none left.
int WalkerSignal();

// The library's life in a process that may load and unload it.
//
// A thread of the library runs its code, so the library isn't unloaded while one lives, whatever its host closes: the
// loader holds it as long as a thread has something of it to run at its end. What the library has put into the process
// (signals, keys) it takes back when it is unloaded. At the end of a process the same is called, maybe while threads
// still run: then everything stays as it is.
typedef void (*EndOfThread)(void* pvParameter);

// Has a function called when the calling thread ends, before which the library isn't unloaded. The one that is asked
// for first is called last, behind the destructors of the thread's own objects.
void CallAtEndOfThread(EndOfThread pfnEnd, void* pvParameter);

// Whether a thread that was held by the above hasn't ended.
bool AnyThreadLives();

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/fault_points.h"
#include "platform/posix/section_object.h"
#include "platform/posix/waits.h"
#include "platform/sanitizers.h"
#include "platform/vo_process.h"

namespace
{
// Set by a request and never reset: whoever waits, now or later, finds it.
std::atomic<uint32_t> s_uRequested{0};
// When the first stop signal came, in milliseconds of the clock that only goes forward; 0 before.
std::atomic<int64_t> s_nFirstSignal{0};
static_assert(std::atomic<uint32_t>::is_always_lock_free && std::atomic<int64_t>::is_always_lock_free,
              "a signal handler uses them");

void OnStopSignal(int nSignal)
{
    int64_t nFirst = 0;
    const int64_t nNow = MillisecondsNow();
    if (s_nFirstSignal.compare_exchange_strong(nFirst, nNow))
    {
        VORequestStop();
    }
    else if (nNow - nFirst >= int64_t{kVOSameStopRequest})
    {
        // Blocked while this runs: the system's own action, which ends the process, follows the return.
        signal(nSignal, SIG_DFL);
        raise(nSignal);
    }
}

bool HandleSignal(int nSignal)
{
    return !VO_FAULT_POINT("stop.signal") && signal(nSignal, OnStopSignal) != SIG_ERR;
}

// A terminal that closes asks to stop, unless the program was started to outlive it.
bool HandleHangUp()
{
    struct sigaction action = {};
    return sigaction(SIGHUP, nullptr, &action) == 0 && (action.sa_handler == SIG_IGN || HandleSignal(SIGHUP));
}
}  // namespace

uint32_t VOProcessId()
{
    return static_cast<uint32_t>(getpid());
}

// Of the thread alone: the system takes its number for that of a process.
void VOLowerThreadPriority()
{
    constexpr int kNicer = 10;
    setpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)), kNicer);
}

void VOSleepMilliseconds(uint32_t uMilliseconds)
{
    timespec rest = {static_cast<time_t>(uMilliseconds / 1000), static_cast<long>(uMilliseconds % 1000) * 1000000};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR)
    {
    }
}

std::vector<std::string> VOArguments(int nCount, char** ppszArguments)
{
    return nCount > 1 ? std::vector<std::string>(ppszArguments + 1, ppszArguments + nCount)
                      : std::vector<std::string>();
}

bool VOSetEnvironment(const std::string& strName, const std::string& strValue)
{
    return setenv(strName.c_str(), strValue.c_str(), 1) == 0;
}

void VOPrepareConsole() {}

bool VOIsTerminal(FILE* pStream)
{
    return isatty(fileno(pStream)) == 1;
}

FILE* VOTakeStandardOutput()
{
    FILE* const pNowhere = fopen("/dev/null", "we");
    if (pNowhere == nullptr)
    {
        return nullptr;
    }
    // The C library's own variable, which may be set like any other: the descriptor stays what it is, for children.
    FILE* const pTaken = stdout;
    stdout = pNowhere;
    return pTaken;
}

int VORunCommand(const std::string& strCommand)
{
    return system(strCommand.c_str());
}

bool VOHandleStopRequests()
{
    // The thread sanitizer loses a signal that comes while a thread is in the first of its calls that may block, where
    // it makes room for the signals of the thread. So that one has been, in front of the first signal.
    if (VO_THREAD_SANITIZER != 0)
    {
        VOSleepMilliseconds(0);
    }
    static const bool s_bHandled = HandleSignal(SIGINT) && HandleSignal(SIGTERM) && HandleHangUp();
    return s_bHandled;
}

bool VOStopRequested()
{
    return s_uRequested.load() != 0;
}

bool VOWaitForStopRequest(uint32_t uMilliseconds)
{
    const Deadline deadline(uMilliseconds);
    while (!VOStopRequested() && !deadline.IsOver())
    {
        FutexWait(s_uRequested, 0, deadline.Get());
    }
    return VOStopRequested();
}

void VORequestStop()
{
    FutexStore(s_uRequested, 1);
}

// The console: the controlling terminal stands for the parent process's.

constexpr const char* kConsoleDevice = "/dev/tty";

BOOL AttachConsole(DWORD uProcess)
{
    if (uProcess != ATTACH_PARENT_PROCESS)
    {
        return FailCall(ERROR_INVALID_PARAMETER);
    }
    const Descriptor terminal(VO_FAULT_POINT("AttachConsole") ? -1
                                                              : open(kConsoleDevice, O_RDWR | O_NOCTTY | O_CLOEXEC));
    return terminal.IsOpen() || FailCall(ERROR_INVALID_HANDLE);
}

errno_t freopen_s(FILE** ppResult, const char* pszName, const char* pszMode, FILE* pStream)
{
    if (ppResult == nullptr || pszName == nullptr || pszMode == nullptr || pStream == nullptr)
    {
        return EINVAL;
    }
    *ppResult = nullptr;
    if (VO_FAULT_POINT("freopen_s"))
    {
        return EMFILE;
    }
    const char* const pszPath = strcmp(pszName, "CONOUT$") == 0 ? kConsoleDevice : pszName;
    // Tried aside first: a failing freopen would leave the stream closed.
    FILE* const pTrial = fopen(pszPath, pszMode);
    if (pTrial == nullptr)
    {
        return errno;
    }
    fclose(pTrial);
    *ppResult = freopen(pszPath, pszMode, pStream);
    return *ppResult != nullptr ? 0 : errno;
}

void VOEndProcess(const char* pszReason)
{
    fprintf(stderr, "VOBaseX64: %s; the process ends here\n", pszReason);
    fflush(stderr);
    abort();
}

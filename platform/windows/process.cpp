#include "platform/vo_process.h"

#include <fcntl.h>
#include <io.h>
#include <stdlib.h>

#include <atomic>

#include "platform/vo_platform.h"
#include "platform/vo_text.h"
// It takes the system's types from the header above.
#include <shellapi.h>

namespace
{
std::atomic<bool> s_bRequested{false};

// Set by a request and never reset: whoever waits, now or later, finds it set. Null when there can't be one.
HANDLE RequestEvent()
{
    static const HANDLE s_hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return s_hEvent;
}

// Where standard output ended when it was taken, and where it ends since. -1 before.
int s_nResults = -1;
int s_nNowhere = -1;

// When the first control event came, in milliseconds since the system started; 0 before.
std::atomic<uint64_t> s_uFirstControl{0};

// Runs on a thread of the system's.
BOOL WINAPI OnConsoleControl(DWORD uControl)
{
    uint64_t uFirst = 0;
    const uint64_t uNow = GetTickCount64();
    if (s_uFirstControl.compare_exchange_strong(uFirst, uNow))
    {
        VORequestStop();
    }
    else if (uNow - uFirst >= kVOSameStopRequest)
    {
        return FALSE;  // the second request: the system ends the process
    }
    if (uControl == CTRL_CLOSE_EVENT || uControl == CTRL_LOGOFF_EVENT || uControl == CTRL_SHUTDOWN_EVENT)
    {
        Sleep(INFINITE);  // the process ends when this returns: the program gets the time that the system allows
    }
    return TRUE;
}
}  // namespace

uint32_t VOProcessId()
{
    return GetCurrentProcessId();
}

void VOLowerThreadPriority()
{
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL);
}

void VOSleepMilliseconds(uint32_t uMilliseconds)
{
    Sleep(uMilliseconds);
}

std::vector<std::string> VOArguments(int nCount, char** ppszArguments)
{
    std::vector<std::string> vecArguments;
    int nWide = 0;
    LPWSTR* const ppszWide = CommandLineToArgvW(GetCommandLineW(), &nWide);
    if (ppszWide == nullptr)
    {
        // In the program's code page, which is better than none.
        return nCount > 1 ? std::vector<std::string>(ppszArguments + 1, ppszArguments + nCount) : vecArguments;
    }
    for (int nArgument = 1; nArgument < nWide; ++nArgument)
    {
        vecArguments.push_back(VOToNativePath(ppszWide[nArgument]));
    }
    LocalFree(ppszWide);
    return vecArguments;
}

bool VOSetEnvironment(const std::string& strName, const std::string& strValue)
{
    return _wputenv_s(VOFromNative(strName).c_str(), VOFromNative(strValue).c_str()) == 0;
}

void VOPrepareConsole()
{
    const HANDLE hOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    DWORD uMode = 0;
    SetConsoleOutputCP(CP_UTF8);
    if (GetConsoleMode(hOutput, &uMode) != FALSE)
    {
        SetConsoleMode(hOutput, uMode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
}

bool VOIsTerminal(FILE* pStream)
{
    // Any character device counts for _isatty, the null device too; only a console has a mode.
    const int nDescriptor = _fileno(pStream);
    DWORD uMode = 0;
    return nDescriptor >= 0 && _isatty(nDescriptor) != 0 &&
           GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(nDescriptor)), &uMode) != FALSE;
}

FILE* VOTakeStandardOutput()
{
    fflush(stdout);
    const int nStandard = _fileno(stdout);
    const int nResults = nStandard >= 0 ? _dup(nStandard) : -1;
    const int nNowhere = nResults >= 0 ? _open("NUL", _O_WRONLY | _O_NOINHERIT) : -1;
    FILE* const pResults = nNowhere >= 0 ? _fdopen(nResults, "w") : nullptr;
    if (pResults == nullptr || _dup2(nNowhere, nStandard) != 0)
    {
        return nullptr;
    }
    s_nResults = nResults;
    s_nNowhere = nNowhere;
    return pResults;
}

// A program that is started gets this one's descriptors.
int VORunCommand(const std::string& strCommand)
{
    const int nStandard = _fileno(stdout);
    if (s_nResults < 0 || _dup2(s_nResults, nStandard) != 0)
    {
        return system(strCommand.c_str());
    }
    const int nResult = system(strCommand.c_str());
    _dup2(s_nNowhere, nStandard);
    return nResult;
}

bool VOHandleStopRequests()
{
    static const bool s_bHandled = RequestEvent() != nullptr && SetConsoleCtrlHandler(OnConsoleControl, TRUE) != FALSE;
    return s_bHandled;
}

bool VOStopRequested()
{
    return s_bRequested.load();
}

bool VOWaitForStopRequest(uint32_t uMilliseconds)
{
    if (!VOStopRequested())
    {
        WaitForSingleObject(RequestEvent(), uMilliseconds);
    }
    return VOStopRequested();
}

void VORequestStop()
{
    s_bRequested.store(true);
    SetEvent(RequestEvent());
}

void VOEndProcess(const char* pszReason)
{
    fprintf(stderr, "VOBaseX64: %s; the process ends here\n", pszReason);
    fflush(stderr);
    // What the runtime's own range check ends with.
    constexpr UINT kStackBufferOverrun = 0xC0000409u;
    TerminateProcess(GetCurrentProcess(), kStackBufferOverrun);
    abort();
}

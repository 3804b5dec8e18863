// The lum program as a process, on Windows.
#include <algorithm>

#include "platform/vo_platform.h"
#include "platform/vo_text.h"
#include "tests/lum_support/lum_process.h"
#include "tests/lum_support/lum_test_support.h"

struct LumProcess::State
{
    PROCESS_INFORMATION process = {};
    bool bKilled = false;
    TemporaryFolder folder;  // holds what the process writes
};

namespace
{

HANDLE OpenForWriting(const std::filesystem::path& file)
{
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    return CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

// A word of a command line, quoted as the runtime takes it apart.
std::wstring Quoted(const std::wstring& strWord)
{
    std::wstring strResult = L"\"";
    size_t uBackslashes = 0;
    for (const wchar_t ch : strWord)
    {
        if (ch == L'"')
        {
            strResult.append(uBackslashes + 1, L'\\');
        }
        uBackslashes = ch == L'\\' ? uBackslashes + 1 : 0;
        strResult += ch;
    }
    strResult.append(uBackslashes, L'\\');
    return strResult + L"\"";
}

std::string WithoutCarriageReturns(std::string strText)
{
    strText.erase(std::remove(strText.begin(), strText.end(), '\r'), strText.end());
    return strText;
}

}  // namespace

LumProcess::LumProcess(const std::vector<std::string>& vecArguments) : m_pState(new State)
{
    const HANDLE hOut = OpenForWriting(m_pState->folder.Path() / "out");
    const HANDLE hErr = OpenForWriting(m_pState->folder.Path() / "err");
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = hOut;
    startup.hStdError = hErr;
    const std::wstring strProgram = VOFromNative(LUM_PROGRAM);
    std::wstring strCommandLine = Quoted(strProgram);
    for (const std::string& strArgument : vecArguments)
    {
        strCommandLine += L" " + Quoted(VOFromNative(strArgument));
    }
    // A group of its own can be told to stop alone.
    CreateProcessW(strProgram.c_str(), strCommandLine.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP, nullptr,
                   nullptr, &startup, &m_pState->process);
    CloseHandle(hOut);
    CloseHandle(hErr);
}

LumProcess::~LumProcess()
{
    Kill();
    if (m_pState->process.hProcess != nullptr)
    {
        CloseHandle(m_pState->process.hThread);
        CloseHandle(m_pState->process.hProcess);
    }
}

bool LumProcess::IsRunning()
{
    return m_pState->process.hProcess != nullptr && WaitForSingleObject(m_pState->process.hProcess, 0) == WAIT_TIMEOUT;
}

uint32_t LumProcess::ProcessId() const
{
    return m_pState->process.dwProcessId;
}

bool LumProcess::RequestStop()
{
    return IsRunning() && GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, m_pState->process.dwProcessId) != 0;
}

void LumProcess::Kill()
{
    if (IsRunning())
    {
        m_pState->bKilled = true;
        TerminateProcess(m_pState->process.hProcess, 1);
        WaitForSingleObject(m_pState->process.hProcess, INFINITE);
    }
}

int LumProcess::Wait()
{
    DWORD uExitCode = 0;
    if (m_pState->process.hProcess == nullptr || m_pState->bKilled)
    {
        return -1;
    }
    if (WaitForSingleObject(m_pState->process.hProcess,
                            static_cast<DWORD>(std::chrono::milliseconds(kPatience).count())) == WAIT_TIMEOUT)
    {
        ADD_FAILURE() << "lum doesn't end; it wrote: " << Out() << Err();
        Kill();
        return -1;
    }
    GetExitCodeProcess(m_pState->process.hProcess, &uExitCode);
    return static_cast<int>(uExitCode);
}

int LumProcess::EndingSignal() const
{
    return 0;
}

std::string LumProcess::Out() const
{
    return WithoutCarriageReturns(ReadWholeFile(m_pState->folder.Path() / "out"));
}

std::string LumProcess::Err() const
{
    return WithoutCarriageReturns(ReadWholeFile(m_pState->folder.Path() / "err"));
}

// The names of a session are all there is.
void UsePrivateNameSpace() {}

// Child processes of the tests on Windows.
#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include "platform/vo_text.h"
#include "tests/platform/platform_test_support.h"

struct ChildProcess::State
{
    PROCESS_INFORMATION process = {};
    bool bKilled = false;
    FILE* pFromChild = nullptr;
    FILE* pToChild = nullptr;
};

namespace
{
// Variables of this process for as long as the child is being started, which inherits them.
class InheritedVariables
{
public:
    explicit InheritedVariables(const std::vector<std::string>& vecVariables)
    {
        for (const std::string& strVariable : vecVariables)
        {
            const size_t uEqual = strVariable.find('=');
            m_vecNames.push_back(strVariable.substr(0, uEqual));
            SetEnvironmentVariableA(m_vecNames.back().c_str(), strVariable.c_str() + uEqual + 1);
        }
    }
    ~InheritedVariables()
    {
        for (const std::string& strName : m_vecNames)
        {
            SetEnvironmentVariableA(strName.c_str(), nullptr);
        }
    }
    InheritedVariables(const InheritedVariables&) = delete;
    InheritedVariables& operator=(const InheritedVariables&) = delete;

private:
    std::vector<std::string> m_vecNames;
};
}  // namespace

ChildProcess::ChildProcess(const std::string& strRole, const std::string& strArgument,
                           const std::vector<std::string>& vecEnvironment, const std::vector<std::string>& vecArguments)
    : m_pState(new State)
{
    SECURITY_ATTRIBUTES inherited = {sizeof(inherited), nullptr, TRUE};
    HANDLE hChildInput = nullptr;
    HANDLE hToChild = nullptr;
    HANDLE hFromChild = nullptr;
    HANDLE hChildOutput = nullptr;
    if (!CreatePipe(&hChildInput, &hToChild, &inherited, 0) || !CreatePipe(&hFromChild, &hChildOutput, &inherited, 0))
    {
        return;
    }
    SetHandleInformation(hToChild, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(hFromChild, HANDLE_FLAG_INHERIT, 0);
    std::vector<std::string> vecVariables = vecEnvironment;
    vecVariables.push_back("VOBASE_TEST_ROLE=" + strRole);
    vecVariables.push_back("VOBASE_TEST_ARGUMENT=" + strArgument);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = hChildInput;
    startup.hStdOutput = hChildOutput;
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    wchar_t szProgram[1024] = {};
    GetModuleFileNameW(nullptr, szProgram, 1023);
    std::wstring strCommandLine = L"child";
    for (const std::string& strWord : vecArguments)
    {
        strCommandLine += L" \"" + VOFromNative(strWord) + L"\"";
    }
    {
        const InheritedVariables variables(vecVariables);
        CreateProcessW(szProgram, strCommandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                       &m_pState->process);
    }
    CloseHandle(hChildInput);
    CloseHandle(hChildOutput);
    m_pState->pToChild = _fdopen(_open_osfhandle(reinterpret_cast<intptr_t>(hToChild), 0), "wb");
    m_pState->pFromChild = _fdopen(_open_osfhandle(reinterpret_cast<intptr_t>(hFromChild), _O_RDONLY), "rb");
}

ChildProcess::~ChildProcess()
{
    Kill();
    if (Started())
    {
        CloseHandle(m_pState->process.hThread);
        CloseHandle(m_pState->process.hProcess);
    }
    if (m_pState->pToChild != nullptr)
    {
        fclose(m_pState->pToChild);
    }
    if (m_pState->pFromChild != nullptr)
    {
        fclose(m_pState->pFromChild);
    }
}

bool ChildProcess::Started() const
{
    return m_pState->process.hProcess != nullptr;
}

uint32_t ChildProcess::ProcessId() const
{
    return m_pState->process.dwProcessId;
}

std::string ChildProcess::ReadLine()
{
    char szLine[512];
    const std::string_view strMark = ROLE_LINE_MARK;
    while (fgets(szLine, sizeof(szLine), m_pState->pFromChild) != nullptr)
    {
        std::string strLine = szLine;
        if (strLine.starts_with(strMark))
        {
            return strLine.substr(strMark.size(), strLine.find_last_not_of("\r\n") + 1 - strMark.size());
        }
    }
    return std::string();
}

void ChildProcess::WriteLine(const std::string& strLine)
{
    fprintf(m_pState->pToChild, "%s\n", strLine.c_str());
    fflush(m_pState->pToChild);
}

void ChildProcess::Kill()
{
    if (Started() && WaitForSingleObject(m_pState->process.hProcess, 0) == WAIT_TIMEOUT)
    {
        m_pState->bKilled = true;
        TerminateProcess(m_pState->process.hProcess, 1);
        WaitForSingleObject(m_pState->process.hProcess, INFINITE);
    }
}

int ChildProcess::WaitForEnd()
{
    DWORD uExitCode = 0;
    if (!Started() || m_pState->bKilled)
    {
        return -1;
    }
    WaitForSingleObject(m_pState->process.hProcess, INFINITE);
    GetExitCodeProcess(m_pState->process.hProcess, &uExitCode);
    return static_cast<int>(uExitCode);
}

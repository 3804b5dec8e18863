// Child processes on Windows.
#include <stdlib.h>

#include "platform/vo_platform.h"
#include "support/child_process.h"

namespace votest
{

ChildProcess::ChildProcess(const std::string& strRole)
{
    VOWCHAR szProgram[4 * MAX_PATH];
    GetModuleFileNameW(nullptr, szProgram, 4 * MAX_PATH);
    VOWString strCommandLine = VOTEXT("\"") + VOWString(szProgram) + VOTEXT("\" --gtest_output=");
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    SetEnvironmentVariableA("VOBASE_TEST_CHILD_ROLE", strRole.c_str());
    if (CreateProcessW(szProgram, strCommandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                       &process) != 0)
    {
        CloseHandle(process.hThread);
        m_nProcess = reinterpret_cast<intptr_t>(process.hProcess);
    }
    SetEnvironmentVariableA("VOBASE_TEST_CHILD_ROLE", nullptr);
}

ChildProcess::~ChildProcess()
{
    Kill();
    if (Started())
    {
        CloseHandle(reinterpret_cast<HANDLE>(m_nProcess));
    }
}

int ChildProcess::Wait()
{
    const HANDLE hProcess = reinterpret_cast<HANDLE>(m_nProcess);
    DWORD uExitCode = 0;
    if (Started() && !m_bEnded && WaitForSingleObject(hProcess, INFINITE) == WAIT_OBJECT_0 &&
        GetExitCodeProcess(hProcess, &uExitCode) != 0)
    {
        m_bEnded = true;
        m_nExitCode = static_cast<int>(uExitCode);
    }
    return m_nExitCode;
}

void ChildProcess::Kill()
{
    if (Started() && !m_bEnded)
    {
        TerminateProcess(reinterpret_cast<HANDLE>(m_nProcess), static_cast<UINT>(-1));
        Wait();
    }
}

std::string RoleOfThisProcess()
{
    char szRole[64] = {};
    GetEnvironmentVariableA("VOBASE_TEST_CHILD_ROLE", szRole, sizeof(szRole));
    return szRole;
}

}  // namespace votest

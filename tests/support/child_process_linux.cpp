// Child processes on Linux.
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "support/child_process.h"

namespace votest
{

ChildProcess::ChildProcess(const std::string& strRole)
{
    // All made before the fork: the child of a program with threads may not allocate.
    std::vector<std::string> vecVariables = {"VOBASE_TEST_CHILD_ROLE=" + strRole};
    for (char** ppszVariable = environ; *ppszVariable != nullptr; ++ppszVariable)
    {
        vecVariables.push_back(*ppszVariable);
    }
    std::vector<char*> vecPointers;
    for (std::string& strVariable : vecVariables)
    {
        vecPointers.push_back(strVariable.data());
    }
    vecPointers.push_back(nullptr);
    char szProgram[] = "/proc/self/exe";
    char szNoReport[] = "--gtest_output=";
    char* apszWords[] = {szProgram, szNoReport, nullptr};
    const pid_t nProcess = fork();
    if (nProcess == 0)
    {
        execve(szProgram, apszWords, vecPointers.data());
        _exit(98);
    }
    m_nProcess = nProcess > 0 ? nProcess : 0;
}

ChildProcess::~ChildProcess()
{
    Kill();
}

int ChildProcess::Wait()
{
    int nStatus = 0;
    const pid_t nProcess = static_cast<pid_t>(m_nProcess);
    if (Started() && !m_bEnded && waitpid(nProcess, &nStatus, 0) == nProcess)
    {
        m_bEnded = true;
        m_nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }
    return m_nExitCode;
}

void ChildProcess::Kill()
{
    if (Started() && !m_bEnded)
    {
        kill(static_cast<pid_t>(m_nProcess), SIGKILL);
        Wait();
    }
}

std::string RoleOfThisProcess()
{
    const char* pszRole = getenv("VOBASE_TEST_CHILD_ROLE");
    return pszRole != nullptr ? pszRole : "";
}

}  // namespace votest

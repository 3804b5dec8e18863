// Child processes of the tests on Linux.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/platform/platform_test_support.h"

struct ChildProcess::State
{
    pid_t nProcess = -1;
    bool bEnded = false;
    int nExitCode = -1;
    FILE* pFromChild = nullptr;
    FILE* pToChild = nullptr;
};

namespace
{
// The child's environment: this one's, with the role.
std::vector<std::string> EnvironmentFor(const std::string& strRole, const std::string& strArgument,
                                        const std::vector<std::string>& vecMore)
{
    std::vector<std::string> vecEnvironment = vecMore;  // the first one of a name counts
    vecEnvironment.push_back("VOBASE_TEST_ROLE=" + strRole);
    vecEnvironment.push_back("VOBASE_TEST_ARGUMENT=" + strArgument);
    for (char** ppszVariable = environ; *ppszVariable != nullptr; ++ppszVariable)
    {
        vecEnvironment.push_back(*ppszVariable);
    }
    return vecEnvironment;
}

std::vector<char*> Pointers(std::vector<std::string>& vecTexts)
{
    std::vector<char*> vecPointers;
    for (std::string& strText : vecTexts)
    {
        vecPointers.push_back(strText.data());
    }
    vecPointers.push_back(nullptr);
    return vecPointers;
}
}  // namespace

ChildProcess::ChildProcess(const std::string& strRole, const std::string& strArgument,
                           const std::vector<std::string>& vecEnvironment, const std::vector<std::string>& vecArguments)
    : m_pState(new State)
{
    int aToChild[2];
    int aFromChild[2];
    if (pipe2(aToChild, O_CLOEXEC) != 0 || pipe2(aFromChild, O_CLOEXEC) != 0)
    {
        return;
    }
    // All made before the fork: the child of a program with threads may not allocate.
    std::vector<std::string> vecVariables = EnvironmentFor(strRole, strArgument, vecEnvironment);
    std::vector<std::string> vecWords = vecArguments;
    vecWords.insert(vecWords.begin(), "/proc/self/exe");
    const std::vector<char*> vecVariablePointers = Pointers(vecVariables);
    const std::vector<char*> vecWordPointers = Pointers(vecWords);
    m_pState->nProcess = fork();
    if (m_pState->nProcess == 0)
    {
        dup2(aToChild[0], STDIN_FILENO);
        dup2(aFromChild[1], STDOUT_FILENO);
        execve(vecWordPointers[0], vecWordPointers.data(), vecVariablePointers.data());
        _exit(98);
    }
    close(aToChild[0]);
    close(aFromChild[1]);
    m_pState->pToChild = fdopen(aToChild[1], "w");
    m_pState->pFromChild = fdopen(aFromChild[0], "r");
}

ChildProcess::~ChildProcess()
{
    Kill();
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
    return m_pState->nProcess > 0;
}

uint32_t ChildProcess::ProcessId() const
{
    return static_cast<uint32_t>(m_pState->nProcess);
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
    if (Started() && !m_pState->bEnded)
    {
        kill(m_pState->nProcess, SIGKILL);
        WaitForEnd();
    }
}

int ChildProcess::WaitForEnd()
{
    int nStatus = 0;
    if (Started() && !m_pState->bEnded && waitpid(m_pState->nProcess, &nStatus, 0) == m_pState->nProcess)
    {
        m_pState->bEnded = true;
        m_pState->nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }
    return m_pState->nExitCode;
}

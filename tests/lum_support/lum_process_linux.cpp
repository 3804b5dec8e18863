// The lum program as a process, on Linux.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "tests/lum_support/lum_process.h"
#include "tests/lum_support/lum_test_support.h"

struct LumProcess::State
{
    pid_t nProcess = -1;
    bool bEnded = false;
    int nExitCode = -1;
    int nSignal = 0;
    TemporaryFolder folder;  // holds what the process writes
};

namespace
{

// How often it is looked whether a process has ended.
constexpr std::chrono::milliseconds kLook(1);

int OpenForWriting(const std::filesystem::path& file)
{
    return open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

}  // namespace

LumProcess::LumProcess(const std::vector<std::string>& vecArguments) : m_pState(new State)
{
    std::vector<std::string> vecWords = vecArguments;
    vecWords.insert(vecWords.begin(), LUM_PROGRAM);
    std::vector<char*> vecPointers;
    for (std::string& strWord : vecWords)
    {
        vecPointers.push_back(strWord.data());
    }
    vecPointers.push_back(nullptr);
    const int nOut = OpenForWriting(m_pState->folder.Path() / "out");
    const int nErr = OpenForWriting(m_pState->folder.Path() / "err");
    const int nIn = open("/dev/null", O_RDONLY | O_CLOEXEC);
    m_pState->nProcess = fork();
    if (m_pState->nProcess == 0)
    {
        dup2(nIn, STDIN_FILENO);
        dup2(nOut, STDOUT_FILENO);
        dup2(nErr, STDERR_FILENO);
        execv(vecPointers[0], vecPointers.data());
        _exit(98);
    }
    close(nIn);
    close(nOut);
    close(nErr);
}

LumProcess::~LumProcess()
{
    Kill();
}

bool LumProcess::IsRunning()
{
    int nStatus = 0;
    if (!m_pState->bEnded && waitpid(m_pState->nProcess, &nStatus, WNOHANG) == m_pState->nProcess)
    {
        m_pState->bEnded = true;
        m_pState->nExitCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
        m_pState->nSignal = WIFSIGNALED(nStatus) ? WTERMSIG(nStatus) : 0;
    }
    return !m_pState->bEnded;
}

uint32_t LumProcess::ProcessId() const
{
    return static_cast<uint32_t>(m_pState->nProcess);
}

bool LumProcess::RequestStop()
{
    return IsRunning() && kill(m_pState->nProcess, SIGTERM) == 0;
}

void LumProcess::Kill()
{
    while (IsRunning())
    {
        kill(m_pState->nProcess, SIGKILL);
        std::this_thread::sleep_for(kLook);
    }
}

int LumProcess::Wait()
{
    const auto tEnd = std::chrono::steady_clock::now() + kPatience;
    while (IsRunning())
    {
        if (std::chrono::steady_clock::now() > tEnd)
        {
            ADD_FAILURE() << "lum doesn't end; it wrote: " << Out() << Err();
            Kill();
        }
        std::this_thread::sleep_for(kLook);
    }
    return m_pState->nExitCode;
}

int LumProcess::EndingSignal() const
{
    return m_pState->nSignal;
}

std::string LumProcess::Out() const
{
    return ReadWholeFile(m_pState->folder.Path() / "out");
}

std::string LumProcess::Err() const
{
    return ReadWholeFile(m_pState->folder.Path() / "err");
}

void UsePrivateNameSpace()
{
    if (getenv("VOBASE_NAMESPACE") == nullptr)
    {
        setenv("VOBASE_NAMESPACE", ("lum-tests-" + std::to_string(getpid())).c_str(), 1);
    }
}

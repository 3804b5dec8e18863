// What a child process of the tests does, and how a program comes to be one.
#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <thread>

#include "tests/platform/platform_test_support.h"

// Marked, because the test framework prints lines of its own before a role begins.
void SayLine(const std::string& strLine)
{
    printf("%s%s\n", ROLE_LINE_MARK, strLine.c_str());
    fflush(stdout);
}

namespace
{
// The next line from the parent; empty when it has closed the pipe.
std::string Hear()
{
    char szLine[256];
    if (fgets(szLine, sizeof(szLine), stdin) == nullptr)
    {
        return std::string();
    }
    std::string strLine = szLine;
    while (!strLine.empty() && (strLine.back() == '\n' || strLine.back() == '\r'))
    {
        strLine.pop_back();
    }
    return strLine;
}

void WaitForParent()
{
    while (!Hear().empty())
    {
    }
}

// Makes a section, fills it, and keeps it until the parent lets go or kills.
int Publish(const VOWString& strName)
{
    VOPublishedSection section;
    if (!section.OpenOrCreate(strName.c_str(), 4096))
    {
        SayLine("failed");
        return 1;
    }
    memcpy(section.Data(), "left by a child", 16);
    SayLine("published");
    WaitForParent();
    return 0;
}

// Opens the section of that name to read, and says what text it begins with.
int Read(const VOWString& strName)
{
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, strName.c_str());
    const void* const pView = hSection != nullptr ? MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0) : nullptr;
    SayLine(pView != nullptr ? static_cast<const char*>(pView) : "error " + std::to_string(GetLastError()));
    return 0;
}

// Adds to the counter at the section's start, one step for each line from the parent.
int Count(const VOWString& strName)
{
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_WRITE, FALSE, strName.c_str());
    void* const pView = hSection != nullptr ? MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0) : nullptr;
    if (pView == nullptr)
    {
        SayLine("failed");
        return 1;
    }
    SayLine("ready");
    while (!Hear().empty())
    {
        uint32_t uCount = 0;
        memcpy(&uCount, pView, sizeof(uCount));
        ++uCount;
        memcpy(pView, &uCount, sizeof(uCount));
        SayLine("counted");
    }
    return 0;
}

// Begins to replace a section and says so in the middle of it.
int HalfReplace(const VOWString& strName)
{
    VOPublishedSection section;
    const bool bReplaced = section.Replace(strName.c_str(), 8192,
                                           [](void* pData, size_t)
                                           {
                                               memcpy(pData, "never complete", 15);
                                               SayLine("half way");
                                               WaitForParent();
                                               return true;
                                           });
    return bReplaced ? 0 : 1;
}

int Lock(const VOWString& strName)
{
    VOInstanceLock lock;
    const VOInstanceLock::Result eResult = lock.TryAcquire(strName.c_str());
    SayLine(eResult == VOInstanceLock::Result::Acquired      ? "acquired"
            : eResult == VOInstanceLock::Result::HeldByOther ? "held by " + std::to_string(lock.HolderProcessId())
                                                             : "error");
    WaitForParent();
    return 0;
}

// Handles requests to stop, and ends with 7 at the first one.
int WaitForStop(const VOWString&)
{
    if (!VOHandleStopRequests())
    {
        return 1;
    }
    SayLine("waiting");
    return VOWaitForStopRequest(0xFFFFFFFFu) ? 7 : 2;
}

// Finds no request at first, then one that another of its threads makes.
int StopItself(const VOWString&)
{
    if (VOStopRequested() || VOWaitForStopRequest(0) || VOWaitForStopRequest(10))
    {
        return 1;
    }
    std::thread thread([] { VORequestStop(); });
    const bool bRequested = VOWaitForStopRequest(0xFFFFFFFFu) && VOStopRequested() && VOWaitForStopRequest(0);
    thread.join();
    return bRequested ? 7 : 2;
}

// Handles requests to stop and pays no attention to them.
int IgnoreStop(const VOWString&)
{
    VOHandleStopRequests();
    SayLine("waiting");
    VOWaitForStopRequest(0xFFFFFFFFu);
    SayLine("noted");
    std::atomic<bool> bLetGo{false};
    std::thread listener(
        [&bLetGo]
        {
            WaitForParent();
            bLetGo = true;
        });
    // A sanitizer holds a signal back from a thread that reads, and not from one that sleeps.
    while (!bLetGo)
    {
        VOSleepMilliseconds(10);
    }
    listener.join();
    return 0;
}

// Says what it takes its standard output for.
int DescribeTerminal(const VOWString&)
{
    SayLine(VOIsTerminal(stdout) ? "terminal" : "no terminal");
    return 0;
}

// Attaches the console, as the trace channel does.
int Attach(const VOWString&)
{
    FILE* pConsole = nullptr;
    if (AttachConsole(ATTACH_PARENT_PROCESS) == FALSE)
    {
        SayLine("no console " + std::to_string(GetLastError()));
        return 0;
    }
    if (freopen_s(&pConsole, "CONOUT$", "w", stdout) != 0 || pConsole != stdout)
    {
        return 1;
    }
    SayLine("on the console");
    return 0;
}

// Says the arguments of this program, byte by byte in hexadecimal digits.
int SayArguments(const VOWString&)
{
    std::vector<std::string> vecGiven = ::testing::internal::GetArgvs();
    std::vector<char*> vecPointers;
    for (std::string& strGiven : vecGiven)
    {
        vecPointers.push_back(strGiven.data());
    }
    for (const std::string& strArgument : VOArguments(static_cast<int>(vecPointers.size()), vecPointers.data()))
    {
        std::string strDigits;
        for (const char cByte : strArgument)
        {
            char szDigits[3];
            snprintf(szDigits, sizeof(szDigits), "%02x", static_cast<unsigned>(static_cast<unsigned char>(cByte)));
            strDigits += szDigits;
        }
        SayLine(strDigits);
    }
    SayLine("end");
    return 0;
}

int NameItself(const VOWString&)
{
    SayLine(std::to_string(VOProcessId()));
    return 0;
}

struct Role
{
    const char* pszName;
    int (*pfnPlay)(const VOWString& strArgument);
};

constexpr Role ROLES[] = {
    {"publish", Publish},
    {"read", Read},
    {"count", Count},
    {"half-replace", HalfReplace},
    {"lock", Lock},
    {"wait-for-stop", WaitForStop},
    {"ignore-stop", IgnoreStop},
    {"stop-itself", StopItself},
    {"say-arguments", SayArguments},
    {"name-itself", NameItself},
    {"describe-terminal", DescribeTerminal},
    {"attach", Attach},
};

// Plays the role that the environment names, if it names one: VOBASE_TEST_ROLE and VOBASE_TEST_ARGUMENT.
// Result: the exit code, or -1 when this isn't a child.
int PlayRole()
{
    const char* const pszRole = getenv("VOBASE_TEST_ROLE");
    const char* const pszArgument = getenv("VOBASE_TEST_ARGUMENT");
    if (pszRole == nullptr || *pszRole == '\0')
    {
        return -1;
    }
    const VOWString strArgument = Wide(pszArgument != nullptr ? pszArgument : "");
    for (const Role& role : ROLES)
    {
        if (std::string_view(role.pszName) == pszRole)
        {
            return role.pfnPlay(strArgument);
        }
    }
    return PlaySystemRole(pszRole, strArgument);
}

// GoogleTest sets this up before the first test, which a child never comes to.
class ChildEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        const int nExitCode = PlayRole();
        if (nExitCode >= 0)
        {
            exit(nExitCode);
        }
    }
};

[[maybe_unused]] ::testing::Environment* const s_pEnvironment =
    ::testing::AddGlobalTestEnvironment(new ChildEnvironment);
}  // namespace

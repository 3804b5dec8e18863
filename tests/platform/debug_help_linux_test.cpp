// What the stack walker needs of Linux: threads that are stopped, names, versions.
#include <pwd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/posix/debug_help.h"
#include "platform/vo_debug_help.h"
#include "tests/platform/platform_test_support.h"
#include "tests/support/sanitizers.h"

namespace
{
HANDLE ThreadHandle(long nThread)
{
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(nThread));
}

// A thread that counts until it is told to end.
class Counter
{
public:
    Counter()
    {
        m_thread = std::thread(
            [this]
            {
                m_nThread = syscall(SYS_gettid);
                while (!m_bEnd)
                {
                    ++m_uCount;
                    std::this_thread::yield();
                }
            });
        while (m_nThread == 0)
        {
            std::this_thread::yield();
        }
    }
    ~Counter() { End(); }

    HANDLE Handle() const { return ThreadHandle(m_nThread); }
    unsigned long Count() const { return m_uCount; }
    void WaitForProgress() const
    {
        for (const unsigned long uBefore = m_uCount; m_uCount == uBefore;)
        {
            std::this_thread::yield();
        }
    }
    void End()
    {
        m_bEnd = true;
        if (m_thread.joinable())
        {
            m_thread.join();
        }
    }

private:
    std::atomic<long> m_nThread{0};
    std::atomic<bool> m_bEnd{false};
    std::atomic<unsigned long> m_uCount{0};
    std::thread m_thread;
};

}  // namespace

TEST(DebugThreads, AreStoppedGiveTheirRegistersAndGoOn)
{
    Counter counter;
    for (int i = 0; i < 50; ++i)
    {
        ASSERT_EQ(0u, VOSuspendThread(counter.Handle()));
        const unsigned long uBefore = counter.Count();
        CONTEXT context = {};
        context.ContextFlags = 7;
        ASSERT_TRUE(VOGetThreadContext(counter.Handle(), &context));
        EXPECT_NE(0u, context.Rip);
        EXPECT_NE(0u, context.Rsp);
        EXPECT_EQ(7u, context.ContextFlags);
        EXPECT_EQ(uBefore, counter.Count());
        EXPECT_EQ(1u, VOResumeThread(counter.Handle()));
        counter.WaitForProgress();
    }
}

TEST(DebugThreads, AreStoppedOneAtATime)
{
    Counter first;
    Counter second;
    ASSERT_EQ(0u, VOSuspendThread(first.Handle()));
    EXPECT_EQ(kFailedCall, VOSuspendThread(second.Handle()));
    EXPECT_EQ(1u, VOResumeThread(first.Handle()));
    EXPECT_EQ(0u, VOSuspendThread(second.Handle()));
    EXPECT_EQ(1u, VOResumeThread(second.Handle()));
}

TEST(DebugThreads, ThatAreNoneOrHaveEndedFail)
{
    CONTEXT context = {};
    Counter counter;
    EXPECT_EQ(kFailedCall, VOResumeThread(counter.Handle()));
    EXPECT_FALSE(VOGetThreadContext(counter.Handle(), &context));
    counter.End();
    for (const HANDLE hThread : {counter.Handle(), HANDLE{nullptr}})
    {
        EXPECT_EQ(kFailedCall, VOSuspendThread(hThread));
        EXPECT_FALSE(VOGetThreadContext(hThread, &context));
        EXPECT_EQ(kFailedCall, VOResumeThread(hThread));
    }
}

TEST(DebugThreads, ThatCallAreLeftAlone)
{
    for (const HANDLE hThread : {ThreadHandle(-2), ThreadHandle(syscall(SYS_gettid))})
    {
        EXPECT_EQ(0u, VOSuspendThread(hThread));
        EXPECT_EQ(0u, VOResumeThread(hThread));
    }
}

// A loop of known instructions, which counts until it is told to end.
extern "C" const char votest_loop_begin;
extern "C" const char votest_loop_end;
static unsigned long s_uLoopCount = 0;
static unsigned long s_uLoopEnd = 0;

static DWORD CountInTheLoop(void*)
{
    asm volatile(
        "votest_loop_begin: incq %0\n"
        "cmpq $0, %1\n"
        "je votest_loop_begin\n"
        "votest_loop_end:\n"
        : "+m"(s_uLoopCount), "+m"(s_uLoopEnd));
    return 0;
}

static unsigned long LoopCount()
{
    return __atomic_load_n(&s_uLoopCount, __ATOMIC_SEQ_CST);
}

TEST(DebugThreads, StandWhereTheyWereAlsoWhenTheyAreSuspendedAlready)
{
    if (votest::kHoldsSignalsBack)
    {
        GTEST_SKIP() << "the loop makes no call";
    }
    DWORD uThread = 0;
    const HANDLE hThread = CreateThread(nullptr, 0, CountInTheLoop, nullptr, 0, &uThread);
    ASSERT_NE(nullptr, hThread);
    while (LoopCount() == 0)
    {
        std::this_thread::yield();
    }
    ASSERT_EQ(0u, SuspendThread(hThread));
    const unsigned long uBefore = LoopCount();
    CONTEXT context = {};
    EXPECT_EQ(0u, VOSuspendThread(ThreadHandle(uThread)));
    EXPECT_TRUE(VOGetThreadContext(ThreadHandle(uThread), &context));
    EXPECT_EQ(1u, VOResumeThread(ThreadHandle(uThread)));
    // Its own instruction, and not one of what makes it stand.
    EXPECT_LE(reinterpret_cast<uintptr_t>(&votest_loop_begin), context.Rip);
    EXPECT_GE(reinterpret_cast<uintptr_t>(&votest_loop_end), context.Rip);
    EXPECT_EQ(uBefore, LoopCount());
    EXPECT_EQ(1u, ResumeThread(hThread));
    while (LoopCount() == uBefore)
    {
        std::this_thread::yield();
    }
    __atomic_store_n(&s_uLoopEnd, 1, __ATOMIC_SEQ_CST);
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hThread, 60000));
    EXPECT_TRUE(CloseHandle(hThread));
}

TEST(DebugNames, AreDemangledWithAndWithoutTheirParameters)
{
    typedef DWORD (*Undecorate)(const char*, char*, DWORD, DWORD);
    const auto pfnUndecorate = reinterpret_cast<Undecorate>(
        reinterpret_cast<uintptr_t>(GetProcAddress(LoadLibraryW(VOTEXT("dbghelp.dll")), "UnDecorateSymbolName")));
    const struct
    {
        const char* pszDecorated;
        const char* pszName;
        const char* pszComplete;
    } vectors[] = {
        {"main", "main", "main"},
        {"_ZN11StackWalker13ShowCallstackEPv", "StackWalker::ShowCallstack", "StackWalker::ShowCallstack(void*)"},
        {"_Z3getIiET_i", "get<int>", "int get<int>(int)"},
        {"_ZN12_GLOBAL__N_13fooEv", "(anonymous namespace)::foo", "(anonymous namespace)::foo()"},
        {"_ZN1AclEi", "A::operator()", "A::operator()(int)"},
        {"_ZN1AcvbEv", "A::operator bool", "A::operator bool()"},
        {"_ZN1A3fooEPFviE", "A::foo", "A::foo(void (*)(int))"},
        {"_Znwm", "operator new", "operator new(unsigned long)"},
        {"_ZN1AlsEi", "A::operator<<", "A::operator<<(int)"},
    };
    for (const auto& vector : vectors)
    {
        char szName[100];
        EXPECT_EQ(strlen(vector.pszName), pfnUndecorate(vector.pszDecorated, szName, sizeof(szName), 0x1000));
        EXPECT_STREQ(vector.pszName, szName);
        pfnUndecorate(vector.pszDecorated, szName, sizeof(szName), 0);
        EXPECT_STREQ(vector.pszComplete, szName);
    }
    // What would be the code of a type in a decorated name.
    for (const char* pszPlain : {"f", "i", "Pv", "_Z", ""})
    {
        char szName[100] = "x";
        pfnUndecorate(pszPlain, szName, sizeof(szName), 0);
        EXPECT_STREQ(pszPlain, szName);
    }
    char szCut[5];
    EXPECT_EQ(4u, pfnUndecorate("abcdef", szCut, sizeof(szCut), 0));
    EXPECT_STREQ("abcd", szCut);
}

TEST(DebugVersions, AreTheNumbersBehindTheNameOfALibrary)
{
    const TemporaryFolder folder;
    folder.WriteFile("liba.so.6.0.30");
    folder.WriteFile("libb.so.1");
    folder.WriteFile("libc.so");
    folder.WriteFile("libd.so.1.2.3.4.5");
    std::filesystem::create_symlink("liba.so.6.0.30", folder.Path() / "liba.so");
    const auto Version = [&](const char* pszName) { return VOFileVersion((folder.Path() / pszName).c_str()); };
    EXPECT_EQ(0x00060000001E0000u, Version("liba.so"));
    EXPECT_EQ(0x0001000000000000u, Version("libb.so.1"));
    EXPECT_EQ(0u, Version("libc.so"));
    EXPECT_EQ(0x0001000200030004u, Version("libd.so.1.2.3.4.5"));
}

TEST(DebugUser, HasTheNameThatTheSystemGivesOrItsNumber)
{
    const auto Name = []() -> std::string
    {
        char szName[256] = "";
        DWORD uSize = sizeof(szName);
        return GetUserNameA(szName, &uSize) ? szName : "";
    };
    const passwd* const pEntry = getpwuid(geteuid());
    EXPECT_EQ(pEntry != nullptr ? pEntry->pw_name : std::to_string(geteuid()), Name());
    if (geteuid() == 0)
    {
        constexpr uid_t kNobodys = 4000111;
        const pid_t nChild = fork();
        if (nChild == 0)
        {
            _exit(setuid(kNobodys) == 0 && Name() == std::to_string(kNobodys) ? 0 : 1);
        }
        int nStatus = -1;
        EXPECT_EQ(nChild, waitpid(nChild, &nStatus, 0));
        EXPECT_EQ(0, nStatus);
    }
}

TEST(DebugModules, AreLoadedWhereOneLiesAndNowhereElse)
{
    const HANDLE hProcess = GetCurrentProcess();
    const HMODULE hLibrary = LoadLibraryW(VOTEXT("dbghelp.dll"));
    const auto Find = [=](const char* pszName)
    { return reinterpret_cast<uintptr_t>(GetProcAddress(hLibrary, pszName)); };
    const auto pfnInitialize = reinterpret_cast<VOSymInitialize>(Find("SymInitialize"));
    const auto pfnLoad = reinterpret_cast<VOSymLoadModule64>(Find("SymLoadModule64"));
    const auto pfnCleanup = reinterpret_cast<VOSymCleanup>(Find("SymCleanup"));
    ASSERT_TRUE(pfnInitialize(hProcess, nullptr, FALSE));
    const uintptr_t uHere = reinterpret_cast<uintptr_t>(&ThreadHandle);
    EXPECT_EQ(uHere, pfnLoad(hProcess, nullptr, nullptr, nullptr, uHere, 0));
    EXPECT_EQ(0u, pfnLoad(hProcess, nullptr, nullptr, nullptr, 16, 0));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_TRUE(pfnCleanup(hProcess));
    FreeLibrary(hLibrary);
}

TEST(DebugModules, HaveAShortNameWithoutTheirExtension)
{
    const auto Short = [](const char* pszPath) { return LoadedModule{pszPath, 0, 0}.ShortName(); };
    EXPECT_EQ("libc", Short("/lib/libc.so.6"));
    EXPECT_EQ("libVOBaseX64", Short("/a.b/libVOBaseX64.so"));
    EXPECT_EQ("tool", Short("/usr/bin/tool"));
    EXPECT_EQ("tool", Short("/usr/bin/tool.bin"));
    // A version is no extension.
    EXPECT_EQ("python3.11", Short("/usr/bin/python3.11"));
}

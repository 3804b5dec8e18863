// Walking stacks on Linux: names and lines, other threads, other processes, and a program that crashes.
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"
#include "platform/vo_debug_help.h"

using namespace walkertest;

// A report of a crash calls in its handler what a handler had better not call: there is nothing to lose.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
const char* __tsan_default_options()
{
    return "report_signal_unsafe=0";
}

namespace walkertest_frames
{
VOULONG s_uLineOfCall = 0;

__attribute__((noinline)) void Inner(Walker& rWalker)
{
    s_uLineOfCall = __LINE__ + 1;
    rWalker.ShowCallstack();
    asm volatile("");
}

template <typename T>
__attribute__((noinline)) T Outer(Walker& rWalker, T value)
{
    Inner(rWalker);
    asm volatile("");
    return value;
}

__attribute__((noinline)) void CrashHere(int* pnNowhere)
{
    *pnNowhere = 1;
    asm volatile("");
}
}  // namespace walkertest_frames

namespace
{
void* ThreadHandle(long nThread)
{
    return reinterpret_cast<void*>(static_cast<intptr_t>(nThread));
}

// A thread that waits inside a function of a known name.
std::mutex s_lock;
std::condition_variable s_condition;
bool s_bEnd = false;
std::atomic<long> s_nThread{0};

__attribute__((noinline)) void WaitInside()
{
    std::unique_lock<std::mutex> guard(s_lock);
    s_nThread = syscall(SYS_gettid);
    s_condition.wait(guard, [] { return s_bEnd; });
}

void CrashAndReport()
{
    struct Reporter
    {
        static void OnFault(int, siginfo_t*, void* pvContext)
        {
            CONTEXT context;
            VOContextOfFault(pvContext, &context);
            Walker kWalker(0);
            kWalker.ShowCallstack(VOCurrentThreadHandle(), &context);
            for (const std::string& rkLine : kWalker.vecOutput)
            {
                fputs(rkLine.c_str(), stderr);
            }
            fprintf(stderr, "summary %s\n", kWalker.m_szSummary);
            _exit(3);
        }
    };
    struct sigaction action = {};
    action.sa_sigaction = Reporter::OnFault;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &action, nullptr);
    // An address that nobody has; the null pointer would be seen by a sanitizer first.
    walkertest_frames::CrashHere(reinterpret_cast<int*>(uintptr_t{64}));
}
}  // namespace

TEST(StackWalkerOnLinux, FramesHaveTheirNamesLinesAndModules)
{
    Walker kWalker;
    walkertest_frames::Outer(kWalker, 5);
    const int nInner = kWalker.FrameOf("Inner");
    ASSERT_NE(-1, nInner);
    const size_t uInner = static_cast<size_t>(nInner);
    EXPECT_EQ("walkertest_frames::Inner", kWalker.vecName[uInner]);
    EXPECT_EQ(walkertest_frames::s_uLineOfCall, kWalker.vecLine[uInner]);
    EXPECT_EQ("diagnostics_tests", kWalker.vecModule[uInner]);
    EXPECT_EQ("walkertest_frames::Outer<int>", kWalker.vecName[uInner + 1]);
    EXPECT_NE(-1, kWalker.FrameOf("StackWalker::ShowCallstack"));
    EXPECT_EQ("libVOBaseX64", kWalker.vecModule[static_cast<size_t>(kWalker.FrameOf("StackWalker::ShowCallstack"))]);
}

TEST(StackWalkerOnLinux, AWalkOfTheCallerBeginsInTheWalkItself)
{
    Walker kWalker;
    walkertest_frames::Inner(kWalker);
    ASSERT_LT(2u, kWalker.vecName.size());
    EXPECT_EQ("StackWalker::ShowCallstack", kWalker.vecName[0]);
    EXPECT_EQ("walkertest_frames::Inner", kWalker.vecName[1]);
}

TEST(StackWalkerOnLinux, NamesAreWithoutTheVersionThatALinkerWroteBehindThem)
{
    Walker kWalker;
    kWalker.ShowCallstack();
    EXPECT_NE(-1, kWalker.FrameOf("main"));
    EXPECT_EQ(-1, kWalker.FrameOf("@"));
}

TEST(StackWalkerOnLinux, ReportedNamesAreComplete)
{
    Walker kWalker;
    walkertest_frames::Outer(kWalker, 5);
    bool bFound = false;
    for (const std::string& rkLine : kWalker.vecOutput)
    {
        bFound = bFound || rkLine.find("walkertest_frames::Inner(walkertest::Walker&)") != std::string::npos;
    }
    EXPECT_TRUE(bFound);
}

TEST(StackWalkerOnLinux, AnotherThreadIsWalkedWhereItStandsAndGoesOn)
{
    s_bEnd = false;
    std::thread kThread(WaitInside);
    while (s_nThread == 0)
    {
        std::this_thread::yield();
    }
    {
        // It waits, and not only is about to.
        const std::lock_guard<std::mutex> guard(s_lock);
    }
    Walker kWalker;
    EXPECT_EQ(1, kWalker.ShowCallstack(ThreadHandle(s_nThread)));
    EXPECT_EQ(1, kWalker.ShowCallstack(ThreadHandle(s_nThread)));
    EXPECT_NE(-1, kWalker.FrameOf("WaitInside"));
    EXPECT_EQ(-1, kWalker.FrameOf("ShowCallstack"));
    {
        const std::lock_guard<std::mutex> guard(s_lock);
        s_bEnd = true;
    }
    s_condition.notify_all();
    kThread.join();
    EXPECT_EQ(0, kWalker.ShowCallstack(ThreadHandle(s_nThread)));
}

TEST(StackWalkerOnLinux, AnotherProcessIsWalked)
{
    int anPipe[2];
    ASSERT_EQ(0, pipe(anPipe));
    const pid_t nChild = fork();
    if (nChild == 0)
    {
        char chWord = 0;
        close(anPipe[1]);
        (void)!read(anPipe[0], &chWord, 1);
        _exit(0);
    }
    Walker kWalker(0, nullptr, static_cast<VOULONG>(nChild), ThreadHandle(nChild));
    const int nResult = kWalker.ShowCallstack(ThreadHandle(nChild));
    close(anPipe[0]);
    close(anPipe[1]);
    int nStatus = 0;
    ASSERT_EQ(nChild, waitpid(nChild, &nStatus, 0));
    EXPECT_EQ(1, nResult);
    EXPECT_LT(3u, kWalker.vecType.size());
    EXPECT_NE(-1, kWalker.FrameOf("AnotherProcessIsWalked"));
    EXPECT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0);
}

TEST(StackWalkerOnLinux, AGivenContextIsWalkedFromItsInstruction)
{
    Walker kWalker;
    CONTEXT context = {};
    RtlCaptureContext(&context);
    EXPECT_EQ(1, kWalker.ShowCallstack(VOCurrentThreadHandle(), &context));
    EXPECT_EQ(context.Rip, kWalker.vecAddress.front());
    EXPECT_NE(std::string::npos, kWalker.vecName.front().find("AGivenContextIsWalkedFromItsInstruction"));
    EXPECT_EQ(-1, kWalker.FrameOf("ShowCallstack"));
}

TEST(StackWalkerOnLinuxDeathTest, AProgramThatCrashesNamesTheFunctionAndTheLine)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(CrashAndReport(), testing::ExitedWithCode(3),
                "stack_walker_linux_test.cpp \\(47\\): walkertest_frames::CrashHere");
}

TEST(StackWalkerOnLinux, TheVersionOfALibraryIsInItsName)
{
    EXPECT_EQ(0u, VOFileVersion("/nowhere/lib.so.1.2"));
    EXPECT_EQ(0u, VOFileVersion("/proc/self/exe"));
}

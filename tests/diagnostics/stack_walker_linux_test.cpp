// Walking stacks on Linux: names and lines, other threads, other processes, and a program that crashes.
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>

#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"
#include "platform/vo_debug_help.h"
#include "support/sanitizers.h"
#include "support/temporary_files.h"
#include "vots_file_monitor.h"

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

constexpr int kLineOfCrash = __LINE__ + 3;
__attribute__((noinline)) void CrashHere(int* pnNowhere)
{
    *pnNowhere = 1;
    asm volatile("");
}
}  // namespace walkertest_frames

// A function with the name that the filter knows, and with parameters.
namespace NOVR_Engine
{
__attribute__((noinline)) void GetDevice(Walker& rWalker, void (*)())
{
    rWalker.ShowCallstack();
    asm volatile("");
}
}  // namespace NOVR_Engine

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

TEST(StackWalkerOnLinux, ReportedNamesHaveNoParameters)
{
    Walker kWalker;
    walkertest_frames::Outer(kWalker, 5);
    bool bFound = false;
    for (const std::string& rkLine : kWalker.vecOutput)
    {
        EXPECT_EQ(std::string::npos, rkLine.find("walkertest_frames::Inner(")) << rkLine;
        bFound = bFound || rkLine.find("): walkertest_frames::Inner\n") != std::string::npos;
    }
    EXPECT_TRUE(bFound);
}

TEST(StackWalkerOnLinux, AFunctionThatTheFilterNamesInFullIsLeftOutOfTheSummary)
{
    // The walk itself and the engine's function, each as if it lay in the module that the rule names.
    class InModule : public Walker
    {
    public:
        explicit InModule(const char* pszModule) : m_pszModule(pszModule) {}
        void OnCallstackEntry(CallstackEntryType eType, CallstackEntry& entry) override
        {
            snprintf(entry.szModuleName, sizeof(entry.szModuleName), "%s", m_pszModule);
            Walker::OnCallstackEntry(eType, entry);
        }

    private:
        const char* m_pszModule;
    };
    InModule kEngine("VO3DEngineDX11X64D");
    NOVR_Engine::GetDevice(kEngine, nullptr);
    EXPECT_NE(-1, kEngine.FrameOf("NOVR_Engine::GetDevice"));
    EXPECT_EQ(nullptr, strstr(kEngine.m_szSummary, "GetDevice")) << kEngine.m_szSummary;
    InModule kCommon("NVCommonX64D");
    NOVR_Engine::GetDevice(kCommon, nullptr);
    EXPECT_EQ(nullptr, strstr(kCommon.m_szSummary, "ShowCallstack")) << kCommon.m_szSummary;
    EXPECT_NE(nullptr, strstr(kCommon.m_szSummary, "NOVR_Engine::GetDevice,NVCommonX64D|")) << kCommon.m_szSummary;
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
                "stack_walker_linux_test.cpp \\(" + std::to_string(walkertest_frames::kLineOfCrash) +
                    "\\): walkertest_frames::CrashHere");
}

TEST(StackWalkerOnLinux, TheVersionOfALibraryIsInItsName)
{
    EXPECT_EQ(0u, VOFileVersion("/nowhere/lib.so.1.2"));
    EXPECT_EQ(0u, VOFileVersion("/proc/self/exe"));
}

// ---------------------------------------------------------------------------------------------------------------------
// The modules
// ---------------------------------------------------------------------------------------------------------------------

namespace
{
struct ReportedModule
{
    std::string strPath;
    unsigned long long ullBase;
    unsigned uSize;
};

class ModuleList : public Walker
{
public:
    void OnLoadModule(const char* pszImage, const char*, unsigned long long uBaseAddress, VOULONG uSize, VOULONG,
                      const char*, const char*, unsigned long long) override
    {
        vecModule.push_back({pszImage, uBaseAddress, uSize});
    }
    std::vector<ReportedModule> vecModule;
};

// Where the loader has put a program or library: its pages from the first to the last.
struct Image
{
    uintptr_t uBegin;
    uintptr_t uEnd;
};

std::vector<Image> LoadedImages()
{
    std::vector<Image> vecImage;
    dl_iterate_phdr(
        [](dl_phdr_info* pInfo, size_t, void* pvImages)
        {
            Image image = {UINTPTR_MAX, 0};
            for (int i = 0; i < pInfo->dlpi_phnum; ++i)
            {
                const ElfW(Phdr)& rk = pInfo->dlpi_phdr[i];
                if (rk.p_type == PT_LOAD)
                {
                    const uintptr_t uAt = pInfo->dlpi_addr + rk.p_vaddr;
                    image.uBegin = std::min(image.uBegin, uAt & ~uintptr_t{4095});
                    image.uEnd = std::max(image.uEnd, (uAt + rk.p_memsz + 4095) & ~uintptr_t{4095});
                }
            }
            // The kernel's own page has no file.
            if (pInfo->dlpi_name == nullptr || strncmp(pInfo->dlpi_name, "linux-vdso", 10) != 0)
            {
                static_cast<std::vector<Image>*>(pvImages)->push_back(image);
            }
            return 0;
        },
        &vecImage);
    return vecImage;
}
}  // namespace

TEST(StackWalkerOnLinux, TheModulesAreWhatTheLoaderHasLoadedWithTheirSizes)
{
    ModuleList kFirst;
    ASSERT_EQ(1, kFirst.LoadModules());
    ModuleList kSecond;  // beside the first, which has files mapped for its own use
    ASSERT_EQ(1, kSecond.LoadModules());
    const std::vector<Image> vecImage = LoadedImages();
    for (const ModuleList* pkList : {&kFirst, &kSecond})
    {
        EXPECT_EQ(vecImage.size(), pkList->vecModule.size());
        for (const Image& rkImage : vecImage)
        {
            bool bFound = false;
            for (const ReportedModule& rkModule : pkList->vecModule)
            {
                bFound =
                    bFound || (rkModule.ullBase == rkImage.uBegin && rkModule.uSize == rkImage.uEnd - rkImage.uBegin);
            }
            EXPECT_TRUE(bFound) << std::hex << rkImage.uBegin << "-" << rkImage.uEnd;
        }
    }
}

TEST(StackWalkerOnLinux, AnAddressOutsideOfAllModulesHasNoRecord)
{
    Walker kWalker;
    ASSERT_EQ(1, kWalker.LoadModules());
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 kModule;
    const std::vector<char> vecHeap(100);
    EXPECT_EQ(0, kWalker.m_Internal.GetModuleInfo(VOCurrentProcessHandle(), reinterpret_cast<uintptr_t>(vecHeap.data()),
                                                  &kModule));
    for (const Image& rkImage : LoadedImages())
    {
        EXPECT_EQ(1, kWalker.m_Internal.GetModuleInfo(VOCurrentProcessHandle(), rkImage.uBegin, &kModule));
        EXPECT_EQ(rkImage.uBegin, kModule.BaseOfImage);
        EXPECT_EQ(1, kWalker.m_Internal.GetModuleInfo(VOCurrentProcessHandle(), rkImage.uEnd - 1, &kModule));
        EXPECT_EQ(rkImage.uBegin, kModule.BaseOfImage);
    }
}

TEST(StackWalkerOnLinux, AProgramFileThatIsOnlyReadIsNoModule)
{
    const std::string strRead = std::filesystem::canonical("/bin/ls").string();
    const int nFile = open(strRead.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_LE(0, nFile);
    void* const pvMapped = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE, nFile, 0);
    close(nFile);
    ASSERT_NE(MAP_FAILED, pvMapped);
    ModuleList kWalker;
    EXPECT_EQ(1, kWalker.LoadModules());
    munmap(pvMapped, 4096);
    for (const ReportedModule& rkModule : kWalker.vecModule)
    {
        EXPECT_NE(strRead, rkModule.strPath);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Threads that the library holds
// ---------------------------------------------------------------------------------------------------------------------

TEST(StackWalkerOnLinux, AThreadThatTheLibraryHoldsSuspendedIsWalked)
{
    if (votest::kHoldsSignalsBack)
    {
        GTEST_SKIP() << "a thread that stands makes no call that the sanitizer knows";
    }
    const auto Threads = []
    {
        std::vector<long> vecThread;
        for (const auto& rkEntry : std::filesystem::directory_iterator("/proc/self/task"))
        {
            vecThread.push_back(std::stol(rkEntry.path().filename().string()));
        }
        return vecThread;
    };
    const votest::TemporaryFiles kFiles;
    const std::vector<long> vecBefore = Threads();
    VOTSFileMonitorManager kMonitor;
    ASSERT_EQ(1, kMonitor.Init(kFiles.Folder().u16string().c_str()));
    std::vector<long> vecOwn = Threads();  // the two of the monitor
    std::erase_if(vecOwn, [&](long nThread)
                  { return std::find(vecBefore.begin(), vecBefore.end(), nThread) != vecBefore.end(); });
    ASSERT_EQ(2u, vecOwn.size());
    ASSERT_EQ(1, kMonitor.BeginThread());
    while (Threads().size() < vecBefore.size() + 3)  // the monitor thread has begun to watch
    {
        std::this_thread::yield();
    }
    bool bMonitor = false;
    bool bDispatcher = false;
    // A thread that hasn't come to run yet may be held in front of its procedure.
    for (int nTry = 0; nTry < 100 && !(bMonitor && bDispatcher); ++nTry)
    {
        ASSERT_EQ(1, kMonitor.SuspendThread());
        for (const long nThread : vecOwn)
        {
            Walker kWalker;
            EXPECT_EQ(1, kWalker.ShowCallstack(ThreadHandle(nThread)));
            bMonitor = bMonitor || kWalker.FrameOf("ThreadProc_FileMonitor") != -1;
            bDispatcher = bDispatcher || kWalker.FrameOf("ThreadProc_FileEventDispatcher") != -1;
        }
        if (!bMonitor || !bDispatcher)
        {
            ASSERT_EQ(1, kMonitor.BeginThread());
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    EXPECT_TRUE(bMonitor);
    EXPECT_TRUE(bDispatcher);
    EXPECT_EQ(1, kMonitor.UnInit());
}

TEST(StackWalkerOnLinux, TheCallersOwnIdIsTheCaller)
{
    Walker kWalker;
    EXPECT_EQ(1, kWalker.ShowCallstack(ThreadHandle(syscall(SYS_gettid))));
    EXPECT_NE(-1, kWalker.FrameOf("TheCallersOwnIdIsTheCaller"));
}

// ---------------------------------------------------------------------------------------------------------------------
// The symbols' search path
// ---------------------------------------------------------------------------------------------------------------------

TEST(StackWalkerOnLinux, ALongValueOfTheEnvironmentIsInTheSearchPath)
{
    const std::string strValue = "/" + std::string(1500, 's');
    setenv("_NT_ALTERNATE_SYMBOL_PATH", strValue.c_str(), 1);
    Walker kWalker;
    EXPECT_EQ(1, kWalker.LoadModules());
    unsetenv("_NT_ALTERNATE_SYMBOL_PATH");
    bool bFound = false;
    for (const std::string& rkLine : kWalker.vecOutput)
    {
        // The report itself is cut.
        bFound = bFound || rkLine.find(";" + strValue.substr(0, 500)) != std::string::npos;
    }
    EXPECT_TRUE(bFound);
}

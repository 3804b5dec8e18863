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

__attribute__((noinline)) void Inner(Walker& walker)
{
    s_uLineOfCall = __LINE__ + 1;
    walker.ShowCallstack();
    asm volatile("");
}

template <typename T>
__attribute__((noinline)) T Outer(Walker& walker, T value)
{
    Inner(walker);
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
__attribute__((noinline)) void GetDevice(Walker& walker, void (*)())
{
    walker.ShowCallstack();
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
            Walker walker(0);
            walker.ShowCallstack(VOCurrentThreadHandle(), &context);
            for (const std::string& line : walker.vecOutput)
            {
                fputs(line.c_str(), stderr);
            }
            fprintf(stderr, "summary %s\n", walker.m_szSummary);
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
    Walker walker;
    walkertest_frames::Outer(walker, 5);
    const int nInner = walker.FrameOf("Inner");
    ASSERT_NE(-1, nInner);
    const size_t uInner = static_cast<size_t>(nInner);
    EXPECT_EQ("walkertest_frames::Inner", walker.vecName[uInner]);
    EXPECT_EQ(walkertest_frames::s_uLineOfCall, walker.vecLine[uInner]);
    EXPECT_EQ("diagnostics_tests", walker.vecModule[uInner]);
    EXPECT_EQ("walkertest_frames::Outer<int>", walker.vecName[uInner + 1]);
    EXPECT_NE(-1, walker.FrameOf("StackWalker::ShowCallstack"));
    EXPECT_EQ("libVOBaseX64", walker.vecModule[static_cast<size_t>(walker.FrameOf("StackWalker::ShowCallstack"))]);
}

TEST(StackWalkerOnLinux, AWalkOfTheCallerBeginsInTheWalkItself)
{
    Walker walker;
    walkertest_frames::Inner(walker);
    ASSERT_LT(2u, walker.vecName.size());
    EXPECT_EQ("StackWalker::ShowCallstack", walker.vecName[0]);
    EXPECT_EQ("walkertest_frames::Inner", walker.vecName[1]);
}

TEST(StackWalkerOnLinux, NamesAreWithoutTheVersionThatALinkerWroteBehindThem)
{
    Walker walker;
    walker.ShowCallstack();
    EXPECT_NE(-1, walker.FrameOf("main"));
    EXPECT_EQ(-1, walker.FrameOf("@"));
}

TEST(StackWalkerOnLinux, ReportedNamesHaveNoParameters)
{
    Walker walker;
    walkertest_frames::Outer(walker, 5);
    bool bFound = false;
    for (const std::string& line : walker.vecOutput)
    {
        EXPECT_EQ(std::string::npos, line.find("walkertest_frames::Inner(")) << line;
        bFound = bFound || line.find("): walkertest_frames::Inner\n") != std::string::npos;
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
    InModule engine("VO3DEngineDX11X64D");
    NOVR_Engine::GetDevice(engine, nullptr);
    EXPECT_NE(-1, engine.FrameOf("NOVR_Engine::GetDevice"));
    EXPECT_EQ(nullptr, strstr(engine.m_szSummary, "GetDevice")) << engine.m_szSummary;
    InModule common("NVCommonX64D");
    NOVR_Engine::GetDevice(common, nullptr);
    EXPECT_EQ(nullptr, strstr(common.m_szSummary, "ShowCallstack")) << common.m_szSummary;
    EXPECT_NE(nullptr, strstr(common.m_szSummary, "NOVR_Engine::GetDevice,NVCommonX64D|")) << common.m_szSummary;
}

TEST(StackWalkerOnLinux, AnotherThreadIsWalkedWhereItStandsAndGoesOn)
{
    s_bEnd = false;
    std::thread thread(WaitInside);
    while (s_nThread == 0)
    {
        std::this_thread::yield();
    }
    {
        // It waits, and not only is about to.
        const std::lock_guard<std::mutex> guard(s_lock);
    }
    Walker walker;
    EXPECT_EQ(1, walker.ShowCallstack(ThreadHandle(s_nThread)));
    EXPECT_EQ(1, walker.ShowCallstack(ThreadHandle(s_nThread)));
    EXPECT_NE(-1, walker.FrameOf("WaitInside"));
    EXPECT_EQ(-1, walker.FrameOf("ShowCallstack"));
    {
        const std::lock_guard<std::mutex> guard(s_lock);
        s_bEnd = true;
    }
    s_condition.notify_all();
    thread.join();
    EXPECT_EQ(0, walker.ShowCallstack(ThreadHandle(s_nThread)));
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
    Walker walker(0, nullptr, static_cast<VOULONG>(nChild), ThreadHandle(nChild));
    const int nResult = walker.ShowCallstack(ThreadHandle(nChild));
    close(anPipe[0]);
    close(anPipe[1]);
    int nStatus = 0;
    ASSERT_EQ(nChild, waitpid(nChild, &nStatus, 0));
    EXPECT_EQ(1, nResult);
    EXPECT_LT(3u, walker.vecType.size());
    EXPECT_NE(-1, walker.FrameOf("AnotherProcessIsWalked"));
    EXPECT_TRUE(WIFEXITED(nStatus) && WEXITSTATUS(nStatus) == 0);
}

TEST(StackWalkerOnLinux, AGivenContextIsWalkedFromItsInstruction)
{
    Walker walker;
    CONTEXT context = {};
    RtlCaptureContext(&context);
    EXPECT_EQ(1, walker.ShowCallstack(VOCurrentThreadHandle(), &context));
    EXPECT_EQ(context.Rip, walker.vecAddress.front());
    EXPECT_NE(std::string::npos, walker.vecName.front().find("AGivenContextIsWalkedFromItsInstruction"));
    EXPECT_EQ(-1, walker.FrameOf("ShowCallstack"));
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
    ModuleList first;
    ASSERT_EQ(1, first.LoadModules());
    ModuleList second;  // beside the first, which has files mapped for its own use
    ASSERT_EQ(1, second.LoadModules());
    const std::vector<Image> vecImage = LoadedImages();
    for (const ModuleList* pList : {&first, &second})
    {
        EXPECT_EQ(vecImage.size(), pList->vecModule.size());
        for (const Image& image : vecImage)
        {
            bool bFound = false;
            for (const ReportedModule& loaded : pList->vecModule)
            {
                bFound = bFound || (loaded.ullBase == image.uBegin && loaded.uSize == image.uEnd - image.uBegin);
            }
            EXPECT_TRUE(bFound) << std::hex << image.uBegin << "-" << image.uEnd;
        }
    }
}

TEST(StackWalkerOnLinux, AnAddressOutsideOfAllModulesHasNoRecord)
{
    Walker walker;
    ASSERT_EQ(1, walker.LoadModules());
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 loaded;
    const std::vector<char> vecHeap(100);
    EXPECT_EQ(0, walker.m_Internal.GetModuleInfo(VOCurrentProcessHandle(), reinterpret_cast<uintptr_t>(vecHeap.data()),
                                                 &loaded));
    for (const Image& image : LoadedImages())
    {
        EXPECT_EQ(1, walker.m_Internal.GetModuleInfo(VOCurrentProcessHandle(), image.uBegin, &loaded));
        EXPECT_EQ(image.uBegin, loaded.BaseOfImage);
        EXPECT_EQ(1, walker.m_Internal.GetModuleInfo(VOCurrentProcessHandle(), image.uEnd - 1, &loaded));
        EXPECT_EQ(image.uBegin, loaded.BaseOfImage);
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
    ModuleList walker;
    EXPECT_EQ(1, walker.LoadModules());
    munmap(pvMapped, 4096);
    for (const ReportedModule& loaded : walker.vecModule)
    {
        EXPECT_NE(strRead, loaded.strPath);
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
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        {
            vecThread.push_back(std::stol(entry.path().filename().string()));
        }
        return vecThread;
    };
    const votest::TemporaryFiles files;
    const std::vector<long> vecBefore = Threads();
    VOTSFileMonitorManager monitor;
    ASSERT_EQ(1, monitor.Init(files.Folder().u16string().c_str()));
    std::vector<long> vecOwn = Threads();  // the two of the monitor
    std::erase_if(vecOwn, [&](long nThread)
                  { return std::find(vecBefore.begin(), vecBefore.end(), nThread) != vecBefore.end(); });
    ASSERT_EQ(2u, vecOwn.size());
    ASSERT_EQ(1, monitor.BeginThread());
    while (Threads().size() < vecBefore.size() + 3)  // the monitor thread has begun to watch
    {
        std::this_thread::yield();
    }
    bool bMonitor = false;
    bool bDispatcher = false;
    // A thread that hasn't come to run yet may be held in front of its procedure.
    for (int nTry = 0; nTry < 100 && !(bMonitor && bDispatcher); ++nTry)
    {
        ASSERT_EQ(1, monitor.SuspendThread());
        for (const long nThread : vecOwn)
        {
            Walker walker;
            EXPECT_EQ(1, walker.ShowCallstack(ThreadHandle(nThread)));
            bMonitor = bMonitor || walker.FrameOf("ThreadProc_FileMonitor") != -1;
            bDispatcher = bDispatcher || walker.FrameOf("ThreadProc_FileEventDispatcher") != -1;
        }
        if (!bMonitor || !bDispatcher)
        {
            ASSERT_EQ(1, monitor.BeginThread());
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    EXPECT_TRUE(bMonitor);
    EXPECT_TRUE(bDispatcher);
    EXPECT_EQ(1, monitor.UnInit());
}

TEST(StackWalkerOnLinux, TheCallersOwnIdIsTheCaller)
{
    Walker walker;
    EXPECT_EQ(1, walker.ShowCallstack(ThreadHandle(syscall(SYS_gettid))));
    EXPECT_NE(-1, walker.FrameOf("TheCallersOwnIdIsTheCaller"));
}

// ---------------------------------------------------------------------------------------------------------------------
// The symbols' search path
// ---------------------------------------------------------------------------------------------------------------------

TEST(StackWalkerOnLinux, ALongValueOfTheEnvironmentIsInTheSearchPath)
{
    const std::string strValue = "/" + std::string(1500, 's');
    setenv("_NT_ALTERNATE_SYMBOL_PATH", strValue.c_str(), 1);
    Walker walker;
    EXPECT_EQ(1, walker.LoadModules());
    unsetenv("_NT_ALTERNATE_SYMBOL_PATH");
    bool bFound = false;
    for (const std::string& line : walker.vecOutput)
    {
        // The report itself is cut.
        bFound = bFound || line.find(";" + strValue.substr(0, 500)) != std::string::npos;
    }
    EXPECT_TRUE(bFound);
}

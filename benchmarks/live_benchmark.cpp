// The road of a change: through the monitor's queue, to a listener, and what the threads that wait for it cost.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/vo_section_publisher.h"
#include "vots_file_event.h"
#include "vots_file_monitor.h"

namespace
{

class OpenMonitor : public VOTSFileMonitorManager
{
public:
    using VOTSFileMonitorManager::PopEvent;
    using VOTSFileMonitorManager::PushEvent;
};

VOTSFileMonitorManager::FILE_MONITOR_EVENT AnEvent(size_t uNumber)
{
    VOTSFileMonitorManager::FILE_MONITOR_EVENT kEvent;
    kEvent.nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD;
    kEvent.strFilePath = VOTEXT("C:/Project/content/environment/forest/textures/bark_");
    for (const char ch : std::to_string(uNumber))
    {
        kEvent.strFilePath += static_cast<VOWCHAR>(ch);
    }
    return kEvent;
}

// One push and one pop beside so many events that stay.
void PushAndPop(benchmark::State& rkState)
{
    OpenMonitor kMonitor;
    VOTSFileMonitorManager::FILE_MONITOR_EVENT kEvent;
    for (size_t i = 0; i < static_cast<size_t>(rkState.range(0)); ++i)
    {
        kEvent = AnEvent(i);
        kMonitor.PushEvent(kEvent);
    }
    kEvent = AnEvent(0);
    for (auto _ : rkState)
    {
        kMonitor.PushEvent(kEvent);
        benchmark::DoNotOptimize(kMonitor.PopEvent(kEvent));
    }
}

class Counter : public VOTSFileMonitorEventListener_Adapter
{
public:
    void OnFileMonitor_Add(const VOWCHAR*) override { uCalls.fetch_add(1, std::memory_order_release); }

    std::atomic<size_t> uCalls{0};
};

class Folder
{
public:
    Folder() : m_kPath(std::filesystem::temp_directory_path() / ("vobase_live_" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(m_kPath);
    }
    ~Folder() { std::filesystem::remove_all(m_kPath); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path& Path() const { return m_kPath; }

private:
    std::filesystem::path m_kPath;
};

// Events from the queue to a listener, through the dispatch thread.
void QueueToListener(benchmark::State& rkState)
{
    const Folder kFolder;
    const size_t uEvents = 100000;
    size_t uTold = 0;
    for (auto _ : rkState)
    {
        rkState.PauseTiming();
        OpenMonitor kMonitor;
        Counter kCounter;
        kMonitor.Init(kFolder.Path().u16string().c_str());
        kMonitor.AddFileMonitorListener(&kCounter);
        for (size_t i = 0; i < uEvents; ++i)
        {
            auto kEvent = AnEvent(i);
            kMonitor.PushEvent(kEvent);
        }
        rkState.ResumeTiming();
        kMonitor.SuspendEventDispatcher(false);
        while (kCounter.uCalls.load(std::memory_order_acquire) < uEvents)
        {
            std::this_thread::yield();
        }
        rkState.PauseTiming();
        uTold += kCounter.uCalls;
        kMonitor.SuspendEventDispatcher(true);
        kMonitor.RemoveFileMonitorListener(&kCounter);
        kMonitor.UnInit();
        rkState.ResumeTiming();
    }
    rkState.SetItemsProcessed(static_cast<int64_t>(uTold));
}

// From the making of a file to the listener's call. The dispatch thread looks twice a second.
void ChangeToListener(benchmark::State& rkState)
{
    const Folder kFolder;
    OpenMonitor kMonitor;
    Counter kCounter;
    kMonitor.Init(kFolder.Path().u16string().c_str());
    kMonitor.AddFileMonitorListener(&kCounter);
    kMonitor.BeginThread();
    // The first read begins the watch.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    size_t uFile = 0;
    for (auto _ : rkState)
    {
        const size_t uBefore = kCounter.uCalls;
        std::ofstream(kFolder.Path() / std::to_string(uFile++)) << "x";
        while (kCounter.uCalls == uBefore)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    kMonitor.SuspendEventDispatcher(true);
    kMonitor.RemoveFileMonitorListener(&kCounter);
    kMonitor.UnInit();
}

double CpuSeconds()
{
    rusage kUsage = {};
    getrusage(RUSAGE_SELF, &kUsage);
    return static_cast<double>(kUsage.ru_utime.tv_sec + kUsage.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(kUsage.ru_utime.tv_usec + kUsage.ru_stime.tv_usec);
}

// What the detect threads of nine sources cost while nothing changes, as a share of a core.
void DetectThreadsAtRest(benchmark::State& rkState)
{
    VOPublishedSection kState;
    kState.OpenOrCreate(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, sizeof(FileEventUpdateState));
    FileEventUpdateState* const pkState = static_cast<FileEventUpdateState*>(kState.Data());
    memcpy(pkState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION, sizeof(pkState->szVersion));
    std::vector<std::unique_ptr<VOTSFileEventMappingInspector>> vecInspectors;
    for (unsigned i = 1; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        pkState->arrStateInfo[i].bEnable = 1;
        vecInspectors.push_back(
            std::make_unique<VOTSFileEventMappingInspector>(static_cast<LUMTrayService::enumAssetFrom>(i)));
        vecInspectors.back()->Run();
    }
    double fCpu = 0;
    double fTime = 0;
    for (auto _ : rkState)
    {
        const double fStart = CpuSeconds();
        std::this_thread::sleep_for(std::chrono::seconds(5));
        fCpu += CpuSeconds() - fStart;
        fTime += 5;
    }
    rkState.counters["core_share"] = fCpu / fTime;
    for (const auto& pkInspector : vecInspectors)
    {
        pkInspector->Stop();
    }
}

BENCHMARK(PushAndPop)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK(QueueToListener)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);
BENCHMARK(ChangeToListener)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);
BENCHMARK(DetectThreadsAtRest)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(1);

}  // namespace

int main(int argc, char** argv)
{
    setenv("VOBASE_NAMESPACE", ("benchmark" + std::to_string(getpid())).c_str(), 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

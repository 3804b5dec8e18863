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
    VOTSFileMonitorManager::FILE_MONITOR_EVENT event;
    event.nEventType = VOTSFileMonitorManager::FILE_MONITOR_EVENT_ADD;
    event.strFilePath = VOTEXT("C:/Project/content/environment/forest/textures/bark_");
    for (const char ch : std::to_string(uNumber))
    {
        event.strFilePath += static_cast<VOWCHAR>(ch);
    }
    return event;
}

// One push and one pop beside so many events that stay.
void PushAndPop(benchmark::State& state)
{
    OpenMonitor monitor;
    VOTSFileMonitorManager::FILE_MONITOR_EVENT event;
    for (size_t i = 0; i < static_cast<size_t>(state.range(0)); ++i)
    {
        event = AnEvent(i);
        monitor.PushEvent(event);
    }
    event = AnEvent(0);
    for (auto _ : state)
    {
        monitor.PushEvent(event);
        benchmark::DoNotOptimize(monitor.PopEvent(event));
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
    Folder() : m_path(std::filesystem::temp_directory_path() / ("vobase_live_" + std::to_string(getpid())))
    {
        std::filesystem::create_directories(m_path);
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

// Events from the queue to a listener, through the dispatch thread.
void QueueToListener(benchmark::State& state)
{
    const Folder folder;
    const size_t uEvents = 100000;
    size_t uTold = 0;
    for (auto _ : state)
    {
        state.PauseTiming();
        OpenMonitor monitor;
        Counter counter;
        monitor.Init(folder.Path().u16string().c_str());
        monitor.AddFileMonitorListener(&counter);
        for (size_t i = 0; i < uEvents; ++i)
        {
            auto event = AnEvent(i);
            monitor.PushEvent(event);
        }
        state.ResumeTiming();
        monitor.SuspendEventDispatcher(false);
        while (counter.uCalls.load(std::memory_order_acquire) < uEvents)
        {
            std::this_thread::yield();
        }
        state.PauseTiming();
        uTold += counter.uCalls;
        monitor.SuspendEventDispatcher(true);
        monitor.RemoveFileMonitorListener(&counter);
        monitor.UnInit();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<int64_t>(uTold));
}

// From the making of a file to the listener's call. The dispatch thread looks twice a second.
void ChangeToListener(benchmark::State& state)
{
    const Folder folder;
    OpenMonitor monitor;
    Counter counter;
    monitor.Init(folder.Path().u16string().c_str());
    monitor.AddFileMonitorListener(&counter);
    monitor.BeginThread();
    // The first read begins the watch.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    size_t uFile = 0;
    for (auto _ : state)
    {
        const size_t uBefore = counter.uCalls;
        std::ofstream(folder.Path() / std::to_string(uFile++)) << "x";
        while (counter.uCalls == uBefore)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    monitor.SuspendEventDispatcher(true);
    monitor.RemoveFileMonitorListener(&counter);
    monitor.UnInit();
}

double CpuSeconds()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

// What the detect threads of nine sources cost while nothing changes, as a share of a core.
void DetectThreadsAtRest(benchmark::State& givenState)
{
    VOPublishedSection state;
    state.OpenOrCreate(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME, sizeof(FileEventUpdateState));
    FileEventUpdateState* const pState = static_cast<FileEventUpdateState*>(state.Data());
    memcpy(pState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION, sizeof(pState->szVersion));
    std::vector<std::unique_ptr<VOTSFileEventMappingInspector>> vecInspectors;
    for (unsigned i = 1; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        pState->arrStateInfo[i].bEnable = 1;
        vecInspectors.push_back(
            std::make_unique<VOTSFileEventMappingInspector>(static_cast<LUMTrayService::enumAssetFrom>(i)));
        vecInspectors.back()->Run();
    }
    double fCpu = 0;
    double fTime = 0;
    for (auto _ : givenState)
    {
        const double fStart = CpuSeconds();
        std::this_thread::sleep_for(std::chrono::seconds(5));
        fCpu += CpuSeconds() - fStart;
        fTime += 5;
    }
    givenState.counters["core_share"] = fCpu / fTime;
    for (const auto& pInspector : vecInspectors)
    {
        pInspector->Stop();
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

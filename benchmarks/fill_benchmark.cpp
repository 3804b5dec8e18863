// Filling a Provider with a whole tree, taking its image, attaching a Customer: beside the same library on std::map and
// beside LMDB's load. Memory is measured in a child process, so that each figure begins at nothing.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <map>
#include <memory>
#include <string>

#include "benchmarks/support/asset_tree.h"
#include "benchmarks/support/provider_fill.h"
#include "vo_utility.h"
#if defined(VOBASE_HAVE_LMDB)
#include "benchmarks/support/peer_lmdb.h"
#endif

namespace
{

struct FreeBlock
{
    void operator()(void* pvBlock) const { free(pvBlock); }
};
typedef std::unique_ptr<void, FreeBlock> Block;

constexpr const VOWCHAR* kRootPath = VOTEXT("C:/Project");
constexpr const VOWCHAR* kRootName = VOTEXT("Project");

void CountNodes(benchmark::State& rkState, size_t uNodes)
{
    rkState.SetItemsProcessed(rkState.iterations() * static_cast<int64_t>(uNodes));
}

void Fill(benchmark::State& rkState)
{
    const AssetTree& rkTree = AssetTreeOf(static_cast<size_t>(rkState.range(0)));
    for (auto _ : rkState)
    {
        VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, kRootPath, kRootName);
        if (!FillProvider(kProvider, rkTree) || kProvider.GetAssetNodeCount() != rkTree.vecNode.size())
        {
            rkState.SkipWithError("not filled");
            break;
        }
    }
    CountNodes(rkState, rkTree.vecNode.size());
}

void FillOnStdMap(benchmark::State& rkState)
{
    void* pvModule = dlopen(VOBASE_STD_MAP_FILL, RTLD_NOW | RTLD_LOCAL);
    const auto pfnFill = reinterpret_cast<int (*)(const AssetTree*, unsigned int*)>(
        pvModule != nullptr ? dlsym(pvModule, "FillProviderOnStdMap") : nullptr);
    if (pfnFill == nullptr)
    {
        rkState.SkipWithError("the module isn't there");
        return;
    }
    const AssetTree& rkTree = AssetTreeOf(static_cast<size_t>(rkState.range(0)));
    for (auto _ : rkState)
    {
        unsigned int uNodes = 0;
        if (!pfnFill(&rkTree, &uNodes) || uNodes != rkTree.vecNode.size())
        {
            rkState.SkipWithError("not filled");
            break;
        }
    }
    CountNodes(rkState, rkTree.vecNode.size());
}

#if defined(VOBASE_HAVE_LMDB)
void FillLmdb(benchmark::State& rkState)
{
    const AssetTree& rkTree = AssetTreeOf(static_cast<size_t>(rkState.range(0)));
    for (auto _ : rkState)
    {
        const LmdbPeer kPeer(rkTree);
        benchmark::DoNotOptimize(&kPeer);
    }
    CountNodes(rkState, rkTree.vecNode.size());
}
#endif

// A filled Provider, kept for the life of the program.
VOTSAssetNodeContainer& FilledProvider(size_t uNodes)
{
    static std::map<size_t, std::unique_ptr<VOTSAssetNodeContainer>> s_mapProvider;
    std::unique_ptr<VOTSAssetNodeContainer>& rpkProvider = s_mapProvider[uNodes];
    if (rpkProvider == nullptr)
    {
        rpkProvider = std::make_unique<VOTSAssetNodeContainer>(LUMTrayService::AR_Provider, kRootPath, kRootName);
        if (!FillProvider(*rpkProvider, AssetTreeOf(uNodes)))
        {
            abort();
        }
    }
    return *rpkProvider;
}

size_t SizeOf(const void* pvImage)
{
    VOTSAssetNodeContainer::ContainerAlloc kHead;
    memcpy(&kHead, pvImage, sizeof(kHead));
    return kHead.uDataBufSize + sizeof(kHead);
}

void TakeImage(benchmark::State& rkState)
{
    VOTSAssetNodeContainer& rkProvider = FilledProvider(static_cast<size_t>(rkState.range(0)));
    size_t uSize = 0;
    for (auto _ : rkState)
    {
        const Block pvImage(rkProvider.GetAlloc());
        uSize = SizeOf(pvImage.get());
    }
    rkState.SetBytesProcessed(rkState.iterations() * static_cast<int64_t>(uSize));
}

// The floor of an image: as many bytes copied into fresh memory.
void CopyImage(benchmark::State& rkState)
{
    const Block pvImage(FilledProvider(static_cast<size_t>(rkState.range(0))).GetAlloc());
    const size_t uSize = SizeOf(pvImage.get());
    for (auto _ : rkState)
    {
        const Block pvCopy(calloc(1, uSize));
        memcpy(pvCopy.get(), pvImage.get(), uSize);
        benchmark::DoNotOptimize(pvCopy.get());
    }
    rkState.SetBytesProcessed(rkState.iterations() * static_cast<int64_t>(uSize));
}

// Must not grow with the number of nodes.
void AttachCustomer(benchmark::State& rkState)
{
    const Block pvImage(FilledProvider(static_cast<size_t>(rkState.range(0))).GetAlloc());
    VOTSAssetNodeContainer kCustomer(LUMTrayService::AR_Customer);
    for (auto _ : rkState)
    {
        if (!kCustomer.SetAlloc(static_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pvImage.get()), 0))
        {
            rkState.SkipWithError("not attached");
            break;
        }
    }
}

size_t PeakMemory()
{
    std::ifstream kStatus("/proc/self/status");
    std::string kWord;
    size_t uKiB = 0;
    while (kStatus >> kWord)
    {
        if (kWord == "VmHWM:")
        {
            kStatus >> uKiB;
        }
    }
    return uKiB * 1024;
}

void ResetPeakMemory()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

// Runs a measurement in a child process and gives what it measured.
template <typename Measure>
double InChild(Measure&& kMeasure)
{
    int arrPipe[2];
    if (pipe(arrPipe) != 0)
    {
        abort();
    }
    const pid_t nChild = fork();
    if (nChild == 0)
    {
        // What this process has freed must not serve the child unseen.
        malloc_trim(0);
        const double dResult = kMeasure();
        const bool bWritten = write(arrPipe[1], &dResult, sizeof(dResult)) == sizeof(dResult);
        _exit(bWritten ? 0 : 1);
    }
    double dResult = -1;
    close(arrPipe[1]);
    const bool bRead = read(arrPipe[0], &dResult, sizeof(dResult)) == sizeof(dResult);
    close(arrPipe[0]);
    waitpid(nChild, nullptr, 0);
    return bRead ? dResult : -1;
}

// Bytes per node: the peak while a Provider is filled.
void MemoryOfFill(benchmark::State& rkState)
{
    const AssetTree& rkTree = AssetTreeOf(static_cast<size_t>(rkState.range(0)));
    for (auto _ : rkState)
    {
        rkState.counters["bytes_per_node"] = InChild(
            [&rkTree]
            {
                ResetPeakMemory();
                const size_t uBefore = PeakMemory();
                VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, kRootPath, kRootName);
                FillProvider(kProvider, rkTree);
                return static_cast<double>(PeakMemory() - uBefore) / static_cast<double>(rkTree.vecNode.size());
            });
    }
}

// What taking and compressing an image adds, in images.
void MemoryOfImage(benchmark::State& rkState)
{
    VOTSAssetNodeContainer& rkProvider = FilledProvider(static_cast<size_t>(rkState.range(0)));
    for (auto _ : rkState)
    {
        rkState.counters["images"] = InChild(
            [&rkProvider]
            {
                ResetPeakMemory();
                const size_t uBefore = PeakMemory();
                const Block pvImage(rkProvider.GetAlloc());
                const size_t uImage = SizeOf(pvImage.get());
                unsigned char* pbBlock = nullptr;
                unsigned int uBlock = 0;
                VOCompressBuffer_lzo1x(&pbBlock, &uBlock, static_cast<unsigned char*>(pvImage.get()),
                                       static_cast<unsigned int>(uImage));
                return static_cast<double>(PeakMemory() - uBefore) / static_cast<double>(uImage);
            });
    }
}

void Sizes(benchmark::internal::Benchmark* pkBenchmark)
{
    pkBenchmark->Arg(10000)->Arg(100000)->Arg(1000000);
}

BENCHMARK(Fill)->Apply(Sizes)->Unit(benchmark::kMillisecond);
#if defined(VOBASE_HAVE_LMDB)
BENCHMARK(FillLmdb)->Apply(Sizes)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK(FillOnStdMap)->Apply(Sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(TakeImage)->Apply(Sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(CopyImage)->Apply(Sizes)->Unit(benchmark::kMillisecond);
BENCHMARK(AttachCustomer)->Apply(Sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(MemoryOfFill)->Apply(Sizes)->Iterations(1);
BENCHMARK(MemoryOfImage)->Apply(Sizes)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();

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

void CountNodes(benchmark::State& state, size_t uNodes)
{
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(uNodes));
}

void Fill(benchmark::State& state)
{
    const AssetTree& tree = AssetTreeOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
    {
        VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, kRootPath, kRootName);
        if (!FillProvider(provider, tree) || provider.GetAssetNodeCount() != tree.vecNode.size())
        {
            state.SkipWithError("not filled");
            break;
        }
    }
    CountNodes(state, tree.vecNode.size());
}

void FillOnStdMap(benchmark::State& state)
{
    void* pvModule = dlopen(VOBASE_STD_MAP_FILL, RTLD_NOW | RTLD_LOCAL);
    const auto pfnFill = reinterpret_cast<int (*)(const AssetTree*, unsigned int*)>(
        pvModule != nullptr ? dlsym(pvModule, "FillProviderOnStdMap") : nullptr);
    if (pfnFill == nullptr)
    {
        state.SkipWithError("the module isn't there");
        return;
    }
    const AssetTree& tree = AssetTreeOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
    {
        unsigned int uNodes = 0;
        if (!pfnFill(&tree, &uNodes) || uNodes != tree.vecNode.size())
        {
            state.SkipWithError("not filled");
            break;
        }
    }
    CountNodes(state, tree.vecNode.size());
}

#if defined(VOBASE_HAVE_LMDB)
void FillLmdb(benchmark::State& state)
{
    const AssetTree& tree = AssetTreeOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
    {
        const LmdbPeer peer(tree);
        benchmark::DoNotOptimize(&peer);
    }
    CountNodes(state, tree.vecNode.size());
}
#endif

// A filled Provider, kept for the life of the program.
VOTSAssetNodeContainer& FilledProvider(size_t uNodes)
{
    static std::map<size_t, std::unique_ptr<VOTSAssetNodeContainer>> s_mapProvider;
    std::unique_ptr<VOTSAssetNodeContainer>& pProvider = s_mapProvider[uNodes];
    if (pProvider == nullptr)
    {
        pProvider = std::make_unique<VOTSAssetNodeContainer>(LUMTrayService::AR_Provider, kRootPath, kRootName);
        if (!FillProvider(*pProvider, AssetTreeOf(uNodes)))
        {
            abort();
        }
    }
    return *pProvider;
}

size_t SizeOf(const void* pvImage)
{
    VOTSAssetNodeContainer::ContainerAlloc head;
    memcpy(&head, pvImage, sizeof(head));
    return head.uDataBufSize + sizeof(head);
}

void TakeImage(benchmark::State& state)
{
    VOTSAssetNodeContainer& provider = FilledProvider(static_cast<size_t>(state.range(0)));
    size_t uSize = 0;
    for (auto _ : state)
    {
        const Block pvImage(provider.GetAlloc());
        uSize = SizeOf(pvImage.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(uSize));
}

// The floor of an image: as many bytes copied into fresh memory.
void CopyImage(benchmark::State& state)
{
    const Block pvImage(FilledProvider(static_cast<size_t>(state.range(0))).GetAlloc());
    const size_t uSize = SizeOf(pvImage.get());
    for (auto _ : state)
    {
        const Block pvCopy(calloc(1, uSize));
        memcpy(pvCopy.get(), pvImage.get(), uSize);
        benchmark::DoNotOptimize(pvCopy.get());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(uSize));
}

// Must not grow with the number of nodes.
void AttachCustomer(benchmark::State& state)
{
    const Block pvImage(FilledProvider(static_cast<size_t>(state.range(0))).GetAlloc());
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    for (auto _ : state)
    {
        if (!customer.SetAlloc(static_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pvImage.get()), 0))
        {
            state.SkipWithError("not attached");
            break;
        }
    }
}

size_t PeakMemory()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    size_t uKiB = 0;
    while (status >> word)
    {
        if (word == "VmHWM:")
        {
            status >> uKiB;
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
double InChild(Measure&& measure)
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
        const double dResult = measure();
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
void MemoryOfFill(benchmark::State& state)
{
    const AssetTree& tree = AssetTreeOf(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
    {
        state.counters["bytes_per_node"] = InChild(
            [&tree]
            {
                ResetPeakMemory();
                const size_t uBefore = PeakMemory();
                VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, kRootPath, kRootName);
                FillProvider(provider, tree);
                return static_cast<double>(PeakMemory() - uBefore) / static_cast<double>(tree.vecNode.size());
            });
    }
}

// What taking and compressing an image adds, in images.
void MemoryOfImage(benchmark::State& state)
{
    VOTSAssetNodeContainer& provider = FilledProvider(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
    {
        state.counters["images"] = InChild(
            [&provider]
            {
                ResetPeakMemory();
                const size_t uBefore = PeakMemory();
                const Block pvImage(provider.GetAlloc());
                const size_t uImage = SizeOf(pvImage.get());
                unsigned char* pbBlock = nullptr;
                unsigned int uBlock = 0;
                VOCompressBuffer_lzo1x(&pbBlock, &uBlock, static_cast<unsigned char*>(pvImage.get()),
                                       static_cast<unsigned int>(uImage));
                return static_cast<double>(PeakMemory() - uBefore) / static_cast<double>(uImage);
            });
    }
}

void Sizes(benchmark::internal::Benchmark* pBenchmark)
{
    pBenchmark->Arg(10000)->Arg(100000)->Arg(1000000);
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

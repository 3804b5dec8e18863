// Lookups by raw path and walks over all records, on a published image and on a base, beside the bare work and beside
// LMDB.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>

#include "assetindex/asset_base.h"
#include "benchmarks/support/asset_tree.h"
#include "benchmarks/support/provider_fill.h"
#if defined(VOBASE_HAVE_CDB)
#include "benchmarks/support/peer_cdb.h"
#endif
#if defined(VOBASE_HAVE_LMDB)
#include "benchmarks/support/peer_lmdb.h"
#endif

namespace
{

using LUMTrayService::structAssetNode;

struct FreeImage
{
    void operator()(void* pvImage) const { free(pvImage); }
};

// A Customer attached to the image of a tree, kept for the life of the program.
struct Attached
{
    std::unique_ptr<void, FreeImage> pImage;
    VOTSAssetNodeContainer customer{LUMTrayService::AR_Customer};

    explicit Attached(const AssetTree& tree)
    {
        VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
        if (!FillProvider(provider, tree))
        {
            abort();
        }
        pImage.reset(provider.GetAlloc());
        if (!customer.SetAlloc(static_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pImage.get()), 0))
        {
            abort();
        }
    }
};

// A Customer that looks at the base of a tree, kept for the life of the program.
struct OnRoad
{
    std::unique_ptr<void, FreeImage> pMemory;
    VOAssetBase base;
    VOTSAssetNodeContainer customer{LUMTrayService::AR_Customer};

    explicit OnRoad(const AssetTree& tree)
    {
        VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
        VOAssetBaseWriter writer(provider);
        const size_t uSize = FillProvider(provider, tree) ? writer.BaseSize() : 0;
        if (uSize == 0)
        {
            abort();
        }
        pMemory.reset(VOAllocateImage(uSize));
        unsigned char* const pbBase = static_cast<unsigned char*>(pMemory.get());
        writer.WriteBase(pbBase, 1, 1);
        if (!base.Take(pbBase, uSize) || !customer.SetBase(base))
        {
            abort();
        }
    }
};

template <typename T>
const T& KeptFor(size_t uNodes)
{
    static std::map<size_t, std::unique_ptr<T>> s_mapKept;
    std::unique_ptr<T>& pKept = s_mapKept[uNodes];
    if (pKept == nullptr)
    {
        pKept = std::make_unique<T>(AssetTreeOf(uNodes));
    }
    return *pKept;
}

template <typename Find>
void RunFind(benchmark::State& state, const std::vector<VOWString>& vecPath, bool bExpected, Find&& find)
{
    size_t uAt = 0;
    for (auto _ : state)
    {
        structAssetNode tsNode;
        const bool bFound = find(vecPath[uAt], tsNode);
        if (bFound != bExpected || (bFound && tsNode.ullFileSize != tsNode.nAssetID * 3ull))
        {
            state.SkipWithError("wrong answer");
            break;
        }
        benchmark::DoNotOptimize(tsNode);
        uAt = uAt + 1 < vecPath.size() ? uAt + 1 : 0;
    }
}

// A lookup in each of the systems, by the name that KeptFor keeps them under.
bool FindIn(const Attached& attached, const VOWString& path, structAssetNode& tsNode)
{
    return attached.customer.FindAssetNode(path.c_str(), tsNode) != 0;
}

bool FindIn(const OnRoad& road, const VOWString& path, structAssetNode& tsNode)
{
    return road.customer.FindAssetNode(path.c_str(), tsNode) != 0;
}

template <typename Peer>
bool FindIn(const Peer& peer, const VOWString& path, structAssetNode& tsNode)
{
    return peer.Find(path, tsNode);
}

template <typename System>
void RunFindHit(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    const System& system = KeptFor<System>(uNodes);
    RunFind(state, AssetTreeOf(uNodes).vecHit, true,
            [&](const VOWString& path, structAssetNode& tsNode) { return FindIn(system, path, tsNode); });
}

template <typename System>
void RunFindMiss(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    const System& system = KeptFor<System>(uNodes);
    RunFind(state, AssetTreeOf(uNodes).vecMiss, false,
            [&](const VOWString& path, structAssetNode& tsNode) { return FindIn(system, path, tsNode); });
}

void FindHit(benchmark::State& state)
{
    RunFindHit<Attached>(state);
}

void FindMiss(benchmark::State& state)
{
    RunFindMiss<Attached>(state);
}

void FindHitRoad(benchmark::State& state)
{
    RunFindHit<OnRoad>(state);
}

void FindMissRoad(benchmark::State& state)
{
    RunFindMiss<OnRoad>(state);
}

// The same paths, so many at once; the time is that of one path.
template <typename System>
void RunFindBatch(benchmark::State& state, const std::vector<VOWString>& vecPath, bool bExpected)
{
    constexpr unsigned int kBatch = 1000;
    const System& system = KeptFor<System>(static_cast<size_t>(state.range(0)));
    std::vector<const VOWCHAR*> vecText;
    for (const VOWString& path : vecPath)
    {
        vecText.push_back(path.c_str());
    }
    std::vector<structAssetNode> vecNode(kBatch);
    std::vector<int> vecFound(kBatch);
    size_t uAt = 0;
    while (state.KeepRunningBatch(kBatch))
    {
        const unsigned int uFound =
            system.customer.FindAssetNodes(vecText.data() + uAt, kBatch, vecNode.data(), vecFound.data());
        bool bRight = uFound == (bExpected ? kBatch : 0);
        for (unsigned int i = 0; i < kBatch; ++i)
        {
            const structAssetNode& tsNode = vecNode[i];
            bRight = bRight && (vecFound[i] != 0) == bExpected &&
                     (!bExpected || tsNode.ullFileSize == tsNode.nAssetID * 3ull);
        }
        if (!bRight)
        {
            state.SkipWithError("wrong answer");
            break;
        }
        benchmark::DoNotOptimize(vecNode.data());
        benchmark::ClobberMemory();
        uAt = uAt + 2 * kBatch <= vecText.size() ? uAt + kBatch : 0;
    }
}

template <typename System>
void RunFindHitBatch(benchmark::State& state)
{
    RunFindBatch<System>(state, AssetTreeOf(static_cast<size_t>(state.range(0))).vecHit, true);
}

template <typename System>
void RunFindMissBatch(benchmark::State& state)
{
    RunFindBatch<System>(state, AssetTreeOf(static_cast<size_t>(state.range(0))).vecMiss, false);
}

void FindHitBatch(benchmark::State& state)
{
    RunFindHitBatch<Attached>(state);
}

void FindMissBatch(benchmark::State& state)
{
    RunFindMissBatch<Attached>(state);
}

void FindHitBatchRoad(benchmark::State& state)
{
    RunFindHitBatch<OnRoad>(state);
}

void FindMissBatchRoad(benchmark::State& state)
{
    RunFindMissBatch<OnRoad>(state);
}

// The floor of a lookup: the path made fit, and hashed with both rows.
void NormaliseAndHash(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    const std::vector<VOWString>& vecPath = AssetTreeOf(uNodes).vecHit;
    const VOStringHash hash;
    size_t uAt = 0;
    for (auto _ : state)
    {
        VOWCHAR szKey[MAX_PATH];
        unsigned int uHash0 = 0;
        unsigned int uHash1 = 0;
        VOTSAssetNodeContainerHelper::NormalizedPath(szKey, vecPath[uAt].c_str(), MAX_PATH, 1);
        hash.HashRows(szKey, uHash0, uHash1);
        benchmark::DoNotOptimize(uHash0 ^ uHash1);
        uAt = uAt + 1 < vecPath.size() ? uAt + 1 : 0;
    }
}

int SumSizes(const structAssetNode& tsNode, void* pvSum, int&)
{
    *static_cast<unsigned long long*>(pvSum) += tsNode.ullFileSize;
    return 1;
}

unsigned long long ExpectedSum(size_t uNodes)
{
    unsigned long long ullSum = 0;
    for (size_t uNode = 1; uNode < AssetTreeOf(uNodes).vecNode.size(); ++uNode)
    {
        ullSum += uNode * 3ull;
    }
    return ullSum;
}

template <typename Walk>
void RunWalk(benchmark::State& state, size_t uNodes, Walk&& walk)
{
    const unsigned long long ullExpected = ExpectedSum(uNodes);
    for (auto _ : state)
    {
        if (walk() != ullExpected)
        {
            state.SkipWithError("wrong sum");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(AssetTreeOf(uNodes).vecNode.size()));
}

void WalkByTree(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    const VOTSAssetNodeContainer& customer = KeptFor<Attached>(uNodes).customer;
    RunWalk(state, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                VOTSAssetNodeContainerHelper::TraverseAssetNode(&customer, 0, 3, 1, SumSizes, &ullSum);
                return ullSum;
            });
}

void WalkByIndex(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    const VOTSAssetNodeContainer& customer = KeptFor<Attached>(uNodes).customer;
    RunWalk(state, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                structAssetNode tsNode;
                for (unsigned int i = 0; i < customer.GetAssetNodeCount(); ++i)
                {
                    customer.GetAssetNode(i, tsNode);
                    benchmark::DoNotOptimize(tsNode);
                    ullSum += tsNode.ullFileSize;
                }
                return ullSum;
            });
}

// The floor of a walk: plain records in one array, copied one by one.
void WalkPlainRecords(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    std::vector<structAssetNodeParam> vecParam(AssetTreeOf(uNodes).vecNode.size());
    for (size_t i = 0; i < vecParam.size(); ++i)
    {
        vecParam[i].tsNode.ullFileSize = i * 3ull;
    }
    RunWalk(state, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                for (const structAssetNodeParam& param : vecParam)
                {
                    structAssetNode tsNode = param.tsNode;
                    benchmark::DoNotOptimize(tsNode);
                    ullSum += tsNode.ullFileSize;
                }
                return ullSum;
            });
}

#if defined(VOBASE_HAVE_LMDB)

void FindHitLmdb(benchmark::State& state)
{
    RunFindHit<LmdbPeer>(state);
}

void FindMissLmdb(benchmark::State& state)
{
    RunFindMiss<LmdbPeer>(state);
}

void WalkLmdb(benchmark::State& state)
{
    const size_t uNodes = static_cast<size_t>(state.range(0));
    const LmdbPeer& peer = KeptFor<LmdbPeer>(uNodes);
    RunWalk(state, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                peer.Walk([&](const structAssetNode& tsNode) { ullSum += tsNode.ullFileSize; });
                return ullSum;
            });
}

#endif

#if defined(VOBASE_HAVE_CDB)

void FindHitCdb(benchmark::State& state)
{
    RunFindHit<CdbPeer>(state);
}

void FindMissCdb(benchmark::State& state)
{
    RunFindMiss<CdbPeer>(state);
}

#endif

void Sizes(benchmark::internal::Benchmark* pBenchmark)
{
    pBenchmark->Arg(10000)->Arg(100000)->Arg(1000000);
}

BENCHMARK(NormaliseAndHash)->Apply(Sizes);
BENCHMARK(FindHit)->Apply(Sizes);
BENCHMARK(FindMiss)->Apply(Sizes);
BENCHMARK(FindHitBatch)->Apply(Sizes);
BENCHMARK(FindMissBatch)->Apply(Sizes);
BENCHMARK(FindHitRoad)->Apply(Sizes);
BENCHMARK(FindMissRoad)->Apply(Sizes);
BENCHMARK(FindHitBatchRoad)->Apply(Sizes);
BENCHMARK(FindMissBatchRoad)->Apply(Sizes);
BENCHMARK(WalkPlainRecords)->Apply(Sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(WalkByIndex)->Apply(Sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(WalkByTree)->Apply(Sizes)->Unit(benchmark::kMicrosecond);
#if defined(VOBASE_HAVE_LMDB)
BENCHMARK(FindHitLmdb)->Apply(Sizes);
BENCHMARK(FindMissLmdb)->Apply(Sizes);
BENCHMARK(WalkLmdb)->Apply(Sizes)->Unit(benchmark::kMicrosecond);
#endif
#if defined(VOBASE_HAVE_CDB)
BENCHMARK(FindHitCdb)->Apply(Sizes);
BENCHMARK(FindMissCdb)->Apply(Sizes);
#endif

}  // namespace

BENCHMARK_MAIN();

// Lookups by raw path and walks over all records, on a published image, beside the bare work and beside LMDB.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>

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
    std::unique_ptr<void, FreeImage> pkImage;
    VOTSAssetNodeContainer kCustomer{LUMTrayService::AR_Customer};

    explicit Attached(const AssetTree& rkTree)
    {
        VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
        if (!FillProvider(kProvider, rkTree))
        {
            abort();
        }
        pkImage.reset(kProvider.GetAlloc());
        if (!kCustomer.SetAlloc(static_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pkImage.get()), 0))
        {
            abort();
        }
    }
};

template <typename T>
const T& KeptFor(size_t uNodes)
{
    static std::map<size_t, std::unique_ptr<T>> s_mapKept;
    std::unique_ptr<T>& rpkKept = s_mapKept[uNodes];
    if (rpkKept == nullptr)
    {
        rpkKept = std::make_unique<T>(AssetTreeOf(uNodes));
    }
    return *rpkKept;
}

template <typename Find>
void RunFind(benchmark::State& rkState, const std::vector<VOWString>& vecPath, bool bExpected, Find&& kFind)
{
    size_t uAt = 0;
    for (auto _ : rkState)
    {
        structAssetNode tsNode;
        const bool bFound = kFind(vecPath[uAt], tsNode);
        if (bFound != bExpected || (bFound && tsNode.ullFileSize != tsNode.nAssetID * 3ull))
        {
            rkState.SkipWithError("wrong answer");
            break;
        }
        benchmark::DoNotOptimize(tsNode);
        uAt = uAt + 1 < vecPath.size() ? uAt + 1 : 0;
    }
}

// A lookup in each of the systems, by the name that KeptFor keeps them under.
bool FindIn(const Attached& rkAttached, const VOWString& kPath, structAssetNode& tsNode)
{
    return rkAttached.kCustomer.FindAssetNode(kPath.c_str(), tsNode) != 0;
}

template <typename Peer>
bool FindIn(const Peer& rkPeer, const VOWString& kPath, structAssetNode& tsNode)
{
    return rkPeer.Find(kPath, tsNode);
}

template <typename System>
void RunFindHit(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    const System& rkSystem = KeptFor<System>(uNodes);
    RunFind(rkState, AssetTreeOf(uNodes).vecHit, true,
            [&](const VOWString& kPath, structAssetNode& tsNode) { return FindIn(rkSystem, kPath, tsNode); });
}

template <typename System>
void RunFindMiss(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    const System& rkSystem = KeptFor<System>(uNodes);
    RunFind(rkState, AssetTreeOf(uNodes).vecMiss, false,
            [&](const VOWString& kPath, structAssetNode& tsNode) { return FindIn(rkSystem, kPath, tsNode); });
}

void FindHit(benchmark::State& rkState)
{
    RunFindHit<Attached>(rkState);
}

void FindMiss(benchmark::State& rkState)
{
    RunFindMiss<Attached>(rkState);
}

// The floor of a lookup: the path made fit, and hashed with both rows.
void NormaliseAndHash(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    const std::vector<VOWString>& vecPath = AssetTreeOf(uNodes).vecHit;
    const VOStringHash kHash;
    size_t uAt = 0;
    for (auto _ : rkState)
    {
        VOWCHAR szKey[MAX_PATH];
        unsigned int uHash0 = 0;
        unsigned int uHash1 = 0;
        VOTSAssetNodeContainerHelper::NormalizedPath(szKey, vecPath[uAt].c_str(), MAX_PATH, 1);
        kHash.HashRows(szKey, uHash0, uHash1);
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
void RunWalk(benchmark::State& rkState, size_t uNodes, Walk&& kWalk)
{
    const unsigned long long ullExpected = ExpectedSum(uNodes);
    for (auto _ : rkState)
    {
        if (kWalk() != ullExpected)
        {
            rkState.SkipWithError("wrong sum");
            break;
        }
    }
    rkState.SetItemsProcessed(rkState.iterations() * static_cast<int64_t>(AssetTreeOf(uNodes).vecNode.size()));
}

void WalkByTree(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    const VOTSAssetNodeContainer& rkCustomer = KeptFor<Attached>(uNodes).kCustomer;
    RunWalk(rkState, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                VOTSAssetNodeContainerHelper::TraverseAssetNode(&rkCustomer, 0, 3, 1, SumSizes, &ullSum);
                return ullSum;
            });
}

void WalkByIndex(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    const VOTSAssetNodeContainer& rkCustomer = KeptFor<Attached>(uNodes).kCustomer;
    RunWalk(rkState, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                structAssetNode tsNode;
                for (unsigned int i = 0; i < rkCustomer.GetAssetNodeCount(); ++i)
                {
                    rkCustomer.GetAssetNode(i, tsNode);
                    benchmark::DoNotOptimize(tsNode);
                    ullSum += tsNode.ullFileSize;
                }
                return ullSum;
            });
}

// The floor of a walk: plain records in one array, copied one by one.
void WalkPlainRecords(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    std::vector<structAssetNodeParam> vecParam(AssetTreeOf(uNodes).vecNode.size());
    for (size_t i = 0; i < vecParam.size(); ++i)
    {
        vecParam[i].tsNode.ullFileSize = i * 3ull;
    }
    RunWalk(rkState, uNodes,
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

void FindHitLmdb(benchmark::State& rkState)
{
    RunFindHit<LmdbPeer>(rkState);
}

void FindMissLmdb(benchmark::State& rkState)
{
    RunFindMiss<LmdbPeer>(rkState);
}

void WalkLmdb(benchmark::State& rkState)
{
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    const LmdbPeer& rkPeer = KeptFor<LmdbPeer>(uNodes);
    RunWalk(rkState, uNodes,
            [&]
            {
                unsigned long long ullSum = 0;
                rkPeer.Walk([&](const structAssetNode& tsNode) { ullSum += tsNode.ullFileSize; });
                return ullSum;
            });
}

#endif

#if defined(VOBASE_HAVE_CDB)

void FindHitCdb(benchmark::State& rkState)
{
    RunFindHit<CdbPeer>(rkState);
}

void FindMissCdb(benchmark::State& rkState)
{
    RunFindMiss<CdbPeer>(rkState);
}

#endif

void Sizes(benchmark::internal::Benchmark* pkBenchmark)
{
    pkBenchmark->Arg(10000)->Arg(100000)->Arg(1000000);
}

BENCHMARK(NormaliseAndHash)->Apply(Sizes);
BENCHMARK(FindHit)->Apply(Sizes);
BENCHMARK(FindMiss)->Apply(Sizes);
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

// Searches for names and extensions over a whole tree, beside the walk over all nodes and beside a flat scan of the
// same names. Each search has to find what the walk finds, in its order.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "benchmarks/support/asset_tree.h"
#include "benchmarks/support/provider_fill.h"
#include "platform/vo_platform.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_mapping.h"

namespace
{

using LUMTrayService::structAssetNode;
using LUMTrayService::TraverseAssetNodeFunction;

// What is searched for: in no name, in one, in a fortieth of them.
constexpr const VOWCHAR* kpszNone = VOTEXT("Bridge_99_");
constexpr const VOWCHAR* kpszCommon = VOTEXT("walkcycle_7");
constexpr const VOWCHAR* kpszCommonInItsCase = VOTEXT("WalkCycle_7");

struct FreeImage
{
    void operator()(void* pvImage) const { free(pvImage); }
};

struct Inspector : VOTSFileMappingInspector
{
    Inspector() : VOTSFileMappingInspector(LUMTrayService::AF_SOURCE) {}
    VOTSAssetNodeContainer& Container() const { return *m_pkAssetNodeContainer; }
};

// An inspector with the image of a tree, kept for the life of the program.
struct Searched
{
    std::unique_ptr<void, FreeImage> pImage;
    Inspector inspector;
    std::string strNames;  // by node, in lower case
    VOWString strRare;     // a name that one node has

    explicit Searched(const AssetTree& tree)
    {
        VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
        if (!FillProvider(provider, tree))
        {
            abort();
        }
        pImage.reset(provider.GetAlloc());
        Attach();
        for (unsigned int uNode = 0; uNode < tree.vecNode.size(); ++uNode)
        {
            structAssetNode tsNode;
            inspector.Container().GetAssetNode(uNode, tsNode);
            const VOWCHAR* const pszName = inspector.Container().GetString(tsNode.hStrBaseName);
            VOWString strName(MAX_PATH, 0);
            lstrcpynW(strName.data(), pszName != nullptr ? pszName : VOTEXT(""), MAX_PATH);
            strName.resize(static_cast<size_t>(lstrlenW(strName.c_str())));
            strRare = uNode == tree.vecNode.size() * 2 / 3 ? strName : strRare;
            CharLowerBuffW(strName.data(), static_cast<DWORD>(strName.size()));
            strNames.append(strName.begin(), strName.end()).push_back('\0');
        }
    }

    // Attaches the image anew.
    void Attach()
    {
        if (!inspector.Container().SetAlloc(static_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pImage.get()), 0))
        {
            abort();
        }
    }
};

Searched& SearchedOf(size_t uNodes)
{
    static std::map<size_t, std::unique_ptr<Searched>> s_mapKept;
    std::unique_ptr<Searched>& pKept = s_mapKept[uNodes];
    if (pKept == nullptr)
    {
        pKept = std::make_unique<Searched>(AssetTreeOf(uNodes));
    }
    return *pKept;
}

// What was found, and in which order.
struct Found
{
    unsigned long long ullCount = 0;
    unsigned long long ullOrder = 0;

    bool operator==(const Found&) const = default;

    static int Take(const structAssetNode& tsNode, void* pvFound, int&)
    {
        Found& found = *static_cast<Found*>(pvFound);
        ++found.ullCount;
        found.ullOrder = found.ullOrder * 31 + tsNode.nAssetID;
        return 1;
    }
};

// The walk over all nodes, with the same comparison at each of them.
struct Walk
{
    const VOTSAssetNodeContainer* pContainer;
    const VOWCHAR* pszText;
    bool bMatchCase;
    bool bExtension;
    Found found;

    static int Visit(const structAssetNode& tsNode, void* pvWalk, int& bStop)
    {
        Walk& walk = *static_cast<Walk*>(pvWalk);
        const VOWCHAR* const pszOwn =
            walk.pContainer->GetString(walk.bExtension ? tsNode.hStrExtension : tsNode.hStrBaseName);
        const bool bHit = walk.bExtension   ? StrCmpIW(pszOwn, walk.pszText) == 0
                          : walk.bMatchCase ? StrStrW(pszOwn, walk.pszText) != nullptr
                                            : StrStrIW(pszOwn, walk.pszText) != nullptr;
        return bHit ? Found::Take(tsNode, &walk.found, bStop) : 1;
    }
};

Found ByWalk(const Searched& searched, const VOWCHAR* pszText, bool bMatchCase, bool bExtension)
{
    Walk walk = {&searched.inspector.Container(), pszText, bMatchCase, bExtension, {}};
    VOTSAssetNodeContainerHelper::TraverseAssetNode(walk.pContainer, 0, bExtension ? 1 : 3, 1, &Walk::Visit, &walk);
    return walk.found;
}

Found BySearch(const Searched& searched, const VOWCHAR* pszText, bool bMatchCase, bool bExtension)
{
    Found found;
    if (bExtension)
    {
        searched.inspector.TraverseAssetNode_Extension(0, pszText, bMatchCase, 1, &Found::Take, &found);
    }
    else
    {
        searched.inspector.TraverseAssetNode_FileName(0, pszText, bMatchCase, 3, 1, &Found::Take, &found);
    }
    return found;
}

enum class Way
{
    Walk,
    Search,
    FirstSearch  // of an image that was attached just now
};

template <Way eWay>
void Run(benchmark::State& state, const VOWCHAR* pszText, bool bMatchCase, bool bExtension)
{
    Searched& searched = SearchedOf(static_cast<size_t>(state.range(0)));
    pszText = pszText != nullptr ? pszText : searched.strRare.c_str();
    const Found expected = ByWalk(searched, pszText, bMatchCase, bExtension);
    for (auto _ : state)
    {
        if (eWay == Way::FirstSearch)
        {
            state.PauseTiming();
            searched.Attach();
            state.ResumeTiming();
        }
        const Found found = eWay == Way::Walk ? ByWalk(searched, pszText, bMatchCase, bExtension)
                                              : BySearch(searched, pszText, bMatchCase, bExtension);
        if (found != expected)
        {
            state.SkipWithError("wrong nodes");
            break;
        }
    }
    state.counters["found"] = static_cast<double>(expected.ullCount);
}

void Walks(benchmark::State& state, const VOWCHAR* pszText, bool bMatchCase, bool bExtension)
{
    Run<Way::Walk>(state, pszText, bMatchCase, bExtension);
}

void Finds(benchmark::State& state, const VOWCHAR* pszText, bool bMatchCase, bool bExtension)
{
    Run<Way::Search>(state, pszText, bMatchCase, bExtension);
}

void FindsFirst(benchmark::State& state, const VOWCHAR* pszText, bool bMatchCase, bool bExtension)
{
    Run<Way::FirstSearch>(state, pszText, bMatchCase, bExtension);
}

// The floor: the names in one block, scanned from end to end, and nothing done with what is found.
void FlatScan(benchmark::State& state, const VOWCHAR* pszText)
{
    const Searched& searched = SearchedOf(static_cast<size_t>(state.range(0)));
    VOWString strLower = pszText != nullptr ? pszText : searched.strRare;
    CharLowerBuffW(strLower.data(), static_cast<DWORD>(strLower.size()));
    const std::string strText(strLower.begin(), strLower.end());
    const unsigned long long ullExpected = ByWalk(searched, strLower.c_str(), false, false).ullCount;
    for (auto _ : state)
    {
        const std::string_view strNames = searched.strNames;
        unsigned long long ullFound = 0;
        for (size_t uAt = 0; (uAt = strNames.find(strText, uAt)) != std::string_view::npos; ++ullFound)
        {
            uAt = strNames.find('\0', uAt);
        }
        if (ullFound != ullExpected)
        {
            state.SkipWithError("wrong number");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(searched.strNames.size()));
}

void Sizes(benchmark::internal::Benchmark* pBenchmark)
{
    pBenchmark->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(Walks, NameNone, kpszNone, false, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Walks, NameRare, nullptr, false, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Walks, NameCommon, kpszCommon, false, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Walks, Extension, VOTEXT("PNG"), false, true)->Apply(Sizes);
BENCHMARK_CAPTURE(FlatScan, None, kpszNone)->Apply(Sizes);
BENCHMARK_CAPTURE(FlatScan, Rare, nullptr)->Apply(Sizes);
BENCHMARK_CAPTURE(FlatScan, Common, kpszCommon)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, NameNone, kpszNone, false, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, NameRare, nullptr, false, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, NameCommon, kpszCommon, false, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, NameNoneInItsCase, kpszNone, true, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, NameRareInItsCase, nullptr, true, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, NameCommonInItsCase, kpszCommonInItsCase, true, false)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, ExtensionNone, VOTEXT("tif|psd"), false, true)->Apply(Sizes);
BENCHMARK_CAPTURE(Finds, ExtensionCommon, VOTEXT("PNG"), false, true)->Apply(Sizes);
BENCHMARK_CAPTURE(FindsFirst, NameFirst, kpszNone, false, false)->Apply(Sizes);

}  // namespace

BENCHMARK_MAIN();

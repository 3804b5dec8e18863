// The road of an image through a section: compress, publish, open to the first answer, decompress; beside the bare LZO
// calls. The sections lie in a name space of this program's own.
#include <benchmark/benchmark.h>
#include <lzo/lzo1x.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>

#include "benchmarks/support/asset_tree.h"
#include "benchmarks/support/provider_fill.h"
#include "platform/vo_section_publisher.h"
#include "vo_utility.h"
#include "vots_file_mapping.h"

namespace
{

using LUMTrayService::structAssetNode;
using LUMTrayService::Inspector::ET_NONE;

struct FreeBlock
{
    void operator()(void* pvBlock) const { free(pvBlock); }
};
typedef std::unique_ptr<unsigned char, FreeBlock> Block;

constexpr size_t kBlockHead = 16;

// The image of a tree, compressed, and published as the source.
struct Published
{
    Block pbImage;
    unsigned int uImage = 0;
    Block pbBlock;
    unsigned int uBlock = 0;
    VOPublishedSection kState;
    VOPublishedSection data;

    explicit Published(size_t uNodes)
    {
        VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
        if (!FillProvider(provider, AssetTreeOf(uNodes)))
        {
            abort();
        }
        VOTSAssetNodeContainer::ContainerAlloc* pAlloc = provider.GetAlloc();
        VOTSAssetNodeContainer::ContainerAlloc head;
        memcpy(&head, pAlloc, sizeof(head));
        pbImage.reset(reinterpret_cast<unsigned char*>(pAlloc));
        uImage = static_cast<unsigned int>(head.uDataBufSize + sizeof(head));

        unsigned char* pbResult = nullptr;
        if (!VOCompressBuffer_lzo1x(&pbResult, &uBlock, pbImage.get(), uImage))
        {
            abort();
        }
        pbBlock.reset(pbResult);
        if (!data.Replace(ASSETNODE_MAPPING_VIEW_STRING(LUMTrayService::AF_SOURCE), pbBlock.get(), uBlock) ||
            !kState.OpenOrCreate(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, sizeof(AssetNodeUpdateState)))
        {
            abort();
        }
        AssetNodeUpdateState* pState = static_cast<AssetNodeUpdateState*>(kState.Data());
        memcpy(pState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(pState->szVersion));
        pState->arrStateInfo[LUMTrayService::AF_SOURCE] = {1, 1, 0};
    }
};

Published& PublishedTree(benchmark::State& state)
{
    // One at a time: a name stands for one section.
    static std::unique_ptr<Published> s_pPublished;
    static size_t s_uNodes = 0;
    const size_t uNodes = static_cast<size_t>(state.range(0));
    if (s_uNodes != uNodes)
    {
        s_pPublished.reset();
        s_pPublished = std::make_unique<Published>(uNodes);
        s_uNodes = uNodes;
    }
    return *s_pPublished;
}

void OpenToFirstAnswer(benchmark::State& state)
{
    PublishedTree(state);
    const VOWString& path = AssetTreeOf(static_cast<size_t>(state.range(0))).vecHit.front();
    for (auto _ : state)
    {
        VOTSFileMappingInspector inspector(LUMTrayService::AF_SOURCE);
        structAssetNode tsNode;
        if (inspector.OpenMappingState() != ET_NONE || inspector.OpenMappingData() != ET_NONE ||
            !inspector.GetAssetNode(path.c_str(), tsNode))
        {
            state.SkipWithError("no answer");
            break;
        }
        inspector.CloseMapping();
    }
}

void BareDecompress(benchmark::State& state)
{
    const Published& published = PublishedTree(state);
    const unsigned char* pbSection = static_cast<const unsigned char*>(published.data.Data());
    for (auto _ : state)
    {
        const Block pbImage(static_cast<unsigned char*>(malloc(published.uImage)));
        lzo_uint uSize = published.uImage;
        if (lzo1x_decompress_safe(pbSection + kBlockHead, published.uBlock - 24, pbImage.get(), &uSize, nullptr) !=
                LZO_E_OK ||
            uSize != published.uImage)
        {
            state.SkipWithError("not decompressed");
            break;
        }
    }
}

void Decompress(benchmark::State& state)
{
    const Published& published = PublishedTree(state);
    for (auto _ : state)
    {
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        if (!VODeCompressBuffer_lzo1x(&pbResult, &uSize, published.pbBlock.get()) || uSize != published.uImage)
        {
            state.SkipWithError("not decompressed");
            break;
        }
        free(pbResult);
    }
}

void Compress(benchmark::State& state)
{
    const Published& published = PublishedTree(state);
    for (auto _ : state)
    {
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        if (!VOCompressBuffer_lzo1x(&pbResult, &uSize, published.pbImage.get(), published.uImage) ||
            uSize != published.uBlock)
        {
            state.SkipWithError("not compressed");
            break;
        }
        free(pbResult);
    }
}

void BareCompress(benchmark::State& state)
{
    const Published& published = PublishedTree(state);
    const Block pbWork(static_cast<unsigned char*>(malloc(LZO1X_1_MEM_COMPRESS)));
    for (auto _ : state)
    {
        const Block pbStream(static_cast<unsigned char*>(malloc(published.uImage + published.uImage / 16ull + 67)));
        lzo_uint uSize = 0;
        lzo1x_1_compress(published.pbImage.get(), published.uImage, pbStream.get(), &uSize, pbWork.get());
        if (uSize + 24 != published.uBlock)
        {
            state.SkipWithError("not compressed");
            break;
        }
    }
}

int CountNode(const structAssetNode&, void* pvCount, int&)
{
    ++*static_cast<unsigned int*>(pvCount);
    return 1;
}

// The name filter over a whole source, without regard to case.
void FilterByName(benchmark::State& state)
{
    PublishedTree(state);
    VOTSFileMappingInspector inspector(LUMTrayService::AF_SOURCE);
    inspector.OpenMappingState();
    inspector.OpenMappingData();
    for (auto _ : state)
    {
        unsigned int uCount = 0;
        inspector.TraverseAssetNode_FileName(0, VOTEXT("bridge"), 0, 3, 1, CountNode, &uCount);
        if (uCount == 0)
        {
            state.SkipWithError("nothing found");
            break;
        }
        benchmark::DoNotOptimize(uCount);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(inspector.GetAssetNodeCount()));
    inspector.CloseMapping();
}

void Sizes(benchmark::internal::Benchmark* pBenchmark)
{
    pBenchmark->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(OpenToFirstAnswer)->Apply(Sizes);
BENCHMARK(BareDecompress)->Apply(Sizes);
BENCHMARK(Decompress)->Apply(Sizes);
BENCHMARK(Compress)->Apply(Sizes);
BENCHMARK(BareCompress)->Apply(Sizes);
BENCHMARK(FilterByName)->Apply(Sizes);

}  // namespace

int main(int argc, char** argv)
{
    setenv("VOBASE_NAMESPACE", ("benchmark" + std::to_string(getpid())).c_str(), 1);
    lzo_init();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

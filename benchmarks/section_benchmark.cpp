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
    VOPublishedSection kData;

    explicit Published(size_t uNodes)
    {
        VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
        if (!FillProvider(kProvider, AssetTreeOf(uNodes)))
        {
            abort();
        }
        VOTSAssetNodeContainer::ContainerAlloc* pAlloc = kProvider.GetAlloc();
        VOTSAssetNodeContainer::ContainerAlloc kHead;
        memcpy(&kHead, pAlloc, sizeof(kHead));
        pbImage.reset(reinterpret_cast<unsigned char*>(pAlloc));
        uImage = static_cast<unsigned int>(kHead.uDataBufSize + sizeof(kHead));

        unsigned char* pbResult = nullptr;
        if (!VOCompressBuffer_lzo1x(&pbResult, &uBlock, pbImage.get(), uImage))
        {
            abort();
        }
        pbBlock.reset(pbResult);
        if (!kData.Replace(ASSETNODE_MAPPING_VIEW_STRING(LUMTrayService::AF_SOURCE), pbBlock.get(), uBlock) ||
            !kState.OpenOrCreate(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, sizeof(AssetNodeUpdateState)))
        {
            abort();
        }
        AssetNodeUpdateState* pState = static_cast<AssetNodeUpdateState*>(kState.Data());
        memcpy(pState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(pState->szVersion));
        pState->arrStateInfo[LUMTrayService::AF_SOURCE] = {1, 1, 0};
    }
};

Published& PublishedTree(benchmark::State& rkState)
{
    // One at a time: a name stands for one section.
    static std::unique_ptr<Published> s_pkPublished;
    static size_t s_uNodes = 0;
    const size_t uNodes = static_cast<size_t>(rkState.range(0));
    if (s_uNodes != uNodes)
    {
        s_pkPublished.reset();
        s_pkPublished = std::make_unique<Published>(uNodes);
        s_uNodes = uNodes;
    }
    return *s_pkPublished;
}

void OpenToFirstAnswer(benchmark::State& rkState)
{
    PublishedTree(rkState);
    const VOWString& rkPath = AssetTreeOf(static_cast<size_t>(rkState.range(0))).vecHit.front();
    for (auto _ : rkState)
    {
        VOTSFileMappingInspector kInspector(LUMTrayService::AF_SOURCE);
        structAssetNode tsNode;
        if (kInspector.OpenMappingState() != ET_NONE || kInspector.OpenMappingData() != ET_NONE ||
            !kInspector.GetAssetNode(rkPath.c_str(), tsNode))
        {
            rkState.SkipWithError("no answer");
            break;
        }
        kInspector.CloseMapping();
    }
}

void BareDecompress(benchmark::State& rkState)
{
    const Published& rkPublished = PublishedTree(rkState);
    const unsigned char* pbSection = static_cast<const unsigned char*>(rkPublished.kData.Data());
    for (auto _ : rkState)
    {
        const Block pbImage(static_cast<unsigned char*>(malloc(rkPublished.uImage)));
        lzo_uint uSize = rkPublished.uImage;
        if (lzo1x_decompress_safe(pbSection + kBlockHead, rkPublished.uBlock - 24, pbImage.get(), &uSize, nullptr) !=
                LZO_E_OK ||
            uSize != rkPublished.uImage)
        {
            rkState.SkipWithError("not decompressed");
            break;
        }
    }
}

void Decompress(benchmark::State& rkState)
{
    const Published& rkPublished = PublishedTree(rkState);
    for (auto _ : rkState)
    {
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        if (!VODeCompressBuffer_lzo1x(&pbResult, &uSize, rkPublished.pbBlock.get()) || uSize != rkPublished.uImage)
        {
            rkState.SkipWithError("not decompressed");
            break;
        }
        free(pbResult);
    }
}

void Compress(benchmark::State& rkState)
{
    const Published& rkPublished = PublishedTree(rkState);
    for (auto _ : rkState)
    {
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        if (!VOCompressBuffer_lzo1x(&pbResult, &uSize, rkPublished.pbImage.get(), rkPublished.uImage) ||
            uSize != rkPublished.uBlock)
        {
            rkState.SkipWithError("not compressed");
            break;
        }
        free(pbResult);
    }
}

void BareCompress(benchmark::State& rkState)
{
    const Published& rkPublished = PublishedTree(rkState);
    const Block pbWork(static_cast<unsigned char*>(malloc(LZO1X_1_MEM_COMPRESS)));
    for (auto _ : rkState)
    {
        const Block pbStream(static_cast<unsigned char*>(malloc(rkPublished.uImage + rkPublished.uImage / 16ull + 67)));
        lzo_uint uSize = 0;
        lzo1x_1_compress(rkPublished.pbImage.get(), rkPublished.uImage, pbStream.get(), &uSize, pbWork.get());
        if (uSize + 24 != rkPublished.uBlock)
        {
            rkState.SkipWithError("not compressed");
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
void FilterByName(benchmark::State& rkState)
{
    PublishedTree(rkState);
    VOTSFileMappingInspector kInspector(LUMTrayService::AF_SOURCE);
    kInspector.OpenMappingState();
    kInspector.OpenMappingData();
    for (auto _ : rkState)
    {
        unsigned int uCount = 0;
        kInspector.TraverseAssetNode_FileName(0, VOTEXT("bridge"), 0, 3, 1, CountNode, &uCount);
        if (uCount == 0)
        {
            rkState.SkipWithError("nothing found");
            break;
        }
        benchmark::DoNotOptimize(uCount);
    }
    rkState.SetItemsProcessed(rkState.iterations() * static_cast<int64_t>(kInspector.GetAssetNodeCount()));
    kInspector.CloseMapping();
}

void Sizes(benchmark::internal::Benchmark* pkBenchmark)
{
    pkBenchmark->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
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

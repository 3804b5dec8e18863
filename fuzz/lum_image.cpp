#include "base/console.h"
#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "image/image_check.h"
#include "image/image_dump.h"
#include "vots_asset_node_container.h"

namespace
{
// Records of each kind that are written out.
constexpr uint32_t kDumped = 1;
}  // namespace

void FuzzLumImage(const uint8_t* pbData, size_t uSize)
{
    lum::Findings kFindings;
    const lum::ImageLayout kLayout = lum::ReadLayout(lum::ByteView(pbData, uSize), &kFindings);
    const lum::ImageReport kReport = lum::CheckImage(kLayout, &kFindings);
    FUZZ_REQUIRE(kLayout.kAll.Size() == uSize);
    FUZZ_REQUIRE(kReport.uFiles + kReport.uFolders + kReport.uRemovedNodes <= kReport.uNodes);
    // What lum finds nothing wrong with, a reader takes.
    if (kFindings.Count() == 0)
    {
        VOTSAssetNodeContainer kView(LUMTrayService::AR_Customer);
        FUZZ_REQUIRE(
            kView.SetAlloc(reinterpret_cast<VOTSAssetNodeContainer::ContainerAlloc*>(const_cast<uint8_t*>(pbData)), 0,
                           uSize) != 0);
        FUZZ_REQUIRE(kView.GetAssetNodeCount() == kReport.uNodes);
    }
}

void FuzzLumDump(const uint8_t* pbData, size_t uSize)
{
    lum::Findings kFindings;
    lum::Output kOutput;
    lum::DumpImage(lum::ReadLayout(lum::ByteView(pbData, uSize), &kFindings), kDumped, &kOutput);
}

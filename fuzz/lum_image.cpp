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
    lum::Findings findings;
    const lum::ImageLayout layout = lum::ReadLayout(lum::ByteView(pbData, uSize), &findings);
    const lum::ImageReport report = lum::CheckImage(layout, &findings);
    FUZZ_REQUIRE(layout.all.Size() == uSize);
    FUZZ_REQUIRE(report.uFiles + report.uFolders + report.uRemovedNodes <= report.uNodes);
    // What lum finds nothing wrong with, a reader takes.
    if (findings.Count() == 0)
    {
        VOTSAssetNodeContainer view(LUMTrayService::AR_Customer);
        FUZZ_REQUIRE(
            view.SetAlloc(reinterpret_cast<VOTSAssetNodeContainer::ContainerAlloc*>(const_cast<uint8_t*>(pbData)), 0,
                          uSize) != 0);
        FUZZ_REQUIRE(view.GetAssetNodeCount() == report.uNodes);
    }
}

void FuzzLumDump(const uint8_t* pbData, size_t uSize)
{
    lum::Findings findings;
    lum::Output output;
    lum::DumpImage(lum::ReadLayout(lum::ByteView(pbData, uSize), &findings), kDumped, &output);
}

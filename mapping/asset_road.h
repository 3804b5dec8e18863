// The second road to an asset image, as a reader takes it: the base of a generation in pages of this process's own, and
// the batches of its log applied to them.
//
// Nothing that is read is trusted; whatever is wrong in any way means that there is no second road, and the caller
// takes the other one. One thread at a time, but for Standing.
#pragma once

#include <memory>

#include "assetindex/asset_base.h"
#include "mapping/road_state.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_signal.h"

// How what a reader came to stands to what is published.
enum class VORoadStanding
{
    Current,
    Outdated,
    Withdrawn  // there is no second road that goes with the image: its count tells whether anything came behind it
};

// The base of one generation, in pages of this process's own, and what was applied of its log. One thread at a time.
class VORoadGeneration
{
public:
    // False, with none, when base and log aren't there or unsound.
    bool Open(LUMTrayService::enumAssetFrom eaf, uint64_t ullNumber);

    // Applies the batches up to so many bytes of the log. On false the base is spoilt.
    bool Apply(uint64_t ullWritten);

    uint64_t Number() const { return m_base.Head().ullGeneration; }
    uint64_t Applied() const { return m_ullApplied; }
    const VOAssetBase& Base() const { return m_base; }

private:
    VOSectionView m_baseView;
    VOSectionView m_logView;
    VOAssetBase m_base;
    uint64_t m_ullApplied = 0;  // bytes of the log
};

class VOAssetRoad
{
public:
    explicit VOAssetRoad(LUMTrayService::enumAssetFrom eaf) : m_eaf(eaf) {}
    ~VOAssetRoad() { Close(); }
    VOAssetRoad(const VOAssetRoad&) = delete;
    VOAssetRoad& operator=(const VOAssetRoad&) = delete;

    // Whether this process takes the second road at all: not with 1 in the environment variable VOBASE_CLASSIC.
    static bool IsWanted();

    // Whether an inspector of this process shows an image of a source, which may be behind the second road. Any thread.
    static bool IsImageHeld(LUMTrayService::enumAssetFrom eaf);

    // An inspector takes an image of its source, or lets go of it.
    static void HoldImage(LUMTrayService::enumAssetFrom eaf, bool bHeld);

    // Counts what was found unsound of a source, for whoever looks after the publisher. Any thread.
    static void CountDoubt(LUMTrayService::enumAssetFrom eaf) { _Count(eaf, &VORoadSource::uDoubted); }

    // Comes to a state that was published when this was called, or later, by the batches that are missing or by the
    // present base. uImageCount: the update count of the image of the first road. False when there is none of a living
    // publisher that goes with that image: what was there before is let go of then. A generation that was found unsound
    // isn't tried again. Whoever looks at Base() has let go of it before, and takes it anew.
    bool Follow(uint32_t uImageCount);

    // Lets go of the base and its log; Close lets go of the state section too.
    void Leave();
    void Close();

    bool IsThere() const { return m_pGeneration != nullptr; }

    // Five loads; any thread, also beside Follow and Leave, but not beside Close.
    VORoadStanding Standing(uint32_t uImageCount) const;

    // What steps with each publication of the source, or of any; null while there is no state section. Any thread, but
    // not beside Follow and Close.
    const VOSharedSignal* Signal() const { return m_pSignal.get(); }
    const VOSharedSignal* AnySignal() const { return m_pAnySignal.get(); }

    // The state that the last Follow came to.
    const VOAssetBase& Base() const { return m_pGeneration->Base(); }

private:
    const VORoadSource* _Source();
    void _Attach(uint64_t ullNumber);
    static void _Count(LUMTrayService::enumAssetFrom eaf, uint32_t VORoadSource::*pCount);

    LUMTrayService::enumAssetFrom m_eaf;
    VOSectionView m_state;
    const VORoadSource* m_pSource = nullptr;  // in the state section
    std::unique_ptr<VOSharedSignal> m_pSignal;
    std::unique_ptr<VOSharedSignal> m_pAnySignal;
    std::unique_ptr<VORoadGeneration> m_pGeneration;
    uint64_t m_ullDoubted = 0;

    // What Standing compares; shared words.
    uint64_t m_ullNumber = 0;
    uint64_t m_ullApplied = 0;
};

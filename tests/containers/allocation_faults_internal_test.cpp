// Every allocation of images and arrays fails once, the first, then the second, until a body runs through: the failure
// is the allocator's exception, nothing leaks (the address sanitizer looks), and the container answers as before.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "containers/vots_number_container.h"
#include "support/bytes.h"
#include "support/memory_faults.h"
#include "support/opened_containers.h"
#include "support/string_set_model.h"
#include "support/text.h"
#include "vo_buffer_container.h"
#include "vo_string_hash_set.h"
#include "vo_utility.h"

using namespace votest;

namespace
{
using votest::ImageOf;

Bytes ImageOf(const VOTSNumberContainer& rkNumbers)
{
    const size_t uSize = static_cast<size_t>(rkNumbers.AllocSize());
    return TakeBytes(rkNumbers.GetAlloc(), uSize);
}

void FillStrings(VOStringContainer& rkStrings)
{
    rkStrings.Add(VOTEXT("first"));
    rkStrings.Add(VOTEXT("second"));
}

void FillSet(VOStringHashSet& rkSet)
{
    rkSet.Insert(VOTEXT("first"));
    rkSet.Insert(VOTEXT("second"));
}

void FillNumbers(VOTSNumberContainer& rkNumbers)
{
    unsigned int uIndex = 0;
    rkNumbers.InsertNumber({1, 2, 3}, uIndex);
}

template <typename T>
Bytes ImageAfter(void (*pfnFill)(T&))
{
    T kContainer;
    pfnFill(kContainer);
    return ImageOf(kContainer);
}

void ExpectFirstAndSecond(const VOStringHashSet& rkSet)
{
    EXPECT_EQ(2u, rkSet.Count());
    EXPECT_EQ(nullptr, rkSet.Find(VOTEXT("first")));  // handle 0
    EXPECT_EQ(reinterpret_cast<void*>(uintptr_t{1}), rkSet.Find(VOTEXT("second")));
    EXPECT_EQ(VOTEXT("first"), ReadText(rkSet.GetString(nullptr)));
    EXPECT_EQ(VOTEXT("second"), ReadText(rkSet.GetString(reinterpret_cast<void*>(uintptr_t{1}))));
    EXPECT_EQ(INVALID_HANDLE_VALUE, rkSet.Find(VOTEXT("third")));
}
}  // namespace

TEST(AllocationFaults, AFailedAddLeavesATextPoolAsItWas)
{
    const Bytes vecBefore = ImageAfter(&FillStrings);
    const unsigned uFailed = FailEachAllocation<VOStringContainer>(
        [](VOStringContainer& rkStrings)
        {
            FillStrings(rkStrings);
            rkStrings.ShrinkToFit();
        },
        [](VOStringContainer& rkStrings) { rkStrings.Add(VOTEXT("third")); },
        [&](VOStringContainer& rkStrings)
        {
            EXPECT_TRUE(SameBytes(vecBefore, ImageOf(rkStrings)));
            rkStrings.Add(VOTEXT("third"));
            EXPECT_EQ(VOTEXT("third"), ReadText(rkStrings.Get(2u)));
        });
    EXPECT_LE(2u, uFailed) << "the bytes and the handles";
}

TEST(AllocationFaults, AFailedShrinkLeavesATextPoolsTextsAsTheyWere)
{
    const Bytes vecBefore = ImageAfter(&FillStrings);
    const unsigned uFailed = FailEachAllocation<VOStringContainer>(
        &FillStrings,
        [](VOStringContainer& rkStrings)
        {
            rkStrings.Add(VOTEXT("third"));
            rkStrings.Clean();
            FillStrings(rkStrings);
            rkStrings.ShrinkToFit();
        },
        [&](VOStringContainer& rkStrings)
        {
            rkStrings.Release();
            FillStrings(rkStrings);
            EXPECT_TRUE(SameBytes(vecBefore, ImageOf(rkStrings)));
        });
    EXPECT_GE(uFailed, 2u);
}

TEST(AllocationFaults, AFailedImageLeavesEveryContainerAsItWas)
{
    const Bytes vecStrings = ImageAfter(&FillStrings);
    const Bytes vecSet = ImageAfter(&FillSet);
    const Bytes vecNumbers = ImageAfter(&FillNumbers);
    EXPECT_LE(1u, FailEachAllocation<VOStringContainer>(
                      &FillStrings, [](VOStringContainer& rkStrings) { free(rkStrings.GetAlloc()); },
                      [&](VOStringContainer& rkStrings) { EXPECT_TRUE(SameBytes(vecStrings, ImageOf(rkStrings))); }));
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      &FillSet, [](VOStringHashSet& rkSet) { free(rkSet.GetAlloc()); },
                      [&](VOStringHashSet& rkSet) { EXPECT_TRUE(SameBytes(vecSet, ImageOf(rkSet))); }));
    EXPECT_LE(1u, FailEachAllocation<VOTSNumberContainer>(
                      &FillNumbers, [](VOTSNumberContainer& rkNumbers) { free(rkNumbers.GetAlloc()); },
                      [&](VOTSNumberContainer& rkNumbers) { EXPECT_TRUE(SameBytes(vecNumbers, ImageOf(rkNumbers))); }));
}

TEST(AllocationFaults, AFailedInsertLeavesASetsAnswersAsTheyWere)
{
    const unsigned uFailed = FailEachAllocation<VOStringHashSet>(
        [](VOStringHashSet& rkSet)
        {
            FillSet(rkSet);
            rkSet.ShrinkToFit();
        },
        [](VOStringHashSet& rkSet) { rkSet.Insert(VOTEXT("third")); },
        [](VOStringHashSet& rkSet)
        {
            ExpectFirstAndSecond(rkSet);
            EXPECT_EQ(2u, reinterpret_cast<uintptr_t>(rkSet.Insert(VOTEXT("third"))));
            EXPECT_EQ(VOTEXT("third"), ReadText(rkSet.GetString(rkSet.Find(VOTEXT("third")))));
            EXPECT_EQ(3u, rkSet.Count());
        });
    EXPECT_LE(3u, uFailed) << "the text, its handle, and the record";
}

TEST(AllocationFaults, AFailedInsertKeyLeavesASetsAnswersAsTheyWere)
{
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      [](VOStringHashSet& rkSet)
                      {
                          FillSet(rkSet);
                          rkSet.ShrinkToFit();
                      },
                      [](VOStringHashSet& rkSet) { rkSet.InsertKey(VOTEXT("third")); }, &ExpectFirstAndSecond));
}

TEST(AllocationFaults, AFailedCopyOfAnImageLeavesASetThatCanBeCleanedAndUsed)
{
    const MisalignedBlock kImage(ImageAfter(&FillSet), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        struct State
        {
            std::unique_ptr<VOStringHashSet> pkSet;
        };
        auto* pAlloc = kImage.As<VOStringHashSet::StringHashSetAlloc>();
        const unsigned uFailed = FailEachAllocation<State>(
            [eRole](State& rkState) { rkState.pkSet = std::make_unique<VOStringHashSet>(eRole); },
            [&](State& rkState) { rkState.pkSet->SetAlloc(pAlloc, 1, kImage.Size()); },
            [&](State& rkState)
            {
                EXPECT_EQ(1, rkState.pkSet->CleanUp());
                EXPECT_EQ(0u, rkState.pkSet->Count());
                ASSERT_EQ(1, rkState.pkSet->SetAlloc(pAlloc, 0, kImage.Size()));
                ExpectFirstAndSecond(*rkState.pkSet);
            });
        EXPECT_LE(3u, uFailed) << "the records, the texts, and their handles";
    }
}

TEST(AllocationFaults, AFailedCopyOfASetLeavesTheSourceAsItWas)
{
    EXPECT_LE(3u,
              FailEachAllocation<VOStringHashSet>(
                  &FillSet, [](VOStringHashSet& rkSet) { const VOStringHashSet kCopy(rkSet); }, &ExpectFirstAndSecond));
}

TEST(AllocationFaults, AFailedAssignmentLeavesBothSetsSound)
{
    struct State
    {
        VOStringHashSet kFrom;
        VOStringHashSet kTo;
    };
    EXPECT_LE(3u, FailEachAllocation<State>(
                      [](State& rkState)
                      {
                          FillSet(rkState.kFrom);
                          rkState.kTo.Insert(VOTEXT("other"));
                      },
                      [](State& rkState) { rkState.kTo = rkState.kFrom; },
                      [](State& rkState)
                      {
                          ExpectFirstAndSecond(rkState.kFrom);
                          EXPECT_EQ(1, rkState.kTo.CleanUp());
                          FillSet(rkState.kTo);
                          ExpectFirstAndSecond(rkState.kTo);
                      }));
}

TEST(AllocationFaults, AFailedInsertionLeavesANumberContainerAsItWas)
{
    const Bytes vecBefore = ImageAfter(&FillNumbers);
    const auto fnMake = [](VOTSNumberContainer& rkNumbers)
    {
        FillNumbers(rkNumbers);
        rkNumbers.ShrinkToFit();
    };
    const auto fnCheck = [&](VOTSNumberContainer& rkNumbers) { EXPECT_TRUE(SameBytes(vecBefore, ImageOf(rkNumbers))); };
    unsigned int uResult = 0;
    EXPECT_LE(1u, FailEachAllocation<VOTSNumberContainer>(
                      fnMake, [&](VOTSNumberContainer& rkNumbers) { rkNumbers.InsertNumber(0, 4, uResult); }, fnCheck));
    EXPECT_LE(1u, FailEachAllocation<VOTSNumberContainer>(
                      fnMake,
                      [&](VOTSNumberContainer& rkNumbers) {
                          rkNumbers.InsertNumber({7, 8}, uResult);
                      },
                      fnCheck));
}

TEST(AllocationFaults, AFailedBlockLeavesTheOutputsUntouched)
{
    struct State
    {
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 4711;
    };
    const auto fnMake = [](State&) {};
    const auto fnCheck = [](State& rkState)
    {
        EXPECT_EQ(nullptr, rkState.pbResult);
        EXPECT_EQ(4711u, rkState.uSize);
    };
    Bytes vecSource(1000, 'x');
    EXPECT_LE(2u, FailEachAllocation<State>(
                      fnMake,
                      [&](State& rkState)
                      {
                          VOCompressBuffer_lzo1x(&rkState.pbResult, &rkState.uSize, vecSource.data(), 1000);
                          free(rkState.pbResult);
                      },
                      fnCheck))
        << "the block and the work memory";

    State kBlock;
    ASSERT_EQ(1, VOCompressBuffer_lzo1x(&kBlock.pbResult, &kBlock.uSize, vecSource.data(), 1000));
    EXPECT_LE(1u, FailEachAllocation<State>(
                      fnMake,
                      [&](State& rkState)
                      {
                          VODeCompressBuffer_lzo1x(&rkState.pbResult, &rkState.uSize, kBlock.pbResult);
                          free(rkState.pbResult);
                      },
                      fnCheck));
    free(kBlock.pbResult);
}

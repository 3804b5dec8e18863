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

Bytes ImageOf(const VOTSNumberContainer& numbers)
{
    const size_t uSize = static_cast<size_t>(numbers.AllocSize());
    return TakeBytes(numbers.GetAlloc(), uSize);
}

void FillStrings(VOStringContainer& strings)
{
    strings.Add(VOTEXT("first"));
    strings.Add(VOTEXT("second"));
}

void FillSet(VOStringHashSet& set)
{
    set.Insert(VOTEXT("first"));
    set.Insert(VOTEXT("second"));
}

void FillNumbers(VOTSNumberContainer& numbers)
{
    unsigned int uIndex = 0;
    numbers.InsertNumber({1, 2, 3}, uIndex);
}

template <typename T>
Bytes ImageAfter(void (*pfnFill)(T&))
{
    T container;
    pfnFill(container);
    return ImageOf(container);
}

void ExpectFirstAndSecond(const VOStringHashSet& set)
{
    EXPECT_EQ(2u, set.Count());
    EXPECT_EQ(nullptr, set.Find(VOTEXT("first")));  // handle 0
    EXPECT_EQ(reinterpret_cast<void*>(uintptr_t{1}), set.Find(VOTEXT("second")));
    EXPECT_EQ(VOTEXT("first"), ReadText(set.GetString(nullptr)));
    EXPECT_EQ(VOTEXT("second"), ReadText(set.GetString(reinterpret_cast<void*>(uintptr_t{1}))));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("third")));
}
}  // namespace

TEST(AllocationFaults, AFailedAddLeavesATextPoolAsItWas)
{
    const Bytes vecBefore = ImageAfter(&FillStrings);
    const unsigned uFailed = FailEachAllocation<VOStringContainer>(
        [](VOStringContainer& strings)
        {
            FillStrings(strings);
            strings.ShrinkToFit();
        },
        [](VOStringContainer& strings) { strings.Add(VOTEXT("third")); },
        [&](VOStringContainer& strings)
        {
            EXPECT_TRUE(SameBytes(vecBefore, ImageOf(strings)));
            strings.Add(VOTEXT("third"));
            EXPECT_EQ(VOTEXT("third"), ReadText(strings.Get(2u)));
        });
    EXPECT_LE(2u, uFailed) << "the bytes and the handles";
}

TEST(AllocationFaults, AFailedShrinkLeavesATextPoolsTextsAsTheyWere)
{
    const Bytes vecBefore = ImageAfter(&FillStrings);
    const unsigned uFailed = FailEachAllocation<VOStringContainer>(
        &FillStrings,
        [](VOStringContainer& strings)
        {
            strings.Add(VOTEXT("third"));
            strings.Clean();
            FillStrings(strings);
            strings.ShrinkToFit();
        },
        [&](VOStringContainer& strings)
        {
            strings.Release();
            FillStrings(strings);
            EXPECT_TRUE(SameBytes(vecBefore, ImageOf(strings)));
        });
    EXPECT_GE(uFailed, 2u);
}

TEST(AllocationFaults, AFailedImageLeavesEveryContainerAsItWas)
{
    const Bytes vecStrings = ImageAfter(&FillStrings);
    const Bytes vecSet = ImageAfter(&FillSet);
    const Bytes vecNumbers = ImageAfter(&FillNumbers);
    EXPECT_LE(1u, FailEachAllocation<VOStringContainer>(
                      &FillStrings, [](VOStringContainer& strings) { free(strings.GetAlloc()); },
                      [&](VOStringContainer& strings) { EXPECT_TRUE(SameBytes(vecStrings, ImageOf(strings))); }));
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      &FillSet, [](VOStringHashSet& set) { free(set.GetAlloc()); },
                      [&](VOStringHashSet& set) { EXPECT_TRUE(SameBytes(vecSet, ImageOf(set))); }));
    EXPECT_LE(1u, FailEachAllocation<VOTSNumberContainer>(
                      &FillNumbers, [](VOTSNumberContainer& numbers) { free(numbers.GetAlloc()); },
                      [&](VOTSNumberContainer& numbers) { EXPECT_TRUE(SameBytes(vecNumbers, ImageOf(numbers))); }));
}

TEST(AllocationFaults, AFailedInsertLeavesASetsAnswersAsTheyWere)
{
    const unsigned uFailed = FailEachAllocation<VOStringHashSet>(
        [](VOStringHashSet& set)
        {
            FillSet(set);
            set.ShrinkToFit();
        },
        [](VOStringHashSet& set) { set.Insert(VOTEXT("third")); },
        [](VOStringHashSet& set)
        {
            ExpectFirstAndSecond(set);
            EXPECT_EQ(2u, reinterpret_cast<uintptr_t>(set.Insert(VOTEXT("third"))));
            EXPECT_EQ(VOTEXT("third"), ReadText(set.GetString(set.Find(VOTEXT("third")))));
            EXPECT_EQ(3u, set.Count());
        });
    EXPECT_LE(3u, uFailed) << "the text, its handle, and the record";
}

TEST(AllocationFaults, AFailedInsertKeyLeavesASetsAnswersAsTheyWere)
{
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      [](VOStringHashSet& set)
                      {
                          FillSet(set);
                          set.ShrinkToFit();
                      },
                      [](VOStringHashSet& set) { set.InsertKey(VOTEXT("third")); }, &ExpectFirstAndSecond));
}

TEST(AllocationFaults, AFailedCopyOfAnImageLeavesASetThatCanBeCleanedAndUsed)
{
    const MisalignedBlock image(ImageAfter(&FillSet), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        struct State
        {
            std::unique_ptr<VOStringHashSet> pSet;
        };
        auto* pAlloc = image.As<VOStringHashSet::StringHashSetAlloc>();
        const unsigned uFailed =
            FailEachAllocation<State>([eRole](State& state) { state.pSet = std::make_unique<VOStringHashSet>(eRole); },
                                      [&](State& state) { state.pSet->SetAlloc(pAlloc, 1, image.Size()); },
                                      [&](State& state)
                                      {
                                          EXPECT_EQ(1, state.pSet->CleanUp());
                                          EXPECT_EQ(0u, state.pSet->Count());
                                          ASSERT_EQ(1, state.pSet->SetAlloc(pAlloc, 0, image.Size()));
                                          ExpectFirstAndSecond(*state.pSet);
                                      });
        EXPECT_LE(3u, uFailed) << "the records, the texts, and their handles";
    }
}

TEST(AllocationFaults, AFailedCopyOfASetLeavesTheSourceAsItWas)
{
    EXPECT_LE(3u, FailEachAllocation<VOStringHashSet>(
                      &FillSet, [](VOStringHashSet& set) { const VOStringHashSet copy(set); }, &ExpectFirstAndSecond));
}

TEST(AllocationFaults, AFailedAssignmentLeavesBothSetsSound)
{
    struct State
    {
        VOStringHashSet from;
        VOStringHashSet to;
    };
    EXPECT_LE(3u, FailEachAllocation<State>(
                      [](State& state)
                      {
                          FillSet(state.from);
                          state.to.Insert(VOTEXT("other"));
                      },
                      [](State& state) { state.to = state.from; },
                      [](State& state)
                      {
                          ExpectFirstAndSecond(state.from);
                          EXPECT_EQ(1, state.to.CleanUp());
                          FillSet(state.to);
                          ExpectFirstAndSecond(state.to);
                      }));
}

TEST(AllocationFaults, AFailedInsertionLeavesANumberContainerAsItWas)
{
    const Bytes vecBefore = ImageAfter(&FillNumbers);
    const auto fnMake = [](VOTSNumberContainer& numbers)
    {
        FillNumbers(numbers);
        numbers.ShrinkToFit();
    };
    const auto fnCheck = [&](VOTSNumberContainer& numbers) { EXPECT_TRUE(SameBytes(vecBefore, ImageOf(numbers))); };
    unsigned int uResult = 0;
    EXPECT_LE(1u, FailEachAllocation<VOTSNumberContainer>(
                      fnMake, [&](VOTSNumberContainer& numbers) { numbers.InsertNumber(0, 4, uResult); }, fnCheck));
    EXPECT_LE(1u, FailEachAllocation<VOTSNumberContainer>(
                      fnMake,
                      [&](VOTSNumberContainer& numbers) {
                          numbers.InsertNumber({7, 8}, uResult);
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
    const auto fnCheck = [](State& state)
    {
        EXPECT_EQ(nullptr, state.pbResult);
        EXPECT_EQ(4711u, state.uSize);
    };
    Bytes vecSource(1000, 'x');
    EXPECT_LE(2u, FailEachAllocation<State>(
                      fnMake,
                      [&](State& state)
                      {
                          VOCompressBuffer_lzo1x(&state.pbResult, &state.uSize, vecSource.data(), 1000);
                          free(state.pbResult);
                      },
                      fnCheck))
        << "the block and the work memory";

    State block;
    ASSERT_EQ(1, VOCompressBuffer_lzo1x(&block.pbResult, &block.uSize, vecSource.data(), 1000));
    EXPECT_LE(1u, FailEachAllocation<State>(
                      fnMake,
                      [&](State& state)
                      {
                          VODeCompressBuffer_lzo1x(&state.pbResult, &state.uSize, block.pbResult);
                          free(state.pbResult);
                      },
                      fnCheck));
    free(block.pbResult);
}

// VOBufferContainer: entries, capacities, ownership.
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/opened_containers.h"
#include "support/random.h"

using namespace votest;

namespace
{
const Bytes kFive = {1, 2, 3, 4, 5};

std::string AddLine(const char* pszExpression)
{
    return CheckLine("VO_PROCESS_ERROR", pszExpression, "VOBufferContainer::Add");
}
}  // namespace

TEST(BufferContainer, ANewContainerIsEmpty)
{
    const OpenBuffer kBuffer;
    EXPECT_EQ(0u, kBuffer.Count());
    EXPECT_EQ(nullptr, kBuffer.Buffer());
    EXPECT_EQ(0u, kBuffer.Used());
    EXPECT_EQ(0u, kBuffer.Capacity());
}

TEST(BufferContainer, AddOfAnEmptyPointerIsRefusedWithOneLogLine)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    const LogCapture kLog;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kBuffer.Add(nullptr, 5));
    EXPECT_EQ(std::vector<std::string>{AddLine("pbArr")}, kLog.Lines());
    EXPECT_EQ(VOLOG_ERROR, kLog.Entries().at(0).emPriority);
    EXPECT_EQ(1u, kBuffer.Count());
    EXPECT_EQ(6u, kBuffer.Used());
}

TEST(BufferContainer, AddOfNoBytesIsRefusedWithOneLogLine)
{
    OpenBuffer kBuffer;
    const LogCapture kLog;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kBuffer.Add(kFive.data(), 0));
    EXPECT_EQ(std::vector<std::string>{AddLine("uSize")}, kLog.Lines());
    EXPECT_EQ(0u, kBuffer.Count());
}

TEST(BufferContainer, AddOfAnEmptyPointerAndNoBytesReportsThePointer)
{
    OpenBuffer kBuffer;
    const LogCapture kLog;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kBuffer.Add(nullptr, 0));
    EXPECT_EQ(std::vector<std::string>{AddLine("pbArr")}, kLog.Lines());
}

TEST(BufferContainer, AGoodAddLogsNothing)
{
    OpenBuffer kBuffer;
    const LogCapture kLog;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(BufferContainer, TheFirstAddOf5BytesMakesACapacityOf12AndTheNextHandleIs6)
{
    OpenBuffer kBuffer;
    EXPECT_EQ(0u, Number(kBuffer.AddBytes(kFive)));
    EXPECT_EQ(12u, kBuffer.Capacity());
    EXPECT_EQ(6u, kBuffer.Used());
    EXPECT_EQ(6u, Number(kBuffer.AddBytes(kFive)));
    EXPECT_EQ(12u, kBuffer.Capacity());
    EXPECT_EQ(12u, kBuffer.Used());
}

TEST(BufferContainer, GrowthDoublesTheCapacityPlusTheNewEntry)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(12u, Number(kBuffer.AddBytes({7})));
    EXPECT_EQ((12u + 2u) * 2u, kBuffer.Capacity());
}

TEST(BufferContainer, AnEntryCarriesTheOneByteBehindTheCallersData)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes({0xAA, 0xBB}, 0xCC);
    kBuffer.AddBytes({0xDD}, 0xEE);
    EXPECT_TRUE(SameBytes({0xAA, 0xBB, 0xCC, 0xDD, 0xEE}, kBuffer.UsedBytes()));
}

TEST(BufferContainer, TheHandleVectorGrowsToTwiceItsCountPlus2)
{
    OpenBuffer kBuffer;
    std::vector<unsigned int> vecCapacity;
    for (unsigned char i = 0; i < 7; ++i)
    {
        kBuffer.AddBytes({i});
        vecCapacity.push_back(kBuffer.HandleCapacity());
    }
    EXPECT_EQ((std::vector<unsigned int>{2, 2, 6, 6, 6, 6, 14}), vecCapacity);
}

TEST(BufferContainer, GetByHandleAndByIndexGiveTheEntryInTheOrderOfAdding)
{
    OpenBuffer kBuffer;
    void* hFirst = kBuffer.AddBytes({10, 11});
    void* hSecond = kBuffer.AddBytes({20});
    void* hThird = kBuffer.AddBytes({30, 31, 32});
    ASSERT_EQ(3u, kBuffer.Count());
    EXPECT_EQ(10, kBuffer.Get(hFirst)[0]);
    EXPECT_EQ(20, kBuffer.Get(hSecond)[0]);
    EXPECT_TRUE(SameBytes({30, 31, 32}, CopyBytes(kBuffer.Get(hThird), 3)));
    EXPECT_EQ(kBuffer.Get(hFirst), kBuffer.Get(0u));
    EXPECT_EQ(kBuffer.Get(hSecond), kBuffer.Get(1u));
    EXPECT_EQ(kBuffer.Get(hThird), kBuffer.Get(2u));
}

TEST(BufferContainer, GetOfTheInvalidHandleGivesAnEmptyPointer)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(nullptr, kBuffer.Get(INVALID_HANDLE_VALUE));
}

TEST(BufferContainer, GetOfAHandleAtTheEndOfTheBytesInUseGivesAnEmptyPointer)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(nullptr, kBuffer.Get(Handle(6)));
    EXPECT_EQ(nullptr, kBuffer.Get(Handle(11)));
    EXPECT_NE(nullptr, kBuffer.Get(Handle(5)));
}

TEST(BufferContainer, OnlyTheLow32BitsOfAHandleAreFollowed)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    void* hSecond = kBuffer.AddBytes({9});
    EXPECT_EQ(kBuffer.Get(hSecond), kBuffer.Get(Handle(0x100000000ull + 6)));
    EXPECT_EQ(nullptr, kBuffer.Get(Handle(0x100000000ull + 8)));
}

TEST(BufferContainer, GetOfAnIndexEqualToTheCountGivesAnEmptyPointer)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(nullptr, kBuffer.Get(1u));
    EXPECT_EQ(nullptr, kBuffer.Get(0xFFFFFFFFu));
}

TEST(BufferContainer, GetOnAnEmptyContainerGivesAnEmptyPointerInSilence)
{
    const OpenBuffer kBuffer;
    const LogCapture kLog;
    EXPECT_EQ(nullptr, kBuffer.Get(0u));
    EXPECT_EQ(nullptr, kBuffer.Get(Handle(0)));
    EXPECT_EQ(nullptr, kBuffer.Get(INVALID_HANDLE_VALUE));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(BufferContainer, HandlesKeepTheirMeaningWhenTheBufferGrows)
{
    OpenBuffer kBuffer;
    std::vector<void*> vecHandle;
    for (unsigned i = 0; i < 500; ++i)
    {
        vecHandle.push_back(kBuffer.AddBytes(Bytes(1 + i % 7, static_cast<unsigned char>(i))));
    }
    for (unsigned i = 0; i < 500; ++i)
    {
        ASSERT_EQ(static_cast<unsigned char>(i), kBuffer.Get(vecHandle[i])[i % 7]) << i;
        ASSERT_EQ(kBuffer.Get(vecHandle[i]), kBuffer.Get(i)) << i;
    }
}

TEST(BufferContainer, CleanUpForgetsTheEntriesAndKeepsTheMemory)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    const unsigned char* pbBuffer = kBuffer.Buffer();
    EXPECT_EQ(1, kBuffer.CleanUp());
    EXPECT_EQ(0u, kBuffer.Count());
    EXPECT_EQ(0u, kBuffer.Used());
    EXPECT_EQ(12u, kBuffer.Capacity());
    EXPECT_EQ(2u, kBuffer.HandleCapacity());
    EXPECT_EQ(pbBuffer, kBuffer.Buffer());
    EXPECT_TRUE(SameBytes(Bytes(12, 0), CopyBytes(kBuffer.Buffer(), 12)));
    EXPECT_EQ(nullptr, kBuffer.Get(0u));
    EXPECT_EQ(0u, Number(kBuffer.AddBytes({9})));
    EXPECT_EQ(pbBuffer, kBuffer.Buffer());
}

TEST(BufferContainer, CleanUpReleaseAndShrinkToFitOfAnEmptyContainerSucceed)
{
    OpenBuffer kBuffer;
    EXPECT_EQ(1, kBuffer.CleanUp());
    EXPECT_EQ(1, kBuffer.Release());
    EXPECT_EQ(1, kBuffer.ShrinkToFit());
    EXPECT_EQ(0u, kBuffer.Capacity());
    EXPECT_EQ(0u, kBuffer.Count());
}

TEST(BufferContainer, ReleaseGivesTheMemoryBack)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(1, kBuffer.Release());
    EXPECT_EQ(nullptr, kBuffer.Buffer());
    EXPECT_EQ(0u, kBuffer.Capacity());
    EXPECT_EQ(0u, kBuffer.HandleCapacity());
    EXPECT_EQ(0u, kBuffer.Used());
    EXPECT_EQ(0u, kBuffer.Count());
    EXPECT_EQ(0u, Number(kBuffer.AddBytes(kFive)));
    EXPECT_EQ(12u, kBuffer.Capacity());
}

TEST(BufferContainer, ShrinkToFitCutsBothCapacitiesToWhatIsInUse)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(1, kBuffer.ShrinkToFit());
    EXPECT_EQ(6u, kBuffer.Capacity());
    EXPECT_EQ(1u, kBuffer.HandleCapacity());
    EXPECT_TRUE(SameBytes(kFive, CopyBytes(kBuffer.Get(0u), 5)));
}

TEST(BufferContainer, ShrinkToFitOfAContainerWithoutEntriesKeepsItsMemory)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    kBuffer.CleanUp();
    EXPECT_EQ(1, kBuffer.ShrinkToFit());
    EXPECT_EQ(12u, kBuffer.Capacity());
    EXPECT_EQ(2u, kBuffer.HandleCapacity());
}

TEST(BufferContainer, ResizingToZeroClearsAndKeepsTheMemory)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(1, kBuffer._ResizeBufferCapacity(0));
    EXPECT_EQ(0u, kBuffer.Used());
    EXPECT_EQ(0u, kBuffer.Count());
    EXPECT_EQ(12u, kBuffer.Capacity());
    EXPECT_EQ(2u, kBuffer.HandleCapacity());
    EXPECT_TRUE(SameBytes(Bytes(12, 0), CopyBytes(kBuffer.Buffer(), 12)));
}

TEST(BufferContainer, ResizingBelowTheBytesInUseCutsThem)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    EXPECT_EQ(1, kBuffer._ResizeBufferCapacity(3));
    EXPECT_EQ(3u, kBuffer.Capacity());
    EXPECT_EQ(3u, kBuffer.Used());
    EXPECT_TRUE(SameBytes({1, 2, 3}, kBuffer.UsedBytes()));
    EXPECT_EQ(1u, kBuffer.Count());
    EXPECT_EQ(nullptr, kBuffer.Get(Handle(3)));
}

TEST(BufferContainer, ResizingUpwardsKeepsTheBytesAndZeroesTheRest)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive, 6);
    EXPECT_EQ(1, kBuffer._ResizeBufferCapacity(20));
    EXPECT_EQ(20u, kBuffer.Capacity());
    EXPECT_EQ(6u, kBuffer.Used());
    Bytes vecExpected = {1, 2, 3, 4, 5, 6};
    vecExpected.resize(20);
    EXPECT_TRUE(SameBytes(vecExpected, CopyBytes(kBuffer.Buffer(), 20)));
}

TEST(BufferContainer, AFailedAddOfTooManyBytesLeavesTheContainerAsItWas)
{
    // The pool can't hold 4 GiB: an entry that would pass the limit is refused before its bytes are looked at.
    OpenBuffer kBuffer;
    kBuffer.AddBytes(kFive);
    const LogCapture kLog;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kBuffer.Add(kFive.data(), 0xFFFFFFFFu));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kBuffer.Add(kFive.data(), 0xFFFFFFFEu));
    EXPECT_EQ(2u, kLog.Count());
    EXPECT_EQ(1u, kBuffer.Count());
    EXPECT_EQ(6u, kBuffer.Used());
    EXPECT_EQ(12u, kBuffer.Capacity());
}

TEST(BufferContainer, AnEntryCanBeAddedFromThePoolItselfWhileThePoolGrows)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes({1, 2, 3, 4}, 5);
    for (int i = 0; i < 20; ++i)
    {
        void* hCopy = kBuffer.Add(kBuffer.Get(0u), 4);
        ASSERT_TRUE(SameBytes({1, 2, 3, 4, 5}, CopyBytes(kBuffer.Get(hCopy), 5))) << i;
    }
}

TEST(BufferContainer, TheDestructorIsItsOnlyVirtualOperationAndReleasesThroughTheBase)
{
    VOBufferContainer* pkBuffer = new OpenBuffer;
    EXPECT_NE(INVALID_HANDLE_VALUE, pkBuffer->Add(Bytes{1, 2}.data(), 1));
    delete pkBuffer;  // the leak checker sees a pool that isn't released
    EXPECT_EQ(sizeof(void*) + 16 + 16, sizeof(VOBufferContainer));
}

TEST(BufferContainer, ThousandsOfRandomEntriesReadBackAsAdded)
{
    Random kRandom(22001);
    OpenBuffer kBuffer;
    Bytes vecData;
    std::vector<uint64_t> vecHandle;
    for (int i = 0; i < 5000; ++i)
    {
        Bytes vecEntry(1 + kRandom.Below(40));
        for (unsigned char& ruByte : vecEntry)
        {
            ruByte = static_cast<unsigned char>(kRandom.Word());
        }
        const unsigned char uBehind = static_cast<unsigned char>(kRandom.Word());
        vecHandle.push_back(vecData.size());
        ASSERT_EQ(vecHandle.back(), Number(kBuffer.AddBytes(vecEntry, uBehind)));
        vecData.insert(vecData.end(), vecEntry.begin(), vecEntry.end());
        vecData.push_back(uBehind);
        if (kRandom.Below(400) == 0)
        {
            ASSERT_EQ(1, kBuffer.ShrinkToFit());
            ASSERT_EQ(vecData.size(), kBuffer.Capacity());
        }
    }
    EXPECT_TRUE(SameBytes(vecData, kBuffer.UsedBytes()));
    EXPECT_TRUE(SameBytes(BufferImage(vecData, vecHandle), ImageOf(kBuffer)));
}

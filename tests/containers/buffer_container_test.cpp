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
    const OpenBuffer buffer;
    EXPECT_EQ(0u, buffer.Count());
    EXPECT_EQ(nullptr, buffer.Buffer());
    EXPECT_EQ(0u, buffer.Used());
    EXPECT_EQ(0u, buffer.Capacity());
}

TEST(BufferContainer, AddOfAnEmptyPointerIsRefusedWithOneLogLine)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    const LogCapture log;
    EXPECT_EQ(INVALID_HANDLE_VALUE, buffer.Add(nullptr, 5));
    EXPECT_EQ(std::vector<std::string>{AddLine("pbArr")}, log.Lines());
    EXPECT_EQ(VOLOG_ERROR, log.Entries().at(0).emPriority);
    EXPECT_EQ(1u, buffer.Count());
    EXPECT_EQ(6u, buffer.Used());
}

TEST(BufferContainer, AddOfNoBytesIsRefusedWithOneLogLine)
{
    OpenBuffer buffer;
    const LogCapture log;
    EXPECT_EQ(INVALID_HANDLE_VALUE, buffer.Add(kFive.data(), 0));
    EXPECT_EQ(std::vector<std::string>{AddLine("uSize")}, log.Lines());
    EXPECT_EQ(0u, buffer.Count());
}

TEST(BufferContainer, AddOfAnEmptyPointerAndNoBytesReportsThePointer)
{
    OpenBuffer buffer;
    const LogCapture log;
    EXPECT_EQ(INVALID_HANDLE_VALUE, buffer.Add(nullptr, 0));
    EXPECT_EQ(std::vector<std::string>{AddLine("pbArr")}, log.Lines());
}

TEST(BufferContainer, AGoodAddLogsNothing)
{
    OpenBuffer buffer;
    const LogCapture log;
    buffer.AddBytes(kFive);
    EXPECT_EQ(0u, log.Count());
}

TEST(BufferContainer, TheFirstAddOf5BytesMakesACapacityOf12AndTheNextHandleIs6)
{
    OpenBuffer buffer;
    EXPECT_EQ(0u, Number(buffer.AddBytes(kFive)));
    EXPECT_EQ(12u, buffer.Capacity());
    EXPECT_EQ(6u, buffer.Used());
    EXPECT_EQ(6u, Number(buffer.AddBytes(kFive)));
    EXPECT_EQ(12u, buffer.Capacity());
    EXPECT_EQ(12u, buffer.Used());
}

TEST(BufferContainer, GrowthDoublesTheCapacityPlusTheNewEntry)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    buffer.AddBytes(kFive);
    EXPECT_EQ(12u, Number(buffer.AddBytes({7})));
    EXPECT_EQ((12u + 2u) * 2u, buffer.Capacity());
}

TEST(BufferContainer, AnEntryCarriesTheOneByteBehindTheCallersData)
{
    OpenBuffer buffer;
    buffer.AddBytes({0xAA, 0xBB}, 0xCC);
    buffer.AddBytes({0xDD}, 0xEE);
    EXPECT_TRUE(SameBytes({0xAA, 0xBB, 0xCC, 0xDD, 0xEE}, buffer.UsedBytes()));
}

TEST(BufferContainer, TheHandleVectorGrowsToTwiceItsCountPlus2)
{
    OpenBuffer buffer;
    std::vector<unsigned int> vecCapacity;
    for (unsigned char i = 0; i < 7; ++i)
    {
        buffer.AddBytes({i});
        vecCapacity.push_back(buffer.HandleCapacity());
    }
    EXPECT_EQ((std::vector<unsigned int>{2, 2, 6, 6, 6, 6, 14}), vecCapacity);
}

TEST(BufferContainer, GetByHandleAndByIndexGiveTheEntryInTheOrderOfAdding)
{
    OpenBuffer buffer;
    void* hFirst = buffer.AddBytes({10, 11});
    void* hSecond = buffer.AddBytes({20});
    void* hThird = buffer.AddBytes({30, 31, 32});
    ASSERT_EQ(3u, buffer.Count());
    EXPECT_EQ(10, buffer.Get(hFirst)[0]);
    EXPECT_EQ(20, buffer.Get(hSecond)[0]);
    EXPECT_TRUE(SameBytes({30, 31, 32}, CopyBytes(buffer.Get(hThird), 3)));
    EXPECT_EQ(buffer.Get(hFirst), buffer.Get(0u));
    EXPECT_EQ(buffer.Get(hSecond), buffer.Get(1u));
    EXPECT_EQ(buffer.Get(hThird), buffer.Get(2u));
}

TEST(BufferContainer, GetOfTheInvalidHandleGivesAnEmptyPointer)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(nullptr, buffer.Get(INVALID_HANDLE_VALUE));
}

TEST(BufferContainer, GetOfAHandleAtTheEndOfTheBytesInUseGivesAnEmptyPointer)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(nullptr, buffer.Get(Handle(6)));
    EXPECT_EQ(nullptr, buffer.Get(Handle(11)));
    EXPECT_NE(nullptr, buffer.Get(Handle(5)));
}

TEST(BufferContainer, OnlyTheLow32BitsOfAHandleAreFollowed)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    void* hSecond = buffer.AddBytes({9});
    EXPECT_EQ(buffer.Get(hSecond), buffer.Get(Handle(0x100000000ull + 6)));
    EXPECT_EQ(nullptr, buffer.Get(Handle(0x100000000ull + 8)));
}

TEST(BufferContainer, GetOfAnIndexEqualToTheCountGivesAnEmptyPointer)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(nullptr, buffer.Get(1u));
    EXPECT_EQ(nullptr, buffer.Get(0xFFFFFFFFu));
}

TEST(BufferContainer, GetOnAnEmptyContainerGivesAnEmptyPointerInSilence)
{
    const OpenBuffer buffer;
    const LogCapture log;
    EXPECT_EQ(nullptr, buffer.Get(0u));
    EXPECT_EQ(nullptr, buffer.Get(Handle(0)));
    EXPECT_EQ(nullptr, buffer.Get(INVALID_HANDLE_VALUE));
    EXPECT_EQ(0u, log.Count());
}

TEST(BufferContainer, HandlesKeepTheirMeaningWhenTheBufferGrows)
{
    OpenBuffer buffer;
    std::vector<void*> vecHandle;
    for (unsigned i = 0; i < 500; ++i)
    {
        vecHandle.push_back(buffer.AddBytes(Bytes(1 + i % 7, static_cast<unsigned char>(i))));
    }
    for (unsigned i = 0; i < 500; ++i)
    {
        ASSERT_EQ(static_cast<unsigned char>(i), buffer.Get(vecHandle[i])[i % 7]) << i;
        ASSERT_EQ(buffer.Get(vecHandle[i]), buffer.Get(i)) << i;
    }
}

TEST(BufferContainer, CleanUpForgetsTheEntriesAndKeepsTheMemory)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    const unsigned char* pbBuffer = buffer.Buffer();
    EXPECT_EQ(1, buffer.CleanUp());
    EXPECT_EQ(0u, buffer.Count());
    EXPECT_EQ(0u, buffer.Used());
    EXPECT_EQ(12u, buffer.Capacity());
    EXPECT_EQ(2u, buffer.HandleCapacity());
    EXPECT_EQ(pbBuffer, buffer.Buffer());
    EXPECT_TRUE(SameBytes(Bytes(12, 0), CopyBytes(buffer.Buffer(), 12)));
    EXPECT_EQ(nullptr, buffer.Get(0u));
    EXPECT_EQ(0u, Number(buffer.AddBytes({9})));
    EXPECT_EQ(pbBuffer, buffer.Buffer());
}

TEST(BufferContainer, CleanUpReleaseAndShrinkToFitOfAnEmptyContainerSucceed)
{
    OpenBuffer buffer;
    EXPECT_EQ(1, buffer.CleanUp());
    EXPECT_EQ(1, buffer.Release());
    EXPECT_EQ(1, buffer.ShrinkToFit());
    EXPECT_EQ(0u, buffer.Capacity());
    EXPECT_EQ(0u, buffer.Count());
}

TEST(BufferContainer, ReleaseGivesTheMemoryBack)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(1, buffer.Release());
    EXPECT_EQ(nullptr, buffer.Buffer());
    EXPECT_EQ(0u, buffer.Capacity());
    EXPECT_EQ(0u, buffer.HandleCapacity());
    EXPECT_EQ(0u, buffer.Used());
    EXPECT_EQ(0u, buffer.Count());
    EXPECT_EQ(0u, Number(buffer.AddBytes(kFive)));
    EXPECT_EQ(12u, buffer.Capacity());
}

TEST(BufferContainer, ShrinkToFitCutsBothCapacitiesToWhatIsInUse)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(1, buffer.ShrinkToFit());
    EXPECT_EQ(6u, buffer.Capacity());
    EXPECT_EQ(1u, buffer.HandleCapacity());
    EXPECT_TRUE(SameBytes(kFive, CopyBytes(buffer.Get(0u), 5)));
}

TEST(BufferContainer, ShrinkToFitOfAContainerWithoutEntriesKeepsItsMemory)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    buffer.CleanUp();
    EXPECT_EQ(1, buffer.ShrinkToFit());
    EXPECT_EQ(12u, buffer.Capacity());
    EXPECT_EQ(2u, buffer.HandleCapacity());
}

TEST(BufferContainer, ResizingToZeroClearsAndKeepsTheMemory)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(1, buffer._ResizeBufferCapacity(0));
    EXPECT_EQ(0u, buffer.Used());
    EXPECT_EQ(0u, buffer.Count());
    EXPECT_EQ(12u, buffer.Capacity());
    EXPECT_EQ(2u, buffer.HandleCapacity());
    EXPECT_TRUE(SameBytes(Bytes(12, 0), CopyBytes(buffer.Buffer(), 12)));
}

TEST(BufferContainer, ResizingBelowTheBytesInUseCutsThem)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    EXPECT_EQ(1, buffer._ResizeBufferCapacity(3));
    EXPECT_EQ(3u, buffer.Capacity());
    EXPECT_EQ(3u, buffer.Used());
    EXPECT_TRUE(SameBytes({1, 2, 3}, buffer.UsedBytes()));
    EXPECT_EQ(1u, buffer.Count());
    EXPECT_EQ(nullptr, buffer.Get(Handle(3)));
}

TEST(BufferContainer, ResizingUpwardsKeepsTheBytesAndZeroesTheRest)
{
    OpenBuffer buffer;
    buffer.AddBytes(kFive, 6);
    EXPECT_EQ(1, buffer._ResizeBufferCapacity(20));
    EXPECT_EQ(20u, buffer.Capacity());
    EXPECT_EQ(6u, buffer.Used());
    Bytes vecExpected = {1, 2, 3, 4, 5, 6};
    vecExpected.resize(20);
    EXPECT_TRUE(SameBytes(vecExpected, CopyBytes(buffer.Buffer(), 20)));
}

TEST(BufferContainer, AFailedAddOfTooManyBytesLeavesTheContainerAsItWas)
{
    // The pool can't hold 4 GiB: an entry that would pass the limit is refused before its bytes are looked at.
    OpenBuffer buffer;
    buffer.AddBytes(kFive);
    const LogCapture log;
    EXPECT_EQ(INVALID_HANDLE_VALUE, buffer.Add(kFive.data(), 0xFFFFFFFFu));
    EXPECT_EQ(INVALID_HANDLE_VALUE, buffer.Add(kFive.data(), 0xFFFFFFFEu));
    EXPECT_EQ(2u, log.Count());
    EXPECT_EQ(1u, buffer.Count());
    EXPECT_EQ(6u, buffer.Used());
    EXPECT_EQ(12u, buffer.Capacity());
}

TEST(BufferContainer, AnEntryCanBeAddedFromThePoolItselfWhileThePoolGrows)
{
    OpenBuffer buffer;
    buffer.AddBytes({1, 2, 3, 4}, 5);
    for (int i = 0; i < 20; ++i)
    {
        void* hCopy = buffer.Add(buffer.Get(0u), 4);
        ASSERT_TRUE(SameBytes({1, 2, 3, 4, 5}, CopyBytes(buffer.Get(hCopy), 5))) << i;
    }
}

TEST(BufferContainer, TheDestructorIsItsOnlyVirtualOperationAndReleasesThroughTheBase)
{
    VOBufferContainer* pBuffer = new OpenBuffer;
    EXPECT_NE(INVALID_HANDLE_VALUE, pBuffer->Add(Bytes{1, 2}.data(), 1));
    delete pBuffer;  // the leak checker sees a pool that isn't released
    EXPECT_EQ(sizeof(void*) + 16 + 16, sizeof(VOBufferContainer));
}

TEST(BufferContainer, ThousandsOfRandomEntriesReadBackAsAdded)
{
    Random random(22001);
    OpenBuffer buffer;
    Bytes vecData;
    std::vector<uint64_t> vecHandle;
    for (int i = 0; i < 5000; ++i)
    {
        Bytes vecEntry(1 + random.Below(40));
        for (unsigned char& uByte : vecEntry)
        {
            uByte = static_cast<unsigned char>(random.Word());
        }
        const unsigned char uBehind = static_cast<unsigned char>(random.Word());
        vecHandle.push_back(vecData.size());
        ASSERT_EQ(vecHandle.back(), Number(buffer.AddBytes(vecEntry, uBehind)));
        vecData.insert(vecData.end(), vecEntry.begin(), vecEntry.end());
        vecData.push_back(uBehind);
        if (random.Below(400) == 0)
        {
            ASSERT_EQ(1, buffer.ShrinkToFit());
            ASSERT_EQ(vecData.size(), buffer.Capacity());
        }
    }
    EXPECT_TRUE(SameBytes(vecData, buffer.UsedBytes()));
    EXPECT_TRUE(SameBytes(BufferImage(vecData, vecHandle), ImageOf(buffer)));
}

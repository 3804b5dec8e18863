// The image of VOBufferContainer: exact bytes, both ways of taking one, what is refused.
#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include "support/log_capture.h"
#include "support/opened_containers.h"

using namespace votest;

namespace
{
// Two entries: 61 62 63 with 00 behind, and ff with 7e behind.
const char* const kTwoEntries = R"(
    76 65 72 2e 31 2e 30 00                          # ver.1.0
    06 00 00 00                                      # bytes in use
    24 00 00 00                                      # size of the handle image: 20 + 2 * 8
    2a 00 00 00                                      # both
    61 62 63 00 ff 7e
      76 65 72 2e 31 2e 30 00  02 00 00 00  10 00 00 00
      00 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00
      00 00 00 00                                    # tail of the handle image
    00 00 00 00                                      # tail
)";

const char* const kNoEntries = R"(
    76 65 72 2e 31 2e 30 00  00 00 00 00  14 00 00 00  14 00 00 00
      76 65 72 2e 31 2e 30 00  00 00 00 00  00 00 00 00  00 00 00 00
    00 00 00 00
)";

void AddTwoEntries(OpenBuffer& rkBuffer)
{
    rkBuffer.AddBytes({'a', 'b', 'c'}, 0);
    rkBuffer.AddBytes({0xFF}, 0x7E);
}

int Set(VOBufferContainer& rkBuffer, const MisalignedBlock& rkImage, int bCopy)
{
    return rkBuffer.SetAlloc(rkImage.As<VOBufferContainer::BufferAlloc>(), bCopy, rkImage.Size());
}

void ExpectTwoEntries(const VOBufferContainer& rkBuffer)
{
    ASSERT_EQ(2u, rkBuffer.Count());
    EXPECT_TRUE(SameBytes({'a', 'b', 'c', 0}, CopyBytes(rkBuffer.Get(0u), 4)));
    EXPECT_TRUE(SameBytes({0xFF, 0x7E}, CopyBytes(rkBuffer.Get(Handle(4)), 2)));
}
}  // namespace

TEST(BufferImage, ItsBytesAreExactlyTheFormats)
{
    OpenBuffer kBuffer;
    AddTwoEntries(kBuffer);
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(kBuffer)));
}

TEST(BufferImage, OfAnEmptyContainerIs44BytesAndCanBeTakenAgain)
{
    OpenBuffer kBuffer;
    const Bytes vecImage = ImageOf(kBuffer);
    EXPECT_EQ(44u, vecImage.size());
    EXPECT_TRUE(SameBytes(FromHex(kNoEntries), vecImage));
    for (const int bCopy : {0, 1})
    {
        OpenBuffer kTarget;
        const MisalignedBlock kImage(vecImage, 3);
        EXPECT_EQ(1, Set(kTarget, kImage, bCopy));
        EXPECT_EQ(0u, kTarget.Count());
        EXPECT_EQ(nullptr, kTarget.Get(0u));
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(kTarget)));
    }
}

TEST(BufferImage, MakingOneLeavesTheContainerAsItWas)
{
    OpenBuffer kBuffer;
    AddTwoEntries(kBuffer);
    const unsigned char* pbBuffer = kBuffer.Buffer();
    ImageOf(kBuffer);
    EXPECT_EQ(pbBuffer, kBuffer.Buffer());
    EXPECT_EQ(8u, kBuffer.Capacity());
    ExpectTwoEntries(kBuffer);
}

TEST(BufferImage, SpareCapacityIsNotPartOfIt)
{
    OpenBuffer kBuffer;
    AddTwoEntries(kBuffer);
    kBuffer._ResizeBufferCapacity(4096);
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(kBuffer)));
}

TEST(BufferImage, AllocSizeIsItsSizeAndWriteAllocWritesIt)
{
    OpenBuffer kBuffer;
    EXPECT_EQ(44u, kBuffer.AllocSize());
    AddTwoEntries(kBuffer);
    ASSERT_EQ(66u, kBuffer.AllocSize());
    const MisalignedBlock kImage(Bytes(66, 0), 5);
    kBuffer.WriteAlloc(kImage.Data());
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), kImage.Current()));
}

TEST(BufferImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(FromHex(kTwoEntries), uMisalignment);
            OpenBuffer kBuffer;
            ASSERT_EQ(1, Set(kBuffer, kImage, bCopy)) << uMisalignment;
            ExpectTwoEntries(kBuffer);
            EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(kBuffer)));
            EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), kImage.Current()));
        }
    }
}

TEST(BufferImage, ACopyFitsExactlyAndOutlivesTheImage)
{
    OpenBuffer kBuffer;
    {
        const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
        ASSERT_EQ(1, Set(kBuffer, kImage, 1));
    }
    EXPECT_EQ(6u, kBuffer.Capacity());
    EXPECT_EQ(2u, kBuffer.HandleCapacity());
    ExpectTwoEntries(kBuffer);
}

TEST(BufferImage, AViewPointsIntoTheImageAndOwnsNothing)
{
    const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
    OpenBuffer kBuffer;
    ASSERT_EQ(1, Set(kBuffer, kImage, 0));
    EXPECT_EQ(kImage.Data() + 20, kBuffer.Buffer());
    EXPECT_EQ(0u, kBuffer.Capacity());
    EXPECT_EQ(0u, kBuffer.HandleCapacity());
    EXPECT_EQ(6u, kBuffer.Used());
}

TEST(BufferImage, ReleaseOfAViewDoesNotReleaseTheImage)
{
    const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
    {
        OpenBuffer kBuffer;
        ASSERT_EQ(1, Set(kBuffer, kImage, 0));
        EXPECT_EQ(1, kBuffer.Release());
        EXPECT_EQ(nullptr, kBuffer.Buffer());
        EXPECT_EQ(0u, kBuffer.Count());
        ASSERT_EQ(1, Set(kBuffer, kImage, 0));  // and the destructor doesn't either
    }
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), kImage.Current()));
}

TEST(BufferImage, CleanUpOfAViewOnlyResetsItsCounts)
{
    const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
    OpenBuffer kBuffer;
    ASSERT_EQ(1, Set(kBuffer, kImage, 0));
    EXPECT_EQ(1, kBuffer.CleanUp());
    EXPECT_EQ(0u, kBuffer.Count());
    EXPECT_EQ(0u, kBuffer.Used());
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), kImage.Current()));
}

TEST(BufferImage, AddToAViewMakesAPrivateCopyAndLeavesTheImageAlone)
{
    const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
    OpenBuffer kBuffer;
    ASSERT_EQ(1, Set(kBuffer, kImage, 0));
    EXPECT_EQ(6u, Number(kBuffer.AddBytes({9, 8, 7})));
    EXPECT_EQ(3u, kBuffer.Count());
    EXPECT_NE(kImage.Data() + 20, kBuffer.Buffer());
    EXPECT_GE(kBuffer.Capacity(), 10u);
    EXPECT_TRUE(SameBytes({'a', 'b', 'c', 0}, CopyBytes(kBuffer.Get(Handle(0)), 4)));
    EXPECT_TRUE(SameBytes({0xFF, 0x7E}, CopyBytes(kBuffer.Get(Handle(4)), 2)));
    EXPECT_TRUE(SameBytes({9, 8, 7}, CopyBytes(kBuffer.Get(Handle(6)), 3)));
    EXPECT_EQ(kBuffer.Get(Handle(4)), kBuffer.Get(1u));
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), kImage.Current()));
}

TEST(BufferImage, AViewsFirstGrowthKeepsAllBytesAlsoWhenTheNewEntryIsSmall)
{
    // The growth formula alone would give (0 + 2) * 2 = 4 bytes here, fewer than the view already holds.
    OpenBuffer kSource;
    for (unsigned char i = 0; i < 100; ++i)
    {
        kSource.AddBytes({i, i, i}, i);
    }
    const Bytes vecImage = ImageOf(kSource);
    const MisalignedBlock kImage(vecImage, 7);
    OpenBuffer kBuffer;
    ASSERT_EQ(1, Set(kBuffer, kImage, 0));
    EXPECT_EQ(400u, Number(kBuffer.AddBytes({200})));
    ASSERT_EQ(101u, kBuffer.Count());
    for (unsigned char i = 0; i < 100; ++i)
    {
        ASSERT_TRUE(SameBytes({i, i, i, i}, CopyBytes(kBuffer.Get(Handle(4u * i)), 4))) << int{i};
        ASSERT_EQ(4u * i, kBuffer.HandleAt(i));
    }
    EXPECT_EQ(200, kBuffer.Get(100u)[0]);
    EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
}

TEST(BufferImage, ShrinkToFitOfAViewGivesAPrivateCopyThatFits)
{
    OpenBuffer kBuffer;
    {
        const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
        ASSERT_EQ(1, Set(kBuffer, kImage, 0));
        EXPECT_EQ(1, kBuffer.ShrinkToFit());
        EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), kImage.Current()));
    }
    EXPECT_EQ(6u, kBuffer.Capacity());
    EXPECT_EQ(2u, kBuffer.HandleCapacity());
    ExpectTwoEntries(kBuffer);
}

TEST(BufferImage, TakingOneReplacesWhatTheContainerHeld)
{
    for (const int bCopy : {0, 1})
    {
        OpenBuffer kBuffer;
        kBuffer.AddBytes(Bytes(100, 1));
        const MisalignedBlock kImage(FromHex(kTwoEntries), 1);
        ASSERT_EQ(1, Set(kBuffer, kImage, bCopy));
        ExpectTwoEntries(kBuffer);
        EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(kBuffer)));
    }
}

TEST(BufferImage, AnEmptyPointerIsRefusedInSilenceAndTheContainerUntouched)
{
    const LogCapture kLog;
    OpenBuffer kBuffer;
    AddTwoEntries(kBuffer);
    EXPECT_EQ(0, kBuffer.SetAlloc(nullptr, 1));
    EXPECT_EQ(0, kBuffer.SetAlloc(nullptr, 0));
    ExpectTwoEntries(kBuffer);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(BufferImage, OneChangedByteInTheVersionIsRefusedAndTheContainerUntouched)
{
    const LogCapture kLog;
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        for (const int bCopy : {0, 1})
        {
            Bytes vecImage = FromHex(kNoEntries);
            vecImage[uByte] ^= 0x20;
            const MisalignedBlock kImage(vecImage);
            OpenBuffer kBuffer;
            AddTwoEntries(kBuffer);
            const unsigned char* pbBuffer = kBuffer.Buffer();
            EXPECT_EQ(0, Set(kBuffer, kImage, bCopy)) << uByte;
            EXPECT_EQ(pbBuffer, kBuffer.Buffer());
            ExpectTwoEntries(kBuffer);
        }
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(BufferImage, ATotalThatIsOffByOneIsRefusedAndTheContainerUntouched)
{
    const LogCapture kLog;
    for (const uint32_t uTotal : {0x29u, 0x2Bu})
    {
        Bytes vecImage = FromHex(kTwoEntries);
        WriteU32(vecImage, 16, uTotal);
        const MisalignedBlock kImage(vecImage);
        OpenBuffer kBuffer;
        kBuffer.AddBytes({5}, 6);
        EXPECT_EQ(0, Set(kBuffer, kImage, 1));
        EXPECT_EQ(0, Set(kBuffer, kImage, 0));
        EXPECT_TRUE(SameBytes({5, 6}, kBuffer.UsedBytes()));
        EXPECT_EQ(1u, kBuffer.Count());
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(BufferImage, ATotalThatOnlyAgreesAfterA32BitOverflowIsRefused)
{
    // 0xFFFFFFFF + 0x2B is 0x2A in 32 bits.
    Bytes vecImage = FromHex(kTwoEntries);
    WriteU32(vecImage, 8, 0xFFFFFFFF);
    WriteU32(vecImage, 12, 0x2B);
    const MisalignedBlock kImage(vecImage);
    OpenBuffer kBuffer;
    EXPECT_EQ(0, Set(kBuffer, kImage, 1));
    EXPECT_EQ(0, Set(kBuffer, kImage, 0));
    EXPECT_EQ(0u, kBuffer.Count());
}

TEST(BufferImage, ABadHandleImageLeavesABufferWithoutHandles)
{
    const std::vector<std::function<void(Bytes&)>> vecDamage = {
        [](Bytes& rBytes) { rBytes[26] = 'x'; },          // its version
        [](Bytes& rBytes) { WriteU32(rBytes, 34, 1); },   // its count
        [](Bytes& rBytes) { WriteU32(rBytes, 38, 15); },  // its byte size
    };
    const LogCapture kLog;
    for (const auto& fnDamage : vecDamage)
    {
        for (const int bCopy : {0, 1})
        {
            Bytes vecImage = FromHex(kTwoEntries);
            fnDamage(vecImage);
            const MisalignedBlock kImage(vecImage, 1);
            OpenBuffer kBuffer;
            kBuffer.AddBytes({5}, 6);
            EXPECT_EQ(0, Set(kBuffer, kImage, bCopy));
            EXPECT_EQ(0u, kBuffer.Count());
            EXPECT_EQ(6u, kBuffer.Used());
            EXPECT_EQ(nullptr, kBuffer.Get(0u));
            ASSERT_NE(nullptr, kBuffer.Get(Handle(4)));
            EXPECT_EQ(0xFF, kBuffer.Get(Handle(4))[0]);
        }
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(BufferImage, TailsAreNotLookedAt)
{
    Bytes vecImage = FromHex(kTwoEntries);
    for (size_t i = 1; i <= 8; ++i)
    {
        vecImage[vecImage.size() - i] = 0xEE;
    }
    const MisalignedBlock kImage(vecImage);
    OpenBuffer kBuffer;
    ASSERT_EQ(1, Set(kBuffer, kImage, 1));
    ExpectTwoEntries(kBuffer);
}

TEST(BufferImage, AssigningOneToAnotherTakesTheFieldsAndLeavesTheData)
{
    Bytes vecOther(64, 0xAB);
    const MisalignedBlock kFrom(FromHex(kTwoEntries), 1);
    const MisalignedBlock kTo(vecOther, 3);
    *kTo.As<VOBufferContainer::BufferAlloc>() = *kFrom.As<VOBufferContainer::BufferAlloc>();
    std::copy_n(kFrom.Data(), 20, vecOther.begin());
    EXPECT_TRUE(SameBytes(vecOther, kTo.Current()));

    vecOther[8] = 0x5C;
    const MisalignedBlock kLast(vecOther, 5);
    *kTo.As<VOBufferContainer::BufferAlloc>() = std::move(*kLast.As<VOBufferContainer::BufferAlloc>());
    EXPECT_TRUE(SameBytes(vecOther, kTo.Current()));
    EXPECT_TRUE(SameBytes(vecOther, kLast.Current()));
}

TEST(BufferImage, AFieldOrderThatReadersRelyOn)
{
    EXPECT_EQ(0u, offsetof(VOBufferContainer::BufferAlloc, szVersion));
    EXPECT_EQ(8u, offsetof(VOBufferContainer::BufferAlloc, uBufferSize));
    EXPECT_EQ(12u, offsetof(VOBufferContainer::BufferAlloc, uHandleVectorSize));
    EXPECT_EQ(16u, offsetof(VOBufferContainer::BufferAlloc, uDataBufSize));
}

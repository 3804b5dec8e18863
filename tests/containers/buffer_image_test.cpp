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

void AddTwoEntries(OpenBuffer& buffer)
{
    buffer.AddBytes({'a', 'b', 'c'}, 0);
    buffer.AddBytes({0xFF}, 0x7E);
}

int Set(VOBufferContainer& buffer, const MisalignedBlock& image, int bCopy)
{
    return buffer.SetAlloc(image.As<VOBufferContainer::BufferAlloc>(), bCopy, image.Size());
}

void ExpectTwoEntries(const VOBufferContainer& buffer)
{
    ASSERT_EQ(2u, buffer.Count());
    EXPECT_TRUE(SameBytes({'a', 'b', 'c', 0}, CopyBytes(buffer.Get(0u), 4)));
    EXPECT_TRUE(SameBytes({0xFF, 0x7E}, CopyBytes(buffer.Get(Handle(4)), 2)));
}
}  // namespace

TEST(BufferImage, ItsBytesAreExactlyTheFormats)
{
    OpenBuffer buffer;
    AddTwoEntries(buffer);
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(buffer)));
}

TEST(BufferImage, OfAnEmptyContainerIs44BytesAndCanBeTakenAgain)
{
    OpenBuffer buffer;
    const Bytes vecImage = ImageOf(buffer);
    EXPECT_EQ(44u, vecImage.size());
    EXPECT_TRUE(SameBytes(FromHex(kNoEntries), vecImage));
    for (const int bCopy : {0, 1})
    {
        OpenBuffer target;
        const MisalignedBlock image(vecImage, 3);
        EXPECT_EQ(1, Set(target, image, bCopy));
        EXPECT_EQ(0u, target.Count());
        EXPECT_EQ(nullptr, target.Get(0u));
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(target)));
    }
}

TEST(BufferImage, MakingOneLeavesTheContainerAsItWas)
{
    OpenBuffer buffer;
    AddTwoEntries(buffer);
    const unsigned char* pbBuffer = buffer.Buffer();
    ImageOf(buffer);
    EXPECT_EQ(pbBuffer, buffer.Buffer());
    EXPECT_EQ(8u, buffer.Capacity());
    ExpectTwoEntries(buffer);
}

TEST(BufferImage, SpareCapacityIsNotPartOfIt)
{
    OpenBuffer buffer;
    AddTwoEntries(buffer);
    buffer._ResizeBufferCapacity(4096);
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(buffer)));
}

TEST(BufferImage, AllocSizeIsItsSizeAndWriteAllocWritesIt)
{
    OpenBuffer buffer;
    EXPECT_EQ(44u, buffer.AllocSize());
    AddTwoEntries(buffer);
    ASSERT_EQ(66u, buffer.AllocSize());
    const MisalignedBlock image(Bytes(66, 0), 5);
    buffer.WriteAlloc(image.Data());
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), image.Current()));
}

TEST(BufferImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(FromHex(kTwoEntries), uMisalignment);
            OpenBuffer buffer;
            ASSERT_EQ(1, Set(buffer, image, bCopy)) << uMisalignment;
            ExpectTwoEntries(buffer);
            EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(buffer)));
            EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), image.Current()));
        }
    }
}

TEST(BufferImage, ACopyFitsExactlyAndOutlivesTheImage)
{
    OpenBuffer buffer;
    {
        const MisalignedBlock image(FromHex(kTwoEntries), 1);
        ASSERT_EQ(1, Set(buffer, image, 1));
    }
    EXPECT_EQ(6u, buffer.Capacity());
    EXPECT_EQ(2u, buffer.HandleCapacity());
    ExpectTwoEntries(buffer);
}

TEST(BufferImage, AViewPointsIntoTheImageAndOwnsNothing)
{
    const MisalignedBlock image(FromHex(kTwoEntries), 1);
    OpenBuffer buffer;
    ASSERT_EQ(1, Set(buffer, image, 0));
    EXPECT_EQ(image.Data() + 20, buffer.Buffer());
    EXPECT_EQ(0u, buffer.Capacity());
    EXPECT_EQ(0u, buffer.HandleCapacity());
    EXPECT_EQ(6u, buffer.Used());
}

TEST(BufferImage, ReleaseOfAViewDoesNotReleaseTheImage)
{
    const MisalignedBlock image(FromHex(kTwoEntries), 1);
    {
        OpenBuffer buffer;
        ASSERT_EQ(1, Set(buffer, image, 0));
        EXPECT_EQ(1, buffer.Release());
        EXPECT_EQ(nullptr, buffer.Buffer());
        EXPECT_EQ(0u, buffer.Count());
        ASSERT_EQ(1, Set(buffer, image, 0));  // and the destructor doesn't either
    }
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), image.Current()));
}

TEST(BufferImage, CleanUpOfAViewOnlyResetsItsCounts)
{
    const MisalignedBlock image(FromHex(kTwoEntries), 1);
    OpenBuffer buffer;
    ASSERT_EQ(1, Set(buffer, image, 0));
    EXPECT_EQ(1, buffer.CleanUp());
    EXPECT_EQ(0u, buffer.Count());
    EXPECT_EQ(0u, buffer.Used());
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), image.Current()));
}

TEST(BufferImage, AddToAViewMakesAPrivateCopyAndLeavesTheImageAlone)
{
    const MisalignedBlock image(FromHex(kTwoEntries), 1);
    OpenBuffer buffer;
    ASSERT_EQ(1, Set(buffer, image, 0));
    EXPECT_EQ(6u, Number(buffer.AddBytes({9, 8, 7})));
    EXPECT_EQ(3u, buffer.Count());
    EXPECT_NE(image.Data() + 20, buffer.Buffer());
    EXPECT_GE(buffer.Capacity(), 10u);
    EXPECT_TRUE(SameBytes({'a', 'b', 'c', 0}, CopyBytes(buffer.Get(Handle(0)), 4)));
    EXPECT_TRUE(SameBytes({0xFF, 0x7E}, CopyBytes(buffer.Get(Handle(4)), 2)));
    EXPECT_TRUE(SameBytes({9, 8, 7}, CopyBytes(buffer.Get(Handle(6)), 3)));
    EXPECT_EQ(buffer.Get(Handle(4)), buffer.Get(1u));
    EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), image.Current()));
}

TEST(BufferImage, AViewsFirstGrowthKeepsAllBytesAlsoWhenTheNewEntryIsSmall)
{
    // The growth formula alone would give (0 + 2) * 2 = 4 bytes here, fewer than the view already holds.
    OpenBuffer source;
    for (unsigned char i = 0; i < 100; ++i)
    {
        source.AddBytes({i, i, i}, i);
    }
    const Bytes vecImage = ImageOf(source);
    const MisalignedBlock image(vecImage, 7);
    OpenBuffer buffer;
    ASSERT_EQ(1, Set(buffer, image, 0));
    EXPECT_EQ(400u, Number(buffer.AddBytes({200})));
    ASSERT_EQ(101u, buffer.Count());
    for (unsigned char i = 0; i < 100; ++i)
    {
        ASSERT_TRUE(SameBytes({i, i, i, i}, CopyBytes(buffer.Get(Handle(4u * i)), 4))) << int{i};
        ASSERT_EQ(4u * i, buffer.HandleAt(i));
    }
    EXPECT_EQ(200, buffer.Get(100u)[0]);
    EXPECT_TRUE(SameBytes(vecImage, image.Current()));
}

TEST(BufferImage, ShrinkToFitOfAViewGivesAPrivateCopyThatFits)
{
    OpenBuffer buffer;
    {
        const MisalignedBlock image(FromHex(kTwoEntries), 1);
        ASSERT_EQ(1, Set(buffer, image, 0));
        EXPECT_EQ(1, buffer.ShrinkToFit());
        EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), image.Current()));
    }
    EXPECT_EQ(6u, buffer.Capacity());
    EXPECT_EQ(2u, buffer.HandleCapacity());
    ExpectTwoEntries(buffer);
}

TEST(BufferImage, TakingOneReplacesWhatTheContainerHeld)
{
    for (const int bCopy : {0, 1})
    {
        OpenBuffer buffer;
        buffer.AddBytes(Bytes(100, 1));
        const MisalignedBlock image(FromHex(kTwoEntries), 1);
        ASSERT_EQ(1, Set(buffer, image, bCopy));
        ExpectTwoEntries(buffer);
        EXPECT_TRUE(SameBytes(FromHex(kTwoEntries), ImageOf(buffer)));
    }
}

TEST(BufferImage, AnEmptyPointerIsRefusedInSilenceAndTheContainerUntouched)
{
    const LogCapture log;
    OpenBuffer buffer;
    AddTwoEntries(buffer);
    EXPECT_EQ(0, buffer.SetAlloc(nullptr, 1));
    EXPECT_EQ(0, buffer.SetAlloc(nullptr, 0));
    ExpectTwoEntries(buffer);
    EXPECT_EQ(0u, log.Count());
}

TEST(BufferImage, OneChangedByteInTheVersionIsRefusedAndTheContainerUntouched)
{
    const LogCapture log;
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        for (const int bCopy : {0, 1})
        {
            Bytes vecImage = FromHex(kNoEntries);
            vecImage[uByte] ^= 0x20;
            const MisalignedBlock image(vecImage);
            OpenBuffer buffer;
            AddTwoEntries(buffer);
            const unsigned char* pbBuffer = buffer.Buffer();
            EXPECT_EQ(0, Set(buffer, image, bCopy)) << uByte;
            EXPECT_EQ(pbBuffer, buffer.Buffer());
            ExpectTwoEntries(buffer);
        }
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(BufferImage, ATotalThatIsOffByOneIsRefusedAndTheContainerUntouched)
{
    const LogCapture log;
    for (const uint32_t uTotal : {0x29u, 0x2Bu})
    {
        Bytes vecImage = FromHex(kTwoEntries);
        WriteU32(vecImage, 16, uTotal);
        const MisalignedBlock image(vecImage);
        OpenBuffer buffer;
        buffer.AddBytes({5}, 6);
        EXPECT_EQ(0, Set(buffer, image, 1));
        EXPECT_EQ(0, Set(buffer, image, 0));
        EXPECT_TRUE(SameBytes({5, 6}, buffer.UsedBytes()));
        EXPECT_EQ(1u, buffer.Count());
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(BufferImage, ATotalThatOnlyAgreesAfterA32BitOverflowIsRefused)
{
    // 0xFFFFFFFF + 0x2B is 0x2A in 32 bits.
    Bytes vecImage = FromHex(kTwoEntries);
    WriteU32(vecImage, 8, 0xFFFFFFFF);
    WriteU32(vecImage, 12, 0x2B);
    const MisalignedBlock image(vecImage);
    OpenBuffer buffer;
    EXPECT_EQ(0, Set(buffer, image, 1));
    EXPECT_EQ(0, Set(buffer, image, 0));
    EXPECT_EQ(0u, buffer.Count());
}

TEST(BufferImage, ABadHandleImageLeavesABufferWithoutHandles)
{
    const std::vector<std::function<void(Bytes&)>> vecDamage = {
        [](Bytes& bytes) { bytes[26] = 'x'; },          // its version
        [](Bytes& bytes) { WriteU32(bytes, 34, 1); },   // its count
        [](Bytes& bytes) { WriteU32(bytes, 38, 15); },  // its byte size
    };
    const LogCapture log;
    for (const auto& fnDamage : vecDamage)
    {
        for (const int bCopy : {0, 1})
        {
            Bytes vecImage = FromHex(kTwoEntries);
            fnDamage(vecImage);
            const MisalignedBlock image(vecImage, 1);
            OpenBuffer buffer;
            buffer.AddBytes({5}, 6);
            EXPECT_EQ(0, Set(buffer, image, bCopy));
            EXPECT_EQ(0u, buffer.Count());
            EXPECT_EQ(6u, buffer.Used());
            EXPECT_EQ(nullptr, buffer.Get(0u));
            ASSERT_NE(nullptr, buffer.Get(Handle(4)));
            EXPECT_EQ(0xFF, buffer.Get(Handle(4))[0]);
        }
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(BufferImage, TailsAreNotLookedAt)
{
    Bytes vecImage = FromHex(kTwoEntries);
    for (size_t i = 1; i <= 8; ++i)
    {
        vecImage[vecImage.size() - i] = 0xEE;
    }
    const MisalignedBlock image(vecImage);
    OpenBuffer buffer;
    ASSERT_EQ(1, Set(buffer, image, 1));
    ExpectTwoEntries(buffer);
}

TEST(BufferImage, AssigningOneToAnotherTakesTheFieldsAndLeavesTheData)
{
    Bytes vecOther(64, 0xAB);
    const MisalignedBlock from(FromHex(kTwoEntries), 1);
    const MisalignedBlock to(vecOther, 3);
    *to.As<VOBufferContainer::BufferAlloc>() = *from.As<VOBufferContainer::BufferAlloc>();
    std::copy_n(from.Data(), 20, vecOther.begin());
    EXPECT_TRUE(SameBytes(vecOther, to.Current()));

    vecOther[8] = 0x5C;
    const MisalignedBlock last(vecOther, 5);
    *to.As<VOBufferContainer::BufferAlloc>() = std::move(*last.As<VOBufferContainer::BufferAlloc>());
    EXPECT_TRUE(SameBytes(vecOther, to.Current()));
    EXPECT_TRUE(SameBytes(vecOther, last.Current()));
}

TEST(BufferImage, AFieldOrderThatReadersRelyOn)
{
    EXPECT_EQ(0u, offsetof(VOBufferContainer::BufferAlloc, szVersion));
    EXPECT_EQ(8u, offsetof(VOBufferContainer::BufferAlloc, uBufferSize));
    EXPECT_EQ(12u, offsetof(VOBufferContainer::BufferAlloc, uHandleVectorSize));
    EXPECT_EQ(16u, offsetof(VOBufferContainer::BufferAlloc, uDataBufSize));
}

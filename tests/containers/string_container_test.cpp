// VOStringContainer: texts in a byte pool, and its image.
#include <algorithm>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/opened_containers.h"
#include "support/random.h"
#include "support/text.h"

using namespace votest;

namespace
{
// "ab", "" and U+4E2D.
const char* const kThreeTexts = R"(
    76 65 72 2e 31 2e 30 00  53 00 00 00             # ver.1.0, size of the image inside: 83
      76 65 72 2e 31 2e 30 00                        # ver.1.0
      0f 00 00 00  2c 00 00 00  3b 00 00 00          # 15 bytes in use, handle image 44, both 59
      61 00 62 00 00 00 00  00 00 00  2d 4e 00 00 00
        76 65 72 2e 31 2e 30 00  03 00 00 00  18 00 00 00
        00 00 00 00 00 00 00 00
        07 00 00 00 00 00 00 00
        0a 00 00 00 00 00 00 00
        00 00 00 00
      00 00 00 00
    00 00 00 00
)";

void AddThreeTexts(VOStringContainer& rkStrings)
{
    rkStrings.Add(VOTEXT("ab"));
    rkStrings.Add(VOTEXT(""));
    rkStrings.Add(VOTEXT("\u4E2D"));
}

void ExpectThreeTexts(const VOStringContainer& rkStrings)
{
    ASSERT_EQ(3u, rkStrings.Count());
    EXPECT_EQ(VOTEXT("ab"), ReadText(rkStrings.Get(0u)));
    EXPECT_EQ(VOTEXT(""), ReadText(rkStrings.Get(Handle(7))));
    EXPECT_EQ(VOTEXT("\u4E2D"), ReadText(rkStrings.Get(Handle(10))));
}

int Set(VOStringContainer& rkStrings, const MisalignedBlock& rkImage, int bCopy)
{
    return rkStrings.SetAlloc(rkImage.As<VOStringContainer::StringAlloc>(), bCopy, rkImage.Size());
}

Bytes ThreeTexts()
{
    return FromHex(kThreeTexts);
}
}  // namespace

TEST(StringContainer, ATextTakesItsUnitsItsTerminatorAndOneByteMore)
{
    VOStringContainer kStrings;
    EXPECT_EQ(0u, Number(kStrings.Add(VOTEXT("ab"))));
    EXPECT_EQ(7u, kStrings.UsedSize());
    EXPECT_EQ(7u, Number(kStrings.Add(VOTEXT("cde"))));
    EXPECT_EQ(16u, kStrings.UsedSize());
    EXPECT_EQ(2u, kStrings.Count());
}

TEST(StringContainer, ATextAtAnOddOffsetReadsBackCorrectly)
{
    VOStringContainer kStrings;
    kStrings.Add(VOTEXT("ab"));
    void* hText = kStrings.Add(VOTEXT("odd \u4E2D text"));
    EXPECT_EQ(7u, Number(hText));
    EXPECT_EQ(VOTEXT("odd \u4E2D text"), ReadText(kStrings.Get(hText)));
    EXPECT_EQ(kStrings.Get(hText), kStrings.Get(1u));
}

TEST(StringContainer, TheEmptyTextIsATextLikeAnyOther)
{
    VOStringContainer kStrings;
    const LogCapture kLog;
    EXPECT_EQ(0u, Number(kStrings.Add(VOTEXT(""))));
    EXPECT_EQ(3u, kStrings.UsedSize());
    ASSERT_NE(nullptr, kStrings.Get(0u));
    EXPECT_EQ(VOWString(), ReadText(kStrings.Get(0u)));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringContainer, EqualTextsAreStoredTwice)
{
    VOStringContainer kStrings;
    EXPECT_NE(kStrings.Add(VOTEXT("x")), kStrings.Add(VOTEXT("x")));
    EXPECT_EQ(2u, kStrings.Count());
}

TEST(StringContainer, AddOfAnEmptyPointerIsRefusedWithTheBuffersLogLine)
{
    VOStringContainer kStrings;
    const LogCapture kLog;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kStrings.Add(nullptr));
    EXPECT_EQ(std::vector<std::string>{CheckLine("VO_PROCESS_ERROR", "pbArr", "VOBufferContainer::Add")}, kLog.Lines());
    EXPECT_EQ(0u, kStrings.Count());
}

TEST(StringContainer, TextIsTakenFromEveryMisalignment)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        VOStringContainer kStrings;
        const PlacedText kText(VOTEXT("textures/wall \u0100.dds"), uMisalignment);
        void* hText = kStrings.Add(kText);
        EXPECT_EQ(VOTEXT("textures/wall \u0100.dds"), ReadText(kStrings.Get(hText)));
    }
}

TEST(StringContainer, NoByteBehindTheCallersTextIsPublished)
{
    // What lies behind the terminator differs; the images don't.
    const VOWCHAR szFirst[] = {'a', 0, 'X', 'Y'};
    const VOWCHAR szSecond[] = {'a', 0, 'Z', 0};
    VOStringContainer kFirst;
    VOStringContainer kSecond;
    kFirst.Add(szFirst);
    kSecond.Add(szSecond);
    EXPECT_TRUE(SameBytes(ImageOf(kFirst), ImageOf(kSecond)));
}

TEST(StringContainer, GetOfWhatIsNotThereGivesAnEmptyPointer)
{
    VOStringContainer kStrings;
    EXPECT_EQ(nullptr, kStrings.Get(0u));
    EXPECT_EQ(nullptr, kStrings.Get(Handle(0)));
    kStrings.Add(VOTEXT("ab"));
    EXPECT_EQ(nullptr, kStrings.Get(INVALID_HANDLE_VALUE));
    EXPECT_EQ(nullptr, kStrings.Get(Handle(7)));
    EXPECT_EQ(nullptr, kStrings.Get(1u));
}

TEST(StringContainer, GetOfAHandleInsideATextGivesItsRest)
{
    VOStringContainer kStrings;
    kStrings.Add(VOTEXT("abc"));
    EXPECT_EQ(VOTEXT("bc"), ReadText(kStrings.Get(Handle(2))));
}

TEST(StringContainer, CleanForgetsTheTexts)
{
    VOStringContainer kStrings;
    AddThreeTexts(kStrings);
    EXPECT_EQ(1, kStrings.Clean());
    EXPECT_EQ(0u, kStrings.Count());
    EXPECT_EQ(0u, kStrings.UsedSize());
    EXPECT_EQ(nullptr, kStrings.Get(0u));
    EXPECT_EQ(0u, Number(kStrings.Add(VOTEXT("again"))));
}

TEST(StringContainer, ReleaseEmptiesItAndItCanBeFilledAgain)
{
    VOStringContainer kStrings;
    AddThreeTexts(kStrings);
    EXPECT_EQ(1, kStrings.Release());
    EXPECT_EQ(0u, kStrings.Count());
    AddThreeTexts(kStrings);
    ExpectThreeTexts(kStrings);
}

TEST(StringContainer, ShrinkToFitKeepsTheTexts)
{
    VOStringContainer kStrings;
    EXPECT_EQ(1, kStrings.ShrinkToFit());
    AddThreeTexts(kStrings);
    EXPECT_EQ(1, kStrings.ShrinkToFit());
    ExpectThreeTexts(kStrings);
}

TEST(StringImage, ItsBytesAreExactlyTheFormats)
{
    VOStringContainer kStrings;
    AddThreeTexts(kStrings);
    EXPECT_TRUE(SameBytes(ThreeTexts(), ImageOf(kStrings)));
    EXPECT_EQ(ThreeTexts().size(), kStrings.AllocSize());
}

TEST(StringImage, OfAnEmptyContainerIs60BytesAndCanBeTakenAgain)
{
    VOStringContainer kStrings;
    const Bytes vecImage = ImageOf(kStrings);
    EXPECT_TRUE(SameBytes(StringImage(TextPool()), vecImage));
    EXPECT_EQ(60u, vecImage.size());
    const MisalignedBlock kImage(vecImage, 1);
    EXPECT_EQ(1, Set(kStrings, kImage, 0));
    EXPECT_EQ(0u, kStrings.Count());
}

TEST(StringImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(ThreeTexts(), uMisalignment);
            VOStringContainer kStrings;
            ASSERT_EQ(1, Set(kStrings, kImage, bCopy)) << uMisalignment;
            ExpectThreeTexts(kStrings);
            EXPECT_TRUE(SameBytes(ThreeTexts(), ImageOf(kStrings)));
            EXPECT_TRUE(SameBytes(ThreeTexts(), kImage.Current()));
        }
    }
}

TEST(StringImage, ACopyOutlivesTheImageAndAViewNeverReleasesIt)
{
    VOStringContainer kCopy;
    {
        const MisalignedBlock kImage(ThreeTexts(), 1);
        ASSERT_EQ(1, Set(kCopy, kImage, 1));
        VOStringContainer kView;
        ASSERT_EQ(1, Set(kView, kImage, 0));
        EXPECT_EQ(1, kView.Release());
        ASSERT_EQ(1, Set(kView, kImage, 0));
    }
    ExpectThreeTexts(kCopy);
}

TEST(StringImage, AddToAViewKeepsAllHandlesAndLeavesTheImageAlone)
{
    const MisalignedBlock kImage(ThreeTexts(), 1);
    VOStringContainer kStrings;
    ASSERT_EQ(1, Set(kStrings, kImage, 0));
    EXPECT_EQ(15u, Number(kStrings.Add(VOTEXT("z"))));
    EXPECT_EQ(4u, kStrings.Count());
    EXPECT_EQ(VOTEXT("ab"), ReadText(kStrings.Get(Handle(0))));
    EXPECT_EQ(VOTEXT("\u4E2D"), ReadText(kStrings.Get(Handle(10))));
    EXPECT_EQ(VOTEXT("z"), ReadText(kStrings.Get(3u)));
    EXPECT_TRUE(SameBytes(ThreeTexts(), kImage.Current()));
}

TEST(StringImage, AnEmptyPointerOrAWrongVersionIsRefusedInSilenceAndTheContainerUntouched)
{
    const LogCapture kLog;
    VOStringContainer kStrings;
    AddThreeTexts(kStrings);
    EXPECT_EQ(0, kStrings.SetAlloc(nullptr, 1));
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        Bytes vecImage = StringImage(TextPool());
        vecImage[uByte] ^= 1;
        const MisalignedBlock kImage(vecImage);
        EXPECT_EQ(0, Set(kStrings, kImage, 1));
        EXPECT_EQ(0, Set(kStrings, kImage, 0));
        ExpectThreeTexts(kStrings);
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringImage, AssigningOneToAnotherTakesTheFieldsAndLeavesTheImageInside)
{
    Bytes vecOther(32, 0xAB);
    const MisalignedBlock kFrom(ThreeTexts(), 1);
    const MisalignedBlock kTo(vecOther, 3);
    *kTo.As<VOStringContainer::StringAlloc>() = *kFrom.As<VOStringContainer::StringAlloc>();
    std::copy_n(kFrom.Data(), 12, vecOther.begin());
    EXPECT_TRUE(SameBytes(vecOther, kTo.Current()));
    EXPECT_STREQ("ver.1.0", kTo.As<VOStringContainer::StringAlloc>()->szVersion);
}

TEST(StringImage, TheSizeOfTheImageInsideIsNotCompared)
{
    Bytes vecImage = ThreeTexts();
    WriteU32(vecImage, 8, 7);
    const MisalignedBlock kImage(vecImage);
    VOStringContainer kStrings;
    ASSERT_EQ(1, Set(kStrings, kImage, 1));
    ExpectThreeTexts(kStrings);
}

TEST(StringImage, ABadImageInsideIsRefusedAfterTheContainerWasCleared)
{
    Bytes vecImage = ThreeTexts();
    vecImage[12] ^= 1;
    const MisalignedBlock kImage(vecImage);
    VOStringContainer kStrings;
    kStrings.Add(VOTEXT("before"));
    EXPECT_EQ(0, Set(kStrings, kImage, 1));
    EXPECT_EQ(0u, kStrings.Count());
}

TEST(StringImage, ATextWithoutAnEndInsideThePoolIsNotHandedOut)
{
    Bytes vecImage = ThreeTexts();
    for (size_t i = 42; i < 47; ++i)
    {
        vecImage[i] = 'x';  // the last text, its terminator, and the byte behind it
    }
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(vecImage, 1);
        VOStringContainer kStrings;
        ASSERT_EQ(1, Set(kStrings, kImage, bCopy));
        EXPECT_EQ(nullptr, kStrings.Get(2u));
        EXPECT_EQ(nullptr, kStrings.Get(Handle(14)));
        EXPECT_EQ(VOTEXT("ab"), ReadText(kStrings.Get(0u)));
    }
}

TEST(StringImage, ThousandsOfRandomTextsReadBackFromACopyAndAView)
{
    Random kRandom(22002);
    VOStringContainer kStrings;
    TextPool kPool;
    std::vector<VOWString> vecText;
    for (int i = 0; i < 3000; ++i)
    {
        VOWString strText(kRandom.Below(30), VOWCHAR{0});
        for (VOWCHAR& rch : strText)
        {
            rch = static_cast<VOWCHAR>(1 + kRandom.Below(0xFFFF));
        }
        const PlacedText kText(strText, kRandom.Below(16));
        ASSERT_EQ(kPool.Add(strText), Number(kStrings.Add(kText)));
        vecText.push_back(strText);
    }
    EXPECT_TRUE(SameBytes(StringImage(kPool), ImageOf(kStrings)));
    const MisalignedBlock kImage(ImageOf(kStrings), 5);
    for (const int bCopy : {0, 1})
    {
        VOStringContainer kTarget;
        ASSERT_EQ(1, Set(kTarget, kImage, bCopy));
        ASSERT_EQ(3000u, kTarget.Count());
        for (unsigned i = 0; i < 3000; ++i)
        {
            ASSERT_EQ(vecText[i], ReadText(kTarget.Get(i))) << i;
            ASSERT_EQ(vecText[i], ReadText(kTarget.Get(Handle(kPool.vecHandle[i])))) << i;
        }
    }
}

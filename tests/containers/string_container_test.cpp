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

void AddThreeTexts(VOStringContainer& strings)
{
    strings.Add(VOTEXT("ab"));
    strings.Add(VOTEXT(""));
    strings.Add(VOTEXT("\u4E2D"));
}

void ExpectThreeTexts(const VOStringContainer& strings)
{
    ASSERT_EQ(3u, strings.Count());
    EXPECT_EQ(VOTEXT("ab"), ReadText(strings.Get(0u)));
    EXPECT_EQ(VOTEXT(""), ReadText(strings.Get(Handle(7))));
    EXPECT_EQ(VOTEXT("\u4E2D"), ReadText(strings.Get(Handle(10))));
}

int Set(VOStringContainer& strings, const MisalignedBlock& image, int bCopy)
{
    return strings.SetAlloc(image.As<VOStringContainer::StringAlloc>(), bCopy, image.Size());
}

Bytes ThreeTexts()
{
    return FromHex(kThreeTexts);
}
}  // namespace

TEST(StringContainer, ATextTakesItsUnitsItsTerminatorAndOneByteMore)
{
    VOStringContainer strings;
    EXPECT_EQ(0u, Number(strings.Add(VOTEXT("ab"))));
    EXPECT_EQ(7u, strings.UsedSize());
    EXPECT_EQ(7u, Number(strings.Add(VOTEXT("cde"))));
    EXPECT_EQ(16u, strings.UsedSize());
    EXPECT_EQ(2u, strings.Count());
}

TEST(StringContainer, ATextAtAnOddOffsetReadsBackCorrectly)
{
    VOStringContainer strings;
    strings.Add(VOTEXT("ab"));
    void* hText = strings.Add(VOTEXT("odd \u4E2D text"));
    EXPECT_EQ(7u, Number(hText));
    EXPECT_EQ(VOTEXT("odd \u4E2D text"), ReadText(strings.Get(hText)));
    EXPECT_EQ(strings.Get(hText), strings.Get(1u));
}

TEST(StringContainer, TheEmptyTextIsATextLikeAnyOther)
{
    VOStringContainer strings;
    const LogCapture log;
    EXPECT_EQ(0u, Number(strings.Add(VOTEXT(""))));
    EXPECT_EQ(3u, strings.UsedSize());
    ASSERT_NE(nullptr, strings.Get(0u));
    EXPECT_EQ(VOWString(), ReadText(strings.Get(0u)));
    EXPECT_EQ(0u, log.Count());
}

TEST(StringContainer, EqualTextsAreStoredTwice)
{
    VOStringContainer strings;
    EXPECT_NE(strings.Add(VOTEXT("x")), strings.Add(VOTEXT("x")));
    EXPECT_EQ(2u, strings.Count());
}

TEST(StringContainer, AddOfAnEmptyPointerIsRefusedWithTheBuffersLogLine)
{
    VOStringContainer strings;
    const LogCapture log;
    EXPECT_EQ(INVALID_HANDLE_VALUE, strings.Add(nullptr));
    EXPECT_EQ(std::vector<std::string>{CheckLine("VO_PROCESS_ERROR", "pbArr", "VOBufferContainer::Add")}, log.Lines());
    EXPECT_EQ(0u, strings.Count());
}

TEST(StringContainer, TextIsTakenFromEveryMisalignment)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        VOStringContainer strings;
        const PlacedText text(VOTEXT("textures/wall \u0100.dds"), uMisalignment);
        void* hText = strings.Add(text);
        EXPECT_EQ(VOTEXT("textures/wall \u0100.dds"), ReadText(strings.Get(hText)));
    }
}

TEST(StringContainer, NoByteBehindTheCallersTextIsPublished)
{
    // What lies behind the terminator differs; the images don't.
    const VOWCHAR szFirst[] = {'a', 0, 'X', 'Y'};
    const VOWCHAR szSecond[] = {'a', 0, 'Z', 0};
    VOStringContainer first;
    VOStringContainer second;
    first.Add(szFirst);
    second.Add(szSecond);
    EXPECT_TRUE(SameBytes(ImageOf(first), ImageOf(second)));
}

TEST(StringContainer, GetOfWhatIsNotThereGivesAnEmptyPointer)
{
    VOStringContainer strings;
    EXPECT_EQ(nullptr, strings.Get(0u));
    EXPECT_EQ(nullptr, strings.Get(Handle(0)));
    strings.Add(VOTEXT("ab"));
    EXPECT_EQ(nullptr, strings.Get(INVALID_HANDLE_VALUE));
    EXPECT_EQ(nullptr, strings.Get(Handle(7)));
    EXPECT_EQ(nullptr, strings.Get(1u));
}

TEST(StringContainer, GetOfAHandleInsideATextGivesItsRest)
{
    VOStringContainer strings;
    strings.Add(VOTEXT("abc"));
    EXPECT_EQ(VOTEXT("bc"), ReadText(strings.Get(Handle(2))));
}

TEST(StringContainer, CleanForgetsTheTexts)
{
    VOStringContainer strings;
    AddThreeTexts(strings);
    EXPECT_EQ(1, strings.Clean());
    EXPECT_EQ(0u, strings.Count());
    EXPECT_EQ(0u, strings.UsedSize());
    EXPECT_EQ(nullptr, strings.Get(0u));
    EXPECT_EQ(0u, Number(strings.Add(VOTEXT("again"))));
}

TEST(StringContainer, ReleaseEmptiesItAndItCanBeFilledAgain)
{
    VOStringContainer strings;
    AddThreeTexts(strings);
    EXPECT_EQ(1, strings.Release());
    EXPECT_EQ(0u, strings.Count());
    AddThreeTexts(strings);
    ExpectThreeTexts(strings);
}

TEST(StringContainer, ShrinkToFitKeepsTheTexts)
{
    VOStringContainer strings;
    EXPECT_EQ(1, strings.ShrinkToFit());
    AddThreeTexts(strings);
    EXPECT_EQ(1, strings.ShrinkToFit());
    ExpectThreeTexts(strings);
}

TEST(StringImage, ItsBytesAreExactlyTheFormats)
{
    VOStringContainer strings;
    AddThreeTexts(strings);
    EXPECT_TRUE(SameBytes(ThreeTexts(), ImageOf(strings)));
    EXPECT_EQ(ThreeTexts().size(), strings.AllocSize());
}

TEST(StringImage, OfAnEmptyContainerIs60BytesAndCanBeTakenAgain)
{
    VOStringContainer strings;
    const Bytes vecImage = ImageOf(strings);
    EXPECT_TRUE(SameBytes(StringImage(TextPool()), vecImage));
    EXPECT_EQ(60u, vecImage.size());
    const MisalignedBlock image(vecImage, 1);
    EXPECT_EQ(1, Set(strings, image, 0));
    EXPECT_EQ(0u, strings.Count());
}

TEST(StringImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(ThreeTexts(), uMisalignment);
            VOStringContainer strings;
            ASSERT_EQ(1, Set(strings, image, bCopy)) << uMisalignment;
            ExpectThreeTexts(strings);
            EXPECT_TRUE(SameBytes(ThreeTexts(), ImageOf(strings)));
            EXPECT_TRUE(SameBytes(ThreeTexts(), image.Current()));
        }
    }
}

TEST(StringImage, ACopyOutlivesTheImageAndAViewNeverReleasesIt)
{
    VOStringContainer copy;
    {
        const MisalignedBlock image(ThreeTexts(), 1);
        ASSERT_EQ(1, Set(copy, image, 1));
        VOStringContainer view;
        ASSERT_EQ(1, Set(view, image, 0));
        EXPECT_EQ(1, view.Release());
        ASSERT_EQ(1, Set(view, image, 0));
    }
    ExpectThreeTexts(copy);
}

TEST(StringImage, AddToAViewKeepsAllHandlesAndLeavesTheImageAlone)
{
    const MisalignedBlock image(ThreeTexts(), 1);
    VOStringContainer strings;
    ASSERT_EQ(1, Set(strings, image, 0));
    EXPECT_EQ(15u, Number(strings.Add(VOTEXT("z"))));
    EXPECT_EQ(4u, strings.Count());
    EXPECT_EQ(VOTEXT("ab"), ReadText(strings.Get(Handle(0))));
    EXPECT_EQ(VOTEXT("\u4E2D"), ReadText(strings.Get(Handle(10))));
    EXPECT_EQ(VOTEXT("z"), ReadText(strings.Get(3u)));
    EXPECT_TRUE(SameBytes(ThreeTexts(), image.Current()));
}

TEST(StringImage, AnEmptyPointerOrAWrongVersionIsRefusedInSilenceAndTheContainerUntouched)
{
    const LogCapture log;
    VOStringContainer strings;
    AddThreeTexts(strings);
    EXPECT_EQ(0, strings.SetAlloc(nullptr, 1));
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        Bytes vecImage = StringImage(TextPool());
        vecImage[uByte] ^= 1;
        const MisalignedBlock image(vecImage);
        EXPECT_EQ(0, Set(strings, image, 1));
        EXPECT_EQ(0, Set(strings, image, 0));
        ExpectThreeTexts(strings);
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(StringImage, AssigningOneToAnotherTakesTheFieldsAndLeavesTheImageInside)
{
    Bytes vecOther(32, 0xAB);
    const MisalignedBlock from(ThreeTexts(), 1);
    const MisalignedBlock to(vecOther, 3);
    *to.As<VOStringContainer::StringAlloc>() = *from.As<VOStringContainer::StringAlloc>();
    std::copy_n(from.Data(), 12, vecOther.begin());
    EXPECT_TRUE(SameBytes(vecOther, to.Current()));
    EXPECT_STREQ("ver.1.0", to.As<VOStringContainer::StringAlloc>()->szVersion);
}

TEST(StringImage, TheSizeOfTheImageInsideIsNotCompared)
{
    Bytes vecImage = ThreeTexts();
    WriteU32(vecImage, 8, 7);
    const MisalignedBlock image(vecImage);
    VOStringContainer strings;
    ASSERT_EQ(1, Set(strings, image, 1));
    ExpectThreeTexts(strings);
}

TEST(StringImage, ABadImageInsideIsRefusedAfterTheContainerWasCleared)
{
    Bytes vecImage = ThreeTexts();
    vecImage[12] ^= 1;
    const MisalignedBlock image(vecImage);
    VOStringContainer strings;
    strings.Add(VOTEXT("before"));
    EXPECT_EQ(0, Set(strings, image, 1));
    EXPECT_EQ(0u, strings.Count());
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
        const MisalignedBlock image(vecImage, 1);
        VOStringContainer strings;
        ASSERT_EQ(1, Set(strings, image, bCopy));
        EXPECT_EQ(nullptr, strings.Get(2u));
        EXPECT_EQ(nullptr, strings.Get(Handle(14)));
        EXPECT_EQ(VOTEXT("ab"), ReadText(strings.Get(0u)));
    }
}

TEST(StringImage, ThousandsOfRandomTextsReadBackFromACopyAndAView)
{
    Random random(22002);
    VOStringContainer strings;
    TextPool pool;
    std::vector<VOWString> vecText;
    for (int i = 0; i < 3000; ++i)
    {
        VOWString strText(random.Below(30), VOWCHAR{0});
        for (VOWCHAR& rch : strText)
        {
            rch = static_cast<VOWCHAR>(1 + random.Below(0xFFFF));
        }
        const PlacedText text(strText, random.Below(16));
        ASSERT_EQ(pool.Add(strText), Number(strings.Add(text)));
        vecText.push_back(strText);
    }
    EXPECT_TRUE(SameBytes(StringImage(pool), ImageOf(strings)));
    const MisalignedBlock image(ImageOf(strings), 5);
    for (const int bCopy : {0, 1})
    {
        VOStringContainer target;
        ASSERT_EQ(1, Set(target, image, bCopy));
        ASSERT_EQ(3000u, target.Count());
        for (unsigned i = 0; i < 3000; ++i)
        {
            ASSERT_EQ(vecText[i], ReadText(target.Get(i))) << i;
            ASSERT_EQ(vecText[i], ReadText(target.Get(Handle(pool.vecHandle[i])))) << i;
        }
    }
}

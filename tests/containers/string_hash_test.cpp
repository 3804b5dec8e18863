// VOStringHash: values that are a format.
#include "vo_string_hash.h"

#include <string>
#include <utility>
#include <vector>

#include "support/log_capture.h"
#include "support/random.h"
#include "support/reference_hash.h"
#include "support/text.h"

using namespace votest;

namespace
{
constexpr unsigned int kEmptyHash = 0x7FED7FED;

VOWString RandomText(Random& random, size_t uLongest)
{
    VOWString strText(random.Below(uLongest + 1), VOWCHAR{0});
    for (VOWCHAR& rch : strText)
    {
        const uint32_t uWord = random.Word();
        // ASCII, Latin-1 and any unit, and often a low byte of zero.
        const uint32_t uUnit = uWord % 4 == 0   ? uWord >> 8 & 0x7F
                               : uWord % 4 == 1 ? uWord >> 8 & 0xFF
                               : uWord % 4 == 2 ? uWord >> 8 & 0xFFFF
                                                : uWord >> 8 & 0xFF00;
        rch = static_cast<VOWCHAR>(uUnit == 0 ? 1 : uUnit);
    }
    return strText;
}

// The word that the first step of HashA or HashW takes out of the table for one byte: the step is
// word XOR (0x7FED7FED + 0xEEEEEEEE), which can be undone.
unsigned int WordFromHash(unsigned int uHash)
{
    return uHash ^ (0x7FED7FEDu + 0xEEEEEEEEu);
}
}  // namespace

TEST(StringHash, TheFirstWordsOfRow0AndRow1AreTheStatedOnes)
{
    // One wide character of one byte makes one step, so its hash shows the table's word. U+0000 can't be in a text, and
    // word 0 comes into play as the low byte of U+0100: two steps, the first with byte 1.
    const VOStringHash hash;
    EXPECT_EQ(0x02BE0170u, WordFromHash(hash.HashW(VOTEXT("\x01"), 0)));
    EXPECT_EQ(0x584B71D4u, WordFromHash(hash.HashW(VOTEXT("\x02"), 0)));

    const auto fnWord0 = [&hash](VOULONG dwRow)
    {
        const unsigned int uSeed1 = hash.HashW(VOTEXT("\x01"), dwRow);
        const unsigned int uSeed2 = 1 + uSeed1 + 33 * 0xEEEEEEEEu + 3;
        return hash.HashW(VOTEXT("\u0100"), dwRow) ^ (uSeed1 + uSeed2);
    };
    EXPECT_EQ(0x55C636E2u, fnWord0(0));
    EXPECT_EQ(0x76F8C1B1u, fnWord0(1));
}

TEST(StringHash, EveryWordOfTheTableIsThatOfTheGenerator)
{
    const VOStringHash hash;
    for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
    {
        for (unsigned int uIndex = 1; uIndex < 256; ++uIndex)
        {
            const VOWCHAR szText[2] = {static_cast<VOWCHAR>(uIndex), 0};
            ASSERT_EQ(ReferenceHashWord(dwRow, uIndex), WordFromHash(hash.HashW(szText, dwRow)))
                << "row " << dwRow << ", index " << uIndex;
        }
    }
}

TEST(StringHash, TheReferenceValuesComeOutExactly)
{
    const VOStringHash hash;
    EXPECT_EQ(0xD839C6EAu, hash.HashW(VOTEXT("abc"), 0));
    EXPECT_EQ(0xBAF5FCA4u, hash.HashW(VOTEXT("abc"), 1));
    EXPECT_EQ(0xF434F751u, hash.HashW(VOTEXT("ABC"), 0));
    EXPECT_EQ(0xAAB2C1A5u, hash.HashW(VOTEXT("ABC"), 1));
    EXPECT_EQ(0x7DC63D68u, hash.HashW(VOTEXT("a"), 0));
    EXPECT_EQ(0xB0BBF6F4u, hash.HashW(VOTEXT("a"), 1));
    EXPECT_EQ(0xB91E981Fu, hash.HashW(VOTEXT("\u4E2D"), 0));
    EXPECT_EQ(0xFA20569Fu, hash.HashW(VOTEXT("\u4E2D"), 1));
}

TEST(StringHash, TheEmptyTextHashesToTheSeedInEveryRow)
{
    const VOStringHash hash;
    for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
    {
        EXPECT_EQ(kEmptyHash, hash.HashW(VOTEXT(""), dwRow));
        EXPECT_EQ(kEmptyHash, hash.HashA("", dwRow));
        EXPECT_EQ(kEmptyHash, hash.Hash(VOTEXT(""), dwRow));
    }
}

TEST(StringHash, TheWideHashOfAsciiTextIsTheNarrowHash)
{
    const VOStringHash hash;
    const char* const apszText[] = {"abc", "ABC", "a", "textures/stone/wall_01.dds", "\x7F", " ", "0123456789"};
    for (const char* pszText : apszText)
    {
        for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
        {
            EXPECT_EQ(hash.HashA(pszText, dwRow), hash.HashW(Wide(pszText).c_str(), dwRow)) << pszText;
        }
    }
}

TEST(StringHash, HashIsHashWUnderAnotherName)
{
    const VOStringHash hash;
    for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
    {
        EXPECT_EQ(hash.HashW(VOTEXT("a\u4E2Db"), dwRow), hash.Hash(VOTEXT("a\u4E2Db"), dwRow));
    }
}

TEST(StringHash, ACharacterAbove255MakesTwoStepsAlsoWhenItsLowByteIsZero)
{
    // HashA of the two bytes makes the same two steps; a low byte of zero has no narrow form.
    const VOStringHash hash;
    EXPECT_EQ(hash.HashA("\x4E\x2D", 0), hash.HashW(VOTEXT("\u4E2D"), 0));
    EXPECT_EQ(ReferenceHash(VOTEXT("\u0100"), 0), hash.HashW(VOTEXT("\u0100"), 0));
    EXPECT_NE(hash.HashW(VOTEXT("\x01"), 0), hash.HashW(VOTEXT("\u0100"), 0));
}

TEST(StringHash, ACharacterFrom128To255MakesOneStep)
{
    const VOStringHash hash;
    const VOWCHAR szText[] = {0xE4, 0};
    EXPECT_EQ(ReferenceHashWord(0, 0xE4) ^ (0x7FED7FEDu + 0xEEEEEEEEu), hash.HashW(szText, 0));
}

TEST(StringHash, CaseAndSeparatorsAreNotFolded)
{
    const VOStringHash hash;
    EXPECT_NE(hash.HashW(VOTEXT("abc"), 0), hash.HashW(VOTEXT("ABC"), 0));
    EXPECT_NE(hash.HashW(VOTEXT("a/b"), 0), hash.HashW(VOTEXT("a\\b"), 0));
}

TEST(StringHash, TheNarrowHashTakesAByteFrom128UpAsANegativeCharacter)
{
    // In the rows 1 to 4 a byte of 0x80 (-128) reads the word 128 of the row before, and -128 enters the second seed.
    const VOStringHash hash;
    for (VOULONG dwRow = 1; dwRow < 5; ++dwRow)
    {
        uint32_t uSeed1 = 0x7FED7FED;
        uint32_t uSeed2 = 0xEEEEEEEE;
        for (const int nCharacter : {-128, int{'x'}, -1})
        {
            const uint32_t uWord = nCharacter < 0
                                       ? ReferenceHashWord(dwRow - 1, static_cast<uint32_t>(256 + nCharacter))
                                       : ReferenceHashWord(dwRow, static_cast<uint32_t>(nCharacter));
            uSeed1 = uWord ^ (uSeed1 + uSeed2);
            uSeed2 = static_cast<uint32_t>(nCharacter) + uSeed1 + 33 * uSeed2 + 3;
        }
        EXPECT_EQ(uSeed1, hash.HashA("\x80x\xFF", dwRow)) << "row " << dwRow;
    }
}

TEST(StringHash, TheNarrowHashReadsNoWordInFrontOfTheTable)
{
    // Row 0 has no row before it: the byte counts as a zero word there.
    const VOStringHash hash;
    EXPECT_EQ(0x7FED7FEDu + 0xEEEEEEEEu, hash.HashA("\xFF", 0));
    EXPECT_EQ(hash.HashA("\x80", 0), hash.HashA("\xFF", 0));
}

TEST(StringHash, TwoObjectsBuiltApartGiveEqualResults)
{
    const VOStringHash first;
    const VOStringHash second;
    for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
    {
        EXPECT_EQ(first.HashW(VOTEXT("some text"), dwRow), second.HashW(VOTEXT("some text"), dwRow));
        EXPECT_EQ(ReferenceHash(VOTEXT("some text"), dwRow), second.HashW(VOTEXT("some text"), dwRow));
    }
}

TEST(StringHash, CopiesGiveTheResultsOfTheirSource)
{
    const VOStringHash source;
    const VOStringHash constructed(source);
    VOStringHash assigned;
    assigned = source;
    VOStringHash moved;
    moved = std::move(assigned);
    for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
    {
        const unsigned int uExpected = ReferenceHash(VOTEXT("some text"), dwRow);
        EXPECT_EQ(uExpected, constructed.HashW(VOTEXT("some text"), dwRow));
        EXPECT_EQ(uExpected, moved.HashW(VOTEXT("some text"), dwRow));
    }
}

TEST(StringHash, TheObjectIsItsTableOf1280Words)
{
    EXPECT_EQ(1280 * sizeof(unsigned int), sizeof(VOStringHash));
}

TEST(StringHash, TextIsReadAtEveryMisalignment)
{
    const VOStringHash hash;
    const VOWString strText = VOTEXT("textures/\u4E2D\u0100/wall.dds");
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        const PlacedText text(strText, uMisalignment);
        EXPECT_EQ(ReferenceHash(strText, 0), hash.HashW(text, 0)) << uMisalignment;
        EXPECT_EQ(ReferenceHash(strText, 1), hash.HashW(text, 1)) << uMisalignment;
    }
}

TEST(StringHash, ThousandsOfRandomTextsHashAsTheReferenceDoes)
{
    const VOStringHash hash;
    Random random(20010);
    for (int i = 0; i < 4000; ++i)
    {
        const VOWString strText = RandomText(random, 40);
        const PlacedText text(strText, random.Below(16));
        for (VOULONG dwRow = 0; dwRow < 5; ++dwRow)
        {
            ASSERT_EQ(ReferenceHash(strText, dwRow), hash.HashW(text, dwRow)) << Shown(strText) << " row " << dwRow;
        }
    }
}

TEST(StringHash, HashRowsGivesRows0And1)
{
    const VOStringHash hash;
    Random random(20011);
    for (int i = 0; i < 2000; ++i)
    {
        const VOWString strText = RandomText(random, 40);
        const PlacedText text(strText, random.Below(16));
        unsigned int uHash0 = 0;
        unsigned int uHash1 = 0;
        hash.HashRows(text, uHash0, uHash1);
        ASSERT_EQ(ReferenceHash(strText, 0), uHash0) << Shown(strText);
        ASSERT_EQ(ReferenceHash(strText, 1), uHash1) << Shown(strText);
    }
}

TEST(StringHash, HashingATextLogsNothing)
{
    const LogCapture log;
    const VOStringHash hash;
    hash.HashW(VOTEXT("abc"), 4);
    hash.HashA("abc", 4);
    hash.HashA("\xFF", 0);
    EXPECT_EQ(0u, log.Count());
}

TEST(StringHash, ARowThatDoesNotExistIsRefusedWith0AndALogLine)
{
    const LogCapture log;
    const VOStringHash hash;
    EXPECT_EQ(0u, hash.HashW(VOTEXT("abc"), 5));
    EXPECT_EQ(1u, log.Count());
    EXPECT_EQ(0u, hash.HashA("abc", 0xFFFFFFFFu));
    EXPECT_EQ(2u, log.Count());
    EXPECT_EQ(0u, hash.Hash(VOTEXT("abc"), 1280));
    EXPECT_EQ(3u, log.Count());
}

TEST(StringHash, AnEmptyPointerIsRefusedWith0AndALogLine)
{
    const LogCapture log;
    const VOStringHash hash;
    EXPECT_EQ(0u, hash.HashW(nullptr, 0));
    EXPECT_EQ(0u, hash.HashA(nullptr, 0));
    EXPECT_EQ(2u, log.Count());
    unsigned int uHash0 = 1;
    unsigned int uHash1 = 1;
    hash.HashRows(nullptr, uHash0, uHash1);
    EXPECT_EQ(0u, uHash0);
    EXPECT_EQ(0u, uHash1);
    EXPECT_EQ(3u, log.Count());
}

// The 64-bit string hashes, the bounded copies, the folds, and the reader of texts at odd addresses.
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/text.h"
#include "vo_utility.h"

using namespace votest;

namespace
{
// 16-bit units at any address.
Bytes UnitsAt(const void* pvText, size_t uUnits)
{
    return CopyBytes(pvText, uUnits * 2);
}

Bytes Units(const VOWString& strText, size_t uZeros)
{
    return ByteBuilder().Units(strText).Zeros(uZeros * 2).Result();
}
}  // namespace

TEST(BkdrHash, OfOneLetterIsItsCodeInBothForms)
{
    EXPECT_EQ(97u, VO_BKDRHashForString64BitA("a"));
    EXPECT_EQ(97u, VO_BKDRHashForString64BitW(VOTEXT("a")));
}

TEST(BkdrHash, TheWideFormWalksFromTheLastCharacterToTheFirst)
{
    EXPECT_EQ(97u * 131 + 98, VO_BKDRHashForString64BitA("ab"));
    EXPECT_EQ(98u * 131 + 97, VO_BKDRHashForString64BitW(VOTEXT("ab")));
    EXPECT_EQ(VO_BKDRHashForString64BitA("racecar"), VO_BKDRHashForString64BitW(VOTEXT("racecar")));
}

TEST(BkdrHash, OfTheEmptyTextIs0)
{
    EXPECT_EQ(0u, VO_BKDRHashForString64BitA(""));
    EXPECT_EQ(0u, VO_BKDRHashForString64BitW(VOTEXT("")));
}

TEST(BkdrHash, TheNarrowFormTakesCharactersAbove127AsNegative)
{
    EXPECT_EQ(~0ull, VO_BKDRHashForString64BitA("\xFF"));
    EXPECT_EQ(0ull - 128, VO_BKDRHashForString64BitA("\x80"));
    EXPECT_EQ(97ull * 131 - 1, VO_BKDRHashForString64BitA("a\xFF"));
}

TEST(BkdrHash, TheWideFormTakesCharactersAsUnsigned)
{
    EXPECT_EQ(0xFFFFull, VO_BKDRHashForString64BitW(VOTEXT("\uFFFF")));
    EXPECT_EQ(0x8000ull * 131 + 97, VO_BKDRHashForString64BitW(VOTEXT("a\u8000")));
}

TEST(BkdrHash, LongTextsWrapAt64Bits)
{
    Random random(82300);
    for (int i = 0; i < 300; ++i)
    {
        std::string strNarrow(random.Below(60), 'x');
        VOWString strWide(strNarrow.size(), VOWCHAR{0});
        for (size_t k = 0; k < strNarrow.size(); ++k)
        {
            strNarrow[k] = static_cast<char>(1 + random.Below(255));
            strWide[k] = static_cast<VOWCHAR>(1 + random.Below(0xFFFF));
        }
        uint64_t ullNarrow = 0;
        uint64_t ullWide = 0;
        for (size_t k = 0; k < strNarrow.size(); ++k)
        {
            const unsigned char uByte = static_cast<unsigned char>(strNarrow[k]);
            ullNarrow = ullNarrow * 131 + (uByte < 128 ? uByte : uByte - 256ull);
            ullWide = ullWide * 131 + static_cast<uint16_t>(strWide[strWide.size() - 1 - k]);
        }
        EXPECT_EQ(ullNarrow, VO_BKDRHashForString64BitA(strNarrow.c_str()));
        const PlacedText text(strWide, random.Below(16));
        EXPECT_EQ(ullWide, VO_BKDRHashForString64BitW(text));
    }
}

TEST(BoundedCopy, OfTenCharactersIntoFourStores3AndAZero)
{
    char szTo[5] = {'#', '#', '#', '#', '#'};
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 4, "0123456789", 4));
    EXPECT_TRUE(SameBytes({'0', '1', '2', 0, '#'}, CopyBytes(szTo, 5)));

    VOWCHAR szWide[5] = {'#', '#', '#', '#', '#'};
    EXPECT_EQ(1, VOStrnCpy_SW(szWide, 4, VOTEXT("0123456789"), 4));
    EXPECT_TRUE(SameBytes(ByteBuilder().Units(VOTEXT("012")).U16(0).U16('#').Result(), UnitsAt(szWide, 5)));
}

TEST(BoundedCopy, TheMaximumCountIsCheckedAndDoesNotLimitTheCopy)
{
    char szTo[8];
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 8, "0123456789", 2));
    EXPECT_STREQ("0123456", szTo);
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 8, "0123456789", 0));
    EXPECT_STREQ("0123456", szTo);

    VOWCHAR szWide[8];
    EXPECT_EQ(1, VOStrnCpy_SW(szWide, 8, VOTEXT("0123456789"), 2));
    EXPECT_EQ(VOTEXT("0123456"), VOWString(szWide));
}

TEST(BoundedCopy, TheTargetIsFilledWithZeros)
{
    char szTo[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 8, "ab", 8));
    EXPECT_TRUE(SameBytes({'a', 'b', 0, 0, 0, 0, 0, 0}, CopyBytes(szTo, 8)));

    VOWCHAR szWide[8] = {'#', '#', '#', '#', '#', '#', '#', '#'};
    EXPECT_EQ(1, VOStrnCpy_SW(szWide, 8, VOTEXT("ab"), 8));
    EXPECT_TRUE(SameBytes(Units(VOTEXT("ab"), 6), UnitsAt(szWide, 8)));
}

TEST(BoundedCopy, ATextThatJustFitsIsCopiedWhole)
{
    char szTo[4];
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 4, "abc", 4));
    EXPECT_STREQ("abc", szTo);
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 4, "", 4));
    EXPECT_TRUE(SameBytes(Bytes(4, 0), CopyBytes(szTo, 4)));
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 1, "abc", 1));
    EXPECT_EQ(0, szTo[0]);
}

TEST(BoundedCopy, AFailedCheckLogsItsExpressionAndWritesNothing)
{
    const LogCapture log;
    char szTo[4] = {'#', '#', '#', '#'};
    VOWCHAR szWide[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(0, VOStrnCpy_SA(nullptr, 4, "abc", 4));
    EXPECT_EQ(0, VOStrnCpy_SA(szTo, 4, nullptr, 4));
    EXPECT_EQ(0, VOStrnCpy_SA(szTo, 4, "abc", 5));
    EXPECT_EQ(0, VOStrnCpy_SW(nullptr, 4, VOTEXT("abc"), 4));
    EXPECT_EQ(0, VOStrnCpy_SW(szWide, 4, nullptr, 4));
    EXPECT_EQ(0, VOStrnCpy_SW(szWide, 4, VOTEXT("abc"), 5));
    EXPECT_EQ((std::vector<std::string>{CheckLine("VO_PROCESS_ERROR", "pszTo", "VOStrnCpy_SA"),
                                        CheckLine("VO_PROCESS_ERROR", "pszFrom", "VOStrnCpy_SA"),
                                        CheckLine("VO_PROCESS_ERROR", "uMaxCount <= uSizeTo", "VOStrnCpy_SA"),
                                        CheckLine("VO_PROCESS_ERROR", "pszTo", "VOStrnCpy_SW"),
                                        CheckLine("VO_PROCESS_ERROR", "pszFrom", "VOStrnCpy_SW"),
                                        CheckLine("VO_PROCESS_ERROR", "uMaxCount <= uSizeTo", "VOStrnCpy_SW")}),
              log.Lines());
    EXPECT_TRUE(SameBytes(Bytes(4, '#'), CopyBytes(szTo, 4)));
    EXPECT_TRUE(SameBytes(Units(VOTEXT("####"), 0), UnitsAt(szWide, 4)));
}

TEST(BoundedCopy, ATargetOfNoCharactersIsRefusedAndNothingWritten)
{
    const LogCapture log;
    char szTo[3] = {'#', '#', '#'};
    VOWCHAR szWide[3] = {'#', '#', '#'};
    EXPECT_EQ(0, VOStrnCpy_SA(szTo + 1, 0, "abc", 0));
    EXPECT_EQ(0, VOStrnCpy_SW(szWide + 1, 0, VOTEXT("abc"), 0));
    EXPECT_EQ(2u, log.Count());
    EXPECT_TRUE(SameBytes(Bytes(3, '#'), CopyBytes(szTo, 3)));
    EXPECT_TRUE(SameBytes(Units(VOTEXT("###"), 0), UnitsAt(szWide, 3)));
}

TEST(BoundedCopy, TheSourceIsNotReadBehindTheTargetsSize)
{
    // Four characters and no terminator behind them.
    const MisalignedBlock source({'a', 'b', 'c', 'd'});
    char szTo[4];
    EXPECT_EQ(1, VOStrnCpy_SA(szTo, 4, source.As<const char>(), 4));
    EXPECT_STREQ("abc", szTo);
    const MisalignedBlock wide(Units(VOTEXT("abcd"), 0), 1);
    VOWCHAR szWide[4];
    EXPECT_EQ(1, VOStrnCpy_SW(szWide, 4, wide.As<const VOWCHAR>(), 4));
    EXPECT_EQ(VOTEXT("abc"), VOWString(szWide));
}

TEST(BoundedCopy, WideTextIsTakenFromAndPutAtEveryMisalignment)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        const PlacedText from(VOTEXT("text \u4E2D"), uMisalignment);
        const MisalignedBlock to(Bytes(20, '#'), 15 - uMisalignment);
        EXPECT_EQ(1, VOStrnCpy_SW(to.As<VOWCHAR>(), 10, from, 10));
        EXPECT_TRUE(SameBytes(Units(VOTEXT("text \u4E2D"), 4), to.Current()));
    }
}

TEST(Folding, EveryNarrowCharacterButTheLettersAToZIsReturnedAsItIs)
{
    for (int nCode = 0; nCode < 256; ++nCode)
    {
        const char ch = static_cast<char>(nCode);
        const char chExpected = nCode >= 'A' && nCode <= 'Z' ? static_cast<char>(nCode + 32) : ch;
        EXPECT_EQ(chExpected, VOCHAR_TOLOWER(ch)) << nCode;
    }
}

TEST(Folding, EveryWideCharacterButTheLettersAToZIsReturnedAsItIs)
{
    for (int nCode = 0; nCode < 0x10000; ++nCode)
    {
        const VOWCHAR ch = static_cast<VOWCHAR>(nCode);
        const VOWCHAR chExpected = nCode >= 'A' && nCode <= 'Z' ? static_cast<VOWCHAR>(nCode + 32) : ch;
        ASSERT_EQ(chExpected, VOTCHAR_TOLOWER(ch)) << nCode;
    }
}

TEST(Folding, LettersOutsideAsciiAreNeverFolded)
{
    EXPECT_EQ(0x00C0, VOTCHAR_TOLOWER(0x00C0));
    EXPECT_EQ(0x0061, VOTCHAR_TOLOWER(0x0041));
    EXPECT_EQ(0x0141, VOTCHAR_TOLOWER(0x0141));
    EXPECT_EQ(static_cast<char>(0xC0), VOCHAR_TOLOWER(static_cast<char>(0xC0)));
}

TEST(TextOf, GivesTheTextAtEveryMisalignmentAndNothingForAnEmptyPointer)
{
    EXPECT_EQ(VOWString(), VOTextOf(nullptr));
    EXPECT_EQ(VOWString(), VOTextOf(VOTEXT("")));
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        EXPECT_EQ(VOTEXT("text \u4E2D"), VOTextOf(PlacedText(VOTEXT("text \u4E2D"), uMisalignment)));
    }
}

// The wide formatters, against one contract on both systems.
#include <stdlib.h>

#include "tests/platform/platform_test_support.h"

namespace
{
template <class... Arguments>
VOWString Formatted(const VOWCHAR* pszFormat, Arguments... arguments)
{
    OddText format{VOWString(pszFormat)};
    OddText to(VOWString(), 128);
    EXPECT_EQ(S_OK, StringCchPrintf(to.Get(), 128, format.Get(), arguments...));
    return to.Text();
}
}  // namespace

TEST(WideFormat, JoinsTextsFromOddAddresses)
{
    OddText dir(Wide("models/tree"));
    OddText name(VOTEXT("\u0434\u0443\u0431"));
    OddText extension(Wide("mdl"));
    EXPECT_EQ(VOWString(VOTEXT("models/tree/\u0434\u0443\u0431.mdl")),
              Formatted(VOTEXT("%s/%s.%s"), dir.Get(), name.Get(), extension.Get()));
}

TEST(WideFormat, CopiesPlainTextAndPercentSigns)
{
    EXPECT_EQ(Wide("100% sure"), Formatted(VOTEXT("100%% sure")));
    EXPECT_EQ(Wide(""), Formatted(VOTEXT("")));
}

TEST(WideFormat, WritesSignedNumbers)
{
    EXPECT_EQ(Wide("0 -1 2147483647 -2147483648"), Formatted(VOTEXT("%d %i %d %d"), 0, -1, INT32_MAX, INT32_MIN));
    EXPECT_EQ(Wide("+7  7 -7"), Formatted(VOTEXT("%+d % d % d"), 7, 7, -7));
    EXPECT_EQ(Wide("-9223372036854775808"), Formatted(VOTEXT("%I64d"), INT64_MIN));
}

TEST(WideFormat, WritesUnsignedNumbers)
{
    EXPECT_EQ(Wide("4294967295 18446744073709551615"), Formatted(VOTEXT("%u %llu"), UINT32_MAX, UINT64_MAX));
    EXPECT_EQ(Wide("4294967295"), Formatted(VOTEXT("%lu"), VOULONG{UINT32_MAX}));
    EXPECT_EQ(Wide("65535"), Formatted(VOTEXT("%hu"), 0x1FFFF));
    EXPECT_EQ(Wide("-1"), Formatted(VOTEXT("%hd"), 0x1FFFF));
}

TEST(WideFormat, WritesHexadecimalNumbers)
{
    EXPECT_EQ(Wide("ff FF 0xff 0 0"), Formatted(VOTEXT("%x %X %#x %#x %x"), 255, 255, 255, 0, 0));
    EXPECT_EQ(Wide("fedcba9876543210"), Formatted(VOTEXT("%I64x"), uint64_t{0xFEDCBA9876543210}));
}

TEST(WideFormat, WritesCharacters)
{
    EXPECT_EQ(Wide("<A>"), Formatted(VOTEXT("<%c>"), 'A'));
}

TEST(WideFormat, PadsToAWidth)
{
    EXPECT_EQ(Wide("[   12][12   ][00012][-0012]"), Formatted(VOTEXT("[%5d][%-5d][%05d][%05d]"), 12, 12, 12, -12));
    EXPECT_EQ(Wide("[   ab][ab   ][abcdef]"),
              Formatted(VOTEXT("[%5s][%-5s][%5s]"), VOTEXT("ab"), VOTEXT("ab"), VOTEXT("abcdef")));
    EXPECT_EQ(Wide("[  x][x  ]"), Formatted(VOTEXT("[%3c][%-3c]"), 'x', 'x'));
    EXPECT_EQ(Wide("[    7][7    ]"), Formatted(VOTEXT("[%*d][%*d]"), 5, 7, -5, 7));
    EXPECT_EQ(Wide("[0x00ff]"), Formatted(VOTEXT("[%#06x]"), 255));
}

TEST(WideFormat, TakesAPrecision)
{
    EXPECT_EQ(Wide("[abc][  abc][]"),
              Formatted(VOTEXT("[%.3s][%5.3s][%.0s]"), VOTEXT("abcdef"), VOTEXT("abcdef"), VOTEXT("abcdef")));
    EXPECT_EQ(Wide("[00042][  042][-0042]"), Formatted(VOTEXT("[%.5d][%5.3d][%.4d]"), 42, 42, -42));
    EXPECT_EQ(Wide("[ab]"), Formatted(VOTEXT("[%.*s]"), 2, VOTEXT("abcdef")));
}

TEST(WideFormat, ReadsNoFurtherThanThePrecision)
{
    const std::unique_ptr<VOWCHAR[]> pText(new VOWCHAR[2]{'a', 'b'});
    EXPECT_EQ(Wide("ab"), Formatted(VOTEXT("%.2s"), pText.get()));
}

TEST(WideFormat, TakesNarrowText)
{
    EXPECT_EQ(Wide("[narrow]"), Formatted(VOTEXT("[%hs]"), "narrow"));
}

TEST(WideFormat, ShowsANullText)
{
    EXPECT_EQ(Wide("(null)"), Formatted(VOTEXT("%s"), static_cast<const VOWCHAR*>(nullptr)));
}

TEST(WideFormat, TakesATextThatJustFits)
{
    OddText to(Wide("#######"));
    EXPECT_EQ(S_OK, StringCchPrintf(to.Get(), 6, VOTEXT("%s/%d"), VOTEXT("abc"), 7));
    EXPECT_EQ(Wide("abc/7"), to.Text());
    EXPECT_EQ(VOWCHAR{'#'}, to.All()[6]);
}

TEST(WideFormat, CutsWhatDoesNotFitAtAnyPlaceAndSaysSo)
{
    const VOWString strWhole = Wide("abc/-12/    x/007");
    for (size_t uSize = 1; uSize <= strWhole.size(); ++uSize)
    {
        OddText to(VOWString(20, VOWCHAR{'#'}));
        EXPECT_EQ(STRSAFE_E_INSUFFICIENT_BUFFER,
                  StringCchPrintf(to.Get(), uSize, VOTEXT("%s/%d/%5c/%03u"), VOTEXT("abc"), -12, 'x', 7u));
        EXPECT_EQ(strWhole.substr(0, uSize - 1), to.Text());
        EXPECT_EQ(VOWCHAR{'#'}, to.All()[uSize]);
    }
}

TEST(WideFormat, RefusesASizeOfNothing)
{
    VOWCHAR szTo[2] = {'#', 0};
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchPrintf(szTo, 0, VOTEXT("a")));
    EXPECT_EQ(Wide("#"), VOWString(szTo));
}

TEST(CheckedWideFormat, GivesTheLength)
{
    OddText to(Wide("##########"));
    EXPECT_EQ(9, _stprintf_s(to.Get(), 10, _T("%s/%s"), VOTEXT("root"), VOTEXT("file")));
    EXPECT_EQ(Wide("root/file"), to.Text());
}

TEST(CheckedWideFormat, TakesATextThatJustFits)
{
    OddText to(Wide("##########"));
    EXPECT_EQ(5, _stprintf_s(to.Get(), 6, _T("%s"), VOTEXT("12345")));
    EXPECT_EQ(Wide("12345"), to.Text());
}

TEST(CheckedWideFormat, DeliversNothingOfATextThatDoesNotFit)
{
    const InvalidParameterHandler handler;
    OddText to(Wide("##########"));
    EXPECT_EQ(-1, _stprintf_s(to.Get(), 5, _T("%s"), VOTEXT("12345")));
    EXPECT_EQ(Wide(""), to.Text());
    EXPECT_EQ(VOWCHAR{'#'}, to.All()[5]);
}

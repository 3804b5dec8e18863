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

TEST(WideFormat, WritesNumbers)
{
    EXPECT_EQ(Wide("0 -1 2147483647 -2147483648"), Formatted(VOTEXT("%d %d %d %d"), 0, -1, INT32_MAX, INT32_MIN));
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
    const VOWString strWhole = Wide("abc/-12/x%7");
    for (size_t uSize = 1; uSize <= strWhole.size(); ++uSize)
    {
        OddText to(VOWString(20, VOWCHAR{'#'}));
        EXPECT_EQ(STRSAFE_E_INSUFFICIENT_BUFFER,
                  StringCchPrintf(to.Get(), uSize, VOTEXT("%s/%d/%s%%%d"), VOTEXT("abc"), -12, VOTEXT("x"), 7));
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

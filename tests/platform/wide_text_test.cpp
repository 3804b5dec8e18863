// The text calls of the seam, against one contract on both systems. Texts sit at odd addresses and at the end of their
// memory wherever a call takes them.
#include "tests/platform/platform_test_support.h"

TEST(WideLength, CountsTheUnitsBeforeTheTerminator)
{
    for (const size_t uLength : {0, 1, 7, 8, 9, 15, 16, 17, 70, 300})
    {
        OddText text(VOWString(uLength, VOWCHAR{'x'}));
        EXPECT_EQ(static_cast<int>(uLength), lstrlenW(text.Get()));
    }
}

TEST(WideLength, IsZeroForANullPointer)
{
    EXPECT_EQ(0, lstrlenW(nullptr));
}

TEST(WideLength, CountsUnitsAndNotCharacters)
{
    EXPECT_EQ(4, lstrlenW(VOTEXT("\u00E4\U0001F600z")));
}

TEST(WideCopyN, CopiesAWholeTextThatFits)
{
    OddText from(Wide("abc"));
    OddText to(Wide("######"));
    EXPECT_EQ(to.Get(), lstrcpynW(to.Get(), from.Get(), 4));
    EXPECT_EQ(Wide("abc"), to.Text());
    EXPECT_EQ(Wide("##"), to.All().substr(4, 2));
}

TEST(WideCopyN, CutsALongTextAndTerminatesIt)
{
    OddText from(Wide("abcdefghijklmnop"));
    OddText to(VOWString(20, VOWCHAR{'#'}));
    EXPECT_EQ(to.Get(), lstrcpynW(to.Get(), from.Get(), 10));
    EXPECT_EQ(Wide("abcdefghi"), to.Text());
    EXPECT_EQ(VOWCHAR{'#'}, to.All()[10]);
}

TEST(WideCopyN, OfOneUnitGivesTheEmptyText)
{
    OddText to(Wide("##"));
    EXPECT_EQ(to.Get(), lstrcpynW(to.Get(), VOTEXT("abc"), 1));
    EXPECT_EQ(Wide(""), to.Text());
    EXPECT_EQ(VOWCHAR{'#'}, to.All()[1]);
}

TEST(WideCopyN, OfNoUnitsWritesNothing)
{
    OddText to(Wide("##"));
    lstrcpynW(to.Get(), VOTEXT("abc"), 0);
    EXPECT_EQ(Wide("##"), to.Text());
}

TEST(WideCopyN, ReadsNoUnitBehindTheLastOneItCopies)
{
    // Without a terminator: under the address sanitizer one unit more would be reported.
    const std::unique_ptr<VOWCHAR[]> pFrom(new VOWCHAR[3]{'a', 'b', 'c'});
    VOWCHAR szTo[4];
    lstrcpynW(szTo, pFrom.get(), 4);
    EXPECT_EQ(Wide("abc"), VOWString(szTo));
}

TEST(WideCopyN, RefusesANullSource)
{
    VOWCHAR szTo[4] = {'#', 0};
    EXPECT_EQ(nullptr, lstrcpynW(szTo, nullptr, 4));
    EXPECT_EQ(Wide("#"), VOWString(szTo));
}

TEST(WideCopy, CopiesTheTextWithItsTerminator)
{
    OddText from(Wide("the whole of it"));
    OddText to(VOWString(17, VOWCHAR{'#'}));
    EXPECT_EQ(to.Get(), lstrcpyW(to.Get(), from.Get()));
    EXPECT_EQ(Wide("the whole of it"), to.Text());
    EXPECT_EQ(VOWCHAR{'#'}, to.All()[16]);
}

TEST(BoundedWideCopy, CutsAndTerminates)
{
    OddText from(Wide("abcdef"));
    OddText to(Wide("##########"));
    EXPECT_EQ(to.Get(), StrCpyNW(to.Get(), from.Get(), 4));
    EXPECT_EQ(Wide("abc"), to.Text());
    EXPECT_EQ(Wide("######"), to.All().substr(4, 6));
}

TEST(BoundedWideCopy, TakesAShortTextWithoutFillingTheRest)
{
    OddText to(Wide("##########"));
    StrCpyNW(to.Get(), VOTEXT("ab"), 10);
    EXPECT_EQ(Wide("ab"), to.Text());
    EXPECT_EQ(Wide("#######"), to.All().substr(3, 7));
}

TEST(WideNCopy, FillsTheRestWithZeros)
{
    OddText from(Wide("ab"));
    OddText to(Wide("########"));
    EXPECT_EQ(to.Get(), VOWideNCopy(to.Get(), from.Get(), 5));
    EXPECT_EQ(VOWString({'a', 'b', 0, 0, 0, '#', '#', '#', 0}), to.All());
}

TEST(WideNCopy, DoesNotTerminateATextThatFillsTheTarget)
{
    OddText from(Wide("abcdef"));
    OddText to(Wide("########"));
    VOWideNCopy(to.Get(), from.Get(), 3);
    EXPECT_EQ(Wide("abc#####"), to.Text());
}

TEST(LowerCase, FoldsCapitalsOfEveryAlphabet)
{
    OddText text(VOTEXT("ABZ[@`az09 \u00C4\u00D6\u0416\u03A3\u0141"));
    EXPECT_EQ(16u, CharLowerBuffW(text.Get(), 16));
    EXPECT_EQ(VOWString(VOTEXT("abz[@`az09 \u00E4\u00F6\u0436\u03C3\u0142")), text.Text());
}

TEST(LowerCase, GoesOnBehindATerminator)
{
    OddText text(VOWString({'A', 0, 'B', 'C'}));
    EXPECT_EQ(3u, CharLowerBuffW(text.Get(), 3));
    EXPECT_EQ(VOWString({'a', 0, 'b', 'C', 0}), text.All());
}

TEST(LowerCase, LeavesSurrogatesAlone)
{
    const VOWString strText = VOTEXT("\U0001F600");
    OddText text(strText);
    CharLowerBuffW(text.Get(), 2);
    EXPECT_EQ(strText, text.Text());
}

TEST(WideCompare, FindsEqualTextsEqual)
{
    OddText first(Wide("Path/To.Name"));
    OddText second(Wide("Path/To.Name"));
    EXPECT_EQ(0, StrCmpW(first.Get(), second.Get()));
    EXPECT_EQ(0, StrCmpIW(first.Get(), second.Get()));
}

TEST(WideCompare, MindsCaseOnlyInTheExactForm)
{
    OddText first(Wide("PNG"));
    OddText second(Wide("png"));
    EXPECT_NE(0, StrCmpW(first.Get(), second.Get()));
    EXPECT_EQ(0, StrCmpIW(first.Get(), second.Get()));
}

TEST(WideCompare, FoldsLettersBeyondAscii)
{
    EXPECT_EQ(0, StrCmpIW(VOTEXT("\u0416\u00C4"), VOTEXT("\u0436\u00E4")));
    EXPECT_NE(0, StrCmpIW(VOTEXT("\u0416"), VOTEXT("\u0417")));
}

TEST(WideCompare, TellsATextFromItsOwnBeginning)
{
    EXPECT_NE(0, StrCmpW(VOTEXT("tga"), VOTEXT("tgaz")));
    EXPECT_NE(0, StrCmpW(VOTEXT("tgaz"), VOTEXT("tga")));
    EXPECT_NE(0, StrCmpIW(VOTEXT(""), VOTEXT("a")));
    EXPECT_NE(0, StrCmpIW(VOTEXT("a"), VOTEXT("")));
    EXPECT_EQ(0, StrCmpIW(VOTEXT(""), VOTEXT("")));
}

TEST(WideSearch, GivesTheFirstMatch)
{
    OddText text(Wide("xx-aab-aab"));
    OddText what(Wide("aab"));
    EXPECT_EQ(text.Get() + 3, StrStrW(text.Get(), what.Get()));
    EXPECT_EQ(text.Get() + 3, StrStrIW(text.Get(), what.Get()));
}

TEST(WideSearch, FindsAMatchAfterAFalseStart)
{
    OddText text(Wide("aaab"));
    EXPECT_EQ(text.Get() + 1, StrStrW(text.Get(), VOTEXT("aab")));
}

TEST(WideSearch, MindsCaseOnlyInTheExactForm)
{
    OddText text(Wide("D:/Game/Data/file.tga"));
    EXPECT_EQ(nullptr, StrStrW(text.Get(), VOTEXT("d:/game/data")));
    EXPECT_EQ(text.Get(), StrStrIW(text.Get(), VOTEXT("d:/game/data")));
    EXPECT_EQ(text.Get() + 8, StrStrIW(text.Get(), VOTEXT("DATA")));
}

TEST(WideSearch, FoldsLettersBeyondAscii)
{
    OddText text(VOTEXT("a\u0416b"));
    EXPECT_EQ(text.Get() + 1, StrStrIW(text.Get(), VOTEXT("\u0436B")));
}

TEST(WideSearch, FindsNothingThatIsNotThere)
{
    EXPECT_EQ(nullptr, StrStrW(VOTEXT("abc"), VOTEXT("abcd")));
    EXPECT_EQ(nullptr, StrStrIW(VOTEXT("abc"), VOTEXT("bd")));
    EXPECT_EQ(nullptr, StrStrIW(VOTEXT(""), VOTEXT("a")));
}

TEST(WideSearch, FindsAMatchAtTheEnd)
{
    OddText text(Wide("png|tga"));
    EXPECT_EQ(text.Get() + 4, StrStrIW(text.Get(), VOTEXT("TGA")));
}

namespace
{
std::vector<VOWString> Split(const VOWString& strText, const VOWCHAR* pszDelimiters)
{
    std::vector<VOWString> vecTokens;
    OddText text(strText);
    VOWCHAR* pszContext = nullptr;
    VOWCHAR* pszToken = wcstok_s(text.Get(), pszDelimiters, &pszContext);
    while (pszToken != nullptr)
    {
        OddText copy(VOWString(), 64);
        lstrcpynW(copy.Get(), pszToken, 64);
        vecTokens.push_back(copy.Text());
        pszToken = wcstok_s(nullptr, pszDelimiters, &pszContext);
    }
    return vecTokens;
}
}  // namespace

TEST(WideTokens, AreThePartsBetweenDelimiters)
{
    EXPECT_EQ((std::vector<VOWString>{Wide("png"), Wide("t ga"), Wide("dds")}),
              Split(Wide("png|t ga|dds"), VOTEXT("|")));
}

TEST(WideTokens, AreNeverEmpty)
{
    EXPECT_EQ((std::vector<VOWString>{Wide("a"), Wide("b")}), Split(Wide("||a|||b|"), VOTEXT("|")));
    EXPECT_EQ(std::vector<VOWString>(), Split(Wide("|||"), VOTEXT("|")));
    EXPECT_EQ(std::vector<VOWString>(), Split(Wide(""), VOTEXT("|")));
}

TEST(WideTokens, AreEndedByAnyOfTheDelimiters)
{
    EXPECT_EQ((std::vector<VOWString>{Wide("a"), Wide("b"), Wide("c")}), Split(Wide("a,b;,c"), VOTEXT(",;")));
}

TEST(CheckedWideCopy, TakesATextThatJustFits)
{
    OddText from(Wide("abcd"));
    OddText to(Wide("######"));
    EXPECT_EQ(S_OK, StringCchCopy(to.Get(), 5, from.Get()));
    EXPECT_EQ(Wide("abcd"), to.Text());
    EXPECT_EQ(VOWCHAR{'#'}, to.All()[5]);
}

TEST(CheckedWideCopy, CutsWhatDoesNotFitAndSaysSo)
{
    OddText from(Wide("abcd"));
    OddText to(Wide("######"));
    EXPECT_EQ(STRSAFE_E_INSUFFICIENT_BUFFER, StringCchCopy(to.Get(), 4, from.Get()));
    EXPECT_TRUE(FAILED(STRSAFE_E_INSUFFICIENT_BUFFER));
    EXPECT_EQ(Wide("abc"), to.Text());
    EXPECT_EQ(Wide("##"), to.All().substr(4, 2));
}

TEST(CheckedWideCopy, RefusesASizeOfNothingOrTooMuch)
{
    VOWCHAR szTo[2] = {'#', 0};
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchCopy(szTo, 0, VOTEXT("a")));
    EXPECT_EQ(STRSAFE_E_INVALID_PARAMETER, StringCchCopy(szTo, size_t{1} << 31, VOTEXT("a")));
    EXPECT_EQ(Wide("#"), VOWString(szTo));
}

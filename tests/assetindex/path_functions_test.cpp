// The plain path functions: the normal form, and cutting a path into directory, base name and extension.
#include "assetindex/asset_test_tools.h"

namespace
{
using namespace assettest;
typedef VOTSAssetNodeContainerHelper Helper;

constexpr const VOWCHAR* kpszNotTouched = VOTEXT("<not touched>");

VOWString Normal(const VOWString& strPath, unsigned int uSize = MAX_PATH, int bLower = 0)
{
    WideBuffer<> buffer;
    EXPECT_EQ(1, Helper::NormalizedPath(buffer.szText, strPath.c_str(), uSize, bLower));
    EXPECT_TRUE(buffer.UntouchedFrom(uSize)) << "written behind " << uSize;
    return buffer.Text();
}

// Each gives the result's text, or <not touched> when nothing was written; the result value goes to *pnResult.
VOWString Dir(const VOWString& strPath, int* pnResult = nullptr)
{
    WideBuffer<> buffer;
    const int nResult = Helper::ParseDir(buffer.szText, strPath.c_str(), static_cast<int>(strPath.size()));
    EXPECT_EQ(nResult, Helper::ParseDir(nullptr, strPath.c_str(), static_cast<int>(strPath.size())));
    if (pnResult != nullptr)
    {
        *pnResult = nResult;
    }
    return buffer.Untouched() ? VOWString(kpszNotTouched) : buffer.Text();
}

VOWString Extension(const VOWString& strPath)
{
    WideBuffer<> buffer;
    EXPECT_EQ(1, Helper::ParseExtension(buffer.szText, strPath.c_str(), static_cast<int>(strPath.size())));
    EXPECT_EQ(1, Helper::ParseExtension(nullptr, strPath.c_str(), static_cast<int>(strPath.size())));
    return buffer.Untouched() ? VOWString(kpszNotTouched) : buffer.Text();
}

VOWString BaseName(const VOWString& strPath, const VOWCHAR* pszExt, int* pnResult = nullptr)
{
    WideBuffer<> buffer;
    const int nLength = static_cast<int>(strPath.size());
    const int nResult = Helper::ParseBaseName(buffer.szText, strPath.c_str(), nLength, pszExt);
    EXPECT_EQ(nResult, Helper::ParseBaseName(nullptr, strPath.c_str(), nLength, pszExt));
    if (pnResult != nullptr)
    {
        *pnResult = nResult;
    }
    return buffer.Untouched() ? VOWString(kpszNotTouched) : buffer.Text();
}

// ---------------------------------------------------------------------------------------------------------------------
// NormalizedPath
// ---------------------------------------------------------------------------------------------------------------------

TEST(NormalizedPath, BackslashesBecomeSlashesAndTrailingOnesGo)
{
    EXPECT_EQ(VOWString(VOTEXT("a/b")), Normal(VOTEXT("A\\B\\\\"), MAX_PATH, 1));
    EXPECT_EQ(VOWString(VOTEXT("A/B")), Normal(VOTEXT("A\\B\\\\")));
    EXPECT_EQ(VOWString(VOTEXT("a/b/c")), Normal(VOTEXT("a/b\\c/\\/")));
}

TEST(NormalizedPath, LeadingAndDoubledSlashesInsideStay)
{
    EXPECT_EQ(VOWString(VOTEXT("/a//b")), Normal(VOTEXT("\\a\\/b")));
    EXPECT_EQ(VOWString(VOTEXT("./a/../b")), Normal(VOTEXT("./a/../b")));
}

TEST(NormalizedPath, OnlyAToZFold)
{
    VOWString strAll;
    VOWString strFolded;
    for (unsigned int uUnit = 1; uUnit < 0x10000; ++uUnit)
    {
        if (uUnit == '\\' || uUnit == '/')
        {
            continue;
        }
        strAll.assign(1, static_cast<VOWCHAR>(uUnit));
        strFolded.assign(1, static_cast<VOWCHAR>(uUnit >= 'A' && uUnit <= 'Z' ? uUnit + 32 : uUnit));
        ASSERT_EQ(strFolded, Normal(strAll, MAX_PATH, 1)) << uUnit;
        ASSERT_EQ(strAll, Normal(strAll, MAX_PATH, 0)) << uUnit;
    }
}

TEST(NormalizedPath, LettersFoldAtEveryPlaceOfALongPath)
{
    for (size_t uLength = 1; uLength < 80; ++uLength)
    {
        for (size_t uAt = 0; uAt < uLength; ++uAt)
        {
            VOWString strPath(uLength, VOTEXT('x'));
            VOWString strExpected = strPath;
            strPath[uAt] = VOTEXT('Q');
            strExpected[uAt] = VOTEXT('q');
            ASSERT_EQ(strExpected, Normal(strPath, MAX_PATH, 1)) << uLength << " " << uAt;
            strPath[uAt] = VOTEXT('\\');
            strExpected[uAt] = VOTEXT('/');
            if (uAt + 1 < uLength)
            {
                ASSERT_EQ(strExpected, Normal(strPath, MAX_PATH, 1)) << uLength << " " << uAt;
            }
        }
    }
}

TEST(NormalizedPath, ALongerPathIsCutToTheSizeMinusOne)
{
    EXPECT_EQ(VOWString(VOTEXT("abcd")), Normal(VOTEXT("abcdefgh"), 5));
    EXPECT_EQ(VOWString(259, VOTEXT('p')), Normal(VOWString(259, VOTEXT('p'))));
    EXPECT_EQ(VOWString(259, VOTEXT('p')), Normal(VOWString(260, VOTEXT('p'))));
    EXPECT_EQ(VOWString(259, VOTEXT('p')), Normal(VOWString(5000, VOTEXT('p'))));
    EXPECT_EQ(VOWString(), Normal(VOTEXT("abc"), 1));
}

TEST(NormalizedPath, TheCutComesBeforeTheTrimOfSlashes)
{
    EXPECT_EQ(VOWString(VOTEXT("ab")), Normal(VOTEXT("ab\\cd"), 4));
    EXPECT_EQ(VOWString(VOTEXT("ab/c")), Normal(VOTEXT("ab\\cd"), 5));
}

TEST(NormalizedPath, APathOfSlashesOnlyAndAnEmptyPathGiveAnEmptyText)
{
    for (const VOWString& path : {VOWString(), VOWString(VOTEXT("/")), VOWString(VOTEXT("\\")),
                                  VOWString(VOTEXT("\\/\\/")), VOWString(400, VOTEXT('\\'))})
    {
        // The words in front of the buffer would be slashes to a trim that runs on.
        struct
        {
            VOWCHAR aBefore[4];
            VOWCHAR szResult[MAX_PATH];
        } guarded;
        for (VOWCHAR& rch : guarded.aBefore)
        {
            rch = VOTEXT('/');
        }
        EXPECT_EQ(1, Helper::NormalizedPath(guarded.szResult, path.c_str(), MAX_PATH, 0));
        EXPECT_EQ(0, guarded.szResult[0]);
        for (const VOWCHAR ch : guarded.aBefore)
        {
            EXPECT_EQ(VOTEXT('/'), ch);
        }
    }
}

TEST(NormalizedPath, NothingBehindTheTerminatorIsTouchedInPlaceEither)
{
    for (const char* pszPath : {"A", "A\\B", "A\\B\\C", "A\\BCDEFG", "A\\BCDEFGHIJKLMN\\OPQRSTUVW"})
    {
        WideBuffer<40> buffer;
        const VOWString strPath = Wide(pszPath);
        memcpy(buffer.szText, strPath.c_str(), (strPath.size() + 1) * sizeof(VOWCHAR));
        EXPECT_EQ(1, Helper::NormalizedPath(buffer.szText, buffer.szText, MAX_PATH, 1));
        EXPECT_EQ(strPath.size(), buffer.Text().size());
        EXPECT_EQ(VOTEXT('a'), buffer.szText[0]);
        EXPECT_TRUE(buffer.UntouchedFrom(strPath.size() + 1)) << pszPath;
    }
}

TEST(NormalizedPath, EveryTrailingSlashBecomesZero)
{
    WideBuffer<> buffer;
    EXPECT_EQ(1, Helper::NormalizedPath(buffer.szText, VOTEXT("a\\//"), MAX_PATH, 0));
    EXPECT_EQ(VOWString(VOTEXT("a\0\0\0\0"), 5), VOWString(buffer.szText, 5));
    EXPECT_TRUE(buffer.UntouchedFrom(5));
}

TEST(NormalizedPath, ASizeOfZeroWritesNothing)
{
    WideBuffer<> buffer;
    EXPECT_EQ(1, Helper::NormalizedPath(buffer.szText, VOTEXT("abc/"), 0, 1));
    EXPECT_TRUE(buffer.Untouched());
}

TEST(NormalizedPath, ReadsNothingBehindTheTerminatorAtAnyAddress)
{
    for (size_t uLength = 0; uLength < 70; ++uLength)
    {
        for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
        {
            const votest::PlacedText path(VOWString(uLength, VOTEXT('Z')), uMisalignment);
            WideBuffer<> buffer;
            ASSERT_EQ(1, Helper::NormalizedPath(buffer.szText, path, MAX_PATH, 1));
            ASSERT_EQ(VOWString(uLength, VOTEXT('z')), buffer.Text());
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// ParseDir
// ---------------------------------------------------------------------------------------------------------------------

TEST(ParseDir, GivesTheTextBeforeTheLastSlash)
{
    int nResult = 0;
    EXPECT_EQ(VOWString(VOTEXT("a")), Dir(VOTEXT("a/b"), &nResult));
    EXPECT_EQ(1, nResult);
    EXPECT_EQ(VOWString(VOTEXT("a/b.c/d")), Dir(VOTEXT("a/b.c/d/e.f"), &nResult));
    EXPECT_EQ(1, nResult);
    EXPECT_EQ(VOWString(VOTEXT("/a")), Dir(VOTEXT("/a/b"), &nResult));
    EXPECT_EQ(1, nResult);
}

TEST(ParseDir, WithoutASlashThereIsNone)
{
    int nResult = 7;
    EXPECT_EQ(VOWString(kpszNotTouched), Dir(VOTEXT("b"), &nResult));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(VOWString(kpszNotTouched), Dir(VOTEXT(""), &nResult));
    EXPECT_EQ(0, nResult);
}

TEST(ParseDir, ASlashAtTheFrontAloneGivesNone)
{
    int nResult = 7;
    EXPECT_EQ(VOWString(kpszNotTouched), Dir(VOTEXT("/b"), &nResult));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(VOWString(kpszNotTouched), Dir(VOTEXT("/"), &nResult));
    EXPECT_EQ(0, nResult);
}

TEST(ParseDir, TheScanBeginsAtThePositionOfTheLength)
{
    const VOWCHAR* const pszPath = VOTEXT("a/b/c");
    WideBuffer<> dir;
    EXPECT_EQ(1, Helper::ParseDir(dir.szText, pszPath, 3));
    EXPECT_EQ(VOWString(VOTEXT("a/b")), dir.Text());
    EXPECT_EQ(1, Helper::ParseDir(dir.szText, pszPath, 2));
    EXPECT_EQ(VOWString(VOTEXT("a")), dir.Text());
    EXPECT_EQ(1, Helper::ParseDir(dir.szText, pszPath, 1));
    EXPECT_EQ(VOWString(VOTEXT("a")), dir.Text());
    EXPECT_EQ(0, Helper::ParseDir(nullptr, pszPath, 0));
    EXPECT_EQ(0, Helper::ParseDir(nullptr, VOTEXT("/a"), 0));
    EXPECT_EQ(0, Helper::ParseDir(nullptr, pszPath, -1));
}

// ---------------------------------------------------------------------------------------------------------------------
// ParseExtension
// ---------------------------------------------------------------------------------------------------------------------

TEST(ParseExtension, GivesTheTextBehindTheFirstDotOfTheLastPart)
{
    EXPECT_EQ(VOWString(VOTEXT("c")), Extension(VOTEXT("a/b.c")));
    EXPECT_EQ(VOWString(VOTEXT("b.c")), Extension(VOTEXT("a.b.c")));
    EXPECT_EQ(VOWString(VOTEXT("e.f.g")), Extension(VOTEXT("a.b/c.x/d.e.f.g")));
    EXPECT_EQ(VOWString(VOTEXT("x")), Extension(VOTEXT(".x")));
    EXPECT_EQ(VOWString(VOTEXT("x")), Extension(VOTEXT("dir/.x")));
}

TEST(ParseExtension, WithoutADotInTheLastPartNothingIsTouched)
{
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT("a")));
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT("a.b/c")));
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT("")));
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT("a.b/")));
}

TEST(ParseExtension, ALastCharacterIsNoDot)
{
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT("x.")));
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT(".")));
    EXPECT_EQ(VOWString(kpszNotTouched), Extension(VOTEXT("a/.")));
    EXPECT_EQ(VOWString(VOTEXT(".")), Extension(VOTEXT("a..")));
    EXPECT_EQ(VOWString(VOTEXT("b.")), Extension(VOTEXT("a.b.")));
    EXPECT_EQ(VOWString(VOTEXT(".")), Extension(VOTEXT("..")));
}

// ---------------------------------------------------------------------------------------------------------------------
// ParseBaseName
// ---------------------------------------------------------------------------------------------------------------------

TEST(ParseBaseName, GivesTheLastPartWithoutDotAndExtension)
{
    int nResult = 0;
    EXPECT_EQ(VOWString(VOTEXT("b")), BaseName(VOTEXT("a/b.c"), VOTEXT("c"), &nResult));
    EXPECT_EQ(1, nResult);
    EXPECT_EQ(VOWString(VOTEXT("a")), BaseName(VOTEXT("a.b.c"), VOTEXT("b.c"), &nResult));
    EXPECT_EQ(1, nResult);
}

TEST(ParseBaseName, WithoutAnExtensionItIsTheWholeLastPart)
{
    int nResult = 0;
    EXPECT_EQ(VOWString(VOTEXT("b.c")), BaseName(VOTEXT("a/b.c"), nullptr, &nResult));
    EXPECT_EQ(1, nResult);
    EXPECT_EQ(VOWString(VOTEXT("b.c")), BaseName(VOTEXT("a/b.c"), VOTEXT(""), &nResult));
    EXPECT_EQ(1, nResult);
    EXPECT_EQ(VOWString(VOTEXT("x.")), BaseName(VOTEXT("x."), nullptr, &nResult));
    EXPECT_EQ(1, nResult);
}

TEST(ParseBaseName, ASlashAtTheFrontIsPartOfTheName)
{
    int nResult = 0;
    EXPECT_EQ(VOWString(VOTEXT("/b")), BaseName(VOTEXT("/b"), nullptr, &nResult));
    EXPECT_EQ(1, nResult);
    EXPECT_EQ(VOWString(VOTEXT("/b")), BaseName(VOTEXT("/b.c"), VOTEXT("c"), &nResult));
    EXPECT_EQ(1, nResult);
}

TEST(ParseBaseName, AnEmptyNameGivesZero)
{
    int nResult = 7;
    EXPECT_EQ(VOWString(kpszNotTouched), BaseName(VOTEXT(".x"), VOTEXT("x"), &nResult));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(VOWString(kpszNotTouched), BaseName(VOTEXT("dir/.x"), VOTEXT("x"), &nResult));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(VOWString(kpszNotTouched), BaseName(VOTEXT(""), nullptr, &nResult));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(VOWString(kpszNotTouched), BaseName(VOTEXT("dir/"), nullptr, &nResult));
    EXPECT_EQ(0, nResult);
}

TEST(ParseBaseName, AnExtensionLongerThanThePathGivesZero)
{
    int nResult = 7;
    EXPECT_EQ(VOWString(kpszNotTouched), BaseName(VOTEXT("ab"), VOTEXT("a much longer text"), &nResult));
    EXPECT_EQ(0, nResult);
    EXPECT_EQ(VOWString(kpszNotTouched), BaseName(VOTEXT("dir/ab"), VOTEXT("abc"), &nResult));
    EXPECT_EQ(0, nResult);
}

TEST(PathFunctions, NamesAtOddAddressesAreRead)
{
    const votest::PlacedText path(VOTEXT("dir/base.ext"), 1);
    WideBuffer<> dir, base, ext;
    EXPECT_EQ(1, Helper::ParseDir(dir.szText, path, 12));
    EXPECT_EQ(VOWString(VOTEXT("dir")), dir.Text());
    EXPECT_EQ(1, Helper::ParseExtension(ext.szText, path, 12));
    EXPECT_EQ(VOWString(VOTEXT("ext")), ext.Text());
    EXPECT_EQ(1, Helper::ParseBaseName(base.szText, path, 12, votest::PlacedText(VOTEXT("ext"), 3)));
    EXPECT_EQ(VOWString(VOTEXT("base")), base.Text());
}

}  // namespace

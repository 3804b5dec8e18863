// The hashes of paths as lookups make them, against a fold and a hash written down plainly.
#include "containers/path_hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/random.h"
#include "support/reference_hash.h"
#include "support/text.h"

using namespace votest;

namespace
{

struct NormalForm
{
    VOWString strText;
    bool bColon = false;
    bool bWide = false;
    bool bSlash = false;  // at the end, before it was taken off
};

NormalForm NormalFormOf(const VOWString& strPath)
{
    NormalForm form;
    for (size_t i = 0; i < strPath.size() && i < 259; ++i)
    {
        const VOWCHAR ch = strPath[i];
        form.bColon = form.bColon || ch == ':';
        form.bWide = form.bWide || ch > 0xFF;
        form.strText += ch == '\\' ? VOWCHAR{'/'} : ch >= 'A' && ch <= 'Z' ? static_cast<VOWCHAR>(ch - 'A' + 'a') : ch;
    }
    form.bSlash = !form.strText.empty() && form.strText.back() == '/';
    while (!form.strText.empty() && form.strText.back() == '/')
    {
        form.strText.pop_back();
    }
    return form;
}

VOWString RandomPath(Random& random)
{
    static const VOWCHAR s_aUnits[] = {'A', 'Z',  '@', '[', 'a',  'z',  '`',  '{',
                                       '/', '\\', ';', '9', 0x7F, 0x80, 0xFF, '.'};
    static const VOWCHAR s_aOdd[] = {':',    0x0100, 0x013A, 0x2F00, 0x202F, 0x3A00,
                                     0x5C00, 0x7FFF, 0x8000, 0xFF3A, 0xFFFF};
    VOWString strPath;
    const size_t uLength = random.Percent(10) ? 240 + random.Below(60) : random.Below(100);
    for (size_t i = 0; i < uLength; ++i)
    {
        strPath += random.Percent(40) ? static_cast<VOWCHAR>('a' + random.Below(26)) : s_aUnits[random.Below(16)];
    }
    if (uLength != 0 && random.Percent(30))
    {
        strPath[random.Below(uLength)] = s_aOdd[random.Below(11)];
    }
    return strPath + VOWString(random.Percent(10) ? random.Below(4) : 0, VOWCHAR{'/'});
}

bool IsPlain(const VOWString& strPath)
{
    const NormalForm form = NormalFormOf(strPath);
    return !form.bColon && !form.bWide && !form.bSlash && strPath.size() <= kVOMostPlainUnits;
}

testing::AssertionResult HasTheHashesOf(const VOHashPair& pair, const VOWString& strPath)
{
    const VOWString strText = NormalFormOf(strPath).strText;
    return pair.uHash0 == ReferenceHash(strText, 0) && pair.uHash1 == ReferenceHash(strText, 1)
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << Shown(strPath);
}

}  // namespace

TEST(PathHash, APlainPathHasTheHashesOfItsNormalFormAndNoOtherIsTaken)
{
    Random random(881);
    size_t uTaken = 0;
    for (int i = 0; i < 20000; ++i)
    {
        const VOWString strPath = RandomPath(random);
        const PlacedText text(strPath, random.Below(16));
        VOHashPair pair = {};
        const bool bTaken = VOHashPlainPath(text, pair);
        ASSERT_EQ(IsPlain(strPath), bTaken) << Shown(strPath);
        if (bTaken)
        {
            ++uTaken;
            ASSERT_TRUE(HasTheHashesOf(pair, strPath));
        }
    }
    EXPECT_LT(5000u, uTaken);
}

TEST(PathHash, APlainPathIsReadAroundTheEndOfAPage)
{
    Random random(882);
    std::vector<unsigned char> vecPages(3 * 4096);
    unsigned char* const pbPage =
        vecPages.data() + (4096 - reinterpret_cast<uintptr_t>(vecPages.data()) % 4096) % 4096 + 4096;
    for (size_t uBefore = 0; uBefore < 200; ++uBefore)
    {
        for (const size_t uLength : {size_t{0}, size_t{1}, uBefore / 2, size_t{40}, size_t{90}})
        {
            VOWString strPath(uLength, VOWCHAR{0});
            std::generate(strPath.begin(), strPath.end(), [&] { return static_cast<VOWCHAR>('A' + random.Below(26)); });
            std::fill(vecPages.begin(), vecPages.end(), static_cast<unsigned char>(':'));
            memcpy(pbPage - uBefore, strPath.c_str(), (uLength + 1) * sizeof(VOWCHAR));
            const VOWCHAR* const pszPath = reinterpret_cast<const VOWCHAR*>(pbPage - uBefore);
            VOHashPair pair = {};
            ASSERT_TRUE(VOHashPlainPath(pszPath, pair)) << uBefore;
            ASSERT_TRUE(HasTheHashesOf(pair, strPath)) << uBefore;
            VOPathBytes bytes;
            ASSERT_TRUE(bytes.Take(pszPath)) << uBefore;
            ASSERT_EQ(uLength, bytes.uLength);
        }
    }
}

TEST(PathHash, ANullPathIsNotTaken)
{
    VOHashPair pair = {};
    VOPathBytes bytes;
    EXPECT_FALSE(VOHashPlainPath(nullptr, pair));
    EXPECT_FALSE(bytes.Take(nullptr));
    EXPECT_EQ(0u, bytes.uLength);
}

TEST(PathHash, FourPathsHaveTheHashesOfTheirNormalForms)
{
    Random random(883);
    for (int i = 0; i < 5000; ++i)
    {
        VOPathBytes arrBytes[4] = {};
        VOWString arrPath[4];
        bool arrTaken[4] = {};
        for (int j = 0; j < 4; ++j)
        {
            memset(arrBytes[j].abByte, 0xCD, sizeof(arrBytes[j].abByte));
            arrPath[j] = RandomPath(random);
            const PlacedText text(arrPath[j], random.Below(16));
            arrTaken[j] = arrBytes[j].Take(text);
            ASSERT_EQ(!NormalFormOf(arrPath[j]).bColon, arrTaken[j]) << Shown(arrPath[j]);
        }
        VOHashPair arrPair[4] = {};
        VOHashFourPaths({&arrBytes[0], &arrBytes[1], &arrBytes[2], &arrBytes[3]}, arrPair);
        for (int j = 0; j < 4; ++j)
        {
            ASSERT_TRUE(!arrTaken[j] || HasTheHashesOf(arrPair[j], arrPath[j]));
        }
    }
}

TEST(PathHash, FourOfTheLongestAndFourEmptyPathsAreHashed)
{
    const VOWString strLongest(300, VOWCHAR{0x4E2D});
    for (const VOWString& strPath : {strLongest, VOWString()})
    {
        VOPathBytes arrBytes[4] = {};
        for (VOPathBytes& bytes : arrBytes)
        {
            EXPECT_TRUE(bytes.Take(strPath.c_str()));
        }
        EXPECT_EQ(strPath.empty() ? 0u : 518u, arrBytes[3].uLength);
        VOHashPair arrPair[4] = {};
        VOHashFourPaths({&arrBytes[0], &arrBytes[1], &arrBytes[2], &arrBytes[3]}, arrPair);
        for (const VOHashPair& pair : arrPair)
        {
            EXPECT_TRUE(HasTheHashesOf(pair, strPath));
        }
    }
}

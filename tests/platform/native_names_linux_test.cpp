// Names that are any bytes.
#include <fstream>
#include <random>

#include "platform/vo_directories.h"
#include "platform/vo_text.h"
#include "tests/platform/platform_test_support.h"

TEST(NativeBytes, ThatAreNotUtf8AreCarriedAsLoneSurrogates)
{
    EXPECT_EQ(VOWString({'a', 0xDCE4, 'b'}), VOFromNative("a\xE4"
                                                          "b"));
    EXPECT_EQ(
        "a\xE4"
        "b",
        VOToNativePath(VOWString({'a', 0xDCE4, 'b'})));
}

TEST(NativeBytes, OfEveryInvalidFormAreCarriedOneByOne)
{
    EXPECT_EQ(VOWString({0xDCC0, 0xDC80}), VOFromNative("\xC0\x80"));                          // overlong
    EXPECT_EQ(VOWString({0xDCE0, 0xDC9F, 0xDCBF}), VOFromNative("\xE0\x9F\xBF"));              // overlong
    EXPECT_EQ(VOWString({0xDCF0, 0xDC8F, 0xDCBF, 0xDCBF}), VOFromNative("\xF0\x8F\xBF\xBF"));  // overlong
    EXPECT_EQ(VOWString({0xDCED, 0xDCB2, 0xDC80}), VOFromNative("\xED\xB2\x80"));              // a surrogate
    EXPECT_EQ(VOWString({0xDCF4, 0xDC90, 0xDC80, 0xDC80}), VOFromNative("\xF4\x90\x80\x80"));  // beyond the last code
    EXPECT_EQ(VOWString({0xDCF5}), VOFromNative("\xF5"));
    EXPECT_EQ(VOWString({0xDCE2, 0xDC82}), VOFromNative("\xE2\x82"));  // cut short
    EXPECT_EQ(VOWString({0xDCE2, 'x'}), VOFromNative("\xE2x"));
    EXPECT_EQ(VOWString({0xDC80}), VOFromNative("\x80"));
}

TEST(NativeBytes, ComeBackAsTheyWereWhateverTheyAre)
{
    std::mt19937 random(4711);
    static const unsigned char s_aBytes[] = {0x41, 0x5C, 0x2F, 0x7F, 0x80, 0xBF, 0xC2, 0xC3, 0xDF, 0xE0,
                                             0xA0, 0xED, 0xB2, 0xEF, 0xF0, 0x90, 0x9F, 0xF4, 0x8F, 0xFF};
    for (unsigned uRound = 0; uRound < 50000; ++uRound)
    {
        std::string strBytes;
        for (size_t uByte = random() % 12; uByte > 0; --uByte)
        {
            strBytes.push_back(static_cast<char>(s_aBytes[random() % sizeof(s_aBytes)]));
        }
        ASSERT_EQ(strBytes, VOToNativePath(VOFromNative(strBytes)));
    }
}

TEST(NativeBytes, OfABackslashInsideANameAreKeptApartFromASeparator)
{
    EXPECT_EQ(VOWString({'a', 0xDC5C, 'b'}), VOFromNative("a\\b"));
    EXPECT_EQ("a\\b", VOToNativePath(VOWString({'a', 0xDC5C, 'b'})));
    EXPECT_EQ("a/b/c", VOToNativePath(Wide("a\\b/c")));
}

TEST(NativeBytes, OfOddNamesReachTheFileSystemAndComeBack)
{
    const TemporaryFolder folder;
    const std::string aNames[] = {"back\\slash", "latin\xE4", "ok"};
    for (const std::string& strName : aNames)
    {
        std::ofstream(folder.Path().string() + "/" + strName).put('x');
    }
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    ASSERT_TRUE(VOListDirectory(folder.Text(), &vecEntries, &error)) << error.strText;
    ASSERT_EQ(3u, vecEntries.size());
    for (size_t uEntry = 0; uEntry < 3; ++uEntry)
    {
        EXPECT_EQ(aNames[uEntry], VOToNativePath(vecEntries[uEntry].strName));
        _wfinddata64i32_t found;
        const VOWString strPath = folder.Text() + VOTEXT("\\") + vecEntries[uEntry].strName;
        const intptr_t hFind = _wfindfirst64i32(strPath.c_str(), &found);
        ASSERT_NE(-1, hFind);
        EXPECT_EQ(vecEntries[uEntry].strName, VOWString(found.name));
        EXPECT_EQ(1u, found.size);
        _findclose(hFind);
    }
}

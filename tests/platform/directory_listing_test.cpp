// Reading directories, against one contract on both systems.
#include "platform/vo_directories.h"

#include <time.h>

#include "tests/platform/platform_test_support.h"

namespace
{
std::vector<VODirectoryEntry> List(const VOWString& strPath)
{
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    EXPECT_TRUE(VOListDirectory(strPath, &vecEntries, &error)) << error.nError << " " << error.strText;
    return vecEntries;
}

std::string Names(const std::vector<VODirectoryEntry>& vecEntries)
{
    std::string strNames;
    for (const VODirectoryEntry& entry : vecEntries)
    {
        strNames += std::string(entry.strName.begin(), entry.strName.end()) + "|";
    }
    return strNames;
}
}  // namespace

TEST(DirectoryListing, IsSortedAndWithoutDots)
{
    const TemporaryFolder folder;
    for (const char* const pszName : {"b", "a.txt", "C", "noext", "a"})
    {
        folder.WriteFile(pszName);
    }
    std::filesystem::create_directory(folder.Path() / "dir");
    EXPECT_EQ("C|a|a.txt|b|dir|noext|", Names(List(folder.Text())));
}

TEST(DirectoryListing, OfAnEmptyFolderIsEmpty)
{
    const TemporaryFolder folder;
    EXPECT_TRUE(List(folder.Text()).empty());
}

TEST(DirectoryListing, TellsFilesFromFolders)
{
    const TemporaryFolder folder;
    folder.WriteFile("file", 1234);
    std::filesystem::create_directory(folder.Path() / "zdir");
    const std::vector<VODirectoryEntry> vecEntries = List(folder.Text());
    ASSERT_EQ(2u, vecEntries.size());
    EXPECT_FALSE(vecEntries[0].bFolder);
    EXPECT_FALSE(vecEntries[0].bLink);
    EXPECT_EQ(1234u, vecEntries[0].ullSize);
    EXPECT_EQ(0u, vecEntries[0].uAttribute & unsigned{_A_SUBDIR});
    EXPECT_TRUE(vecEntries[1].bFolder);
    EXPECT_FALSE(vecEntries[1].bLink);
    EXPECT_EQ(0u, vecEntries[1].ullSize);
    EXPECT_EQ(unsigned{_A_SUBDIR}, vecEntries[1].uAttribute & unsigned{_A_SUBDIR});
}

TEST(DirectoryListing, AgreesWithFindFirst)
{
    const TemporaryFolder folder;
    folder.WriteFile("file", 77);
    std::filesystem::create_directory(folder.Path() / "sub");
    for (const VODirectoryEntry& entry : List(folder.Text()))
    {
        _wfinddata64i32_t found;
        const intptr_t hFind = _wfindfirst64i32((folder.Text() + VOTEXT("/") + entry.strName).c_str(), &found);
        ASSERT_NE(-1, hFind);
        EXPECT_EQ(entry.strName, VOWString(found.name));
        EXPECT_EQ(entry.uAttribute, found.attrib);
        EXPECT_EQ(entry.ullSize, found.size);
        EXPECT_EQ(entry.nWriteTime, found.time_write);
        EXPECT_EQ(entry.nAccessTime, found.time_access);
        EXPECT_EQ(entry.nCreateTime, found.time_create);
        EXPECT_EQ(0, _findclose(hFind));
    }
}

TEST(DirectoryListing, KeepsAllBitsOfALargeSize)
{
    const TemporaryFolder folder;
    std::filesystem::resize_file(folder.WriteFile("large"), (uint64_t{1} << 32) + 5);
    const std::vector<VODirectoryEntry> vecEntries = List(folder.Text());
    ASSERT_EQ(1u, vecEntries.size());
    EXPECT_EQ((uint64_t{1} << 32) + 5, vecEntries[0].ullSize);
}

TEST(DirectoryListing, KeepsNamesOfEveryAlphabet)
{
    const TemporaryFolder folder;
    const VOWString strName = VOTEXT("\u0434\u0443\u0431 \U0001F333.png");
    std::filesystem::create_directory(folder.Path() / std::filesystem::path(strName));
    const std::vector<VODirectoryEntry> vecEntries = List(folder.Text());
    ASSERT_EQ(1u, vecEntries.size());
    EXPECT_EQ(strName, vecEntries[0].strName);
}

TEST(DirectoryListing, TakesEitherSlashAndOneAtTheEnd)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "sub");
    folder.WriteFile("sub/inner");
    EXPECT_EQ("inner|", Names(List(folder.Text() + VOTEXT("/sub"))));
    EXPECT_EQ("inner|", Names(List(folder.Text() + VOTEXT("\\sub"))));
    EXPECT_EQ("inner|", Names(List(folder.Text() + VOTEXT("/sub/"))));
}

TEST(DirectoryListing, ReachesFoldersWithLongPaths)
{
    const TemporaryFolder folder;
    VOWString strPath = folder.Text();
    std::filesystem::path path = folder.Path();
    for (int nLevel = 0; nLevel < 7; ++nLevel)
    {
        const std::string strName(50, static_cast<char>('a' + nLevel));
        path /= strName;
        strPath += VOTEXT("/") + Wide(strName);
        VODirectoryEntry entry;
        VOSystemError error;
        ASSERT_TRUE(MakeFolder(strPath));
        ASSERT_TRUE(VODescribeFile(strPath, &entry, &error)) << error.strText;
        EXPECT_EQ(Wide(strName), entry.strName);
    }
    ASSERT_GT(strPath.size(), 350u);
    EXPECT_TRUE(List(strPath).empty());
    EXPECT_EQ(std::string(50, 'g') + "|", Names(List(strPath.substr(0, strPath.size() - 51))));
    for (int nLevel = 0; nLevel < 7; ++nLevel)
    {
        EXPECT_TRUE(RemoveFolder(strPath));
        strPath.resize(strPath.size() - 51);
    }
}

TEST(DirectoryListing, OfAMissingFolderSaysWhy)
{
    const TemporaryFolder folder;
    std::vector<VODirectoryEntry> vecEntries(3);
    VOSystemError error;
    EXPECT_FALSE(VOListDirectory(folder.Text() + VOTEXT("/missing"), &vecEntries, &error));
    EXPECT_TRUE(vecEntries.empty());
    EXPECT_NE(0, error.nError);
    EXPECT_NE("", error.strText);
    EXPECT_FALSE(VOListDirectory(VOWString(), &vecEntries, &error));
}

TEST(DirectoryListing, OfAFileFails)
{
    const TemporaryFolder folder;
    folder.WriteFile("file");
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    EXPECT_FALSE(VOListDirectory(folder.Text() + VOTEXT("/file"), &vecEntries, &error));
    EXPECT_NE(0, error.nError);
}

TEST(FileDescription, IsThatOfTheListing)
{
    const TemporaryFolder folder;
    folder.WriteFile("file.ext", 321);
    VODirectoryEntry entry;
    VOSystemError error;
    ASSERT_TRUE(VODescribeFile(folder.Text() + VOTEXT("/file.ext"), &entry, &error)) << error.strText;
    EXPECT_EQ(Wide("file.ext"), entry.strName);
    EXPECT_EQ(321u, entry.ullSize);
    EXPECT_FALSE(entry.bFolder);
    EXPECT_NEAR(static_cast<double>(time(nullptr)), static_cast<double>(entry.nWriteTime), 86400.0);
}

TEST(FileDescription, OfAFolderMayBeAskedWithASlash)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "sub");
    VODirectoryEntry entry;
    VOSystemError error;
    ASSERT_TRUE(VODescribeFile(folder.Text() + VOTEXT("/sub/"), &entry, &error)) << error.strText;
    EXPECT_EQ(Wide("sub"), entry.strName);
    EXPECT_TRUE(entry.bFolder);
}

TEST(FileDescription, OfAMissingFileSaysWhy)
{
    const TemporaryFolder folder;
    VODirectoryEntry entry;
    VOSystemError error;
    EXPECT_FALSE(VODescribeFile(folder.Text() + VOTEXT("/missing"), &entry, &error));
    EXPECT_NE(0, error.nError);
    EXPECT_NE("", error.strText);
    EXPECT_FALSE(VODescribeFile(VOWString(), &entry, &error));
}

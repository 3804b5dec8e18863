// What a Windows directory may hold beside files and folders.
#include "platform/vo_directories.h"
#include "tests/platform/platform_test_support.h"

namespace
{
// The form of a path that may be longer than MAX_PATH.
VOWString LongForm(VOWString strPath)
{
    std::replace(strPath.begin(), strPath.end(), L'/', L'\\');
    return L"\\\\?\\" + strPath;
}
}  // namespace

bool MakeFolder(const VOWString& strPath)
{
    return CreateDirectoryW(LongForm(strPath).c_str(), nullptr) != FALSE;
}

bool RemoveFolder(const VOWString& strPath)
{
    return RemoveDirectoryW(LongForm(strPath).c_str()) != FALSE;
}

TEST(DirectoryListingOnWindows, ReportsHiddenAndSystemFiles)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.WriteFile("hidden");
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    ASSERT_TRUE(VOListDirectory(folder.Text(), &vecEntries, &error));
    ASSERT_EQ(1u, vecEntries.size());
    EXPECT_EQ(unsigned{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM},
              vecEntries[0].uAttribute & unsigned{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM});
}

TEST(DirectoryListingOnWindows, ReportsLinksAndDoesNotFollowThem)
{
    const TemporaryFolder folder;
    const TemporaryFolder target;
    target.WriteFile("inside");
    std::error_code linkError;
    std::filesystem::create_directory_symlink(target.Path(), folder.Path() / "link", linkError);
    if (linkError)
    {
        GTEST_SKIP() << "no links can be made here: " << linkError.message();
    }
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    ASSERT_TRUE(VOListDirectory(folder.Text(), &vecEntries, &error));
    ASSERT_EQ(1u, vecEntries.size());
    EXPECT_TRUE(vecEntries[0].bLink);
    EXPECT_FALSE(vecEntries[0].bFolder);
}

TEST(DirectoryListingOnWindows, GivesTheSystemsErrorInWords)
{
    const TemporaryFolder folder;
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    EXPECT_FALSE(VOListDirectory(folder.Text() + L"/missing/folder", &vecEntries, &error));
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, error.nError);
    EXPECT_NE("", error.strText);
    EXPECT_EQ(std::string::npos, error.strText.find_first_of("\r\n"));
}

TEST(DirectoryListingOnWindows, ListsTheRootOfADrive)
{
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    ASSERT_TRUE(VOListDirectory(L"C:/", &vecEntries, &error)) << error.strText;
    EXPECT_FALSE(vecEntries.empty());
}

TEST(DirectoryListingOnWindows, TakesWildcardsForNoNames)
{
    VODirectoryEntry entry;
    VOSystemError error;
    EXPECT_FALSE(VODescribeFile(L"C:/win*", &entry, &error));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, error.nError);
}

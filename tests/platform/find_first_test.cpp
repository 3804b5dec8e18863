// Find-first of one path, against one contract on both systems.
#include <errno.h>
#include <time.h>

#include "tests/platform/platform_test_support.h"

namespace
{
bool Find(const VOWString& strPath, _wfinddata64i32_t* pData)
{
    const intptr_t hFind = _wfindfirst64i32(strPath.c_str(), pData);
    return hFind != -1 && hFind != 0 && _findclose(hFind) == 0;
}
}  // namespace

TEST(FindFirst, DescribesAFile)
{
    const TemporaryFolder folder;
    folder.WriteFile("some.file", 1234);
    _wfinddata64i32_t found;
    const int64_t nNow = time(nullptr);
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/some.file"), &found));
    EXPECT_EQ(1234u, found.size);
    EXPECT_EQ(0u, found.attrib & unsigned(_A_RDONLY | _A_HIDDEN | _A_SUBDIR));
    EXPECT_EQ(Wide("some.file"), VOWString(found.name));
    // File times may lag behind the clock by a tick; a day's difference is a wrong epoch or unit.
    EXPECT_NEAR(static_cast<double>(nNow), static_cast<double>(found.time_write), 86400.0);
    EXPECT_NEAR(static_cast<double>(nNow), static_cast<double>(found.time_create), 86400.0);
    EXPECT_NEAR(static_cast<double>(nNow), static_cast<double>(found.time_access), 86400.0);
}

TEST(FindFirst, GivesTheWriteTimeInSecondsSince1970)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.WriteFile("old");
    // 2001-09-09 01:46:40 UTC.
    const auto age = std::filesystem::file_time_type::clock::now().time_since_epoch() -
                     std::chrono::duration_cast<std::filesystem::file_time_type::duration>(
                         std::chrono::system_clock::now().time_since_epoch() - std::chrono::seconds(1000000000));
    std::filesystem::last_write_time(path, std::filesystem::file_time_type(age));
    _wfinddata64i32_t found;
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/old"), &found));
    EXPECT_NEAR(1e9, static_cast<double>(found.time_write), 1.0);
}

TEST(FindFirst, TakesEitherSlash)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "dir");
    folder.WriteFile("dir/file", 3);
    _wfinddata64i32_t found;
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("\\dir\\file"), &found));
    EXPECT_EQ(3u, found.size);
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/dir\\file"), &found));
    EXPECT_EQ(3u, found.size);
}

TEST(FindFirst, DescribesADirectory)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "dir");
    _wfinddata64i32_t found;
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/dir"), &found));
    EXPECT_EQ(unsigned{_A_SUBDIR}, found.attrib & _A_SUBDIR);
    EXPECT_EQ(0u, found.size);
}

TEST(FindFirst, MarksAFileThatItsOwnerMayNotWrite)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.WriteFile("locked");
    const std::filesystem::perms writing = std::filesystem::perms::owner_write | std::filesystem::perms::group_write |
                                           std::filesystem::perms::others_write;
    std::filesystem::permissions(path, writing, std::filesystem::perm_options::remove);
    _wfinddata64i32_t found;
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/locked"), &found));
    EXPECT_EQ(unsigned{_A_RDONLY}, found.attrib & _A_RDONLY);
    std::filesystem::permissions(path, writing, std::filesystem::perm_options::add);
}

TEST(FindFirst, CutsTheSizeOfALargeFileTo32Bits)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.WriteFile("large");
    std::filesystem::resize_file(path, (uint64_t{1} << 32) + 5);
    _wfinddata64i32_t found;
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/large"), &found));
    EXPECT_EQ(5u, found.size);
}

TEST(FindFirst, FindsNoFileThatIsNotThere)
{
    const TemporaryFolder folder;
    _wfinddata64i32_t found;
    errno = 0;
    EXPECT_EQ(-1, _wfindfirst64i32((folder.Text() + VOTEXT("/nothing")).c_str(), &found));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(-1, _wfindfirst64i32((folder.Text() + VOTEXT("/no/dir")).c_str(), &found));
    EXPECT_EQ(ENOENT, errno);
}

TEST(FindFirst, FindsNothingUnderAPathThatEndsInASlash)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "dir");
    _wfinddata64i32_t found;
    EXPECT_EQ(-1, _wfindfirst64i32((folder.Text() + VOTEXT("/dir/")).c_str(), &found));
}

TEST(FindFirst, OfAFailedFindIsNotClosed)
{
    const InvalidParameterHandler handler;
    EXPECT_EQ(-1, _findclose(-1));
}

TEST(FindFirst, KeepsNamesOfEveryAlphabet)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / std::filesystem::path(VOWString(VOTEXT("\u0434\u0443\u0431"))));
    _wfinddata64i32_t found;
    ASSERT_TRUE(Find(folder.Text() + VOTEXT("/\u0434\u0443\u0431"), &found));
    EXPECT_EQ(VOWString(VOTEXT("\u0434\u0443\u0431")), VOWString(found.name));
}

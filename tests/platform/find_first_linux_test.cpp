// What find-first makes of a Linux file system.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/platform/platform_test_support.h"

namespace
{
unsigned Attributes(const VOWString& strPath)
{
    _wfinddata64i32_t found;
    return _wfindfirst64i32(strPath.c_str(), &found) != -1 ? found.attrib : 0xFFFFFFFFu;
}
}  // namespace

TEST(FindFirstOnLinux, TakesADotNameForHidden)
{
    const TemporaryFolder folder;
    folder.WriteFile(".hidden");
    folder.WriteFile("plain.hidden");
    EXPECT_EQ(_A_HIDDEN, Attributes(folder.Text() + VOTEXT("/.hidden")));
    EXPECT_EQ(_A_NORMAL, Attributes(folder.Text() + VOTEXT("/plain.hidden")));
}

TEST(FindFirstOnLinux, LooksAtTheOwnersPermissionAlone)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.WriteFile("file");
    ASSERT_EQ(0, chmod(path.c_str(), S_IRUSR | S_IWGRP | S_IWOTH));
    EXPECT_EQ(_A_RDONLY, Attributes(folder.Text() + VOTEXT("/file")));
    ASSERT_EQ(0, chmod(path.c_str(), S_IWUSR));
    EXPECT_EQ(_A_NORMAL, Attributes(folder.Text() + VOTEXT("/file")));
}

TEST(FindFirstOnLinux, DescribesALinkAndNotItsTarget)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "dir");
    ASSERT_EQ(0, symlink("dir", (folder.Path() / "to_dir").c_str()));
    ASSERT_EQ(0, symlink("nowhere", (folder.Path() / "dangling").c_str()));
    EXPECT_EQ(_A_NORMAL, Attributes(folder.Text() + VOTEXT("/to_dir")));
    EXPECT_EQ(_A_NORMAL, Attributes(folder.Text() + VOTEXT("/dangling")));
}

TEST(FindFirstOnLinux, TakesWildcardsForWhatTheyAre)
{
    const TemporaryFolder folder;
    folder.WriteFile("abc");
    EXPECT_EQ(0xFFFFFFFFu, Attributes(folder.Text() + VOTEXT("/a*c")));
    folder.WriteFile("a*c");
    EXPECT_EQ(_A_NORMAL, Attributes(folder.Text() + VOTEXT("/a*c")));
}

TEST(FindFirstOnLinux, TakesAPathAtAnOddAddress)
{
    const TemporaryFolder folder;
    folder.WriteFile("odd", 9);
    OddText path(folder.Text() + VOTEXT("/odd"));
    _wfinddata64i32_t found;
    ASSERT_NE(-1, _wfindfirst64i32(path.Get(), &found));
    EXPECT_EQ(9u, found.size);
}

TEST(FindFirstOnLinux, LeavesTheDataOfAFailedFindAlone)
{
    _wfinddata64i32_t found;
    memset(&found, 0x5A, sizeof(found));
    EXPECT_EQ(-1, _wfindfirst64i32(VOTEXT("/nothing/here"), &found));
    EXPECT_EQ(0x5A5A5A5Au, found.size);
    EXPECT_EQ(0x5A5A5A5Au, found.attrib);
}

TEST(FindFirstOnLinux, RefusesNullArguments)
{
    _wfinddata64i32_t found;
    errno = 0;
    EXPECT_EQ(-1, _wfindfirst64i32(nullptr, &found));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, _wfindfirst64i32(VOTEXT("x"), nullptr));
    EXPECT_EQ(-1, _wfindfirst64i32(VOTEXT(""), &found));
}

TEST(FindFirstOnLinux, GivesTheBirthTimeWhereThereIsOne)
{
    const TemporaryFolder folder;
    const std::filesystem::path path = folder.WriteFile("file");
    const timespec times[2] = {{1000000000, 0}, {1100000000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    struct statx info;
    ASSERT_EQ(0, statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &info));
    _wfinddata64i32_t found;
    ASSERT_NE(-1, _wfindfirst64i32((folder.Text() + VOTEXT("/file")).c_str(), &found));
    EXPECT_EQ(1000000000, found.time_access);
    EXPECT_EQ(1100000000, found.time_write);
    EXPECT_EQ((info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime.tv_sec : 1100000000, found.time_create);
}

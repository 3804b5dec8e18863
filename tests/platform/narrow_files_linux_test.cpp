// Files by narrow path: what only Linux shows.
#include <sys/stat.h>
#include <unistd.h>

#include "tests/platform/platform_test_support.h"

namespace
{
mode_t ModeOf(const std::string& strPath)
{
    struct stat info = {};
    EXPECT_EQ(0, stat(strPath.c_str(), &info));
    return info.st_mode & 07777;
}
}  // namespace

TEST(NarrowFilesOnLinux, GetBackExactlyTheModeTheyHad)
{
    const TemporaryFolder folder;
    const std::string strPath = folder.WriteFile("a.txt").string();
    for (const mode_t uMode : {0444u, 0400u, 0464u, 0640u, 0755u})
    {
        ASSERT_EQ(0, chmod(strPath.c_str(), uMode));
        const DWORD uAttributes = GetFileAttributesA(strPath.c_str());
        EXPECT_EQ((uMode & 0200) == 0, (uAttributes & FILE_ATTRIBUTE_READONLY) != 0);
        EXPECT_TRUE(SetFileAttributesA(strPath.c_str(), uAttributes & ~FILE_ATTRIBUTE_READONLY));
        EXPECT_EQ(uMode | 0200, ModeOf(strPath));
        EXPECT_TRUE(SetFileAttributesA(strPath.c_str(), uAttributes));
        EXPECT_EQ(uMode, ModeOf(strPath));
    }
}

TEST(NarrowFilesOnLinux, AreHiddenByADot)
{
    const TemporaryFolder folder;
    EXPECT_EQ(FILE_ATTRIBUTE_HIDDEN, GetFileAttributesA(folder.WriteFile(".a").c_str()));
    EXPECT_EQ(FILE_ATTRIBUTE_NORMAL, GetFileAttributesA(folder.WriteFile("a.b").c_str()));
}

TEST(NarrowFilesOnLinux, HaveTheAttributesOfTheTargetOfALink)
{
    const TemporaryFolder folder;
    const std::string strPath = folder.WriteFile("a.txt").string();
    const std::string strLink = (folder.Path() / "link").string();
    ASSERT_EQ(0, symlink(strPath.c_str(), strLink.c_str()));
    ASSERT_EQ(0, chmod(strPath.c_str(), 0444));
    EXPECT_EQ(FILE_ATTRIBUTE_READONLY, GetFileAttributesA(strLink.c_str()));
    EXPECT_TRUE(SetFileAttributesA(strLink.c_str(), 0));
    EXPECT_EQ(0644u, ModeOf(strPath));
}

TEST(NarrowFilesOnLinux, StartAtTheRootWithOneSlash)
{
    EXPECT_EQ(1u, VOPathRootLength("/a"));
    EXPECT_EQ(1u, VOPathRootLength("/"));
    EXPECT_EQ(0u, VOPathRootLength(""));
    EXPECT_EQ(0u, VOPathRootLength("a/b"));
    EXPECT_EQ(0u, VOPathRootLength("//a"));
    EXPECT_EQ(0u, VOPathRootLength("\\\\a"));
}

TEST(NarrowTextOnLinux, ABoundedCopyOfNothingIsTheEmptyText)
{
    char szTo[4] = "xyz";
    EXPECT_EQ(EINVAL, strcpy_s(szTo, 4, nullptr));
    EXPECT_STREQ("", szTo);
    EXPECT_EQ(EINVAL, strcpy_s(szTo, 0, "a"));
    EXPECT_EQ(EINVAL, strcpy_s(nullptr, 4, "a"));
}

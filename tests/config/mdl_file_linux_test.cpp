// The path list file: what only Linux shows, where an over-long path ends nothing.
#include <gtest/gtest.h>

#include <string>

#include "support/temporary_files.h"
#include "z_mdl_file.h"

using namespace votest;

TEST(MdlFileOnLinux, APathThatIsTooLongBecomesTheEmptyText)
{
    ZMdlFile mdl;
    const std::string strLong(260, 'x');
    EXPECT_EQ(1, mdl.AddPath(strLong.c_str()));
    EXPECT_STREQ("", mdl.GetPathByIndex(0));
    EXPECT_EQ(1, mdl.AddPath("a"));
    EXPECT_EQ(1, mdl.ReplacePath(strLong.c_str(), 1));
    EXPECT_STREQ("", mdl.GetPathByIndex(1));
    EXPECT_EQ(1, mdl.OpenMdlFileByBuffer(strLong.c_str(), 260));
    EXPECT_STREQ("", mdl.GetPathByIndex(2));
    EXPECT_EQ(1, mdl.AddPath(nullptr));
    EXPECT_STREQ("", mdl.GetPathByIndex(3));
}

TEST(MdlFileOnLinux, AWrittenListHasLfLineEnds)
{
    const TemporaryFiles files;
    ZMdlFile mdl;
    mdl.AddPath("a\\b");
    mdl.AddPath("c");
    ASSERT_EQ(1, mdl.WriteMdlFile(files.Path("a.mdl").c_str()));
    EXPECT_EQ("\\a\\b\nc\n", TemporaryFiles::Read(files.Path("a.mdl")));
}

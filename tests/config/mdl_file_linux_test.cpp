// The path list file: what only Linux shows, where an over-long path ends nothing.
#include <gtest/gtest.h>

#include <string>

#include "support/temporary_files.h"
#include "z_mdl_file.h"

using namespace votest;

TEST(MdlFileOnLinux, APathThatIsTooLongBecomesTheEmptyText)
{
    ZMdlFile kMdl;
    const std::string strLong(260, 'x');
    EXPECT_EQ(1, kMdl.AddPath(strLong.c_str()));
    EXPECT_STREQ("", kMdl.GetPathByIndex(0));
    EXPECT_EQ(1, kMdl.AddPath("a"));
    EXPECT_EQ(1, kMdl.ReplacePath(strLong.c_str(), 1));
    EXPECT_STREQ("", kMdl.GetPathByIndex(1));
    EXPECT_EQ(1, kMdl.OpenMdlFileByBuffer(strLong.c_str(), 260));
    EXPECT_STREQ("", kMdl.GetPathByIndex(2));
    EXPECT_EQ(1, kMdl.AddPath(nullptr));
    EXPECT_STREQ("", kMdl.GetPathByIndex(3));
}

TEST(MdlFileOnLinux, AWrittenListHasLfLineEnds)
{
    const TemporaryFiles kFiles;
    ZMdlFile kMdl;
    kMdl.AddPath("a\\b");
    kMdl.AddPath("c");
    ASSERT_EQ(1, kMdl.WriteMdlFile(kFiles.Path("a.mdl").c_str()));
    EXPECT_EQ("\\a\\b\nc\n", TemporaryFiles::Read(kFiles.Path("a.mdl")));
}

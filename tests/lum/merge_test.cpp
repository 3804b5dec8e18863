// Merge sources: several directories laid over each other, with one merge bit each.
#include <set>

#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

class LumMerge : public testing::Test
{
protected:
    void SetUp() override
    {
        m_folder.Write("a/common/both.png", "12345");
        m_folder.Write("a/common/only_a.png", "1");
        m_folder.Write("a/clash", "a file");
        m_folder.Write("b/common/both.png", "123");
        m_folder.Write("b/common/only_b.png", "12");
        m_folder.Write("b/clash/inside.png", "hidden by the file");
        m_folder.Write("b/new/deep/x.tga", "1");
        m_folder.Write("c/common/both.png", "1234567");
        m_folder.Write("c/new/deep/y.tga", "1");
        m_folder.Write("c/clash", "the file again");
    }

    static std::set<std::string> Find(std::vector<std::string> vecArguments)
    {
        vecArguments.insert(vecArguments.begin(), {"find", "--from", "merge-source"});
        const std::vector<std::string> vecLines = LinesOf(RunLum(vecArguments).strOut);
        return std::set<std::string>(vecLines.begin(), vecLines.end());
    }

    static json Stat(const std::string& strPath) { return LumJson({"stat", strPath})["nodes"][0]; }

    TemporaryFolder m_folder;
};

typedef std::set<std::string> Paths;

}  // namespace

TEST_F(LumMerge, EveryDirectoryHasABitInTheOrderOfTheArguments)
{
    const LumServe serve({"--merge-source", m_folder.Name("a"), "--merge-source", m_folder.Name("b"), "--merge-source",
                          m_folder.Name("c")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(Stat("common/only_a.png")["merge"], 1);
    EXPECT_EQ(Stat("common/only_b.png")["merge"], 2);
    EXPECT_EQ(Stat("new/deep/y.tga")["merge"], 4);
    EXPECT_EQ(Stat("common/both.png")["merge"], 7);
    EXPECT_EQ(Stat("common")["merge"], 7);
    EXPECT_EQ(Stat("new")["merge"], 6);
    EXPECT_EQ(Stat("/")["merge"], 7);
}

TEST_F(LumMerge, AFileOfSeveralDirectoriesIsThatOfTheFirst)
{
    const LumServe serve({"--merge-source", m_folder.Name("a"), "--merge-source", m_folder.Name("b")});
    EXPECT_EQ(Stat("common/both.png")["size"], 5);
    EXPECT_EQ(Stat("common/both.png")["absolute"], Forward(m_folder.Name("a")) + "/common/both.png");
}

TEST_F(LumMerge, AFileThatTheFirstDirectoryLacksLiesInAnother)
{
    const LumServe serve({"--merge-source", m_folder.Name("a"), "--merge-source", m_folder.Name("b")});
    EXPECT_EQ(Stat("common/only_b.png")["absolute"], Forward(m_folder.Name("b")) + "/common/only_b.png");
}

TEST_F(LumMerge, FindByMaskGivesFilesThatHaveABitOfIt)
{
    const LumServe serve({"--merge-source", m_folder.Name("a"), "--merge-source", m_folder.Name("b"), "--merge-source",
                          m_folder.Name("c")});
    EXPECT_EQ(Find({"--merge", "1"}), (Paths{"clash", "common/both.png", "common/only_a.png"}));
    EXPECT_EQ(Find({"--merge", "0x6"}),
              (Paths{"clash", "common/both.png", "common/only_b.png", "new/deep/x.tga", "new/deep/y.tga"}));
    EXPECT_EQ(Find({"--merge", "6", "--ext", "tga"}), (Paths{"new/deep/x.tga", "new/deep/y.tga"}));
    EXPECT_EQ(Find({"--merge", "6", "--name", "BOTH"}), (Paths{"common/both.png"}));
    EXPECT_EQ(Find({"--merge", "6", "--name", "BOTH", "--case"}), Paths{});
    EXPECT_EQ(Find({"--merge", "7", "--folders"}), Paths{});
    EXPECT_EQ(Find({"--merge", "7", "--folders", "--name", "new"}), Paths{});
    EXPECT_EQ(Find({"--merge", "0"}), Paths{});
    EXPECT_EQ(Find({"--merge", "8"}), Paths{});
}

TEST_F(LumMerge, WhatIsAFileHereAndAFolderThereIsReportedWithWhatLiesInIt)
{
    LumServe serve({"--merge-source", m_folder.Name("a"), "--merge-source", m_folder.Name("b"), "--merge-source",
                    m_folder.Name("c")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(Stat("clash")["folder"], false);
    EXPECT_EQ(Stat("clash")["merge"], 5);
    const std::string strErr = serve.Process().Err();
    EXPECT_TRUE(Contains(strErr, "not indexed: clash: ")) << strErr;
    EXPECT_TRUE(Contains(strErr, "not indexed: clash/inside.png: ")) << strErr;
    EXPECT_TRUE(Contains(strErr, "merge-source: 2 not indexed\n")) << strErr;
}

TEST_F(LumMerge, TheTwoMergeSourcesAreApart)
{
    const LumServe serve({"--merge-source", m_folder.Name("a"), "--merge-target", m_folder.Name("b")});
    const json sources = LumJson({"status"})["sources"];
    ASSERT_EQ(sources.size(), 2u);
    EXPECT_EQ(sources[0]["from"], "merge-source");
    EXPECT_EQ(sources[1]["from"], "merge-target");
    EXPECT_EQ(LumJson({"stat", "common/only_b.png", "--from", "merge-target"})["nodes"][0]["merge"], 1);
    EXPECT_EQ(RunLum({"stat", "common/only_b.png", "--from", "merge-source"}).nExitCode, 1);
}

TEST_F(LumMerge, ThirtyTwoDirectoriesUseAllBits)
{
    std::vector<std::string> vecArguments;
    for (unsigned i = 0; i < 32; ++i)
    {
        m_folder.Write("many/" + std::to_string(i) + "/file" + std::to_string(i), "x");
        vecArguments.insert(vecArguments.end(), {"--merge-source", m_folder.Name("many/" + std::to_string(i))});
    }
    const LumServe serve(vecArguments);
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(Stat("file31")["merge"], 0x80000000u);
    EXPECT_EQ(Stat("/")["merge"], 0xFFFFFFFFu);
    EXPECT_EQ(Find({"--merge", "0x80000000"}), Paths{"file31"});
}

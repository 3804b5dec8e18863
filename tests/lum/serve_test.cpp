// The publisher's life: one at a time, whole or not at all, and gone at the end.
#include <thread>

#include "platform/vo_platform.h"
#include "tests/lum_support/lum_test_support.h"
#include "vots_file_mapping.h"

using nlohmann::json;

namespace
{

bool SectionExists(const VOWCHAR* pszName)
{
    HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, 0, pszName);
    if (hSection != nullptr)
    {
        CloseHandle(hSection);
    }
    return hSection != nullptr;
}

bool NothingIsPublished()
{
    bool bResult = !SectionExists(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME);
    for (unsigned i = 1; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        const VOWCHAR* pszName = ASSETNODE_MAPPING_VIEW_STRING(static_cast<LUMTrayService::enumAssetFrom>(i));
        bResult = bResult && !SectionExists(pszName);
    }
    return bResult;
}

json StateOf(const char* pszSource)
{
    const json kState = LumJson({"image", "--state"});
    for (const json& source : kState["sources"])
    {
        if (source["from"] == pszSource)
        {
            return source;
        }
    }
    return json();
}

}  // namespace

TEST(LumServing, TheReadyLineCountsNodesAndSources)
{
    TemporaryFolder folder;
    folder.Write("a/b.txt", "1");
    folder.Write("c.txt", "1");
    LumServe one({"--source", folder.Name()});
    EXPECT_EQ(one.Process().Out(), "serving 4 nodes of 1 source\n");
    EXPECT_EQ(one.Process().Err(), "");
    one.Stop();
    LumServe two({"--source", folder.Name(), "--target", folder.Name("a")});
    EXPECT_EQ(two.Process().Out(), "serving 6 nodes of 2 sources\n");
}

TEST(LumServing, ASecondPublisherIsRefusedAndTheFirstGoesOn)
{
    TemporaryFolder folder;
    folder.Write("first/a.txt", "1");
    folder.Write("second/b.txt", "1");
    LumServe first({"--source", folder.Name("first")});
    ASSERT_TRUE(first.Publishes());
    const json before = StateOf("source");

    const LumResult second = RunLum({"serve", "--once", "--source", folder.Name("second")});
    EXPECT_EQ(second.nExitCode, 2);
    EXPECT_EQ(second.strOut, "");
    EXPECT_TRUE(Contains(second.strErr, "another publisher is serving already")) << second.strErr;
    EXPECT_TRUE(Contains(second.strErr, std::to_string(first.Process().ProcessId()))) << second.strErr;

    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(StateOf("source"), before);
}

TEST(LumServing, TheDemonstrationDoesntDisturbAPublisherEither)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    const LumServe serve({"--source", folder.Name()});
    EXPECT_EQ(RunLum({"demo"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
}

TEST(LumServing, StoppedItEndsWellAndLeavesNothing)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name(), "--target", folder.Name()});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_FALSE(NothingIsPublished());
    if (!serve.Process().RequestStop())
    {
        GTEST_SKIP() << "a process can't be asked to stop here";
    }
    EXPECT_EQ(serve.Process().Wait(), 0);
    EXPECT_TRUE(NothingIsPublished());
    EXPECT_EQ(RunLum({"status"}).nExitCode, 1);
}

TEST(LumServing, WhatCantBeServedPublishesNothing)
{
    TemporaryFolder folder;
    const std::string strFile = folder.Write("file", "no archive");
    const std::string strWrongTypes = folder.Write("types", "1 one\n");
    const std::string strWrongList = folder.Write("list", "a/../b\n");
    const std::string strNowhere = folder.Name("nowhere");
    const std::vector<std::vector<std::string>> vecWrong = {
        {"--source", strNowhere},
        {"--source", strFile},
        {"--source", ""},
        {"--source", folder.Name(), "--target", strNowhere},
        {"--source", folder.Name(), "--merge-source", folder.Name(), "--merge-source", strNowhere},
        {"--pak", strNowhere},
        {"--pak", folder.Name()},
        {"--pak", strFile},
        {"--http-source", strNowhere},
        {"--http-source", folder.Name()},
        {"--source", folder.Name(), "--http-pkg-target", strWrongList},
        {"--source", folder.Name(), "--types", strNowhere},
        {"--source", folder.Name(), "--types", strWrongTypes}};
    for (std::vector<std::string> vecArguments : vecWrong)
    {
        vecArguments.insert(vecArguments.begin(), {"serve", "--once"});
        const LumResult result = RunLum(vecArguments);
        const std::string strShown = testing::PrintToString(vecArguments);
        EXPECT_EQ(result.nExitCode, 2) << strShown;
        EXPECT_EQ(result.strOut, "") << strShown;
        EXPECT_NE(result.strErr, "") << strShown;
        EXPECT_TRUE(NothingIsPublished()) << strShown;
    }
}

TEST(LumServing, ARootThatTheIndexCantHoldIsRefused)
{
    TemporaryFolder folder;
    std::string strLong;
    while (folder.Name().size() + strLong.size() <= 260)
    {
        strLong += "/" + std::string(40, 'r');
    }
    std::error_code error;
    std::filesystem::create_directories(folder.Path() / strLong.substr(1), error);
    const LumResult result = RunLum({"serve", "--once", "--source", folder.Name(strLong.substr(1))});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_TRUE(Contains(result.strErr, "root path is longer")) << result.strErr;
}

TEST(LumServing, MoreMergeDirectoriesThanBitsAreRefused)
{
    TemporaryFolder folder;
    std::vector<std::string> vecArguments = {"serve", "--once"};
    for (unsigned i = 0; i < 33; ++i)
    {
        vecArguments.insert(vecArguments.end(), {"--merge-target", folder.Name()});
    }
    const LumResult result = RunLum(vecArguments);
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_TRUE(Contains(result.strErr, "32")) << result.strErr;
}

TEST(LumServing, TwoReadersAtOnceSeeTheSame)
{
    TemporaryFolder folder;
    for (unsigned i = 0; i < 300; ++i)
    {
        folder.Write("folder" + std::to_string(i % 7) + "/file" + std::to_string(i) + ".png", "x");
    }
    const LumServe serve({"--source", folder.Name()});
    const std::string strExpected = RunLum({"tree"}).strOut;
    ASSERT_TRUE(strExpected.ends_with("7 folders, 300 files\n"));
    for (unsigned i = 0; i < 10; ++i)
    {
        LumProcess first({"tree"});
        LumProcess second({"tree"});
        EXPECT_EQ(first.Wait(), 0);
        EXPECT_EQ(second.Wait(), 0);
        EXPECT_EQ(first.Out(), strExpected);
        EXPECT_EQ(second.Out(), strExpected);
    }
}

TEST(LumServing, TheRootOfTheIndexIsNodeZeroWithoutAName)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    const LumServe serve({"--source", folder.Name()});
    const json root = LumJson({"stat", "/"})["nodes"][0];
    EXPECT_EQ(root["id"], 0);
    EXPECT_EQ(root["path"], "");
    EXPECT_EQ(root["folder"], true);
    EXPECT_EQ(root["parent"], nullptr);
    EXPECT_EQ(root["name"], folder.Path().filename().string());
    EXPECT_EQ(LumJson({"stat", "a.txt"})["nodes"][0]["parent"], 0);
}

TEST(LumServing, AnEmptyDirectoryIsServedAsOneNode)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()});
    EXPECT_EQ(serve.Process().Out(), "serving 1 node of 1 source\n");
    EXPECT_EQ(RunLum({"find"}).nExitCode, 1);
    EXPECT_EQ(RunLum({"ls"}).nExitCode, 0);
}

TEST(LumDemo, RunsTheWholeRoadAndEndsCleanly)
{
    const LumResult result = RunLum({"demo"});
    EXPECT_EQ(result.nExitCode, 0) << result.strErr;
    for (const char* pszWanted : {"publishes 20 nodes", "$ lum status", "$ lum ls", "$ lum tree", "$ lum stat ",
                                  "$ lum find --type ", "7 folders, 12 files", "Withdrawn again"})
    {
        EXPECT_TRUE(Contains(result.strOut, pszWanted)) << pszWanted;
    }
    EXPECT_TRUE(NothingIsPublished());
}

TEST(LumDemo, TakesADirectoryAndLeavesItAlone)
{
    TemporaryFolder folder;
    folder.Write("models/boat.fbx", "1");
    const LumResult result = RunLum({"demo", folder.Name()});
    EXPECT_EQ(result.nExitCode, 0) << result.strErr;
    EXPECT_TRUE(Contains(result.strOut, "$ lum stat models/boat.fbx"));
    EXPECT_TRUE(Contains(result.strOut, "$ lum find --type model"));
    EXPECT_EQ(ReadWholeFile(folder.Path() / "models" / "boat.fbx"), "1");
}

TEST(LumDemo, OfADirectoryThatIsntThereFailsAndPublishesNothing)
{
    TemporaryFolder folder;
    const LumResult result = RunLum({"demo", folder.Name("nowhere")});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_TRUE(NothingIsPublished());
}

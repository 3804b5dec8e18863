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
    for (const json& kSource : kState["sources"])
    {
        if (kSource["from"] == pszSource)
        {
            return kSource;
        }
    }
    return json();
}

}  // namespace

TEST(LumServing, TheReadyLineCountsNodesAndSources)
{
    TemporaryFolder kFolder;
    kFolder.Write("a/b.txt", "1");
    kFolder.Write("c.txt", "1");
    LumServe kOne({"--source", kFolder.Name()});
    EXPECT_EQ(kOne.Process().Out(), "serving 4 nodes of 1 source\n");
    EXPECT_EQ(kOne.Process().Err(), "");
    kOne.Stop();
    LumServe kTwo({"--source", kFolder.Name(), "--target", kFolder.Name("a")});
    EXPECT_EQ(kTwo.Process().Out(), "serving 6 nodes of 2 sources\n");
}

TEST(LumServing, ASecondPublisherIsRefusedAndTheFirstGoesOn)
{
    TemporaryFolder kFolder;
    kFolder.Write("first/a.txt", "1");
    kFolder.Write("second/b.txt", "1");
    LumServe kFirst({"--source", kFolder.Name("first")});
    ASSERT_TRUE(kFirst.Publishes());
    const json kBefore = StateOf("source");

    const LumResult kSecond = RunLum({"serve", "--once", "--source", kFolder.Name("second")});
    EXPECT_EQ(kSecond.nExitCode, 2);
    EXPECT_EQ(kSecond.strOut, "");
    EXPECT_TRUE(Contains(kSecond.strErr, "another publisher is serving already")) << kSecond.strErr;
    EXPECT_TRUE(Contains(kSecond.strErr, std::to_string(kFirst.Process().ProcessId()))) << kSecond.strErr;

    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(StateOf("source"), kBefore);
}

TEST(LumServing, TheDemonstrationDoesntDisturbAPublisherEither)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    const LumServe kServe({"--source", kFolder.Name()});
    EXPECT_EQ(RunLum({"demo"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
}

TEST(LumServing, StoppedItEndsWellAndLeavesNothing)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name(), "--target", kFolder.Name()});
    ASSERT_TRUE(kServe.Publishes());
    EXPECT_FALSE(NothingIsPublished());
    if (!kServe.Process().RequestStop())
    {
        GTEST_SKIP() << "a process can't be asked to stop here";
    }
    EXPECT_EQ(kServe.Process().Wait(), 0);
    EXPECT_TRUE(NothingIsPublished());
    EXPECT_EQ(RunLum({"status"}).nExitCode, 1);
}

TEST(LumServing, WhatCantBeServedPublishesNothing)
{
    TemporaryFolder kFolder;
    const std::string strFile = kFolder.Write("file", "no archive");
    const std::string strWrongTypes = kFolder.Write("types", "1 one\n");
    const std::string strWrongList = kFolder.Write("list", "a/../b\n");
    const std::string strNowhere = kFolder.Name("nowhere");
    const std::vector<std::vector<std::string>> vecWrong = {
        {"--source", strNowhere},
        {"--source", strFile},
        {"--source", ""},
        {"--source", kFolder.Name(), "--target", strNowhere},
        {"--source", kFolder.Name(), "--merge-source", kFolder.Name(), "--merge-source", strNowhere},
        {"--pak", strNowhere},
        {"--pak", kFolder.Name()},
        {"--pak", strFile},
        {"--http-source", strNowhere},
        {"--http-source", kFolder.Name()},
        {"--source", kFolder.Name(), "--http-pkg-target", strWrongList},
        {"--source", kFolder.Name(), "--types", strNowhere},
        {"--source", kFolder.Name(), "--types", strWrongTypes}};
    for (std::vector<std::string> vecArguments : vecWrong)
    {
        vecArguments.insert(vecArguments.begin(), {"serve", "--once"});
        const LumResult kResult = RunLum(vecArguments);
        const std::string strShown = testing::PrintToString(vecArguments);
        EXPECT_EQ(kResult.nExitCode, 2) << strShown;
        EXPECT_EQ(kResult.strOut, "") << strShown;
        EXPECT_NE(kResult.strErr, "") << strShown;
        EXPECT_TRUE(NothingIsPublished()) << strShown;
    }
}

TEST(LumServing, ARootThatTheIndexCantHoldIsRefused)
{
    TemporaryFolder kFolder;
    std::string strLong;
    while (kFolder.Name().size() + strLong.size() <= 260)
    {
        strLong += "/" + std::string(40, 'r');
    }
    std::error_code kError;
    std::filesystem::create_directories(kFolder.Path() / strLong.substr(1), kError);
    const LumResult kResult = RunLum({"serve", "--once", "--source", kFolder.Name(strLong.substr(1))});
    EXPECT_EQ(kResult.nExitCode, 2);
    EXPECT_TRUE(Contains(kResult.strErr, "root path is longer")) << kResult.strErr;
}

TEST(LumServing, MoreMergeDirectoriesThanBitsAreRefused)
{
    TemporaryFolder kFolder;
    std::vector<std::string> vecArguments = {"serve", "--once"};
    for (unsigned i = 0; i < 33; ++i)
    {
        vecArguments.insert(vecArguments.end(), {"--merge-target", kFolder.Name()});
    }
    const LumResult kResult = RunLum(vecArguments);
    EXPECT_EQ(kResult.nExitCode, 2);
    EXPECT_TRUE(Contains(kResult.strErr, "32")) << kResult.strErr;
}

TEST(LumServing, TwoReadersAtOnceSeeTheSame)
{
    TemporaryFolder kFolder;
    for (unsigned i = 0; i < 300; ++i)
    {
        kFolder.Write("folder" + std::to_string(i % 7) + "/file" + std::to_string(i) + ".png", "x");
    }
    const LumServe kServe({"--source", kFolder.Name()});
    const std::string strExpected = RunLum({"tree"}).strOut;
    ASSERT_TRUE(strExpected.ends_with("7 folders, 300 files\n"));
    for (unsigned i = 0; i < 10; ++i)
    {
        LumProcess kFirst({"tree"});
        LumProcess kSecond({"tree"});
        EXPECT_EQ(kFirst.Wait(), 0);
        EXPECT_EQ(kSecond.Wait(), 0);
        EXPECT_EQ(kFirst.Out(), strExpected);
        EXPECT_EQ(kSecond.Out(), strExpected);
    }
}

TEST(LumServing, TheRootOfTheIndexIsNodeZeroWithoutAName)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    const LumServe kServe({"--source", kFolder.Name()});
    const json kRoot = LumJson({"stat", "/"})["nodes"][0];
    EXPECT_EQ(kRoot["id"], 0);
    EXPECT_EQ(kRoot["path"], "");
    EXPECT_EQ(kRoot["folder"], true);
    EXPECT_EQ(kRoot["parent"], nullptr);
    EXPECT_EQ(kRoot["name"], kFolder.Path().filename().string());
    EXPECT_EQ(LumJson({"stat", "a.txt"})["nodes"][0]["parent"], 0);
}

TEST(LumServing, AnEmptyDirectoryIsServedAsOneNode)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()});
    EXPECT_EQ(kServe.Process().Out(), "serving 1 node of 1 source\n");
    EXPECT_EQ(RunLum({"find"}).nExitCode, 1);
    EXPECT_EQ(RunLum({"ls"}).nExitCode, 0);
}

TEST(LumDemo, RunsTheWholeRoadAndEndsCleanly)
{
    const LumResult kResult = RunLum({"demo"});
    EXPECT_EQ(kResult.nExitCode, 0) << kResult.strErr;
    for (const char* pszWanted : {"publishes 20 nodes", "$ lum status", "$ lum ls", "$ lum tree", "$ lum stat ",
                                  "$ lum find --type ", "7 folders, 12 files", "Withdrawn again"})
    {
        EXPECT_TRUE(Contains(kResult.strOut, pszWanted)) << pszWanted;
    }
    EXPECT_TRUE(NothingIsPublished());
}

TEST(LumDemo, TakesADirectoryAndLeavesItAlone)
{
    TemporaryFolder kFolder;
    kFolder.Write("models/boat.fbx", "1");
    const LumResult kResult = RunLum({"demo", kFolder.Name()});
    EXPECT_EQ(kResult.nExitCode, 0) << kResult.strErr;
    EXPECT_TRUE(Contains(kResult.strOut, "$ lum stat models/boat.fbx"));
    EXPECT_TRUE(Contains(kResult.strOut, "$ lum find --type model"));
    EXPECT_EQ(ReadWholeFile(kFolder.Path() / "models" / "boat.fbx"), "1");
}

TEST(LumDemo, OfADirectoryThatIsntThereFailsAndPublishesNothing)
{
    TemporaryFolder kFolder;
    const LumResult kResult = RunLum({"demo", kFolder.Name("nowhere")});
    EXPECT_EQ(kResult.nExitCode, 2);
    EXPECT_TRUE(NothingIsPublished());
}

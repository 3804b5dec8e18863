// Trees in which a list belongs to several folders, or leads back: another publisher may make such.
#include "tests/lum_support/lum_test_support.h"
#include "tests/mapping/mapping_test_tools.h"

TEST(LumTree, AListThatTwoFoldersShareIsDrawnInBoth)
{
    using namespace mappingtest;
    ModelContainer kModel = SourceModel();
    const unsigned int uTwin = static_cast<unsigned int>(kModel.vecNodes.size());
    kModel.Add(VOTEXT("top/twin"), true, kNone);
    kModel.vecNodes.back().uFiles = kModel.vecNodes[6].uFiles;
    kModel.vecNodes[0].uFolders = kModel.kNumbers.InsertList({6, uTwin, uTwin});
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, kModel);
    const LumResult kTree = RunLum({"tree", "top"});
    EXPECT_EQ(0, kTree.nExitCode) << kTree.strErr;
    EXPECT_TRUE(kTree.strOut.ends_with("\n3 folders, 11 files\n")) << kTree.strOut;
}

TEST(LumTree, AFolderThatLiesInItselfIsDrawnOnceAndCalledDamage)
{
    using namespace mappingtest;
    ModelContainer kModel = SourceModel();
    kModel.vecNodes[6].uFolders = kModel.kNumbers.InsertList({6});
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, kModel);
    const LumResult kTree = RunLum({"tree", "top"});
    EXPECT_EQ(2, kTree.nExitCode);
    EXPECT_NE(std::string::npos, kTree.strErr.find("a folder lies in itself")) << kTree.strErr;
}

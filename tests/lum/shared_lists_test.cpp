// Trees in which a list belongs to several folders, or leads back: another publisher may make such.
#include "tests/lum_support/lum_test_support.h"
#include "tests/mapping/mapping_test_tools.h"

TEST(LumTree, AListThatTwoFoldersShareIsDrawnInBoth)
{
    using namespace mappingtest;
    ModelContainer model = SourceModel();
    const unsigned int uTwin = static_cast<unsigned int>(model.vecNodes.size());
    model.Add(VOTEXT("top/twin"), true, kNone);
    model.vecNodes.back().uFiles = model.vecNodes[6].uFiles;
    model.vecNodes[0].uFolders = model.numbers.InsertList({6, uTwin, uTwin});
    Publisher publisher;
    publisher.Publish(AF_SOURCE, model);
    const LumResult tree = RunLum({"tree", "top"});
    EXPECT_EQ(0, tree.nExitCode) << tree.strErr;
    EXPECT_TRUE(tree.strOut.ends_with("\n3 folders, 11 files\n")) << tree.strOut;
}

TEST(LumTree, AFolderThatLiesInItselfIsDrawnOnceAndCalledDamage)
{
    using namespace mappingtest;
    ModelContainer model = SourceModel();
    model.vecNodes[6].uFolders = model.numbers.InsertList({6});
    Publisher publisher;
    publisher.Publish(AF_SOURCE, model);
    const LumResult tree = RunLum({"tree", "top"});
    EXPECT_EQ(2, tree.nExitCode);
    EXPECT_NE(std::string::npos, tree.strErr.find("a folder lies in itself")) << tree.strErr;
}

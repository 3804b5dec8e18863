// What only Windows can show of a local file's attributes.
#include "assetindex/temporary_tree.h"
#include "platform/vo_platform.h"

namespace
{
using namespace assettest;
typedef VOTSAssetNodeContainerHelper Helper;

TEST(FileAttributeWindows, TheHiddenAttributeIsCarriedOver)
{
    TemporaryTree tree;
    tree.MakeFile("a.txt", 1);
    const VOWString strPath = tree.Path("a.txt");
    ASSERT_NE(0, SetFileAttributesW(strPath.c_str(), FILE_ATTRIBUTE_HIDDEN));
    if ((GetFileAttributesW(strPath.c_str()) & FILE_ATTRIBUTE_HIDDEN) == 0)
    {
        GTEST_SKIP() << "the file system keeps no hidden attribute";
    }
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, strPath.c_str()));
    EXPECT_EQ(0x1Cu, tsNode.nFileAttribute);
    ASSERT_NE(0, SetFileAttributesW(strPath.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, strPath.c_str()));
    EXPECT_EQ(0x19u, tsNode.nFileAttribute);
    SetFileAttributesW(strPath.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(FileAttributeWindows, AnAbsolutePathBelowTheRootIsMadeRelative)
{
    TemporaryTree tree;
    tree.MakeFile("Dir/a", 9);
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, tree.Root().c_str(), nullptr);
    VOWString strPath = tree.Path("Dir/a");
    for (VOWCHAR& rch : strPath)
    {
        rch = rch == VOTEXT('/') ? VOTEXT('\\') : rch;
    }
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestLocalAssetNode(tsNode, &container, LUMTrayService::AF_SOURCE, strPath.c_str(), 0));
    EXPECT_EQ(0u, FoundID(container, VOTEXT("dir/a")));
    EXPECT_EQ(VOWString(VOTEXT("Dir/a")), PathOf(container, 0));
    EXPECT_EQ(9u, +NodeOf(container, 0).ullFileSize);
}

}  // namespace

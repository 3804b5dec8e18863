// What only a POSIX file system can show of a local file's attributes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "assetindex/temporary_tree.h"

namespace
{
using namespace assettest;
typedef VOTSAssetNodeContainerHelper Helper;

TEST(FileAttributeLinux, ANameThatBeginsWithADotIsHidden)
{
    TemporaryTree tree;
    tree.MakeFile(".a.txt", 1);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path(".a.txt").c_str()));
    EXPECT_EQ(0x1Cu, tsNode.nFileAttribute);
    tree.MakeReadOnly(".a.txt");
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path(".a.txt").c_str()));
    EXPECT_EQ(0x19u, tsNode.nFileAttribute);
}

TEST(FileAttributeLinux, ReadOnlyMeansThatTheOwnerMayNotWriteWhoeverElseMay)
{
    TemporaryTree tree;
    tree.MakeFile("a.txt", 1);
    ASSERT_EQ(0, chmod(tree.At("a.txt").c_str(), 0466));
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("a.txt").c_str()));
    EXPECT_EQ(0x11u, tsNode.nFileAttribute);
    ASSERT_EQ(0, chmod(tree.At("a.txt").c_str(), 0200));
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("a.txt").c_str()));
    EXPECT_EQ(0x14u, tsNode.nFileAttribute);
}

TEST(FileAttributeLinux, TheTimesAreThoseOfTheFileInSeconds)
{
    TemporaryTree tree;
    tree.MakeFile("a.txt", 1);
    const timespec aTimes[2] = {{1300000000, 5}, {1400000000, 999999999}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, tree.At("a.txt").c_str(), aTimes, 0));
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("a.txt").c_str()));
    EXPECT_EQ(1300000000, +tsNode.ftLastAccessTime);
    EXPECT_EQ(1400000000, +tsNode.ftLastWriteTime);
}

TEST(FileAttributeLinux, ALinkIsDescribedItself)
{
    TemporaryTree tree;
    tree.MakeFile("target.txt", 12345);
    ASSERT_EQ(0, symlink("target.txt", tree.At("link.txt").c_str()));
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("link.txt").c_str()));
    EXPECT_EQ(10u, +tsNode.ullFileSize);
}

TEST(FileAttributeLinux, AFullPathThatDoesNotFitIsLoggedAndTheNodeStays)
{
    TemporaryTree tree;
    const VOWString strRoot = tree.Root() + VOTEXT('/') + VOWString(100, VOTEXT('r'));
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, strRoot.c_str(), nullptr);
    const VOWString strPath(250, VOTEXT('p'));
    structAssetNode tsNode;
    LogCapture log;
    EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, &container, LUMTrayService::AF_SOURCE, strPath.c_str(), 0));
    EXPECT_TRUE(HasLine(
        log.Lines(),
        CheckLine("VO_COM_PROCESS_ERROR", "::_stprintf_s(tszFullPath, MAX_PATH, _T(\"%s/%s\"), pszFromDir, pszPath)",
                  "VOTSAssetNodeContainerHelper::SetAssetNodeLocalFileAttribute")))
        << log.Lines()[0];
    EXPECT_EQ(0u, FoundID(container, strPath.c_str()));
}

TEST(FileAttributeLinux, AnAbsolutePathBelowARootWithAColonIsMadeRelative)
{
    TemporaryTree tree;
    tree.MakeFile("C:/Dir/a", 9);
    const VOWString strRoot = tree.Path("C:");
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, strRoot.c_str(), nullptr);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestLocalAssetNode(tsNode, &container, LUMTrayService::AF_SOURCE,
                                               (strRoot + VOTEXT("/Dir/a")).c_str(), 0));
    EXPECT_EQ(0u, FoundID(container, VOTEXT("dir/a")));
    EXPECT_EQ(VOWString(VOTEXT("Dir/a")), PathOf(container, 0));
    EXPECT_EQ(9u, +NodeOf(container, 0).ullFileSize);
}

}  // namespace

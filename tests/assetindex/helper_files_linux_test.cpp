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
    TemporaryTree kTree;
    kTree.MakeFile(".a.txt", 1);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path(".a.txt").c_str()));
    EXPECT_EQ(0x1Cu, tsNode.nFileAttribute);
    kTree.MakeReadOnly(".a.txt");
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path(".a.txt").c_str()));
    EXPECT_EQ(0x19u, tsNode.nFileAttribute);
}

TEST(FileAttributeLinux, ReadOnlyMeansThatTheOwnerMayNotWriteWhoeverElseMay)
{
    TemporaryTree kTree;
    kTree.MakeFile("a.txt", 1);
    ASSERT_EQ(0, chmod(kTree.At("a.txt").c_str(), 0466));
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("a.txt").c_str()));
    EXPECT_EQ(0x11u, tsNode.nFileAttribute);
    ASSERT_EQ(0, chmod(kTree.At("a.txt").c_str(), 0200));
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("a.txt").c_str()));
    EXPECT_EQ(0x14u, tsNode.nFileAttribute);
}

TEST(FileAttributeLinux, TheTimesAreThoseOfTheFileInSeconds)
{
    TemporaryTree kTree;
    kTree.MakeFile("a.txt", 1);
    const timespec aTimes[2] = {{1300000000, 5}, {1400000000, 999999999}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, kTree.At("a.txt").c_str(), aTimes, 0));
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("a.txt").c_str()));
    EXPECT_EQ(1300000000, +tsNode.ftLastAccessTime);
    EXPECT_EQ(1400000000, +tsNode.ftLastWriteTime);
}

TEST(FileAttributeLinux, ALinkIsDescribedItself)
{
    TemporaryTree kTree;
    kTree.MakeFile("target.txt", 12345);
    ASSERT_EQ(0, symlink("target.txt", kTree.At("link.txt").c_str()));
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("link.txt").c_str()));
    EXPECT_EQ(10u, +tsNode.ullFileSize);
}

TEST(FileAttributeLinux, AFullPathThatDoesNotFitIsLoggedAndTheNodeStays)
{
    TemporaryTree kTree;
    const VOWString strRoot = kTree.Root() + VOTEXT('/') + VOWString(100, VOTEXT('r'));
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, strRoot.c_str(), nullptr);
    const VOWString strPath(250, VOTEXT('p'));
    structAssetNode tsNode;
    LogCapture kLog;
    EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, &kContainer, LUMTrayService::AF_SOURCE, strPath.c_str(), 0));
    EXPECT_TRUE(HasLine(
        kLog.Lines(),
        CheckLine("VO_COM_PROCESS_ERROR", "::_stprintf_s(tszFullPath, MAX_PATH, _T(\"%s/%s\"), pszFromDir, pszPath)",
                  "VOTSAssetNodeContainerHelper::SetAssetNodeLocalFileAttribute")))
        << kLog.Lines()[0];
    EXPECT_EQ(0u, FoundID(kContainer, strPath.c_str()));
}

TEST(FileAttributeLinux, AnAbsolutePathBelowARootWithAColonIsMadeRelative)
{
    TemporaryTree kTree;
    kTree.MakeFile("C:/Dir/a", 9);
    const VOWString strRoot = kTree.Path("C:");
    VOTSAssetNodeContainer kContainer(LUMTrayService::AR_Provider, strRoot.c_str(), nullptr);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestLocalAssetNode(tsNode, &kContainer, LUMTrayService::AF_SOURCE,
                                               (strRoot + VOTEXT("/Dir/a")).c_str(), 0));
    EXPECT_EQ(0u, FoundID(kContainer, VOTEXT("dir/a")));
    EXPECT_EQ(VOWString(VOTEXT("Dir/a")), PathOf(kContainer, 0));
    EXPECT_EQ(9u, +NodeOf(kContainer, 0).ullFileSize);
}

}  // namespace

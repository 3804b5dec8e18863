// Turning paths and pak entries into finished nodes: the four requests and the steps they are made of.
#include <fstream>

#include "assetindex/image_checks.h"
#include "assetindex/temporary_tree.h"

namespace
{
using namespace assettest;
using namespace LUMTrayService;
typedef VOTSAssetNodeContainerHelper Helper;

const std::string kHelperClass = "VOTSAssetNodeContainerHelper::";

// A provider over a temporary directory that knows the extensions txt and b, and b.c.
struct Fixture
{
    TemporaryTree kTree;
    VOTSAssetNodeContainer kContainer;

    Fixture() : kContainer(AR_Provider, kTree.Root().c_str(), VOTEXT("temporary"))
    {
        EXPECT_NE(0, kContainer.InsertClassifyType(7, VOTEXT("Text"), VOTEXT("txt|TXT2"), Color(), Color()));
        EXPECT_NE(0, kContainer.InsertClassifyType(8, VOTEXT("Other"), VOTEXT("b|b.c|x"), Color(), Color()));
        EXPECT_NE(0, kContainer.BuildUpExtensionsHash());
    }
    VOWString Text(void* hString) const
    {
        return hString == INVALID_HANDLE_VALUE ? VOWString(VOTEXT("<none>")) : ReadText(kContainer.GetString(hString));
    }
    // "directory|base name|extension" of a node.
    VOWString Parts(const structAssetNode& tsNode) const
    {
        return Text(tsNode.hStrComponent) + VOTEXT('|') + Text(tsNode.hStrBaseName) + VOTEXT('|') +
               Text(tsNode.hStrExtension);
    }
    // Requests a local node that isn't there yet.
    structAssetNode Local(const VOWCHAR* pszPath, int bFolder, int nExpected = 1)
    {
        structAssetNode tsNode;
        EXPECT_EQ(nExpected, Helper::RequestLocalAssetNode(tsNode, &kContainer, AF_SOURCE, pszPath, bFolder));
        return tsNode;
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// Local nodes
// ---------------------------------------------------------------------------------------------------------------------

TEST(LocalNode, AFileGetsSourceNamesTypeAndAttributes)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("Dir/Name.TXT", 1234, 1111111111);
    LogCapture kLog;
    const structAssetNode tsNode = kFixture.Local(VOTEXT("Dir/Name.TXT"), 0);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, tsNode.nAssetID);
    EXPECT_EQ(AF_SOURCE, tsStored.eAssetFrom);
    EXPECT_EQ(0, tsStored.bFolder);
    EXPECT_EQ(VOWString(VOTEXT("Dir|Name|TXT")), kFixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
    EXPECT_EQ(VOWString(VOTEXT("Text")), kFixture.Text(tsStored.hStrClassifyName));
    EXPECT_EQ(1234u, +tsStored.ullFileSize);
    EXPECT_EQ(1111111111, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0x14u, tsStored.nFileAttribute);
    EXPECT_EQ(kNone, tsStored.nParentID) << "nothing is linked";
    EXPECT_EQ(kNone, tsStored.nChildFileInfo);
}

TEST(LocalNode, TheCallersNodeShowsNoSizeAndTimesWhileTheContainerHasThem)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("a.txt", 77, 1111111111);
    const structAssetNode tsNode = kFixture.Local(VOTEXT("a.txt"), 0);
    EXPECT_EQ(0u, +tsNode.ullFileSize);
    EXPECT_EQ(0, +tsNode.ftLastWriteTime);
    EXPECT_EQ(0u, tsNode.nFileAttribute);
    EXPECT_EQ(7, tsNode.nClassifyType) << "what was set before is shown";
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, tsNode.nAssetID);
    EXPECT_EQ(77u, +tsStored.ullFileSize);
    EXPECT_EQ(1111111111, +tsStored.ftLastWriteTime);
}

TEST(LocalNode, ASecondRequestReadsNothingAgain)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("a.txt", 77);
    const structAssetNode tsFirst = kFixture.Local(VOTEXT("a.txt"), 0);
    kFixture.kTree.MakeFile("a.txt", 99, 1222222222);
    structAssetNode tsSecond;
    EXPECT_EQ(1, Helper::RequestLocalAssetNode(tsSecond, &kFixture.kContainer, AF_TARGET, VOTEXT("A.TXT"), 1));
    EXPECT_EQ(tsFirst.nAssetID, tsSecond.nAssetID);
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, tsFirst.nAssetID);
    EXPECT_EQ(77u, +tsStored.ullFileSize);
    EXPECT_EQ(AF_SOURCE, tsStored.eAssetFrom);
    EXPECT_EQ(0, tsStored.bFolder);
    EXPECT_EQ(77u, +tsSecond.ullFileSize) << "the node is given as it stands";
}

TEST(LocalNode, AnExtensionThatNoTypeListsFailsAndLeavesTheNodeUnfinished)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("Dir/a.unknown", 77);
    LogCapture kLog;
    kFixture.Local(VOTEXT("Dir/a.unknown"), 0, 0);
    EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("pkContainer->GetClassifyTypeByExtension(pszExt, nClassifyType)",
                                                   kHelperClass + "SetAssetNodeClassifyType")));
    structAssetNode tsNode;
    ASSERT_NE(0, kFixture.kContainer.FindAssetNode(VOTEXT("dir/a.unknown"), tsNode));
    EXPECT_EQ(-1, tsNode.nClassifyType);
    EXPECT_EQ(VOWString(VOTEXT("Dir|a|unknown")), kFixture.Parts(tsNode));
    EXPECT_EQ(AF_SOURCE, tsNode.eAssetFrom);
    EXPECT_EQ(0u, +tsNode.ullFileSize);
    EXPECT_EQ(0u, tsNode.nFileAttribute);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrClassifyName);
    kLog.Clear();
    kFixture.Local(VOTEXT("Dir/a.unknown"), 0, 1);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(LocalNode, AFileWithoutAnExtensionHasNoType)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("README", 5);
    LogCapture kLog;
    const structAssetNode tsNode = kFixture.Local(VOTEXT("README"), 0);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_EQ(-1, tsNode.nClassifyType);
    EXPECT_EQ(VOWString(VOTEXT("<none>|README|<none>")), kFixture.Parts(tsNode));
    EXPECT_EQ(5u, +NodeOf(kFixture.kContainer, tsNode.nAssetID).ullFileSize);
}

TEST(LocalNode, AFolderKeepsTheDotsOfItsNameAndHasNoType)
{
    Fixture kFixture;
    kFixture.kTree.MakeFolder("dir/a.b");
    LogCapture kLog;
    const structAssetNode tsNode = kFixture.Local(VOTEXT("dir/a.b"), 1);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    EXPECT_EQ(VOWString(VOTEXT("dir|a.b|<none>")), kFixture.Parts(tsNode));
    EXPECT_EQ(-1, tsNode.nClassifyType);
    EXPECT_EQ(1, tsNode.bFolder);
    EXPECT_EQ(0x14u, NodeOf(kFixture.kContainer, tsNode.nAssetID).nFileAttribute)
        << "the directory attribute isn't carried over";
}

TEST(LocalNode, TheExtensionBeginsAtTheFirstDotOfTheName)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("a.b", 1);
    kFixture.kTree.MakeFile("a.b.c", 1);
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|b")), kFixture.Parts(kFixture.Local(VOTEXT("a.b"), 0)));
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|b.c")), kFixture.Parts(kFixture.Local(VOTEXT("a.b.c"), 0)));
}

TEST(LocalNode, ANameThatBeginsWithItsOnlyDotHasNoBaseNameAndCannotBeRendered)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("dir/.x", 1);
    for (const VOWCHAR* pszPath : {VOTEXT(".x"), VOTEXT("dir/.x")})
    {
        const structAssetNode tsNode = kFixture.Local(pszPath, 0);
        EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrBaseName);
        EXPECT_EQ(VOWString(VOTEXT("x")), kFixture.Text(tsNode.hStrExtension));
        EXPECT_EQ(VOWString(VOTEXT("<no path>")), PathOf(kFixture.kContainer, tsNode.nAssetID));
    }
}

TEST(LocalNode, ATrailingDotBelongsToTheBaseName)
{
    Fixture kFixture;
    const structAssetNode tsNode = kFixture.Local(VOTEXT("x."), 0);
    EXPECT_EQ(VOWString(VOTEXT("<none>|x.|<none>")), kFixture.Parts(tsNode));
    EXPECT_EQ(-1, tsNode.nClassifyType);
}

TEST(LocalNode, NamesAreCutFromTheNormalisedPathWithItsCase)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("Dir/Sub/Name.Txt", 3);
    const structAssetNode tsNode = kFixture.Local(VOTEXT("Dir\\Sub\\Name.Txt\\"), 0);
    EXPECT_EQ(VOWString(VOTEXT("Dir/Sub|Name|Txt")), kFixture.Parts(tsNode));
    EXPECT_EQ(VOWString(VOTEXT("Dir/Sub/Name.Txt")), PathOf(kFixture.kContainer, tsNode.nAssetID));
    EXPECT_EQ(3u, +NodeOf(kFixture.kContainer, tsNode.nAssetID).ullFileSize);
}

TEST(LocalNode, AFileThatIsNotThereHasTheFlagsOfAWritableOneAndNothingElse)
{
    Fixture kFixture;
    const structAssetNode tsNode = kFixture.Local(VOTEXT("none.txt"), 0);
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, tsNode.nAssetID);
    EXPECT_EQ(0u, +tsStored.ullFileSize);
    EXPECT_EQ(0, +tsStored.ftCreateTime);
    EXPECT_EQ(0, +tsStored.ftLastAccessTime);
    EXPECT_EQ(0, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0x14u, tsStored.nFileAttribute);
}

TEST(LocalNode, APathOutsideTheRootFailsAndEntersNothing)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("C:/Data"), nullptr);
    structAssetNode tsNode;
    LogCapture kLog;
    EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, &kContainer, AF_SOURCE, VOTEXT("D:/a"), 0));
    EXPECT_NE(0u, kLog.Count());
    EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
}

TEST(LocalNode, WithoutARootTheAttributesFailAndTheNodeStays)
{
    VOTSAssetNodeContainer kContainer;
    structAssetNode tsNode;
    LogCapture kLog;
    EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, &kContainer, AF_SOURCE, VOTEXT("a"), 0));
    EXPECT_TRUE(HasLine(kLog.Lines(),
                        ProcessError("pszFromDir && *pszFromDir", kHelperClass + "SetAssetNodeLocalFileAttribute")));
    EXPECT_EQ(0u, FoundID(kContainer, VOTEXT("a")));
}

// ---------------------------------------------------------------------------------------------------------------------
// Pak, http and merge nodes
// ---------------------------------------------------------------------------------------------------------------------

structAssetNode CacheNode()
{
    structAssetNode tsCache;
    tsCache.eAssetFrom = AF_TARGET;
    tsCache.uAssetMerge = 99;
    tsCache.nAssetID = 12345;
    tsCache.ullFileSize = 0x123456789ull;
    tsCache.ftCreateTime = -1;
    tsCache.ftLastAccessTime = 2;
    tsCache.ftLastWriteTime = 3;
    tsCache.nFileAttribute = 0xFFFFFFFFu;
    return tsCache;
}

TEST(PakNode, AttributesAreThoseOfTheCacheNodeAndNothingElseOfIt)
{
    Fixture kFixture;
    structAssetNode tsNode;
    LogCapture kLog;
    EXPECT_EQ(1, Helper::RequestPakAssetNode(tsNode, &kFixture.kContainer, VOTEXT("Pak/A.txt"), CacheNode()));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, 0);
    EXPECT_TRUE(SameBytes(BytesOf(tsStored), BytesOf(tsNode))) << "the node is read back";
    EXPECT_EQ(AF_PAKV4, tsStored.eAssetFrom);
    EXPECT_EQ(0u, tsStored.uAssetMerge);
    EXPECT_EQ(0u, tsStored.nAssetID);
    EXPECT_EQ(0x123456789ull, +tsStored.ullFileSize);
    EXPECT_EQ(-1, +tsStored.ftCreateTime);
    EXPECT_EQ(2, +tsStored.ftLastAccessTime);
    EXPECT_EQ(3, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0xFFFFFFFFu, tsStored.nFileAttribute) << "bit 0x10 too";
    EXPECT_EQ(VOWString(VOTEXT("Pak|A|txt")), kFixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
}

TEST(PakNode, AFolderOfTheCacheNodeIsAFolder)
{
    Fixture kFixture;
    structAssetNode tsCache = CacheNode();
    tsCache.bFolder = 1;
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestPakAssetNode(tsNode, &kFixture.kContainer, VOTEXT("Pak/A.d"), tsCache));
    EXPECT_EQ(1, tsNode.bFolder);
    EXPECT_EQ(VOWString(VOTEXT("Pak|A.d|<none>")), kFixture.Parts(tsNode));
}

TEST(PakNode, AnUnknownExtensionFailsAfterTheAttributesAreSet)
{
    Fixture kFixture;
    structAssetNode tsNode;
    EXPECT_EQ(0, Helper::RequestPakAssetNode(tsNode, &kFixture.kContainer, VOTEXT("a.unknown"), CacheNode()));
    EXPECT_EQ(0x123456789ull, +NodeOf(kFixture.kContainer, 0).ullFileSize);
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|unknown")), kFixture.Parts(NodeOf(kFixture.kContainer, 0)));
}

TEST(PakNode, AnExistingNodeIsLeftAsItIs)
{
    Fixture kFixture;
    structAssetNode tsNode;
    ASSERT_EQ(1, Helper::RequestHttpFileNode(tsNode, &kFixture.kContainer, AF_HTTPFILE_SOURCE, VOTEXT("a.txt"), 0));
    const Bytes vecBefore = BytesOf(NodeOf(kFixture.kContainer, 0));
    EXPECT_EQ(1, Helper::RequestPakAssetNode(tsNode, &kFixture.kContainer, VOTEXT("a.txt"), CacheNode()));
    EXPECT_EQ(1, Helper::RequestAssetMergeNode(tsNode, &kFixture.kContainer, AF_MERGESRC, 6, VOTEXT("a.txt"), 0));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(kFixture.kContainer, 0))));
}

TEST(HttpNode, HasSourceNamesAndTypeAndNoAttributes)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("Http/A.txt", 55);
    structAssetNode tsNode;
    EXPECT_EQ(
        1, Helper::RequestHttpFileNode(tsNode, &kFixture.kContainer, AF_HTTPFILE_PKG_TARGET, VOTEXT("Http/A.txt"), 0));
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, 0);
    EXPECT_TRUE(SameBytes(BytesOf(tsStored), BytesOf(tsNode)));
    EXPECT_EQ(AF_HTTPFILE_PKG_TARGET, tsStored.eAssetFrom);
    EXPECT_EQ(VOWString(VOTEXT("Http|A|txt")), kFixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
    EXPECT_EQ(0u, +tsStored.ullFileSize);
    EXPECT_EQ(0, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0u, tsStored.nFileAttribute);
}

TEST(MergeNode, HasItsMergeSignTooAndNoAttributes)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("Merge/A.txt", 55);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestAssetMergeNode(tsNode, &kFixture.kContainer, AF_MERGETARGET, 0x80000005u,
                                               VOTEXT("Merge/A.txt"), 0));
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, 0);
    EXPECT_TRUE(SameBytes(BytesOf(tsStored), BytesOf(tsNode)));
    EXPECT_EQ(AF_MERGETARGET, tsStored.eAssetFrom);
    EXPECT_EQ(0x80000005u, tsStored.uAssetMerge);
    EXPECT_EQ(VOWString(VOTEXT("Merge|A|txt")), kFixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
    EXPECT_EQ(0u, +tsStored.ullFileSize);
    EXPECT_EQ(0u, tsStored.nFileAttribute);
}

TEST(MergeNode, AnUnknownExtensionFailsAfterSignAndNamesAreSet)
{
    Fixture kFixture;
    structAssetNode tsNode;
    EXPECT_EQ(0, Helper::RequestAssetMergeNode(tsNode, &kFixture.kContainer, AF_MERGESRC, 4, VOTEXT("a.unknown"), 0));
    const structAssetNode tsStored = NodeOf(kFixture.kContainer, 0);
    EXPECT_EQ(4u, tsStored.uAssetMerge);
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|unknown")), kFixture.Parts(tsStored));
    EXPECT_EQ(-1, tsStored.nClassifyType);
}

TEST(RequestNodes, ACustomerAndANullContainerAreRefused)
{
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    for (VOTSAssetNodeContainer* pkContainer : {&kCustomer, static_cast<VOTSAssetNodeContainer*>(nullptr)})
    {
        structAssetNode tsNode;
        LogCapture kLog;
        EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, pkContainer, AF_SOURCE, VOTEXT("a"), 0));
        EXPECT_EQ(0, Helper::RequestPakAssetNode(tsNode, pkContainer, VOTEXT("a"), CacheNode()));
        EXPECT_EQ(0, Helper::RequestHttpFileNode(tsNode, pkContainer, AF_SOURCE, VOTEXT("a"), 0));
        EXPECT_EQ(0, Helper::RequestAssetMergeNode(tsNode, pkContainer, AF_SOURCE, 1, VOTEXT("a"), 0));
        EXPECT_LE(4u, kLog.Count());
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The steps
// ---------------------------------------------------------------------------------------------------------------------

TEST(HelperSteps, TheWrappersReadTheNodeBack)
{
    Fixture kFixture;
    const unsigned int uID = NewNode(kFixture.kContainer, VOTEXT("a.txt"));
    structAssetNode tsNode = NodeOf(kFixture.kContainer, uID);
    EXPECT_EQ(1, Helper::SetAssetNodeAssetFrom(tsNode, &kFixture.kContainer, AF_MERGESRC));
    EXPECT_EQ(AF_MERGESRC, tsNode.eAssetFrom);
    EXPECT_EQ(1, Helper::SetAssetNodeAssetMergeSign(tsNode, &kFixture.kContainer, 12));
    EXPECT_EQ(12u, tsNode.uAssetMerge);
    EXPECT_EQ(1, Helper::SetAssetNodePhysicsPath(tsNode, &kFixture.kContainer, VOTEXT("E:\\Phys")));
    EXPECT_EQ(VOWString(VOTEXT("E:\\Phys")), kFixture.Text(tsNode.hStrPhysicsPath));
    EXPECT_EQ(1, Helper::SetAssetNodeStripPath(tsNode, &kFixture.kContainer, VOTEXT("D/B.txt")));
    EXPECT_EQ(VOWString(VOTEXT("D|B|txt")), kFixture.Parts(tsNode));
    EXPECT_EQ(1, Helper::SetAssetNodeClassifyType(tsNode, &kFixture.kContainer));
    EXPECT_EQ(7, tsNode.nClassifyType);
    EXPECT_EQ(1, Helper::SetAssetNodePakFileAttribute(tsNode, &kFixture.kContainer, CacheNode()));
    EXPECT_EQ(0x123456789ull, +tsNode.ullFileSize);
    EXPECT_TRUE(SameBytes(BytesOf(NodeOf(kFixture.kContainer, uID)), BytesOf(tsNode)));
}

TEST(HelperSteps, EachRefusesANullContainer)
{
    structAssetNode tsNode;
    LogCapture kLog;
    EXPECT_EQ(0, Helper::SetAssetNodeAssetFrom(tsNode, nullptr, AF_MERGESRC));
    EXPECT_EQ(0, Helper::SetAssetNodeAssetMergeSign(tsNode, nullptr, 12));
    EXPECT_EQ(0, Helper::SetAssetNodePhysicsPath(tsNode, nullptr, VOTEXT("p")));
    EXPECT_EQ(0, Helper::SetAssetNodeStripPath(tsNode, nullptr, VOTEXT("p")));
    EXPECT_EQ(0, Helper::SetAssetNodeClassifyType(tsNode, nullptr));
    EXPECT_EQ(0, Helper::SetAssetNodeLocalFileAttribute(tsNode, nullptr, AF_SOURCE, VOTEXT("p")));
    EXPECT_EQ(0, Helper::SetAssetNodePakFileAttribute(tsNode, nullptr, CacheNode()));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pkContainer", kHelperClass + "SetAssetNodeAssetFrom"),
                                          ProcessError("pkContainer", kHelperClass + "SetAssetNodeAssetMergeSign"),
                                          ProcessError("pkContainer", kHelperClass + "SetAssetNodePhysicsPath"),
                                          ProcessError("pkContainer", kHelperClass + "SetAssetNodeStripPath"),
                                          ProcessError("pkContainer", kHelperClass + "SetAssetNodeClassifyType"),
                                          ProcessError("pkContainer", kHelperClass + "SetAssetNodeLocalFileAttribute"),
                                          ProcessError("pikContainer", kHelperClass + "SetAssetNodePakFileAttribute")));
}

TEST(HelperSteps, TextsThatAreNeededAreChecked)
{
    Fixture kFixture;
    NewNode(kFixture.kContainer, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(kFixture.kContainer, 0);
    for (const VOWCHAR* pszText : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture kLog;
        EXPECT_EQ(0, Helper::SetAssetNodePhysicsPath(tsNode, &kFixture.kContainer, pszText));
        EXPECT_EQ(0, Helper::SetAssetNodeStripPath(tsNode, &kFixture.kContainer, pszText));
        EXPECT_EQ(0, Helper::SetAssetNodeLocalFileAttribute(tsNode, &kFixture.kContainer, AF_SOURCE, pszText));
        EXPECT_THAT(
            kLog.Lines(),
            ElementsAre(ProcessError("pszPhysicsPath && *pszPhysicsPath", kHelperClass + "SetAssetNodePhysicsPath"),
                        ProcessError("pszPath && *pszPath", kHelperClass + "SetAssetNodeStripPath"),
                        ProcessError("pszPath && *pszPath", kHelperClass + "SetAssetNodeLocalFileAttribute")));
    }
}

TEST(HelperSteps, APathOf260CharactersOrMoreIsNotSplit)
{
    Fixture kFixture;
    NewNode(kFixture.kContainer, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(kFixture.kContainer, 0);
    EXPECT_EQ(1, Helper::SetAssetNodeStripPath(tsNode, &kFixture.kContainer, VOWString(259, VOTEXT('n')).c_str()));
    EXPECT_EQ(259u, kFixture.Text(tsNode.hStrBaseName).size());
    for (const size_t uLength : {size_t{260}, size_t{261}, size_t{5000}})
    {
        LogCapture kLog;
        EXPECT_EQ(0,
                  Helper::SetAssetNodeStripPath(tsNode, &kFixture.kContainer, VOWString(uLength, VOTEXT('n')).c_str()));
        EXPECT_NE(0u, kLog.Count());
    }
}

TEST(HelperSteps, TheTypeOfAFolderAndOfANodeWithoutExtensionStaysAsItIs)
{
    Fixture kFixture;
    NewNode(kFixture.kContainer, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(kFixture.kContainer, 0);
    LogCapture kLog;
    EXPECT_EQ(1, Helper::SetAssetNodeClassifyType(tsNode, &kFixture.kContainer));
    EXPECT_EQ(-1, tsNode.nClassifyType);
    ASSERT_NE(0, kFixture.kContainer.SetAssetNodeStripPath(0, nullptr, VOTEXT("a"), VOTEXT("txt")));
    ASSERT_NE(0, kFixture.kContainer.SetAssetNodeFolder(0, 1));
    tsNode = NodeOf(kFixture.kContainer, 0);
    EXPECT_EQ(1, Helper::SetAssetNodeClassifyType(tsNode, &kFixture.kContainer));
    EXPECT_EQ(-1, NodeOf(kFixture.kContainer, 0).nClassifyType);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(HelperSteps, AnExtensionHandleWithoutATextIsLogged)
{
    Fixture kFixture;
    NewNode(kFixture.kContainer, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(kFixture.kContainer, 0);
    tsNode.hStrExtension = HandleOf(KeyOf(kFixture.kContainer, 0));
    LogCapture kLog;
    EXPECT_EQ(0, Helper::SetAssetNodeClassifyType(tsNode, &kFixture.kContainer));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pszExt", kHelperClass + "SetAssetNodeClassifyType")));
}

TEST(FileAttribute, OfAFileAreItsSizeTimesAndFlagsAndTheRestIsZeroNotDefault)
{
    TemporaryTree kTree;
    kTree.MakeFile("a.txt", 4321, 1234567890);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("a.txt").c_str()));
    EXPECT_EQ(4321u, +tsNode.ullFileSize);
    EXPECT_EQ(1234567890, +tsNode.ftLastWriteTime);
    EXPECT_NE(0, +tsNode.ftCreateTime);
    EXPECT_NE(0, +tsNode.ftLastAccessTime);
    EXPECT_EQ(0x14u, tsNode.nFileAttribute);

    tsNode.ullFileSize = 0;
    tsNode.ftCreateTime = tsNode.ftLastAccessTime = tsNode.ftLastWriteTime = 0;
    tsNode.nFileAttribute = 0;
    EXPECT_TRUE(SameBytes(Bytes(108, 0), BytesOf(tsNode)));
}

TEST(FileAttribute, OfAFileThatIsNotThereAreThoseOfAnEmptyWritableOne)
{
    TemporaryTree kTree;
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("none").c_str()));
    EXPECT_EQ(0x14u, tsNode.nFileAttribute);
    tsNode.nFileAttribute = 0;
    EXPECT_TRUE(SameBytes(Bytes(108, 0), BytesOf(tsNode)));
}

TEST(FileAttribute, AReadOnlyFileHasTheOneBitAndNotTheOther)
{
    TemporaryTree kTree;
    kTree.MakeFile("a.txt", 1);
    kTree.MakeReadOnly("a.txt");
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("a.txt").c_str()));
    EXPECT_EQ(0x11u, tsNode.nFileAttribute);
}

TEST(FileAttribute, ASizeOver4GiBIsCutTo32Bits)
{
    TemporaryTree kTree;
    kTree.MakeFile("large.txt", 1);
    std::error_code kError;
    std::filesystem::resize_file(kTree.At("large.txt"), 0x100000005ull, kError);
    if (kError)
    {
        GTEST_SKIP() << "the file system has no room for a sparse file: " << kError.message();
    }
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, kTree.Path("large.txt").c_str()));
    EXPECT_EQ(5u, +tsNode.ullFileSize);
}

TEST(FileAttribute, NamesWithOtherLettersAreFound)
{
    TemporaryTree kTree;
    const std::filesystem::path kPath = kTree.At("x").parent_path() / std::filesystem::path(u"\x4E2D\x00E4.txt");
    std::ofstream(kPath, std::ios::binary) << "12345";
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, (kTree.Root() + VOTEXT("/\x4E2D\x00E4.txt")).c_str()));
    EXPECT_EQ(5u, +tsNode.ullFileSize);
}

TEST(WholeTree, ADirectoryIsIndexedLinkedPublishedAndRead)
{
    Fixture kFixture;
    kFixture.kTree.MakeFile("one.txt", 1);
    kFixture.kTree.MakeFile("Sub/two.txt", 2);
    kFixture.kTree.MakeFile("Sub/Deep.er/three.txt", 3);
    // The host's part: walk the directory, link each node to its parent.
    std::vector<std::filesystem::path> vecPaths;
    for (const auto& rkEntry : std::filesystem::recursive_directory_iterator(kFixture.kTree.At("")))
    {
        vecPaths.push_back(rkEntry.path());
    }
    std::sort(vecPaths.begin(), vecPaths.end());
    for (const std::filesystem::path& rkPath : vecPaths)
    {
        const VOWString strPath = Wide(std::filesystem::relative(rkPath, kFixture.kTree.At("")).generic_string());
        structAssetNode tsNode;
        ASSERT_EQ(1, Helper::RequestLocalAssetNode(tsNode, &kFixture.kContainer, AF_SOURCE, strPath.c_str(),
                                                   std::filesystem::is_directory(rkPath) ? 1 : 0));
        WideBuffer<> kDir;
        if (Helper::ParseDir(kDir.szText, strPath.c_str(), static_cast<int>(strPath.size())) != 0)
        {
            Link(kFixture.kContainer, FoundID(kFixture.kContainer, kDir.szText), tsNode.nAssetID);
        }
    }
    const MisalignedBlock kImage(ImageOf(kFixture.kContainer), 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0, kImage.Size()));
    structAssetNode tsNode;
    ASSERT_NE(0, kCustomer.FindAssetNode(VOTEXT("sub/deep.er/THREE.TXT"), tsNode));
    EXPECT_EQ(3u, +tsNode.ullFileSize);
    EXPECT_EQ(VOWString(VOTEXT("Sub/Deep.er/three.txt")), PathOf(kCustomer, tsNode.nAssetID));
    WideBuffer<> kAbsolute;
    ASSERT_NE(0, kCustomer.GetAssetAbsolutePath(tsNode.nAssetID, MAX_PATH, kAbsolute.szText));
    EXPECT_EQ(kFixture.kTree.Path("Sub/Deep.er/three.txt"), kAbsolute.Text());
    EXPECT_EQ(FoundID(kCustomer, VOTEXT("sub/deep.er")), tsNode.nParentID);
    EXPECT_EQ(1u, kCustomer.GetInfoNumberCount(NodeOf(kCustomer, FoundID(kCustomer, VOTEXT("Sub"))).nChildFolderInfo));
}

}  // namespace

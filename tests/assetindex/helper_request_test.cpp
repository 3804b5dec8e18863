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
    TemporaryTree tree;
    VOTSAssetNodeContainer container;

    Fixture() : container(AR_Provider, tree.Root().c_str(), VOTEXT("temporary"))
    {
        EXPECT_NE(0, container.InsertClassifyType(7, VOTEXT("Text"), VOTEXT("txt|TXT2"), Color(), Color()));
        EXPECT_NE(0, container.InsertClassifyType(8, VOTEXT("Other"), VOTEXT("b|b.c|x"), Color(), Color()));
        EXPECT_NE(0, container.BuildUpExtensionsHash());
    }
    VOWString Text(void* hString) const
    {
        return hString == INVALID_HANDLE_VALUE ? VOWString(VOTEXT("<none>")) : ReadText(container.GetString(hString));
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
        EXPECT_EQ(nExpected, Helper::RequestLocalAssetNode(tsNode, &container, AF_SOURCE, pszPath, bFolder));
        return tsNode;
    }
};

// ---------------------------------------------------------------------------------------------------------------------
// Local nodes
// ---------------------------------------------------------------------------------------------------------------------

TEST(LocalNode, AFileGetsSourceNamesTypeAndAttributes)
{
    Fixture fixture;
    fixture.tree.MakeFile("Dir/Name.TXT", 1234, 1111111111);
    LogCapture log;
    const structAssetNode tsNode = fixture.Local(VOTEXT("Dir/Name.TXT"), 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
    const structAssetNode tsStored = NodeOf(fixture.container, tsNode.nAssetID);
    EXPECT_EQ(AF_SOURCE, tsStored.eAssetFrom);
    EXPECT_EQ(0, tsStored.bFolder);
    EXPECT_EQ(VOWString(VOTEXT("Dir|Name|TXT")), fixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
    EXPECT_EQ(VOWString(VOTEXT("Text")), fixture.Text(tsStored.hStrClassifyName));
    EXPECT_EQ(1234u, +tsStored.ullFileSize);
    EXPECT_EQ(1111111111, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0x14u, tsStored.nFileAttribute);
    EXPECT_EQ(kNone, tsStored.nParentID) << "nothing is linked";
    EXPECT_EQ(kNone, tsStored.nChildFileInfo);
}

TEST(LocalNode, TheCallersNodeShowsNoSizeAndTimesWhileTheContainerHasThem)
{
    Fixture fixture;
    fixture.tree.MakeFile("a.txt", 77, 1111111111);
    const structAssetNode tsNode = fixture.Local(VOTEXT("a.txt"), 0);
    EXPECT_EQ(0u, +tsNode.ullFileSize);
    EXPECT_EQ(0, +tsNode.ftLastWriteTime);
    EXPECT_EQ(0u, tsNode.nFileAttribute);
    EXPECT_EQ(7, tsNode.nClassifyType) << "what was set before is shown";
    const structAssetNode tsStored = NodeOf(fixture.container, tsNode.nAssetID);
    EXPECT_EQ(77u, +tsStored.ullFileSize);
    EXPECT_EQ(1111111111, +tsStored.ftLastWriteTime);
}

TEST(LocalNode, ASecondRequestReadsNothingAgain)
{
    Fixture fixture;
    fixture.tree.MakeFile("a.txt", 77);
    const structAssetNode tsFirst = fixture.Local(VOTEXT("a.txt"), 0);
    fixture.tree.MakeFile("a.txt", 99, 1222222222);
    structAssetNode tsSecond;
    EXPECT_EQ(1, Helper::RequestLocalAssetNode(tsSecond, &fixture.container, AF_TARGET, VOTEXT("A.TXT"), 1));
    EXPECT_EQ(tsFirst.nAssetID, tsSecond.nAssetID);
    const structAssetNode tsStored = NodeOf(fixture.container, tsFirst.nAssetID);
    EXPECT_EQ(77u, +tsStored.ullFileSize);
    EXPECT_EQ(AF_SOURCE, tsStored.eAssetFrom);
    EXPECT_EQ(0, tsStored.bFolder);
    EXPECT_EQ(77u, +tsSecond.ullFileSize) << "the node is given as it stands";
}

TEST(LocalNode, AnExtensionThatNoTypeListsFailsAndLeavesTheNodeUnfinished)
{
    Fixture fixture;
    fixture.tree.MakeFile("Dir/a.unknown", 77);
    LogCapture log;
    fixture.Local(VOTEXT("Dir/a.unknown"), 0, 0);
    EXPECT_TRUE(HasLine(log.Lines(), ProcessError("pkContainer->GetClassifyTypeByExtension(pszExt, nClassifyType)",
                                                  kHelperClass + "SetAssetNodeClassifyType")));
    structAssetNode tsNode;
    ASSERT_NE(0, fixture.container.FindAssetNode(VOTEXT("dir/a.unknown"), tsNode));
    EXPECT_EQ(-1, tsNode.nClassifyType);
    EXPECT_EQ(VOWString(VOTEXT("Dir|a|unknown")), fixture.Parts(tsNode));
    EXPECT_EQ(AF_SOURCE, tsNode.eAssetFrom);
    EXPECT_EQ(0u, +tsNode.ullFileSize);
    EXPECT_EQ(0u, tsNode.nFileAttribute);
    EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrClassifyName);
    log.Clear();
    fixture.Local(VOTEXT("Dir/a.unknown"), 0, 1);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(LocalNode, AFileWithoutAnExtensionHasNoType)
{
    Fixture fixture;
    fixture.tree.MakeFile("README", 5);
    LogCapture log;
    const structAssetNode tsNode = fixture.Local(VOTEXT("README"), 0);
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(-1, tsNode.nClassifyType);
    EXPECT_EQ(VOWString(VOTEXT("<none>|README|<none>")), fixture.Parts(tsNode));
    EXPECT_EQ(5u, +NodeOf(fixture.container, tsNode.nAssetID).ullFileSize);
}

TEST(LocalNode, AFolderKeepsTheDotsOfItsNameAndHasNoType)
{
    Fixture fixture;
    fixture.tree.MakeFolder("dir/a.b");
    LogCapture log;
    const structAssetNode tsNode = fixture.Local(VOTEXT("dir/a.b"), 1);
    EXPECT_THAT(log.Lines(), IsEmpty());
    EXPECT_EQ(VOWString(VOTEXT("dir|a.b|<none>")), fixture.Parts(tsNode));
    EXPECT_EQ(-1, tsNode.nClassifyType);
    EXPECT_EQ(1, tsNode.bFolder);
    EXPECT_EQ(0x14u, NodeOf(fixture.container, tsNode.nAssetID).nFileAttribute)
        << "the directory attribute isn't carried over";
}

TEST(LocalNode, TheExtensionBeginsAtTheFirstDotOfTheName)
{
    Fixture fixture;
    fixture.tree.MakeFile("a.b", 1);
    fixture.tree.MakeFile("a.b.c", 1);
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|b")), fixture.Parts(fixture.Local(VOTEXT("a.b"), 0)));
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|b.c")), fixture.Parts(fixture.Local(VOTEXT("a.b.c"), 0)));
}

TEST(LocalNode, ANameThatBeginsWithItsOnlyDotHasNoBaseNameAndCannotBeRendered)
{
    Fixture fixture;
    fixture.tree.MakeFile("dir/.x", 1);
    for (const VOWCHAR* pszPath : {VOTEXT(".x"), VOTEXT("dir/.x")})
    {
        const structAssetNode tsNode = fixture.Local(pszPath, 0);
        EXPECT_EQ(INVALID_HANDLE_VALUE, +tsNode.hStrBaseName);
        EXPECT_EQ(VOWString(VOTEXT("x")), fixture.Text(tsNode.hStrExtension));
        EXPECT_EQ(VOWString(VOTEXT("<no path>")), PathOf(fixture.container, tsNode.nAssetID));
    }
}

TEST(LocalNode, ATrailingDotBelongsToTheBaseName)
{
    Fixture fixture;
    const structAssetNode tsNode = fixture.Local(VOTEXT("x."), 0);
    EXPECT_EQ(VOWString(VOTEXT("<none>|x.|<none>")), fixture.Parts(tsNode));
    EXPECT_EQ(-1, tsNode.nClassifyType);
}

TEST(LocalNode, NamesAreCutFromTheNormalisedPathWithItsCase)
{
    Fixture fixture;
    fixture.tree.MakeFile("Dir/Sub/Name.Txt", 3);
    const structAssetNode tsNode = fixture.Local(VOTEXT("Dir\\Sub\\Name.Txt\\"), 0);
    EXPECT_EQ(VOWString(VOTEXT("Dir/Sub|Name|Txt")), fixture.Parts(tsNode));
    EXPECT_EQ(VOWString(VOTEXT("Dir/Sub/Name.Txt")), PathOf(fixture.container, tsNode.nAssetID));
    EXPECT_EQ(3u, +NodeOf(fixture.container, tsNode.nAssetID).ullFileSize);
}

TEST(LocalNode, AFileThatIsNotThereHasTheFlagsOfAWritableOneAndNothingElse)
{
    Fixture fixture;
    const structAssetNode tsNode = fixture.Local(VOTEXT("none.txt"), 0);
    const structAssetNode tsStored = NodeOf(fixture.container, tsNode.nAssetID);
    EXPECT_EQ(0u, +tsStored.ullFileSize);
    EXPECT_EQ(0, +tsStored.ftCreateTime);
    EXPECT_EQ(0, +tsStored.ftLastAccessTime);
    EXPECT_EQ(0, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0x14u, tsStored.nFileAttribute);
}

TEST(LocalNode, APathOutsideTheRootFailsAndEntersNothing)
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("C:/Data"), nullptr);
    structAssetNode tsNode;
    LogCapture log;
    EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, &container, AF_SOURCE, VOTEXT("D:/a"), 0));
    EXPECT_NE(0u, log.Count());
    EXPECT_EQ(0u, container.GetAssetNodeCount());
}

TEST(LocalNode, WithoutARootTheAttributesFailAndTheNodeStays)
{
    VOTSAssetNodeContainer container;
    structAssetNode tsNode;
    LogCapture log;
    EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, &container, AF_SOURCE, VOTEXT("a"), 0));
    EXPECT_TRUE(HasLine(log.Lines(),
                        ProcessError("pszFromDir && *pszFromDir", kHelperClass + "SetAssetNodeLocalFileAttribute")));
    EXPECT_EQ(0u, FoundID(container, VOTEXT("a")));
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
    Fixture fixture;
    structAssetNode tsNode;
    LogCapture log;
    EXPECT_EQ(1, Helper::RequestPakAssetNode(tsNode, &fixture.container, VOTEXT("Pak/A.txt"), CacheNode()));
    EXPECT_THAT(log.Lines(), IsEmpty());
    const structAssetNode tsStored = NodeOf(fixture.container, 0);
    EXPECT_TRUE(SameBytes(BytesOf(tsStored), BytesOf(tsNode))) << "the node is read back";
    EXPECT_EQ(AF_PAKV4, tsStored.eAssetFrom);
    EXPECT_EQ(0u, tsStored.uAssetMerge);
    EXPECT_EQ(0u, tsStored.nAssetID);
    EXPECT_EQ(0x123456789ull, +tsStored.ullFileSize);
    EXPECT_EQ(-1, +tsStored.ftCreateTime);
    EXPECT_EQ(2, +tsStored.ftLastAccessTime);
    EXPECT_EQ(3, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0xFFFFFFFFu, tsStored.nFileAttribute) << "bit 0x10 too";
    EXPECT_EQ(VOWString(VOTEXT("Pak|A|txt")), fixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
}

TEST(PakNode, AFolderOfTheCacheNodeIsAFolder)
{
    Fixture fixture;
    structAssetNode tsCache = CacheNode();
    tsCache.bFolder = 1;
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestPakAssetNode(tsNode, &fixture.container, VOTEXT("Pak/A.d"), tsCache));
    EXPECT_EQ(1, tsNode.bFolder);
    EXPECT_EQ(VOWString(VOTEXT("Pak|A.d|<none>")), fixture.Parts(tsNode));
}

TEST(PakNode, AnUnknownExtensionFailsAfterTheAttributesAreSet)
{
    Fixture fixture;
    structAssetNode tsNode;
    EXPECT_EQ(0, Helper::RequestPakAssetNode(tsNode, &fixture.container, VOTEXT("a.unknown"), CacheNode()));
    EXPECT_EQ(0x123456789ull, +NodeOf(fixture.container, 0).ullFileSize);
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|unknown")), fixture.Parts(NodeOf(fixture.container, 0)));
}

TEST(PakNode, AnExistingNodeIsLeftAsItIs)
{
    Fixture fixture;
    structAssetNode tsNode;
    ASSERT_EQ(1, Helper::RequestHttpFileNode(tsNode, &fixture.container, AF_HTTPFILE_SOURCE, VOTEXT("a.txt"), 0));
    const Bytes vecBefore = BytesOf(NodeOf(fixture.container, 0));
    EXPECT_EQ(1, Helper::RequestPakAssetNode(tsNode, &fixture.container, VOTEXT("a.txt"), CacheNode()));
    EXPECT_EQ(1, Helper::RequestAssetMergeNode(tsNode, &fixture.container, AF_MERGESRC, 6, VOTEXT("a.txt"), 0));
    EXPECT_TRUE(SameBytes(vecBefore, BytesOf(NodeOf(fixture.container, 0))));
}

TEST(HttpNode, HasSourceNamesAndTypeAndNoAttributes)
{
    Fixture fixture;
    fixture.tree.MakeFile("Http/A.txt", 55);
    structAssetNode tsNode;
    EXPECT_EQ(1,
              Helper::RequestHttpFileNode(tsNode, &fixture.container, AF_HTTPFILE_PKG_TARGET, VOTEXT("Http/A.txt"), 0));
    const structAssetNode tsStored = NodeOf(fixture.container, 0);
    EXPECT_TRUE(SameBytes(BytesOf(tsStored), BytesOf(tsNode)));
    EXPECT_EQ(AF_HTTPFILE_PKG_TARGET, tsStored.eAssetFrom);
    EXPECT_EQ(VOWString(VOTEXT("Http|A|txt")), fixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
    EXPECT_EQ(0u, +tsStored.ullFileSize);
    EXPECT_EQ(0, +tsStored.ftLastWriteTime);
    EXPECT_EQ(0u, tsStored.nFileAttribute);
}

TEST(MergeNode, HasItsMergeSignTooAndNoAttributes)
{
    Fixture fixture;
    fixture.tree.MakeFile("Merge/A.txt", 55);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::RequestAssetMergeNode(tsNode, &fixture.container, AF_MERGETARGET, 0x80000005u,
                                               VOTEXT("Merge/A.txt"), 0));
    const structAssetNode tsStored = NodeOf(fixture.container, 0);
    EXPECT_TRUE(SameBytes(BytesOf(tsStored), BytesOf(tsNode)));
    EXPECT_EQ(AF_MERGETARGET, tsStored.eAssetFrom);
    EXPECT_EQ(0x80000005u, tsStored.uAssetMerge);
    EXPECT_EQ(VOWString(VOTEXT("Merge|A|txt")), fixture.Parts(tsStored));
    EXPECT_EQ(7, tsStored.nClassifyType);
    EXPECT_EQ(0u, +tsStored.ullFileSize);
    EXPECT_EQ(0u, tsStored.nFileAttribute);
}

TEST(MergeNode, AnUnknownExtensionFailsAfterSignAndNamesAreSet)
{
    Fixture fixture;
    structAssetNode tsNode;
    EXPECT_EQ(0, Helper::RequestAssetMergeNode(tsNode, &fixture.container, AF_MERGESRC, 4, VOTEXT("a.unknown"), 0));
    const structAssetNode tsStored = NodeOf(fixture.container, 0);
    EXPECT_EQ(4u, tsStored.uAssetMerge);
    EXPECT_EQ(VOWString(VOTEXT("<none>|a|unknown")), fixture.Parts(tsStored));
    EXPECT_EQ(-1, tsStored.nClassifyType);
}

TEST(RequestNodes, ACustomerAndANullContainerAreRefused)
{
    VOTSAssetNodeContainer customer(AR_Customer);
    for (VOTSAssetNodeContainer* pContainer : {&customer, static_cast<VOTSAssetNodeContainer*>(nullptr)})
    {
        structAssetNode tsNode;
        LogCapture log;
        EXPECT_EQ(0, Helper::RequestLocalAssetNode(tsNode, pContainer, AF_SOURCE, VOTEXT("a"), 0));
        EXPECT_EQ(0, Helper::RequestPakAssetNode(tsNode, pContainer, VOTEXT("a"), CacheNode()));
        EXPECT_EQ(0, Helper::RequestHttpFileNode(tsNode, pContainer, AF_SOURCE, VOTEXT("a"), 0));
        EXPECT_EQ(0, Helper::RequestAssetMergeNode(tsNode, pContainer, AF_SOURCE, 1, VOTEXT("a"), 0));
        EXPECT_LE(4u, log.Count());
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// The steps
// ---------------------------------------------------------------------------------------------------------------------

TEST(HelperSteps, TheWrappersReadTheNodeBack)
{
    Fixture fixture;
    const unsigned int uID = NewNode(fixture.container, VOTEXT("a.txt"));
    structAssetNode tsNode = NodeOf(fixture.container, uID);
    EXPECT_EQ(1, Helper::SetAssetNodeAssetFrom(tsNode, &fixture.container, AF_MERGESRC));
    EXPECT_EQ(AF_MERGESRC, tsNode.eAssetFrom);
    EXPECT_EQ(1, Helper::SetAssetNodeAssetMergeSign(tsNode, &fixture.container, 12));
    EXPECT_EQ(12u, tsNode.uAssetMerge);
    EXPECT_EQ(1, Helper::SetAssetNodePhysicsPath(tsNode, &fixture.container, VOTEXT("E:\\Phys")));
    EXPECT_EQ(VOWString(VOTEXT("E:\\Phys")), fixture.Text(tsNode.hStrPhysicsPath));
    EXPECT_EQ(1, Helper::SetAssetNodeStripPath(tsNode, &fixture.container, VOTEXT("D/B.txt")));
    EXPECT_EQ(VOWString(VOTEXT("D|B|txt")), fixture.Parts(tsNode));
    EXPECT_EQ(1, Helper::SetAssetNodeClassifyType(tsNode, &fixture.container));
    EXPECT_EQ(7, tsNode.nClassifyType);
    EXPECT_EQ(1, Helper::SetAssetNodePakFileAttribute(tsNode, &fixture.container, CacheNode()));
    EXPECT_EQ(0x123456789ull, +tsNode.ullFileSize);
    EXPECT_TRUE(SameBytes(BytesOf(NodeOf(fixture.container, uID)), BytesOf(tsNode)));
}

TEST(HelperSteps, EachRefusesANullContainer)
{
    structAssetNode tsNode;
    LogCapture log;
    EXPECT_EQ(0, Helper::SetAssetNodeAssetFrom(tsNode, nullptr, AF_MERGESRC));
    EXPECT_EQ(0, Helper::SetAssetNodeAssetMergeSign(tsNode, nullptr, 12));
    EXPECT_EQ(0, Helper::SetAssetNodePhysicsPath(tsNode, nullptr, VOTEXT("p")));
    EXPECT_EQ(0, Helper::SetAssetNodeStripPath(tsNode, nullptr, VOTEXT("p")));
    EXPECT_EQ(0, Helper::SetAssetNodeClassifyType(tsNode, nullptr));
    EXPECT_EQ(0, Helper::SetAssetNodeLocalFileAttribute(tsNode, nullptr, AF_SOURCE, VOTEXT("p")));
    EXPECT_EQ(0, Helper::SetAssetNodePakFileAttribute(tsNode, nullptr, CacheNode()));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pkContainer", kHelperClass + "SetAssetNodeAssetFrom"),
                                         ProcessError("pkContainer", kHelperClass + "SetAssetNodeAssetMergeSign"),
                                         ProcessError("pkContainer", kHelperClass + "SetAssetNodePhysicsPath"),
                                         ProcessError("pkContainer", kHelperClass + "SetAssetNodeStripPath"),
                                         ProcessError("pkContainer", kHelperClass + "SetAssetNodeClassifyType"),
                                         ProcessError("pkContainer", kHelperClass + "SetAssetNodeLocalFileAttribute"),
                                         ProcessError("pikContainer", kHelperClass + "SetAssetNodePakFileAttribute")));
}

TEST(HelperSteps, TextsThatAreNeededAreChecked)
{
    Fixture fixture;
    NewNode(fixture.container, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(fixture.container, 0);
    for (const VOWCHAR* pszText : {static_cast<const VOWCHAR*>(nullptr), static_cast<const VOWCHAR*>(VOTEXT(""))})
    {
        LogCapture log;
        EXPECT_EQ(0, Helper::SetAssetNodePhysicsPath(tsNode, &fixture.container, pszText));
        EXPECT_EQ(0, Helper::SetAssetNodeStripPath(tsNode, &fixture.container, pszText));
        EXPECT_EQ(0, Helper::SetAssetNodeLocalFileAttribute(tsNode, &fixture.container, AF_SOURCE, pszText));
        EXPECT_THAT(
            log.Lines(),
            ElementsAre(ProcessError("pszPhysicsPath && *pszPhysicsPath", kHelperClass + "SetAssetNodePhysicsPath"),
                        ProcessError("pszPath && *pszPath", kHelperClass + "SetAssetNodeStripPath"),
                        ProcessError("pszPath && *pszPath", kHelperClass + "SetAssetNodeLocalFileAttribute")));
    }
}

TEST(HelperSteps, APathOf260CharactersOrMoreIsNotSplit)
{
    Fixture fixture;
    NewNode(fixture.container, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(fixture.container, 0);
    EXPECT_EQ(1, Helper::SetAssetNodeStripPath(tsNode, &fixture.container, VOWString(259, VOTEXT('n')).c_str()));
    EXPECT_EQ(259u, fixture.Text(tsNode.hStrBaseName).size());
    for (const size_t uLength : {size_t{260}, size_t{261}, size_t{5000}})
    {
        LogCapture log;
        EXPECT_EQ(0,
                  Helper::SetAssetNodeStripPath(tsNode, &fixture.container, VOWString(uLength, VOTEXT('n')).c_str()));
        EXPECT_NE(0u, log.Count());
    }
}

TEST(HelperSteps, TheTypeOfAFolderAndOfANodeWithoutExtensionStaysAsItIs)
{
    Fixture fixture;
    NewNode(fixture.container, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(fixture.container, 0);
    LogCapture log;
    EXPECT_EQ(1, Helper::SetAssetNodeClassifyType(tsNode, &fixture.container));
    EXPECT_EQ(-1, tsNode.nClassifyType);
    ASSERT_NE(0, fixture.container.SetAssetNodeStripPath(0, nullptr, VOTEXT("a"), VOTEXT("txt")));
    ASSERT_NE(0, fixture.container.SetAssetNodeFolder(0, 1));
    tsNode = NodeOf(fixture.container, 0);
    EXPECT_EQ(1, Helper::SetAssetNodeClassifyType(tsNode, &fixture.container));
    EXPECT_EQ(-1, NodeOf(fixture.container, 0).nClassifyType);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(HelperSteps, AnExtensionHandleWithoutATextIsLogged)
{
    Fixture fixture;
    NewNode(fixture.container, VOTEXT("a"));
    structAssetNode tsNode = NodeOf(fixture.container, 0);
    tsNode.hStrExtension = HandleOf(KeyOf(fixture.container, 0));
    LogCapture log;
    EXPECT_EQ(0, Helper::SetAssetNodeClassifyType(tsNode, &fixture.container));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszExt", kHelperClass + "SetAssetNodeClassifyType")));
}

TEST(FileAttribute, OfAFileAreItsSizeTimesAndFlagsAndTheRestIsZeroNotDefault)
{
    TemporaryTree tree;
    tree.MakeFile("a.txt", 4321, 1234567890);
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("a.txt").c_str()));
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
    TemporaryTree tree;
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("none").c_str()));
    EXPECT_EQ(0x14u, tsNode.nFileAttribute);
    tsNode.nFileAttribute = 0;
    EXPECT_TRUE(SameBytes(Bytes(108, 0), BytesOf(tsNode)));
}

TEST(FileAttribute, AReadOnlyFileHasTheOneBitAndNotTheOther)
{
    TemporaryTree tree;
    tree.MakeFile("a.txt", 1);
    tree.MakeReadOnly("a.txt");
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("a.txt").c_str()));
    EXPECT_EQ(0x11u, tsNode.nFileAttribute);
}

TEST(FileAttribute, ASizeOver4GiBIsCutTo32Bits)
{
    TemporaryTree tree;
    tree.MakeFile("large.txt", 1);
    std::error_code error;
    std::filesystem::resize_file(tree.At("large.txt"), 0x100000005ull, error);
    if (error)
    {
        GTEST_SKIP() << "the file system has no room for a sparse file: " << error.message();
    }
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, tree.Path("large.txt").c_str()));
    EXPECT_EQ(5u, +tsNode.ullFileSize);
}

TEST(FileAttribute, NamesWithOtherLettersAreFound)
{
    TemporaryTree tree;
    const std::filesystem::path path = tree.At("x").parent_path() / std::filesystem::path(u"\x4E2D\x00E4.txt");
    std::ofstream(path, std::ios::binary) << "12345";
    structAssetNode tsNode;
    EXPECT_EQ(1, Helper::GetAssetNodeFileAttribute(tsNode, (tree.Root() + VOTEXT("/\x4E2D\x00E4.txt")).c_str()));
    EXPECT_EQ(5u, +tsNode.ullFileSize);
}

TEST(WholeTree, ADirectoryIsIndexedLinkedPublishedAndRead)
{
    Fixture fixture;
    fixture.tree.MakeFile("one.txt", 1);
    fixture.tree.MakeFile("Sub/two.txt", 2);
    fixture.tree.MakeFile("Sub/Deep.er/three.txt", 3);
    // The host's part: walk the directory, link each node to its parent.
    std::vector<std::filesystem::path> vecPaths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(fixture.tree.At("")))
    {
        vecPaths.push_back(entry.path());
    }
    std::sort(vecPaths.begin(), vecPaths.end());
    for (const std::filesystem::path& path : vecPaths)
    {
        const VOWString strPath = Wide(std::filesystem::relative(path, fixture.tree.At("")).generic_string());
        structAssetNode tsNode;
        ASSERT_EQ(1, Helper::RequestLocalAssetNode(tsNode, &fixture.container, AF_SOURCE, strPath.c_str(),
                                                   std::filesystem::is_directory(path) ? 1 : 0));
        WideBuffer<> dir;
        if (Helper::ParseDir(dir.szText, strPath.c_str(), static_cast<int>(strPath.size())) != 0)
        {
            Link(fixture.container, FoundID(fixture.container, dir.szText), tsNode.nAssetID);
        }
    }
    const MisalignedBlock image(ImageOf(fixture.container), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0, image.Size()));
    structAssetNode tsNode;
    ASSERT_NE(0, customer.FindAssetNode(VOTEXT("sub/deep.er/THREE.TXT"), tsNode));
    EXPECT_EQ(3u, +tsNode.ullFileSize);
    EXPECT_EQ(VOWString(VOTEXT("Sub/Deep.er/three.txt")), PathOf(customer, tsNode.nAssetID));
    WideBuffer<> absolute;
    ASSERT_NE(0, customer.GetAssetAbsolutePath(tsNode.nAssetID, MAX_PATH, absolute.szText));
    EXPECT_EQ(fixture.tree.Path("Sub/Deep.er/three.txt"), absolute.Text());
    EXPECT_EQ(FoundID(customer, VOTEXT("sub/deep.er")), tsNode.nParentID);
    EXPECT_EQ(1u, customer.GetInfoNumberCount(NodeOf(customer, FoundID(customer, VOTEXT("Sub"))).nChildFolderInfo));
}

}  // namespace

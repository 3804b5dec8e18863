// The walks of an inspector: all nodes, by merge sign, by a text in the name, by extension.
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

struct Visits
{
    IDs vecIDs;
    size_t uStopAt = ~size_t{0};

    static int Visit(const structAssetNode& tsNode, void* pvParam, int& bStop)
    {
        Visits& visits = *static_cast<Visits*>(pvParam);
        visits.vecIDs.push_back(tsNode.nAssetID);
        bStop = visits.vecIDs.size() >= visits.uStopAt ? 1 : 0;
        return 0;
    }
};

class InspectorWalk : public testing::Test
{
protected:
    void SetUp() override
    {
        m_publisher.Publish(AF_SOURCE, SourceModel());
        m_reader.Load();
    }
    IDs All(unsigned int uID, VOULONG dwType, int bSub) const
    {
        Visits visits;
        EXPECT_EQ(1, m_reader.TraverseAssetNode(uID, dwType, bSub, &Visits::Visit, &visits));
        return visits.vecIDs;
    }
    IDs Merge(unsigned int uID, unsigned int uMask, int bSub) const
    {
        Visits visits;
        EXPECT_EQ(0, m_reader.TraverseAssetNode_AssetMerge(uID, uMask, bSub, &Visits::Visit, &visits));
        return visits.vecIDs;
    }
    IDs Name(const VOWString& strText, int bMatchCase, VOULONG dwType = 3, unsigned int uID = 0, int bSub = 1) const
    {
        Visits visits;
        const votest::PlacedText text(strText);
        EXPECT_EQ(1, m_reader.TraverseAssetNode_FileName(uID, text, bMatchCase, dwType, bSub, &Visits::Visit, &visits));
        return visits.vecIDs;
    }
    IDs Extension(const VOWString& strText, int bMatchCase, unsigned int uID = 0, int bSub = 1) const
    {
        Visits visits;
        const votest::PlacedText text(strText);
        EXPECT_EQ(1, m_reader.TraverseAssetNode_Extension(uID, text, bMatchCase, bSub, &Visits::Visit, &visits));
        return visits.vecIDs;
    }

    Publisher m_publisher;
    ClosingInspector m_reader;
};

TEST_F(InspectorWalk, AllNodesComeInTheOrderOfTheHelpersWalk)
{
    EXPECT_THAT(All(0, 3, 1), ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
    EXPECT_THAT(All(0, 3, 0), ElementsAre(1, 2, 3, 4, 5, 6, 9));
    EXPECT_THAT(All(0, 1, 1), ElementsAre(1, 2, 3, 4, 5, 7, 8));
    EXPECT_THAT(All(0, 2, 1), ElementsAre(6, 9));
    EXPECT_THAT(All(6, 3, 1), ElementsAre(7, 8));
}

TEST_F(InspectorWalk, ABadIdIsLoggedAndStillAWalk)
{
    LogCapture log;
    EXPECT_THAT(All(11, 3, 1), IsEmpty());
    EXPECT_NE(0u, log.Count());
}

TEST_F(InspectorWalk, ANullCallbackIsLoggedAndStillAWalk)
{
    LogCapture log;
    EXPECT_EQ(1, m_reader.TraverseAssetNode(0, 3, 1, nullptr, nullptr));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("pFun", "VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal")));
}

TEST_F(InspectorWalk, TheStopFlagEndsEveryWalk)
{
    for (const size_t uStopAt : {size_t{1}, size_t{2}})
    {
        Visits all, merge, name, extension;
        all.uStopAt = merge.uStopAt = name.uStopAt = extension.uStopAt = uStopAt;
        (void)m_reader.TraverseAssetNode(0, 3, 1, &Visits::Visit, &all);
        (void)m_reader.TraverseAssetNode_AssetMerge(0, 1, 1, &Visits::Visit, &merge);
        (void)m_reader.TraverseAssetNode_FileName(0, VOTEXT("ab"), 0, 3, 1, &Visits::Visit, &name);
        (void)m_reader.TraverseAssetNode_Extension(0, VOTEXT("png"), 0, 1, &Visits::Visit, &extension);
        EXPECT_EQ(uStopAt, all.vecIDs.size());
        EXPECT_EQ(uStopAt, merge.vecIDs.size());
        EXPECT_EQ(uStopAt, name.vecIDs.size());
        EXPECT_EQ(uStopAt, extension.vecIDs.size());
    }
}

TEST_F(InspectorWalk, AListThatSeveralFoldersShareIsWalkedInEachByAllWalks)
{
    // Forty folders with one list of two files.
    ModelContainer model = SourceModel();
    std::vector<unsigned int> vecFolders;
    for (unsigned int uFolder = 0; uFolder < 40; ++uFolder)
    {
        const VOWString strPath = VOTEXT("top/copy") + Wide(std::to_string(uFolder));
        vecFolders.push_back(static_cast<unsigned int>(model.vecNodes.size()));
        model.Add(strPath, true, kNone);
        model.vecNodes.back().uFiles = model.vecNodes[6].uFiles;
    }
    model.vecNodes[0].uFolders = model.numbers.InsertList(vecFolders);
    m_publisher.Publish(AF_SOURCE, model);
    ASSERT_EQ(ET_NONE, m_reader.ReMappingData());
    LogCapture log;
    EXPECT_EQ(5u + 40 * 3, All(0, 3, 1).size());
    EXPECT_EQ(2u + 40, Merge(0, 1, 1).size());
    EXPECT_EQ(1u + 40, Name(VOTEXT("ab"), 0).size());
    EXPECT_EQ(0u, log.Count());
    EXPECT_EQ(1u + 40, Extension(VOTEXT("txt|tga"), 1).size());
    EXPECT_EQ(1u, log.Count()) << "the file without an extension";
}

// ---------------------------------------------------------------------------------------------------------------------
// Merge signs
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(InspectorWalk, ByMergeSignTheFilesWithABitInCommonAreVisitedAndTheResultIsZero)
{
    EXPECT_THAT(Merge(0, 1, 1), ElementsAre(1, 4, 7));
    EXPECT_THAT(Merge(0, 2, 1), ElementsAre(2, 4));
    EXPECT_THAT(Merge(0, 6, 1), ElementsAre(2, 3, 4));
    EXPECT_THAT(Merge(0, 1, 0), ElementsAre(1, 4));
    EXPECT_THAT(Merge(0, 8, 1), IsEmpty());
}

TEST_F(InspectorWalk, AMergeMaskOfZeroMatchesNothing)
{
    EXPECT_THAT(Merge(0, 0, 1), IsEmpty());
}

TEST_F(InspectorWalk, ByMergeSignFoldersAreNeverVisited)
{
    EXPECT_THAT(Merge(0, 0xF0, 1), IsEmpty()) << "only a folder has these bits";
}

// ---------------------------------------------------------------------------------------------------------------------
// File names
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(InspectorWalk, AFileNameMatchesByAPartOfItsBaseName)
{
    EXPECT_THAT(Name(VOTEXT("ab"), 0), ElementsAre(1, 8, 9));
    EXPECT_THAT(Name(VOTEXT("ab"), 1), ElementsAre(8, 9));
    EXPECT_THAT(Name(VOTEXT("AB"), 1), ElementsAre(1));
    EXPECT_THAT(Name(VOTEXT("XABy"), 1), ElementsAre(1));
    EXPECT_THAT(Name(VOTEXT("xabyz"), 0), IsEmpty());
}

TEST_F(InspectorWalk, TheExtensionIsNoPartOfAFileName)
{
    EXPECT_THAT(Name(VOTEXT("png"), 0), IsEmpty());
    EXPECT_THAT(Name(VOTEXT("x.ab"), 0), IsEmpty());
}

TEST_F(InspectorWalk, AFileNameFilterTakesFilesAndFoldersByTheMask)
{
    EXPECT_THAT(Name(VOTEXT("ab"), 0, 1), ElementsAre(1, 8));
    EXPECT_THAT(Name(VOTEXT("ab"), 0, 2), ElementsAre(9));
    EXPECT_THAT(Name(VOTEXT("ab"), 0, 0), IsEmpty());
    EXPECT_THAT(Name(VOTEXT("ab"), 0, 3, 0, 0), ElementsAre(1, 9));
    EXPECT_THAT(Name(VOTEXT("ab"), 0, 3, 6), ElementsAre(8));
}

TEST_F(InspectorWalk, ABarHasNoMeaningInAFileNameFilter)
{
    EXPECT_THAT(Name(VOTEXT("XABy|noext"), 0), IsEmpty());
}

TEST_F(InspectorWalk, AnEmptyFileNameFilterVisitsNothing)
{
    EXPECT_THAT(Name(VOTEXT(""), 0), IsEmpty());
    EXPECT_THAT(Name(VOTEXT(""), 1), IsEmpty());
}

TEST_F(InspectorWalk, ANodeWithoutABaseNameIsLoggedAndTheWalkGoesOn)
{
    ModelContainer model = SourceModel();
    model.vecNodes[1].ullBaseName = kInvalid;
    model.vecNodes[2].ullBaseName = model.vecNodes[7].ullKey;
    m_publisher.Publish(AF_SOURCE, model);
    ASSERT_EQ(ET_NONE, m_reader.OpenMappingData());
    LogCapture log;
    EXPECT_THAT(Name(VOTEXT("o"), 0), ElementsAre(3));
    const std::string strFunction = kInspector + "TraverseAssetNodeInernal_FileName";
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("tsNode.hStrBaseName != INVALID_HANDLE_VALUE", strFunction),
                                         ProcessError("pszAssetNodeName", strFunction)));
}

// ---------------------------------------------------------------------------------------------------------------------
// Extensions
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(InspectorWalk, AnExtensionListMatchesWholeExtensions)
{
    EXPECT_THAT(Extension(VOTEXT("PNG|TGA"), 0), ElementsAre(1, 4, 5, 8));
    EXPECT_THAT(Extension(VOTEXT("PNG|TGA"), 1), ElementsAre(4));
    EXPECT_THAT(Extension(VOTEXT("png"), 1), ElementsAre(1, 8));
    EXPECT_THAT(Extension(VOTEXT("pn|ng|p"), 0), IsEmpty());
    EXPECT_THAT(Extension(VOTEXT("txt|png"), 0, 6), ElementsAre(7, 8));
    EXPECT_THAT(Extension(VOTEXT("txt|png"), 0, 0, 0), ElementsAre(1, 4));
}

TEST_F(InspectorWalk, EmptyEntriesOfAnExtensionListDoNotMatter)
{
    EXPECT_EQ(Extension(VOTEXT("png|tga"), 0), Extension(VOTEXT("png||tga"), 0));
    EXPECT_EQ(Extension(VOTEXT("png|tga"), 0), Extension(VOTEXT("||png|tga||"), 0));
}

TEST_F(InspectorWalk, ATokenThatOccursTwiceVisitsAFileOnce)
{
    EXPECT_THAT(Extension(VOTEXT("tga|TGA|tga"), 0), ElementsAre(5));
}

TEST_F(InspectorWalk, ATokenWithALeadingDotNeverMatches)
{
    EXPECT_THAT(Extension(VOTEXT(".png|.tga"), 0), IsEmpty());
}

TEST_F(InspectorWalk, AListOfSeparatorsAloneMatchesNothingAndIsNoError)
{
    ModelContainer model = SourceModel();
    ASSERT_TRUE(model.Remove(3));
    m_publisher.Publish(AF_SOURCE, model);
    ASSERT_EQ(ET_NONE, m_reader.OpenMappingData());
    LogCapture log;
    EXPECT_THAT(Extension(VOTEXT("|||"), 0), IsEmpty());
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(InspectorWalk, AFileWithoutAnExtensionCostsOneLineAtEachVisit)
{
    LogCapture log;
    (void)Extension(VOTEXT("png"), 0);
    (void)Extension(VOTEXT("png"), 0);
    const std::string strLine =
        ProcessError("tsNode.hStrExtension != INVALID_HANDLE_VALUE", kInspector + "TraverseAssetNodeInernal_Extension");
    EXPECT_THAT(log.Lines(), ElementsAre(strLine, strLine));
}

TEST_F(InspectorWalk, AnExtensionWithoutATextIsLogged)
{
    ModelContainer model = SourceModel();
    model.vecNodes[3].ullExtension = model.vecNodes[7].ullKey;
    m_publisher.Publish(AF_SOURCE, model);
    ASSERT_EQ(ET_NONE, m_reader.OpenMappingData());
    LogCapture log;
    EXPECT_THAT(Extension(VOTEXT("tga"), 0), ElementsAre(5));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pszAssetExt && *pszAssetExt",
                                                      kInspector + "TraverseAssetNodeInernal_Extension")));
}

TEST_F(InspectorWalk, AnEmptyExtensionListIsLoggedAtEachFileWithAnExtensionAndVisitsNothing)
{
    LogCapture log;
    EXPECT_THAT(Extension(VOTEXT(""), 0), IsEmpty());
    const std::string strFunction = kInspector + "TraverseAssetNodeInernal_Extension";
    size_t uEmpty = 0;
    for (const std::string& strLine : log.Lines())
    {
        uEmpty += strLine == ProcessError("pszSourceContext && *pszSourceContext", strFunction) ? 1 : 0;
    }
    EXPECT_EQ(6u, uEmpty);
    EXPECT_EQ(7u, log.Count());
}

TEST_F(InspectorWalk, MissingFilterTextsCountAsEmpty)
{
    Visits visits;
    EXPECT_EQ(1, m_reader.TraverseAssetNode_FileName(0, nullptr, 0, 3, 1, &Visits::Visit, &visits));
    EXPECT_EQ(1, m_reader.TraverseAssetNode_Extension(0, nullptr, 0, 1, &Visits::Visit, &visits));
    EXPECT_THAT(visits.vecIDs, IsEmpty());
}

TEST_F(InspectorWalk, AMissingCallbackIsLoggedAtEachNodeOfAFilteredWalk)
{
    LogCapture log;
    EXPECT_EQ(0, m_reader.TraverseAssetNode_AssetMerge(6, 1, 1, nullptr, nullptr));
    EXPECT_EQ(1, m_reader.TraverseAssetNode_FileName(6, VOTEXT("a"), 0, 3, 1, nullptr, nullptr));
    EXPECT_EQ(1, m_reader.TraverseAssetNode_Extension(6, VOTEXT("png"), 0, 1, nullptr, nullptr));
    const std::string strMerge =
        ProcessError("pvAssetMergeInfo->pTraverseFun", kInspector + "TraverseAssetNodeInernal_AssetMerge");
    const std::string strName =
        ProcessError("pvFileNameInfo->pTraverseFun", kInspector + "TraverseAssetNodeInernal_FileName");
    const std::string strExtension =
        ProcessError("pvExtensionInfo->pTraverseFun", kInspector + "TraverseAssetNodeInernal_Extension");
    EXPECT_THAT(log.Lines(), ElementsAre(strMerge, strMerge, strName, strName, strExtension, strExtension));
}

TEST_F(InspectorWalk, TheCallbacksCheckTheirContext)
{
    LogCapture log;
    structAssetNode tsNode;
    int bStop = 0;
    EXPECT_EQ(0, OpenInspector::TraverseAssetNodeInernal_AssetMerge(tsNode, nullptr, bStop));
    EXPECT_EQ(0, OpenInspector::TraverseAssetNodeInernal_FileName(tsNode, nullptr, bStop));
    EXPECT_EQ(0, OpenInspector::TraverseAssetNodeInernal_Extension(tsNode, nullptr, bStop));
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("pvAssetMergeInfo", kInspector + "TraverseAssetNodeInernal_AssetMerge"),
                            ProcessError("pvFileNameInfo", kInspector + "TraverseAssetNodeInernal_FileName"),
                            ProcessError("pvExtensionInfo", kInspector + "TraverseAssetNodeInernal_Extension")));
}

TEST_F(InspectorWalk, FiltersOf99CharactersAreTakenWhole)
{
    const VOWString strName(99, VOTEXT('n'));
    ModelContainer model = SourceModel();
    model.Add(VOTEXT("top/") + strName + VOTEXT(".png"), false, 0);
    model.Add(VOTEXT("top/") + strName.substr(1) + VOTEXT(".png"), false, 0);
    m_publisher.Publish(AF_SOURCE, model);
    ASSERT_EQ(ET_NONE, m_reader.OpenMappingData());
    EXPECT_THAT(Name(strName, 1), ElementsAre(11));
    const VOWString strList = VOWString(95, VOTEXT('x')) + VOTEXT("|tga");
    ASSERT_EQ(99u, strList.size());
    EXPECT_THAT(Extension(strList, 0), ElementsAre(5));
}

TEST_F(InspectorWalk, LongerFiltersMatchNothingThatTheirBeginningDoesNotMatch)
{
    for (size_t uLength = 100; uLength <= 400; uLength += uLength < 120 ? 1 : 37)
    {
        // At the end of its memory, so that an address sanitizer sees a read behind it.
        EXPECT_THAT(Name(VOWString(uLength, VOTEXT('q')), 0), IsEmpty()) << uLength;
        EXPECT_THAT(Name(VOWString(uLength, VOTEXT('q')), 1), IsEmpty()) << uLength;
        EXPECT_THAT(Extension(VOWString(uLength, VOTEXT('q')), 0), IsEmpty()) << uLength;
        EXPECT_THAT(Extension(VOWString(uLength, VOTEXT('|')), 0), IsEmpty()) << uLength;
    }
    EXPECT_THAT(Name(VOWString(100000, VOTEXT('q')), 0), IsEmpty());
    EXPECT_THAT(Extension(VOWString(100000, VOTEXT('q')), 1), IsEmpty());
}

TEST_F(InspectorWalk, LongerExtensionListsVisitNoOtherFilesThanTheyName)
{
    for (size_t uLength = 100; uLength <= 300; uLength += uLength < 120 ? 1 : 37)
    {
        const VOWString strList = VOTEXT("tga|") + VOWString(uLength - 4, VOTEXT('q'));
        for (const unsigned int uID : Extension(strList, 0))
        {
            EXPECT_EQ(5u, uID) << uLength;
        }
    }
}

TEST_F(InspectorWalk, AfterALongFilterTheNextWalkIsAsBefore)
{
    (void)Name(VOWString(115, VOTEXT('a')), 0);
    (void)Extension(VOWString(115, VOTEXT('a')), 0);
    EXPECT_THAT(Name(VOTEXT("ab"), 0), ElementsAre(1, 8, 9));
    EXPECT_THAT(Extension(VOTEXT("tga"), 0), ElementsAre(5));
}

TEST_F(InspectorWalk, NodesOfACallAreCopies)
{
    struct Keep
    {
        std::vector<structAssetNode> vecNodes;
        static int Visit(const structAssetNode& tsNode, void* pvParam, int&)
        {
            static_cast<Keep*>(pvParam)->vecNodes.push_back(tsNode);
            return 0;
        }
    };
    Keep keep;
    (void)m_reader.TraverseAssetNode_FileName(0, VOTEXT("ab"), 0, 1, 1, &Keep::Visit, &keep);
    ASSERT_EQ(2u, keep.vecNodes.size());
    EXPECT_TRUE(SameBytes(SourceModel().vecNodes[1].Node(), BytesOf(keep.vecNodes[0])));
    EXPECT_TRUE(SameBytes(SourceModel().vecNodes[8].Node(), BytesOf(keep.vecNodes[1])));
}

TEST_F(InspectorWalk, ALongTextIsReadUpToTheAddressesBehindItWhateverThoseAre)
{
    // A bMatchCase whose halves are both other than zero doesn't end the text, and neither do the units behind it,
    // which are the text's own. What follows are addresses.
    VOWString strText(120, VOTEXT('q'));
    strText[102] = VOTEXT('r');
    const VOWString strRead = strText.substr(0, 100) + VOWString(2, 1) + VOTEXT("rq");
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    model.Add(VOTEXT("top/") + strRead + VOTEXT(".x"), false, 0);
    model.Add(VOTEXT("top/name.") + strRead, false, 0);
    model.Add(VOTEXT("top/other.y"), false, 0);
    m_publisher.Publish(AF_SOURCE, model);
    ASSERT_EQ(ET_NONE, m_reader.ReMappingData());
    EXPECT_THAT(Name(strText, 0x00010001), ElementsAre(1));
    EXPECT_THAT(Extension(strText, 0x00010001), ElementsAre(2));
}

}  // namespace

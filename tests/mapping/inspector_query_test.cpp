// The queries of an inspector: what each gives, and which of them the error state guards.
#include <functional>

#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

struct Loaded
{
    Publisher kPublisher;
    ClosingInspector kReader;

    Loaded()
    {
        kPublisher.Publish(AF_SOURCE, SourceModel());
        kReader.Load();
    }
};

// Every guarded query, true when it answered.
struct Query
{
    const char* pszName;
    std::function<bool(const VOTSFileMappingInspector&)> fnAsk;
};

std::vector<Query> GuardedQueries()
{
    return {
        {"NormalizeAssetPath",
         [](const VOTSFileMappingInspector& rk)
         {
             WideBuffer<> kBuffer;
             return rk.NormalizeAssetPath(VOTEXT("C:/Root/a"), MAX_PATH, kBuffer.szText) != 0;
         }},
        {"ReConstructContainer",
         [](const VOTSFileMappingInspector& rk)
         {
             VOTSAssetNodeContainer kTarget;
             return rk.ReConstructContainer(&kTarget) != 0;
         }},
        {"GetAssetNodeCount", [](const VOTSFileMappingInspector& rk) { return rk.GetAssetNodeCount() != 0; }},
        {"GetAssetNode by id",
         [](const VOTSFileMappingInspector& rk)
         {
             structAssetNode tsNode;
             return rk.GetAssetNode(1u, tsNode) != 0;
         }},
        {"GetAssetNode by path", [](const VOTSFileMappingInspector& rk) { return IdOf(rk, VOTEXT("top")) == 0; }},
        {"GetAssetIndexOfParent",
         [](const VOTSFileMappingInspector& rk) { return rk.GetAssetIndexOfParent(4, NT_FILE) != 0; }},
        {"GetAssetChildCount", [](const VOTSFileMappingInspector& rk) { return rk.GetAssetChildCount(0, 3) != 0; }},
        {"GetAssetChildByIndex",
         [](const VOTSFileMappingInspector& rk)
         {
             unsigned int uResult = 0;
             return rk.GetAssetChildByIndex(0, 0, NT_FILE, uResult) != 0;
         }},
        {"GetAssetChildIndexList",
         [](const VOTSFileMappingInspector& rk)
         {
             IDs vecIDs;
             return rk.GetAssetChildIndexList(0, 3, vecIDs) != 0;
         }},
        {"GetString",
         [](const VOTSFileMappingInspector& rk)
         {
             for (unsigned int uHandle = 0; uHandle < 20; ++uHandle)
             {
                 if (rk.GetString(HandleOf(uHandle)) != nullptr)
                 {
                     return true;
                 }
             }
             return false;
         }},
    };
}

std::vector<Query> UnguardedQueries()
{
    return {
        {"GetAssetPath",
         [](const VOTSFileMappingInspector& rk)
         {
             WideBuffer<> kBuffer;
             return rk.GetAssetPath(1, MAX_PATH, kBuffer.szText) != 0;
         }},
        {"GetAssetAbsolutePath",
         [](const VOTSFileMappingInspector& rk)
         {
             WideBuffer<> kBuffer;
             return rk.GetAssetAbsolutePath(1, MAX_PATH, kBuffer.szText) != 0;
         }},
        {"GetAssetRootPath", [](const VOTSFileMappingInspector& rk) { return rk.GetAssetRootPath() != nullptr; }},
        {"GetAssetRootName", [](const VOTSFileMappingInspector& rk) { return rk.GetAssetRootName() != nullptr; }},
        {"GetClassifyTypeByName",
         [](const VOTSFileMappingInspector& rk)
         {
             int nType = 0;
             return rk.GetClassifyTypeByName(VOTEXT("Text"), nType) != 0;
         }},
        {"GetClassifyExtension",
         [](const VOTSFileMappingInspector& rk)
         {
             std::vector<VOWString> vecExtensions;
             return rk.GetClassifyExtension(7, vecExtensions) != 0;
         }},
        {"GetClassifyTypeColor",
         [](const VOTSFileMappingInspector& rk)
         {
             Color kColor;
             return rk.GetClassifyTypeColor(7, kColor) != 0;
         }},
        {"GetClassifyBackgroundColor",
         [](const VOTSFileMappingInspector& rk)
         {
             Color kColor;
             return rk.GetClassifyBackgroundColor(7, kColor) != 0;
         }},
        {"TraverseAssetNode",
         [](const VOTSFileMappingInspector& rk)
         {
             int nVisits = 0;
             rk.TraverseAssetNode(
                 0, 3, 1,
                 [](const structAssetNode&, void* pvParam, int&)
                 {
                     ++*static_cast<int*>(pvParam);
                     return 0;
                 },
                 &nVisits);
             return nVisits != 0;
         }},
    };
}

TEST(InspectorGuard, OnACurrentImageEveryQueryAnswers)
{
    Loaded kLoaded;
    for (const Query& rkQuery : GuardedQueries())
    {
        EXPECT_TRUE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
    for (const Query& rkQuery : UnguardedQueries())
    {
        EXPECT_TRUE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
}

TEST(InspectorGuard, AsynchronousAnOutdatedImageStillAnswersEverything)
{
    Loaded kLoaded;
    kLoaded.kPublisher.SetCount(AF_SOURCE, 999);
    for (const Query& rkQuery : GuardedQueries())
    {
        EXPECT_TRUE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
}

TEST(InspectorGuard, SynchronousAnOutdatedImageFailsTheGuardedQueriesInSilenceAndNoOthers)
{
    Loaded kLoaded;
    kLoaded.kReader.SetInspectMode(SM_SYNC);
    kLoaded.kPublisher.SetCount(AF_SOURCE, 999);
    LogCapture kLog;
    for (const Query& rkQuery : GuardedQueries())
    {
        EXPECT_FALSE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
    EXPECT_THAT(kLog.Lines(), IsEmpty());
    for (const Query& rkQuery : UnguardedQueries())
    {
        EXPECT_TRUE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
    ASSERT_EQ(ET_NONE, kLoaded.kReader.ReMappingData());
    for (const Query& rkQuery : GuardedQueries())
    {
        EXPECT_TRUE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
}

TEST(InspectorGuard, WithoutAnImageNothingIsFound)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    for (const bool bState : {false, true})
    {
        if (bState)
        {
            ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
        }
        LogCapture kLog;
        for (const Query& rkQuery : GuardedQueries())
        {
            EXPECT_FALSE(rkQuery.fnAsk(kReader)) << rkQuery.pszName;
        }
        EXPECT_THAT(kLog.Lines(), IsEmpty());
        for (const Query& rkQuery : UnguardedQueries())
        {
            EXPECT_FALSE(rkQuery.fnAsk(kReader)) << rkQuery.pszName;
        }
    }
}

TEST(InspectorGuard, AfterAnImageWasDroppedNothingIsFound)
{
    Loaded kLoaded;
    ASSERT_EQ(1, kLoaded.kReader.CloseMapping());
    for (const Query& rkQuery : GuardedQueries())
    {
        EXPECT_FALSE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
    for (const Query& rkQuery : UnguardedQueries())
    {
        EXPECT_FALSE(rkQuery.fnAsk(kLoaded.kReader)) << rkQuery.pszName;
    }
}

TEST(InspectorQuery, NodesAreGivenByIdAndByPath)
{
    Loaded kLoaded;
    ModelContainer kModel = SourceModel();
    kModel.MakeRootStrings();
    EXPECT_EQ(11u, kLoaded.kReader.GetAssetNodeCount()) << "removed ones included";
    for (unsigned int uID = 0; uID < 11; ++uID)
    {
        structAssetNode tsNode;
        ASSERT_NE(0, kLoaded.kReader.GetAssetNode(uID, tsNode));
        EXPECT_TRUE(SameBytes(kModel.vecNodes[uID].Node(), BytesOf(tsNode)));
    }
    EXPECT_EQ(8u, IdOf(kLoaded.kReader, VOTEXT("TOP\\D1\\XAB2.png")));
    EXPECT_EQ(8u, IdOf(kLoaded.kReader, VOTEXT("c:\\root\\top\\d1\\xab2.png")));
    LogCapture kLog;
    EXPECT_EQ(kNone, IdOf(kLoaded.kReader, VOTEXT("top/gone.png")));
    EXPECT_EQ(kNone, IdOf(kLoaded.kReader, VOTEXT("none")));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorQuery, APathComesOutRelativeWithItsCase)
{
    Loaded kLoaded;
    WideBuffer<> kBuffer;
    EXPECT_NE(0, kLoaded.kReader.NormalizeAssetPath(VOTEXT("c:\\ROOT\\Top\\File\\"), MAX_PATH, kBuffer.szText));
    EXPECT_EQ(VOWString(VOTEXT("Top/File")), kBuffer.Text());
    WideBuffer<5> kSmall;
    EXPECT_NE(0, kLoaded.kReader.NormalizeAssetPath(VOTEXT("abcdefgh"), 5, kSmall.szText));
    EXPECT_EQ(VOWString(VOTEXT("abcd")), kSmall.Text());
    EXPECT_TRUE(kSmall.InBounds());
}

TEST(InspectorQuery, PathsAndRootAreRendered)
{
    Loaded kLoaded;
    WideBuffer<> kRelative, kAbsolute;
    EXPECT_NE(0, kLoaded.kReader.GetAssetPath(7, MAX_PATH, kRelative.szText));
    EXPECT_EQ(VOWString(VOTEXT("top/d1/inner.txt")), kRelative.Text());
    EXPECT_NE(0, kLoaded.kReader.GetAssetAbsolutePath(7, MAX_PATH, kAbsolute.szText));
    EXPECT_EQ(VOWString(VOTEXT("C:/Root/top/d1/inner.txt")), kAbsolute.Text());
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(kLoaded.kReader.GetAssetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Root Name")), ReadText(kLoaded.kReader.GetAssetRootName()));
}

TEST(InspectorQuery, TheRootsIndexInItsParentIsZeroInSilence)
{
    Loaded kLoaded;
    LogCapture kLog;
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(0, NT_FOLDER));
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(0, NT_FILE));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorQuery, TheIndexInAParentIsThePositionAmongItsKind)
{
    Loaded kLoaded;
    LogCapture kLog;
    for (const unsigned int uID : {1u, 2u, 3u, 4u, 5u})
    {
        EXPECT_EQ(uID - 1, kLoaded.kReader.GetAssetIndexOfParent(uID, NT_FILE));
    }
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(6, NT_FOLDER));
    EXPECT_EQ(1u, kLoaded.kReader.GetAssetIndexOfParent(9, NT_FOLDER));
    EXPECT_EQ(1u, kLoaded.kReader.GetAssetIndexOfParent(8, NT_FILE));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorQuery, TheIndexInAParentOfTheWrongKindIsLogged)
{
    Loaded kLoaded;
    const std::string strMiss = ProcessError("cIter != vecIndex.end()", kInspector + "GetAssetIndexOfParent");
    LogCapture kLog;
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(2, NT_FOLDER));
    EXPECT_THAT(kLog.Lines(), ElementsAre(strMiss));
    kLog.Clear();
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(10, NT_FILE)) << "a removed child is in no list";
    EXPECT_THAT(kLog.Lines(), ElementsAre(strMiss));
}

TEST(InspectorQuery, TheIndexInAParentFailsForABadIdAndForANodeTypeWithoutAList)
{
    Loaded kLoaded;
    LogCapture kLog;
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(11, NT_FILE));
    EXPECT_NE(0u, kLog.Count());
    kLog.Clear();
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetIndexOfParent(4, static_cast<NodeType>(3)));
    EXPECT_NE(0u, kLog.Count());
}

TEST(InspectorQuery, AParentOrAListThatIsNotThereIsLogged)
{
    ModelContainer kModel = SourceModel();
    kModel.vecNodes[1].uParent = 500;
    kModel.vecNodes[9].uFiles = 12345;
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, kModel);
    ClosingInspector kReader;
    kReader.Load();
    LogCapture kLog;
    EXPECT_EQ(0u, kReader.GetAssetIndexOfParent(1, NT_FILE));
    EXPECT_TRUE(HasText(kLog.Lines(), kInspector + "GetAssetIndexOfParent\n"));
    kLog.Clear();
    EXPECT_EQ(0u, kReader.GetAssetChildCount(9, 3));
    EXPECT_NE(0u, kLog.Count());
    kLog.Clear();
    IDs vecIDs;
    EXPECT_EQ(1, kReader.GetAssetChildIndexList(9, 3, vecIDs));
    EXPECT_THAT(vecIDs, IsEmpty());
    EXPECT_NE(0u, kLog.Count());
}

TEST(InspectorQuery, TheListOfChildrenGoesOnWithTheFoldersWhereTheFilesCannotBeRead)
{
    ModelContainer kModel = SourceModel();
    kModel.vecNodes[0].uFiles = 12345;
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, kModel);
    ClosingInspector kReader;
    kReader.Load();
    LogCapture kLog;
    IDs vecIDs;
    EXPECT_EQ(1, kReader.GetAssetChildIndexList(0, 3, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(6, 9));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()",
                                                       "VOTSAssetNodeContainer::GetInfoNumberList")));
}

TEST(InspectorQuery, ChildrenAreCountedByKind)
{
    Loaded kLoaded;
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetChildCount(0, 0));
    EXPECT_EQ(5u, kLoaded.kReader.GetAssetChildCount(0, 1));
    EXPECT_EQ(2u, kLoaded.kReader.GetAssetChildCount(0, 2));
    EXPECT_EQ(7u, kLoaded.kReader.GetAssetChildCount(0, 3));
    EXPECT_EQ(7u, kLoaded.kReader.GetAssetChildCount(0, 0xFFFFFFFFu));
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetChildCount(0, 4));
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetChildCount(9, 3));
    LogCapture kLog;
    EXPECT_EQ(0u, kLoaded.kReader.GetAssetChildCount(11, 3));
    EXPECT_NE(0u, kLog.Count());
}

TEST(InspectorQuery, AChildByIndexAnswersForTheNodeEvenWhereThereIsNoChild)
{
    Loaded kLoaded;
    unsigned int uResult = 77;
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildByIndex(0, 3, NT_FILE, uResult));
    EXPECT_EQ(4u, uResult);
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildByIndex(0, 1, NT_FOLDER, uResult));
    EXPECT_EQ(9u, uResult);
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildByIndex(0, 5, NT_FILE, uResult));
    EXPECT_EQ(kNone, uResult);
    uResult = 77;
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildByIndex(9, 0, NT_FILE, uResult));
    EXPECT_EQ(kNone, uResult);
    for (const int nType : {0, 3, 4, -1})
    {
        uResult = 77;
        EXPECT_EQ(1, kLoaded.kReader.GetAssetChildByIndex(0, 0, static_cast<NodeType>(nType), uResult));
        EXPECT_EQ(kNone, uResult) << nType;
    }
    uResult = 77;
    EXPECT_EQ(0, kLoaded.kReader.GetAssetChildByIndex(11, 0, NT_FILE, uResult));
    EXPECT_EQ(77u, uResult);
}

TEST(InspectorQuery, TheListOfChildrenAppendsFilesBeforeFolders)
{
    Loaded kLoaded;
    IDs vecIDs = {500, 400};
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildIndexList(0, 3, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(500, 400, 1, 2, 3, 4, 5, 6, 9));
    vecIDs.clear();
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildIndexList(0, 2, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(6, 9));
    vecIDs.clear();
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildIndexList(0, 1, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(1, 2, 3, 4, 5));
    vecIDs.clear();
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildIndexList(0, 0, vecIDs));
    EXPECT_EQ(1, kLoaded.kReader.GetAssetChildIndexList(9, 3, vecIDs));
    EXPECT_EQ(0, kLoaded.kReader.GetAssetChildIndexList(11, 3, vecIDs));
    EXPECT_THAT(vecIDs, IsEmpty());
}

TEST(InspectorQuery, HandlesThatAreOutOfRangeOrNotLiveHaveNoText)
{
    Loaded kLoaded;
    structAssetNode tsNode;
    ASSERT_NE(0, kLoaded.kReader.GetAssetNode(1u, tsNode));
    EXPECT_EQ(VOWString(VOTEXT("XABy")), ReadText(kLoaded.kReader.GetString(tsNode.hStrBaseName)));
    LogCapture kLog;
    EXPECT_EQ(nullptr, kLoaded.kReader.GetString(HandleOf(SourceModel().vecNodes[7].ullKey))) << "a key";
    EXPECT_EQ(nullptr, kLoaded.kReader.GetString(HandleOf(100000)));
    EXPECT_EQ(nullptr, kLoaded.kReader.GetString(INVALID_HANDLE_VALUE));
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(InspectorQuery, TheExtensionsOfATypeAreAppendedOneByOne)
{
    Loaded kLoaded;
    std::vector<VOWString> vecExtensions = {VOTEXT("old")};
    EXPECT_EQ(1, kLoaded.kReader.GetClassifyExtension(7, vecExtensions));
    EXPECT_THAT(vecExtensions, ElementsAre(VOTEXT("old"), VOTEXT("png"), VOTEXT("TGA"), VOTEXT("dds")));
}

TEST(InspectorQuery, EmptyEntriesOfAnExtensionListAreLeftOut)
{
    ModelContainer kModel = SourceModel();
    kModel.vecTypes[0].strExtensions = VOTEXT("|png|| tga |");
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, kModel);
    ClosingInspector kReader;
    kReader.Load();
    std::vector<VOWString> vecExtensions;
    EXPECT_EQ(1, kReader.GetClassifyExtension(7, vecExtensions));
    EXPECT_THAT(vecExtensions, ElementsAre(VOTEXT("png"), VOTEXT(" tga ")));
}

TEST(InspectorQuery, TheExtensionsOfAnUnknownTypeAreLogged)
{
    Loaded kLoaded;
    LogCapture kLog;
    std::vector<VOWString> vecExtensions;
    EXPECT_EQ(0, kLoaded.kReader.GetClassifyExtension(123, vecExtensions));
    EXPECT_THAT(vecExtensions, IsEmpty());
    EXPECT_THAT(kLog.Lines(),
                ElementsAre(ProcessError("m_pkAssetNodeContainer->GetClassifyExtensions(nClassifyType, szTmp)",
                                         kInspector + "GetClassifyExtension")));
}

TEST(InspectorQuery, TypesAndColoursComeFromTheImage)
{
    Loaded kLoaded;
    int nType = 0;
    EXPECT_NE(0, kLoaded.kReader.GetClassifyTypeByName(VOTEXT("TEXTURE"), nType));
    EXPECT_EQ(7, nType);
    Color kColor;
    EXPECT_NE(0, kLoaded.kReader.GetClassifyTypeColor(7, kColor));
    EXPECT_EQ(0x01020304u, kColor.uValue);
    EXPECT_NE(0, kLoaded.kReader.GetClassifyBackgroundColor(7, kColor));
    EXPECT_EQ(0x05060708u, kColor.uValue);
    EXPECT_EQ(0, kLoaded.kReader.GetClassifyTypeColor(8, kColor));
}

TEST(InspectorQuery, AnEmptyContainerForTheSameRootCanBeMade)
{
    Loaded kLoaded;
    VOTSAssetNodeContainer kTarget;
    EXPECT_NE(0, kLoaded.kReader.ReConstructContainer(&kTarget));
    ASSERT_EQ(1, kLoaded.kReader.CloseMapping());
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(kTarget.GetRootPath()));
    int nType = 0;
    EXPECT_NE(0, kTarget.GetClassifyTypeByExtension(VOTEXT("tga"), nType));
    EXPECT_EQ(7, nType);
    EXPECT_EQ(0u, NewNode(kTarget, VOTEXT("C:/Root/new")));
}

}  // namespace

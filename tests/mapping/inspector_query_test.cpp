// The queries of an inspector: what each gives, and which of them the error state guards.
#include <functional>

#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

struct Loaded
{
    Publisher publisher;
    ClosingInspector reader;

    Loaded()
    {
        publisher.Publish(AF_SOURCE, SourceModel());
        reader.Load();
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
             WideBuffer<> buffer;
             return rk.NormalizeAssetPath(VOTEXT("C:/Root/a"), MAX_PATH, buffer.szText) != 0;
         }},
        {"ReConstructContainer",
         [](const VOTSFileMappingInspector& rk)
         {
             VOTSAssetNodeContainer target;
             return rk.ReConstructContainer(&target) != 0;
         }},
        {"GetAssetNodeCount", [](const VOTSFileMappingInspector& rk) { return rk.GetAssetNodeCount() != 0; }},
        {"GetAssetNode by id",
         [](const VOTSFileMappingInspector& rk)
         {
             structAssetNode tsNode;
             return rk.GetAssetNode(1u, tsNode) != 0;
         }},
        {"GetAssetNode by path", [](const VOTSFileMappingInspector& rk) { return IdOf(rk, VOTEXT("top")) == 0; }},
        {"GetAssetNodes",
         [](const VOTSFileMappingInspector& rk)
         {
             const VOWCHAR* const apszPath[] = {VOTEXT("top"), VOTEXT("none"), VOTEXT("Top\\D1")};
             structAssetNode aNode[3];
             int abFound[3] = {7, 7, 7};
             const unsigned int uFound = rk.GetAssetNodes(apszPath, 3, aNode, abFound);
             EXPECT_THAT(abFound, uFound == 2 ? ElementsAre(1, 0, 1) : ElementsAre(0, 0, 0));
             EXPECT_TRUE(uFound == 0 ||
                         (aNode[0].nAssetID == 0 && aNode[1].nAssetID == kNone && aNode[2].nAssetID == 6));
             return uFound == 2;
         }},
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
             WideBuffer<> buffer;
             return rk.GetAssetPath(1, MAX_PATH, buffer.szText) != 0;
         }},
        {"GetAssetAbsolutePath",
         [](const VOTSFileMappingInspector& rk)
         {
             WideBuffer<> buffer;
             return rk.GetAssetAbsolutePath(1, MAX_PATH, buffer.szText) != 0;
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
             Color color;
             return rk.GetClassifyTypeColor(7, color) != 0;
         }},
        {"GetClassifyBackgroundColor",
         [](const VOTSFileMappingInspector& rk)
         {
             Color color;
             return rk.GetClassifyBackgroundColor(7, color) != 0;
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
    Loaded loaded;
    for (const Query& query : GuardedQueries())
    {
        EXPECT_TRUE(query.fnAsk(loaded.reader)) << query.pszName;
    }
    for (const Query& query : UnguardedQueries())
    {
        EXPECT_TRUE(query.fnAsk(loaded.reader)) << query.pszName;
    }
}

TEST(InspectorGuard, AsynchronousAnOutdatedImageStillAnswersEverything)
{
    Loaded loaded;
    loaded.publisher.SetCount(AF_SOURCE, 999);
    for (const Query& query : GuardedQueries())
    {
        EXPECT_TRUE(query.fnAsk(loaded.reader)) << query.pszName;
    }
}

TEST(InspectorGuard, SynchronousAnOutdatedImageFailsTheGuardedQueriesInSilenceAndNoOthers)
{
    Loaded loaded;
    loaded.reader.SetInspectMode(SM_SYNC);
    loaded.publisher.SetCount(AF_SOURCE, 999);
    LogCapture log;
    for (const Query& query : GuardedQueries())
    {
        EXPECT_FALSE(query.fnAsk(loaded.reader)) << query.pszName;
    }
    EXPECT_THAT(log.Lines(), IsEmpty());
    for (const Query& query : UnguardedQueries())
    {
        EXPECT_TRUE(query.fnAsk(loaded.reader)) << query.pszName;
    }
    ASSERT_EQ(ET_NONE, loaded.reader.ReMappingData());
    for (const Query& query : GuardedQueries())
    {
        EXPECT_TRUE(query.fnAsk(loaded.reader)) << query.pszName;
    }
}

TEST(InspectorGuard, WithoutAnImageNothingIsFound)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    for (const bool bState : {false, true})
    {
        if (bState)
        {
            ASSERT_EQ(ET_NONE, reader.OpenMappingState());
        }
        LogCapture log;
        for (const Query& query : GuardedQueries())
        {
            EXPECT_FALSE(query.fnAsk(reader)) << query.pszName;
        }
        EXPECT_THAT(log.Lines(), IsEmpty());
        for (const Query& query : UnguardedQueries())
        {
            EXPECT_FALSE(query.fnAsk(reader)) << query.pszName;
        }
    }
}

TEST(InspectorGuard, AfterAnImageWasDroppedNothingIsFound)
{
    Loaded loaded;
    ASSERT_EQ(1, loaded.reader.CloseMapping());
    for (const Query& query : GuardedQueries())
    {
        EXPECT_FALSE(query.fnAsk(loaded.reader)) << query.pszName;
    }
    for (const Query& query : UnguardedQueries())
    {
        EXPECT_FALSE(query.fnAsk(loaded.reader)) << query.pszName;
    }
}

TEST(InspectorQuery, NodesAreGivenByIdAndByPath)
{
    Loaded loaded;
    ModelContainer model = SourceModel();
    model.MakeRootStrings();
    EXPECT_EQ(11u, loaded.reader.GetAssetNodeCount()) << "removed ones included";
    for (unsigned int uID = 0; uID < 11; ++uID)
    {
        structAssetNode tsNode;
        ASSERT_NE(0, loaded.reader.GetAssetNode(uID, tsNode));
        EXPECT_TRUE(SameBytes(model.vecNodes[uID].Node(), BytesOf(tsNode)));
    }
    EXPECT_EQ(8u, IdOf(loaded.reader, VOTEXT("TOP\\D1\\XAB2.png")));
    EXPECT_EQ(8u, IdOf(loaded.reader, VOTEXT("c:\\root\\top\\d1\\xab2.png")));
    LogCapture log;
    EXPECT_EQ(kNone, IdOf(loaded.reader, VOTEXT("top/gone.png")));
    EXPECT_EQ(kNone, IdOf(loaded.reader, VOTEXT("none")));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorQuery, APathComesOutRelativeWithItsCase)
{
    Loaded loaded;
    WideBuffer<> buffer;
    EXPECT_NE(0, loaded.reader.NormalizeAssetPath(VOTEXT("c:\\ROOT\\Top\\File\\"), MAX_PATH, buffer.szText));
    EXPECT_EQ(VOWString(VOTEXT("Top/File")), buffer.Text());
    WideBuffer<5> cut;
    EXPECT_NE(0, loaded.reader.NormalizeAssetPath(VOTEXT("abcdefgh"), 5, cut.szText));
    EXPECT_EQ(VOWString(VOTEXT("abcd")), cut.Text());
    EXPECT_TRUE(cut.InBounds());
}

TEST(InspectorQuery, PathsAndRootAreRendered)
{
    Loaded loaded;
    WideBuffer<> relative, absolute;
    EXPECT_NE(0, loaded.reader.GetAssetPath(7, MAX_PATH, relative.szText));
    EXPECT_EQ(VOWString(VOTEXT("top/d1/inner.txt")), relative.Text());
    EXPECT_NE(0, loaded.reader.GetAssetAbsolutePath(7, MAX_PATH, absolute.szText));
    EXPECT_EQ(VOWString(VOTEXT("C:/Root/top/d1/inner.txt")), absolute.Text());
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(loaded.reader.GetAssetRootPath()));
    EXPECT_EQ(VOWString(VOTEXT("Root Name")), ReadText(loaded.reader.GetAssetRootName()));
}

TEST(InspectorQuery, TheRootsIndexInItsParentIsZeroInSilence)
{
    Loaded loaded;
    LogCapture log;
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(0, NT_FOLDER));
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(0, NT_FILE));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorQuery, TheIndexInAParentIsThePositionAmongItsKind)
{
    Loaded loaded;
    LogCapture log;
    for (const unsigned int uID : {1u, 2u, 3u, 4u, 5u})
    {
        EXPECT_EQ(uID - 1, loaded.reader.GetAssetIndexOfParent(uID, NT_FILE));
    }
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(6, NT_FOLDER));
    EXPECT_EQ(1u, loaded.reader.GetAssetIndexOfParent(9, NT_FOLDER));
    EXPECT_EQ(1u, loaded.reader.GetAssetIndexOfParent(8, NT_FILE));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorQuery, TheIndexInAParentOfTheWrongKindIsLogged)
{
    Loaded loaded;
    const std::string strMiss = ProcessError("cIter != vecIndex.end()", kInspector + "GetAssetIndexOfParent");
    LogCapture log;
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(2, NT_FOLDER));
    EXPECT_THAT(log.Lines(), ElementsAre(strMiss));
    log.Clear();
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(10, NT_FILE)) << "a removed child is in no list";
    EXPECT_THAT(log.Lines(), ElementsAre(strMiss));
}

TEST(InspectorQuery, TheIndexInAParentFailsForABadIdAndForANodeTypeWithoutAList)
{
    Loaded loaded;
    LogCapture log;
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(11, NT_FILE));
    EXPECT_NE(0u, log.Count());
    log.Clear();
    EXPECT_EQ(0u, loaded.reader.GetAssetIndexOfParent(4, static_cast<NodeType>(3)));
    EXPECT_NE(0u, log.Count());
}

TEST(InspectorQuery, AParentOrAListThatIsNotThereIsLogged)
{
    ModelContainer model = SourceModel();
    model.vecNodes[1].uParent = 500;
    model.vecNodes[9].uFiles = 12345;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, model);
    ClosingInspector reader;
    reader.Load();
    LogCapture log;
    EXPECT_EQ(0u, reader.GetAssetIndexOfParent(1, NT_FILE));
    EXPECT_TRUE(HasText(log.Lines(), kInspector + "GetAssetIndexOfParent\n"));
    log.Clear();
    EXPECT_EQ(0u, reader.GetAssetChildCount(9, 3));
    EXPECT_NE(0u, log.Count());
    log.Clear();
    IDs vecIDs;
    EXPECT_EQ(1, reader.GetAssetChildIndexList(9, 3, vecIDs));
    EXPECT_THAT(vecIDs, IsEmpty());
    EXPECT_NE(0u, log.Count());
}

TEST(InspectorQuery, TheListOfChildrenGoesOnWithTheFoldersWhereTheFilesCannotBeRead)
{
    ModelContainer model = SourceModel();
    model.vecNodes[0].uFiles = 12345;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, model);
    ClosingInspector reader;
    reader.Load();
    LogCapture log;
    IDs vecIDs;
    EXPECT_EQ(1, reader.GetAssetChildIndexList(0, 3, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(6, 9));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()",
                                                      "VOTSAssetNodeContainer::GetInfoNumberList")));
}

TEST(InspectorQuery, ChildrenAreCountedByKind)
{
    Loaded loaded;
    EXPECT_EQ(0u, loaded.reader.GetAssetChildCount(0, 0));
    EXPECT_EQ(5u, loaded.reader.GetAssetChildCount(0, 1));
    EXPECT_EQ(2u, loaded.reader.GetAssetChildCount(0, 2));
    EXPECT_EQ(7u, loaded.reader.GetAssetChildCount(0, 3));
    EXPECT_EQ(7u, loaded.reader.GetAssetChildCount(0, 0xFFFFFFFFu));
    EXPECT_EQ(0u, loaded.reader.GetAssetChildCount(0, 4));
    EXPECT_EQ(0u, loaded.reader.GetAssetChildCount(9, 3));
    LogCapture log;
    EXPECT_EQ(0u, loaded.reader.GetAssetChildCount(11, 3));
    EXPECT_NE(0u, log.Count());
}

TEST(InspectorQuery, AChildByIndexAnswersForTheNodeEvenWhereThereIsNoChild)
{
    Loaded loaded;
    unsigned int uResult = 77;
    EXPECT_EQ(1, loaded.reader.GetAssetChildByIndex(0, 3, NT_FILE, uResult));
    EXPECT_EQ(4u, uResult);
    EXPECT_EQ(1, loaded.reader.GetAssetChildByIndex(0, 1, NT_FOLDER, uResult));
    EXPECT_EQ(9u, uResult);
    EXPECT_EQ(1, loaded.reader.GetAssetChildByIndex(0, 5, NT_FILE, uResult));
    EXPECT_EQ(kNone, uResult);
    uResult = 77;
    EXPECT_EQ(1, loaded.reader.GetAssetChildByIndex(9, 0, NT_FILE, uResult));
    EXPECT_EQ(kNone, uResult);
    for (const int nType : {0, 3, 4, -1})
    {
        uResult = 77;
        EXPECT_EQ(1, loaded.reader.GetAssetChildByIndex(0, 0, static_cast<NodeType>(nType), uResult));
        EXPECT_EQ(kNone, uResult) << nType;
    }
    uResult = 77;
    EXPECT_EQ(0, loaded.reader.GetAssetChildByIndex(11, 0, NT_FILE, uResult));
    EXPECT_EQ(77u, uResult);
}

TEST(InspectorQuery, TheListOfChildrenAppendsFilesBeforeFolders)
{
    Loaded loaded;
    IDs vecIDs = {500, 400};
    EXPECT_EQ(1, loaded.reader.GetAssetChildIndexList(0, 3, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(500, 400, 1, 2, 3, 4, 5, 6, 9));
    vecIDs.clear();
    EXPECT_EQ(1, loaded.reader.GetAssetChildIndexList(0, 2, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(6, 9));
    vecIDs.clear();
    EXPECT_EQ(1, loaded.reader.GetAssetChildIndexList(0, 1, vecIDs));
    EXPECT_THAT(vecIDs, ElementsAre(1, 2, 3, 4, 5));
    vecIDs.clear();
    EXPECT_EQ(1, loaded.reader.GetAssetChildIndexList(0, 0, vecIDs));
    EXPECT_EQ(1, loaded.reader.GetAssetChildIndexList(9, 3, vecIDs));
    EXPECT_EQ(0, loaded.reader.GetAssetChildIndexList(11, 3, vecIDs));
    EXPECT_THAT(vecIDs, IsEmpty());
}

TEST(InspectorQuery, HandlesThatAreOutOfRangeOrNotLiveHaveNoText)
{
    Loaded loaded;
    structAssetNode tsNode;
    ASSERT_NE(0, loaded.reader.GetAssetNode(1u, tsNode));
    EXPECT_EQ(VOWString(VOTEXT("XABy")), ReadText(loaded.reader.GetString(tsNode.hStrBaseName)));
    LogCapture log;
    EXPECT_EQ(nullptr, loaded.reader.GetString(HandleOf(SourceModel().vecNodes[7].ullKey))) << "a key";
    EXPECT_EQ(nullptr, loaded.reader.GetString(HandleOf(100000)));
    EXPECT_EQ(nullptr, loaded.reader.GetString(INVALID_HANDLE_VALUE));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(InspectorQuery, TheExtensionsOfATypeAreAppendedOneByOne)
{
    Loaded loaded;
    std::vector<VOWString> vecExtensions = {VOTEXT("old")};
    EXPECT_EQ(1, loaded.reader.GetClassifyExtension(7, vecExtensions));
    EXPECT_THAT(vecExtensions, ElementsAre(VOTEXT("old"), VOTEXT("png"), VOTEXT("TGA"), VOTEXT("dds")));
}

TEST(InspectorQuery, EmptyEntriesOfAnExtensionListAreLeftOut)
{
    ModelContainer model = SourceModel();
    model.vecTypes[0].strExtensions = VOTEXT("|png|| tga |");
    Publisher publisher;
    publisher.Publish(AF_SOURCE, model);
    ClosingInspector reader;
    reader.Load();
    std::vector<VOWString> vecExtensions;
    EXPECT_EQ(1, reader.GetClassifyExtension(7, vecExtensions));
    EXPECT_THAT(vecExtensions, ElementsAre(VOTEXT("png"), VOTEXT(" tga ")));
}

TEST(InspectorQuery, TheExtensionsOfAnUnknownTypeAreLogged)
{
    Loaded loaded;
    LogCapture log;
    std::vector<VOWString> vecExtensions;
    EXPECT_EQ(0, loaded.reader.GetClassifyExtension(123, vecExtensions));
    EXPECT_THAT(vecExtensions, IsEmpty());
    EXPECT_THAT(log.Lines(),
                ElementsAre(ProcessError("m_pkAssetNodeContainer->GetClassifyExtensions(nClassifyType, szTmp)",
                                         kInspector + "GetClassifyExtension")));
}

TEST(InspectorQuery, TypesAndColoursComeFromTheImage)
{
    Loaded loaded;
    int nType = 0;
    EXPECT_NE(0, loaded.reader.GetClassifyTypeByName(VOTEXT("TEXTURE"), nType));
    EXPECT_EQ(7, nType);
    Color color;
    EXPECT_NE(0, loaded.reader.GetClassifyTypeColor(7, color));
    EXPECT_EQ(0x01020304u, color.uValue);
    EXPECT_NE(0, loaded.reader.GetClassifyBackgroundColor(7, color));
    EXPECT_EQ(0x05060708u, color.uValue);
    EXPECT_EQ(0, loaded.reader.GetClassifyTypeColor(8, color));
}

TEST(InspectorQuery, AnEmptyContainerForTheSameRootCanBeMade)
{
    Loaded loaded;
    VOTSAssetNodeContainer target;
    EXPECT_NE(0, loaded.reader.ReConstructContainer(&target));
    ASSERT_EQ(1, loaded.reader.CloseMapping());
    EXPECT_EQ(VOWString(VOTEXT("C:/Root")), ReadText(target.GetRootPath()));
    int nType = 0;
    EXPECT_NE(0, target.GetClassifyTypeByExtension(VOTEXT("tga"), nType));
    EXPECT_EQ(7, nType);
    EXPECT_EQ(0u, NewNode(target, VOTEXT("C:/Root/new")));
}

}  // namespace

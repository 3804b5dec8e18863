// The walk over a tree with a callback: orders, selection, the stop flag, damaged and hostile links.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;
typedef VOTSAssetNodeContainerHelper Helper;

const std::string kWalk = "VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal";
const std::string kListFunction = "VOTSAssetNodeContainer::GetInfoNumberList";
const std::string kLinkBack = ProcessError("!IsOnPath(uAssetIndex)", kWalk);

// The ids in the order of the calls; stops at a chosen call, and returns what it is told to.
struct Visits
{
    IDs vecIDs;
    size_t uStopAt = ~size_t{0};
    int nReturn = 0;

    static int Visit(const structAssetNode& tsNode, void* pvParam, int& bStop)
    {
        Visits& rkVisits = *static_cast<Visits*>(pvParam);
        rkVisits.vecIDs.push_back(tsNode.nAssetID);
        if (rkVisits.vecIDs.size() >= rkVisits.uStopAt)
        {
            bStop = 1;
        }
        return rkVisits.nReturn;
    }
};

// Counts the calls, for walks that are too long to be kept.
struct Count
{
    size_t uVisits = 0;

    static int Visit(const structAssetNode&, void* pvParam, int&)
    {
        ++static_cast<Count*>(pvParam)->uVisits;
        return 0;
    }
};

// What any walk may visit; for each node of a large container it is 64.
constexpr size_t kFewestVisits = 16'000'000;

IDs Walk(const VOTSAssetNodeContainer& rkContainer, unsigned int uID, VOULONG dwType, int bSub)
{
    Visits kVisits;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&rkContainer, uID, dwType, bSub, &Visits::Visit, &kVisits));
    return kVisits.vecIDs;
}

// top(0): f1(1) f2(2), d1(3): x(4) y(5), d1/e(6): z(7); d2(8): w(9); f3(10) behind the others
void FillTree(VOTSAssetNodeContainer& rkContainer)
{
    AddLinked(rkContainer, VOTEXT("top"), true, kNone);
    AddLinked(rkContainer, VOTEXT("top/f1"), false, 0);
    AddLinked(rkContainer, VOTEXT("top/f2"), false, 0);
    AddLinked(rkContainer, VOTEXT("top/d1"), true, 0);
    AddLinked(rkContainer, VOTEXT("top/d1/x"), false, 3);
    AddLinked(rkContainer, VOTEXT("top/d1/y"), false, 3);
    AddLinked(rkContainer, VOTEXT("top/d1/e"), true, 3);
    AddLinked(rkContainer, VOTEXT("top/d1/e/z"), false, 6);
    AddLinked(rkContainer, VOTEXT("top/d2"), true, 0);
    AddLinked(rkContainer, VOTEXT("top/d2/w"), false, 8);
    AddLinked(rkContainer, VOTEXT("top/f3"), false, 0);
}

struct Tree
{
    VOTSAssetNodeContainer kContainer;
    Tree() { FillTree(kContainer); }
};

TEST(Traverse, FilesComeFirstThenFoldersEachBeforeItsContents)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 3, 1), ElementsAre(1, 2, 10, 3, 4, 5, 6, 7, 8, 9));
}

TEST(Traverse, WithoutRecursionOnlyTheChildrenAreVisited)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 3, 0), ElementsAre(1, 2, 10, 3, 8));
}

TEST(Traverse, FoldersAloneWithoutRecursion)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 2, 0), ElementsAre(3, 8));
}

TEST(Traverse, FoldersAloneWithRecursion)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 2, 1), ElementsAre(3, 6, 8));
}

TEST(Traverse, FilesAloneWithRecursionReachTheWholeSubtree)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 1, 1), ElementsAre(1, 2, 10, 4, 5, 7, 9));
}

TEST(Traverse, FilesAloneWithoutRecursion)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 1, 0), ElementsAre(1, 2, 10));
}

TEST(Traverse, ATypeOfNeitherVisitsNothing)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 0, 0, 1), IsEmpty());
    EXPECT_THAT(Walk(kTree.kContainer, 0, 4, 1), IsEmpty());
}

TEST(Traverse, OtherBitsOfTheTypeDoNotMatter)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 3, 0xFFFFFFFDu, 1), ElementsAre(4, 5, 7));
}

TEST(Traverse, BeginsBelowTheGivenNode)
{
    Tree kTree;
    EXPECT_THAT(Walk(kTree.kContainer, 3, 3, 1), ElementsAre(4, 5, 6, 7));
    EXPECT_THAT(Walk(kTree.kContainer, 7, 3, 1), IsEmpty()) << "a file";
}

TEST(Traverse, TheCallbackGetsACopyOfTheWholeNodeAndItsParameter)
{
    struct Check
    {
        const VOTSAssetNodeContainer* pkContainer;
        int nCalls;
        static int Visit(const structAssetNode& tsNode, void* pvParam, int& bStop)
        {
            Check& rkCheck = *static_cast<Check*>(pvParam);
            ++rkCheck.nCalls;
            EXPECT_EQ(0, bStop);
            EXPECT_TRUE(SameBytes(BytesOf(NodeOf(*rkCheck.pkContainer, tsNode.nAssetID)), BytesOf(tsNode)));
            return 0;
        }
    };
    Tree kTree;
    ASSERT_NE(0, kTree.kContainer.SetAssetNodeFileAttribute(4, 1, 2, 3, 4, 5));
    Check kCheck = {&kTree.kContainer, 0};
    EXPECT_EQ(1, Helper::TraverseAssetNode(&kTree.kContainer, 0, 3, 1, &Check::Visit, &kCheck));
    EXPECT_EQ(10, kCheck.nCalls);
}

TEST(Traverse, TheResultOfTheCallbackMeansNothing)
{
    Tree kTree;
    for (const int nReturn : {-1, 0, 1, 1000})
    {
        Visits kVisits;
        kVisits.nReturn = nReturn;
        EXPECT_EQ(1, Helper::TraverseAssetNode(&kTree.kContainer, 0, 3, 1, &Visits::Visit, &kVisits));
        EXPECT_EQ(10u, kVisits.vecIDs.size());
    }
}

TEST(Traverse, TheStopFlagEndsTheWalkAfterAnyCall)
{
    Tree kTree;
    const IDs vecAll = Walk(kTree.kContainer, 0, 3, 1);
    for (size_t uStopAt = 1; uStopAt <= vecAll.size(); ++uStopAt)
    {
        Visits kVisits;
        kVisits.uStopAt = uStopAt;
        EXPECT_EQ(1, Helper::TraverseAssetNode(&kTree.kContainer, 0, 3, 1, &Visits::Visit, &kVisits));
        EXPECT_EQ(IDs(vecAll.begin(), vecAll.begin() + static_cast<ptrdiff_t>(uStopAt)), kVisits.vecIDs);
    }
}

TEST(Traverse, AStopOnTheFirstFileIsTheOnlyCall)
{
    Tree kTree;
    Visits kVisits;
    kVisits.uStopAt = 1;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&kTree.kContainer, 0, 1, 1, &Visits::Visit, &kVisits));
    EXPECT_THAT(kVisits.vecIDs, ElementsAre(1));
}

TEST(Traverse, TheInnerWalkTakesAndGivesTheStopFlag)
{
    Tree kTree;
    Visits kVisits;
    int bStop = 1;
    EXPECT_EQ(1, OpenHelper::TraverseAssetNodeInternal(&kTree.kContainer, 0, 3, 1, &Visits::Visit, &kVisits, bStop));
    EXPECT_THAT(kVisits.vecIDs, IsEmpty());
    bStop = 0;
    kVisits.uStopAt = 2;
    EXPECT_EQ(1, OpenHelper::TraverseAssetNodeInternal(&kTree.kContainer, 0, 3, 1, &Visits::Visit, &kVisits, bStop));
    EXPECT_EQ(1, bStop);
}

TEST(Traverse, ADerivedClassCanNameTheInnerWalk)
{
    auto* const pfnWalk = &OpenHelper::TraverseAssetNodeInternal;
    Tree kTree;
    Visits kVisits;
    int bStop = 0;
    EXPECT_EQ(1, pfnWalk(&kTree.kContainer, 0, 2, 0, &Visits::Visit, &kVisits, bStop));
    EXPECT_THAT(kVisits.vecIDs, ElementsAre(3, 8));
}

TEST(Traverse, ANullCallbackIsLoggedWithResultOne)
{
    Tree kTree;
    LogCapture kLog;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&kTree.kContainer, 0, 3, 1, nullptr, nullptr));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pFun", kWalk)));
}

TEST(Traverse, ABadIdIsLoggedWithResultOne)
{
    Tree kTree;
    LogCapture kLog;
    EXPECT_THAT(Walk(kTree.kContainer, 11, 3, 1), IsEmpty());
    EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("pkContainer->GetAssetNode(uAssetIndex, tsNode)", kWalk)));
}

TEST(Traverse, ANullContainerIsLoggedWithResultOne)
{
    LogCapture kLog;
    Visits kVisits;
    EXPECT_EQ(1, Helper::TraverseAssetNode(nullptr, 0, 3, 1, &Visits::Visit, &kVisits));
    EXPECT_NE(0u, kLog.Count());
    EXPECT_THAT(kVisits.vecIDs, IsEmpty());
}

TEST(Traverse, RemovedNodesAreOutOfTheirListsAndSoOfTheWalk)
{
    Tree kTree;
    ASSERT_NE(0, kTree.kContainer.RemoveAssetNode(3u));
    ASSERT_NE(0, kTree.kContainer.RemoveAssetNode(2u));
    EXPECT_THAT(Walk(kTree.kContainer, 0, 3, 1), ElementsAre(1, 10, 8, 9));
}

TEST(Traverse, ACustomerWalksLikeItsProvider)
{
    Tree kTree;
    const MisalignedBlock kImage(ImageOf(kTree.kContainer), 1);
    VOTSAssetNodeContainer kCustomer(LUMTrayService::AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    for (const VOULONG dwType : {0u, 1u, 2u, 3u})
    {
        for (const int bSub : {0, 1})
        {
            EXPECT_EQ(Walk(kTree.kContainer, 0, dwType, bSub), Walk(kCustomer, 0, dwType, bSub));
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Nodes that stand in several lists
// ---------------------------------------------------------------------------------------------------------------------

// Folders below "top", each with some files: x(1) 0, b(2) 10, c(3) 1; the files have the ids 4 to 14.
void FillFolders(VOTSAssetNodeContainer& rkContainer)
{
    AddLinked(rkContainer, VOTEXT("top"), true, kNone);
    AddLinked(rkContainer, VOTEXT("top/x"), true, 0);
    AddLinked(rkContainer, VOTEXT("top/b"), true, 0);
    AddLinked(rkContainer, VOTEXT("top/c"), true, 0);
    for (unsigned int uFile = 0; uFile < 10; ++uFile)
    {
        AddLinked(rkContainer, (VOTEXT("top/b/") + Wide(std::to_string(uFile))).c_str(), false, 2);
    }
    AddLinked(rkContainer, VOTEXT("top/c/1"), false, 3);
}

TEST(Traverse, AFolderThatStandsTwiceInAListIsWalkedTwiceAndNothingBehindItIsLost)
{
    VOTSAssetNodeContainer kContainer;
    FillFolders(kContainer);
    // The hole that x leaves is filled by b, which stands behind it already.
    ASSERT_NE(0, kContainer.RemoveAssetNodeChildIndex(0, 1));
    ASSERT_NE(0, kContainer.InsertAssetNodeChildIndex(0, 2));
    ASSERT_THAT(FoldersOf(kContainer, 0), ElementsAre(2, 2, 3));
    LogCapture kLog;
    EXPECT_THAT(Walk(kContainer, 0, 3, 1), ElementsAre(2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,  //
                                                       2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,  //
                                                       3, 14));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(Traverse, AListThatSeveralFoldersShareIsWalkedInEach)
{
    VOTSAssetNodeContainer kContainer;
    FillFolders(kContainer);
    const structAssetNode tsB = NodeOf(kContainer, 2);
    for (const unsigned int uFolder : {1u, 3u})
    {
        ASSERT_NE(0, kContainer.SetAssetNodeChildIndex(uFolder, tsB.nChildFolderInfo, tsB.nChildFileInfo));
    }
    const MisalignedBlock kImage(ImageOf(kContainer), 1);
    VOTSAssetNodeContainer kCustomer(LUMTrayService::AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    LogCapture kLog;
    const IDs vecVisits = Walk(kContainer, 0, 3, 1);
    EXPECT_EQ(33u, vecVisits.size());
    EXPECT_EQ(vecVisits, Walk(kCustomer, 0, 3, 1));
    EXPECT_EQ(0u, kLog.Count());
}

// ---------------------------------------------------------------------------------------------------------------------
// Images with links that a publisher would not make
// ---------------------------------------------------------------------------------------------------------------------

struct Customer
{
    MisalignedBlock kImage;
    VOTSAssetNodeContainer kContainer{LUMTrayService::AR_Customer};

    explicit Customer(ModelContainer kModel) : kImage(kModel.Image(), 1)
    {
        EXPECT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0, kImage.Size()));
    }
};

// top(0): f1(1) f2(2), d1(3): x(4); d2(5): y(6)
ModelContainer SmallModel()
{
    ModelContainer kModel;
    kModel.Add(VOTEXT("top"), true, kNone);
    kModel.Add(VOTEXT("top/f1"), false, 0);
    kModel.Add(VOTEXT("top/f2"), false, 0);
    kModel.Add(VOTEXT("top/d1"), true, 0);
    kModel.Add(VOTEXT("top/d1/x"), false, 3);
    kModel.Add(VOTEXT("top/d2"), true, 0);
    kModel.Add(VOTEXT("top/d2/y"), false, 5);
    return kModel;
}

TEST(TraverseHostile, AChildThatCannotBeReadEndsItsLevelAndTheLevelAboveGoesOn)
{
    ModelContainer kModel = SmallModel();
    // d1's files are x, one that isn't there, and f1 once more; its folders would be d2.
    kModel.vecNodes[3].uFiles = kModel.kNumbers.InsertList({4, 77, 1});
    kModel.vecNodes[3].uFolders = kModel.kNumbers.InsertList({5});
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 3, 1), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError("pkContainer->GetAssetNode(vecChildIndex[i], tsChildNode)", kWalk)))
        << kLog.Lines()[0];
}

TEST(TraverseHostile, AFolderThatCannotBeReadEndsItsLevel)
{
    ModelContainer kModel = SmallModel();
    kModel.vecNodes[0].uFolders = kModel.kNumbers.InsertList({3, 77, 5});
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 3, 1), ElementsAre(1, 2, 3, 4));
    EXPECT_NE(0u, kLog.Count());
}

TEST(TraverseHostile, AListThatIsNotThereEndsItsLevelAndTheLevelAboveGoesOn)
{
    ModelContainer kModel = SmallModel();
    kModel.vecNodes[3].uFiles = 12345;
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 3, 1), ElementsAre(1, 2, 3, 5, 6));
    EXPECT_THAT(
        kLog.Lines(),
        ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()", kListFunction),
                    ProcessError("pkContainer->GetInfoNumberList(tsNode.nChildFileInfo, vecChildIndex)", kWalk)));
}

TEST(TraverseHostile, AListOfFoldersThatIsNotThereIsNamedAsSuch)
{
    ModelContainer kModel = SmallModel();
    kModel.vecNodes[3].uFolders = 12345;
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 3, 1), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(
        kLog.Lines(),
        ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()", kListFunction),
                    ProcessError("pkContainer->GetInfoNumberList(tsNode.nChildFolderInfo, vecChildIndex)", kWalk)));
}

TEST(TraverseHostile, AFolderThatIsItsOwnChildIsReportedAndNotEnteredAgain)
{
    ModelContainer kModel = SmallModel();
    kModel.vecNodes[3].uFolders = kModel.kNumbers.InsertList({3});
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 3, 1), ElementsAre(1, 2, 3, 4, 3, 5, 6));
    EXPECT_THAT(kLog.Lines(), ElementsAre(kLinkBack));
}

TEST(TraverseHostile, WhatStandsBehindALinkBackIsWalked)
{
    ModelContainer kModel = SmallModel();
    kModel.vecNodes[3].uFolders = kModel.kNumbers.InsertList({0, 5});
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 3, 1), ElementsAre(1, 2, 3, 4, 0, 5, 6, 5, 6));
    EXPECT_THAT(kLog.Lines(), ElementsAre(kLinkBack));
    kLog.Clear();
    EXPECT_THAT(Walk(kCustomer.kContainer, 0, 0, 1), IsEmpty()) << "also where nothing is reported";
    EXPECT_THAT(kLog.Lines(), ElementsAre(kLinkBack));
}

TEST(TraverseHostile, SharedSubtreesEndTheWalkAfterSixteenMillionVisits)
{
    // Sixty levels, each of which holds the next one twice: 2^60 paths.
    ModelContainer kModel;
    for (unsigned int uLevel = 0; uLevel < 60; ++uLevel)
    {
        kModel.Add(VOTEXT("d") + Wide(std::to_string(uLevel)), true, kNone);
    }
    for (unsigned int uLevel = 0; uLevel + 1 < 60; ++uLevel)
    {
        kModel.vecNodes[uLevel].uFolders = kModel.kNumbers.InsertList({uLevel + 1, uLevel + 1});
    }
    Customer kCustomer(kModel);
    LogCapture kLog;
    Count kCount;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&kCustomer.kContainer, 0, 3, 1, &Count::Visit, &kCount));
    EXPECT_EQ(kFewestVisits, kCount.uVisits);
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("uVisitsLeft != 0", kWalk)));
}

TEST(TraverseHostile, FoldersThatAllHoldEachOtherEndWithFewLines)
{
    // One list for all: behind each step there are as many links back as the walk is deep.
    constexpr unsigned int kFolders = 300;
    ModelContainer kModel;
    IDs vecAll;
    for (unsigned int uID = 0; uID < kFolders; ++uID)
    {
        kModel.Add(VOTEXT("d") + Wide(std::to_string(uID)), true, kNone);
        vecAll.push_back(uID);
    }
    const unsigned int uList = kModel.kNumbers.InsertList(vecAll);
    for (unsigned int uID = 0; uID < kFolders; ++uID)
    {
        kModel.vecNodes[uID].uFolders = uList;
    }
    Customer kCustomer(kModel);
    LogCapture kLog;
    votest::StdoutCapture kQuiet;
    Count kCount;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&kCustomer.kContainer, 0, 3, 1, &Count::Visit, &kCount));
    EXPECT_LE(kLog.Count(), 100'000u);
    EXPECT_GE(kCount.uVisits, kFolders);
    EXPECT_EQ(ProcessError("uVisitsLeft != 0", kWalk), kLog.Lines().back());
}

TEST(TraverseHostile, AListOfHolesThatManyFoldersShareEndsTheWalk)
{
    constexpr unsigned int kFolders = 2000;
    ModelContainer kModel;
    kModel.Add(VOTEXT("top"), true, kNone);
    IDs vecFolders;
    for (unsigned int uID = 1; uID <= kFolders; ++uID)
    {
        kModel.Add(VOTEXT("d") + Wide(std::to_string(uID)), true, kNone);
        vecFolders.push_back(uID);
    }
    kModel.vecNodes[0].uFolders = kModel.kNumbers.InsertList(vecFolders);
    const unsigned int uHoles = kModel.kNumbers.InsertList(IDs(20000, ModelNumbers::kHole));
    for (unsigned int uID = 1; uID <= kFolders; ++uID)
    {
        kModel.vecNodes[uID].uFolders = uHoles;
    }
    Customer kCustomer(kModel);
    LogCapture kLog;
    Count kCount;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&kCustomer.kContainer, 0, 2, 1, &Count::Visit, &kCount));
    EXPECT_EQ(kFewestVisits / 20000 + 1, kCount.uVisits) << "folders whose lists were gone through";
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("uHolesLeft != 0", kWalk)));
}

TEST(TraverseHostile, AListWithMoreEntriesThanThereAreNodesIsWalkedToItsEnd)
{
    ModelContainer kModel = SmallModel();
    kModel.vecNodes[0].uFiles = kModel.kNumbers.InsertList(IDs(10000, 1));
    Customer kCustomer(kModel);
    LogCapture kLog;
    EXPECT_EQ(IDs(10000, 1), Walk(kCustomer.kContainer, 0, 1, 0));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(TraverseHostile, ARecordWithAnotherIdThanItsIndexDoesNoHarm)
{
    for (const unsigned int uID : {0u, 77u, kNone})
    {
        ModelContainer kModel = SmallModel();
        kModel.vecNodes[3].uID = uID;
        Customer kCustomer(kModel);
        EXPECT_LE(Walk(kCustomer.kContainer, 0, 2, 1).size(), 7u);
    }
}

}  // namespace

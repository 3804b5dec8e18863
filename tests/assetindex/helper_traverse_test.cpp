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
        Visits& visits = *static_cast<Visits*>(pvParam);
        visits.vecIDs.push_back(tsNode.nAssetID);
        if (visits.vecIDs.size() >= visits.uStopAt)
        {
            bStop = 1;
        }
        return visits.nReturn;
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

IDs Walk(const VOTSAssetNodeContainer& container, unsigned int uID, VOULONG dwType, int bSub)
{
    Visits visits;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&container, uID, dwType, bSub, &Visits::Visit, &visits));
    return visits.vecIDs;
}

// top(0): f1(1) f2(2), d1(3): x(4) y(5), d1/e(6): z(7); d2(8): w(9); f3(10) behind the others
void FillTree(VOTSAssetNodeContainer& container)
{
    AddLinked(container, VOTEXT("top"), true, kNone);
    AddLinked(container, VOTEXT("top/f1"), false, 0);
    AddLinked(container, VOTEXT("top/f2"), false, 0);
    AddLinked(container, VOTEXT("top/d1"), true, 0);
    AddLinked(container, VOTEXT("top/d1/x"), false, 3);
    AddLinked(container, VOTEXT("top/d1/y"), false, 3);
    AddLinked(container, VOTEXT("top/d1/e"), true, 3);
    AddLinked(container, VOTEXT("top/d1/e/z"), false, 6);
    AddLinked(container, VOTEXT("top/d2"), true, 0);
    AddLinked(container, VOTEXT("top/d2/w"), false, 8);
    AddLinked(container, VOTEXT("top/f3"), false, 0);
}

struct Tree
{
    VOTSAssetNodeContainer container;
    Tree() { FillTree(container); }
};

TEST(Traverse, FilesComeFirstThenFoldersEachBeforeItsContents)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 3, 1), ElementsAre(1, 2, 10, 3, 4, 5, 6, 7, 8, 9));
}

TEST(Traverse, WithoutRecursionOnlyTheChildrenAreVisited)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 3, 0), ElementsAre(1, 2, 10, 3, 8));
}

TEST(Traverse, FoldersAloneWithoutRecursion)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 2, 0), ElementsAre(3, 8));
}

TEST(Traverse, FoldersAloneWithRecursion)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 2, 1), ElementsAre(3, 6, 8));
}

TEST(Traverse, FilesAloneWithRecursionReachTheWholeSubtree)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 1, 1), ElementsAre(1, 2, 10, 4, 5, 7, 9));
}

TEST(Traverse, FilesAloneWithoutRecursion)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 1, 0), ElementsAre(1, 2, 10));
}

TEST(Traverse, ATypeOfNeitherVisitsNothing)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 0, 0, 1), IsEmpty());
    EXPECT_THAT(Walk(tree.container, 0, 4, 1), IsEmpty());
}

TEST(Traverse, OtherBitsOfTheTypeDoNotMatter)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 3, 0xFFFFFFFDu, 1), ElementsAre(4, 5, 7));
}

TEST(Traverse, BeginsBelowTheGivenNode)
{
    Tree tree;
    EXPECT_THAT(Walk(tree.container, 3, 3, 1), ElementsAre(4, 5, 6, 7));
    EXPECT_THAT(Walk(tree.container, 7, 3, 1), IsEmpty()) << "a file";
}

TEST(Traverse, TheCallbackGetsACopyOfTheWholeNodeAndItsParameter)
{
    struct Check
    {
        const VOTSAssetNodeContainer* pContainer;
        int nCalls;
        static int Visit(const structAssetNode& tsNode, void* pvParam, int& bStop)
        {
            Check& givenCheck = *static_cast<Check*>(pvParam);
            ++givenCheck.nCalls;
            EXPECT_EQ(0, bStop);
            EXPECT_TRUE(SameBytes(BytesOf(NodeOf(*givenCheck.pContainer, tsNode.nAssetID)), BytesOf(tsNode)));
            return 0;
        }
    };
    Tree tree;
    ASSERT_NE(0, tree.container.SetAssetNodeFileAttribute(4, 1, 2, 3, 4, 5));
    Check check = {&tree.container, 0};
    EXPECT_EQ(1, Helper::TraverseAssetNode(&tree.container, 0, 3, 1, &Check::Visit, &check));
    EXPECT_EQ(10, check.nCalls);
}

TEST(Traverse, TheResultOfTheCallbackMeansNothing)
{
    Tree tree;
    for (const int nReturn : {-1, 0, 1, 1000})
    {
        Visits visits;
        visits.nReturn = nReturn;
        EXPECT_EQ(1, Helper::TraverseAssetNode(&tree.container, 0, 3, 1, &Visits::Visit, &visits));
        EXPECT_EQ(10u, visits.vecIDs.size());
    }
}

TEST(Traverse, TheStopFlagEndsTheWalkAfterAnyCall)
{
    Tree tree;
    const IDs vecAll = Walk(tree.container, 0, 3, 1);
    for (size_t uStopAt = 1; uStopAt <= vecAll.size(); ++uStopAt)
    {
        Visits visits;
        visits.uStopAt = uStopAt;
        EXPECT_EQ(1, Helper::TraverseAssetNode(&tree.container, 0, 3, 1, &Visits::Visit, &visits));
        EXPECT_EQ(IDs(vecAll.begin(), vecAll.begin() + static_cast<ptrdiff_t>(uStopAt)), visits.vecIDs);
    }
}

TEST(Traverse, AStopOnTheFirstFileIsTheOnlyCall)
{
    Tree tree;
    Visits visits;
    visits.uStopAt = 1;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&tree.container, 0, 1, 1, &Visits::Visit, &visits));
    EXPECT_THAT(visits.vecIDs, ElementsAre(1));
}

TEST(Traverse, TheInnerWalkTakesAndGivesTheStopFlag)
{
    Tree tree;
    Visits visits;
    int bStop = 1;
    EXPECT_EQ(1, OpenHelper::TraverseAssetNodeInternal(&tree.container, 0, 3, 1, &Visits::Visit, &visits, bStop));
    EXPECT_THAT(visits.vecIDs, IsEmpty());
    bStop = 0;
    visits.uStopAt = 2;
    EXPECT_EQ(1, OpenHelper::TraverseAssetNodeInternal(&tree.container, 0, 3, 1, &Visits::Visit, &visits, bStop));
    EXPECT_EQ(1, bStop);
}

TEST(Traverse, ADerivedClassCanNameTheInnerWalk)
{
    auto* const pfnWalk = &OpenHelper::TraverseAssetNodeInternal;
    Tree tree;
    Visits visits;
    int bStop = 0;
    EXPECT_EQ(1, pfnWalk(&tree.container, 0, 2, 0, &Visits::Visit, &visits, bStop));
    EXPECT_THAT(visits.vecIDs, ElementsAre(3, 8));
}

TEST(Traverse, ANullCallbackIsLoggedWithResultOne)
{
    Tree tree;
    LogCapture log;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&tree.container, 0, 3, 1, nullptr, nullptr));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pFun", kWalk)));
}

TEST(Traverse, ABadIdIsLoggedWithResultOne)
{
    Tree tree;
    LogCapture log;
    EXPECT_THAT(Walk(tree.container, 11, 3, 1), IsEmpty());
    EXPECT_TRUE(HasLine(log.Lines(), ProcessError("pkContainer->GetAssetNode(uAssetIndex, tsNode)", kWalk)));
}

TEST(Traverse, ANullContainerIsLoggedWithResultOne)
{
    LogCapture log;
    Visits visits;
    EXPECT_EQ(1, Helper::TraverseAssetNode(nullptr, 0, 3, 1, &Visits::Visit, &visits));
    EXPECT_NE(0u, log.Count());
    EXPECT_THAT(visits.vecIDs, IsEmpty());
}

TEST(Traverse, RemovedNodesAreOutOfTheirListsAndSoOfTheWalk)
{
    Tree tree;
    ASSERT_NE(0, tree.container.RemoveAssetNode(3u));
    ASSERT_NE(0, tree.container.RemoveAssetNode(2u));
    EXPECT_THAT(Walk(tree.container, 0, 3, 1), ElementsAre(1, 10, 8, 9));
}

TEST(Traverse, ACustomerWalksLikeItsProvider)
{
    Tree tree;
    const MisalignedBlock image(ImageOf(tree.container), 1);
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    for (const VOULONG dwType : {0u, 1u, 2u, 3u})
    {
        for (const int bSub : {0, 1})
        {
            EXPECT_EQ(Walk(tree.container, 0, dwType, bSub), Walk(customer, 0, dwType, bSub));
        }
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Nodes that stand in several lists
// ---------------------------------------------------------------------------------------------------------------------

// Folders below "top", each with some files: x(1) 0, b(2) 10, c(3) 1; the files have the ids 4 to 14.
void FillFolders(VOTSAssetNodeContainer& container)
{
    AddLinked(container, VOTEXT("top"), true, kNone);
    AddLinked(container, VOTEXT("top/x"), true, 0);
    AddLinked(container, VOTEXT("top/b"), true, 0);
    AddLinked(container, VOTEXT("top/c"), true, 0);
    for (unsigned int uFile = 0; uFile < 10; ++uFile)
    {
        AddLinked(container, (VOTEXT("top/b/") + Wide(std::to_string(uFile))).c_str(), false, 2);
    }
    AddLinked(container, VOTEXT("top/c/1"), false, 3);
}

TEST(Traverse, AFolderThatStandsTwiceInAListIsWalkedTwiceAndNothingBehindItIsLost)
{
    VOTSAssetNodeContainer container;
    FillFolders(container);
    // The hole that x leaves is filled by b, which stands behind it already.
    ASSERT_NE(0, container.RemoveAssetNodeChildIndex(0, 1));
    ASSERT_NE(0, container.InsertAssetNodeChildIndex(0, 2));
    ASSERT_THAT(FoldersOf(container, 0), ElementsAre(2, 2, 3));
    LogCapture log;
    EXPECT_THAT(Walk(container, 0, 3, 1), ElementsAre(2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,  //
                                                      2, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,  //
                                                      3, 14));
    EXPECT_EQ(0u, log.Count());
}

TEST(Traverse, AListThatSeveralFoldersShareIsWalkedInEach)
{
    VOTSAssetNodeContainer container;
    FillFolders(container);
    const structAssetNode tsB = NodeOf(container, 2);
    for (const unsigned int uFolder : {1u, 3u})
    {
        ASSERT_NE(0, container.SetAssetNodeChildIndex(uFolder, tsB.nChildFolderInfo, tsB.nChildFileInfo));
    }
    const MisalignedBlock image(ImageOf(container), 1);
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    LogCapture log;
    const IDs vecVisits = Walk(container, 0, 3, 1);
    EXPECT_EQ(33u, vecVisits.size());
    EXPECT_EQ(vecVisits, Walk(customer, 0, 3, 1));
    EXPECT_EQ(0u, log.Count());
}

// ---------------------------------------------------------------------------------------------------------------------
// Images with links that a publisher would not make
// ---------------------------------------------------------------------------------------------------------------------

struct Customer
{
    MisalignedBlock image;
    VOTSAssetNodeContainer container{LUMTrayService::AR_Customer};

    explicit Customer(ModelContainer model) : image(model.Image(), 1)
    {
        EXPECT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0, image.Size()));
    }
};

// top(0): f1(1) f2(2), d1(3): x(4); d2(5): y(6)
ModelContainer SmallModel()
{
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    model.Add(VOTEXT("top/f1"), false, 0);
    model.Add(VOTEXT("top/f2"), false, 0);
    model.Add(VOTEXT("top/d1"), true, 0);
    model.Add(VOTEXT("top/d1/x"), false, 3);
    model.Add(VOTEXT("top/d2"), true, 0);
    model.Add(VOTEXT("top/d2/y"), false, 5);
    return model;
}

TEST(TraverseHostile, AChildThatCannotBeReadEndsItsLevelAndTheLevelAboveGoesOn)
{
    ModelContainer model = SmallModel();
    // d1's files are x, one that isn't there, and f1 once more; its folders would be d2.
    model.vecNodes[3].uFiles = model.numbers.InsertList({4, 77, 1});
    model.vecNodes[3].uFolders = model.numbers.InsertList({5});
    Customer customer(model);
    LogCapture log;
    EXPECT_THAT(Walk(customer.container, 0, 3, 1), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_TRUE(HasLine(log.Lines(), ProcessError("pkContainer->GetAssetNode(vecChildIndex[i], tsChildNode)", kWalk)))
        << log.Lines()[0];
}

TEST(TraverseHostile, AFolderThatCannotBeReadEndsItsLevel)
{
    ModelContainer model = SmallModel();
    model.vecNodes[0].uFolders = model.numbers.InsertList({3, 77, 5});
    Customer customer(model);
    LogCapture log;
    EXPECT_THAT(Walk(customer.container, 0, 3, 1), ElementsAre(1, 2, 3, 4));
    EXPECT_NE(0u, log.Count());
}

TEST(TraverseHostile, AListThatIsNotThereEndsItsLevelAndTheLevelAboveGoesOn)
{
    ModelContainer model = SmallModel();
    model.vecNodes[3].uFiles = 12345;
    Customer customer(model);
    LogCapture log;
    EXPECT_THAT(Walk(customer.container, 0, 3, 1), ElementsAre(1, 2, 3, 5, 6));
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()", kListFunction),
                    ProcessError("pkContainer->GetInfoNumberList(tsNode.nChildFileInfo, vecChildIndex)", kWalk)));
}

TEST(TraverseHostile, AListOfFoldersThatIsNotThereIsNamedAsSuch)
{
    ModelContainer model = SmallModel();
    model.vecNodes[3].uFolders = 12345;
    Customer customer(model);
    LogCapture log;
    EXPECT_THAT(Walk(customer.container, 0, 3, 1), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(
        log.Lines(),
        ElementsAre(ProcessError("uInfoID < m_pkAssetIndexContainer->GetValueCount()", kListFunction),
                    ProcessError("pkContainer->GetInfoNumberList(tsNode.nChildFolderInfo, vecChildIndex)", kWalk)));
}

TEST(TraverseHostile, AFolderThatIsItsOwnChildIsReportedAndNotEnteredAgain)
{
    ModelContainer model = SmallModel();
    model.vecNodes[3].uFolders = model.numbers.InsertList({3});
    Customer customer(model);
    LogCapture log;
    EXPECT_THAT(Walk(customer.container, 0, 3, 1), ElementsAre(1, 2, 3, 4, 3, 5, 6));
    EXPECT_THAT(log.Lines(), ElementsAre(kLinkBack));
}

TEST(TraverseHostile, WhatStandsBehindALinkBackIsWalked)
{
    ModelContainer model = SmallModel();
    model.vecNodes[3].uFolders = model.numbers.InsertList({0, 5});
    Customer customer(model);
    LogCapture log;
    EXPECT_THAT(Walk(customer.container, 0, 3, 1), ElementsAre(1, 2, 3, 4, 0, 5, 6, 5, 6));
    EXPECT_THAT(log.Lines(), ElementsAre(kLinkBack));
    log.Clear();
    EXPECT_THAT(Walk(customer.container, 0, 0, 1), IsEmpty()) << "also where nothing is reported";
    EXPECT_THAT(log.Lines(), ElementsAre(kLinkBack));
}

TEST(TraverseHostile, SharedSubtreesEndTheWalkAfterSixteenMillionVisits)
{
    // Sixty levels, each of which holds the next one twice: 2^60 paths.
    ModelContainer model;
    for (unsigned int uLevel = 0; uLevel < 60; ++uLevel)
    {
        model.Add(VOTEXT("d") + Wide(std::to_string(uLevel)), true, kNone);
    }
    for (unsigned int uLevel = 0; uLevel + 1 < 60; ++uLevel)
    {
        model.vecNodes[uLevel].uFolders = model.numbers.InsertList({uLevel + 1, uLevel + 1});
    }
    Customer customer(model);
    LogCapture log;
    Count count;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&customer.container, 0, 3, 1, &Count::Visit, &count));
    EXPECT_EQ(kFewestVisits, count.uVisits);
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("uVisitsLeft != 0", kWalk)));
}

TEST(TraverseHostile, FoldersThatAllHoldEachOtherEndWithFewLines)
{
    // One list for all: behind each step there are as many links back as the walk is deep.
    constexpr unsigned int kFolders = 300;
    ModelContainer model;
    IDs vecAll;
    for (unsigned int uID = 0; uID < kFolders; ++uID)
    {
        model.Add(VOTEXT("d") + Wide(std::to_string(uID)), true, kNone);
        vecAll.push_back(uID);
    }
    const unsigned int uList = model.numbers.InsertList(vecAll);
    for (unsigned int uID = 0; uID < kFolders; ++uID)
    {
        model.vecNodes[uID].uFolders = uList;
    }
    Customer customer(model);
    LogCapture log;
    votest::StdoutCapture quiet;
    Count count;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&customer.container, 0, 3, 1, &Count::Visit, &count));
    EXPECT_LE(log.Count(), 100'000u);
    EXPECT_GE(count.uVisits, kFolders);
    EXPECT_EQ(ProcessError("uVisitsLeft != 0", kWalk), log.Lines().back());
}

TEST(TraverseHostile, AListOfHolesThatManyFoldersShareEndsTheWalk)
{
    constexpr unsigned int kFolders = 2000;
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    IDs vecFolders;
    for (unsigned int uID = 1; uID <= kFolders; ++uID)
    {
        model.Add(VOTEXT("d") + Wide(std::to_string(uID)), true, kNone);
        vecFolders.push_back(uID);
    }
    model.vecNodes[0].uFolders = model.numbers.InsertList(vecFolders);
    const unsigned int uHoles = model.numbers.InsertList(IDs(20000, ModelNumbers::kHole));
    for (unsigned int uID = 1; uID <= kFolders; ++uID)
    {
        model.vecNodes[uID].uFolders = uHoles;
    }
    Customer customer(model);
    LogCapture log;
    Count count;
    EXPECT_EQ(1, Helper::TraverseAssetNode(&customer.container, 0, 2, 1, &Count::Visit, &count));
    EXPECT_EQ(kFewestVisits / 20000 + 1, count.uVisits) << "folders whose lists were gone through";
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("uHolesLeft != 0", kWalk)));
}

TEST(TraverseHostile, AListWithMoreEntriesThanThereAreNodesIsWalkedToItsEnd)
{
    ModelContainer model = SmallModel();
    model.vecNodes[0].uFiles = model.numbers.InsertList(IDs(10000, 1));
    Customer customer(model);
    LogCapture log;
    EXPECT_EQ(IDs(10000, 1), Walk(customer.container, 0, 1, 0));
    EXPECT_EQ(0u, log.Count());
}

TEST(TraverseHostile, ARecordWithAnotherIdThanItsIndexDoesNoHarm)
{
    for (const unsigned int uID : {0u, 77u, kNone})
    {
        ModelContainer model = SmallModel();
        model.vecNodes[3].uID = uID;
        Customer customer(model);
        EXPECT_LE(Walk(customer.container, 0, 2, 1).size(), 7u);
    }
}

}  // namespace

// Searches by the index where only its inside shows something: without memory for it, on a base that batches change,
// and where the system compares text by language.
#include "assetindex/asset_base.h"
#include "assetindex/name_index.h"
#include "assetindex/random_run.h"
#include "mapping/search_check.h"
#include "support/memory_faults.h"

namespace
{
using namespace mappingtest;

// Three folders of forty files each, with a file that has no name.
ModelContainer WideModel()
{
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    for (unsigned int uFolder = 0; uFolder < 3; ++uFolder)
    {
        const VOWString strFolder = VOTEXT("top/d") + Wide(std::to_string(uFolder));
        const unsigned int uID = model.Add(strFolder, true, 0);
        for (unsigned int uFile = 0; uFile < 40; ++uFile)
        {
            model.Add(strFolder + VOTEXT("/File") + Wide(std::to_string(uFile)) + VOTEXT(".txt"), false, uID);
        }
        model.vecNodes.back().ullBaseName = kInvalid;
    }
    return model;
}

template <typename Faults>
unsigned SearchWithFaults(bool bExtension)
{
    const Bytes bytes = WideModel().Image();
    const MisalignedBlock image(bytes, 0);
    struct Found
    {
        size_t uFound = 0;
        static int Count(const structAssetNode&, void* pvFound, int&)
        {
            ++static_cast<Found*>(pvFound)->uFound;
            return 0;
        }
    };
    for (unsigned int uNth = 1;; ++uNth)
    {
        SearchedInspector inspector;
        EXPECT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0, bytes.size()));
        bool bFired = false;
        for (const bool bWithFault : {true, false})
        {
            Found found;
            if (bWithFault)
            {
                Faults::Arm(uNth);
            }
            const int nResult =
                bExtension ? inspector.TraverseAssetNode_Extension(0, VOTEXT("TXT"), 0, 1, &Found::Count, &found)
                           : inspector.TraverseAssetNode_FileName(0, VOTEXT("fILE1"), 0, 3, 1, &Found::Count, &found);
            Faults::Disarm();
            bFired = bFired || Faults::Fired();
            EXPECT_EQ(1, nResult);
            EXPECT_EQ(bExtension ? 120u : 33u, found.uFound) << uNth;
        }
        if (!bFired)
        {
            return uNth - 1;
        }
    }
}

TEST(InspectorSearchInside, WithoutMemoryForAnIndexTheWalkFindsTheSame)
{
    votest::StdoutCapture quiet;
    for (const bool bExtension : {false, true})
    {
        EXPECT_LT(3u, SearchWithFaults<votest::NewFaults>(bExtension));
        EXPECT_LT(0u, SearchWithFaults<votest::FaultPoints>(bExtension));
    }
}

TEST(InspectorSearchInside, AWholeTreesSearchMakesTheIndexAndPartsAreFoundInIt)
{
    const Bytes bytes = WideModel().Image();
    const MisalignedBlock image(bytes, 0);
    SearchedInspector inspector;
    const VOTSAssetNodeContainer& container = inspector.Container();
    ASSERT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0, bytes.size()));
    VONameIndex::Stretch part;
    EXPECT_EQ(nullptr, VONameIndex::Of(container, 42, part)) << "a part alone is no reason";
    VONameIndex::Stretch whole;
    const VONameIndex* const pIndex = VONameIndex::Of(container, 0, whole);
    ASSERT_NE(nullptr, pIndex);
    EXPECT_EQ(0u, whole.uFirst);
    EXPECT_EQ(123u, whole.uEnd);
    EXPECT_EQ(pIndex, VONameIndex::Of(container, 42, part));
    EXPECT_EQ(42u, pIndex->NodeAt(part.uFirst - 1));
    EXPECT_EQ(40u, part.uEnd - part.uFirst);
    EXPECT_EQ(nullptr, VONameIndex::Of(container, 2, part)) << "a file";
    EXPECT_EQ(nullptr, VONameIndex::Of(container, 124, part)) << "no node";
    EXPECT_GT(123u * 100 + 4096, pIndex->Size());
}

TEST(InspectorSearchInside, AfterWalksOverHalfOfTheNodesAPartIsReasonEnough)
{
    const Bytes bytes = WideModel().Image();
    const MisalignedBlock image(bytes, 0);
    SearchedInspector inspector;
    ASSERT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0, bytes.size()));
    votest::StdoutCapture quiet;
    SearchQuestion question;
    question.uFrom = 42;
    question.strText = VOTEXT("file");
    VONameIndex::Stretch part;
    for (int nSearch = 0; nSearch < 2; ++nSearch)
    {
        EXPECT_EQ(nullptr, VONameIndex::Of(inspector.Container(), 42, part));
        EXPECT_TRUE(SearchesAsAWalk(inspector, question));
    }
    EXPECT_NE(nullptr, VONameIndex::Of(inspector.Container(), 42, part));
    EXPECT_TRUE(SearchesAsAWalk(inspector, question));
}

// Where the system compares by language, what an index says of a name has to hold for every language: a name beyond
// ASCII is always asked about, and so is each hit.
TEST(InspectorSearchInside, WhereTextIsComparedByLanguageEveryHitIsAskedAbout)
{
    ModelContainer model = WideModel();
    model.vecNodes[5].ullBaseName = model.strings.Insert(VOTEXT("\x00C4"));
    model.vecNodes[6].ullBaseName = model.strings.Insert(VOTEXT("file1\x0001"));
    const Bytes bytes = model.Image();
    const MisalignedBlock image(bytes, 0);
    VOTSAssetNodeContainer container(AR_Customer);
    ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0, bytes.size()));
    const auto pIndex = VONameIndex::Make(container, 0, false);
    VONameIndex::Stretch whole;
    ASSERT_TRUE(pIndex->Below(0, whole));
    VONameSearch search(*pIndex, whole, VOTEXT("LE13"), false);
    IDs vecAsked;
    for (VONameIndex::Hit hit; search.Next(hit);)
    {
        EXPECT_FALSE(hit.bSure);
        vecAsked.push_back(pIndex->NodeAt(hit.uPlace));
    }
    EXPECT_THAT(vecAsked, ElementsAre(5, 6, 15, 41, 56, 82, 97, 123));
    EXPECT_TRUE(search.CanTell());
    EXPECT_FALSE(VONameSearch(*pIndex, whole, VOTEXT("\x00C4"), false).CanTell());
}

// A publisher whose container goes through random steps, and an inspector on its base, which batches change in place.
TEST(InspectorSearchInside, OnABaseEachBatchIsSearchedAnew)
{
    QuietLoop quiet;
    size_t uFound = 0;
    size_t uBatches = 0;
    for (uint64_t ullSeed = 1; ullSeed <= 20 && !HasFailure(); ++ullSeed)
    {
        Random random(ullSeed);
        RandomRun run(ullSeed);
        run.RoundTrip();  // the root's texts are entered with the first image, or base
        VOAssetBaseWriter writer(run.Container());
        VOAssetBase writersBase;
        VOAssetBase readersBase;
        Bytes writersMemory;
        Bytes readersMemory;
        SearchedInspector inspector;
        QuestionMaker maker(random, {VOTEXT("a"), VOTEXT("dir"), VOTEXT("f.txt"), VOTEXT("Dir.x/B"), VOTEXT("txt")});
        for (int nState = 0; nState < 30 && !HasFailure(); ++nState)
        {
            quiet.Next();
            for (int nStep = 0; nStep < 20 && !HasFailure(); ++nStep)
            {
                run.Step();
            }
            Bytes batch;
            if (nState > 0 && writer.MakeBatch(writersBase, batch))
            {
                ASSERT_TRUE(batch.empty() || readersBase.Apply(batch.data(), batch.size()));
                ++uBatches;
            }
            else
            {
                writersMemory.assign(writer.BaseSize(), 0);
                writer.WriteBase(writersMemory.data(), ullSeed, 1);
                readersMemory = writersMemory;
                ASSERT_TRUE(writersBase.Take(writersMemory.data(), writersMemory.size()));
                ASSERT_TRUE(readersBase.Take(readersMemory.data(), readersMemory.size()));
            }
            ASSERT_NE(0, inspector.Container().SetBase(readersBase));
            for (int nQuestion = 0; nQuestion < 10; ++nQuestion)
            {
                SearchQuestion question = maker.Make(inspector.GetAssetNodeCount());
                question.uFrom = static_cast<unsigned int>(random.Below(inspector.GetAssetNodeCount() + 1));
                question.uStopAt = std::min<size_t>(question.uStopAt, 1000);
                ASSERT_TRUE(SearchesAsAWalk(inspector, question));
                uFound += inspector.Expected(question).vecCalls.size();
            }
        }
    }
    EXPECT_LT(500u, uFound);
    EXPECT_LT(300u, uBatches);
}

}  // namespace

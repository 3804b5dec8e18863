// Publisher and readers in processes of their own, also ones that die in the middle of a step.
#include "mapping/mapping_test_tools.h"
#include "support/child_process.h"

namespace
{
using namespace mappingtest;
using votest::ChildProcess;
using votest::ControlWords;
using votest::RoleOfThisProcess;

constexpr const VOWCHAR* kpszControlName = VOTEXT("vo_mappingTestControl");

// The words: what the publisher has done, what it is to do, what the reader has done.
constexpr unsigned int kPublished = 0;
constexpr unsigned int kOrder = 1;
constexpr unsigned int kRead = 2;

int PlayPublisher(ControlWords& rkWords)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.Publish(AF_TARGET, OneFileModel(VOTEXT("target")));
    rkWords.Set(kPublished, 1);
    if (!rkWords.WaitFor(kOrder, 1))
    {
        return 3;
    }
    kPublisher.Publish(AF_SOURCE, OneFileModel(VOTEXT("second")));
    rkWords.Set(kPublished, 2);
    return rkWords.WaitFor(kOrder, 2) ? 0 : 3;
}

int PlayReader(ControlWords& rkWords)
{
    VOTSFileMappingAssemble& rkAssemble = *VOTSFileMappingAssemble::Instance();
    structAssetNode tsNode;
    if (rkAssemble.OpenMappingState() != ET_NONE || rkAssemble.OpenMappingData() != ET_NONE ||
        rkAssemble.GetAssetNode(tsNode, VOTEXT("top/d1/inner.txt"), AF_ERROR, nullptr) != 0 || tsNode.nAssetID != 7)
    {
        return 1;
    }
    rkWords.Set(kRead, 1);
    if (!rkWords.WaitFor(kPublished, 2) || rkAssemble.LastErrorType() != ET_DATA_OUTDATED ||
        rkAssemble.OpenMappingData() != ET_NONE ||
        rkAssemble.GetAssetNode(tsNode, VOTEXT("second"), AF_SOURCE, nullptr) != 1)
    {
        return 2;
    }
    VOTSFileMappingAssemble::Release();
    rkWords.Set(kRead, 2);
    return 0;
}

// Dies inside the data section: its block doesn't decompress, and the first line about that is the last thing it does.
int PlayDyingReader(ControlWords&)
{
    ClosingInspector kReader;
    if (kReader.OpenMappingState() != ET_NONE)
    {
        return 1;
    }
    SetLogPrintfFunction([](VOLOG_PRIORITY, const char*) -> int { _Exit(42); });
    (void)kReader.OpenMappingData();
    return 2;
}

// Runs before the tests: a process that was started for a role ends here.
class Roles : public testing::Environment
{
public:
    void SetUp() override
    {
        const std::string strRole = RoleOfThisProcess();
        if (strRole.empty())
        {
            return;
        }
        ControlWords kWords(kpszControlName);
        const int nResult = !kWords.Ready()             ? 97
                            : strRole == "publisher"    ? PlayPublisher(kWords)
                            : strRole == "reader"       ? PlayReader(kWords)
                            : strRole == "dying reader" ? PlayDyingReader(kWords)
                                                        : 96;
        fflush(stdout);
        _Exit(nResult);
    }
};
testing::Environment* const s_pkRoles = testing::AddGlobalTestEnvironment(new Roles);

TEST(MultiProcess, TwoReadersFollowAPublisherInAnotherProcess)
{
    ControlWords kWords(kpszControlName);
    ASSERT_TRUE(kWords.Ready());
    for (unsigned int uWord = 0; uWord < 3; ++uWord)
    {
        kWords.Set(uWord, 0);
    }
    ChildProcess kPublisher("publisher");
    ASSERT_TRUE(kPublisher.Started());
    ASSERT_TRUE(kWords.WaitFor(kPublished, 1));
    ChildProcess kOther("reader");
    ClosingInspector kSource(AF_SOURCE);
    ClosingInspector kTarget(AF_TARGET);
    kSource.Load();
    kTarget.Load();
    EXPECT_EQ(11u, kSource.GetAssetNodeCount());
    EXPECT_EQ(0u, IdOf(kTarget, VOTEXT("target")));
    ASSERT_TRUE(kWords.WaitFor(kRead, 1));

    kWords.Set(kOrder, 1);
    ASSERT_TRUE(kWords.WaitFor(kPublished, 2));
    EXPECT_EQ(ET_DATA_OUTDATED, kSource.LastErrorType());
    EXPECT_EQ(ET_NONE, kTarget.LastErrorType());
    EXPECT_EQ(7u, IdOf(kSource, VOTEXT("top/d1/inner.txt"))) << "the old image still serves";
    EXPECT_EQ(ET_NONE, kSource.OpenMappingData());
    EXPECT_EQ(0u, IdOf(kSource, VOTEXT("second")));
    EXPECT_EQ(0, kOther.Wait());
    kWords.Set(kOrder, 2);
    EXPECT_EQ(0, kPublisher.Wait());
    // The publisher is gone, and nobody tells.
    EXPECT_EQ(ET_NONE, kSource.LastErrorType());
    EXPECT_EQ(0u, IdOf(kSource, VOTEXT("second")));
}

TEST(MultiProcess, AKilledPublisherLeavesItsReadersWhatTheyHave)
{
    ControlWords kWords(kpszControlName);
    ASSERT_TRUE(kWords.Ready());
    for (unsigned int uWord = 0; uWord < 3; ++uWord)
    {
        kWords.Set(uWord, 0);
    }
    ClosingInspector kReader;
    {
        ChildProcess kPublisher("publisher");
        ASSERT_TRUE(kPublisher.Started());
        ASSERT_TRUE(kWords.WaitFor(kPublished, 1));
        kReader.Load();
        kPublisher.Kill();
    }
    EXPECT_EQ(ET_NONE, kReader.LastErrorType()) << "the last values are frozen in the section";
    EXPECT_EQ(7u, IdOf(kReader, VOTEXT("top/d1/inner.txt")));
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    ASSERT_EQ(1, kReader.CloseMapping());

    // A publisher that comes after it serves new readers under the same names.
    Publisher kNext;
    kNext.Publish(AF_SOURCE, OneFileModel(VOTEXT("next")));
    kNext.Publish(AF_TARGET, OneFileModel(VOTEXT("next")));
    kReader.Load();
    EXPECT_EQ(0u, IdOf(kReader, VOTEXT("next")));
    EXPECT_EQ(0u, kNext.Readers(AF_SOURCE));
}

TEST(MultiProcess, AReaderThatDiesInsideLeavesItsCountRaisedAndOthersReadOn)
{
    ControlWords kWords(kpszControlName);
    ASSERT_TRUE(kWords.Ready());
    Publisher kPublisher;
    kPublisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    {
        ChildProcess kDying("dying reader");
        ASSERT_TRUE(kDying.Started());
        EXPECT_EQ(42, kDying.Wait());
    }
    EXPECT_EQ(1u, kPublisher.Readers(AF_SOURCE));
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
    EXPECT_EQ(1u, kPublisher.Readers(AF_SOURCE)) << "nothing repairs it";
}

}  // namespace

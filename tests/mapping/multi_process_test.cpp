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

int PlayPublisher(ControlWords& words)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.Publish(AF_TARGET, OneFileModel(VOTEXT("target")));
    words.Set(kPublished, 1);
    if (!words.WaitFor(kOrder, 1))
    {
        return 3;
    }
    publisher.Publish(AF_SOURCE, OneFileModel(VOTEXT("second")));
    words.Set(kPublished, 2);
    return words.WaitFor(kOrder, 2) ? 0 : 3;
}

int PlayReader(ControlWords& words)
{
    VOTSFileMappingAssemble& assemble = *VOTSFileMappingAssemble::Instance();
    structAssetNode tsNode;
    if (assemble.OpenMappingState() != ET_NONE || assemble.OpenMappingData() != ET_NONE ||
        assemble.GetAssetNode(tsNode, VOTEXT("top/d1/inner.txt"), AF_ERROR, nullptr) != 0 || tsNode.nAssetID != 7)
    {
        return 1;
    }
    words.Set(kRead, 1);
    if (!words.WaitFor(kPublished, 2) || assemble.LastErrorType() != ET_DATA_OUTDATED ||
        assemble.OpenMappingData() != ET_NONE ||
        assemble.GetAssetNode(tsNode, VOTEXT("second"), AF_SOURCE, nullptr) != 1)
    {
        return 2;
    }
    VOTSFileMappingAssemble::Release();
    words.Set(kRead, 2);
    return 0;
}

// Dies inside the data section: its block doesn't decompress, and the first line about that is the last thing it does.
int PlayDyingReader(ControlWords&)
{
    ClosingInspector reader;
    if (reader.OpenMappingState() != ET_NONE)
    {
        return 1;
    }
    SetLogPrintfFunction([](VOLOG_PRIORITY, const char*) -> int { _Exit(42); });
    (void)reader.OpenMappingData();
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
        ControlWords words(kpszControlName);
        const int nResult = !words.Ready()              ? 97
                            : strRole == "publisher"    ? PlayPublisher(words)
                            : strRole == "reader"       ? PlayReader(words)
                            : strRole == "dying reader" ? PlayDyingReader(words)
                                                        : 96;
        fflush(stdout);
        _Exit(nResult);
    }
};
testing::Environment* const s_pRoles = testing::AddGlobalTestEnvironment(new Roles);

TEST(MultiProcess, TwoReadersFollowAPublisherInAnotherProcess)
{
    ControlWords words(kpszControlName);
    ASSERT_TRUE(words.Ready());
    for (unsigned int uWord = 0; uWord < 3; ++uWord)
    {
        words.Set(uWord, 0);
    }
    ChildProcess publisher("publisher");
    ASSERT_TRUE(publisher.Started());
    ASSERT_TRUE(words.WaitFor(kPublished, 1));
    ChildProcess other("reader");
    ClosingInspector source(AF_SOURCE);
    ClosingInspector target(AF_TARGET);
    source.Load();
    target.Load();
    EXPECT_EQ(11u, source.GetAssetNodeCount());
    EXPECT_EQ(0u, IdOf(target, VOTEXT("target")));
    ASSERT_TRUE(words.WaitFor(kRead, 1));

    words.Set(kOrder, 1);
    ASSERT_TRUE(words.WaitFor(kPublished, 2));
    EXPECT_EQ(ET_DATA_OUTDATED, source.LastErrorType());
    EXPECT_EQ(ET_NONE, target.LastErrorType());
    EXPECT_EQ(7u, IdOf(source, VOTEXT("top/d1/inner.txt"))) << "the old image still serves";
    EXPECT_EQ(ET_NONE, source.OpenMappingData());
    EXPECT_EQ(0u, IdOf(source, VOTEXT("second")));
    EXPECT_EQ(0, other.Wait());
    words.Set(kOrder, 2);
    EXPECT_EQ(0, publisher.Wait());
    // The publisher is gone, and nobody tells.
    EXPECT_EQ(ET_NONE, source.LastErrorType());
    EXPECT_EQ(0u, IdOf(source, VOTEXT("second")));
}

TEST(MultiProcess, AKilledPublisherLeavesItsReadersWhatTheyHave)
{
    ControlWords words(kpszControlName);
    ASSERT_TRUE(words.Ready());
    for (unsigned int uWord = 0; uWord < 3; ++uWord)
    {
        words.Set(uWord, 0);
    }
    ClosingInspector reader;
    {
        ChildProcess publisher("publisher");
        ASSERT_TRUE(publisher.Started());
        ASSERT_TRUE(words.WaitFor(kPublished, 1));
        reader.Load();
        publisher.Kill();
    }
    EXPECT_EQ(ET_NONE, reader.LastErrorType()) << "the last values are frozen in the section";
    EXPECT_EQ(7u, IdOf(reader, VOTEXT("top/d1/inner.txt")));
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    ASSERT_EQ(1, reader.CloseMapping());

    // A publisher that comes after it serves new readers under the same names.
    Publisher next;
    next.Publish(AF_SOURCE, OneFileModel(VOTEXT("next")));
    next.Publish(AF_TARGET, OneFileModel(VOTEXT("next")));
    reader.Load();
    EXPECT_EQ(0u, IdOf(reader, VOTEXT("next")));
    EXPECT_EQ(0u, next.Readers(AF_SOURCE));
}

TEST(MultiProcess, AReaderThatDiesInsideLeavesItsCountRaisedAndOthersReadOn)
{
    ControlWords words(kpszControlName);
    ASSERT_TRUE(words.Ready());
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    {
        ChildProcess dying("dying reader");
        ASSERT_TRUE(dying.Started());
        EXPECT_EQ(42, dying.Wait());
    }
    EXPECT_EQ(1u, publisher.Readers(AF_SOURCE));
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
    EXPECT_EQ(1u, publisher.Readers(AF_SOURCE)) << "nothing repairs it";
}

}  // namespace

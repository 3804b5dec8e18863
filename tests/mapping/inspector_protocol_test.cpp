// The steps of a load as a publisher sees them: when the reader count is raised and lowered, and which update count is
// kept. What is logged is logged in the middle of a step, so a log hook is the place to look from.
#include <functional>
#include <thread>

#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

// Calls a function at each log line while it lives.
class LogWatch
{
public:
    explicit LogWatch(std::function<void(const std::string&)> fnWatch) : m_fnWatch(std::move(fnWatch))
    {
        Current() = this;
        SetLogPrintfFunction(&LogWatch::Hook);
    }
    ~LogWatch()
    {
        Current() = nullptr;
        // Whoever captures next brings his own hook.
        const LogCapture takeOver;
    }
    LogWatch(const LogWatch&) = delete;
    LogWatch& operator=(const LogWatch&) = delete;

private:
    static LogWatch*& Current()
    {
        static LogWatch* s_pCurrent = nullptr;
        return s_pCurrent;
    }
    static int Hook(VOLOG_PRIORITY, const char* pszText)
    {
        if (Current() != nullptr)
        {
            Current()->m_fnWatch(pszText);
        }
        return 0;
    }
    std::function<void(const std::string&)> m_fnWatch;
};

TEST(ReaderCount, IsStillRaisedWhenAMissingSectionIsReported)
{
    Publisher publisher;
    publisher.SetCount(AF_SOURCE, 5);
    publisher.SetEnabled(AF_SOURCE, 1);
    publisher.SetWord(AF_SOURCE, 2, 40);
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    IDs vecSeen;
    {
        const LogWatch watch([&](const std::string&) { vecSeen.push_back(publisher.Readers(AF_SOURCE)); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    }
    EXPECT_THAT(vecSeen, ElementsAre(41));
    EXPECT_EQ(40u, publisher.Readers(AF_SOURCE));
}

TEST(ReaderCount, IsRaisedWhileTheBlockIsRead)
{
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    IDs vecSeen;
    {
        const LogWatch watch([&](const std::string&) { vecSeen.push_back(publisher.Readers(AF_SOURCE)); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    }
    EXPECT_LE(1u, vecSeen.size());
    EXPECT_EQ(IDs(vecSeen.size(), 1), vecSeen);
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
}

TEST(ReaderCount, IsLoweredBeforeTheImageIsAttached)
{
    Bytes vecImage = SourceModel().Image();
    vecImage[6] ^= 1;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, vecImage);
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    IDs vecSeen;
    {
        const LogWatch watch([&](const std::string&) { vecSeen.push_back(publisher.Readers(AF_SOURCE)); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    }
    EXPECT_LE(2u, vecSeen.size()) << "the container's line and the inspector's";
    EXPECT_EQ(IDs(vecSeen.size(), 0), vecSeen);
}

TEST(ReaderCount, IsOneWordOfOneSourceAndNoOtherIsTouched)
{
    Publisher publisher;
    publisher.Publish(AF_TARGET, SourceModel());
    publisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    IDs vecBefore;
    for (unsigned int uWord = 0; uWord < 30; ++uWord)
    {
        vecBefore.push_back(publisher.Word(uWord / 3, uWord % 3));
    }
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    {
        const LogWatch watch(
            [&](const std::string&)
            {
                for (unsigned int uWord = 0; uWord < 30; ++uWord)
                {
                    const bool bReaders = uWord == 3 * AF_SOURCE + 2;
                    EXPECT_EQ(vecBefore[uWord] + (bReaders ? 1 : 0), publisher.Word(uWord / 3, uWord % 3)) << uWord;
                }
            });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    }
    for (unsigned int uWord = 0; uWord < 30; ++uWord)
    {
        EXPECT_EQ(vecBefore[uWord], publisher.Word(uWord / 3, uWord % 3)) << uWord;
    }
}

TEST(ReaderCount, ACountAtItsGreatestValueWrapsAndComesBack)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    publisher.SetWord(AF_SOURCE, 2, 0xFFFFFFFFu);
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(0xFFFFFFFFu, publisher.Readers(AF_SOURCE));
}

TEST(UpdateCount, TheOldImageIsDroppedBeforeTheNewSectionIsOpened)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    std::vector<ErrorType> vecSeen;
    {
        const LogWatch watch([&](const std::string&) { vecSeen.push_back(reader.LastErrorType()); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
    }
    EXPECT_LE(1u, vecSeen.size());
    EXPECT_EQ(std::vector<ErrorType>(vecSeen.size(), ET_DATA_UNAVAILABLE), vecSeen);
}

TEST(UpdateCount, AChangeWhileTheReaderIsInsideIsTakenOverAsIfItHadBeenRead)
{
    // A large image, so that a second thread finds the reader inside.
    ModelContainer model = OneFileModel(VOTEXT("file"));
    model.numbers.InsertList(IDs(4000000, 7));
    Publisher publisher;
    publisher.Publish(AF_SOURCE, model);
    bool bCaught = false;
    for (int nTry = 0; nTry < 200 && !bCaught; ++nTry)
    {
        const unsigned int uCount = 1000 + 2 * static_cast<unsigned int>(nTry);
        publisher.SetCount(AF_SOURCE, uCount);
        ClosingInspector reader;
        ASSERT_EQ(ET_NONE, reader.OpenMappingState());
        std::atomic<bool> bDone{false};
        std::thread thread(
            [&]
            {
                while (publisher.Readers(AF_SOURCE) == 0 && !bDone)
                {
                }
                publisher.SetCount(AF_SOURCE, uCount + 1);
                // Still inside: so the change came before the reader's second look at the count.
                bCaught = publisher.Readers(AF_SOURCE) != 0;
            });
        EXPECT_EQ(ET_NONE, reader.OpenMappingData());
        bDone = true;
        thread.join();
        // Between its second look and its leaving the reader is inside too: such a change comes too late.
        bCaught = bCaught && reader.LastErrorType() == ET_NONE;
        if (bCaught)
        {
            EXPECT_EQ(ET_NONE, reader.OpenMappingData());
            publisher.SetCount(AF_SOURCE, uCount);
            EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType()) << "the count that was there before isn't the one kept";
        }
    }
    EXPECT_TRUE(bCaught);
}

// ---------------------------------------------------------------------------------------------------------------------
// Threads
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorThreads, TheFourOperationsOnOneInspectorFromManyThreadsLeaveTheCountExact)
{
    QuietLoop quiet;
    quiet.Next();
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    std::vector<std::thread> vecThreads;
    std::atomic<int> nUnexpected{0};
    for (unsigned int uThread = 0; uThread < 4; ++uThread)
    {
        vecThreads.emplace_back(
            [&, uThread]
            {
                Random random(uThread);
                for (int i = 0; i < 300; ++i)
                {
                    ErrorType eResult = ET_NONE;
                    switch (random.Below(4))
                    {
                        case 0:
                            eResult = reader.OpenMappingState();
                            break;
                        case 1:
                            eResult = reader.OpenMappingData();
                            break;
                        case 2:
                            eResult = reader.ReMappingData();
                            break;
                        default:
                            reader.CloseMapping();
                            break;
                    }
                    nUnexpected += eResult == ET_NONE || eResult == ET_STATE_UNAVAILABLE ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(0, nUnexpected.load());
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

TEST(InspectorThreads, ManyThreadsQueryOneInspector)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    std::vector<std::thread> vecThreads;
    std::atomic<int> nWrong{0};
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&]
            {
                for (int i = 0; i < 300; ++i)
                {
                    WideBuffer<> path;
                    IDs vecIDs;
                    int nType = 0;
                    nWrong += IdOf(reader, VOTEXT("top/d1/inner.txt")) != 7 ? 1 : 0;
                    nWrong += reader.GetAssetPath(7, MAX_PATH, path.szText) != 0 ? 0 : 1;
                    nWrong += reader.GetAssetChildIndexList(0, 3, vecIDs) != 0 && vecIDs.size() == 7 ? 0 : 1;
                    nWrong += reader.GetClassifyTypeByName(VOTEXT("text"), nType) != 0 && nType == -1 ? 0 : 1;
                    nWrong += reader.LastErrorTypeASync() == ET_NONE ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(0, nWrong.load());
}

TEST(InspectorThreads, TheErrorStateAndTheModeCanBeUsedBesideReloads)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    std::atomic<bool> bDone{false};
    std::atomic<int> nWrong{0};
    std::thread thread(
        [&]
        {
            while (!bDone)
            {
                const ErrorType eState = reader.LastErrorType();
                nWrong += eState == ET_NONE || eState == ET_DATA_UNAVAILABLE || eState == ET_DATA_OUTDATED ? 0 : 1;
                reader.SetInspectMode(SM_SYNC);
                (void)reader.LastErrorTypeASync();
                reader.SetInspectMode(SM_ASYNC);
            }
        });
    for (int i = 0; i < 300; ++i)
    {
        EXPECT_EQ(ET_NONE, reader.ReMappingData());
    }
    bDone = true;
    thread.join();
    EXPECT_EQ(0, nWrong.load());
}

TEST(InspectorThreads, AScribbledSectionNeverHarmsItsReader)
{
    QuietLoop quiet;
    const Bytes vecBlock = LiteralBlock(SourceModel().Image());
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, vecBlock);
    std::atomic<bool> bDone{false};
    std::thread thread(
        [&]
        {
            // Words of the block's head, stream and image change to and fro while the reader is at it.
            Random random(7);
            while (!bDone)
            {
                const size_t uAt = random.Below(random.Percent(50) ? 8 : vecBlock.size() / 4) * 4;
                std::atomic_ref<unsigned int> word(*reinterpret_cast<unsigned int*>(publisher.Data(AF_SOURCE) + uAt));
                word.store(random.Word());
                word.store(ReadU32(vecBlock, uAt));
            }
        });
    ClosingInspector reader;
    EXPECT_EQ(ET_NONE, reader.OpenMappingState());
    for (int i = 0; i < 400; ++i)
    {
        quiet.Next();
        const ErrorType eResult = reader.ReMappingData();
        EXPECT_TRUE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE) << eResult;
        (void)AskEverything(reader);
    }
    bDone = true;
    thread.join();
    EXPECT_EQ(0u, publisher.Readers(AF_SOURCE));
}

}  // namespace

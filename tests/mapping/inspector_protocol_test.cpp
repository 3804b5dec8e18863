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
        const LogCapture kTakeOver;
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
    Publisher kPublisher;
    kPublisher.SetCount(AF_SOURCE, 5);
    kPublisher.SetEnabled(AF_SOURCE, 1);
    kPublisher.SetWord(AF_SOURCE, 2, 40);
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    IDs vecSeen;
    {
        const LogWatch kWatch([&](const std::string&) { vecSeen.push_back(kPublisher.Readers(AF_SOURCE)); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    }
    EXPECT_THAT(vecSeen, ElementsAre(41));
    EXPECT_EQ(40u, kPublisher.Readers(AF_SOURCE));
}

TEST(ReaderCount, IsRaisedWhileTheBlockIsRead)
{
    Publisher kPublisher;
    kPublisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    IDs vecSeen;
    {
        const LogWatch kWatch([&](const std::string&) { vecSeen.push_back(kPublisher.Readers(AF_SOURCE)); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    }
    EXPECT_LE(1u, vecSeen.size());
    EXPECT_EQ(IDs(vecSeen.size(), 1), vecSeen);
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
}

TEST(ReaderCount, IsLoweredBeforeTheImageIsAttached)
{
    Bytes vecImage = SourceModel().Image();
    vecImage[6] ^= 1;
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, vecImage);
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    IDs vecSeen;
    {
        const LogWatch kWatch([&](const std::string&) { vecSeen.push_back(kPublisher.Readers(AF_SOURCE)); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    }
    EXPECT_LE(2u, vecSeen.size()) << "the container's line and the inspector's";
    EXPECT_EQ(IDs(vecSeen.size(), 0), vecSeen);
}

TEST(ReaderCount, IsOneWordOfOneSourceAndNoOtherIsTouched)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_TARGET, SourceModel());
    kPublisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    IDs vecBefore;
    for (unsigned int uWord = 0; uWord < 30; ++uWord)
    {
        vecBefore.push_back(kPublisher.Word(uWord / 3, uWord % 3));
    }
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    {
        const LogWatch kWatch(
            [&](const std::string&)
            {
                for (unsigned int uWord = 0; uWord < 30; ++uWord)
                {
                    const bool bReaders = uWord == 3 * AF_SOURCE + 2;
                    EXPECT_EQ(vecBefore[uWord] + (bReaders ? 1 : 0), kPublisher.Word(uWord / 3, uWord % 3)) << uWord;
                }
            });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    }
    for (unsigned int uWord = 0; uWord < 30; ++uWord)
    {
        EXPECT_EQ(vecBefore[uWord], kPublisher.Word(uWord / 3, uWord % 3)) << uWord;
    }
}

TEST(ReaderCount, ACountAtItsGreatestValueWrapsAndComesBack)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    kPublisher.SetWord(AF_SOURCE, 2, 0xFFFFFFFFu);
    ClosingInspector kReader;
    kReader.Load();
    EXPECT_EQ(0xFFFFFFFFu, kPublisher.Readers(AF_SOURCE));
}

TEST(UpdateCount, TheOldImageIsDroppedBeforeTheNewSectionIsOpened)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.PublishBlock(AF_SOURCE, BlockAround(votest::FromHex("FF414243"), 238));
    std::vector<ErrorType> vecSeen;
    {
        const LogWatch kWatch([&](const std::string&) { vecSeen.push_back(kReader.LastErrorType()); });
        EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
    }
    EXPECT_LE(1u, vecSeen.size());
    EXPECT_EQ(std::vector<ErrorType>(vecSeen.size(), ET_DATA_UNAVAILABLE), vecSeen);
}

TEST(UpdateCount, AChangeWhileTheReaderIsInsideIsTakenOverAsIfItHadBeenRead)
{
    // A large image, so that a second thread finds the reader inside.
    ModelContainer kModel = OneFileModel(VOTEXT("file"));
    kModel.kNumbers.InsertList(IDs(4000000, 7));
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, kModel);
    bool bCaught = false;
    for (int nTry = 0; nTry < 200 && !bCaught; ++nTry)
    {
        const unsigned int uCount = 1000 + 2 * static_cast<unsigned int>(nTry);
        kPublisher.SetCount(AF_SOURCE, uCount);
        ClosingInspector kReader;
        ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
        std::atomic<bool> bDone{false};
        std::thread kThread(
            [&]
            {
                while (kPublisher.Readers(AF_SOURCE) == 0 && !bDone)
                {
                }
                kPublisher.SetCount(AF_SOURCE, uCount + 1);
                // Still inside: so the change came before the reader's second look at the count.
                bCaught = kPublisher.Readers(AF_SOURCE) != 0;
            });
        EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
        bDone = true;
        kThread.join();
        // Between its second look and its leaving the reader is inside too: such a change comes too late.
        bCaught = bCaught && kReader.LastErrorType() == ET_NONE;
        if (bCaught)
        {
            EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
            kPublisher.SetCount(AF_SOURCE, uCount);
            EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType())
                << "the count that was there before isn't the one kept";
        }
    }
    EXPECT_TRUE(bCaught);
}

// ---------------------------------------------------------------------------------------------------------------------
// Threads
// ---------------------------------------------------------------------------------------------------------------------

TEST(InspectorThreads, TheFourOperationsOnOneInspectorFromManyThreadsLeaveTheCountExact)
{
    QuietLoop kQuiet;
    kQuiet.Next();
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    std::vector<std::thread> vecThreads;
    std::atomic<int> nUnexpected{0};
    for (unsigned int uThread = 0; uThread < 4; ++uThread)
    {
        vecThreads.emplace_back(
            [&, uThread]
            {
                Random kRandom(uThread);
                for (int i = 0; i < 300; ++i)
                {
                    ErrorType eResult = ET_NONE;
                    switch (kRandom.Below(4))
                    {
                        case 0:
                            eResult = kReader.OpenMappingState();
                            break;
                        case 1:
                            eResult = kReader.OpenMappingData();
                            break;
                        case 2:
                            eResult = kReader.ReMappingData();
                            break;
                        default:
                            kReader.CloseMapping();
                            break;
                    }
                    nUnexpected += eResult == ET_NONE || eResult == ET_STATE_UNAVAILABLE ? 0 : 1;
                }
            });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(0, nUnexpected.load());
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
    kReader.Load();
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(InspectorThreads, ManyThreadsQueryOneInspector)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    std::vector<std::thread> vecThreads;
    std::atomic<int> nWrong{0};
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&]
            {
                for (int i = 0; i < 300; ++i)
                {
                    WideBuffer<> kPath;
                    IDs vecIDs;
                    int nType = 0;
                    nWrong += IdOf(kReader, VOTEXT("top/d1/inner.txt")) != 7 ? 1 : 0;
                    nWrong += kReader.GetAssetPath(7, MAX_PATH, kPath.szText) != 0 ? 0 : 1;
                    nWrong += kReader.GetAssetChildIndexList(0, 3, vecIDs) != 0 && vecIDs.size() == 7 ? 0 : 1;
                    nWrong += kReader.GetClassifyTypeByName(VOTEXT("text"), nType) != 0 && nType == -1 ? 0 : 1;
                    nWrong += kReader.LastErrorTypeASync() == ET_NONE ? 0 : 1;
                }
            });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(0, nWrong.load());
}

TEST(InspectorThreads, TheErrorStateAndTheModeCanBeUsedBesideReloads)
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    std::atomic<bool> bDone{false};
    std::atomic<int> nWrong{0};
    std::thread kThread(
        [&]
        {
            while (!bDone)
            {
                const ErrorType eState = kReader.LastErrorType();
                nWrong += eState == ET_NONE || eState == ET_DATA_UNAVAILABLE || eState == ET_DATA_OUTDATED ? 0 : 1;
                kReader.SetInspectMode(SM_SYNC);
                (void)kReader.LastErrorTypeASync();
                kReader.SetInspectMode(SM_ASYNC);
            }
        });
    for (int i = 0; i < 300; ++i)
    {
        EXPECT_EQ(ET_NONE, kReader.ReMappingData());
    }
    bDone = true;
    kThread.join();
    EXPECT_EQ(0, nWrong.load());
}

TEST(InspectorThreads, AScribbledSectionNeverHarmsItsReader)
{
    QuietLoop kQuiet;
    const Bytes vecBlock = LiteralBlock(SourceModel().Image());
    Publisher kPublisher;
    kPublisher.PublishBlock(AF_SOURCE, vecBlock);
    std::atomic<bool> bDone{false};
    std::thread kThread(
        [&]
        {
            // Words of the block's head, stream and image change to and fro while the reader is at it.
            Random kRandom(7);
            while (!bDone)
            {
                const size_t uAt = kRandom.Below(kRandom.Percent(50) ? 8 : vecBlock.size() / 4) * 4;
                std::atomic_ref<unsigned int> kWord(*reinterpret_cast<unsigned int*>(kPublisher.Data(AF_SOURCE) + uAt));
                kWord.store(kRandom.Word());
                kWord.store(ReadU32(vecBlock, uAt));
            }
        });
    ClosingInspector kReader;
    EXPECT_EQ(ET_NONE, kReader.OpenMappingState());
    for (int i = 0; i < 400; ++i)
    {
        kQuiet.Next();
        const ErrorType eResult = kReader.ReMappingData();
        EXPECT_TRUE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE) << eResult;
        (void)AskEverything(kReader);
    }
    bDone = true;
    kThread.join();
    EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE));
}

}  // namespace

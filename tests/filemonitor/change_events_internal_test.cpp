// From hand-made change records to events: every action, every length, every split of a rename between two reads.
#include <string.h>

#include <filesystem>
#include <fstream>

#include "filemonitor/change_events.h"
#include "filemonitor/monitor_test_tools.h"
#include "filemonitor/temporary_folder.h"
#include "support/bytes.h"

namespace
{
using namespace monitortest;

constexpr size_t kBufferSize = 4096;

struct Record
{
    unsigned uAction;
    VOWString strName;
};

void PutWord(unsigned char* pTo, unsigned uValue)
{
    const unsigned char abWord[4] = {static_cast<unsigned char>(uValue), static_cast<unsigned char>(uValue >> 8),
                                     static_cast<unsigned char>(uValue >> 16),
                                     static_cast<unsigned char>(uValue >> 24)};
    memcpy(pTo, abWord, sizeof(abWord));
}

// The bytes of records: next offset, action, length of the name in bytes, name; each at a multiple of four.
std::vector<unsigned char> BufferOf(const std::vector<Record>& vecRecords)
{
    std::vector<unsigned char> vecBuffer(kBufferSize, 0);
    size_t uOffset = 0;
    for (size_t i = 0; i < vecRecords.size(); ++i)
    {
        const VOWString& strName = vecRecords[i].strName;
        const size_t uNext = (12 + strName.size() * 2 + 3) / 4 * 4;
        PutWord(&vecBuffer[uOffset], i + 1 < vecRecords.size() ? static_cast<unsigned>(uNext) : 0);
        PutWord(&vecBuffer[uOffset + 4], vecRecords[i].uAction);
        PutWord(&vecBuffer[uOffset + 8], static_cast<unsigned>(strName.size() * 2));
        for (size_t k = 0; k < strName.size(); ++k)
        {
            vecBuffer[uOffset + 12 + k * 2] = static_cast<unsigned char>(strName[k]);
            vecBuffer[uOffset + 13 + k * 2] = static_cast<unsigned char>(strName[k] >> 8);
        }
        uOffset += uNext;
    }
    return vecBuffer;
}

// The clock of these tests: it stands still unless a test moves it.
unsigned long long g_ullNow = 1000000;

unsigned long long Now()
{
    return g_ullNow;
}

// A reader of buffers that keeps what it passes on.
class Fed
{
public:
    explicit Fed(VOWString strRoot = VOTEXT("C:\\data")) : m_strRoot(std::move(strRoot)) {}

    void Read(const std::vector<unsigned char>& vecBuffer)
    {
        // At its exact size, so that a read behind the end is seen.
        const votest::MisalignedBlock block(vecBuffer, 0);
        m_events.Read(m_strRoot, block.As<const unsigned char>(), vecBuffer.size(),
                      [this](const Event& event) { vecEvents.push_back(event); });
    }
    void Read(const std::vector<Record>& vecRecords) { Read(BufferOf(vecRecords)); }

    // "1 C:/data/a", "3 C:/data/a C:/data/b b"
    std::vector<std::string> Told() const
    {
        std::vector<std::string> vecTold;
        for (const Event& event : vecEvents)
        {
            std::string strTold = std::to_string(event.nEventType) + " " + votest::Shown(event.strFilePath);
            if (event.nEventType == 3)
            {
                strTold += " " + votest::Shown(event.strNewFilePath) + " " + votest::Shown(event.strNewFileName);
            }
            vecTold.push_back(strTold);
        }
        return vecTold;
    }

    std::vector<Event> vecEvents;

private:
    VOWString m_strRoot;
    ChangeEvents m_events{Now};
};

typedef std::vector<std::string> Texts;

TEST(ChangeEvents, EachActionGivesItsEventWithForwardSlashesInTheWholePath)
{
    Fed fed;
    fed.Read({{1, VOTEXT("sub\\a.txt")}, {2, VOTEXT("b")}, {3, VOTEXT("c")}, {4, VOTEXT("d")}, {5, VOTEXT("e\\f")}});
    EXPECT_EQ((Texts{"1 C:/data/sub/a.txt", "2 C:/data/b", "4 C:/data/c", "3 C:/data/d C:/data/e/f f"}), fed.Told());
    for (const Event& event : fed.vecEvents)
    {
        EXPECT_EQ(g_ullNow, event.uTickCount);
    }
}

TEST(ChangeEvents, ARootWithATrailingSeparatorGivesADoubledOne)
{
    Fed fed(VOTEXT("C:\\data\\"));
    fed.Read({{1, VOTEXT("a")}});
    EXPECT_EQ((Texts{"1 C:/data//a"}), fed.Told());
}

TEST(ChangeEvents, OtherActionsAreIgnored)
{
    Fed fed;
    fed.Read({{0, VOTEXT("a")}, {6, VOTEXT("b")}, {0xFFFFFFFF, VOTEXT("c")}, {1, VOTEXT("d")}});
    EXPECT_EQ((Texts{"1 C:/data/d"}), fed.Told());
}

TEST(ChangeEvents, ARecordWithoutANameIsAboutThePathBefore)
{
    Fed fed;
    fed.Read({{1, VOTEXT("")}});
    fed.Read({{6, VOTEXT("a")}, {2, VOTEXT("")}});
    EXPECT_EQ((Texts{"1 ", "2 C:/data/a"}), fed.Told());
}

TEST(ChangeEvents, AnOldNameAtTheEndOfOneReadAndItsNewNameInTheNextGiveOneRename)
{
    const std::vector<Record> vecRecords{
        {1, VOTEXT("before")}, {4, VOTEXT("old")}, {5, VOTEXT("new")}, {2, VOTEXT("behind")}};
    for (size_t uSplit = 0; uSplit <= vecRecords.size(); ++uSplit)
    {
        Fed fed;
        const auto itSplit = vecRecords.begin() + static_cast<ptrdiff_t>(uSplit);
        if (uSplit > 0)
        {
            fed.Read(std::vector<Record>(vecRecords.begin(), itSplit));
        }
        if (uSplit < vecRecords.size())
        {
            fed.Read(std::vector<Record>(itSplit, vecRecords.end()));
        }
        EXPECT_EQ((Texts{"1 C:/data/before", "3 C:/data/old C:/data/new new", "2 C:/data/behind"}), fed.Told())
            << "split before record " << uSplit;
    }
}

TEST(ChangeEvents, ANewNameAloneIsToldWithThePreviousOldNameOrNone)
{
    Fed fed;
    fed.Read({{5, VOTEXT("in")}, {4, VOTEXT("old")}, {5, VOTEXT("new")}, {5, VOTEXT("other")}});
    EXPECT_EQ((Texts{"3  C:/data/in in", "3 C:/data/old C:/data/new new", "3 C:/data/old C:/data/other other"}),
              fed.Told());
}

TEST(ChangeEvents, AnOldNameAloneGivesNoEvent)
{
    Fed fed;
    fed.Read({{4, VOTEXT("old")}, {1, VOTEXT("a")}});
    EXPECT_EQ((Texts{"1 C:/data/a"}), fed.Told());
}

TEST(ChangeEvents, TheNewFileNameIsEmptyBehindATrailingSlash)
{
    Fed fed;
    fed.Read({{4, VOTEXT("old")}, {5, VOTEXT("new\\")}});
    EXPECT_EQ((Texts{"3 C:/data/old C:/data/new/ "}), fed.Told());
}

TEST(ChangeEvents, RepetitionsInARunAreOneEvent)
{
    Fed fed;
    fed.Read({{3, VOTEXT("a")}, {3, VOTEXT("a")}, {3, VOTEXT("a")}});
    EXPECT_EQ((Texts{"4 C:/data/a"}), fed.Told());
}

TEST(ChangeEvents, AModifiedAnAddAndAModifiedOfOnePathAreThreeEvents)
{
    Fed fed;
    fed.Read({{3, VOTEXT("a")}, {1, VOTEXT("a")}, {3, VOTEXT("a")}});
    EXPECT_EQ((Texts{"4 C:/data/a", "1 C:/data/a", "4 C:/data/a"}), fed.Told());
}

TEST(ChangeEvents, PathsInAnotherLetterCaseAreNoRepetition)
{
    Fed fed;
    fed.Read({{3, VOTEXT("a")}, {3, VOTEXT("A")}});
    EXPECT_EQ((Texts{"4 C:/data/a", "4 C:/data/A"}), fed.Told());
}

TEST(ChangeEvents, ASecondRenameWithTheSameOldPathAndLeafNameIsSuppressedWhateverItsFolder)
{
    Fed fed;
    fed.Read({{4, VOTEXT("a")}, {5, VOTEXT("one\\b")}, {5, VOTEXT("other\\b")}});
    EXPECT_EQ((Texts{"3 C:/data/a C:/data/one/b b"}), fed.Told());
}

TEST(ChangeEvents, ABufferThatIsReadAgainIsToldAgain)
{
    Fed fed;
    const std::vector<unsigned char> vecBuffer = BufferOf({{1, VOTEXT("a")}, {2, VOTEXT("b")}});
    fed.Read(vecBuffer);
    fed.Read(vecBuffer);
    EXPECT_EQ((Texts{"1 C:/data/a", "2 C:/data/b", "1 C:/data/a", "2 C:/data/b"}), fed.Told());
}

TEST(ChangeEvents, AFreshBufferHoldsNothing)
{
    Fed fed;
    fed.Read(std::vector<unsigned char>(kBufferSize, 0));
    EXPECT_TRUE(fed.vecEvents.empty());
}

TEST(ChangeEvents, ANameOfAnyLengthIsKeptWhole)
{
    for (const size_t uLength : {1u, 2u, 258u, 259u, 260u, 261u, 1000u})
    {
        Fed fed;
        fed.Read({{1, VOWString(uLength, VOWCHAR('n'))}});
        ASSERT_EQ(1u, fed.vecEvents.size());
        EXPECT_EQ(VOWString(VOTEXT("C:/data/")) + VOWString(uLength, VOWCHAR('n')), fed.vecEvents[0].strFilePath);
    }
}

TEST(ChangeEvents, ANameEndsAtItsFirstZero)
{
    Fed fed;
    fed.Read({{1, VOWString(VOTEXT("a\0b"), 3)}});
    EXPECT_EQ((Texts{"1 C:/data/a"}), fed.Told());
}

TEST(ChangeEvents, RecordsThatLieAboutTheirSizeEndInsideTheBuffer)
{
    const std::vector<unsigned char> vecSound = BufferOf({{1, VOTEXT("ab")}, {2, VOTEXT("cd")}, {3, VOTEXT("ef")}});
    for (const size_t uWord : {0u, 8u, 16u, 24u})
    {
        for (unsigned uBit = 0; uBit < 32; ++uBit)
        {
            std::vector<unsigned char> vecBuffer = vecSound;
            vecBuffer[uWord + uBit / 8] ^= static_cast<unsigned char>(1u << uBit % 8);
            Fed fed;
            fed.Read(vecBuffer);
            EXPECT_LE(fed.vecEvents.size(), kBufferSize);
        }
    }
    for (size_t uCut = 0; uCut < 64; ++uCut)
    {
        Fed fed;
        fed.Read(std::vector<unsigned char>(vecSound.begin(), vecSound.begin() + static_cast<ptrdiff_t>(uCut)));
        EXPECT_LE(fed.vecEvents.size(), 3u);
    }
}

// How many events the Modified records of one file give that come at these milliseconds.
size_t EventsOfRecordsAt(const std::vector<unsigned>& vecTimes)
{
    const unsigned long long ullStart = g_ullNow;
    Fed fed;
    for (const unsigned uTime : vecTimes)
    {
        g_ullNow = ullStart + uTime;
        fed.Read({{3, VOTEXT("a")}});
    }
    return fed.vecEvents.size();
}

TEST(ChangeEvents, TwoModifiedRecordsWithin499MillisecondsAreOneEventAndWith500Two)
{
    EXPECT_EQ(1u, EventsOfRecordsAt({0, 499}));
    EXPECT_EQ(2u, EventsOfRecordsAt({0, 500}));
}

TEST(ChangeEvents, ThreeModifiedRecordsAt0And400And800AreOneEvent)
{
    EXPECT_EQ(1u, EventsOfRecordsAt({0, 400, 800}));
    EXPECT_EQ(2u, EventsOfRecordsAt({0, 400, 800, 1300}));
}

TEST(ChangeEvents, AModifiedFolderGivesNothingAndDoesNotDisturbTheRecordsAroundIt)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path() / "folder");
    std::ofstream(folder.Path() / "file") << "x";
    Fed fed(folder.Text());
    fed.Read({{3, VOTEXT("file")}, {3, VOTEXT("folder")}, {3, VOTEXT("file")}, {3, VOTEXT("gone")}});
    ASSERT_EQ(2u, fed.vecEvents.size());
    EXPECT_TRUE(fed.vecEvents[0].strFilePath.ends_with(VOTEXT("/file")));
    EXPECT_TRUE(fed.vecEvents[1].strFilePath.ends_with(VOTEXT("/gone"))) << "what isn't there counts as a file";
}

}  // namespace

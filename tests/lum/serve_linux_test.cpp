// What only a system with killed processes, users and directory permissions can show of the publisher.
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <thread>

#include "platform/vo_platform.h"
#include "platform/vo_section_publisher.h"
#include "tests/lum_support/lum_test_support.h"
#include "vots_file_mapping.h"

using nlohmann::json;
using namespace LUMTrayService;

namespace
{

// The update state section of whoever published last, as a publisher or reader could write it.
class StateSection
{
public:
    StateSection()
    {
        m_hSection = OpenFileMappingW(FILE_MAP_WRITE, 0, FILEMAPPING_ASSETNODE_UPDATESTATE_NAME);
        m_pkState = m_hSection == nullptr
                        ? nullptr
                        : static_cast<AssetNodeUpdateState*>(MapViewOfFile(m_hSection, FILE_MAP_WRITE, 0, 0, 0));
    }
    ~StateSection()
    {
        UnmapViewOfFile(m_pkState);
        CloseHandle(m_hSection);
    }
    StateSection(const StateSection&) = delete;
    StateSection& operator=(const StateSection&) = delete;

    bool IsOpen() const { return m_pkState != nullptr; }
    AssetNodeStateInfo& Record(enumAssetFrom eaf) { return m_pkState->arrStateInfo[eaf]; }

private:
    HANDLE m_hSection;
    AssetNodeUpdateState* m_pkState;
};

bool DataSectionExists(enumAssetFrom eaf)
{
    HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, 0, ASSETNODE_MAPPING_VIEW_STRING(eaf));
    if (hSection != nullptr)
    {
        CloseHandle(hSection);
    }
    return hSection != nullptr;
}

// Starts a publisher and kills it when it publishes.
void ServeAndKill(const std::vector<std::string>& vecArguments)
{
    LumServe kServe(vecArguments);
    ASSERT_TRUE(kServe.Publishes()) << kServe.Process().Err();
    kServe.Process().Kill();
}

}  // namespace

TEST(LumKilled, ItsSectionsStayAndTheNextPublisherTakesThemOver)
{
    TemporaryFolder kFolder;
    kFolder.Write("old/a.txt", "1");
    kFolder.Write("new/b.txt", "1");
    ServeAndKill({"--source", kFolder.Name("old")});
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["update_count"], 1);

    LumServe kNext({"--source", kFolder.Name("new")});
    ASSERT_TRUE(kNext.Publishes()) << kNext.Process().Err();
    EXPECT_EQ(RunLum({"ls"}).strOut, "b.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["update_count"], 2);
    EXPECT_EQ(kNext.Stop(), 0);
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

TEST(LumKilled, AReaderOfTheKilledOneSeesTheNextOne)
{
    TemporaryFolder kFolder;
    kFolder.Write("old/a.txt", "1");
    kFolder.Write("new/b.txt", "1");
    ServeAndKill({"--source", kFolder.Name("old")});
    VOTSFileMappingAssemble* pkAssemble = VOTSFileMappingAssemble::Instance();
    ASSERT_EQ(pkAssemble->OpenMappingState(), Inspector::ET_NONE);
    ASSERT_EQ(pkAssemble->OpenMappingData(), Inspector::ET_NONE);
    structAssetNode kNode;
    EXPECT_EQ(pkAssemble->GetAssetNode(kNode, VOTEXT("a.txt"), AF_SOURCE, nullptr), 1);
    {
        const LumServe kNext({"--source", kFolder.Name("new")});
        EXPECT_EQ(pkAssemble->LastErrorType(), Inspector::ET_DATA_OUTDATED);
        EXPECT_EQ(pkAssemble->ReMappingData(), Inspector::ET_NONE);
        EXPECT_EQ(pkAssemble->GetAssetNode(kNode, VOTEXT("b.txt"), AF_SOURCE, nullptr), 1);
        EXPECT_EQ(pkAssemble->GetAssetNode(kNode, VOTEXT("a.txt"), AF_SOURCE, nullptr), 0);
    }
    EXPECT_EQ(pkAssemble->ReMappingData(), Inspector::ET_SOURCE_DISABLED);
    VOTSFileMappingAssemble::Release();
}

TEST(LumKilled, SourcesThatTheNextOneDoesntServeAreWithdrawn)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    ServeAndKill({"--source", kFolder.Name(), "--target", kFolder.Name(), "--merge-source", kFolder.Name()});
    ASSERT_TRUE(DataSectionExists(AF_TARGET));
    const LumServe kNext({"--merge-source", kFolder.Name()});
    const json kSources = LumJson({"image", "--state"})["sources"];
    EXPECT_EQ(kSources[0]["enabled"], false);
    EXPECT_EQ(kSources[1]["enabled"], false);
    EXPECT_EQ(kSources[7]["enabled"], true);
    EXPECT_EQ(kSources[7]["update_count"], 2);
    EXPECT_FALSE(DataSectionExists(AF_SOURCE));
    EXPECT_FALSE(DataSectionExists(AF_TARGET));
    EXPECT_TRUE(DataSectionExists(AF_MERGESRC));
}

TEST(LumKilled, TheUpdateCountSkipsZero)
{
    TemporaryFolder kFolder;
    ServeAndKill({"--source", kFolder.Name()});
    {
        StateSection kState;
        ASSERT_TRUE(kState.IsOpen());
        kState.Record(AF_SOURCE).uUpdateCount = 0xFFFFFFFF;
    }
    const LumServe kNext({"--source", kFolder.Name()});
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["update_count"], 1);
}

TEST(LumKilled, AReaderCountThatADeadReaderLeftDoesntStopTheNextOneAndStays)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    ServeAndKill({"--source", kFolder.Name()});
    {
        StateSection kState;
        ASSERT_TRUE(kState.IsOpen());
        kState.Record(AF_SOURCE).uReaderCount = 3;
    }
    LumServe kNext({"--source", kFolder.Name()});
    ASSERT_TRUE(kNext.Publishes()) << kNext.Process().Err();
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["readers"], 3);
    EXPECT_EQ(kNext.Stop(), 0);
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

// A publisher that doesn't wait publishes in a small part of the time for which this one is watched.
TEST(LumKilled, TheNextOneChangesNothingWhileAReaderIsInside)
{
    constexpr std::chrono::milliseconds kWatched(1500);
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    ServeAndKill({"--source", kFolder.Name()});
    StateSection kState;
    ASSERT_TRUE(kState.IsOpen());
    std::atomic_ref<unsigned> kReaders(kState.Record(AF_SOURCE).uReaderCount);
    std::atomic_ref<unsigned> kCount(kState.Record(AF_SOURCE).uUpdateCount);
    kReaders.store(1);
    const auto tEnd = std::chrono::steady_clock::now() + kWatched;
    LumProcess kNext({"serve", "--once", "--source", kFolder.Name()});
    while (std::chrono::steady_clock::now() < tEnd)
    {
        const unsigned uCount = kCount.load();
        const bool bInTime = std::chrono::steady_clock::now() < tEnd;
        ASSERT_TRUE(uCount == 1 || !bInTime);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kReaders.store(0);
    while (kNext.IsRunning() && !Contains(kNext.Out(), "serving"))
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(kCount.load(), 2u);
    EXPECT_EQ(kReaders.load(), 0u);
    EXPECT_TRUE(kNext.RequestStop());
    EXPECT_EQ(kNext.Wait(), 0);
}

TEST(LumKilled, WhoeverSeesTheNewCountSeesTheNewData)
{
    TemporaryFolder kFolder;
    ServeAndKill({"--source", kFolder.Name()});
    VOTSFileMappingInspector kInspector(AF_SOURCE);
    ASSERT_EQ(kInspector.OpenMappingState(), Inspector::ET_NONE);
    ASSERT_EQ(kInspector.OpenMappingData(), Inspector::ET_NONE);
    for (unsigned i = 0; i < 25; ++i)
    {
        const std::string strName = "file" + std::to_string(i);
        kFolder.Write(strName, "1");
        LumProcess kNext({"serve", "--once", "--source", kFolder.Name()});
        while (kNext.IsRunning() && kInspector.LastErrorType() == Inspector::ET_NONE)
        {
        }
        ASSERT_EQ(kInspector.OpenMappingData(), Inspector::ET_NONE);
        structAssetNode kNode;
        EXPECT_EQ(kInspector.GetAssetNode(VOWString(strName.begin(), strName.end()).c_str(), kNode), 1) << strName;
        kNext.Kill();
    }
    kInspector.CloseMapping();
    LumServe kLast({"--source", kFolder.Name()});
    EXPECT_EQ(kLast.Stop(), 0);
}

TEST(LumKilled, AStateSectionOfAnotherVersionIsMadeAnew)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    ServeAndKill({"--source", kFolder.Name(), "--target", kFolder.Name()});
    {
        HANDLE hSection = OpenFileMappingW(FILE_MAP_WRITE, 0, FILEMAPPING_ASSETNODE_UPDATESTATE_NAME);
        void* pView = MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0);
        ASSERT_NE(pView, nullptr);
        memcpy(pView, "version.9.9", 12);
        UnmapViewOfFile(pView);
        CloseHandle(hSection);
    }
    EXPECT_EQ(RunLum({"ls"}).nExitCode, 2);
    const LumServe kNext({"--source", kFolder.Name()});
    ASSERT_TRUE(kNext.Publishes());
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][1]["enabled"], false);
}

TEST(LumKilled, AStateSectionThatIsTooSmallIsMadeAnew)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    {
        VOPublishedSection kSmall;
        ASSERT_TRUE(kSmall.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, "version.2.4", 12));
        EXPECT_EQ(RunLum({"ls"}).nExitCode, 2);
        EXPECT_EQ(RunLum({"status"}).nExitCode, 2);
        EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 2);
        kSmall.Detach();
    }
    const LumServe kNext({"--source", kFolder.Name()});
    ASSERT_TRUE(kNext.Publishes());
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
}

TEST(LumKilled, AtAnyMomentTheNextPublisherTakesOverCleanly)
{
    TemporaryFolder kFolder;
    for (unsigned i = 0; i < 400; ++i)
    {
        kFolder.Write("folder" + std::to_string(i % 20) + "/file" + std::to_string(i) + ".png", "x");
    }
    const std::string strRoot = kFolder.Name();
    std::mt19937 kRandom(20240229);
    const unsigned uRounds = 40;
    for (unsigned i = 0; i < uRounds; ++i)
    {
        LumProcess kServe({"serve", "--once", "--source", strRoot, "--target", strRoot, "--merge-source", strRoot});
        std::this_thread::sleep_for(std::chrono::microseconds(kRandom() % 40000));
        kServe.Kill();
        // Whatever is there now is whole, or it isn't there.
        const LumResult kTree = RunLum({"tree", "--from", "source"});
        EXPECT_TRUE(kTree.nExitCode == 0 || kTree.nExitCode == 2) << kTree.nExitCode;
        EXPECT_TRUE(kTree.nExitCode != 0 || kTree.strOut.ends_with("20 folders, 400 files\n"));
        EXPECT_FALSE(Contains(kTree.strErr, "damaged")) << kTree.strErr;
    }
    LumServe kLast({"--source", strRoot});
    ASSERT_TRUE(kLast.Publishes()) << kLast.Process().Err();
    EXPECT_TRUE(RunLum({"tree"}).strOut.ends_with("20 folders, 400 files\n"));
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
    EXPECT_EQ(kLast.Stop(), 0);
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

TEST(LumKilled, AReaderAtAnyMomentOfItLeavesThePublisherAlone)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    LumServe kServe({"--source", kFolder.Name()});
    std::mt19937 kRandom(7);
    for (unsigned i = 0; i < 30; ++i)
    {
        LumProcess kReader({"tree"});
        std::this_thread::sleep_for(std::chrono::microseconds(kRandom() % 8000));
        kReader.Kill();
    }
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(kServe.Stop(), 0);
}

TEST(LumStopped, EitherSignalWithdrawsEverything)
{
    TemporaryFolder kFolder;
    for (const int nSignal : {SIGINT, SIGTERM})
    {
        LumServe kServe({"--source", kFolder.Name()});
        ASSERT_TRUE(kServe.Publishes());
        ASSERT_EQ(kill(static_cast<pid_t>(kServe.Process().ProcessId()), nSignal), 0);
        EXPECT_EQ(kServe.Process().Wait(), 0);
        EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
    }
}

namespace
{

// Runs a part of a test as a user for whom permissions count.
class LumPermissions : public testing::Test
{
protected:
    void SetUp() override
    {
        m_kFolder.Write("open/a.txt", "1");
        m_kFolder.Write("closed/hidden.txt", "1");
        m_kFolder.Write("closed/deeper/hidden.txt", "1");
        chmod(m_kFolder.Name().c_str(), 0755);
        chmod(m_kFolder.Name("closed").c_str(), 0);
    }

    void TearDown() override { chmod(m_kFolder.Name("closed").c_str(), 0755); }

    // The result of the body in a child process without privileges: 0 for true.
    template <typename Body>
    static int AsPlainUser(const Body& fnBody)
    {
        const pid_t nChild = fork();
        if (nChild == 0)
        {
            constexpr uid_t kNobody = 65534;
            const bool bPlain = geteuid() != 0 || (setgid(kNobody) == 0 && setuid(kNobody) == 0);
            _exit(bPlain ? (fnBody() ? 0 : 1) : 77);
        }
        int nStatus = 0;
        waitpid(nChild, &nStatus, 0);
        return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    }

    TemporaryFolder m_kFolder;
};

}  // namespace

TEST_F(LumPermissions, AFolderThatCantBeReadIsListedItselfAndReportedByName)
{
    const int nResult = AsPlainUser(
        [&]()
        {
            LumServe kServe({"--source", m_kFolder.Name()});
            const std::string strErr = kServe.Process().Err();
            return kServe.Publishes() && RunLum({"find"}).strOut == "closed\nopen\nopen/a.txt\n" &&
                   Contains(strErr, "not indexed: closed: can't be listed: ") &&
                   Contains(strErr, "source: 1 not indexed\n") && kServe.Stop() == 0;
        });
    EXPECT_EQ(nResult, 0);
}

TEST_F(LumPermissions, ARootThatCantBeReadIsAnErrorAndNothingIsPublished)
{
    const int nResult = AsPlainUser(
        [&]()
        {
            const LumResult kResult = RunLum({"serve", "--once", "--source", m_kFolder.Name("closed")});
            return kResult.nExitCode == 2 && Contains(kResult.strErr, "can't be listed: ") &&
                   RunLum({"image", "--state"}).nExitCode == 1;
        });
    EXPECT_EQ(nResult, 0);
}

TEST_F(LumPermissions, AFileThatCantBeReadIsIndexedAllTheSame)
{
    chmod(m_kFolder.Name("open/a.txt").c_str(), 0);
    const int nResult = AsPlainUser(
        [&]()
        {
            const LumServe kServe({"--source", m_kFolder.Name("open")});
            return RunLum({"find"}).strOut == "a.txt\n";
        });
    EXPECT_EQ(nResult, 0);
}

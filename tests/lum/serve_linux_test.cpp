// What only a system with killed processes, users and directory permissions can show of the publisher.
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <random>
#include <thread>

#include "platform/vo_platform.h"
#include "platform/vo_section_publisher.h"
#include "tests/lum_support/lum_test_support.h"
#include "vo_utility.h"
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
        m_pState = m_hSection == nullptr
                       ? nullptr
                       : static_cast<AssetNodeUpdateState*>(MapViewOfFile(m_hSection, FILE_MAP_WRITE, 0, 0, 0));
    }
    ~StateSection()
    {
        UnmapViewOfFile(m_pState);
        CloseHandle(m_hSection);
    }
    StateSection(const StateSection&) = delete;
    StateSection& operator=(const StateSection&) = delete;

    bool IsOpen() const { return m_pState != nullptr; }
    AssetNodeStateInfo& Record(enumAssetFrom eaf) { return m_pState->arrStateInfo[eaf]; }

private:
    HANDLE m_hSection;
    AssetNodeUpdateState* m_pState;
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

// How many sections of this run have that in their name; '~' is kept as "%7E".
size_t SectionsNamed(const std::string& strPart)
{
    const std::string strRun = std::string(".") + getenv("VOBASE_NAMESPACE") + ".";
    size_t uCount = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm"))
    {
        const std::string strName = entry.path().filename().string();
        uCount += Contains(strName, strRun) && Contains(strName, "%7E" + strPart) ? 1 : 0;
    }
    return uCount;
}

// Starts a publisher and kills it when it publishes.
void ServeAndKill(const std::vector<std::string>& vecArguments)
{
    LumServe serve(vecArguments);
    ASSERT_TRUE(serve.Publishes()) << serve.Process().Err();
    serve.Process().Kill();
}

}  // namespace

TEST(LumKilled, ItsSectionsStayAndTheNextPublisherTakesThemOver)
{
    TemporaryFolder folder;
    folder.Write("old/a.txt", "1");
    folder.Write("new/b.txt", "1");
    ServeAndKill({"--source", folder.Name("old")});
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["update_count"], 1);

    LumServe next({"--source", folder.Name("new")});
    ASSERT_TRUE(next.Publishes()) << next.Process().Err();
    EXPECT_EQ(RunLum({"ls"}).strOut, "b.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["update_count"], 2);
    EXPECT_EQ(next.Stop(), 0);
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

TEST(LumKilled, AReaderOfTheKilledOneSeesTheNextOne)
{
    TemporaryFolder folder;
    folder.Write("old/a.txt", "1");
    folder.Write("new/b.txt", "1");
    ServeAndKill({"--source", folder.Name("old")});
    VOTSFileMappingAssemble* pAssemble = VOTSFileMappingAssemble::Instance();
    ASSERT_EQ(pAssemble->OpenMappingState(), Inspector::ET_NONE);
    ASSERT_EQ(pAssemble->OpenMappingData(), Inspector::ET_NONE);
    structAssetNode node;
    EXPECT_EQ(pAssemble->GetAssetNode(node, VOTEXT("a.txt"), AF_SOURCE, nullptr), 1);
    {
        const LumServe next({"--source", folder.Name("new")});
        EXPECT_EQ(pAssemble->LastErrorType(), Inspector::ET_DATA_OUTDATED);
        EXPECT_EQ(pAssemble->ReMappingData(), Inspector::ET_NONE);
        EXPECT_EQ(pAssemble->GetAssetNode(node, VOTEXT("b.txt"), AF_SOURCE, nullptr), 1);
        EXPECT_EQ(pAssemble->GetAssetNode(node, VOTEXT("a.txt"), AF_SOURCE, nullptr), 0);
    }
    EXPECT_EQ(pAssemble->ReMappingData(), Inspector::ET_SOURCE_DISABLED);
    VOTSFileMappingAssemble::Release();
}

TEST(LumKilled, SourcesThatTheNextOneDoesntServeAreWithdrawn)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name(), "--target", folder.Name(), "--merge-source", folder.Name()});
    ASSERT_TRUE(DataSectionExists(AF_TARGET));
    const LumServe next({"--merge-source", folder.Name()});
    const json sources = LumJson({"image", "--state"})["sources"];
    EXPECT_EQ(sources[0]["enabled"], false);
    EXPECT_EQ(sources[1]["enabled"], false);
    EXPECT_EQ(sources[7]["enabled"], true);
    EXPECT_EQ(sources[7]["update_count"], 2);
    EXPECT_FALSE(DataSectionExists(AF_SOURCE));
    EXPECT_FALSE(DataSectionExists(AF_TARGET));
    EXPECT_TRUE(DataSectionExists(AF_MERGESRC));
}

TEST(LumKilled, ABaseThatItLeftIsntTakenForTheImageOfAnotherPublisher)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name()});
    EXPECT_EQ(SectionsNamed("base"), 1u);
    // One that knows nothing of bases goes on with the same count.
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("/"), VOTEXT("Other"));
    structAssetNode node;
    int nExisted = 0;
    ASSERT_EQ(container.RequestAssetNode(VOTEXT("other.txt"), node, nExisted), 1);
    const std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, decltype(&free)> pImage(container.GetAlloc(), &free);
    unsigned char* pbBlock = nullptr;
    unsigned uSize = 0;
    ASSERT_NE(VOCompressBuffer_lzo1x(&pbBlock, &uSize, reinterpret_cast<unsigned char*>(pImage.get()),
                                     pImage->uDataBufSize + static_cast<unsigned>(sizeof(*pImage))),
              0);
    const std::unique_ptr<unsigned char, decltype(&free)> pBlock(pbBlock, &free);
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE), pbBlock, uSize));
    VOTSFileMappingInspector inspector(AF_SOURCE);
    ASSERT_EQ(inspector.OpenMappingState(), Inspector::ET_NONE);
    ASSERT_EQ(inspector.OpenMappingData(), Inspector::ET_NONE);
    EXPECT_EQ(inspector.GetAssetNode(VOTEXT("other.txt"), node), 1);
    EXPECT_EQ(inspector.GetAssetNode(VOTEXT("a.txt"), node), 0);
    inspector.CloseMapping();
}

TEST(LumKilled, TheNextOneTakesAwayTheBaseThatItLeft)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name(), "--target", folder.Name()});
    EXPECT_EQ(SectionsNamed("base"), 2u);
    EXPECT_EQ(SectionsNamed("log"), 2u);
    LumServe next({"--source", folder.Name()});
    ASSERT_TRUE(next.Publishes()) << next.Process().Err();
    EXPECT_EQ(SectionsNamed("base"), 1u);
    EXPECT_EQ(SectionsNamed("log"), 1u);
    EXPECT_EQ(next.Stop(), 0);
    EXPECT_EQ(SectionsNamed("base") + SectionsNamed("log"), 0u);
}

TEST(LumClassic, PublishesNoBaseTakesOneThatWasLeftAwayAndIsReadAllTheSame)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name()});
    EXPECT_EQ(SectionsNamed("base"), 1u);
    LumServe serve({"--classic", "--source", folder.Name()});
    ASSERT_TRUE(serve.Publishes()) << serve.Process().Err();
    EXPECT_EQ(SectionsNamed("base"), 0u);
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(serve.Stop(), 0);
}

TEST(LumKilled, TheUpdateCountSkipsZero)
{
    TemporaryFolder folder;
    ServeAndKill({"--source", folder.Name()});
    {
        StateSection kState;
        ASSERT_TRUE(kState.IsOpen());
        kState.Record(AF_SOURCE).uUpdateCount = 0xFFFFFFFF;
    }
    const LumServe next({"--source", folder.Name()});
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["update_count"], 1);
}

TEST(LumKilled, AReaderCountThatADeadReaderLeftDoesntStopTheNextOneAndStays)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name()});
    {
        StateSection kState;
        ASSERT_TRUE(kState.IsOpen());
        kState.Record(AF_SOURCE).uReaderCount = 3;
    }
    LumServe next({"--source", folder.Name()});
    ASSERT_TRUE(next.Publishes()) << next.Process().Err();
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["readers"], 3);
    EXPECT_EQ(next.Stop(), 0);
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

// A publisher that doesn't wait publishes in a small part of the time for which this one is watched.
TEST(LumKilled, TheNextOneChangesNothingWhileAReaderIsInside)
{
    constexpr std::chrono::milliseconds kWatched(1500);
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name()});
    StateSection kState;
    ASSERT_TRUE(kState.IsOpen());
    std::atomic_ref<unsigned> kReaders(kState.Record(AF_SOURCE).uReaderCount);
    std::atomic_ref<unsigned> count(kState.Record(AF_SOURCE).uUpdateCount);
    kReaders.store(1);
    const auto tEnd = std::chrono::steady_clock::now() + kWatched;
    LumProcess next({"serve", "--once", "--source", folder.Name()});
    while (std::chrono::steady_clock::now() < tEnd)
    {
        const unsigned uCount = count.load();
        const bool bInTime = std::chrono::steady_clock::now() < tEnd;
        ASSERT_TRUE(uCount == 1 || !bInTime);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kReaders.store(0);
    while (next.IsRunning() && !Contains(next.Out(), "serving"))
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(count.load(), 2u);
    EXPECT_EQ(kReaders.load(), 0u);
    EXPECT_TRUE(next.RequestStop());
    EXPECT_EQ(next.Wait(), 0);
}

TEST(LumKilled, WhoeverSeesTheNewCountSeesTheNewData)
{
    TemporaryFolder folder;
    ServeAndKill({"--source", folder.Name()});
    VOTSFileMappingInspector kInspector(AF_SOURCE);
    ASSERT_EQ(kInspector.OpenMappingState(), Inspector::ET_NONE);
    ASSERT_EQ(kInspector.OpenMappingData(), Inspector::ET_NONE);
    for (unsigned i = 0; i < 25; ++i)
    {
        const std::string strName = "file" + std::to_string(i);
        folder.Write(strName, "1");
        LumProcess next({"serve", "--once", "--source", folder.Name()});
        while (next.IsRunning() && kInspector.LastErrorType() == Inspector::ET_NONE)
        {
        }
        ASSERT_EQ(kInspector.OpenMappingData(), Inspector::ET_NONE);
        structAssetNode node;
        EXPECT_EQ(kInspector.GetAssetNode(VOWString(strName.begin(), strName.end()).c_str(), node), 1) << strName;
        next.Kill();
    }
    kInspector.CloseMapping();
    LumServe last({"--source", folder.Name()});
    EXPECT_EQ(last.Stop(), 0);
}

TEST(LumKilled, AStateSectionOfAnotherVersionIsMadeAnew)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    ServeAndKill({"--source", folder.Name(), "--target", folder.Name()});
    {
        HANDLE hSection = OpenFileMappingW(FILE_MAP_WRITE, 0, FILEMAPPING_ASSETNODE_UPDATESTATE_NAME);
        void* pView = MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0);
        ASSERT_NE(pView, nullptr);
        memcpy(pView, "version.9.9", 12);
        UnmapViewOfFile(pView);
        CloseHandle(hSection);
    }
    EXPECT_EQ(RunLum({"ls"}).nExitCode, 2);
    const LumServe next({"--source", folder.Name()});
    ASSERT_TRUE(next.Publishes());
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][1]["enabled"], false);
}

TEST(LumKilled, AStateSectionThatIsTooSmallIsMadeAnew)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    {
        VOPublishedSection smallSection;
        ASSERT_TRUE(smallSection.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, "version.2.4", 12));
        EXPECT_EQ(RunLum({"ls"}).nExitCode, 2);
        EXPECT_EQ(RunLum({"status"}).nExitCode, 2);
        EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 2);
        smallSection.Detach();
    }
    const LumServe next({"--source", folder.Name()});
    ASSERT_TRUE(next.Publishes());
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
}

TEST(LumKilled, AtAnyMomentTheNextPublisherTakesOverCleanly)
{
    TemporaryFolder folder;
    for (unsigned i = 0; i < 400; ++i)
    {
        folder.Write("folder" + std::to_string(i % 20) + "/file" + std::to_string(i) + ".png", "x");
    }
    const std::string strRoot = folder.Name();
    std::mt19937 random(20240229);
    const unsigned uRounds = 40;
    for (unsigned i = 0; i < uRounds; ++i)
    {
        LumProcess serve({"serve", "--once", "--source", strRoot, "--target", strRoot, "--merge-source", strRoot});
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 40000));
        serve.Kill();
        // Whatever is there now is whole, or it isn't there.
        const LumResult tree = RunLum({"tree", "--from", "source"});
        EXPECT_TRUE(tree.nExitCode == 0 || tree.nExitCode == 2) << tree.nExitCode;
        EXPECT_TRUE(tree.nExitCode != 0 || tree.strOut.ends_with("20 folders, 400 files\n"));
        EXPECT_FALSE(Contains(tree.strErr, "damaged")) << tree.strErr;
    }
    LumServe last({"--source", strRoot});
    ASSERT_TRUE(last.Publishes()) << last.Process().Err();
    EXPECT_TRUE(RunLum({"tree"}).strOut.ends_with("20 folders, 400 files\n"));
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
    EXPECT_EQ(last.Stop(), 0);
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

TEST(LumKilled, AReaderAtAnyMomentOfItLeavesThePublisherAlone)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    LumServe serve({"--source", folder.Name()});
    std::mt19937 random(7);
    for (unsigned i = 0; i < 30; ++i)
    {
        LumProcess reader({"tree"});
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
        reader.Kill();
    }
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(serve.Stop(), 0);
}

TEST(LumStopped, EitherSignalWithdrawsEverything)
{
    TemporaryFolder folder;
    for (const int nSignal : {SIGINT, SIGTERM})
    {
        LumServe serve({"--source", folder.Name()});
        ASSERT_TRUE(serve.Publishes());
        ASSERT_EQ(kill(static_cast<pid_t>(serve.Process().ProcessId()), nSignal), 0);
        EXPECT_EQ(serve.Process().Wait(), 0);
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
        m_folder.Write("open/a.txt", "1");
        m_folder.Write("closed/hidden.txt", "1");
        m_folder.Write("closed/deeper/hidden.txt", "1");
        chmod(m_folder.Name().c_str(), 0755);
        chmod(m_folder.Name("closed").c_str(), 0);
    }

    void TearDown() override { chmod(m_folder.Name("closed").c_str(), 0755); }

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

    TemporaryFolder m_folder;
};

}  // namespace

TEST_F(LumPermissions, AFolderThatCantBeReadIsListedItselfAndReportedByName)
{
    const int nResult = AsPlainUser(
        [&]()
        {
            LumServe serve({"--source", m_folder.Name()});
            const std::string strErr = serve.Process().Err();
            return serve.Publishes() && RunLum({"find"}).strOut == "closed\nopen\nopen/a.txt\n" &&
                   Contains(strErr, "not indexed: closed: can't be listed: ") &&
                   Contains(strErr, "source: 1 not indexed\n") && serve.Stop() == 0;
        });
    EXPECT_EQ(nResult, 0);
}

TEST_F(LumPermissions, ARootThatCantBeReadIsAnErrorAndNothingIsPublished)
{
    const int nResult = AsPlainUser(
        [&]()
        {
            const LumResult result = RunLum({"serve", "--once", "--source", m_folder.Name("closed")});
            return result.nExitCode == 2 && Contains(result.strErr, "can't be listed: ") &&
                   RunLum({"image", "--state"}).nExitCode == 1;
        });
    EXPECT_EQ(nResult, 0);
}

TEST_F(LumPermissions, AFileThatCantBeReadIsIndexedAllTheSame)
{
    chmod(m_folder.Name("open/a.txt").c_str(), 0);
    const int nResult = AsPlainUser(
        [&]()
        {
            const LumServe serve({"--source", m_folder.Name("open")});
            return RunLum({"find"}).strOut == "a.txt\n";
        });
    EXPECT_EQ(nResult, 0);
}

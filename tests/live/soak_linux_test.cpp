// A publisher under everything at once: random changes by several writers, names that differ in case alone, folders of
// thousands that are renamed, a root that goes and comes back, and times in which it can open nothing.
#include "tests/live/event_replay_linux.h"
#include "tests/live/random_writer.h"
#include "tests/support/sanitizers.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace std::chrono_literals;

namespace
{

// What happens to the whole: one thing after the other, each for a moment.
class Disturber
{
public:
    Disturber(fs::path kSource, fs::path kTarget, uint32_t uServer)
        : m_kSource(std::move(kSource)), m_kTarget(std::move(kTarget)), m_uServer(uServer)
    {
    }

    void Run(SoakClock::time_point kEnd)
    {
        for (; SoakClock::now() < kEnd; ++m_uStep)
        {
            const auto kMoment = std::chrono::milliseconds(100 + m_kRandom() % 1200);
            if (m_uStep % 3 == 0)
            {
                _RenameLarge();
            }
            else if (m_uStep % 3 == 1 && !votest::kNeedsDescriptors)
            {
                const NoFilesLeft kLimit(m_uServer);
                std::this_thread::sleep_for(kMoment);
            }
            else
            {
                const fs::path kAway = m_kTarget.string() + " away";
                fs::rename(m_kTarget, kAway);
                std::this_thread::sleep_for(kMoment);
                fs::rename(kAway, m_kTarget);
            }
            std::this_thread::sleep_for(kMoment);
        }
    }

private:
    // Writers take it for a folder like any other, and may have moved it or taken it away.
    void _RenameLarge()
    {
        const char* const apszNames[] = {"large", "LARGE", "Other"};
        std::error_code kIgnored;
        for (const char* pszName : apszNames)
        {
            if (fs::exists(m_kSource / pszName, kIgnored))
            {
                fs::rename(m_kSource / pszName, m_kSource / apszNames[m_kRandom() % 3], kIgnored);
                return;
            }
        }
    }

    fs::path m_kSource;
    fs::path m_kTarget;
    uint32_t m_uServer;
    unsigned m_uStep = 0;
    std::mt19937 m_kRandom{7};
};

std::set<std::string> IndexedOf(const std::string& strSource)
{
    std::set<std::string> setPaths;
    const json kFound = json::parse(RunLum({"find", "--from", strSource, "--json"}).strOut, nullptr, false);
    for (const json& kNode : kFound.is_discarded() ? json::array() : kFound["nodes"])
    {
        setPaths.insert(kNode["path"].get<std::string>());
    }
    return setPaths;
}

// The paths that are in one set and not in the other, some of them.
std::string Difference(const std::set<std::string>& setFirst, const std::set<std::string>& setSecond)
{
    std::vector<std::string> vecOnly;
    std::set_symmetric_difference(setFirst.begin(), setFirst.end(), setSecond.begin(), setSecond.end(),
                                  std::back_inserter(vecOnly));
    vecOnly.resize(std::min<size_t>(vecOnly.size(), 10));
    return testing::PrintToString(vecOnly);
}

}  // namespace

TEST(LumLive, AfterManyRandomChangesIndexAndDiskAgreeAndTheEventsExplainEveryDifference)
{
    TemporaryFolder kFolder;
    for (int i = 0; i < 200; ++i)
    {
        kFolder.Write(
            "source/d" + std::to_string(i % 10) + "/s" + std::to_string(i % 4) + "/f" + std::to_string(i) + ".png",
            std::string(static_cast<size_t>(i), 'x'));
        kFolder.Write("target/t" + std::to_string(i % 10) + "/T" + std::to_string(i), "x");
    }
    LumServe kServe({"--source", kFolder.Name("source"), "--target", kFolder.Name("target")}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    Replay kReplay(IndexedOf("source"));
    Replay kTargetReplay(IndexedOf("target"), "target");
    const auto kEnd = SoakClock::now() + SoakTime(60s);
    for (unsigned uPhase = 0; SoakClock::now() < kEnd && !testing::Test::HasFailure(); ++uPhase)
    {
        for (int i = 0; i < 2000; ++i)
        {
            kFolder.Write("source/large/l" + std::to_string(i % 20) + "/" + std::to_string(i), "x");
        }
        const auto kPhaseEnd = std::min(kEnd, SoakClock::now() + std::chrono::seconds(15));
        std::vector<std::thread> vecThreads;
        for (unsigned uSeed = 1; uSeed <= 4; ++uSeed)
        {
            vecThreads.emplace_back([&, uSeed]
                                    { RandomWriter(kFolder.Path() / "source", 4 * uPhase + uSeed).Run(kPhaseEnd); });
        }
        Disturber(kFolder.Path() / "source", kFolder.Path() / "target", kServe.Process().ProcessId()).Run(kPhaseEnd);
        for (std::thread& rkThread : vecThreads)
        {
            rkThread.join();
        }
        const std::set<std::string> setDisk = PathsOnDisk(kFolder.Path() / "source");
        const std::set<std::string> setTarget = PathsOnDisk(kFolder.Path() / "target");
        EXPECT_TRUE(WaitUntil([&] { return IndexedOf("source") == setDisk; }))
            << Difference(IndexedOf("source"), setDisk);
        EXPECT_TRUE(WaitUntil([&] { return IndexedOf("target") == setTarget; }));
        EXPECT_TRUE(WaitUntil([&] { return kReplay.Follow(kWatch) == setDisk; }))
            << Difference(kReplay.Follow(kWatch), setDisk);
        EXPECT_TRUE(WaitUntil([&] { return kTargetReplay.Follow(kWatch) == setTarget; }));
        ASSERT_TRUE(kServe.Process().IsRunning()) << kServe.Process().Err();
    }
    const json kFound = LumJson({"find", "--from", "source", "--files"});
    for (const json& kNode : kFound["nodes"])
    {
        EXPECT_EQ(kNode["size"], fs::file_size(kFolder.Path() / "source" / kNode["path"].get<std::string>()))
            << kNode["path"];
    }
    // Every path of the index is the one that a look-up of it gives.
    std::vector<std::string> vecStat = {"stat", "--from", "source"};
    for (const json& kNode : kFound["nodes"])
    {
        vecStat.push_back(kNode["path"]);
    }
    vecStat.resize(std::min<size_t>(vecStat.size(), 2000));
    const json kLookedUp = LumJson(vecStat);
    ASSERT_EQ(kLookedUp["nodes"].size(), vecStat.size() - 3);
    for (size_t i = 3; i < vecStat.size(); ++i)
    {
        EXPECT_EQ(kLookedUp["nodes"][i - 3]["path"], vecStat[i]);
    }
}

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
    Disturber(fs::path source, fs::path target, uint32_t uServer)
        : m_source(std::move(source)), m_target(std::move(target)), m_uServer(uServer)
    {
    }

    void Run(SoakClock::time_point kEnd)
    {
        for (; SoakClock::now() < kEnd; ++m_uStep)
        {
            const auto moment = std::chrono::milliseconds(100 + m_random() % 1200);
            if (m_uStep % 3 == 0)
            {
                _RenameLarge();
            }
            else if (m_uStep % 3 == 1 && !votest::kNeedsDescriptors)
            {
                const NoFilesLeft limit(m_uServer);
                std::this_thread::sleep_for(moment);
            }
            else
            {
                const fs::path away = m_target.string() + " away";
                fs::rename(m_target, away);
                std::this_thread::sleep_for(moment);
                fs::rename(away, m_target);
            }
            std::this_thread::sleep_for(moment);
        }
    }

private:
    // Writers take it for a folder like any other, and may have moved it or taken it away.
    void _RenameLarge()
    {
        const char* const apszNames[] = {"large", "LARGE", "Other"};
        std::error_code ignored;
        for (const char* pszName : apszNames)
        {
            if (fs::exists(m_source / pszName, ignored))
            {
                fs::rename(m_source / pszName, m_source / apszNames[m_random() % 3], ignored);
                return;
            }
        }
    }

    fs::path m_source;
    fs::path m_target;
    uint32_t m_uServer;
    unsigned m_uStep = 0;
    std::mt19937 m_random{7};
};

std::set<std::string> IndexedOf(const std::string& strSource)
{
    std::set<std::string> setPaths;
    const json found = json::parse(RunLum({"find", "--from", strSource, "--json"}).strOut, nullptr, false);
    for (const json& node : found.is_discarded() ? json::array() : found["nodes"])
    {
        setPaths.insert(node["path"].get<std::string>());
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
    TemporaryFolder folder;
    for (int i = 0; i < 200; ++i)
    {
        folder.Write(
            "source/d" + std::to_string(i % 10) + "/s" + std::to_string(i % 4) + "/f" + std::to_string(i) + ".png",
            std::string(static_cast<size_t>(i), 'x'));
        folder.Write("target/t" + std::to_string(i % 10) + "/T" + std::to_string(i), "x");
    }
    LumServe serve({"--source", folder.Name("source"), "--target", folder.Name("target")}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    Replay replay(IndexedOf("source"));
    Replay targetReplay(IndexedOf("target"), "target");
    const auto kEnd = SoakClock::now() + SoakTime(60s);
    for (unsigned uPhase = 0; SoakClock::now() < kEnd && !testing::Test::HasFailure(); ++uPhase)
    {
        for (int i = 0; i < 2000; ++i)
        {
            folder.Write("source/large/l" + std::to_string(i % 20) + "/" + std::to_string(i), "x");
        }
        const auto phaseEnd = std::min(kEnd, SoakClock::now() + std::chrono::seconds(15));
        std::vector<std::thread> vecThreads;
        for (unsigned uSeed = 1; uSeed <= 4; ++uSeed)
        {
            vecThreads.emplace_back([&, uSeed]
                                    { RandomWriter(folder.Path() / "source", 4 * uPhase + uSeed).Run(phaseEnd); });
        }
        Disturber(folder.Path() / "source", folder.Path() / "target", serve.Process().ProcessId()).Run(phaseEnd);
        for (std::thread& thread : vecThreads)
        {
            thread.join();
        }
        const std::set<std::string> setDisk = PathsOnDisk(folder.Path() / "source");
        const std::set<std::string> setTarget = PathsOnDisk(folder.Path() / "target");
        EXPECT_TRUE(WaitUntil([&] { return IndexedOf("source") == setDisk; }))
            << Difference(IndexedOf("source"), setDisk);
        EXPECT_TRUE(WaitUntil([&] { return IndexedOf("target") == setTarget; }));
        EXPECT_TRUE(WaitUntil([&] { return replay.Follow(watch) == setDisk; }))
            << Difference(replay.Follow(watch), setDisk);
        EXPECT_TRUE(WaitUntil([&] { return targetReplay.Follow(watch) == setTarget; }));
        ASSERT_TRUE(serve.Process().IsRunning()) << serve.Process().Err();
    }
    const json found = LumJson({"find", "--from", "source", "--files"});
    for (const json& node : found["nodes"])
    {
        EXPECT_EQ(node["size"], fs::file_size(folder.Path() / "source" / node["path"].get<std::string>()))
            << node["path"];
    }
    // Every path of the index is the one that a look-up of it gives.
    std::vector<std::string> vecStat = {"stat", "--from", "source"};
    for (const json& node : found["nodes"])
    {
        vecStat.push_back(node["path"]);
    }
    vecStat.resize(std::min<size_t>(vecStat.size(), 2000));
    const json lookedUp = LumJson(vecStat);
    ASSERT_EQ(lookedUp["nodes"].size(), vecStat.size() - 3);
    for (size_t i = 3; i < vecStat.size(); ++i)
    {
        EXPECT_EQ(lookedUp["nodes"][i - 3]["path"], vecStat[i]);
    }
}

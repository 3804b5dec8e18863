// Following changes where only Linux shows them: subfolders, signals and killed processes. (The other system's stand-in
// tells of no changes in subfolders.)
#include <signal.h>
#include <stdlib.h>

#include <random>

#include "tests/live/live_test_support.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace
{

// What the events make of a set of paths. Anything that doesn't fit is a failure.
std::set<std::string> Replayed(std::set<std::string> setPaths, const std::vector<json>& vecEvents)
{
    for (const json& kEvent : vecEvents)
    {
        const std::string strKind = kEvent["kind"];
        const std::string strPath = kEvent["path"];
        const std::string strParent = fs::path(strPath).parent_path().string();
        if (strKind == "added")
        {
            EXPECT_TRUE(strParent.empty() || setPaths.contains(strParent)) << kEvent;
            EXPECT_TRUE(setPaths.insert(strPath).second) << kEvent;
        }
        else if (strKind == "removed")
        {
            EXPECT_EQ(setPaths.erase(strPath), 1u) << kEvent;
        }
        else if (strKind == "renamed")
        {
            const std::string strNew = (fs::path(strParent) / kEvent["new_name"].get<std::string>()).string();
            EXPECT_TRUE(setPaths.contains(strPath)) << kEvent;
            std::set<std::string> setMoved;
            for (const std::string& strOne : setPaths)
            {
                const bool bMoves = strOne == strPath || strOne.starts_with(strPath + "/");
                setMoved.insert(bMoves ? strNew + strOne.substr(strPath.size()) : strOne);
            }
            setPaths.swap(setMoved);
        }
        else
        {
            EXPECT_TRUE(setPaths.contains(strPath)) << kEvent;
        }
    }
    return setPaths;
}

// Several of these change one tree until the time is over.
class RandomWriter
{
public:
    RandomWriter(fs::path kRoot, unsigned uSeed) : m_kRoot(std::move(kRoot)), m_kRandom(uSeed) {}

    void Run(std::chrono::steady_clock::time_point kEnd)
    {
        while (std::chrono::steady_clock::now() < kEnd)
        {
            // Other writers take things away at any moment.
            std::error_code kIgnored;
            _Collect();
            _Step(kIgnored);
            std::this_thread::sleep_for(std::chrono::microseconds(m_kRandom() % 4000));
        }
    }

private:
    void _Collect()
    {
        m_vecFolders.assign(1, m_kRoot);
        m_vecFiles.clear();
        std::error_code kEnds;
        for (fs::recursive_directory_iterator it(m_kRoot, kEnds), itEnd; !kEnds && it != itEnd; it.increment(kEnds))
        {
            std::error_code kGone;
            (it->is_directory(kGone) ? m_vecFolders : m_vecFiles).push_back(it->path());
        }
    }

    const fs::path& _Folder() { return m_vecFolders[m_kRandom() % m_vecFolders.size()]; }
    fs::path _File() { return m_vecFiles.empty() ? m_kRoot / "none" : m_vecFiles[m_kRandom() % m_vecFiles.size()]; }
    std::string _Name() { return "n" + std::to_string(m_kRandom() % 60); }

    void _Step(std::error_code& rkIgnored)
    {
        const fs::path kFile = _File();
        const fs::path kFolder = _Folder();
        const bool bInside = kFolder != m_kRoot;
        switch (m_vecFiles.size() > 2000 ? 10 : m_kRandom() % 12)
        {
            case 0:
            case 1:
            case 2:
                WriteWholeFile(kFolder / (_Name() + ".txt"), std::string(m_kRandom() % 50, 'x'));
                break;
            case 3:
                WriteWholeFile(kFile, std::string(m_kRandom() % 100, 'y'));
                break;
            case 4:
                fs::create_directory(kFolder / _Name(), rkIgnored);
                break;
            case 5:
                fs::rename(kFile, kFile.parent_path() / (_Name() + ".fbx"), rkIgnored);
                break;
            case 6:
                fs::rename(kFile, kFolder / kFile.filename(), rkIgnored);
                break;
            case 7:
                if (bInside)
                {
                    fs::rename(kFolder, kFolder.parent_path() / ("r" + _Name()), rkIgnored);
                }
                break;
            case 8:
                if (bInside)
                {
                    fs::rename(kFolder, _Folder() / kFolder.filename(), rkIgnored);
                }
                break;
            case 9:
                WriteWholeFile(kFile.string() + "~", "saved");
                fs::rename(kFile.string() + "~", kFile, rkIgnored);
                break;
            case 10:
                if (bInside && m_kRandom() % 2 != 0)
                {
                    fs::remove_all(kFolder, rkIgnored);
                    break;
                }
                fs::remove(kFile, rkIgnored);
                break;
            default:
            {
                const fs::path kDeep = kFolder / _Name() / "deep" / "er";
                fs::create_directories(kDeep, rkIgnored);
                for (unsigned i = m_kRandom() % 20; i > 0; --i)
                {
                    WriteWholeFile(kDeep / ("b" + std::to_string(i) + ".tga"), "b");
                }
            }
        }
    }

    fs::path m_kRoot;
    std::mt19937 m_kRandom;
    std::vector<fs::path> m_vecFolders;
    std::vector<fs::path> m_vecFiles;
};

// Seconds of random changes: a minute, or what the environment says.
std::chrono::seconds SoakTime()
{
    const char* pszSeconds = getenv("VOBASE_SOAK_SECONDS");
    return std::chrono::seconds(pszSeconds != nullptr ? atoi(pszSeconds) : 60);
}

}  // namespace

TEST(LumLive, AFolderThatIsMadeAndFilledAtOnceIsThereWhole)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    kFolder.Write("a/b/c/d.txt", "1");
    ASSERT_TRUE(kWatch.WaitForTold("added a/b/c/d.txt"));
    EXPECT_EQ(kWatch.Told(), (std::vector<std::string>{"added a/", "added a/b/", "added a/b/c/", "added a/b/c/d.txt"}));
}

TEST(LumLive, ARenamedFolderKeepsItsNodesUnderNewPaths)
{
    TemporaryFolder kFolder;
    kFolder.Write("old/in/a.png", "1");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const json kBefore = LumJson({"stat", "old/in/a.png"})["nodes"][0];
    LumWatch kWatch;
    fs::rename(kFolder.Path() / "old", kFolder.Path() / "new");
    ASSERT_TRUE(kWatch.WaitForTold("renamed old/ new"));
    EXPECT_EQ(kWatch.Told().size(), 1u);
    EXPECT_EQ(RunLum({"stat", "old/in/a.png"}).nExitCode, 1);
    const json kAfter = LumJson({"stat", "NEW/in/a.png"})["nodes"][0];
    EXPECT_EQ(kAfter["path"], "new/in/a.png");
    EXPECT_EQ(kAfter["id"], kBefore["id"]);
}

TEST(LumLive, ATreeThatIsMovedOutAndInAgainIsToldFileByFile)
{
    TemporaryFolder kFolder;
    kFolder.Write("root/tree/a/b.txt", "1");
    LumServe kServe({"--source", kFolder.Name("root")}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    fs::rename(kFolder.Path() / "root/tree", kFolder.Path() / "outside");
    ASSERT_TRUE(kWatch.WaitForTold("removed tree/"));
    fs::rename(kFolder.Path() / "outside", kFolder.Path() / "root/back");
    ASSERT_TRUE(kWatch.WaitForTold("added back/a/b.txt"));
    EXPECT_EQ(kWatch.Told(), (std::vector<std::string>{"removed tree/a/b.txt", "removed tree/a/", "removed tree/",
                                                       "added back/", "added back/a/", "added back/a/b.txt"}));
}

TEST(LumLive, ASaveThroughATemporaryFileIsOneModifiedOfTheTarget)
{
    TemporaryFolder kFolder;
    const std::string strTarget = kFolder.Write("scene.fbx", "old");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    WriteWholeFile(strTarget + "~", "new content");
    fs::rename(strTarget + "~", strTarget);
    ASSERT_TRUE(kWatch.WaitForTold("modified scene.fbx"));
    // Behind the look that follows the last hint.
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    EXPECT_EQ(kWatch.Told(), std::vector<std::string>{"modified scene.fbx"});
    EXPECT_EQ(LumJson({"stat", "scene.fbx"})["nodes"][0]["size"], 11);
}

TEST(LumLive, AWriteThatNeitherSizeNorSecondShowsIsTold)
{
    TemporaryFolder kFolder;
    kFolder.Write("a.txt", "1");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    const auto kTime = fs::last_write_time(kFolder.Path() / "a.txt");
    kFolder.Write("a.txt", "2");
    fs::last_write_time(kFolder.Path() / "a.txt", kTime);
    EXPECT_TRUE(kWatch.WaitForTold("modified a.txt"));
}

TEST(LumLive, EveryFileOfABurstOf20000IsInTheIndex)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "a");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    for (int i = 0; i < 20000; ++i)
    {
        kFolder.Write("a/" + std::to_string(i % 40) + "/" + std::to_string(i) + ".png", "x");
    }
    const std::set<std::string> setDisk = PathsOnDisk(kFolder.Path());
    EXPECT_TRUE(WaitUntil([&] { return IndexedPaths() == setDisk; }));
    EXPECT_TRUE(WaitUntil([&] { return Replayed({"a"}, kWatch.Events()) == setDisk; }));
    const json kStatus = LumJson({"status"})["sources"][0]["publisher"];
    EXPECT_GE(kStatus["whole_comparisons"], 1);
}

TEST(LumLive, APathPrefixShowsWhatLiesUnderIt)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "in");
    fs::create_directories(kFolder.Path() / "inside");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch({"--path", "in/"});
    kFolder.Write("inside/no.txt", "1");
    kFolder.Write("in/yes.txt", "1");
    ASSERT_TRUE(kWatch.WaitForTold("added in/yes.txt"));
    EXPECT_EQ(kWatch.Told().size(), 1u);
}

TEST(LumLive, MergedDirectoriesAreFollowedTogether)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "one");
    fs::create_directories(kFolder.Path() / "two");
    kFolder.Write("two/both.txt", "22");
    LumServe kServe({"--merge-source", kFolder.Name("one"), "--merge-source", kFolder.Name("two")},
                    LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    EXPECT_EQ(LumJson({"stat", "both.txt"})["nodes"][0]["merge"], 2);
    kFolder.Write("one/both.txt", "1");
    ASSERT_TRUE(WaitUntil([] { return LumJson({"stat", "both.txt"})["nodes"][0]["merge"] == 3; }));
    EXPECT_EQ(LumJson({"stat", "both.txt"})["nodes"][0]["absolute"], kFolder.Name("one/both.txt"));
    fs::remove(kFolder.Path() / "one/both.txt");
    ASSERT_TRUE(WaitUntil([] { return LumJson({"stat", "both.txt"})["nodes"][0]["merge"] == 2; }));
    EXPECT_EQ(LumJson({"stat", "both.txt"})["nodes"][0]["absolute"], kFolder.Name("two/both.txt"));
}

TEST(LumLive, ARootThatIsDeletedIsEmptyUntilItIsBack)
{
    TemporaryFolder kFolder;
    kFolder.Write("root/a/b.txt", "1");
    LumServe kServe({"--source", kFolder.Name("root")}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    fs::remove_all(kFolder.Path() / "root");
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths().empty(); }));
    EXPECT_TRUE(WaitUntil([&] { return Contains(kServe.Process().Err(), "the directory is gone"); }));
    kFolder.Write("root/c.txt", "1");
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths() == std::set<std::string>{"c.txt"}; }));
    kFolder.Write("root/d.txt", "1");
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths() == std::set<std::string>{"c.txt", "d.txt"}; }));
}

TEST(LumLive, AToolGoesOnWithTheSuccessorOfAKilledPublisher)
{
    TemporaryFolder kFolder;
    LumServe kFirst({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kFirst.Publishes());
    LumWatch kWatch;
    kFolder.Write("a.txt", "1");
    ASSERT_TRUE(kWatch.WaitForTold("added a.txt"));
    kFirst.Process().Kill();
    LumServe kNext({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kNext.Publishes());
    kFolder.Write("b.txt", "1");
    EXPECT_TRUE(kWatch.WaitForTold("added b.txt"));
}

TEST(LumLive, AStoppedToolHoldsNobodyUp)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kStopped;
    LumWatch kWatch;
    kill(static_cast<pid_t>(kStopped.Process().ProcessId()), SIGSTOP);
    for (int i = 0; i < 4; ++i)
    {
        const std::string strName = std::to_string(i) + ".txt";
        kFolder.Write(strName, "1");
        EXPECT_TRUE(kWatch.WaitForTold("added " + strName));
    }
    kill(static_cast<pid_t>(kStopped.Process().ProcessId()), SIGCONT);
    EXPECT_TRUE(kStopped.WaitForTold("added 3.txt"));
    EXPECT_EQ(kStopped.Told(), kWatch.Told()) << "the publisher keeps events for those that are late";
}

TEST(LumLive, WatchEndsCleanlyWhenAskedTo)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    EXPECT_TRUE(kWatch.Process().RequestStop());
    EXPECT_EQ(kWatch.Process().Wait(), 0);
    EXPECT_EQ(kWatch.Process().Err(), "");
}

TEST(LumLive, AfterManyRandomChangesIndexAndDiskAgreeAndTheEventsExplainEveryDifference)
{
    TemporaryFolder kFolder;
    for (int i = 0; i < 200; ++i)
    {
        kFolder.Write("d" + std::to_string(i % 10) + "/s" + std::to_string(i % 4) + "/f" + std::to_string(i) + ".png",
                      std::string(static_cast<size_t>(i), 'x'));
    }
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    const std::set<std::string> setStart = IndexedPaths();
    const auto kEnd = std::chrono::steady_clock::now() + SoakTime();
    std::vector<std::thread> vecThreads;
    for (unsigned uSeed = 1; uSeed <= 4; ++uSeed)
    {
        vecThreads.emplace_back([&, uSeed] { RandomWriter(kFolder.Path(), uSeed).Run(kEnd); });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    const std::set<std::string> setDisk = PathsOnDisk(kFolder.Path());
    EXPECT_TRUE(WaitUntil([&] { return IndexedPaths() == setDisk; }));
    EXPECT_TRUE(WaitUntil([&] { return Replayed(setStart, kWatch.Events()) == setDisk; }));
    const json kFound = LumJson({"find", "--files"});
    for (const json& kNode : kFound["nodes"])
    {
        EXPECT_EQ(kNode["size"], fs::file_size(kFolder.Path() / kNode["path"].get<std::string>())) << kNode["path"];
    }
    EXPECT_TRUE(kServe.Process().IsRunning());
}

// Following changes where only Linux shows them: subfolders, signals and killed processes. (The other system's stand-in
// tells of no changes in subfolders.)
#include <signal.h>

#include <fstream>

#include "tests/live/event_replay_linux.h"
#include "tests/support/sanitizers.h"

namespace fs = std::filesystem;
using nlohmann::json;

TEST(LumLive, AFolderThatIsMadeAndFilledAtOnceIsThereWhole)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    folder.Write("a/b/c/d.txt", "1");
    ASSERT_TRUE(watch.WaitForTold("added a/b/c/d.txt"));
    EXPECT_EQ(watch.Told(), (std::vector<std::string>{"added a/", "added a/b/", "added a/b/c/", "added a/b/c/d.txt"}));
}

TEST(LumLive, ARenamedFolderKeepsItsNodesUnderNewPaths)
{
    TemporaryFolder folder;
    folder.Write("old/in/a.png", "1");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const json before = LumJson({"stat", "old/in/a.png"})["nodes"][0];
    LumWatch watch;
    fs::rename(folder.Path() / "old", folder.Path() / "new");
    ASSERT_TRUE(watch.WaitForTold("renamed old/ new"));
    EXPECT_EQ(watch.Told().size(), 1u);
    EXPECT_EQ(RunLum({"stat", "old/in/a.png"}).nExitCode, 1);
    const json after = LumJson({"stat", "NEW/in/a.png"})["nodes"][0];
    EXPECT_EQ(after["path"], "new/in/a.png");
    EXPECT_EQ(after["id"], before["id"]);
}

TEST(LumLive, ATreeThatIsMovedOutAndInAgainIsToldFileByFile)
{
    TemporaryFolder folder;
    folder.Write("root/tree/a/b.txt", "1");
    LumServe serve({"--source", folder.Name("root")}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    fs::rename(folder.Path() / "root/tree", folder.Path() / "outside");
    ASSERT_TRUE(watch.WaitForTold("removed tree/"));
    fs::rename(folder.Path() / "outside", folder.Path() / "root/back");
    ASSERT_TRUE(watch.WaitForTold("added back/a/b.txt"));
    EXPECT_EQ(watch.Told(), (std::vector<std::string>{"removed tree/a/b.txt", "removed tree/a/", "removed tree/",
                                                      "added back/", "added back/a/", "added back/a/b.txt"}));
}

TEST(LumLive, ASaveThroughATemporaryFileIsOneModifiedOfTheTarget)
{
    TemporaryFolder folder;
    const std::string strTarget = folder.Write("scene.fbx", "old");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    WriteWholeFile(strTarget + "~", "new content");
    fs::rename(strTarget + "~", strTarget);
    ASSERT_TRUE(watch.WaitForTold("modified scene.fbx"));
    // Behind the look that follows the last hint.
    std::this_thread::sleep_for(std::chrono::milliseconds(3500));
    EXPECT_EQ(watch.Told(), std::vector<std::string>{"modified scene.fbx"});
    EXPECT_EQ(LumJson({"stat", "scene.fbx"})["nodes"][0]["size"], 11);
}

TEST(LumLive, AWriteThatNeitherSizeNorSecondShowsIsTold)
{
    TemporaryFolder folder;
    folder.Write("a.txt", "1");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    const auto time = fs::last_write_time(folder.Path() / "a.txt");
    folder.Write("a.txt", "2");
    fs::last_write_time(folder.Path() / "a.txt", time);
    EXPECT_TRUE(watch.WaitForTold("modified a.txt"));
}

// Writes that follow each other so fast are one event of the monitor, told at their first.
TEST(LumLive, AFileThatIsWrittenAgainAndAgainIsRightInTheEnd)
{
    TemporaryFolder folder;
    const std::string strFile = folder.Write("log.txt", "1");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    ASSERT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["whole_comparisons"] == 1; }));
    for (int i = 0; i < 60; ++i)
    {
        std::ofstream(strFile, std::ios::app) << "a line\n";
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    const auto sizeIsRight = [&] { return LumJson({"stat", "log.txt"})["nodes"][0]["size"] == fs::file_size(strFile); };
    bool bRight = sizeIsRight();
    for (int i = 0; i < 100 && !bRight; ++i)  // long before the audit comes to it
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        bRight = sizeIsRight();
    }
    EXPECT_TRUE(bRight);
}

TEST(LumLive, EveryFileOfABurstOf20000IsInTheIndex)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "a");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    Replay replay({"a"});
    for (int i = 0; i < 20000; ++i)
    {
        folder.Write("a/" + std::to_string(i % 40) + "/" + std::to_string(i) + ".png", "x");
    }
    const std::set<std::string> setDisk = PathsOnDisk(folder.Path());
    EXPECT_TRUE(WaitUntil([&] { return IndexedPaths() == setDisk; }));
    EXPECT_TRUE(WaitUntil([&] { return replay.Follow(watch) == setDisk; }));
    const json status = LumJson({"status"})["sources"][0]["publisher"];
    EXPECT_GE(status["whole_comparisons"], 1);
}

TEST(LumLive, APathPrefixShowsWhatLiesUnderIt)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "in");
    fs::create_directories(folder.Path() / "inside");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch({"--path", "in/"});
    folder.Write("inside/no.txt", "1");
    folder.Write("in/yes.txt", "1");
    ASSERT_TRUE(watch.WaitForTold("added in/yes.txt"));
    EXPECT_EQ(watch.Told().size(), 1u);
}

TEST(LumLive, MergedDirectoriesAreFollowedTogether)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "one");
    fs::create_directories(folder.Path() / "two");
    folder.Write("two/both.txt", "22");
    LumServe serve({"--merge-source", folder.Name("one"), "--merge-source", folder.Name("two")},
                   LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    EXPECT_EQ(LumJson({"stat", "both.txt"})["nodes"][0]["merge"], 2);
    folder.Write("one/both.txt", "1");
    ASSERT_TRUE(WaitUntil([] { return LumJson({"stat", "both.txt"})["nodes"][0]["merge"] == 3; }));
    EXPECT_EQ(LumJson({"stat", "both.txt"})["nodes"][0]["absolute"], folder.Name("one/both.txt"));
    fs::remove(folder.Path() / "one/both.txt");
    ASSERT_TRUE(WaitUntil([] { return LumJson({"stat", "both.txt"})["nodes"][0]["merge"] == 2; }));
    EXPECT_EQ(LumJson({"stat", "both.txt"})["nodes"][0]["absolute"], folder.Name("two/both.txt"));
}

TEST(LumLive, ARootThatIsDeletedIsEmptyUntilItIsBack)
{
    TemporaryFolder folder;
    folder.Write("root/a/b.txt", "1");
    LumServe serve({"--source", folder.Name("root")}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    fs::remove_all(folder.Path() / "root");
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths().empty(); }));
    EXPECT_TRUE(WaitUntil([&] { return Contains(serve.Process().Err(), "the directory is gone"); }));
    folder.Write("root/c.txt", "1");
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths() == std::set<std::string>{"c.txt"}; }));
    folder.Write("root/d.txt", "1");
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths() == std::set<std::string>{"c.txt", "d.txt"}; }));
}

TEST(LumLive, AToolGoesOnWithTheSuccessorOfAKilledPublisher)
{
    TemporaryFolder folder;
    LumServe first({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(first.Publishes());
    LumWatch watch;
    folder.Write("a.txt", "1");
    ASSERT_TRUE(watch.WaitForTold("added a.txt"));
    first.Process().Kill();
    LumServe next({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(next.Publishes());
    folder.Write("b.txt", "1");
    EXPECT_TRUE(watch.WaitForTold("added b.txt"));
}

TEST(LumLive, AStoppedToolHoldsNobodyUp)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch stopped;
    LumWatch watch;
    kill(static_cast<pid_t>(stopped.Process().ProcessId()), SIGSTOP);
    for (int i = 0; i < 4; ++i)
    {
        const std::string strName = std::to_string(i) + ".txt";
        folder.Write(strName, "1");
        EXPECT_TRUE(watch.WaitForTold("added " + strName));
    }
    kill(static_cast<pid_t>(stopped.Process().ProcessId()), SIGCONT);
    EXPECT_TRUE(stopped.WaitForTold("added 3.txt"));
    EXPECT_EQ(stopped.Told(), watch.Told()) << "the publisher keeps events for those that are late";
}

TEST(LumLive, WatchEndsCleanlyWhenAskedTo)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    EXPECT_TRUE(watch.Process().RequestStop());
    EXPECT_EQ(watch.Process().Wait(), 0);
    EXPECT_EQ(watch.Process().Err(), "");
}

TEST(LumLive, AFileIsFoundWhenItsCaseTwinGoes)
{
    TemporaryFolder folder;
    folder.Write("A", "1");
    folder.Write("a", "22");
    folder.Write("D/x", "1");
    folder.Write("d/x", "22");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    fs::remove(folder.Path() / "A");
    fs::remove_all(folder.Path() / "D");
    ASSERT_TRUE(watch.WaitForTold("removed A"));
    ASSERT_TRUE(watch.WaitForTold("removed D/"));
    for (const char* pszPath : {"a", "A", "d/x", "D/X"})
    {
        EXPECT_EQ(LumJson({"stat", pszPath})["nodes"][0]["size"], 2) << pszPath;
    }
    EXPECT_EQ(LumJson({"stat", "A"})["nodes"][0]["path"], "a");
}

TEST(LumLive, ARenameThatChangesTheCaseAloneIsOneEvent)
{
    TemporaryFolder folder;
    folder.Write("d/x", "1");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const json before = LumJson({"stat", "d/x"})["nodes"][0];
    LumWatch watch;
    fs::rename(folder.Path() / "d", folder.Path() / "D");
    ASSERT_TRUE(watch.WaitForTold("renamed d/ D"));
    EXPECT_EQ(watch.Told().size(), 1u);
    EXPECT_EQ(LumJson({"stat", "d/x"})["nodes"][0]["path"], "D/x");
    EXPECT_EQ(LumJson({"stat", "d/x"})["nodes"][0]["id"], before["id"]);
}

TEST(LumLive, AServerThatHasNoFilesLeftToOpenForgetsNothingAndGoesOn)
{
    if (votest::kNeedsDescriptors)
    {
        GTEST_SKIP() << "the sanitizer opens files itself";
    }
    TemporaryFolder folder;
    for (int i = 0; i < 100; ++i)
    {
        folder.Write("d" + std::to_string(i % 5) + "/" + std::to_string(i), "1");
    }
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const std::set<std::string> setBefore = IndexedPaths();
    LumWatch watch;
    {
        const NoFilesLeft limit(serve.Process().ProcessId());
        folder.Write("new", "1");
        EXPECT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["unread"] >= 1; }));
        std::this_thread::sleep_for(std::chrono::seconds(3));
        const std::set<std::string> setNow = IndexedPaths();
        EXPECT_TRUE(std::includes(setNow.begin(), setNow.end(), setBefore.begin(), setBefore.end()));
    }
    ASSERT_TRUE(watch.WaitForTold("added new"));
    EXPECT_EQ(watch.Told().size(), 1u);
    EXPECT_TRUE(Contains(LumJson({"stat", "new"}).dump(), "new"));
    EXPECT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["unread"] == 0; }));
    const std::string strSaid = serve.Process().Err();
    EXPECT_TRUE(
        Contains(strSaid, "can't be listed: Too many open files; what is known of it stays, and it is tried again"))
        << strSaid;
    EXPECT_LE(LinesOf(strSaid).size(), 7u) << strSaid;
}

TEST(LumLive, AConflictOfMergedDirectoriesThatArisesLaterIsNamedEachTimeItArises)
{
    TemporaryFolder folder;
    folder.Write("one/clash", "a file");
    fs::create_directories(folder.Path() / "two");
    LumServe serve({"--merge-source", folder.Name("one"), "--merge-source", folder.Name("two")},
                   LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const std::string strLine =
        "lum: merge-source: not indexed: clash: a folder here, and a file in an earlier directory";
    for (int nRound = 1; nRound <= 2; ++nRound)
    {
        const auto Named = [&]
        {
            const std::vector<std::string> vecLines = LinesOf(serve.Process().Err());
            return std::count(vecLines.begin(), vecLines.end(), strLine);
        };
        folder.Write("two/clash/inside", "1");
        EXPECT_TRUE(WaitUntil([&] { return Named() == nRound; })) << serve.Process().Err();
        EXPECT_TRUE(Contains(serve.Process().Err(), "not indexed: clash/inside: "));
        fs::remove_all(folder.Path() / "two/clash");
        folder.Write("two/mark" + std::to_string(nRound), "1");
        EXPECT_TRUE(WaitUntil([&] { return IndexedPaths().contains("mark" + std::to_string(nRound)); }));
        std::this_thread::sleep_for(std::chrono::seconds(2));
        EXPECT_EQ(Named(), nRound);
    }
}

TEST(LumLive, APathToWatchIsTakenLikeEveryOtherPath)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "In/deep");
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    std::vector<std::unique_ptr<LumWatch>> vecWatches;
    const std::string strPath = folder.Name("In/deep");
    for (const std::string& strForm :
         {std::string("In/deep"), std::string("in/DEEP/"), strPath, strPath + "/../deep", std::string("in\\deep"),
          std::string("./In//deep"), std::string("/"), std::string("In/de\\x65p")})
    {
        vecWatches.push_back(std::make_unique<LumWatch>(std::vector<std::string>{"--path", strForm}));
    }
    LumWatch other({"--path", "In/dee"});
    folder.Write("In/deep/a\xff", "1");
    for (const std::unique_ptr<LumWatch>& pWatch : vecWatches)
    {
        EXPECT_TRUE(WaitUntil([&] { return pWatch->Events().size() == 1; })) << pWatch->Process().Err();
    }
    EXPECT_TRUE(other.Told().empty());
    const LumResult elsewhere = RunLum({"watch", "--path", "/somewhere/else"});
    EXPECT_EQ(elsewhere.nExitCode, 1);
    EXPECT_EQ(elsewhere.strErr, "lum: /somewhere/else: lies in no source that is published\n");
}

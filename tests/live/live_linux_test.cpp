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

// Writes that follow each other so fast are one event of the monitor, told at their first.
TEST(LumLive, AFileThatIsWrittenAgainAndAgainIsRightInTheEnd)
{
    TemporaryFolder kFolder;
    const std::string strFile = kFolder.Write("log.txt", "1");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    ASSERT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["whole_comparisons"] == 1; }));
    for (int i = 0; i < 60; ++i)
    {
        std::ofstream(strFile, std::ios::app) << "a line\n";
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    const auto kSizeIsRight = [&] {
        return LumJson({"stat", "log.txt"})["nodes"][0]["size"] == fs::file_size(strFile);
    };
    bool bRight = kSizeIsRight();
    for (int i = 0; i < 100 && !bRight; ++i)  // long before the audit comes to it
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        bRight = kSizeIsRight();
    }
    EXPECT_TRUE(bRight);
}

TEST(LumLive, EveryFileOfABurstOf20000IsInTheIndex)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "a");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    Replay kReplay({"a"});
    for (int i = 0; i < 20000; ++i)
    {
        kFolder.Write("a/" + std::to_string(i % 40) + "/" + std::to_string(i) + ".png", "x");
    }
    const std::set<std::string> setDisk = PathsOnDisk(kFolder.Path());
    EXPECT_TRUE(WaitUntil([&] { return IndexedPaths() == setDisk; }));
    EXPECT_TRUE(WaitUntil([&] { return kReplay.Follow(kWatch) == setDisk; }));
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

TEST(LumLive, AFileIsFoundWhenItsCaseTwinGoes)
{
    TemporaryFolder kFolder;
    kFolder.Write("A", "1");
    kFolder.Write("a", "22");
    kFolder.Write("D/x", "1");
    kFolder.Write("d/x", "22");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    fs::remove(kFolder.Path() / "A");
    fs::remove_all(kFolder.Path() / "D");
    ASSERT_TRUE(kWatch.WaitForTold("removed A"));
    ASSERT_TRUE(kWatch.WaitForTold("removed D/"));
    for (const char* pszPath : {"a", "A", "d/x", "D/X"})
    {
        EXPECT_EQ(LumJson({"stat", pszPath})["nodes"][0]["size"], 2) << pszPath;
    }
    EXPECT_EQ(LumJson({"stat", "A"})["nodes"][0]["path"], "a");
}

TEST(LumLive, ARenameThatChangesTheCaseAloneIsOneEvent)
{
    TemporaryFolder kFolder;
    kFolder.Write("d/x", "1");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const json kBefore = LumJson({"stat", "d/x"})["nodes"][0];
    LumWatch kWatch;
    fs::rename(kFolder.Path() / "d", kFolder.Path() / "D");
    ASSERT_TRUE(kWatch.WaitForTold("renamed d/ D"));
    EXPECT_EQ(kWatch.Told().size(), 1u);
    EXPECT_EQ(LumJson({"stat", "d/x"})["nodes"][0]["path"], "D/x");
    EXPECT_EQ(LumJson({"stat", "d/x"})["nodes"][0]["id"], kBefore["id"]);
}

TEST(LumLive, AServerThatHasNoFilesLeftToOpenForgetsNothingAndGoesOn)
{
    if (votest::kNeedsDescriptors)
    {
        GTEST_SKIP() << "the sanitizer opens files itself";
    }
    TemporaryFolder kFolder;
    for (int i = 0; i < 100; ++i)
    {
        kFolder.Write("d" + std::to_string(i % 5) + "/" + std::to_string(i), "1");
    }
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const std::set<std::string> setBefore = IndexedPaths();
    LumWatch kWatch;
    {
        const NoFilesLeft kLimit(kServe.Process().ProcessId());
        kFolder.Write("new", "1");
        EXPECT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["unread"] >= 1; }));
        std::this_thread::sleep_for(std::chrono::seconds(3));
        EXPECT_EQ(IndexedPaths(), setBefore);
    }
    ASSERT_TRUE(kWatch.WaitForTold("added new"));
    EXPECT_EQ(kWatch.Told().size(), 1u);
    EXPECT_TRUE(Contains(LumJson({"stat", "new"}).dump(), "new"));
    EXPECT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["unread"] == 0; }));
    const std::string strSaid = kServe.Process().Err();
    EXPECT_TRUE(
        Contains(strSaid, "can't be listed: Too many open files; what is known of it stays, and it is tried again"))
        << strSaid;
    EXPECT_LE(LinesOf(strSaid).size(), 7u) << strSaid;
}

TEST(LumLive, AConflictOfMergedDirectoriesThatArisesLaterIsNamedEachTimeItArises)
{
    TemporaryFolder kFolder;
    kFolder.Write("one/clash", "a file");
    fs::create_directories(kFolder.Path() / "two");
    LumServe kServe({"--merge-source", kFolder.Name("one"), "--merge-source", kFolder.Name("two")},
                    LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const std::string strLine =
        "lum: merge-source: not indexed: clash: a folder here, and a file in an earlier directory";
    for (int nRound = 1; nRound <= 2; ++nRound)
    {
        const auto Named = [&]
        {
            const std::vector<std::string> vecLines = LinesOf(kServe.Process().Err());
            return std::count(vecLines.begin(), vecLines.end(), strLine);
        };
        kFolder.Write("two/clash/inside", "1");
        EXPECT_TRUE(WaitUntil([&] { return Named() == nRound; })) << kServe.Process().Err();
        EXPECT_TRUE(Contains(kServe.Process().Err(), "not indexed: clash/inside: "));
        fs::remove_all(kFolder.Path() / "two/clash");
        kFolder.Write("two/mark" + std::to_string(nRound), "1");
        EXPECT_TRUE(WaitUntil([&] { return IndexedPaths().contains("mark" + std::to_string(nRound)); }));
        std::this_thread::sleep_for(std::chrono::seconds(2));
        EXPECT_EQ(Named(), nRound);
    }
}

TEST(LumLive, APathToWatchIsTakenLikeEveryOtherPath)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "In/deep");
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    std::vector<std::unique_ptr<LumWatch>> vecWatches;
    const std::string strPath = kFolder.Name("In/deep");
    for (const std::string& strForm :
         {std::string("In/deep"), std::string("in/DEEP/"), strPath, strPath + "/../deep", std::string("in\\deep"),
          std::string("./In//deep"), std::string("/"), std::string("In/de\\x65p")})
    {
        vecWatches.push_back(std::make_unique<LumWatch>(std::vector<std::string>{"--path", strForm}));
    }
    LumWatch kOther({"--path", "In/dee"});
    kFolder.Write("In/deep/a\xff", "1");
    for (const std::unique_ptr<LumWatch>& pkWatch : vecWatches)
    {
        EXPECT_TRUE(WaitUntil([&] { return pkWatch->Events().size() == 1; })) << pkWatch->Process().Err();
    }
    EXPECT_TRUE(kOther.Told().empty());
    const LumResult kElsewhere = RunLum({"watch", "--path", "/somewhere/else"});
    EXPECT_EQ(kElsewhere.nExitCode, 1);
    EXPECT_EQ(kElsewhere.strErr, "lum: /somewhere/else: lies in no source that is published\n");
}

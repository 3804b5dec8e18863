// A publisher that follows changes, and tools that are told.
#include "tests/live/live_test_support.h"

namespace fs = std::filesystem;
using nlohmann::json;

TEST(LumLive, AFileThatIsMadeRenamedWrittenAndDeletedIsToldAndFound)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;

    kFolder.Write("a.png", "1");
    ASSERT_TRUE(kWatch.WaitForTold("added a.png"));
    const json kNode = LumJson({"stat", "a.png"})["nodes"][0];
    EXPECT_EQ(kNode["size"], 1);
    EXPECT_EQ(kNode["type_name"], "texture");

    fs::rename(kFolder.Path() / "a.png", kFolder.Path() / "b.fbx");
    ASSERT_TRUE(kWatch.WaitForTold("renamed a.png b.fbx"));
    EXPECT_EQ(RunLum({"stat", "a.png"}).nExitCode, 1);
    EXPECT_EQ(LumJson({"stat", "b.fbx"})["nodes"][0]["type_name"], "model");
    EXPECT_EQ(LumJson({"stat", "b.fbx"})["nodes"][0]["id"], kNode["id"]) << "the node stays, under another key";

    kFolder.Write("b.fbx", "12345");
    ASSERT_TRUE(kWatch.WaitForTold("modified b.fbx"));
    EXPECT_EQ(LumJson({"stat", "b.fbx"})["nodes"][0]["size"], 5);

    fs::remove(kFolder.Path() / "b.fbx");
    ASSERT_TRUE(kWatch.WaitForTold("removed b.fbx"));
    EXPECT_EQ(RunLum({"find"}).nExitCode, 1);
}

TEST(LumLive, AnEventSaysWhereTheFileIs)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "target");
    LumServe kServe({"--target", kFolder.Name("target")}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch;
    kFolder.Write("target/a.txt", "1");
    ASSERT_TRUE(kWatch.WaitForTold("added a.txt"));
    const json kEvent = kWatch.Events()[0];
    EXPECT_EQ(kEvent["from"], "target");
    EXPECT_EQ(kEvent["file"], Forward(kFolder.Name("target")) + "/a.txt");
    EXPECT_EQ(kEvent["folder"], false);
    EXPECT_GT(kEvent["time_us"].get<unsigned long long>(), 1'700'000'000'000'000ull);
}

TEST(LumLive, TwoToolsAreToldTheSame)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kOne;
    LumWatch kOther;
    kFolder.Write("a.txt", "1");
    ASSERT_TRUE(kOne.WaitForTold("added a.txt"));
    ASSERT_TRUE(kOther.WaitForTold("added a.txt"));
    EXPECT_EQ(kOne.Events()[0], kOther.Events()[0]);
}

TEST(LumLive, WatchEndsAfterACountOfEvents)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    LumWatch kWatch({"--count", "1"});
    kFolder.Write("a.txt", "1");
    EXPECT_TRUE(WaitUntil([&] { return !kWatch.Process().IsRunning(); }));
    EXPECT_EQ(kWatch.Process().Wait(), 0);
    EXPECT_EQ(kWatch.Told().size(), 1u);
}

TEST(LumLive, WatchWithoutAPublisherSaysSo)
{
    const LumResult kResult = RunLum({"watch"});
    EXPECT_EQ(kResult.nExitCode, 1);
    EXPECT_EQ(kResult.strOut, "");
    EXPECT_EQ(kResult.strErr, "lum: nothing is published here; to publish a directory: lum serve --source DIR\n");
}

TEST(LumLive, WatchOfASourceThatIsNotPublishedSaysSo)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const LumResult kResult = RunLum({"watch", "--source", "pak"});
    EXPECT_EQ(kResult.nExitCode, 1);
    EXPECT_EQ(kResult.strErr, "lum: no events of pak are published\n");
    EXPECT_EQ(RunLum({"watch", "--source", "nonsense"}).nExitCode, 2);
}

TEST(LumLive, ExecRunsACommandWithTheEventInItsEnvironment)
{
    TemporaryFolder kFolder;
    fs::create_directories(kFolder.Path() / "tree");
    LumServe kServe({"--source", kFolder.Name("tree")}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const std::string strLog = kFolder.Name("log");
    const bool bShell = fs::path(strLog).native().front() == '/';
    const std::string strCommand = bShell ? "printf '%s %s %s' \"$LUM_KIND\" \"$LUM_SOURCE\" \"$LUM_PATH\" > " + strLog
                                          : "echo %LUM_KIND% %LUM_SOURCE% %LUM_PATH%> " + strLog;
    LumWatch kWatch({"--count", "1", "--exec", strCommand});
    kFolder.Write("tree/it's $HOME.txt", "1");
    EXPECT_TRUE(WaitUntil([&] { return !kWatch.Process().IsRunning(); }));
    EXPECT_TRUE(ReadWholeFile(strLog).starts_with("added source it's $HOME.txt")) << ReadWholeFile(strLog);
}

TEST(LumLive, StatusCountsWhatThePublisherDoes)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    EXPECT_EQ(LumJson({"status"})["sources"][0]["publisher"]["publications"], 1);
    LumWatch kWatch;
    kFolder.Write("a.txt", "1");
    ASSERT_TRUE(kWatch.WaitForTold("added a.txt"));
    EXPECT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["changes"] == 1; }));
    const json kStatus = LumJson({"status"})["sources"][0]["publisher"];
    EXPECT_GE(kStatus["publications"], 2);
    EXPECT_GE(kStatus["hints"], 1);
    EXPECT_EQ(kStatus["polled_roots"], 0);
}

TEST(LumLive, ABurstIsPublishedAtMostFourTimesASecond)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(kServe.Publishes());
    const auto Publications = [] { return LumJson({"status"})["sources"][0]["publisher"]["publications"].get<int>(); };
    const int nBefore = Publications();
    const auto kStart = std::chrono::steady_clock::now();
    for (int i = 0; i < 300; ++i)
    {
        kFolder.Write(std::to_string(i) + ".txt", "1");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths().size() == 300; }));
    const int nPublished = Publications() - nBefore;
    const std::chrono::duration<double> kSeconds = std::chrono::steady_clock::now() - kStart;
    EXPECT_LE(nPublished, 4 * kSeconds.count() + 1);
    EXPECT_GE(nPublished, 2);
}

TEST(LumLive, OnceFollowsNothing)
{
    TemporaryFolder kFolder;
    LumServe kServe({"--source", kFolder.Name()});
    ASSERT_TRUE(kServe.Publishes());
    EXPECT_FALSE(LumJson({"status"})["sources"][0].contains("publisher"));
    kFolder.Write("a.txt", "1");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(RunLum({"find"}).nExitCode, 1);
}

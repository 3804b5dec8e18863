// A publisher that follows changes, and tools that are told.
#include "tests/live/live_test_support.h"

namespace fs = std::filesystem;
using nlohmann::json;

TEST(LumLive, AFileThatIsMadeRenamedWrittenAndDeletedIsToldAndFound)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;

    folder.Write("a.png", "1");
    ASSERT_TRUE(watch.WaitForTold("added a.png"));
    const json node = LumJson({"stat", "a.png"})["nodes"][0];
    EXPECT_EQ(node["size"], 1);
    EXPECT_EQ(node["type_name"], "texture");

    fs::rename(folder.Path() / "a.png", folder.Path() / "b.fbx");
    ASSERT_TRUE(watch.WaitForTold("renamed a.png b.fbx"));
    EXPECT_EQ(RunLum({"stat", "a.png"}).nExitCode, 1);
    EXPECT_EQ(LumJson({"stat", "b.fbx"})["nodes"][0]["type_name"], "model");
    EXPECT_EQ(LumJson({"stat", "b.fbx"})["nodes"][0]["id"], node["id"]) << "the node stays, under another key";

    folder.Write("b.fbx", "12345");
    ASSERT_TRUE(watch.WaitForTold("modified b.fbx"));
    EXPECT_EQ(LumJson({"stat", "b.fbx"})["nodes"][0]["size"], 5);

    fs::remove(folder.Path() / "b.fbx");
    ASSERT_TRUE(watch.WaitForTold("removed b.fbx"));
    EXPECT_EQ(RunLum({"find"}).nExitCode, 1);
}

TEST(LumLive, AnEventSaysWhereTheFileIs)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "target");
    LumServe serve({"--target", folder.Name("target")}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch;
    folder.Write("target/a.txt", "1");
    ASSERT_TRUE(watch.WaitForTold("added a.txt"));
    const json event = watch.Events()[0];
    EXPECT_EQ(event["from"], "target");
    EXPECT_EQ(event["file"], Forward(folder.Name("target")) + "/a.txt");
    EXPECT_EQ(event["folder"], false);
    EXPECT_GT(event["time_us"].get<unsigned long long>(), 1'700'000'000'000'000ull);
}

TEST(LumLive, TwoToolsAreToldTheSame)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch one;
    LumWatch other;
    folder.Write("a.txt", "1");
    ASSERT_TRUE(one.WaitForTold("added a.txt"));
    ASSERT_TRUE(other.WaitForTold("added a.txt"));
    EXPECT_EQ(one.Events()[0], other.Events()[0]);
}

TEST(LumLive, WatchEndsAfterACountOfEvents)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    LumWatch watch({"--count", "1"});
    folder.Write("a.txt", "1");
    EXPECT_TRUE(WaitUntil([&] { return !watch.Process().IsRunning(); }));
    EXPECT_EQ(watch.Process().Wait(), 0);
    EXPECT_EQ(watch.Told().size(), 1u);
}

TEST(LumLive, WatchWithoutAPublisherSaysSo)
{
    const LumResult result = RunLum({"watch"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "");
    EXPECT_EQ(result.strErr, "lum: nothing is published here; to publish a directory: lum serve --source DIR\n");
}

TEST(LumLive, WatchOfASourceThatIsNotPublishedSaysSo)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const LumResult result = RunLum({"watch", "--source", "pak"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strErr, "lum: no events of pak are published\n");
    EXPECT_EQ(RunLum({"watch", "--source", "nonsense"}).nExitCode, 2);
}

TEST(LumLive, ExecRunsACommandWithTheEventInItsEnvironment)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "tree");
    LumServe serve({"--source", folder.Name("tree")}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const std::string strLog = folder.Name("log");
    const bool bShell = fs::path(strLog).native().front() == '/';
    const std::string strCommand = bShell ? "printf '%s %s %s' \"$LUM_KIND\" \"$LUM_SOURCE\" \"$LUM_PATH\" > " + strLog
                                          : "echo %LUM_KIND% %LUM_SOURCE% %LUM_PATH%> " + strLog;
    LumWatch watch({"--count", "1", "--exec", strCommand});
    folder.Write("tree/it's $HOME.txt", "1");
    EXPECT_TRUE(WaitUntil([&] { return !watch.Process().IsRunning(); }));
    EXPECT_TRUE(ReadWholeFile(strLog).starts_with("added source it's $HOME.txt")) << ReadWholeFile(strLog);
}

TEST(LumLive, StatusCountsWhatThePublisherDoes)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(LumJson({"status"})["sources"][0]["publisher"]["publications"], 1);
    LumWatch watch;
    folder.Write("a.txt", "1");
    ASSERT_TRUE(watch.WaitForTold("added a.txt"));
    EXPECT_TRUE(WaitUntil([] { return LumJson({"status"})["sources"][0]["publisher"]["changes"] == 1; }));
    const json status = LumJson({"status"})["sources"][0]["publisher"];
    EXPECT_GE(status["publications"], 2);
    EXPECT_GE(status["hints"], 1);
    EXPECT_EQ(status["polled_roots"], 0);
}

TEST(LumLive, ABurstIsPublishedAtMostFourTimesASecond)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()}, LumServe::Mode::Follow);
    ASSERT_TRUE(serve.Publishes());
    const auto Publications = [] { return LumJson({"status"})["sources"][0]["publisher"]["publications"].get<int>(); };
    const int nBefore = Publications();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 300; ++i)
    {
        folder.Write(std::to_string(i) + ".txt", "1");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(WaitUntil([] { return IndexedPaths().size() == 300; }));
    const int nPublished = Publications() - nBefore;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    EXPECT_LE(nPublished, 4 * seconds.count() + 1);
    EXPECT_GE(nPublished, 2);
}

TEST(LumLive, OnceFollowsNothing)
{
    TemporaryFolder folder;
    LumServe serve({"--source", folder.Name()});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_FALSE(LumJson({"status"})["sources"][0].contains("publisher"));
    folder.Write("a.txt", "1");
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(RunLum({"find"}).nExitCode, 1);
}

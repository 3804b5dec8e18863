// The process, on both systems.
#include "platform/vo_process.h"

#include <chrono>

#include "tests/platform/platform_test_support.h"

TEST(Process, HasTheIdThatItsParentKnows)
{
    ChildProcess child("name-itself", "");
    EXPECT_EQ(std::to_string(child.ProcessId()), child.ReadLine());
    EXPECT_NE(VOProcessId(), child.ProcessId());
    EXPECT_EQ(0, child.WaitForEnd());
}

TEST(Process, TakesArgumentsOfEveryAlphabet)
{
    ChildProcess child("say-arguments", "", {}, {"plain", "with blank", "\xD0\xB6\xF0\x9F\x8C\xB3"});
    EXPECT_EQ("706c61696e", child.ReadLine());
    EXPECT_EQ("7769746820626c616e6b", child.ReadLine());
    EXPECT_EQ("d0b6f09f8cb3", child.ReadLine());
    EXPECT_EQ("end", child.ReadLine());
}

TEST(Process, SleepsNoShorterThanAsked)
{
    const auto begin = std::chrono::steady_clock::now();
    VOSleepMilliseconds(30);
    // A tick of the coarsest clock there is may be missing.
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(14));
}

TEST(Process, WaitsUntilItIsAskedToStop)
{
    ChildProcess child("stop-itself", "");
    EXPECT_EQ(7, child.WaitForEnd());
}

TEST(Console, IsNotAPipe)
{
    ChildProcess child("describe-terminal", "");
    EXPECT_EQ("no terminal", child.ReadLine());
}

TEST(Console, IsNotAFile)
{
    const TemporaryFolder folder;
    FILE* const pFile = fopen(folder.WriteFile("file").string().c_str(), "r");
    ASSERT_NE(nullptr, pFile);
    EXPECT_FALSE(VOIsTerminal(pFile));
    fclose(pFile);
}

TEST(ReopenedStream, GoesToItsNewFile)
{
    const TemporaryFolder folder;
    const std::string strFirst = folder.WriteFile("first").string();
    const std::string strSecond = folder.WriteFile("second").string();
    FILE* const pStream = fopen(strFirst.c_str(), "w");
    ASSERT_NE(nullptr, pStream);
    fputs("one", pStream);
    FILE* pReopened = nullptr;
    ASSERT_EQ(0, freopen_s(&pReopened, strSecond.c_str(), "w", pStream));
    ASSERT_EQ(pStream, pReopened);
    fputs("other", pReopened);
    fclose(pReopened);
    EXPECT_EQ(3u, std::filesystem::file_size(folder.Path() / "first"));
    EXPECT_EQ(5u, std::filesystem::file_size(folder.Path() / "second"));
}

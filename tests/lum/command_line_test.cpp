// The command line itself: usage, exit codes, and what happens when nobody publishes.
#include "tests/lum_support/lum_test_support.h"

TEST(LumCommandLine, HelpNamesEveryCommandAndEndsWithZero)
{
    const LumResult result = RunLum({"--help"});
    EXPECT_EQ(result.nExitCode, 0);
    for (const char* pszCommand :
         {"serve", "status", "ls", "tree", "find", "stat", "types", "image", "options", "log", "demo"})
    {
        EXPECT_TRUE(Contains(result.strOut, std::string("\n  ") + pszCommand)) << pszCommand;
    }
}

TEST(LumCommandLine, EveryCommandHasHelpOfItsOwn)
{
    for (const char* pszCommand :
         {"serve", "status", "ls", "tree", "find", "stat", "types", "image", "options", "log", "demo"})
    {
        const LumResult result = RunLum({pszCommand, "--help"});
        EXPECT_EQ(result.nExitCode, 0) << pszCommand;
        EXPECT_TRUE(Contains(result.strOut, std::string("Usage: lum ") + pszCommand)) << result.strOut;
    }
}

TEST(LumCommandLine, VersionIsWrittenAndEndsWithZero)
{
    const LumResult result = RunLum({"--version"});
    EXPECT_EQ(result.nExitCode, 0);
    EXPECT_EQ(result.strOut.substr(0, 4), "lum ");
    EXPECT_EQ(LinesOf(result.strOut).size(), 1u);
}

TEST(LumCommandLine, WrongUsageIsAnErrorWithAMessageAndNoResult)
{
    const std::vector<std::vector<std::string>> vecWrong = {{"nonsense"},
                                                            {"stat"},
                                                            {"ls", "--nonsense"},
                                                            {"ls", "a", "b"},
                                                            {"ls", "--from"},
                                                            {"ls", "--from", "nowhere"},
                                                            {"tree", "--depth", "deep"},
                                                            {"tree", "--depth", "-1"},
                                                            {"find", "--merge", "0xg"},
                                                            {"find", "--merge", "4294967296"},
                                                            {"image", "--file", "x", "--section", "source"},
                                                            {"image", "--records", "3"},
                                                            {"image", "--dump", "--json"},
                                                            {"serve"},
                                                            {"serve", "--once"},
                                                            {"serve", "--source"},
                                                            {"serve", "--source", "a", "--source", "b"},
                                                            {"serve", "stray"},
                                                            {"serve", "--log"},
                                                            {"serve", "--options"},
                                                            {"options", "stray"},
                                                            {"log"},
                                                            {"log", "a", "b"},
                                                            {"log", "a", "--lines", "-1"},
                                                            {"crash"},
                                                            {"crash", "gently"}};
    for (const std::vector<std::string>& vecArguments : vecWrong)
    {
        const LumResult result = RunLum(vecArguments);
        const std::string strShown = testing::PrintToString(vecArguments);
        EXPECT_EQ(result.nExitCode, 2) << strShown;
        EXPECT_EQ(result.strOut, "") << strShown;
        EXPECT_NE(result.strErr, "") << strShown;
    }
}

TEST(LumCommandLine, WithoutAnArgumentItShowsItsHelp)
{
    const LumResult result = RunLum({});
    EXPECT_EQ(result.nExitCode, 0);
    EXPECT_EQ(result.strOut, RunLum({"--help"}).strOut);
    EXPECT_EQ(result.strErr, "");
}

TEST(LumCommandLine, WhatIsWrongIsSaidInOneLineWithTheHelpThatTellsMore)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> vecWrong = {
        {{"bogus"}, "unknown command 'bogus'; see 'lum --help'"},
        {{"stauts"}, "unknown command 'stauts'; did you mean 'status'? See 'lum --help'"},
        {{"crahs"}, "unknown command 'crahs'; see 'lum --help'"},
        {{"--bogus"}, "unknown option '--bogus'; see 'lum --help'"},
        {{"ls", "--jsn"}, "unknown option '--jsn'; did you mean '--json'? See 'lum ls --help'"},
        {{"tree", "--dept=3"}, "unknown option '--dept'; did you mean '--depth'? See 'lum tree --help'"},
        {{"ls", "a", "b"}, "unexpected argument 'b'; see 'lum ls --help'"},
        {{"stat"}, "path is required; see 'lum stat --help'"},
        {{"bo\ngus"}, "unknown command 'bo\\x0agus'; see 'lum --help'"}};
    for (const auto& [vecArguments, strMessage] : vecWrong)
    {
        const LumResult result = RunLum(vecArguments);
        EXPECT_EQ(result.nExitCode, 2);
        EXPECT_EQ(result.strOut, "");
        EXPECT_EQ(result.strErr, "lum: " + strMessage + "\n");
    }
}

TEST(LumCommandLine, ADirectoryThatIsntThereIsNamedInOneSentence)
{
    const LumResult result = RunLum({"serve", "--source", "/no/such/directory"});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_EQ(result.strOut, "");
    EXPECT_EQ(LinesOf(result.strErr).size(), 1u) << result.strErr;
    EXPECT_TRUE(Contains(result.strErr, "/no/such/directory: can't be listed: ")) << result.strErr;
}

TEST(LumCommandLine, WithoutAPublisherStatusFindsNothing)
{
    const LumResult result = RunLum({"status"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "");
    EXPECT_EQ(result.strErr, "lum: nothing is published here; to publish a directory: lum serve --source DIR\n");
}

TEST(LumCommandLine, WithoutAPublisherStatusInJsonHasNoSources)
{
    EXPECT_EQ(LumJson({"status"}, 1), nlohmann::json::parse("{\"sources\": []}"));
}

TEST(LumCommandLine, WithoutAPublisherQuestionsAboutFilesCantBeAnswered)
{
    for (const std::vector<std::string>& vecArguments : std::vector<std::vector<std::string>>{
             {"ls"}, {"tree"}, {"find"}, {"stat", "x"}, {"types"}, {"ls", "--from", "pak"}, {"image"}})
    {
        const LumResult result = RunLum(vecArguments);
        EXPECT_EQ(result.nExitCode, 2) << vecArguments[0];
        EXPECT_EQ(result.strOut, "") << vecArguments[0];
        EXPECT_NE(result.strErr, "") << vecArguments[0];
    }
}

TEST(LumCommandLine, WithoutAPublisherThereIsNoStateToShow)
{
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

// The command line itself: usage, exit codes, and what happens when nobody publishes.
#include "tests/lum_support/lum_test_support.h"

TEST(LumCommandLine, HelpNamesEveryCommandAndEndsWithZero)
{
    const LumResult kResult = RunLum({"--help"});
    EXPECT_EQ(kResult.nExitCode, 0);
    for (const char* pszCommand :
         {"serve", "status", "ls", "tree", "find", "stat", "types", "image", "options", "log", "demo"})
    {
        EXPECT_TRUE(Contains(kResult.strOut, std::string("\n  ") + pszCommand)) << pszCommand;
    }
}

TEST(LumCommandLine, EveryCommandHasHelpOfItsOwn)
{
    for (const char* pszCommand :
         {"serve", "status", "ls", "tree", "find", "stat", "types", "image", "options", "log", "demo"})
    {
        const LumResult kResult = RunLum({pszCommand, "--help"});
        EXPECT_EQ(kResult.nExitCode, 0) << pszCommand;
        EXPECT_TRUE(Contains(kResult.strOut, std::string("Usage: lum ") + pszCommand)) << kResult.strOut;
    }
}

TEST(LumCommandLine, VersionIsWrittenAndEndsWithZero)
{
    const LumResult kResult = RunLum({"--version"});
    EXPECT_EQ(kResult.nExitCode, 0);
    EXPECT_EQ(kResult.strOut.substr(0, 4), "lum ");
    EXPECT_EQ(LinesOf(kResult.strOut).size(), 1u);
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
        const LumResult kResult = RunLum(vecArguments);
        const std::string strShown = testing::PrintToString(vecArguments);
        EXPECT_EQ(kResult.nExitCode, 2) << strShown;
        EXPECT_EQ(kResult.strOut, "") << strShown;
        EXPECT_NE(kResult.strErr, "") << strShown;
    }
}

TEST(LumCommandLine, WithoutAnArgumentItShowsItsHelp)
{
    const LumResult kResult = RunLum({});
    EXPECT_EQ(kResult.nExitCode, 0);
    EXPECT_EQ(kResult.strOut, RunLum({"--help"}).strOut);
    EXPECT_EQ(kResult.strErr, "");
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
        const LumResult kResult = RunLum(vecArguments);
        EXPECT_EQ(kResult.nExitCode, 2);
        EXPECT_EQ(kResult.strOut, "");
        EXPECT_EQ(kResult.strErr, "lum: " + strMessage + "\n");
    }
}

TEST(LumCommandLine, ADirectoryThatIsntThereIsNamedInOneSentence)
{
    const LumResult kResult = RunLum({"serve", "--source", "/no/such/directory"});
    EXPECT_EQ(kResult.nExitCode, 2);
    EXPECT_EQ(kResult.strOut, "");
    EXPECT_EQ(LinesOf(kResult.strErr).size(), 1u) << kResult.strErr;
    EXPECT_TRUE(Contains(kResult.strErr, "/no/such/directory: can't be listed: ")) << kResult.strErr;
}

TEST(LumCommandLine, WithoutAPublisherStatusFindsNothing)
{
    const LumResult kResult = RunLum({"status"});
    EXPECT_EQ(kResult.nExitCode, 1);
    EXPECT_EQ(kResult.strOut, "");
    EXPECT_EQ(kResult.strErr, "lum: nothing is published here; to publish a directory: lum serve --source DIR\n");
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
        const LumResult kResult = RunLum(vecArguments);
        EXPECT_EQ(kResult.nExitCode, 2) << vecArguments[0];
        EXPECT_EQ(kResult.strOut, "") << vecArguments[0];
        EXPECT_NE(kResult.strErr, "") << vecArguments[0];
    }
}

TEST(LumCommandLine, WithoutAPublisherThereIsNoStateToShow)
{
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
}

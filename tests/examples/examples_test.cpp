// The example programs of the documentation, run as a user runs them.
#include <stdlib.h>

#include <algorithm>
#include <filesystem>

#include "gtest/gtest.h"
#include "platform/vo_section_publisher.h"
#include "support/temporary_files.h"
#include "vo_public_option.h"

using namespace votest;

namespace
{
// Runs an example; its exit code, and what it printed with "\n" as line end.
struct ProgramRun
{
    ProgramRun(const TemporaryFiles& files, const std::string& strExample, const std::string& strArguments)
    {
        std::filesystem::path program = std::string(EXAMPLE_FOLDER) + "/example_" + strExample + EXAMPLE_SUFFIX;
        std::filesystem::path output = files.Path(strExample + ".out");
        // The shell of the one system takes "/" for the start of an option.
        const std::string strCommand =
            program.make_preferred().string() + " " + strArguments + " > " + output.make_preferred().string();
        nExit = system(strCommand.c_str());
        strOutput = TemporaryFiles::Read(output.string());
        strOutput.erase(std::remove(strOutput.begin(), strOutput.end(), '\r'), strOutput.end());
    }

    int nExit;
    std::string strOutput;
};

bool Has(const std::string& strText, const std::string& strPart)
{
    return strText.find(strPart) != std::string::npos;
}
}  // namespace

TEST(Examples, TheIniFileCountsItsRunsAndKeepsTheRest)
{
    const TemporaryFiles files;
    const std::string strFile = files.Write("a.ini", "[Window]\nTitle=Scene ; shown on top\nScale=1.5\n");
    EXPECT_EQ(0, ProgramRun(files, "ini_file", strFile).nExit);
    const ProgramRun second(files, "ini_file", strFile);
    EXPECT_EQ(0, second.nExit);
    EXPECT_EQ("section Window\nsection Example\ntitle Scene , scale 1.50, run 1 times before\n", second.strOutput);
    EXPECT_EQ("[Window]\r\nTitle=Scene ; shown on top\r\nScale=1.5\r\n\r\n[Example]\r\nRuns=2\r\n",
              TemporaryFiles::Read(strFile));
    EXPECT_EQ(0, ProgramRun(files, "ini_file", files.Path("new.ini")).nExit);
    EXPECT_EQ("[Example]\r\nRuns=1\r\n", TemporaryFiles::Read(files.Path("new.ini")));
}

TEST(Examples, ThePathListGrows)
{
    const TemporaryFiles files;
    EXPECT_EQ("0 a/b\n", ProgramRun(files, "path_list", files.Path("a.mdl") + " a/b").strOutput);
    EXPECT_EQ("0 a/b\n1 c\n2 d\n", ProgramRun(files, "path_list", files.Path("a.mdl") + " c d").strOutput);
}

TEST(Examples, ThePublicOptionsAreShown)
{
    const TemporaryFiles files;
    EXPECT_TRUE(Has(ProgramRun(files, "public_options", "").strOutput, "text1  \n"));
    VOPublicOptionRecord record = {};
    memcpy(record.szVersion, kszVOPublicOptionVersion, sizeof(record.szVersion));
    memcpy(record.szOptionKey, "key", 3);
    memcpy(record.szOptionText1, "a text", 6);
    record.nOptionValue3 = -5;
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(kVOPublicOptionSection, &record, sizeof(record)));
    const ProgramRun run(files, "public_options", "key");
    EXPECT_EQ(0, run.nExit);
    EXPECT_TRUE(Has(run.strOutput, "key    key\ntext1  a text\n")) << run.strOutput;
    EXPECT_TRUE(Has(run.strOutput, "value3 -5\n")) << run.strOutput;
}

TEST(Examples, TheLogFileHoldsTheProgramsLineAndTheLibrarys)
{
    const TemporaryFiles files;
    EXPECT_EQ(0, ProgramRun(files, "log_file", files.Path("logs")).nExit);
    std::string strLog;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(files.Path("logs")))
    {
        strLog += entry.is_regular_file() ? TemporaryFiles::Read(entry.path().string()) : "";
    }
    EXPECT_TRUE(Has(strLog, ":[VOLOG-INFO]the program starts")) << strLog;
    EXPECT_TRUE(Has(strLog, ":[VOLOG-ERROR]VO_PROCESS_ERROR(pFileName && pFileName[0]) at line ")) << strLog;
}

TEST(Examples, TheStackWalkerReportsItsFramesAndASummary)
{
    const TemporaryFiles files;
    const ProgramRun run(files, "stack_walker", "");
    EXPECT_EQ(0, run.nExit);
    const size_t uSummary = run.strOutput.find("summary: ");
    ASSERT_NE(std::string::npos, uSummary) << run.strOutput;
    EXPECT_LT(0u, uSummary) << run.strOutput;
    EXPECT_TRUE(Has(run.strOutput.substr(uSummary), ",")) << run.strOutput;
}

TEST(Examples, TheCipherTakesItsResultBack)
{
    const TemporaryFiles files;
    const ProgramRun run(files, "string_cipher", "password 0123456789ABCDEF");
    EXPECT_EQ(0, run.nExit);
    EXPECT_TRUE(Has(run.strOutput, "\n0123456789ABCDEF\n")) << run.strOutput;
}

TEST(Examples, TheDigestIsThePublishedValue)
{
    const TemporaryFiles files;
    const ProgramRun run(files, "digest", files.Write("abc.txt", "abc"));
    EXPECT_EQ(0, run.nExit);
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72\n", run.strOutput.substr(0, 33));
}

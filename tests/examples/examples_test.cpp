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
    ProgramRun(const TemporaryFiles& rkFiles, const std::string& strExample, const std::string& strArguments)
    {
        std::filesystem::path program = std::string(EXAMPLE_FOLDER) + "/example_" + strExample + EXAMPLE_SUFFIX;
        std::filesystem::path output = rkFiles.Path(strExample + ".out");
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
    const TemporaryFiles kFiles;
    const std::string strFile = kFiles.Write("a.ini", "[Window]\nTitle=Scene ; shown on top\nScale=1.5\n");
    EXPECT_EQ(0, ProgramRun(kFiles, "ini_file", strFile).nExit);
    const ProgramRun kSecond(kFiles, "ini_file", strFile);
    EXPECT_EQ(0, kSecond.nExit);
    EXPECT_EQ("section Window\nsection Example\ntitle Scene , scale 1.50, run 1 times before\n", kSecond.strOutput);
    EXPECT_EQ("[Window]\r\nTitle=Scene ; shown on top\r\nScale=1.5\r\n\r\n[Example]\r\nRuns=2\r\n",
              TemporaryFiles::Read(strFile));
    EXPECT_EQ(0, ProgramRun(kFiles, "ini_file", kFiles.Path("new.ini")).nExit);
    EXPECT_EQ("[Example]\r\nRuns=1\r\n", TemporaryFiles::Read(kFiles.Path("new.ini")));
}

TEST(Examples, ThePathListGrows)
{
    const TemporaryFiles kFiles;
    EXPECT_EQ("0 a/b\n", ProgramRun(kFiles, "path_list", kFiles.Path("a.mdl") + " a/b").strOutput);
    EXPECT_EQ("0 a/b\n1 c\n2 d\n", ProgramRun(kFiles, "path_list", kFiles.Path("a.mdl") + " c d").strOutput);
}

TEST(Examples, ThePublicOptionsAreShown)
{
    const TemporaryFiles kFiles;
    EXPECT_TRUE(Has(ProgramRun(kFiles, "public_options", "").strOutput, "text1  \n"));
    VOPublicOptionRecord kRecord = {};
    memcpy(kRecord.szVersion, kszVOPublicOptionVersion, sizeof(kRecord.szVersion));
    memcpy(kRecord.szOptionKey, "key", 3);
    memcpy(kRecord.szOptionText1, "a text", 6);
    kRecord.nOptionValue3 = -5;
    VOPublishedSection kSection;
    ASSERT_TRUE(kSection.Replace(kVOPublicOptionSection, &kRecord, sizeof(kRecord)));
    const ProgramRun kRun(kFiles, "public_options", "key");
    EXPECT_EQ(0, kRun.nExit);
    EXPECT_TRUE(Has(kRun.strOutput, "key    key\ntext1  a text\n")) << kRun.strOutput;
    EXPECT_TRUE(Has(kRun.strOutput, "value3 -5\n")) << kRun.strOutput;
}

TEST(Examples, TheLogFileHoldsTheProgramsLineAndTheLibrarys)
{
    const TemporaryFiles kFiles;
    EXPECT_EQ(0, ProgramRun(kFiles, "log_file", kFiles.Path("logs")).nExit);
    std::string strLog;
    for (const auto& kEntry : std::filesystem::recursive_directory_iterator(kFiles.Path("logs")))
    {
        strLog += kEntry.is_regular_file() ? TemporaryFiles::Read(kEntry.path().string()) : "";
    }
    EXPECT_TRUE(Has(strLog, ":[VOLOG-INFO]the program starts")) << strLog;
    EXPECT_TRUE(Has(strLog, ":[VOLOG-ERROR]VO_PROCESS_ERROR(pFileName && pFileName[0]) at line ")) << strLog;
}

TEST(Examples, TheStackWalkerReportsItsFramesAndASummary)
{
    const TemporaryFiles kFiles;
    const ProgramRun kRun(kFiles, "stack_walker", "");
    EXPECT_EQ(0, kRun.nExit);
    const size_t uSummary = kRun.strOutput.find("summary: ");
    ASSERT_NE(std::string::npos, uSummary) << kRun.strOutput;
    EXPECT_LT(0u, uSummary) << kRun.strOutput;
    EXPECT_TRUE(Has(kRun.strOutput.substr(uSummary), ",")) << kRun.strOutput;
}

TEST(Examples, TheCipherTakesItsResultBack)
{
    const TemporaryFiles kFiles;
    const ProgramRun kRun(kFiles, "string_cipher", "password 0123456789ABCDEF");
    EXPECT_EQ(0, kRun.nExit);
    EXPECT_TRUE(Has(kRun.strOutput, "\n0123456789ABCDEF\n")) << kRun.strOutput;
}

TEST(Examples, TheDigestIsThePublishedValue)
{
    const TemporaryFiles kFiles;
    const ProgramRun kRun(kFiles, "digest", kFiles.Write("abc.txt", "abc"));
    EXPECT_EQ(0, kRun.nExit);
    EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72\n", kRun.strOutput.substr(0, 33));
}

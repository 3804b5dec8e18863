// The public options: what serve publishes of a file, and what options shows.
#include <string.h>

#include "platform/vo_platform.h"
#include "platform/vo_section_publisher.h"
#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

constexpr size_t kRecordSize = 1536;
constexpr const VOWCHAR* kSectionName = VOTEXT("fileMappingPublicOptionName");

// The bytes of the section; empty when there is none.
std::string PublishedRecord()
{
    std::string strBytes;
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, 0, kSectionName);
    void* const pvView = hSection != nullptr ? MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0) : nullptr;
    if (pvView != nullptr)
    {
        strBytes.assign(static_cast<const char*>(pvView), kRecordSize);
        UnmapViewOfFile(pvView);
    }
    if (hSection != nullptr)
    {
        CloseHandle(hSection);
    }
    return strBytes;
}

void Put(std::string* pstrBytes, size_t uAt, std::string_view strWhat)
{
    pstrBytes->replace(uAt, strWhat.size(), strWhat);
}

std::string Record(std::string_view strVersion)
{
    std::string strBytes(kRecordSize, '\0');
    Put(&strBytes, 0, strVersion);
    return strBytes;
}

}  // namespace

TEST(LumOptions, TheRecordOfAFileIsPublishedToTheByte)
{
    TemporaryFolder folder;
    const std::string strFile = folder.Write("o.ini",
                                             "[other]\n"
                                             "text1=of another section\n"
                                             "[options]\r\n"
                                             "key=project\r\n"
                                             "TEXT1=C:\\tools\\one; where the tools are\r\n"
                                             "text2= a=b \n"
                                             "; text3=nothing\n"
                                             "#text3=nothing\n"
                                             "\n"
                                             "text4=\xE4\xBD\xA0\n"
                                             "text5=five\n"
                                             "text6=six\n"
                                             "value1=-2\n"
                                             "value2= 2147483647 ; the largest\n"
                                             "value3=-9223372036854775808\n"
                                             "value4=4294967296\n"
                                             "[last]\n"
                                             "unknown=1\n");
    const LumServe serve({"--options", strFile, "--source", folder.Name()});
    ASSERT_TRUE(serve.Publishes());

    std::string strExpected = Record("version.0.4");
    Put(&strExpected, 12, "project");
    Put(&strExpected, 112, "C:\\tools\\one");
    Put(&strExpected, 372, " a=b ");
    Put(&strExpected, 892, "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\x7F");
    Put(&strExpected, 900, "\xE4\xBD\xA0");
    Put(&strExpected, 1160, "five");
    Put(&strExpected, 1420, "six");
    Put(&strExpected, 1520, std::string_view("\0\0\0\0\0\0\0\x80\0\0\0\0\1\0\0\0", 16));
    EXPECT_EQ(PublishedRecord(), strExpected);
}

TEST(LumOptions, AFileOfJustTheSectionPublishesEmptyOptionsAndNeedsNoSource)
{
    TemporaryFolder folder;
    LumServe serve({"--options", folder.Write("o.ini", "[options]\n")});
    EXPECT_EQ(serve.Process().Out(), "serving 0 nodes of 0 sources\n");
    EXPECT_EQ(PublishedRecord(), Record("version.0.4"));
    EXPECT_EQ(RunLum({"options"}).nExitCode, 0);
}

TEST(LumOptions, WhatIsPublishedIsShownAsTextAndAsJson)
{
    TemporaryFolder folder;
    const std::string strFile = folder.Write(
        "o.ini", "[options]\nkey=k\ntext1=C:\\one\ntext3=a\tb\ntext4=\xFF\nvalue1=-7\nvalue3=9000000000\n");
    const LumServe serve({"--options", strFile});
    ASSERT_TRUE(serve.Publishes());
    const LumResult text = RunLum({"options"});
    EXPECT_EQ(text.nExitCode, 0);
    EXPECT_EQ(text.strErr, "");
    EXPECT_EQ(text.strOut,
              "key     k\ntext1   C:\\one\ntext2\ntext3   a\\x09b\ntext4   \\xff\ntext5\ntext6\n"
              "value1  -7\nvalue2  0\nvalue3  9000000000\nvalue4  0\n");
    EXPECT_EQ(LumJson({"options"}), json({{"key", "k"},
                                          {"text1", "C:\\one"},
                                          {"text2", ""},
                                          {"text3", "a\tb"},
                                          {"text4", "\xEF\xBF\xBD"},
                                          {"text5", ""},
                                          {"text6", ""},
                                          {"value1", -7},
                                          {"value2", 0},
                                          {"value3", 9000000000},
                                          {"value4", 0}}));
}

TEST(LumOptions, WithoutAnyPublishedThereIsNothingToShow)
{
    const LumResult result = RunLum({"options"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_EQ(result.strOut, "");
    EXPECT_EQ(result.strErr, "lum: no options are published; to publish some: lum serve --options FILE\n");
}

TEST(LumOptions, ADemandedKeyTakesOnlyItsOwnOptions)
{
    TemporaryFolder folder;
    const LumServe serve({"--options", folder.Write("o.ini", "[options]\nkey=abc\n")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(RunLum({"options", "--key", "abc"}).nExitCode, 0);
    EXPECT_EQ(RunLum({"options", "--key", "abd"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"options", "--key", "ABC"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"options", "--key", std::string(100, 'k')}).nExitCode, 2);
}

TEST(LumOptions, ARecordOfAnotherVersionIsAnError)
{
    VOPublishedSection section;
    const std::string strRecord = Record("version.0.3");
    ASSERT_TRUE(section.Replace(kSectionName, strRecord.data(), strRecord.size()));
    const LumResult result = RunLum({"options"});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_TRUE(Contains(result.strErr, "isn't this version")) << result.strErr;
}

TEST(LumOptions, ATextWithoutItsZeroEndsWithItsField)
{
    VOPublishedSection section;
    std::string strRecord = Record("version.0.4");
    Put(&strRecord, 12, std::string(100, 'k'));
    Put(&strRecord, 1420, std::string(100, 's'));
    ASSERT_TRUE(section.Replace(kSectionName, strRecord.data(), strRecord.size()));
    const json shown = LumJson({"options"});
    EXPECT_EQ(shown["key"], std::string(99, 'k'));
    EXPECT_EQ(shown["text6"], std::string(99, 's'));
    EXPECT_EQ(shown["text1"], "");
}

TEST(LumOptions, TheLongestTextsFitAndLongerOnesAreRefused)
{
    TemporaryFolder folder;
    const std::string strLongest = "[options]\nkey=" + std::string(99, 'k') + "\ntext1=" + std::string(248, 't') +
                                   "\ntext6=" + std::string(99, 's') + "\n";
    {
        const LumServe serve({"--options", folder.Write("o.ini", strLongest)});
        ASSERT_TRUE(serve.Publishes());
        const json shown = LumJson({"options"});
        EXPECT_EQ(shown["key"], std::string(99, 'k'));
        EXPECT_EQ(shown["text1"], std::string(248, 't'));
        EXPECT_EQ(shown["text6"], std::string(99, 's'));
    }
    for (const std::string& strLine : {"key=" + std::string(100, 'k'), "text6=" + std::string(100, 's'),
                                       "text1=" + std::string(249, 't'), "; " + std::string(253, 'c')})
    {
        const LumResult result = RunLum({"serve", "--options", folder.Write("o.ini", "[options]\n" + strLine)});
        EXPECT_EQ(result.nExitCode, 2) << strLine;
    }
}

TEST(LumOptions, AWrongFileIsRefusedInOneLineAndNothingIsPublished)
{
    TemporaryFolder folder;
    const std::vector<std::pair<std::string, std::string>> vecWrong = {
        {"", "is empty"},
        {"text1=a\n[options]\n", "the first line is no section"},
        {std::string("[options]\n\0\n", 12), "isn't a text file"},
        {"[option]\ntext1=a\n", "has no section [options]"},
        {"[options] ; really\ntext1=a\n", "has no section [options]"},
        {"[options]\ntext7=a\n", "no option is named \"text7\""},
        {"[options]\ntext1 =a\n", "no option is named \"text1 \""},
        {"[options]\ntext1=a\nText1=b\n", "the option \"text1\" is there twice"},
        {"[options]\ntext1\n", "\"text1\" is neither an option nor a comment"},
        {"[options]\ntext1=a[1]\n", "a line with [ and ] is a section"},
        {"[options]\n# see [1]\ntext1=a\n", "a line with [ and ] is a section"},
        {"[options]\n[other]\n[Options]\ntext1=a\n", "the section [options] is there twice"},
        {"[options]\nvalue1=\n", "the option \"value1\" is no whole number of 32 bits"},
        {"[options]\nvalue1=  ; none\n", "the option \"value1\" is no whole number of 32 bits"},
        {"[options]\nvalue1=1x\n", "\"value1\" is no whole number"},
        {"[options]\nvalue2=2147483648\n", "the option \"value2\" is no whole number of 32 bits"},
        {"[options]\nvalue3=9223372036854775808\n", "the option \"value3\" is no whole number of 64 bits"},
        {"[options]\nvalue4=true\n", "\"value4\" is no whole number"}};
    for (const auto& [strContent, strMessage] : vecWrong)
    {
        const std::string strFile = folder.Write("o.ini", strContent);
        const LumResult result = RunLum({"serve", "--source", folder.Name(), "--options", strFile});
        EXPECT_EQ(result.nExitCode, 2) << strContent;
        EXPECT_EQ(result.strOut, "") << strContent;
        EXPECT_EQ(LinesOf(result.strErr).size(), 1u) << result.strErr;
        EXPECT_TRUE(Contains(result.strErr, strMessage)) << result.strErr;
        EXPECT_EQ(PublishedRecord(), "") << strContent;
    }
    for (const std::string& strFile : {folder.Name("nowhere"), folder.Name(), std::string()})
    {
        const LumResult result = RunLum({"serve", "--source", folder.Name(), "--options", strFile});
        EXPECT_EQ(result.nExitCode, 2) << strFile;
        EXPECT_EQ(LinesOf(result.strErr).size(), 1u) << result.strErr;
    }
    EXPECT_EQ(RunLum({"status"}).nExitCode, 1);
}

TEST(LumOptions, ASecondPublisherLeavesTheOptionsOfTheFirst)
{
    TemporaryFolder folder;
    const LumServe serve({"--options", folder.Write("one.ini", "[options]\ntext1=one\n")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(RunLum({"serve", "--options", folder.Write("two.ini", "[options]\ntext1=two\n")}).nExitCode, 2);
    EXPECT_EQ(LumJson({"options"})["text1"], "one");
}

TEST(LumOptions, TheEndOfServeWithdrawsThem)
{
    TemporaryFolder folder;
    LumServe serve({"--options", folder.Write("o.ini", "[options]\n")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_NE(PublishedRecord(), "");
    if (!serve.Process().RequestStop())
    {
        GTEST_SKIP() << "a process can't be asked to stop here";
    }
    EXPECT_EQ(serve.Process().Wait(), 0);
    EXPECT_EQ(PublishedRecord(), "");
}

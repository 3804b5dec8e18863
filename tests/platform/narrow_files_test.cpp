// Files by narrow path, against one contract on both systems.
#include <fstream>
#include <iterator>

#include "tests/platform/platform_test_support.h"

namespace
{
std::string Narrow(const std::filesystem::path& path)
{
    return path.generic_string();
}

std::string WithBackslashes(std::string strPath)
{
    std::replace(strPath.begin(), strPath.end(), '/', '\\');
    return strPath;
}

std::filesystem::path WriteBytes(const TemporaryFolder& folder, const std::string& strBytes)
{
    const std::filesystem::path path = folder.Path() / "text.txt";
    std::ofstream(path, std::ios::binary) << strBytes;
    return path;
}

std::string ReadBytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// The lines that fgets gives of a file opened with "r".
std::vector<std::string> LinesOf(const std::filesystem::path& path, int nLimit)
{
    std::vector<std::string> vecLine;
    FILE* const pFile = VOOpenFile(Narrow(path).c_str(), "r");
    std::string strBuffer(static_cast<size_t>(nLimit), 0);
    while (pFile != nullptr && fgets(strBuffer.data(), nLimit, pFile) != nullptr)
    {
        vecLine.push_back(strBuffer.c_str());
    }
    if (pFile != nullptr)
    {
        fclose(pFile);
    }
    return vecLine;
}
}  // namespace

TEST(NarrowFiles, AreOpenedWithEitherSlash)
{
    const TemporaryFolder folder;
    const std::string strPath = Narrow(folder.WriteFile("a.txt", 3));
    for (const std::string& strForm : {strPath, WithBackslashes(strPath)})
    {
        FILE* const pFile = VOOpenFile(strForm.c_str(), "r");
        ASSERT_NE(nullptr, pFile) << strForm;
        EXPECT_EQ('x', fgetc(pFile));
        EXPECT_EQ(0, fclose(pFile));
    }
}

TEST(NarrowFiles, AreReadWithLfForCrLf)
{
    const TemporaryFolder folder;
    const auto path = WriteBytes(folder, "a\r\nb\n\r\nc\rd\r\r\ne\r");
    EXPECT_EQ((std::vector<std::string>{"a\n", "b\n", "\n", "c\rd\r\n", "e\r"}), LinesOf(path, 100));
}

TEST(NarrowFiles, CountALineEndAsOneCharacterAgainstALimit)
{
    const TemporaryFolder folder;
    EXPECT_EQ((std::vector<std::string>{"abc", "\n", "ab\n", "c"}), LinesOf(WriteBytes(folder, "abc\r\nab\r\nc"), 4));
}

TEST(NarrowFiles, HaveTheirLineEndsFoundAcrossThePiecesInWhichTheyAreRead)
{
    const TemporaryFolder folder;
    for (size_t uLength = 4090; uLength < 4100; ++uLength)
    {
        const std::string strLine(uLength, 'x');
        EXPECT_EQ((std::vector<std::string>{strLine + "\n", "y\n"}),
                  LinesOf(WriteBytes(folder, strLine + "\r\ny\r\n"), 5000));
    }
}

TEST(NarrowFiles, AreWrittenAsBytesWithWb)
{
    const TemporaryFolder folder;
    const auto path = folder.Path() / "b.txt";
    FILE* const pFile = VOOpenFile(Narrow(path).c_str(), "wb");
    ASSERT_NE(nullptr, pFile);
    fputs("a\r\nb\n", pFile);
    fclose(pFile);
    EXPECT_EQ("a\r\nb\n", ReadBytes(path));
}

TEST(NarrowFiles, AreEmptiedByWAndKeptByAt)
{
    const TemporaryFolder folder;
    const auto path = WriteBytes(folder, "old");
    FILE* pFile = VOOpenFile(Narrow(path).c_str(), "at");
    ASSERT_NE(nullptr, pFile);
    fputs("new", pFile);
    fclose(pFile);
    EXPECT_EQ("oldnew", ReadBytes(path));
    pFile = VOOpenFile(Narrow(path).c_str(), "w");
    ASSERT_NE(nullptr, pFile);
    fclose(pFile);
    EXPECT_EQ("", ReadBytes(path));
}

TEST(NarrowFiles, AreNotOpenedWhenMissingOrAFolderOrNothing)
{
    const TemporaryFolder folder;
    for (const char* pszMode : {"r", "w", "wb", "at"})
    {
        EXPECT_EQ(nullptr, VOOpenFile(Narrow(folder.Path()).c_str(), pszMode)) << pszMode;
        EXPECT_EQ(nullptr, VOOpenFile(Narrow(folder.Path() / "no" / "a.txt").c_str(), pszMode)) << pszMode;
        EXPECT_EQ(nullptr, VOOpenFile("", pszMode)) << pszMode;
        EXPECT_EQ(nullptr, VOOpenFile(nullptr, pszMode)) << pszMode;
    }
    EXPECT_EQ(nullptr, VOOpenFile(Narrow(folder.Path() / "none.txt").c_str(), "r"));
}

TEST(NarrowFiles, HaveTheAttributeReadOnlySetAndCleared)
{
    const TemporaryFolder folder;
    const std::string strPath = WithBackslashes(Narrow(folder.WriteFile("a.txt")));
    const DWORD uBefore = GetFileAttributesA(strPath.c_str());
    ASSERT_NE(INVALID_FILE_ATTRIBUTES, uBefore);
    EXPECT_EQ(0u, uBefore & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_NE(FALSE, SetFileAttributesA(strPath.c_str(), uBefore | FILE_ATTRIBUTE_READONLY));
    EXPECT_NE(0u, GetFileAttributesA(strPath.c_str()) & FILE_ATTRIBUTE_READONLY);
    EXPECT_NE(FALSE, SetFileAttributesA(strPath.c_str(), uBefore));
    EXPECT_EQ(uBefore, GetFileAttributesA(strPath.c_str()));
}

TEST(NarrowFiles, ThatAreFoldersSayIt)
{
    const TemporaryFolder folder;
    EXPECT_NE(0u, GetFileAttributesA(Narrow(folder.Path()).c_str()) & FILE_ATTRIBUTE_DIRECTORY);
}

TEST(NarrowFiles, ThatAreMissingHaveAllAttributeBitsAndNoneCanBeSet)
{
    const TemporaryFolder folder;
    const std::string strPath = Narrow(folder.Path() / "none.txt");
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(0xFFFFFFFFu, GetFileAttributesA(strPath.c_str()));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_EQ(FALSE, SetFileAttributesA(strPath.c_str(), 0));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_EQ(0xFFFFFFFFu, GetFileAttributesA(nullptr));
}

TEST(NarrowFiles, GetTheirFoldersMadeOneByOne)
{
    const TemporaryFolder folder;
    const std::string strPath = Narrow(folder.Path() / "one");
    EXPECT_EQ(-1, _mkdir((strPath + "/two").c_str()));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(0, _mkdir(strPath.c_str()));
    EXPECT_EQ(-1, _mkdir(strPath.c_str()));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ(0, _mkdir((WithBackslashes(strPath) + "\\two").c_str()));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path() / "one" / "two"));
    EXPECT_EQ(-1, _mkdir(""));
}

TEST(NarrowText, ABoundedCopyTakesWholeTextsOnly)
{
    const InvalidParameterHandler handler;
    char szTo[4] = "xyz";
    EXPECT_EQ(0, strcpy_s(szTo, 4, "abc"));
    EXPECT_STREQ("abc", szTo);
    EXPECT_EQ(0, strcpy_s(szTo, 4, ""));
    EXPECT_STREQ("", szTo);
    strcpy_s(szTo, 4, "abc");
    EXPECT_EQ(ERANGE, strcpy_s(szTo, 4, "abcd"));
    EXPECT_STREQ("", szTo);
}

TEST(LocalTime, AgreesWithTheRuntime)
{
    const time_t nTime = 1794643436;
    struct tm timeParts = {};
    ASSERT_EQ(0, localtime_s(&timeParts, &nTime));
    EXPECT_EQ(nTime, mktime(&timeParts));
}

TEST(EndProcessDeathTest, SaysWhyAndEndsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(VOEndProcess("a test wants it"), "a test wants it");
}

TEST(NarrowFiles, ReadAsTextEndAtTheEndMark)
{
    const TemporaryFolder folder;
    EXPECT_EQ((std::vector<std::string>{"a\n", "b"}), LinesOf(WriteBytes(folder,
                                                                         "a\nb\x1A"
                                                                         "c\nd\n"),
                                                              100));
    EXPECT_EQ((std::vector<std::string>{"a\r"}), LinesOf(WriteBytes(folder, "a\r\x1A\nb\n"), 100));
    EXPECT_EQ((std::vector<std::string>{}), LinesOf(WriteBytes(folder, "\x1A\nb\n"), 100));
    // Where the mark stands behind what is read at once.
    const std::string strLong(5000, 'x');
    EXPECT_EQ((std::vector<std::string>{strLong}), LinesOf(WriteBytes(folder, strLong + "\x1A\nb\n"), 6000));
}

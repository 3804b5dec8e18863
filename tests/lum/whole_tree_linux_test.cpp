// Whole trees, file by file, against a walk of the disk that shares nothing with lum.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "tests/lum/disk_walk_linux_test.h"
#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

const char* const kHeaders = "/usr/include";

// Makes every kind of name and file that a file system of Linux can hold.
class NastyTree
{
public:
    NastyTree()
    {
        for (const char* pszFile : {".x",
                                    ".x.y",
                                    "..",
                                    "...",
                                    "..a",
                                    "x.",
                                    "x..",
                                    "a.b.",
                                    "a..b",
                                    "a.b.c",
                                    ".hidden.tar.gz",
                                    "no extension",
                                    "UPPER.PNG",
                                    "sp ace.png",
                                    " leading",
                                    "trailing ",
                                    "tab\there",
                                    "new\nline",
                                    "bell\x07",
                                    "quote\"s'.txt",
                                    "back\\slash",
                                    "\\",
                                    "a\\b\\c.txt",
                                    "c:",
                                    "c:\\d",
                                    "co:lon.txt",
                                    ":",
                                    "::x",
                                    "*?<>|.png",
                                    "invalid\xff\xfe.txt",
                                    "\x80",
                                    "half\xc3",
                                    "\xed\xa0\x80surrogate",
                                    "\xf4\x90\x80\x80",
                                    "\xc0\xaf",
                                    "gr\xc3\xbc\xc3\x9f"
                                    "e.txt",
                                    "\xe6\xbc\xa2\xe5\xad\x97.png",
                                    "\xf0\x9f\x9a\xa2.fbx",
                                    "\xef\xa3\xbfmark",
                                    "\xee\x81\x81private",
                                    "Ax",
                                    "ax",
                                    "\xef\xa3\xbf"
                                    "ax",
                                    "\xef\xa3\xbf"
                                    "AX",
                                    "xt_MARK.h",
                                    "xt_mark.h",
                                    "XT_MARK.h",
                                    "Xt_Mark.H",
                                    "\xc3\x84rger",
                                    "\xc3\xa4rger",
                                    "%41",
                                    "-rf",
                                    "--help",
                                    "~",
                                    "$HOME",
                                    "#comment",
                                    "sub/.x",
                                    "sub/.y.z",
                                    "sub/xt_MARK.h",
                                    "sub/xt_mark.h",
                                    "SUB/xt_mark.h",
                                    "Sub/XT_mark.h",
                                    "fold:er/in.txt",
                                    "fold:er/IN.txt",
                                    "back\\folder/in\\side",
                                    ".git/config",
                                    "bad\xff"
                                    "dir/f\xff",
                                    "case/Dir/f",
                                    "case/dir/f",
                                    "case/DIR/F"})
        {
            if (std::string_view(pszFile) != "..")
            {
                MakeFile(pszFile);
            }
        }
        MakeFolder("empty");
        MakeFolder("empty/inside");
        MakeFolder("folder.with.dots");
        MakeFolder(".hidden folder");
        MakeFile("folder.with.dots/x");
        MakeSpecialFiles();
        MakeLongPaths();
    }

    std::string Root() const { return m_folder.Name(); }

    // Paths that an index can't hold, and what lies below them.
    const std::set<std::string>& TooLong() const { return m_setTooLong; }

    // What lum should know.
    DiskTree Expected() const
    {
        DiskTree mapTree = WalkDisk(Root());
        for (const std::string& strPath : m_setTooLong)
        {
            EXPECT_EQ(mapTree.erase(strPath), 1u) << strPath;
        }
        return mapTree;
    }

private:
    void MakeFolder(const std::string& strPath) { mkdir((Root() + "/" + strPath).c_str(), 0755); }

    void MakeFile(const std::string& strPath, off_t nSize = -1)
    {
        for (size_t i = strPath.find('/'); i != std::string::npos; i = strPath.find('/', i + 1))
        {
            MakeFolder(strPath.substr(0, i));
        }
        const int nFile = open((Root() + "/" + strPath).c_str(), O_WRONLY | O_CREAT, 0644);
        ASSERT_GE(nFile, 0) << strPath;
        ASSERT_EQ(ftruncate(nFile, nSize >= 0 ? nSize : static_cast<off_t>(strPath.size())), 0);
        close(nFile);
    }

    void MakeSpecialFiles()
    {
        MakeFile("huge.bin", (off_t{5} << 30) + 3);
        MakeFile("read only.txt");
        chmod((Root() + "/read only.txt").c_str(), 0444);
        ASSERT_EQ(symlink("xt_MARK.h", (Root() + "/link.h").c_str()), 0);
        ASSERT_EQ(symlink("/nowhere/at/all", (Root() + "/dangling").c_str()), 0);
        ASSERT_EQ(symlink(".", (Root() + "/loop").c_str()), 0);
        ASSERT_EQ(mkfifo((Root() + "/pipe").c_str(), 0600), 0);
        // Long ago, and after the end of 32-bit time.
        const timespec akOld[2] = {{-86400, 0}, {-86400, 0}};
        const timespec akNew[2] = {{5000000000, 0}, {5000000000, 0}};
        utimensat(AT_FDCWD, (Root() + "/.x").c_str(), akOld, 0);
        utimensat(AT_FDCWD, (Root() + "/.x.y").c_str(), akNew, 0);
    }

    // Keys have 259 units at most.
    void MakeLongPaths()
    {
        const std::string strDeep = "deep/" + std::string(200, 'd');
        MakeFile(strDeep + "/" + std::string(259 - strDeep.size() - 1, 'f'));
        MakeFile(strDeep + "/" + std::string(260 - strDeep.size() - 1, 'g'));
        m_setTooLong.insert(strDeep + "/" + std::string(260 - strDeep.size() - 1, 'g'));

        // Units of 16 bits count, not bytes: 80 ideographs take 240 bytes.
        std::string strWide;
        for (unsigned i = 0; i < 80; ++i)
        {
            strWide += "\xe6\xbc\xa2";
        }
        MakeFile("wide/" + strWide + "/" + strWide + "/" + strWide);

        // Levels upon levels: all below the 129th are out of reach, and named.
        std::string strLevels = "n";
        while (strLevels.size() + 2 <= 259)
        {
            strLevels += "/n";
        }
        const std::string strFolder = strLevels + "/n";
        MakeFile(strFolder + "/file");
        m_setTooLong.insert(strFolder);
        m_setTooLong.insert(strFolder + "/file");

        // A colon makes the absolute path the one that counts.
        const size_t uRoom = 259 - Root().size() - 1 - 1;
        MakeFile(":" + std::string(std::min(uRoom, size_t{250}), 'c'));
        const std::string strColon = "long:" + std::string(240, 'c');
        if (Root().size() + 1 + strColon.size() > 259)
        {
            MakeFile(strColon);
            m_setTooLong.insert(strColon);
        }

        // Two that differ in case need one unit more for the second.
        const std::string strFull = "deep/" + std::string(200, 'd') + "/" + std::string(259 - strDeep.size() - 1, 'F');
        MakeFile(strFull);
        m_setTooLong.insert("deep/" + std::string(200, 'd') + "/" + std::string(259 - strDeep.size() - 1, 'f'));
    }

    TemporaryFolder m_folder;
    std::set<std::string> m_setTooLong;
};

class LumWholeTree : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!std::filesystem::is_directory(kHeaders))
        {
            GTEST_SKIP() << kHeaders << " isn't there";
        }
    }
};

std::vector<std::string> SplitAtZeros(const std::string& strText)
{
    std::vector<std::string> vecResult;
    for (size_t i = 0; i < strText.size();)
    {
        vecResult.push_back(strText.c_str() + i);
        i += vecResult.back().size() + 1;
    }
    return vecResult;
}

std::vector<std::string> PathsOf(const DiskTree& mapTree)
{
    std::vector<std::string> vecResult;
    for (const auto& [strPath, entry] : mapTree)
    {
        vecResult.push_back(strPath);
    }
    return vecResult;
}

// Asks stat for all paths, in runs that fit on a command line.
DiskTree StatAll(const std::vector<std::string>& vecPaths)
{
    DiskTree mapResult;
    for (size_t i = 0; i < vecPaths.size(); i += 4000)
    {
        std::vector<std::string> vecArguments = {"stat", "--"};
        vecArguments.insert(vecArguments.begin() + 1, "--json");
        vecArguments.insert(vecArguments.end(), vecPaths.begin() + static_cast<ptrdiff_t>(i),
                            vecPaths.begin() + static_cast<ptrdiff_t>(std::min(i + 4000, vecPaths.size())));
        const LumResult result = RunLum(vecArguments);
        EXPECT_EQ(result.nExitCode, 0) << result.strErr.substr(0, 1000);
        mapResult.merge(TreeOfNodes(json::parse(result.strOut)));
    }
    return mapResult;
}

// The direct children of a folder, by name, with "/" behind folders.
std::vector<std::string> ChildrenOnDisk(const DiskTree& mapTree, const std::string& strFolder)
{
    std::vector<std::string> vecResult;
    const std::string strFront = strFolder.empty() ? "" : strFolder + "/";
    for (auto it = mapTree.lower_bound(strFront); it != mapTree.end() && it->first.starts_with(strFront); ++it)
    {
        if (it->first.find('/', strFront.size()) == std::string::npos)
        {
            vecResult.push_back(it->first.substr(strFront.size()) + (it->second.bFolder ? "/" : ""));
        }
    }
    return vecResult;
}

}  // namespace

TEST_F(LumWholeTree, FindSaysOfTheSystemsHeadersWhatTheDiskSays)
{
    const LumServe serve({"--source", kHeaders});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(Difference(WithoutAccessTimes(WalkDisk(kHeaders)), WithoutAccessTimes(TreeOfNodes(LumJson({"find"})))),
              "");
}

TEST_F(LumWholeTree, FindWritesThePathsOfTheSystemsHeadersAsTheDiskHasThem)
{
    const LumServe serve({"--source", kHeaders});
    ASSERT_TRUE(serve.Publishes());
    std::vector<std::string> vecFound = LinesOf(RunLum({"find"}).strOut);
    std::sort(vecFound.begin(), vecFound.end());
    EXPECT_TRUE(vecFound == PathsOf(WalkDisk(kHeaders)));
}

TEST_F(LumWholeTree, TreeSaysOfTheSystemsHeadersWhatTheDiskSays)
{
    const LumServe serve({"--source", kHeaders});
    ASSERT_TRUE(serve.Publishes());
    const DiskTree mapDisk = WalkDisk(kHeaders);
    EXPECT_EQ(
        Difference(WithoutAccessTimes(mapDisk), WithoutAccessTimes(TreeOfNestedNodes(LumJson({"tree"})["trees"][0]))),
        "");
    // The drawn form has a line for each, the root's, an empty one and the counts.
    EXPECT_EQ(LinesOf(RunLum({"tree"}).strOut).size(), mapDisk.size() + 3);
}

TEST_F(LumWholeTree, StatSaysOfEachOfTheSystemsHeadersWhatTheDiskSays)
{
    const LumServe serve({"--source", kHeaders});
    ASSERT_TRUE(serve.Publishes());
    const DiskTree mapDisk = WalkDisk(kHeaders);
    EXPECT_EQ(Difference(WithoutAccessTimes(mapDisk), WithoutAccessTimes(StatAll(PathsOf(mapDisk)))), "");
}

TEST_F(LumWholeTree, ListSaysOfFoldersOfTheSystemsHeadersWhatTheDiskSays)
{
    const LumServe serve({"--source", kHeaders});
    ASSERT_TRUE(serve.Publishes());
    const DiskTree mapDisk = WalkDisk(kHeaders);
    std::vector<std::string> vecFolders = {""};
    for (const auto& [strPath, entry] : mapDisk)
    {
        if (entry.bFolder)
        {
            vecFolders.push_back(strPath);
        }
    }
    // Every tenth of them, the root first.
    for (size_t i = 0; i < vecFolders.size(); i += 10)
    {
        const LumResult result = RunLum({"ls", "--", vecFolders[i].empty() ? "/" : vecFolders[i]});
        EXPECT_EQ(result.nExitCode, 0) << vecFolders[i];
        EXPECT_EQ(LinesOf(result.strOut), ChildrenOnDisk(mapDisk, vecFolders[i])) << vecFolders[i];
    }
}

TEST(LumNastyTree, EveryCommandSaysOfEveryFileWhatTheDiskSays)
{
    const NastyTree tree;
    const LumServe serve({"--source", tree.Root()});
    ASSERT_TRUE(serve.Publishes());
    const DiskTree mapDisk = tree.Expected();
    ASSERT_GT(mapDisk.size(), 200u);
    EXPECT_EQ(Difference(mapDisk, TreeOfNodes(LumJson({"find"}))), "");
    EXPECT_EQ(Difference(mapDisk, TreeOfNestedNodes(LumJson({"tree"})["trees"][0])), "");
    EXPECT_EQ(Difference(mapDisk, StatAll(PathsOf(mapDisk))), "");

    std::vector<std::string> vecRaw = SplitAtZeros(RunLum({"find", "--null"}).strOut);
    std::sort(vecRaw.begin(), vecRaw.end());
    EXPECT_EQ(vecRaw, PathsOf(mapDisk));
}

TEST(LumNastyTree, ListShowsEveryFolderWhole)
{
    const NastyTree tree;
    const LumServe serve({"--source", tree.Root()});
    ASSERT_TRUE(serve.Publishes());
    const DiskTree mapDisk = tree.Expected();
    size_t uListed = 0;
    for (const auto& [strPath, entry] : mapDisk)
    {
        if (!entry.bFolder || strPath.starts_with("n/n/n"))
        {
            continue;
        }
        std::vector<std::string> vecFound;
        for (const std::string& strLine : LinesOf(RunLum({"ls", "--", strPath}).strOut))
        {
            vecFound.push_back(BytesOfWrittenForm(strLine));
        }
        std::sort(vecFound.begin(), vecFound.end());
        std::vector<std::string> vecExpected = ChildrenOnDisk(mapDisk, strPath);
        std::sort(vecExpected.begin(), vecExpected.end());
        EXPECT_EQ(vecFound, vecExpected) << strPath;
        ++uListed;
    }
    EXPECT_GE(uListed, 20u);
}

TEST(LumNastyTree, WhatIsTooLongIsReportedByNameAndCount)
{
    const NastyTree tree;
    LumServe serve({"--source", tree.Root()});
    ASSERT_TRUE(serve.Publishes());
    const std::string strErr = serve.Process().Err();
    for (const std::string& strPath : tree.TooLong())
    {
        EXPECT_TRUE(Contains(strErr, "not indexed: " + strPath + ": ")) << strPath;
    }
    EXPECT_TRUE(Contains(strErr, "source: " + std::to_string(tree.TooLong().size()) + " not indexed\n")) << strErr;
    EXPECT_EQ(LinesOf(strErr).size(), tree.TooLong().size() + 1);
}

TEST(LumNastyTree, TheWrittenFormOfAPathLeadsBackToIt)
{
    const NastyTree tree;
    const LumServe serve({"--source", tree.Root()});
    ASSERT_TRUE(serve.Publishes());
    // As printed for a terminal, where control characters are escaped as well.
    std::set<std::string> setWritten;
    std::set<std::string> setFound;
    std::vector<std::string> vecArguments = {"stat", "--json", "--"};
    for (const std::string& strLine : LinesOf(RunLum({"find"}).strOut))
    {
        if (Contains(strLine, "\\"))
        {
            setWritten.insert(BytesOfWrittenForm(strLine));
            vecArguments.push_back(strLine);
        }
    }
    ASSERT_GT(setWritten.size(), 15u);
    for (const auto& [strPath, entry] : TreeOfNodes(json::parse(RunLum(vecArguments).strOut)))
    {
        setFound.insert(strPath);
    }
    EXPECT_EQ(setFound, setWritten);
}

TEST(LumNastyTree, APlainNameIsPrintedWithoutEscapes)
{
    TemporaryFolder folder;
    folder.Write(
        "gr\xc3\xbc\xc3\x9f"
        "e \xf0\x9f\x9a\xa2.txt",
        "");
    const LumServe serve({"--source", folder.Name()});
    EXPECT_EQ(RunLum({"ls"}).strOut,
              "gr\xc3\xbc\xc3\x9f"
              "e \xf0\x9f\x9a\xa2.txt\n");
}

TEST(LumNastyTree, OfNamesThatDifferInCaseTheExactOneIsFoundFirst)
{
    const NastyTree tree;
    const LumServe serve({"--source", tree.Root()});
    for (const char* pszPath : {"xt_MARK.h", "xt_mark.h", "XT_MARK.h", "Xt_Mark.H", "sub/xt_mark.h", "SUB/xt_mark.h"})
    {
        EXPECT_EQ(LumJson({"stat", pszPath})["nodes"][0]["path"], pszPath);
    }
    // None is spelled like this: any of them will do.
    EXPECT_EQ(LumJson({"stat", "xT_mArK.h"})["nodes"].size(), 1u);
}

TEST(LumNastyTree, TheImageOfItIsSound)
{
    const NastyTree tree;
    const LumServe serve({"--source", tree.Root()});
    const json image = LumJson({"image"});
    EXPECT_EQ(image["damage_count"], 0);
    EXPECT_EQ(image["nodes"]["count"], tree.Expected().size() + 1);
    EXPECT_EQ(image["nodes"]["without_key"], 0);
}

TEST(LumNastyTree, ADirectoryNamedThroughALinkIsServed)
{
    TemporaryFolder folder;
    folder.Write("real/a.txt", "a");
    ASSERT_EQ(symlink("real", folder.Name("link").c_str()), 0);
    const LumServe serve({"--source", folder.Name("link")});
    EXPECT_EQ(RunLum({"ls"}).strOut, "a.txt\n");
    EXPECT_EQ(LumJson({"stat", "/"})["nodes"][0]["absolute"], folder.Name("link"));
}

TEST(LumNastyTree, ARootWithAColonAndABackslashIsServed)
{
    TemporaryFolder folder;
    folder.Write("od:d\\root/in:side.txt", "a");
    folder.Write("od:d\\root/IN:side.txt", "abc");
    const LumServe serve({"--source", folder.Name("od:d\\root")});
    EXPECT_EQ(LumJson({"stat", "in:side.txt"})["nodes"][0]["size"], 1);
    EXPECT_EQ(LumJson({"stat", "IN:side.txt"})["nodes"][0]["size"], 3);
    EXPECT_EQ(LumJson({"stat", folder.Name("od:d\\root/in:side.txt")})["nodes"][0]["size"], 1);
}

TEST(LumNastyTree, ARelativeDirectoryIsServedByItsAbsolutePath)
{
    TemporaryFolder folder;
    folder.Write("here/a.txt", "a");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path() / "here");
    {
        const LumServe serve({"--source", "../here/."});
        EXPECT_EQ(LumJson({"status"})["sources"][0]["root"], folder.Name("here"));
    }
    std::filesystem::current_path(before);
}

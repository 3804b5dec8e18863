// Paks: the table of contents of an archive as a source.
#include "tests/lum/archives.h"
#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

// What a publisher of an archive shows; the files and folders that were asked for are in it.
class LumPak : public testing::Test
{
protected:
    void Serve(const std::string& strName, const std::string& strArchive)
    {
        m_strArchive = m_folder.Write(strName, strArchive);
        m_pServe = std::make_unique<LumServe>(std::vector<std::string>{"--pak", m_strArchive});
        ASSERT_TRUE(m_pServe->Publishes()) << m_pServe->Process().Err();
    }

    static json Stat(const std::string& strPath) { return LumJson({"stat", "--from", "pak", strPath})["nodes"][0]; }

    static std::vector<ArchiveMember> Members()
    {
        return {{"models/", "", 900000000, 0755},
                {"models/ship.fbx", "0123456789", 1111111111, 0444},
                {"textures/deep/hull.png", "png", 1222222222, 0644},
                {"README", "", 1000000000, 0644},
                {".settings", "s", 1000000000, 0644}};
    }

    TemporaryFolder m_folder;
    std::string m_strArchive;
    std::unique_ptr<LumServe> m_pServe;
};

constexpr const char* kTree =
    "\u251c\u2500\u2500 .settings\n"
    "\u251c\u2500\u2500 README\n"
    "\u251c\u2500\u2500 models/\n"
    "\u2502   \u2514\u2500\u2500 ship.fbx\n"
    "\u2514\u2500\u2500 textures/\n"
    "    \u2514\u2500\u2500 deep/\n"
    "        \u2514\u2500\u2500 hull.png\n"
    "\n3 folders, 4 files\n";

}  // namespace

TEST_F(LumPak, TheTreeOfATarHasTheFoldersThatItsPathsImply)
{
    Serve("a.tar", MakeTar(Members()));
    const std::string strTree = RunLum({"tree"}).strOut;
    EXPECT_EQ(strTree.substr(strTree.find('\n') + 1), kTree);
    EXPECT_EQ(m_pServe->Process().Out(), "serving 8 nodes of 1 source\n");
}

TEST_F(LumPak, TheTreeOfAZipHasTheFoldersThatItsPathsImply)
{
    Serve("a.zip", MakeZip(Members()));
    const std::string strTree = RunLum({"tree"}).strOut;
    EXPECT_EQ(strTree.substr(strTree.find('\n') + 1), kTree);
}

TEST_F(LumPak, AttributesOfATarAreThoseOfItsEntries)
{
    Serve("a.tar", MakeTar(Members()));
    const json ship = Stat("models/ship.fbx");
    EXPECT_EQ(ship["size"], 10);
    EXPECT_EQ(ship["written"], 1111111111);
    EXPECT_EQ(ship["attributes"], 0x01);
    EXPECT_EQ(ship["type_name"], "model");
    EXPECT_EQ(ship["absolute"], Forward(m_strArchive) + "/models/ship.fbx");
    EXPECT_EQ(Stat("textures/deep/hull.png")["attributes"], 0x04);
    EXPECT_EQ(Stat("models")["written"], 900000000);
    EXPECT_EQ(Stat("textures")["written"], 0);
}

TEST_F(LumPak, SizesOfAZipAreThoseOfItsEntries)
{
    Serve("a.zip", MakeZip(Members()));
    EXPECT_EQ(Stat("models/ship.fbx")["size"], 10);
    EXPECT_EQ(Stat("README")["size"], 0);
    EXPECT_EQ(Stat("models")["folder"], true);
}

TEST_F(LumPak, NamesOutsideAsciiAreTheSameInATarAndInAZip)
{
    const std::string strName =
        "gr\xc3\xbc\xc3\x9f"
        "e/\xe6\xbc\xa2.png";
    Serve("a.tar", MakeTar({{strName, "x"}}));
    EXPECT_EQ(Stat(strName)["path"], strName);
    m_pServe.reset();
    Serve("a.zip", MakeZip({{strName, "x"}}));
    EXPECT_EQ(Stat(strName)["path"], strName);
}

TEST_F(LumPak, PathsAreTakenAsRelativeToTheArchive)
{
    Serve("a.tar", MakeTar({{"./dotted/a.png", "1"}, {"/rooted/b.png", "1"}, {"double//c.png", "1"}}));
    EXPECT_EQ(Stat("dotted/a.png")["path"], "dotted/a.png");
    EXPECT_EQ(Stat("rooted/b.png")["path"], "rooted/b.png");
    EXPECT_EQ(Stat("double/c.png")["path"], "double/c.png");
}

TEST_F(LumPak, WhatLeadsOutOfTheArchiveIsReported)
{
    Serve("a.tar", MakeTar({{"good.png", "1"}, {"../bad.png", "1"}, {"x/../../worse.png", "1"}}));
    EXPECT_EQ(RunLum({"find"}).strOut, "good.png\n");
    const std::string strErr = m_pServe->Process().Err();
    EXPECT_TRUE(Contains(strErr, "not indexed: ../bad.png: ")) << strErr;
    EXPECT_TRUE(Contains(strErr, "pak: 2 not indexed")) << strErr;
}

TEST_F(LumPak, OfTwoEntriesOfOnePathTheLaterCounts)
{
    Serve("a.tar", MakeTar({{"a.png", "1"}, {"b.png", "1"}, {"a.png", "12345"}}));
    EXPECT_EQ(RunLum({"find"}).strOut, "a.png\nb.png\n");
    EXPECT_EQ(Stat("a.png")["size"], 5);
}

TEST_F(LumPak, NamesThatDifferInCaseAreTwoEntries)
{
    Serve("a.tar", MakeTar({{"A.png", "1"}, {"a.png", "12"}}));
    EXPECT_EQ(Stat("A.png")["size"], 1);
    EXPECT_EQ(Stat("a.png")["size"], 2);
}

TEST_F(LumPak, ANameWithAColonIsFound)
{
    Serve("a.tar", MakeTar({{"c:/x:y.png", "1"}}));
    EXPECT_EQ(RunLum({"find"}).strOut, "c:\nc:/x:y.png\n");
    EXPECT_EQ(Stat("c:/x:y.png")["path"], "c:/x:y.png");
}

TEST_F(LumPak, AFileThatIsAFolderTooIsReported)
{
    Serve("a.tar", MakeTar({{"x", "1"}, {"x/inside.png", "1"}, {"y/inside.png", "1"}, {"y", "1"}}));
    EXPECT_EQ(RunLum({"find"}).strOut, "x\ny\ny/inside.png\n");
    EXPECT_TRUE(Contains(m_pServe->Process().Err(), "pak: 2 not indexed"));
}

TEST_F(LumPak, AnArchiveWithoutEntriesIsAnEmptyRoot)
{
    Serve("a.tar", MakeTar({}));
    EXPECT_EQ(m_pServe->Process().Out(), "serving 1 node of 1 source\n");
}

TEST_F(LumPak, ADamagedArchiveIsRefused)
{
    const std::string strTar = MakeTar(Members());
    const std::string strZip = MakeZip(Members());
    const std::vector<std::string> vecDamaged = {"",
                                                 "no archive at all",
                                                 strTar.substr(0, 700),
                                                 strTar.substr(0, 1024 + 300),
                                                 strZip.substr(0, 20),
                                                 strZip.substr(0, strZip.size() / 2)};
    for (const std::string& strDamaged : vecDamaged)
    {
        const std::string strArchive = m_folder.Write("damaged", strDamaged);
        const LumResult result = RunLum({"serve", "--once", "--pak", strArchive});
        EXPECT_EQ(result.nExitCode, 2) << strDamaged.size();
        EXPECT_TRUE(Contains(result.strErr, "damaged: ")) << result.strErr;
        EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1);
    }
}

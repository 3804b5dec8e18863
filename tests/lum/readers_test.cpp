// The reader's commands on a small published tree.
#include <algorithm>
#include <set>

#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

// Two sources: a project, and a target that shares one file with it.
class LumReaders : public testing::Test
{
protected:
    void SetUp() override
    {
        m_source.Write("README", "hello");
        m_source.Write(".project", "settings");
        m_source.Write("Models/Ship/Hull.fbx", "1234");
        m_source.Write("Models/Ship/hull_low.FBX", "12");
        m_source.Write("Models/notes.txt", "n");
        m_source.Write("Textures/hull.png", "123456");
        m_source.Write("Textures/deck.tar.gz", "gz");
        m_source.Write("Textures/odd.zzz", "z");
        m_target.Write("README", "the target's");
        m_target.Write("out/ship.bin", "b");
    }

    void ServeSource()
    {
        m_pServe = std::make_unique<LumServe>(std::vector<std::string>{"--source", m_source.Name()});
        ASSERT_TRUE(m_pServe->Publishes()) << m_pServe->Process().Err();
    }

    void ServeBoth()
    {
        m_pServe = std::make_unique<LumServe>(
            std::vector<std::string>{"--source", m_source.Name(), "--target", m_target.Name()});
        ASSERT_TRUE(m_pServe->Publishes()) << m_pServe->Process().Err();
    }

    static std::set<std::string> Find(std::vector<std::string> vecArguments)
    {
        vecArguments.insert(vecArguments.begin(), "find");
        const LumResult result = RunLum(vecArguments);
        const std::vector<std::string> vecLines = LinesOf(result.strOut);
        EXPECT_EQ(result.nExitCode, vecLines.empty() ? 1 : 0) << result.strErr;
        const std::set<std::string> setLines(vecLines.begin(), vecLines.end());
        EXPECT_EQ(setLines.size(), vecLines.size()) << "a line came twice";
        return setLines;
    }

    static std::string PathOf(const std::string& strArgument)
    {
        const json parsed = LumJson({"stat", strArgument});
        return parsed["nodes"].size() == 1 ? parsed["nodes"][0]["path"].get<std::string>() : "?";
    }

    TemporaryFolder m_source;
    TemporaryFolder m_target;
    std::unique_ptr<LumServe> m_pServe;
};

typedef std::set<std::string> Paths;

}  // namespace

TEST_F(LumReaders, StatusCountsFilesFoldersAndBytes)
{
    ServeBoth();
    const json parsed = LumJson({"status"});
    ASSERT_EQ(parsed["sources"].size(), 2u);
    const json& source = parsed["sources"][0];
    EXPECT_EQ(source["from"], "source");
    EXPECT_EQ(source["number"], 1);
    EXPECT_EQ(source["nodes"], 12);
    EXPECT_EQ(source["files"], 8);
    EXPECT_EQ(source["folders"], 3);
    EXPECT_EQ(source["bytes"], 5 + 8 + 4 + 2 + 1 + 6 + 2 + 1);
    EXPECT_EQ(parsed["sources"][1]["from"], "target");
    EXPECT_EQ(parsed["sources"][1]["files"], 2);
    EXPECT_EQ(LinesOf(RunLum({"status"}).strOut).size(), 2u);
    EXPECT_EQ(LinesOf(RunLum({"status", "--from", "target"}).strOut).size(), 1u);
}

TEST_F(LumReaders, ListShowsNamesInOrderWithASlashBehindFolders)
{
    ServeSource();
    EXPECT_EQ(RunLum({"ls"}).strOut, ".project\nModels/\nREADME\nTextures/\n");
    EXPECT_EQ(RunLum({"ls", "Models"}).strOut, "Ship/\nnotes.txt\n");
    EXPECT_EQ(RunLum({"ls", "Models/notes.txt"}).strOut, "notes.txt\n");
}

TEST_F(LumReaders, ListOfAFolderWithoutChildrenIsEmptyAndFound)
{
    std::filesystem::create_directory(m_source.Path() / "Empty");
    ServeSource();
    const LumResult result = RunLum({"ls", "Empty"});
    EXPECT_EQ(result.nExitCode, 0);
    EXPECT_EQ(result.strOut, "");
}

TEST_F(LumReaders, LongListShowsKindSizeTypeAndName)
{
    ServeSource();
    const std::vector<std::string> vecLines = LinesOf(RunLum({"ls", "--long"}).strOut);
    ASSERT_EQ(vecLines.size(), 4u);
    EXPECT_EQ(vecLines[1].substr(0, 3), "dw-");
    EXPECT_TRUE(vecLines[1].ends_with(" Models/"));
    EXPECT_EQ(vecLines[2].substr(0, 3), "-w-");
    EXPECT_TRUE(Contains(vecLines[2], " 5 "));
    EXPECT_TRUE(vecLines[2].ends_with(" -          README"));
    EXPECT_TRUE(Contains(LinesOf(RunLum({"ls", "-l", "Textures"}).strOut)[1], " texture "));
}

TEST_F(LumReaders, ListInJsonHoldsEveryEntry)
{
    ServeSource();
    const json parsed = LumJson({"ls", "Textures"});
    ASSERT_EQ(parsed["listings"].size(), 1u);
    const json& listing = parsed["listings"][0];
    EXPECT_EQ(listing["from"], "source");
    EXPECT_EQ(listing["path"], "Textures");
    EXPECT_EQ(listing["folder"], true);
    ASSERT_EQ(listing["entries"].size(), 3u);
    EXPECT_EQ(listing["entries"][0]["path"], "Textures/deck.tar.gz");
    EXPECT_EQ(listing["entries"][1]["size"], 6);
    EXPECT_EQ(listing["entries"][1]["type_name"], "texture");
    EXPECT_EQ(listing["entries"][2]["type"], nullptr);
}

TEST_F(LumReaders, TreeDrawsFoldersWithTheirContentsBelow)
{
    ServeSource();
    const std::string strExpected =
        "\u251c\u2500\u2500 .project\n"
        "\u251c\u2500\u2500 Models/\n"
        "\u2502   \u251c\u2500\u2500 Ship/\n"
        "\u2502   \u2502   \u251c\u2500\u2500 Hull.fbx\n"
        "\u2502   \u2502   \u2514\u2500\u2500 hull_low.FBX\n"
        "\u2502   \u2514\u2500\u2500 notes.txt\n"
        "\u251c\u2500\u2500 README\n"
        "\u2514\u2500\u2500 Textures/\n"
        "    \u251c\u2500\u2500 deck.tar.gz\n"
        "    \u251c\u2500\u2500 hull.png\n"
        "    \u2514\u2500\u2500 odd.zzz\n"
        "\n3 folders, 8 files\n";
    const std::string strOut = RunLum({"tree"}).strOut;
    EXPECT_EQ(strOut.substr(strOut.find('\n') + 1), strExpected);
}

TEST_F(LumReaders, TreeStopsAtTheDepthAskedFor)
{
    ServeSource();
    EXPECT_TRUE(RunLum({"tree", "--depth", "0"}).strOut.ends_with("\n\n0 folders, 0 files\n"));
    EXPECT_TRUE(RunLum({"tree", "--depth", "1"}).strOut.ends_with("\n\n2 folders, 2 files\n"));
    EXPECT_TRUE(RunLum({"tree", "--depth", "2"}).strOut.ends_with("\n\n3 folders, 6 files\n"));
}

TEST_F(LumReaders, TreeOfFoldersLeavesFilesOut)
{
    ServeSource();
    EXPECT_TRUE(RunLum({"tree", "--folders"}).strOut.ends_with("\n\n3 folders, 0 files\n"));
}

TEST_F(LumReaders, TreeInJsonIsNestedAsTheFoldersAre)
{
    ServeSource();
    const json parsed = LumJson({"tree", "Models"});
    ASSERT_EQ(parsed["trees"].size(), 1u);
    const json& models = parsed["trees"][0];
    EXPECT_EQ(models["path"], "Models");
    ASSERT_EQ(models["children"].size(), 2u);
    EXPECT_EQ(models["children"][0]["name"], "Ship");
    ASSERT_EQ(models["children"][0]["children"].size(), 2u);
    EXPECT_EQ(models["children"][0]["children"][1]["path"], "Models/Ship/hull_low.FBX");
    EXPECT_EQ(models["children"][1]["children"].size(), 0u);
}

TEST_F(LumReaders, FindWithoutConditionsFindsEverythingBelowTheFolder)
{
    ServeSource();
    EXPECT_EQ(Find({"Models"}),
              (Paths{"Models/Ship", "Models/Ship/Hull.fbx", "Models/Ship/hull_low.FBX", "Models/notes.txt"}));
    EXPECT_EQ(Find({}).size(), 11u);
}

TEST_F(LumReaders, FindByNameLooksForAPartOfTheBaseName)
{
    ServeSource();
    EXPECT_EQ(Find({"--name", "hull"}),
              (Paths{"Models/Ship/Hull.fbx", "Models/Ship/hull_low.FBX", "Textures/hull.png"}));
    EXPECT_EQ(Find({"--name", "hull", "--case"}), (Paths{"Models/Ship/hull_low.FBX", "Textures/hull.png"}));
    EXPECT_EQ(Find({"--name", "fbx"}), Paths{});
    EXPECT_EQ(Find({"--name", "s", "--folders"}), (Paths{"Models", "Models/Ship", "Textures"}));
    EXPECT_EQ(Find({"--name", "s", "--files"}), (Paths{"Models/notes.txt"}));
}

TEST_F(LumReaders, FindByExtensionTakesAListAndThePartBehindTheLastDot)
{
    ServeSource();
    EXPECT_EQ(Find({"--ext", "fbx|png"}),
              (Paths{"Models/Ship/Hull.fbx", "Models/Ship/hull_low.FBX", "Textures/hull.png"}));
    EXPECT_EQ(Find({"--ext", "fbx|png", "--case"}), (Paths{"Models/Ship/Hull.fbx", "Textures/hull.png"}));
    EXPECT_EQ(Find({"--ext", "gz"}), (Paths{"Textures/deck.tar.gz"}));
    EXPECT_EQ(Find({"--ext", "tar.gz"}), (Paths{"Textures/deck.tar.gz"}));
    EXPECT_EQ(Find({"--ext", "tar"}), Paths{});
    EXPECT_EQ(Find({"--ext", "|zzz|"}), (Paths{"Textures/odd.zzz"}));
    EXPECT_EQ(Find({"--ext", "project"}), Paths{});
}

TEST_F(LumReaders, FindByExtensionWritesNothingButPaths)
{
    ServeSource();
    EXPECT_EQ(RunLum({"find", "--ext", "png"}).strOut, "Textures/hull.png\n");
}

TEST_F(LumReaders, FindByTypeTakesANameOrANumber)
{
    ServeSource();
    const Paths setModels = {"Models/Ship/Hull.fbx", "Models/Ship/hull_low.FBX"};
    EXPECT_EQ(Find({"--type", "model"}), setModels);
    EXPECT_EQ(Find({"--type", "MODEL"}), setModels);
    EXPECT_EQ(Find({"--type", "1"}), setModels);
    EXPECT_EQ(Find({"--type", "0x1"}), setModels);
    EXPECT_EQ(Find({"--type", "777"}), Paths{});
}

TEST_F(LumReaders, FindByAnUnknownTypeSaysSo)
{
    ServeSource();
    const LumResult result = RunLum({"find", "--type", "nonsense"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_TRUE(Contains(result.strErr, "nonsense"));
}

TEST_F(LumReaders, FindNeedsAllConditionsAtOnce)
{
    ServeSource();
    EXPECT_EQ(Find({"--name", "hull", "--ext", "fbx|png", "--type", "texture"}), (Paths{"Textures/hull.png"}));
    EXPECT_EQ(Find({"Models", "--name", "hull", "--type", "texture"}), Paths{});
    EXPECT_EQ(Find({"--folders", "--ext", "png"}), Paths{});
    EXPECT_EQ(Find({"--files", "--folders"}).size(), 11u);
}

TEST_F(LumReaders, FindByMergeMaskFindsNothingInASourceWithoutMergeSigns)
{
    ServeSource();
    EXPECT_EQ(Find({"--merge", "0xffffffff"}), Paths{});
}

TEST_F(LumReaders, FindRefusesANameThatIsTooLongOrEmpty)
{
    ServeSource();
    EXPECT_EQ(RunLum({"find", "--name", std::string(99, 'x')}).nExitCode, 1);
    for (const size_t uLength : {size_t{0}, size_t{100}, size_t{300}})
    {
        const LumResult result = RunLum({"find", "--name", std::string(uLength, 'x')});
        EXPECT_EQ(result.nExitCode, 2) << uLength;
        EXPECT_TRUE(Contains(result.strErr, "99")) << result.strErr;
    }
}

TEST_F(LumReaders, FindBelowAFileSaysThatItIsAFile)
{
    ServeSource();
    const LumResult result = RunLum({"find", "README"});
    EXPECT_EQ(result.nExitCode, 1);
    EXPECT_TRUE(Contains(result.strErr, "is a file"));
}

TEST_F(LumReaders, FindInJsonHoldsWholeNodes)
{
    ServeSource();
    const json parsed = LumJson({"find", "--ext", "png"});
    ASSERT_EQ(parsed["nodes"].size(), 1u);
    const json& node = parsed["nodes"][0];
    EXPECT_EQ(node["from"], "source");
    EXPECT_EQ(node["name"], "hull.png");
    EXPECT_EQ(node["folder"], false);
    EXPECT_EQ(node["size"], 6);
    EXPECT_EQ(node["attributes"], 0x14);
    EXPECT_EQ(node["type"], 2);
    EXPECT_EQ(node["merge"], 0);
}

TEST_F(LumReaders, NothingFoundInJsonIsAnEmptyList)
{
    ServeSource();
    EXPECT_EQ(LumJson({"find", "--ext", "nothing"}, 1), json::parse("{\"nodes\": []}"));
    EXPECT_EQ(LumJson({"stat", "nothing"}, 1), json::parse("{\"nodes\": []}"));
    EXPECT_EQ(LumJson({"ls", "nothing"}, 1), json::parse("{\"listings\": []}"));
    EXPECT_EQ(LumJson({"tree", "nothing"}, 1), json::parse("{\"trees\": []}"));
}

TEST_F(LumReaders, ZeroBytesEndPathsOnRequest)
{
    ServeSource();
    EXPECT_EQ(RunLum({"find", "Textures", "--null", "--ext", "png|zzz"}).strOut,
              std::string("Textures/hull.png\0Textures/odd.zzz\0", 35));
}

TEST_F(LumReaders, StatTakesPathsRelativeOrAbsoluteWithEitherSlashInAnyCase)
{
    ServeSource();
    const std::string strRoot = m_source.Name();
    EXPECT_EQ(PathOf("Models/Ship/Hull.fbx"), "Models/Ship/Hull.fbx");
    EXPECT_EQ(PathOf("models/SHIP/hull.FBX"), "Models/Ship/Hull.fbx");
    EXPECT_EQ(PathOf("Models\\Ship\\Hull.fbx"), "Models/Ship/Hull.fbx");
    EXPECT_EQ(PathOf("./Models//Ship/../Ship/Hull.fbx"), "Models/Ship/Hull.fbx");
    EXPECT_EQ(PathOf("Models/Ship/"), "Models/Ship");
    EXPECT_EQ(PathOf(strRoot + "/Models/Ship/Hull.fbx"), "Models/Ship/Hull.fbx");
    EXPECT_EQ(PathOf(strRoot + "/Models/.."), "");
    EXPECT_EQ(PathOf(strRoot), "");
    EXPECT_EQ(PathOf("/"), "");
    EXPECT_EQ(PathOf("."), "");
}

TEST_F(LumReaders, StatMissesWhatIsntThere)
{
    ServeSource();
    for (const char* pszPath : {"nothing", "Models/nothing", "README/x", "..", "../x", "/nowhere/README", "Models/Shi"})
    {
        const LumResult result = RunLum({"stat", pszPath});
        EXPECT_EQ(result.nExitCode, 1) << pszPath;
        EXPECT_EQ(result.strOut, "") << pszPath;
        EXPECT_TRUE(Contains(result.strErr, "not in the index")) << result.strErr;
    }
}

TEST_F(LumReaders, StatOfSeveralPathsShowsThoseThatAreThere)
{
    ServeSource();
    const json parsed = LumJson({"stat", "README", "nothing", "Models"}, 1);
    ASSERT_EQ(parsed["nodes"].size(), 2u);
    EXPECT_EQ(parsed["nodes"][0]["path"], "README");
    EXPECT_EQ(parsed["nodes"][1]["path"], "Models");
}

TEST_F(LumReaders, StatShowsEverythingAboutANode)
{
    ServeSource();
    const std::vector<std::string> vecLines = LinesOf(RunLum({"stat", "Textures/hull.png"}).strOut);
    ASSERT_EQ(vecLines.size(), 13u);
    EXPECT_EQ(vecLines[0], "path:       Textures/hull.png");
    EXPECT_EQ(vecLines[1], "from:       source");
    EXPECT_TRUE(vecLines[2].ends_with("/Textures/hull.png"));
    EXPECT_EQ(vecLines[3], "kind:       file");
    EXPECT_EQ(vecLines[4], "size:       6");
    EXPECT_EQ(vecLines[5], "attributes: 0x14 writable local");
    EXPECT_EQ(vecLines[9], "type:       2 texture");
}

TEST_F(LumReaders, AReadOnlyFileIsShownAsSuch)
{
    namespace fs = std::filesystem;
    const fs::path file = m_source.Path() / "README";
    fs::permissions(file, fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    ServeSource();
    EXPECT_EQ(LumJson({"stat", "README"})["nodes"][0]["attributes"], 0x11);
    fs::permissions(file, fs::perms::owner_write, fs::perm_options::add);
}

TEST_F(LumReaders, APathInTwoSourcesIsShownForBoth)
{
    ServeBoth();
    const json parsed = LumJson({"stat", "README"});
    ASSERT_EQ(parsed["nodes"].size(), 2u);
    EXPECT_EQ(parsed["nodes"][0]["from"], "source");
    EXPECT_EQ(parsed["nodes"][0]["size"], 5);
    EXPECT_EQ(parsed["nodes"][1]["from"], "target");
    EXPECT_EQ(parsed["nodes"][1]["size"], 12);
}

TEST_F(LumReaders, OneSourceCanBePicked)
{
    ServeBoth();
    const json parsed = LumJson({"stat", "README", "--from", "target"});
    ASSERT_EQ(parsed["nodes"].size(), 1u);
    EXPECT_EQ(parsed["nodes"][0]["from"], "target");
    EXPECT_EQ(RunLum({"ls", "--from", "target"}).strOut, "README\nout/\n");
}

TEST_F(LumReaders, ASourceThatIsntPublishedCantAnswer)
{
    ServeSource();
    const LumResult result = RunLum({"ls", "--from", "pak"});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_TRUE(Contains(result.strErr, "pak isn't published"));
    EXPECT_EQ(RunLum({"status", "--from", "pak"}).nExitCode, 1);
}

TEST_F(LumReaders, WithSeveralSourcesEveryLineOfFindNamesItsOwn)
{
    ServeBoth();
    EXPECT_EQ(Find({"--name", "readme"}), (Paths{"source\tREADME", "target\tREADME"}));
    EXPECT_EQ(Find({"--name", "readme", "--from", "target"}), (Paths{"README"}));
}

TEST_F(LumReaders, AnAbsolutePathIsFoundInItsOwnSourceOnly)
{
    ServeBoth();
    const json parsed = LumJson({"stat", m_target.Name("README")});
    ASSERT_EQ(parsed["nodes"].size(), 1u);
    EXPECT_EQ(parsed["nodes"][0]["from"], "target");
}

TEST_F(LumReaders, ListOfAFolderInTwoSourcesHasAHeadingForEach)
{
    ServeBoth();
    const std::vector<std::string> vecLines = LinesOf(RunLum({"ls"}).strOut);
    ASSERT_EQ(vecLines.size(), 9u);
    EXPECT_TRUE(vecLines[0].starts_with("source: ") && vecLines[0].ends_with(":"));
    EXPECT_EQ(vecLines[5], "");
    EXPECT_TRUE(vecLines[6].starts_with("target: "));
    EXPECT_EQ(vecLines[8], "out/");
}

TEST_F(LumReaders, TypesShowsTheBuiltInTable)
{
    ServeSource();
    const json parsed = LumJson({"types"});
    ASSERT_EQ(parsed["sources"].size(), 1u);
    const json& types = parsed["sources"][0]["types"];
    ASSERT_GE(types.size(), 10u);
    EXPECT_EQ(types[0]["number"], 1);
    EXPECT_EQ(types[0]["name"], "model");
    EXPECT_TRUE(Contains(types[0]["extensions"].get<std::string>(), "fbx|obj"));
    EXPECT_EQ(types[0]["color"].get<std::string>().size(), 7u);
    const std::vector<std::string> vecLines = LinesOf(RunLum({"types"}).strOut);
    ASSERT_EQ(vecLines.size(), types.size());
    EXPECT_TRUE(vecLines[0].starts_with("1 model fbx|obj|"));
}

TEST_F(LumReaders, ReadersLeaveTheReaderCountAsItWas)
{
    ServeSource();
    for (const std::vector<std::string>& vecArguments :
         std::vector<std::vector<std::string>>{{"ls"}, {"tree"}, {"find"}, {"stat", "README"}, {"types"}, {"image"}})
    {
        RunLum(vecArguments);
    }
    EXPECT_EQ(LumJson({"image", "--state"})["sources"][0]["readers"], 0);
}

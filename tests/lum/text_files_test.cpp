// What is read from text files: lists of paths, and tables of types.
#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

// Runs "lum serve" with a file that must be refused, and gives its message without the file's name.
std::string Refusal(const TemporaryFolder& folder, const std::string& strOption, const std::string& strContent)
{
    const std::string strFile = folder.Write("file.txt", strContent);
    const LumResult result = RunLum({"serve", "--once", "--source", folder.Name(), strOption, strFile});
    EXPECT_EQ(result.nExitCode, 2) << strContent;
    EXPECT_EQ(result.strOut, "") << strContent;
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 1) << strContent;
    const size_t uName = result.strErr.find(strFile);
    EXPECT_NE(uName, std::string::npos) << result.strErr;
    return uName == std::string::npos ? result.strErr : result.strErr.substr(uName + strFile.size());
}

json TypesOf(const TemporaryFolder& folder, const std::string& strContent)
{
    const std::string strTypes = folder.Write("types.txt", strContent);
    const LumServe serve({"--source", folder.Name(), "--types", strTypes});
    EXPECT_TRUE(serve.Publishes());
    return LumJson({"types"})["sources"][0]["types"];
}

}  // namespace

TEST(LumPathList, EveryHttpSourceIsReadFromItsOwnList)
{
    TemporaryFolder folder;
    const LumServe serve({"--http-source", folder.Write("1", "one.png\n"), "--http-target",
                          folder.Write("2", "two.png\n"), "--http-pkg-source", folder.Write("3", "three.png\n"),
                          "--http-pkg-target", folder.Write("4", "four.png\n")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(RunLum({"find"}).strOut,
              "http-source\tone.png\nhttp-target\ttwo.png\nhttp-pkg-source\tthree.png\nhttp-pkg-target\tfour.png\n");
    EXPECT_EQ(LumJson({"status", "--from", "http-pkg-target"})["sources"][0]["number"], 7);
}

TEST(LumPathList, CommentsBlanksAndLineEndsOfBothSystemsAreUnderstood)
{
    TemporaryFolder folder;
    const std::string strList = folder.Write("list",
                                             "\xef\xbb\xbf# a comment\r\n\r\n  models/ship.fbx  \r\n"
                                             "\t# another\n\nmodels\\boat.fbx\n/rooted/a b.png\nempty/\nlast");
    const LumServe serve({"--http-source", strList});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(RunLum({"find", "--folders"}).strOut, "empty\nmodels\nrooted\n");
    EXPECT_EQ(RunLum({"find", "--files"}).strOut, "last\nmodels/boat.fbx\nmodels/ship.fbx\nrooted/a b.png\n");
}

TEST(LumPathList, NodesOfAListHaveNoAttributesButATypeAndAPlace)
{
    TemporaryFolder folder;
    const std::string strList = folder.Write("list", "models/ship.fbx\n");
    const LumServe serve({"--http-source", strList});
    const json node = LumJson({"stat", "models/ship.fbx"})["nodes"][0];
    EXPECT_EQ(node["size"], 0);
    EXPECT_EQ(node["attributes"], 0);
    EXPECT_EQ(node["written"], 0);
    EXPECT_EQ(node["type_name"], "model");
    EXPECT_EQ(node["absolute"], Forward(strList) + "/models/ship.fbx");
}

TEST(LumPathList, APathThatComesTwiceIsOneNode)
{
    TemporaryFolder folder;
    const LumServe serve({"--http-source", folder.Write("list", "a/b.png\na/b.png\na/\n./a//b.png\n")});
    EXPECT_EQ(RunLum({"find"}).strOut, "a\na/b.png\n");
}

TEST(LumPathList, AUrlIsAPathLikeAnyOther)
{
    TemporaryFolder folder;
    const LumServe serve({"--http-source", folder.Write("list", "files:8080/ship.fbx\n")});
    EXPECT_EQ(LumJson({"stat", "files:8080/ship.fbx"})["nodes"][0]["type_name"], "model");
}

TEST(LumPathList, AnEmptyListIsAnEmptyRoot)
{
    TemporaryFolder folder;
    LumServe serve({"--http-source", folder.Write("list", "# nothing yet\n")});
    EXPECT_EQ(serve.Process().Out(), "serving 1 node of 1 source\n");
}

TEST(LumPathList, ALineThatIsNoPathIsRefusedByFileAndLine)
{
    TemporaryFolder folder;
    EXPECT_TRUE(Refusal(folder, "--http-source", "a\n../b\n").starts_with(":2: "));
    EXPECT_TRUE(Refusal(folder, "--http-source", "a\n\n#\n/\n").starts_with(":4: "));
    EXPECT_TRUE(Refusal(folder, "--http-source", "a\nb/../c\n").starts_with(":2: "));
    EXPECT_TRUE(Refusal(folder, "--http-target", "a\na/b\n").starts_with(":2: "));
    EXPECT_TRUE(Refusal(folder, "--http-pkg-source", "a/b\na\n").starts_with(":2: "));
    EXPECT_TRUE(Refusal(folder, "--http-pkg-target", "a\na/\n").starts_with(":2: "));
}

TEST(LumPathList, WhatIsntUtf8IsRefusedByFileAndLine)
{
    TemporaryFolder folder;
    EXPECT_EQ(Refusal(folder, "--http-source", "a\nb\xff\n"), ":2: isn't UTF-8 text\n");
    EXPECT_EQ(Refusal(folder, "--http-source", "\xc0\xaf\n"), ":1: isn't UTF-8 text\n");
    EXPECT_EQ(Refusal(folder, "--http-source", "\xed\xa0\x80\n"), ":1: isn't UTF-8 text\n");
    EXPECT_EQ(Refusal(folder, "--http-source", "\xf5\x80\x80\x80\n"), ":1: isn't UTF-8 text\n");
    EXPECT_EQ(Refusal(folder, "--http-source", "cut \xe6\xbc"), ":1: isn't UTF-8 text\n");
    EXPECT_EQ(Refusal(folder, "--http-source", std::string("a\nzero\0byte\n", 12)), ":2: isn't UTF-8 text\n");
}

TEST(LumPathList, APathThatIsTooLongIsReportedAndTheRestServed)
{
    TemporaryFolder folder;
    const std::string strLong = std::string(150, 'a') + "/" + std::string(150, 'b');
    LumServe serve({"--http-source", folder.Write("list", strLong + "\nshort\n")});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(RunLum({"find", "--files"}).strOut, "short\n");
    EXPECT_TRUE(Contains(serve.Process().Err(), "not indexed: " + strLong + ": "));
    EXPECT_TRUE(Contains(serve.Process().Err(), "http-source: 1 not indexed\n"));
}

TEST(LumTypesFile, ReplacesTheBuiltInTable)
{
    TemporaryFolder folder;
    folder.Write("a.abc", "");
    folder.Write("b.ABC", "");
    folder.Write("c.tar.def", "");
    folder.Write("d.png", "");
    const std::string strTypes = folder.Write("table.types",
                                              "# number name extensions colours\n"
                                              "7 first abc|x.y #102030 #0a0B0c\n"
                                              "  0x10\tsecond   def|types  \n");
    const LumServe serve({"--source", folder.Name(), "--types", strTypes});
    ASSERT_TRUE(serve.Publishes());
    EXPECT_EQ(RunLum({"types"}).strOut, "7 first abc|x.y #102030 #0a0b0c\n16 second def|types #000000 #000000\n");
    EXPECT_EQ(RunLum({"find", "--type", "first"}).strOut, "a.abc\nb.ABC\n");
    EXPECT_EQ(RunLum({"find", "--type", "16"}).strOut, "c.tar.def\ntable.types\n");
    EXPECT_EQ(LumJson({"stat", "d.png"})["nodes"][0]["type"], nullptr);
}

TEST(LumTypesFile, TheWholeExtensionCountsBeforeItsLastPart)
{
    TemporaryFolder folder;
    folder.Write("a.tar.gz", "");
    folder.Write("a.gz", "");
    folder.Write("a.b.tar.gz", "");
    const LumServe serve({"--source", folder.Name(), "--types", folder.Write("t", "1 packed gz\n2 archive tar.gz\n")});
    EXPECT_EQ(LumJson({"stat", "a.tar.gz"})["nodes"][0]["type"], 2);
    EXPECT_EQ(LumJson({"stat", "a.gz"})["nodes"][0]["type"], 1);
    EXPECT_EQ(LumJson({"stat", "a.b.tar.gz"})["nodes"][0]["type"], 1);
}

TEST(LumTypesFile, LimitsAreThoseOfTheIndex)
{
    TemporaryFolder folder;
    const std::string strName(49, 'n');
    const std::string strList = std::string(49, 'a') + "|" + std::string(49, 'b');
    const json types = TypesOf(folder, "2147483647 " + strName + " " + strList + "\n");
    ASSERT_EQ(types.size(), 1u);
    EXPECT_EQ(types[0]["number"], 2147483647);
    EXPECT_EQ(types[0]["name"], strName);
    EXPECT_EQ(types[0]["extensions"], strList);
    EXPECT_TRUE(Refusal(folder, "--types", "1 n" + strName + " a\n").starts_with(":1: the name"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 n a" + strList + "\n").starts_with(":1: the extension list"));
    EXPECT_TRUE(Refusal(folder, "--types", "2147483648 n a\n").starts_with(":1: \"2147483648\""));
}

TEST(LumTypesFile, AnEmptyTableLeavesAllFilesWithoutType)
{
    TemporaryFolder folder;
    folder.Write("a.png", "");
    const LumServe serve({"--source", folder.Name(), "--types", folder.Write("t", "# none\n")});
    EXPECT_EQ(LumJson({"types"})["sources"][0]["types"].size(), 0u);
    EXPECT_EQ(LumJson({"stat", "a.png"})["nodes"][0]["type"], nullptr);
}

TEST(LumTypesFile, EachErrorIsRefusedByFileAndLine)
{
    TemporaryFolder folder;
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a\n2 two\n").starts_with(":2: expected"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a #000000 #000000 more\n").starts_with(":1: expected"));
    EXPECT_TRUE(Refusal(folder, "--types", "# c\n\none 1 a\n").starts_with(":3: \"one\" is no type number"));
    EXPECT_TRUE(Refusal(folder, "--types", "-1 one a\n").starts_with(":1: \"-1\" is no type number"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a\n1 two b\n").starts_with(":2: the number 1 is taken"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a\n2 ONE b\n").starts_with(":2: the name \"ONE\" is taken"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a|b\n2 two B\n").starts_with(":2: the extension \"B\" belongs"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a||b\n").starts_with(":1: the extension list has an empty"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a|\n").starts_with(":1: the extension list has an empty"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one .png\n").starts_with(":1: \".png\" is no extension"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a/b\n").starts_with(":1: \"a/b\" is no extension"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a red\n").starts_with(":1: \"red\" is no colour"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a #12345\n").starts_with(":1: \"#12345\" is no colour"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a #123456 #12345g\n").starts_with(":1: \"#12345g\" is no colour"));
    EXPECT_TRUE(Refusal(folder, "--types", "1 one a\n2 \xff b\n").starts_with(":2: isn't UTF-8"));
}

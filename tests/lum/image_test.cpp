// "lum image": what it counts in good images, and what it says of damaged ones.
#include "tests/lum_support/lum_test_support.h"

using nlohmann::json;

namespace
{

// Places in the head of an image.
constexpr size_t kStringBlockSize = 8;
constexpr size_t kNodeBlockSize = 12;
constexpr size_t kNumberBlockSize = 16;
constexpr size_t kTableBlockSize = 20;
constexpr size_t kTypeBlockSize = 24;
constexpr size_t kTotalSize = 48;
constexpr size_t kFirstBlock = 52;

// Where the blocks of an image begin.
struct Blocks
{
    explicit Blocks(const std::string& strImage)
        : uStrings(kFirstBlock),
          uNodes(uStrings + WordAt(strImage, kStringBlockSize)),
          uNumbers(uNodes + WordAt(strImage, kNodeBlockSize)),
          uTable(uNumbers + WordAt(strImage, kNumberBlockSize)),
          uTypes(uTable + WordAt(strImage, kTableBlockSize))
    {
    }

    // The first byte of a node's record.
    size_t Node(size_t uNode) const { return uNodes + 16 + 120 * uNode; }

    size_t uStrings;
    size_t uNodes;
    size_t uNumbers;
    size_t uTable;
    size_t uTypes;
};

// Nodes of the small image, by what they are.
enum : size_t
{
    kRoot = 0,
    kShip = 1,
    kHull = 2,
    kGone = 3,
    kReadme = 4
};

json ImageJson(const TemporaryFolder& folder, const std::string& strImage, int nExpectedExit)
{
    return LumJson({"image", "--file", folder.Write("image", strImage)}, nExpectedExit);
}

// The first damage that is found in an image, which must be found.
json FirstDamage(const TemporaryFolder& folder, const std::string& strImage)
{
    const json parsed = ImageJson(folder, strImage, 2);
    const json damage = parsed.value("damage", json::array());
    EXPECT_FALSE(damage.empty());
    return damage.empty() ? json{{"offset", 0}, {"text", ""}} : damage[0];
}

// A small image in which one word is another one.
std::string WithWord(size_t uAt, uint32_t uValue)
{
    std::string strImage = SmallImage();
    SetWord(&strImage, uAt, uValue);
    return strImage;
}

}  // namespace

TEST(LumImage, CountsWhatASmallImageHolds)
{
    TemporaryFolder folder;
    const std::string strImage = SmallImage();
    const json parsed = ImageJson(folder, strImage, 0);
    EXPECT_EQ(parsed["bytes"], strImage.size());
    EXPECT_EQ(parsed["compressed"], nullptr);
    EXPECT_EQ(parsed["root"], "/data");
    EXPECT_EQ(parsed["name"], "data");
    EXPECT_EQ(parsed["blocks"]["strings"], WordAt(strImage, kStringBlockSize));
    EXPECT_EQ(parsed["blocks"]["nodes"], 20 + 120 * 5);
    EXPECT_EQ(parsed["blocks"]["types"], 32 + 312);
    EXPECT_EQ(parsed["nodes"], json({{"count", 5}, {"files", 2}, {"folders", 2}, {"removed", 1}, {"without_key", 0}}));
    // Three lists of one child each: the root's file and folder, and the folder's file, beside a hole.
    EXPECT_EQ(parsed["numbers"], json({{"count", 7}, {"lists", 3}, {"listed", 3}, {"holes", 1}, {"dead", 0}}));
    // Keys: "", "ship", "ship/hull.png", "ship/gone.tga", "readme". Texts: Ship, Hull, png, gone, tga, README, texture,
    // and the root's path and name.
    EXPECT_EQ(parsed["strings"]["count"], 14);
    EXPECT_EQ(parsed["strings"]["with_text"], 9);
    EXPECT_EQ(parsed["strings"]["keys_only"], 5);
    EXPECT_EQ(parsed["strings"]["removed"], 0);
    EXPECT_EQ(parsed["strings"]["texts"], 9);
    EXPECT_EQ(parsed["strings"]["primary"]["slots"], 32);
    EXPECT_EQ(parsed["strings"]["primary"]["used"], 14);
    EXPECT_EQ(parsed["strings"]["conflict"]["slots"], 1);
    EXPECT_EQ(parsed["keys"]["slots"], 8);
    EXPECT_EQ(parsed["keys"]["used"], 4);
    EXPECT_EQ(parsed["keys"]["load"], 0.5);
    EXPECT_EQ(parsed["types"], 1);
    EXPECT_EQ(parsed["damage_count"], 0);
}

TEST(LumImage, ReadsABlockAndASectionLikeTheImageItself)
{
    TemporaryFolder folder;
    const std::string strImage = SmallImage();
    json plain = ImageJson(folder, strImage, 0);
    const std::string strBlock = BlockOf(strImage);
    const json fromBlock = ImageJson(folder, strBlock, 0);
    EXPECT_EQ(fromBlock["compressed"], strBlock.size());

    HandMadePublisher publisher;
    ASSERT_TRUE(publisher.PublishImage(strImage));
    const json fromSection = LumJson({"image"});
    EXPECT_EQ(fromSection, fromBlock);
    EXPECT_EQ(LumJson({"image", "--section", "source"}), fromBlock);
    EXPECT_EQ(RunLum({"image", "--section", "target"}).nExitCode, 2);

    plain["compressed"] = strBlock.size();
    EXPECT_EQ(plain, fromBlock);
}

TEST(LumImage, SavesTheImageThatWasPublished)
{
    TemporaryFolder folder;
    const std::string strImage = SmallImage();
    HandMadePublisher publisher;
    ASSERT_TRUE(publisher.PublishImage(strImage));
    EXPECT_EQ(RunLum({"image", "--save", folder.Name("saved")}).nExitCode, 0);
    EXPECT_TRUE(ReadWholeFile(folder.Path() / "saved") == strImage);
    EXPECT_EQ(RunLum({"image", "--save", folder.Name("no/such/folder")}).nExitCode, 2);
}

TEST(LumImage, TextNamesTheSameCounts)
{
    TemporaryFolder folder;
    const std::string strOut = RunLum({"image", "--file", folder.Write("image", SmallImage())}).strOut;
    EXPECT_TRUE(Contains(strOut, "  nodes:        5: 2 files, 2 folders, 1 removed\n")) << strOut;
    EXPECT_TRUE(Contains(strOut, "  numbers:      7: 3 in 3 lists, 1 holes, 0 dead\n")) << strOut;
    EXPECT_TRUE(Contains(strOut, "  strings:      14: 9 with text, 5 keys only, 0 removed\n")) << strOut;
    EXPECT_TRUE(Contains(strOut, "  keys:         8 slots, 4 used, load 0.500, longest probe ")) << strOut;
    EXPECT_FALSE(Contains(strOut, "DAMAGED"));
}

TEST(LumImage, StateShowsEveryRecord)
{
    HandMadePublisher publisher;
    const json parsed = LumJson({"image", "--state"});
    EXPECT_EQ(parsed["version"], "version.2.4");
    ASSERT_EQ(parsed["sources"].size(), 9u);
    EXPECT_EQ(parsed["sources"][0], json({{"from", "source"}, {"enabled", true}, {"update_count", 7}, {"readers", 0}}));
    EXPECT_EQ(parsed["sources"][8],
              json({{"from", "merge-target"}, {"enabled", false}, {"update_count", 0}, {"readers", 0}}));
}

TEST(LumImage, DumpShowsOffsetBytesTypeValueAndMeaning)
{
    TemporaryFolder folder;
    const std::string strFile = folder.Write("image", SmallImage());
    const std::string strOut = RunLum({"image", "--file", strFile, "--dump", "--records", "3"}).strOut;
    const auto hasLine = [&](std::initializer_list<const char*> parts)
    {
        for (const std::string& strLine : LinesOf(strOut))
        {
            size_t uAt = 0;
            for (const char* pszPart : parts)
            {
                uAt = uAt == std::string::npos ? uAt : strLine.find(pszPart, uAt);
            }
            if (uAt != std::string::npos)
            {
                return true;
            }
        }
        return false;
    };
    EXPECT_TRUE(hasLine({"0x00000000  7665722e312e3400 ", "char[8]", "\"ver.1.4\"", "image: version"}));
    EXPECT_TRUE(hasLine({"0x0000000c  6c020000 ", "u32", "620", "image: bytes of the node block"})) << strOut;
    EXPECT_TRUE(hasLine({"handle", "\"/data\"", "image: root path"}) || hasLine({"handle", "image: root path"}));
    EXPECT_TRUE(hasLine({"handle", "\"Hull\"", "node 2: base name"}));
    EXPECT_TRUE(hasLine({"u16[]", "\"png|tga\"", "type 0: extensions"}));
    EXPECT_TRUE(hasLine({"... 2 more: node"}));
    EXPECT_FALSE(hasLine({"node 3: "}));
}

TEST(LumImage, DumpLinesLieInTheImageAndHaveItsBytes)
{
    TemporaryFolder folder;
    const std::string strImage = SmallImage();
    const std::string strOut =
        RunLum({"image", "--file", folder.Write("image", strImage), "--dump", "--records", "1000"}).strOut;
    size_t uLines = 0;
    for (const std::string& strLine : LinesOf(strOut))
    {
        if (!strLine.starts_with("0x"))
        {
            continue;
        }
        const size_t uOffset = std::stoul(strLine.substr(2, 8), nullptr, 16);
        std::string strBytes;
        for (size_t i = 12; i + 1 < strLine.size() && isxdigit(static_cast<unsigned char>(strLine[i])) != 0; i += 2)
        {
            strBytes += static_cast<char>(std::stoi(strLine.substr(i, 2), nullptr, 16));
        }
        EXPECT_TRUE(!strBytes.empty() && strImage.substr(uOffset, strBytes.size()) == strBytes) << strLine;
        ++uLines;
    }
    EXPECT_GT(uLines, 300u);
}

TEST(LumImage, WhatIsNoImageIsRefusedWithAMessage)
{
    TemporaryFolder folder;
    std::string strHugeSource = BlockOf(SmallImage());
    strHugeSource[5] = 1;  // more than 4 GiB
    std::string strHugeStream = BlockOf(SmallImage());
    SetWord(&strHugeStream, 8, 0x7FFFFFFF);
    std::string strWrongStream = BlockOf(SmallImage());
    strWrongStream.replace(16, 40, std::string(40, '\xff'));
    for (const std::string& strWrong :
         {std::string(), std::string("x"), std::string(15, '\0'), std::string(200, '\0'), std::string(200, '\xff'),
          strHugeSource, strHugeStream, strWrongStream, BlockOf(SmallImage()).substr(0, 100)})
    {
        const LumResult result = RunLum({"image", "--file", folder.Write("wrong", strWrong)});
        EXPECT_EQ(result.nExitCode, 2);
        EXPECT_TRUE(Contains(result.strErr, "neither an image nor a compressed one")) << result.strErr;
    }
    EXPECT_EQ(RunLum({"image", "--file", folder.Name("nowhere")}).nExitCode, 2);
    EXPECT_EQ(RunLum({"image", "--file", folder.Name()}).nExitCode, 2);
}

TEST(LumImage, AnImageOfAnotherVersionIsDamaged)
{
    TemporaryFolder folder;
    std::string strImage = SmallImage();
    strImage[6] = '5';
    const json damage = FirstDamage(folder, strImage);
    EXPECT_EQ(damage["offset"], 0);
    EXPECT_EQ(damage["text"], "image: the version is \"ver.1.5\", not \"ver.1.4\"");
}

TEST(LumImage, ABlockSizeThatLiesIsNamedAtItsPlace)
{
    TemporaryFolder folder;
    const std::string strImage = SmallImage();
    for (const size_t uAt : {kStringBlockSize, kNodeBlockSize, kNumberBlockSize, kTableBlockSize, kTypeBlockSize})
    {
        for (const uint32_t uValue : {0u, 1u, WordAt(strImage, uAt) + 1, 0x7FFFFFFFu, 0xFFFFFFFFu})
        {
            const json damage = FirstDamage(folder, WithWord(uAt, uValue));
            EXPECT_EQ(damage["offset"], kTotalSize) << uAt << " " << uValue;
            EXPECT_TRUE(Contains(damage["text"].get<std::string>(), "the five blocks have")) << uAt << " " << uValue;
        }
    }
}

TEST(LumImage, ACutImageIsDamaged)
{
    TemporaryFolder folder;
    const std::string strImage = SmallImage();
    for (size_t uSize = 4; uSize < strImage.size(); uSize += 97)
    {
        EXPECT_FALSE(ImageJson(folder, strImage.substr(0, uSize), 2)["damage"].empty()) << uSize;
    }
    EXPECT_FALSE(ImageJson(folder, strImage.substr(0, strImage.size() - 1), 2)["damage"].empty());
    EXPECT_FALSE(ImageJson(folder, strImage + "x", 2)["damage"].empty());
}

TEST(LumImage, ARecordThatLiesIsNamedAtItsPlace)
{
    TemporaryFolder folder;
    const Blocks blocks(SmallImage());
    const struct
    {
        size_t uAt;
        uint32_t uValue;
        const char* pszText;
    } akLies[] = {{blocks.Node(kHull) + 8, 7, "node 2: its id is 7"},
                  {blocks.Node(kHull) + 116, 1, "node 2: 1 is no state"},
                  {blocks.Node(kHull) + 76, 1000, "node 2: there is no string 1000"},
                  {blocks.Node(kHull) + 108, 1000, "node 2: its key is no string"},
                  {blocks.Node(kShip) + 16, 1000, "node 1: there is no list 1000"},
                  {blocks.Node(kHull) + 12, 0, "node 1: its child 2 has another parent"},
                  {blocks.Node(kHull) + 28, 1, "node 1: its child 2 is in the list of files"},
                  {blocks.Node(kReadme) + 116, 2, "node 0: its child 4 isn't there"},
                  {blocks.uNumbers + 8, 99, "its child 99 isn't there"},
                  {blocks.uTable + 8, 9, "key table: 4 used slots, and 9 by its head"},
                  {blocks.uStrings + 28 + 16 + 8, 3, "string 0: 3 is no state"},
                  {blocks.uStrings + 28 + 16 + 24 + 8, 4, "string 1: "},
                  {blocks.uTypes, 2, "types: 2 types, but 1 type records"}};
    for (const auto& lie : akLies)
    {
        const json parsed = ImageJson(folder, WithWord(lie.uAt, lie.uValue), 2);
        EXPECT_TRUE(Contains(parsed["damage"].dump(), lie.pszText)) << lie.pszText << "\n" << parsed["damage"].dump(1);
    }
}

TEST(LumImage, AListWithoutEndIsDamaged)
{
    TemporaryFolder folder;
    std::string strImage = SmallImage();
    const Blocks blocks(strImage);
    const uint32_t uNumbers = WordAt(strImage, blocks.uNumbers);
    SetWord(&strImage, blocks.uNumbers + 8 + 4 * (uNumbers - 1), 0xFFFFFFFE);
    EXPECT_TRUE(Contains(ImageJson(folder, strImage, 2)["damage"].dump(), "has no end"));
}

TEST(LumImage, FoldersThatLieInEachOtherAreDamage)
{
    TemporaryFolder folder;
    std::string strImage = SmallImage();
    const Blocks blocks(strImage);
    // The root becomes the folder's child.
    SetWord(&strImage, blocks.Node(kRoot) + 12, kShip);
    EXPECT_TRUE(Contains(ImageJson(folder, strImage, 2)["damage"].dump(), "lead back to it"));
}

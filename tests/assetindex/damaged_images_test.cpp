// Named cases of damage: one small sound image as annotated hex, and for each case the lines that differ and what must
// become of it. Cases that were found once are kept here.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;

// A folder "d" with one file "a" in it, in a container without root and types. Behind each line stands its offset.
const char* const kpszSound = R"(
# 0000 head
7665722E312E3400                  # 0000 version ver.1.4
B2010000                          # 0008 size of the strings
04010000                          # 000C size of the nodes
14000000                          # 0010 size of the numbers
68000000                          # 0014 size of the table
20000000                          # 0018 size of the types
00000000                          # 001C zero
FFFFFFFFFFFFFFFF                  # 0020 root path: none
FFFFFFFFFFFFFFFF                  # 0028 root name: none
52030000                          # 0030 size of all five
# 0034 strings
7665722E312E3100                  # 0034 version ver.1.1
5C000000                          # 003C size of the records
56000000                          # 0040 size of the pool
A8000000                          # 0044 size of the primary table
38000000                          # 0048 size of the conflict table
92010000                          # 004C size of all four
# 0050 records
7665722E312E3000                  # 0050 version
03000000                          # 0058 count
48000000                          # 005C bytes
0000000000000000                  # 0060 string 0, "d": text
04000000                          # 0068 string 0, "d": with text
01000000                          # 006C string 0, "d": mask
1A3EB8CE                          # 0070 string 0, "d": first hash
624AE800                          # 0074 string 0, "d": second hash
FFFFFFFFFFFFFFFF                  # 0078 string 1, "d/a": text
00000000                          # 0080 string 1, "d/a": key only
01000000                          # 0084 string 1, "d/a": mask
98315EA5                          # 0088 string 1, "d/a": first hash
00C696A6                          # 008C string 1, "d/a": second hash
0500000000000000                  # 0090 string 2, "a": text
04000000                          # 0098 string 2, "a": with text
01000000                          # 009C string 2, "a": mask
683DC67D                          # 00A0 string 2, "a": first hash
F4F6BBB0                          # 00A4 string 2, "a": second hash
00000000                          # 00A8 tail
# 00AC pool
7665722E312E3000                  # 00AC version
46000000                          # 00B4 size of the buffer
7665722E312E3000                  # 00B8 version
0A000000                          # 00C0 bytes in use
24000000                          # 00C4 size of the handles
2E000000                          # 00C8 size of both
6400000000                        # 00CC text at 0: "d"
6100000000                        # 00D1 text at 5: "a"
7665722E312E3000                  # 00D6 version
02000000                          # 00DE handles
10000000                          # 00E2 bytes
0000000000000000                  # 00E6 handle 0
0500000000000000                  # 00EE handle 5
00000000                          # 00F6 tail
00000000                          # 00FA tail
00000000                          # 00FE tail
# 0102 primary table
7665722E312E3000                  # 0102 version
03000000                          # 010A entries
94000000                          # 010E size of the slots
7665722E312E3000                  # 0112 version
08000000                          # 011A slots
80000000                          # 011E bytes
1A3EB8CE000000000000000001000000  # 0122 slot 0: "d" is string 0
00000000000000000000000000000000  # 0132 slot 1: free
00000000000000000000000000000000  # 0142 slot 2: free
98315EA5010000000000000001000000  # 0152 slot 3: "d/a" is string 1
00000000000000000000000000000000  # 0162 slot 4: free
00000000000000000000000000000000  # 0172 slot 5: free
00000000000000000000000000000000  # 0182 slot 6: free
683DC67D020000000000000001000000  # 0192 slot 7: "a" is string 2
00000000                          # 01A2 tail
00000000                          # 01A6 tail
# 01AA conflict table
7665722E312E3000                  # 01AA version
00000000                          # 01B2 entries
24000000                          # 01B6 size of the slots
7665722E312E3000                  # 01BA version
01000000                          # 01C2 slots
10000000                          # 01C6 bytes
00000000000000000000000000000000  # 01CA slot 0: free
00000000                          # 01DA tail
00000000                          # 01DE tail
00000000                          # 01E2 tail of the strings
# 01E6 nodes
7665722E312E3000                  # 01E6 version
02000000                          # 01EE count
F0000000                          # 01F2 bytes
0000000000000000                  # 01F6 node 0: source, merge sign
00000000                          # 01FE node 0: id
FFFFFFFF                          # 0202 node 0: parent
00000000                          # 0206 node 0: files
FFFFFFFF                          # 020A node 0: folders
FFFFFFFF                          # 020E node 0: type
01000000                          # 0212 node 0: folder
00000000                          # 0216 node 0: attributes
0000000000000000000000000000000000000000000000000000000000000000# 021A node 0: size and times
FFFFFFFFFFFFFFFF                  # 023A node 0: directory
0000000000000000                  # 0242 node 0: base name
FFFFFFFFFFFFFFFF                  # 024A node 0: extension
FFFFFFFFFFFFFFFF                  # 0252 node 0: type name
FFFFFFFFFFFFFFFF                  # 025A node 0: physics path
0000000000000000                  # 0262 node 0: key
00000000                          # 026A node 0: state
0000000000000000                  # 026E node 1: source, merge sign
01000000                          # 0276 node 1: id
00000000                          # 027A node 1: parent
FFFFFFFF                          # 027E node 1: files
FFFFFFFF                          # 0282 node 1: folders
FFFFFFFF                          # 0286 node 1: type
00000000                          # 028A node 1: folder
00000000                          # 028E node 1: attributes
0000000000000000000000000000000000000000000000000000000000000000# 0292 node 1: size and times
0000000000000000                  # 02B2 node 1: directory
0200000000000000                  # 02BA node 1: base name
FFFFFFFFFFFFFFFF                  # 02C2 node 1: extension
FFFFFFFFFFFFFFFF                  # 02CA node 1: type name
FFFFFFFFFFFFFFFF                  # 02D2 node 1: physics path
0100000000000000                  # 02DA node 1: key
00000000                          # 02E2 node 1: state
00000000                          # 02E6 tail
# 02EA numbers
02000000                          # 02EA count
08000000                          # 02EE bytes
01000000                          # 02F2 list 0: node 1
FFFFFFFF                          # 02F6 list 0: end
00000000                          # 02FA tail
# 02FE table
7665722E312E3000                  # 02FE version
02000000                          # 0306 entries
54000000                          # 030A size of the slots
7665722E312E3000                  # 030E version
04000000                          # 0316 slots
40000000                          # 031A bytes
01000000000000000100000001000000  # 031E slot 0: string 1 is node 1
00000000000000000000000001000000  # 032E slot 1: string 0 is node 0
00000000000000000000000000000000  # 033E slot 2: free
00000000000000000000000000000000  # 034E slot 3: free
00000000                          # 035E tail
00000000                          # 0362 tail
# 0366 types
00000000                          # 0366 types
14000000                          # 036A size of the records
7665722E312E3000                  # 036E version
00000000                          # 0376 count
00000000                          # 037A bytes
00000000                          # 037E tail
00000000                          # 0382 tail
00000000                          # 0386 tail of the image
)";

struct Case
{
    const char* pszName;

    // Lines in place of those at their offset: "00A8 FFFFFFFF", several of them separated by ";".
    const char* pszLines;

    bool bRefused;

    // What a loaded one answers: the ids of the paths "d" and "d/a" ("-" for a miss), the files of node 0, the rendered
    // path of node 1 ("-" for none). "*" where it doesn't matter.
    const char* pszFolder;
    const char* pszFile;
    const char* pszFiles;
    const char* pszPath;
};

const Case kaCases[] = {
    {"sound", "", false, "0", "1", "1", "d/a"},
    {"the version of the image is another", "0000 7665722E312E3500", true, "", "", "", ""},
    {"a byte behind the version's end", "0000 7665722E312E3401", true, "", "", "", ""},
    {"the total is one more", "0030 53030000", true, "", "", "", ""},
    {"two sizes are moved by half of 32 bits each", "0008 B2010080;000C 04010080", true, "", "", "", ""},
    {"a record of the strings is missing", "0058 02000000", true, "", "", "", ""},
    {"more strings than fit 32 bits of bytes", "0058 03000020;005C 48000000", true, "", "", "", ""},
    {"a text behind the pool", "0090 0A00000000000000", false, "0", "1", "1", "-"},
    {"a text far behind the pool", "0090 FFFFFFFFFFFFFF7F", false, "0", "1", "1", "-"},
    {"a text whose end lies behind the pool", "00D1 6161616161", false, "0", "1", "1", "-"},
    {"a string that is marked as removed", "0080 02000000", false, "0", "-", "1", "d/a"},
    {"a name that is marked as a key", "0098 00000000", false, "0", "1", "1", "-"},
    {"the pool says that it is larger", "00C0 0B000000;00C8 2F000000", true, "", "", "", ""},
    {"the primary table has no slots", "011A 00000000;011E 00000000", false, "-", "-", "1", "d/a"},
    {"a string behind the records in the primary table", "0152 98315EA5030000000000000001000000", false, "0", "-", "1",
     "d/a"},
    {"a string far behind the records in the primary table", "0152 98315EA5FFFFFFFFFFFFFFFF01000000", false, "0", "-",
     "1", "d/a"},
    {"a node is missing", "01EE 01000000", true, "", "", "", ""},
    {"a list that isn't there", "0206 02000000", false, "0", "1", "-", "d/a"},
    {"a handle that is none", "02C2 0300000000000000", false, "0", "1", "1", "-"},
    {"numbers whose bytes are not four times their count", "02EE 04000000", true, "", "", "", ""},
    {"a folder that is its own file", "02F2 00000000", false, "0", "1", "0", "d/a"},
    {"a child that is no node", "02F2 4D000000", false, "0", "1", "77", "d/a"},
    {"a list without an end", "02F6 00000000", false, "0", "1", "1 0", "d/a"},
    {"a key table without slots", "0316 00000000;031A 00000000", false, "-", "-", "1", "d/a"},
    {"a key table of three slots", "0316 03000000;031A 30000000", false, "*", "*", "1", "d/a"},
    {"a key of a node behind the last one", "032E 00000000000000000200000001000000", false, "-", "1", "1", "d/a"},
    {"a key table without a free slot and without the keys",
     "031E 09000000000000000100000001000000;032E 08000000000000000000000001000000;"
     "033E 07000000000000000000000001000000;034E 06000000000000000000000001000000",
     false, "-", "-", "1", "d/a"},
    {"more types than records", "0376 01000000", true, "", "", "", ""},
};

// The sound image with the lines of a case in it.
Bytes CaseImageOf(const Case& one)
{
    Bytes vecImage = votest::FromHex(kpszSound);
    const std::string strLines = one.pszLines;
    for (size_t uBegin = 0; uBegin < strLines.size();)
    {
        const size_t uEnd = std::min(strLines.find(';', uBegin), strLines.size());
        const std::string strLine = strLines.substr(uBegin, uEnd - uBegin);
        const size_t uOffset = std::stoul(strLine.substr(0, 4), nullptr, 16);
        const Bytes vecBytes = votest::FromHex(strLine.substr(5));
        EXPECT_LE(uOffset + vecBytes.size(), vecImage.size());
        std::copy(vecBytes.begin(), vecBytes.end(), vecImage.begin() + static_cast<ptrdiff_t>(uOffset));
        uBegin = uEnd + 1;
    }
    return vecImage;
}

std::string IdText(unsigned int uID)
{
    return uID == kNone ? "-" : std::to_string(uID);
}

void ExpectAnswer(const char* pszExpected, const std::string& strActual)
{
    if (std::string(pszExpected) != "*")
    {
        EXPECT_EQ(pszExpected, strActual);
    }
}

TEST(DamagedImages, TheSoundImageIsTheOneOfSuchAContainer)
{
    VOTSAssetNodeContainer container;
    AddLinked(container, VOTEXT("d"), true, kNone);
    AddLinked(container, VOTEXT("d/a"), false, 0);
    EXPECT_TRUE(SameBytes(votest::FromHex(kpszSound), ImageOf(container)));
}

TEST(DamagedImages, EachCaseIsRefusedOrAnswersAsItMust)
{
    for (const Case& one : kaCases)
    {
        for (const LUMTrayService::enumAssetRole eRole : {AR_Customer, AR_Provider})
        {
            SCOPED_TRACE(std::string(one.pszName) + (eRole == AR_Customer ? ", Customer" : ", Provider"));
            const Bytes vecImage = CaseImageOf(one);
            const MisalignedBlock image(vecImage, 1);
            VOTSAssetNodeContainer container(eRole);
            const int nResult = container.SetAlloc(image.As<ContainerImage>(), 0, vecImage.size());
            EXPECT_EQ(one.bRefused, nResult == 0);
            if (!one.bRefused && nResult != 0)
            {
                ExpectAnswer(one.pszFolder, IdText(FoundID(container, VOTEXT("d"))));
                ExpectAnswer(one.pszFile, IdText(FoundID(container, VOTEXT("d/a"))));
                IDs vecFiles;
                std::string strFiles;
                if (container.GetInfoNumberList(NodeOf(container, 0).nChildFileInfo, vecFiles) == 0)
                {
                    strFiles = "-";
                }
                for (const unsigned int uFile : vecFiles)
                {
                    strFiles += (strFiles.empty() ? "" : " ") + IdText(uFile);
                }
                ExpectAnswer(one.pszFiles, strFiles);
                const VOWString strPath = PathOf(container, 1);
                ExpectAnswer(one.pszPath, strPath == VOTEXT("<no path>") ? "-" : votest::Shown(strPath));
            }
            (void)AskEverything(container);
        }
    }
}

}  // namespace

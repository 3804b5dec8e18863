// The enumerations and records that publisher and tools share: values, sizes, offsets, defaults.
#include "assetindex/image_model.h"

namespace
{
using namespace assettest;
using namespace LUMTrayService;

TEST(SharedRecords, EnumerationsHaveTheirPublishedValues)
{
    EXPECT_EQ(0, AR_Provider);
    EXPECT_EQ(1, AR_Customer);

    EXPECT_EQ(0u, AF_ERROR);
    EXPECT_EQ(1u, AF_SOURCE);
    EXPECT_EQ(2u, AF_TARGET);
    EXPECT_EQ(3u, AF_PAKV4);
    EXPECT_EQ(4u, AF_HTTPFILE_SOURCE);
    EXPECT_EQ(5u, AF_HTTPFILE_TARGET);
    EXPECT_EQ(6u, AF_HTTPFILE_PKG_SOURCE);
    EXPECT_EQ(7u, AF_HTTPFILE_PKG_TARGET);
    EXPECT_EQ(8u, AF_MERGESRC);
    EXPECT_EQ(9u, AF_MERGETARGET);
    EXPECT_EQ(10u, ASSETTYPE_COUNT);

    EXPECT_EQ(0u, APS_Normal);
    EXPECT_EQ(2u, APS_Deleted);
    EXPECT_EQ(1, Inspector::NT_FILE);
    EXPECT_EQ(2, Inspector::NT_FOLDER);
}

TEST(SharedRecords, EnumerationsAreStoredIn32Bits)
{
    EXPECT_EQ(4u, sizeof(enumAssetRole));
    EXPECT_EQ(4u, sizeof(enumAssetFrom));
    EXPECT_EQ(4u, sizeof(AssetParamState));
    EXPECT_EQ(4u, sizeof(Inspector::NodeType));
    EXPECT_EQ(4u, sizeof(Color));
}

TEST(SharedRecords, TheSourceEnumerationIsUnsigned)
{
    EXPECT_TRUE(std::is_unsigned_v<std::underlying_type_t<enumAssetFrom>>);
}

TEST(SharedRecords, ANodeHas108BytesAndItsStoredRecord120)
{
    EXPECT_EQ(108u, sizeof(structAssetNode));
    EXPECT_EQ(36u, offsetof(structAssetNode, ullFileSize));
    EXPECT_EQ(68u, offsetof(structAssetNode, hStrComponent));
    EXPECT_EQ(120u, sizeof(structAssetNodeParam));
    EXPECT_EQ(108u, offsetof(structAssetNodeParam, hStringParam));
    EXPECT_EQ(116u, offsetof(structAssetNodeParam, dwParamState));
}

TEST(SharedRecords, ADefaultNodeHasInvalidHandlesAndIdsAndZeroOtherwise)
{
    const structAssetNode tsNode;
    const Bytes vecExpected = votest::FromHex(
        "00000000 # eAssetFrom\n"
        "00000000 # uAssetMerge\n"
        "FFFFFFFF # nAssetID\n"
        "FFFFFFFF # nParentID\n"
        "FFFFFFFF # nChildFileInfo\n"
        "FFFFFFFF # nChildFolderInfo\n"
        "FFFFFFFF # nClassifyType\n"
        "00000000 # bFolder\n"
        "00000000 # nFileAttribute\n"
        "0000000000000000 # ullFileSize\n"
        "0000000000000000 # ftCreateTime\n"
        "0000000000000000 # ftLastAccessTime\n"
        "0000000000000000 # ftLastWriteTime\n"
        "FFFFFFFFFFFFFFFF # hStrComponent\n"
        "FFFFFFFFFFFFFFFF # hStrBaseName\n"
        "FFFFFFFFFFFFFFFF # hStrExtension\n"
        "FFFFFFFFFFFFFFFF # hStrClassifyName\n"
        "FFFFFFFFFFFFFFFF # hStrPhysicsPath\n");
    EXPECT_TRUE(SameBytes(vecExpected, BytesOf(tsNode)));
}

TEST(SharedRecords, EveryFieldOfANodeLiesWhereTheTableOfTheFormatPutsIt)
{
    structAssetNode tsNode;
    tsNode.eAssetFrom = AF_MERGETARGET;
    tsNode.uAssetMerge = 0x11121314;
    tsNode.nAssetID = 0x21222324;
    tsNode.nParentID = 0x31323334;
    tsNode.nChildFileInfo = 0x41424344;
    tsNode.nChildFolderInfo = 0x51525354;
    tsNode.nClassifyType = 0x61626364;
    tsNode.bFolder = 0x71727374;
    tsNode.nFileAttribute = 0x81828384;
    tsNode.ullFileSize = 0x9192939495969798;
    tsNode.ftCreateTime = 0x0A0B0C0D0E0F1011;
    tsNode.ftLastAccessTime = 0x1A1B1C1D1E1F2021;
    tsNode.ftLastWriteTime = 0x2A2B2C2D2E2F3031;
    tsNode.hStrComponent = HandleOf(0x3A3B3C3D3E3F4041);
    tsNode.hStrBaseName = HandleOf(0x4A4B4C4D4E4F5051);
    tsNode.hStrExtension = HandleOf(0x5A5B5C5D5E5F6061);
    tsNode.hStrClassifyName = HandleOf(0x6A6B6C6D6E6F7071);
    tsNode.hStrPhysicsPath = HandleOf(0x7A7B7C7D7E7F8081);
    EXPECT_TRUE(SameBytes(votest::FromHex("09000000 14131211 24232221 34333231 44434241 54535251 64636261 74737271"
                                          "84838281 9897969594939291 11100F0E0D0C0B0A 21201F1E1D1C1B1A"
                                          "31302F2E2D2C2B2A 41403F3E3D3C3B3A 51504F4E4D4C4B4A 61605F5E5D5C5B5A"
                                          "71706F6E6D6C6B6A 81807F7E7D7C7B7A"),
                          BytesOf(tsNode)));
}

TEST(SharedRecords, TheStoredRecordIsTheNodeThenItsKeyThenItsState)
{
    structAssetNodeParam param;
    param.tsNode.nAssetID = 5;
    param.hStringParam = HandleOf(0x0102030405060708);
    param.dwParamState = APS_Deleted;
    Bytes vecExpected = BytesOf(param.tsNode);
    const Bytes vecRest = votest::FromHex("0807060504030201 02000000");
    vecExpected.insert(vecExpected.end(), vecRest.begin(), vecRest.end());
    EXPECT_TRUE(SameBytes(vecExpected, votest::CopyBytes(&param, sizeof(param))));
}

TEST(SharedRecords, AHandedOutNodeIsASnapshot)
{
    VOTSAssetNodeContainer container;
    const unsigned int uID = NewNode(container, VOTEXT("a"));
    const structAssetNode tsBefore = NodeOf(container, uID);
    ASSERT_NE(0, container.SetAssetNodeAssetMergeSign(uID, 77));
    EXPECT_EQ(0u, tsBefore.uAssetMerge);
    EXPECT_EQ(77u, NodeOf(container, uID).uAssetMerge);
}

}  // namespace

// The names of the sections, the bytes of the update state section and of a data section.
#include "mapping/mapping_test_tools.h"
#include "vo_utility.h"

namespace
{
using namespace mappingtest;

TEST(SectionNames, EverySourceHasItsNameAndNoSourceHasNone)
{
    EXPECT_EQ(nullptr, ASSETNODE_MAPPING_VIEW_STRING(AF_ERROR));
    for (unsigned int uSource = 1; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(VOWString(DataName(uSource)),
                  ReadText(ASSETNODE_MAPPING_VIEW_STRING(static_cast<enumAssetFrom>(uSource))));
        EXPECT_EQ(VOWString(DataName(uSource)), ReadText(ASSETNODE_MAPPING_VIEW_STRING(uSource))) << "by its number";
    }
}

TEST(SectionNames, AValueThatIsNoSourceHasNoName)
{
    for (const unsigned int uSource : {10u, 11u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        EXPECT_EQ(nullptr, ASSETNODE_MAPPING_VIEW_STRING(static_cast<enumAssetFrom>(uSource)));
    }
}

TEST(UpdateState, Has132BytesARecordOf12ForEachSource)
{
    EXPECT_EQ(132u, sizeof(AssetNodeUpdateState));
    EXPECT_EQ(12u, sizeof(AssetNodeStateInfo));
    EXPECT_EQ(12u, sizeof(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION)) << "with its terminator it fills the field";
    EXPECT_EQ(VOWString(kpszStateName), VOWString(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME));
}

TEST(UpdateState, IsWrittenByteForByte)
{
    AssetNodeUpdateState kState = {};
    memcpy(kState.szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, 12);
    for (unsigned int uSource = 0; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        kState.arrStateInfo[uSource] = {0x01000000 + uSource, 0x02000000 + uSource, 0x03000000 + uSource};
    }
    ByteBuilder expected;
    expected.Hex("76657273696F6E2E322E3400");
    for (unsigned int uSource = 0; uSource < 10; ++uSource)
    {
        expected.U32(0x01000000 + uSource).U32(0x02000000 + uSource).U32(0x03000000 + uSource);
    }
    EXPECT_TRUE(SameBytes(expected.Result(), votest::CopyBytes(&kState, sizeof(kState))));
}

TEST(UpdateState, ErrorTypesAndModesHaveTheirPublishedValues)
{
    EXPECT_EQ(0, ET_NONE);
    EXPECT_EQ(1, ET_RESERVED);
    EXPECT_EQ(2, ET_STATE_UNAVAILABLE);
    EXPECT_EQ(3, ET_VERSION_MISMATCH);
    EXPECT_EQ(4, ET_DATA_UNAVAILABLE);
    EXPECT_EQ(5, ET_SOURCE_DISABLED);
    EXPECT_EQ(6, ET_DATA_OUTDATED);
    EXPECT_EQ(0, SM_ASYNC);
    EXPECT_EQ(1, SM_SYNC);
    EXPECT_EQ(4u, sizeof(ErrorType));
    EXPECT_EQ(4u, sizeof(SyncMode));
}

TEST(UpdateState, EachSourceIsServedByItsOwnRecordAndItsOwnSection)
{
    Publisher publisher;
    for (unsigned int uSource = 1; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        publisher.Publish(uSource, OneFileModel(VOTEXT("file") + Wide(std::to_string(uSource))));
    }
    for (unsigned int uSource = 1; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        ClosingInspector reader(static_cast<enumAssetFrom>(uSource));
        reader.Load();
        EXPECT_EQ(0u, IdOf(reader, (VOTEXT("file") + Wide(std::to_string(uSource))).c_str()));
        EXPECT_EQ(kNone, IdOf(reader, VOTEXT("file0")));
        publisher.SetCount(uSource, 5);
        EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
        publisher.SetEnabled(uSource, 0);
        EXPECT_EQ(ET_SOURCE_DISABLED, reader.OpenMappingData());
    }
}

TEST(UpdateState, ALargerSectionServesToo)
{
    Bytes vecState = EmptyState();
    vecState.resize(5000, 0xEE);
    Publisher publisher(vecState);
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(0u, IdOf(reader, VOTEXT("top")));
}

TEST(DataSection, ABlockOfLiteralsMadeByHandIsAsGoodAsTheLibrarys)
{
    const Bytes vecImage = SourceModel().Image();
    for (const bool bByHand : {true, false})
    {
        Bytes vecBlock = LiteralBlock(vecImage);
        if (!bByHand)
        {
            Bytes vecSource = vecImage;
            unsigned char* pbBlock = nullptr;
            unsigned int uSize = 0;
            ASSERT_NE(0, VOCompressBuffer_lzo1x(&pbBlock, &uSize, vecSource.data(),
                                                static_cast<unsigned int>(vecSource.size())));
            vecBlock = votest::TakeBytes(pbBlock, uSize);
            EXPECT_EQ(vecImage.size(), ReadU64(vecBlock, 0));
            EXPECT_EQ(vecBlock.size() - 24, ReadU64(vecBlock, 8));
        }
        Publisher publisher;
        publisher.PublishBlock(AF_SOURCE, vecBlock);
        ClosingInspector reader;
        reader.Load();
        EXPECT_EQ(11u, reader.GetAssetNodeCount());
        EXPECT_EQ(7u, IdOf(reader, VOTEXT("c:/ROOT/top/d1/INNER.txt")));
    }
}

TEST(DataSection, WhatStandsBehindTheBlockDoesNotMatter)
{
    Bytes vecBlock = LiteralBlock(SourceModel().Image());
    vecBlock.resize(vecBlock.size() + 100000, 0xEE);
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, vecBlock);
    ClosingInspector reader;
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

}  // namespace

// Sections that end earlier than their contents say. Linux keeps the exact size of a section, so every length can be
// tried; a read behind it would be a memory fault or a finding of the address sanitizer.
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

class BareAssemble : public VOTSFileMappingAssemble
{
public:
    BareAssemble() = default;
    ~BareAssemble() { _CloseInspector(); }
    using VOTSFileMappingAssemble::_SetupInspector;
};

const std::string kSetup = "VOTSFileMappingAssemble::_SetupInspector";

TEST(ShortStateSection, OfAnyOtherTextIsAMismatch)
{
    for (const char* pszText : {"abc", "version.2.", "version.2.3", "x"})
    {
        Publisher publisher{Bytes(pszText, pszText + strlen(pszText))};
        ClosingInspector reader;
        EXPECT_EQ(ET_VERSION_MISMATCH, reader.OpenMappingState()) << pszText;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType());
    }
}

TEST(ShortStateSection, OfEveryLengthBelow132IsRefusedByAnInspectorAndGivenBack)
{
    QuietLoop quiet;
    Bytes vecWhole = EmptyState();
    for (size_t uByte = 12; uByte < vecWhole.size(); ++uByte)
    {
        vecWhole[uByte] = 1;
    }
    for (size_t uSize = 1; uSize < 132; ++uSize)
    {
        quiet.Next();
        Publisher publisher{Bytes(vecWhole.begin(), vecWhole.begin() + static_cast<ptrdiff_t>(uSize))};
        ClosingInspector reader(LUMTrayService::AF_MERGETARGET);
        const ErrorType eResult = reader.OpenMappingState();
        // Behind the end of a section stand zeros, as in the rest of a page: so eleven bytes hold the whole version.
        EXPECT_EQ(uSize < 11 ? ET_VERSION_MISMATCH : ET_STATE_UNAVAILABLE, eResult) << uSize;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.LastErrorType());
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingData());
    }
}

TEST(ShortStateSection, OfEveryLengthBelow132GivesAnAssembleWithoutSources)
{
    QuietLoop quiet;
    Bytes vecWhole = EmptyState();
    for (size_t uByte = 12; uByte < vecWhole.size(); ++uByte)
    {
        vecWhole[uByte] = 1;
    }
    for (size_t uSize = 1; uSize < 132; ++uSize)
    {
        quiet.Next();
        Publisher publisher{Bytes(vecWhole.begin(), vecWhole.begin() + static_cast<ptrdiff_t>(uSize))};
        BareAssemble kAssemble;
        LogCapture log;
        EXPECT_EQ(0, kAssemble._SetupInspector()) << uSize;
        EXPECT_THAT(log.Lines(),
                    ElementsAre(uSize < 11 ? ProcessError("::strcmp(pMappingState->szVersion, "
                                                          "FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == 0",
                                                          kSetup)
                                           : "VO_PROCESS_ERROR_FALSE at line # in " + kSetup + "\n"))
            << uSize;
    }
}

TEST(ShortStateSection, OfExactly132BytesServes)
{
    Publisher publisher;
    publisher.Publish(LUMTrayService::AF_MERGETARGET, SourceModel());
    ClosingInspector reader(LUMTrayService::AF_MERGETARGET);
    reader.Load();
    EXPECT_EQ(11u, reader.GetAssetNodeCount());
}

TEST(ShortDataSection, ABlockCutAnywhereIsRefusedUntilItsStreamIsWhole)
{
    QuietLoop quiet;
    const Bytes vecBlock = LiteralBlock(OneFileModel(VOTEXT("file")).Image());
    Publisher publisher;
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    for (size_t uSize = 1; uSize < vecBlock.size(); ++uSize)
    {
        quiet.Next();
        publisher.PublishBlock(AF_SOURCE, Bytes(vecBlock.begin(), vecBlock.begin() + static_cast<ptrdiff_t>(uSize)));
        const ErrorType eResult = reader.OpenMappingData();
        if (uSize < vecBlock.size() - 8)
        {
            EXPECT_EQ(ET_DATA_UNAVAILABLE, eResult) << uSize;
        }
        else
        {
            // The tail holds nothing.
            EXPECT_TRUE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE) << uSize;
        }
        EXPECT_EQ(0u, publisher.Readers(AF_SOURCE)) << uSize;
    }
    publisher.PublishBlock(AF_SOURCE, vecBlock);
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
}

TEST(ShortDataSection, AStreamThatRunsOnBehindTheSectionIsRefused)
{
    // The head is right, and the section is a whole number of pages: the stream would go on behind the last one.
    const Bytes vecImage(20000, 0x41);
    Bytes vecBlock = LiteralBlock(vecImage);
    ASSERT_GT(vecBlock.size(), 12288u);
    vecBlock.resize(8192);
    Publisher publisher;
    publisher.PublishBlock(AF_SOURCE, vecBlock);
    ClosingInspector reader;
    ASSERT_EQ(ET_NONE, reader.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, reader.OpenMappingData());
}

}  // namespace

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
        Publisher kPublisher{Bytes(pszText, pszText + strlen(pszText))};
        ClosingInspector kReader;
        EXPECT_EQ(ET_VERSION_MISMATCH, kReader.OpenMappingState()) << pszText;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType());
    }
}

TEST(ShortStateSection, OfEveryLengthBelow132IsRefusedByAnInspectorAndGivenBack)
{
    QuietLoop kQuiet;
    Bytes vecWhole = EmptyState();
    for (size_t uByte = 12; uByte < vecWhole.size(); ++uByte)
    {
        vecWhole[uByte] = 1;
    }
    for (size_t uSize = 1; uSize < 132; ++uSize)
    {
        kQuiet.Next();
        Publisher kPublisher{Bytes(vecWhole.begin(), vecWhole.begin() + static_cast<ptrdiff_t>(uSize))};
        ClosingInspector kReader(LUMTrayService::AF_MERGETARGET);
        const ErrorType eResult = kReader.OpenMappingState();
        // Behind the end of a section stand zeros, as in the rest of a page: so eleven bytes hold the whole version.
        EXPECT_EQ(uSize < 11 ? ET_VERSION_MISMATCH : ET_STATE_UNAVAILABLE, eResult) << uSize;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.LastErrorType());
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingData());
    }
}

TEST(ShortStateSection, OfEveryLengthBelow132GivesAnAssembleWithoutSources)
{
    QuietLoop kQuiet;
    Bytes vecWhole = EmptyState();
    for (size_t uByte = 12; uByte < vecWhole.size(); ++uByte)
    {
        vecWhole[uByte] = 1;
    }
    for (size_t uSize = 1; uSize < 132; ++uSize)
    {
        kQuiet.Next();
        Publisher kPublisher{Bytes(vecWhole.begin(), vecWhole.begin() + static_cast<ptrdiff_t>(uSize))};
        BareAssemble kAssemble;
        LogCapture kLog;
        EXPECT_EQ(0, kAssemble._SetupInspector()) << uSize;
        EXPECT_THAT(kLog.Lines(),
                    ElementsAre(uSize < 11 ? ProcessError("::strcmp(pMappingState->szVersion, "
                                                          "FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == 0",
                                                          kSetup)
                                           : "VO_PROCESS_ERROR_FALSE at line # in " + kSetup + "\n"))
            << uSize;
    }
}

TEST(ShortStateSection, OfExactly132BytesServes)
{
    Publisher kPublisher;
    kPublisher.Publish(LUMTrayService::AF_MERGETARGET, SourceModel());
    ClosingInspector kReader(LUMTrayService::AF_MERGETARGET);
    kReader.Load();
    EXPECT_EQ(11u, kReader.GetAssetNodeCount());
}

TEST(ShortDataSection, ABlockCutAnywhereIsRefusedUntilItsStreamIsWhole)
{
    QuietLoop kQuiet;
    const Bytes vecBlock = LiteralBlock(OneFileModel(VOTEXT("file")).Image());
    Publisher kPublisher;
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    for (size_t uSize = 1; uSize < vecBlock.size(); ++uSize)
    {
        kQuiet.Next();
        kPublisher.PublishBlock(AF_SOURCE, Bytes(vecBlock.begin(), vecBlock.begin() + static_cast<ptrdiff_t>(uSize)));
        const ErrorType eResult = kReader.OpenMappingData();
        if (uSize < vecBlock.size() - 8)
        {
            EXPECT_EQ(ET_DATA_UNAVAILABLE, eResult) << uSize;
        }
        else
        {
            // The tail holds nothing.
            EXPECT_TRUE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE) << uSize;
        }
        EXPECT_EQ(0u, kPublisher.Readers(AF_SOURCE)) << uSize;
    }
    kPublisher.PublishBlock(AF_SOURCE, vecBlock);
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
}

TEST(ShortDataSection, AStreamThatRunsOnBehindTheSectionIsRefused)
{
    // The head is right, and the section is a whole number of pages: the stream would go on behind the last one.
    const Bytes vecImage(20000, 0x41);
    Bytes vecBlock = LiteralBlock(vecImage);
    ASSERT_GT(vecBlock.size(), 12288u);
    vecBlock.resize(8192);
    Publisher kPublisher;
    kPublisher.PublishBlock(AF_SOURCE, vecBlock);
    ClosingInspector kReader;
    ASSERT_EQ(ET_NONE, kReader.OpenMappingState());
    EXPECT_EQ(ET_DATA_UNAVAILABLE, kReader.OpenMappingData());
}

}  // namespace

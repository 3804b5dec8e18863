// The image of the classify table: its bytes in both directions, views and copies, refusals, damage.
#include "assetindex/image_model.h"

namespace
{
using namespace assettest;

typedef VOTSAssetNodeClassifyManager::ContainerAlloc ClassifyImage;

Color ColorOf(unsigned int uValue)
{
    Color kColor;
    kColor.uValue = uValue;
    return kColor;
}

std::vector<ModelType> SomeTypes()
{
    return {{7, VOTEXT("Texture"), VOTEXT("png|TGA|dds"), 0x11223344, 0x55667788},
            {-2, VOTEXT("Model"), VOTEXT("mdl"), 0x99AABBCC, 0xDDEEFF00},
            {0, VOWString(49, VOTEXT('\x4E2D')), VOWString(99, VOTEXT('z')), 1, 2}};
}

void Fill(VOTSAssetNodeClassifyManager& rkManager, const std::vector<ModelType>& rkTypes)
{
    for (const ModelType& rkType : rkTypes)
    {
        ASSERT_NE(0, rkManager.InsertClassifyType(rkType.nType, rkType.strName.c_str(), rkType.strExtensions.c_str(),
                                                  ColorOf(rkType.uColor), ColorOf(rkType.uBackground)));
    }
    ASSERT_NE(0, rkManager.BuildUpExtensionsHash());
}

Bytes ModelImage(const std::vector<ModelType>& rkTypes)
{
    ModelContainer kModel;
    kModel.vecTypes = rkTypes;
    return kModel.ClassifyImage();
}

Bytes TableImageOf(const VOTSAssetNodeClassifyManager& rkManager)
{
    ClassifyImage* pAlloc = rkManager.GetAlloc();
    if (pAlloc == nullptr)
    {
        return Bytes();
    }
    return votest::TakeBytes(pAlloc, ReadU32(votest::CopyBytes(pAlloc, 8), 4) + size_t{12});
}

void ExpectTypes(const VOTSAssetNodeClassifyManager& rkManager, const std::vector<ModelType>& rkTypes)
{
    for (const ModelType& rkType : rkTypes)
    {
        WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
        EXPECT_NE(0, rkManager.GetClassifyName(rkType.nType, kName.szText));
        EXPECT_EQ(rkType.strName, kName.Text());
        WideBuffer<LENGTH_OF_EXTENSIONS> kList;
        EXPECT_NE(0, rkManager.GetClassifyExtensions(rkType.nType, kList.szText));
        EXPECT_EQ(rkType.strExtensions, kList.Text());
        Color kColor;
        EXPECT_NE(0, rkManager.GetClassifyTypeColor(rkType.nType, kColor));
        EXPECT_EQ(rkType.uColor, kColor.uValue);
        EXPECT_NE(0, rkManager.GetClassifyBackgroundColor(rkType.nType, kColor));
        EXPECT_EQ(rkType.uBackground, kColor.uValue);
        int nType = -77;
        EXPECT_NE(0, rkManager.GetClassifyTypeByName(rkType.strName.c_str(), nType));
        EXPECT_EQ(rkType.nType, nType);
        const VOWString strFirst = rkType.strExtensions.substr(0, rkType.strExtensions.find(VOTEXT('|')));
        EXPECT_NE(0, rkManager.GetClassifyTypeByExtension(strFirst.c_str(), nType));
        EXPECT_EQ(rkType.nType, nType);
    }
}

// Every query, for the numbers and names of some types, with results that stay in their buffers.
void QueryAll(const VOTSAssetNodeClassifyManager& rkManager)
{
    for (const int nType : {7, -2, 0, 5, 0x7FFFFFFF})
    {
        WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
        if (rkManager.GetClassifyName(nType, kName.szText) != 0)
        {
            EXPECT_TRUE(kName.InBounds());
            EXPECT_NE(VOWString(VOTEXT("<not terminated>")), kName.Text());
        }
        WideBuffer<LENGTH_OF_EXTENSIONS> kList;
        if (rkManager.GetClassifyExtensions(nType, kList.szText) != 0)
        {
            EXPECT_TRUE(kList.InBounds());
            EXPECT_NE(VOWString(VOTEXT("<not terminated>")), kList.Text());
        }
        Color kColor;
        (void)rkManager.GetClassifyTypeColor(nType, kColor);
        (void)rkManager.GetClassifyBackgroundColor(nType, kColor);
    }
    int nResult = 0;
    (void)rkManager.GetClassifyTypeByName(VOTEXT("Model"), nResult);
    (void)rkManager.GetClassifyTypeByExtension(VOTEXT("dds"), nResult);
}

TEST(ClassifyImage, AnEmptyTableGivesAnImageOf32BytesThatLoads)
{
    VOTSAssetNodeClassifyManager kEmpty;
    const Bytes vecImage = TableImageOf(kEmpty);
    EXPECT_TRUE(
        SameBytes(votest::FromHex("00000000 14000000 7665722E312E3000 00000000 00000000 00000000 00000000"), vecImage));

    const MisalignedBlock kImage(vecImage);
    VOTSAssetNodeClassifyManager kManager;
    Fill(kManager, SomeTypes());
    EXPECT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 1));
    int nType = 0;
    EXPECT_EQ(0, kManager.GetClassifyTypeByName(VOTEXT("Model"), nType));
    EXPECT_EQ(0, kManager.GetClassifyTypeByExtension(VOTEXT("mdl"), nType));
}

TEST(ClassifyImage, OneTypeIsWrittenByteForByte)
{
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.InsertClassifyType(0x01020304, VOTEXT("Ab"), VOTEXT("x|y"), ColorOf(0xA1A2A3A4),
                                             ColorOf(0xB1B2B3B4)));
    const Bytes vecExpected = ByteBuilder()
                                  .Hex(
                                      "01000000 # types\n"
                                      "4C010000 # inner block: 312 + 20\n"
                                      "7665722E312E3000 # ver.1.0\n"
                                      "01000000 38010000\n"
                                      "04030201 # number\n"
                                      "4100 6200 # name\n")
                                  .Zeros(96)
                                  .Hex("7800 7C00 7900 # extensions\n")
                                  .Zeros(194)
                                  .Hex(
                                      "A4A3A2A1 B4B3B2B1 # colours\n"
                                      "00000000 00000000 # tails\n")
                                  .Result();
    ASSERT_EQ(344u, vecExpected.size());
    EXPECT_TRUE(SameBytes(vecExpected, TableImageOf(kManager)));
}

TEST(ClassifyImage, TypesAreWrittenInTheOrderOfInsertion)
{
    VOTSAssetNodeClassifyManager kManager;
    Fill(kManager, SomeTypes());
    EXPECT_TRUE(SameBytes(ModelImage(SomeTypes()), TableImageOf(kManager)));
}

TEST(ClassifyImage, TheContainersWayToMeasureItIsTheInnerBlockPlus12)
{
    VOTSAssetNodeClassifyManager kManager;
    Fill(kManager, SomeTypes());
    EXPECT_EQ(32u + 312u * 3, kManager.AllocSize());
    EXPECT_EQ(ReadU32(TableImageOf(kManager), 4) + 12ull, kManager.AllocSize());
}

TEST(ClassifyImage, ItLoadsAtEveryMisalignmentCopiedAndInPlace)
{
    const Bytes vecImage = ModelImage(SomeTypes());
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(vecImage, uMisalignment);
            VOTSAssetNodeClassifyManager kManager;
            LogCapture kLog;
            ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), bCopy));
            ExpectTypes(kManager, SomeTypes());
            EXPECT_TRUE(SameBytes(vecImage, TableImageOf(kManager)));
            EXPECT_THAT(kLog.Lines(), IsEmpty());
            EXPECT_TRUE(SameBytes(vecImage, kImage.Current())) << "the image was written to";
        }
    }
}

TEST(ClassifyImage, ACopyOutlivesTheImage)
{
    VOTSAssetNodeClassifyManager kManager;
    {
        const MisalignedBlock kImage(ModelImage(SomeTypes()), 3);
        ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 1));
    }
    ExpectTypes(kManager, SomeTypes());
}

TEST(ClassifyImage, AViewReadsItsTextsOutOfTheImage)
{
    const MisalignedBlock kImage(ModelImage(SomeTypes()), 1);
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 0));
    // The first letter of the first name, and the first colour.
    kImage.Data()[24 + 4] = 'P';
    kImage.Data()[24 + 304] = 0x99;
    WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
    ASSERT_NE(0, kManager.GetClassifyName(7, kName.szText));
    EXPECT_EQ(VOWString(VOTEXT("Pexture")), kName.Text());
    Color kColor;
    ASSERT_NE(0, kManager.GetClassifyTypeColor(7, kColor));
    EXPECT_EQ(0x11223399u, kColor.uValue);
}

TEST(ClassifyImage, AnImageReplacesWhatWasThere)
{
    VOTSAssetNodeClassifyManager kManager;
    Fill(kManager, {{99, VOTEXT("Old"), VOTEXT("old"), 1, 2}});
    const MisalignedBlock kImage(ModelImage(SomeTypes()));
    ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 1));
    int nType = 0;
    EXPECT_EQ(0, kManager.GetClassifyTypeByName(VOTEXT("Old"), nType));
    EXPECT_EQ(0, kManager.GetClassifyTypeByExtension(VOTEXT("old"), nType));
    ExpectTypes(kManager, SomeTypes());
}

TEST(ClassifyImage, AViewGrowsIntoACopyAndLeavesTheImageAlone)
{
    const Bytes vecBytes = ModelImage(SomeTypes());
    VOTSAssetNodeClassifyManager kManager;
    {
        const MisalignedBlock kImage(vecBytes, 5);
        ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 0));
        ASSERT_NE(0, kManager.InsertClassifyType(50, VOTEXT("New"), VOTEXT("new"), Color(), Color()));
        EXPECT_TRUE(SameBytes(vecBytes, kImage.Current()));
    }
    ASSERT_NE(0, kManager.BuildUpExtensionsHash());
    ExpectTypes(kManager, SomeTypes());
    int nType = 0;
    EXPECT_NE(0, kManager.GetClassifyTypeByExtension(VOTEXT("NEW"), nType));
    EXPECT_EQ(50, nType);
}

TEST(ClassifyImage, OfTwoRecordsWithOneNumberTheFirstIsKept)
{
    std::vector<ModelType> vecTypes = SomeTypes();
    vecTypes[1].nType = 7;
    const MisalignedBlock kImage(ModelImage(vecTypes));
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 0));
    WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
    ASSERT_NE(0, kManager.GetClassifyName(7, kName.szText));
    EXPECT_EQ(VOWString(VOTEXT("Texture")), kName.Text());
}

TEST(ClassifyImage, OfTwoRecordsWithOneNameTheSmallerNumberIsFound)
{
    std::vector<ModelType> vecTypes = SomeTypes();
    vecTypes[2].strName = VOTEXT("tEXTURE");
    const MisalignedBlock kImage(ModelImage(vecTypes));
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 0));
    int nType = -77;
    EXPECT_NE(0, kManager.GetClassifyTypeByName(VOTEXT("texture"), nType));
    EXPECT_EQ(0, nType);
}

TEST(ClassifyImage, ARecordBehindTheNumberOfDistinctNumbersIsLoggedByAllQueriesButOne)
{
    // Three records and two numbers: the index of the third is no smaller than the size of the map.
    std::vector<ModelType> vecTypes = SomeTypes();
    vecTypes[1].nType = 7;
    const MisalignedBlock kImage(ModelImage(vecTypes));
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 0));
    const std::string strCheck = "cIter->second < m_mapClassifyType2ParamIndex.size()";
    const std::string strClass = "VOTSAssetNodeClassifyManager::";
    LogCapture kLog;
    WideBuffer<LENGTH_OF_EXTENSIONS> kText;
    Color kColor;
    int nType = -77;
    EXPECT_EQ(0, kManager.GetClassifyName(0, kText.szText));
    EXPECT_EQ(0, kManager.GetClassifyExtensions(0, kText.szText));
    EXPECT_EQ(0, kManager.GetClassifyBackgroundColor(0, kColor));
    EXPECT_EQ(0, kManager.GetClassifyTypeByName(VOTEXT("Texture"), nType)) << "0 comes before 7";
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(strCheck, strClass + "GetClassifyName"),
                                          ProcessError(strCheck, strClass + "GetClassifyExtensions"),
                                          ProcessError(strCheck, strClass + "GetClassifyBackgroundColor"),
                                          ProcessError(strCheck, strClass + "GetClassifyTypeByName")));
    EXPECT_TRUE(kText.Untouched());
    kLog.Clear();
    EXPECT_NE(0, kManager.GetClassifyTypeColor(0, kColor));
    EXPECT_EQ(1u, kColor.uValue);
    EXPECT_THAT(kLog.Lines(), IsEmpty());
}

TEST(ClassifyImage, TheOuterCountAndSizeAreNotLookedAt)
{
    Bytes vecImage = ModelImage(SomeTypes());
    WriteU32(vecImage, 0, 0xDEADBEEF);
    WriteU32(vecImage, 4, 0xDEADBEEF);
    const MisalignedBlock kImage(vecImage);
    VOTSAssetNodeClassifyManager kManager;
    ASSERT_NE(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 1));
    ExpectTypes(kManager, SomeTypes());
}

TEST(ClassifyImage, ANullImageIsLoggedAndLeavesTheTable)
{
    VOTSAssetNodeClassifyManager kManager;
    Fill(kManager, SomeTypes());
    LogCapture kLog;
    EXPECT_EQ(0, kManager.SetAlloc(nullptr, 1));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pAlloc", "VOTSAssetNodeClassifyManager::SetAlloc")));
    ExpectTypes(kManager, SomeTypes());
}

TEST(ClassifyImage, AnotherVersionInTheInnerBlockLeavesTheTableEmpty)
{
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        Bytes vecImage = ModelImage(SomeTypes());
        vecImage[8 + uByte] ^= 0x01;
        const MisalignedBlock kImage(vecImage);
        VOTSAssetNodeClassifyManager kManager;
        Fill(kManager, SomeTypes());
        LogCapture kLog;
        EXPECT_EQ(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 1));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("m_vecAssetNodeClassifyParam.SetAlloc(pParamAlloc, bCopy)",
                                                           "VOTSAssetNodeClassifyManager::SetAlloc")));
        int nType = 0;
        EXPECT_EQ(0, kManager.GetClassifyTypeByName(VOTEXT("Model"), nType));
        EXPECT_EQ(0, kManager.GetClassifyTypeByExtension(VOTEXT("mdl"), nType));
        EXPECT_EQ(32u, TableImageOf(kManager).size());
    }
}

TEST(ClassifyImage, AByteCountThatIsNot312TimesTheCountIsRefused)
{
    for (const unsigned int uBytes : {0u, 312u * 3 - 1, 312u * 3 + 1, 312u * 2, 312u * 4})
    {
        Bytes vecImage = ModelImage(SomeTypes());
        WriteU32(vecImage, 20, uBytes);
        const MisalignedBlock kImage(vecImage);
        VOTSAssetNodeClassifyManager kManager;
        EXPECT_EQ(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 1)) << uBytes;
    }
}

TEST(ClassifyImage, ACountWhoseProductOverflows32BitsIsRefused)
{
    // 312 times this count is 2^32 times 39 plus 0: in 32 bits it would look like an empty table.
    Bytes vecImage = ModelImage(SomeTypes());
    WriteU32(vecImage, 16, 0x20000000);
    WriteU32(vecImage, 20, 0);
    const MisalignedBlock kImage(vecImage);
    for (const int bCopy : {0, 1})
    {
        VOTSAssetNodeClassifyManager kManager;
        EXPECT_EQ(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), bCopy));
        QueryAll(kManager);
    }
}

TEST(ClassifyImage, TextsWithoutAnEndStayInsideTheirFields)
{
    Bytes vecImage = ModelImage(SomeTypes());
    for (size_t uByte = 24 + 4; uByte < 24 + 304; ++uByte)
    {
        vecImage[uByte] = 'q';
    }
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(vecImage, 1);
        VOTSAssetNodeClassifyManager kManager;
        (void)kManager.SetAlloc(kImage.As<ClassifyImage>(), bCopy, vecImage.size());
        QueryAll(kManager);
        int nType = 0;
        (void)kManager.GetClassifyTypeByName(VOWString(60, VOTEXT('\x7171')).c_str(), nType);
        // The other types aren't harmed.
        if (kManager.GetClassifyTypeByExtension(VOTEXT("mdl"), nType) != 0)
        {
            EXPECT_EQ(-2, nType);
        }
    }
}

TEST(ClassifyImage, EveryCutIsRefusedWhenTheLengthIsKnown)
{
    const Bytes vecImage = ModelImage(SomeTypes());
    // Without the last tail word everything that is read is still there.
    for (size_t uSize = 0; uSize + 8 < vecImage.size(); ++uSize)
    {
        const MisalignedBlock kImage(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)));
        VOTSAssetNodeClassifyManager kManager;
        EXPECT_EQ(0, kManager.SetAlloc(kImage.As<ClassifyImage>(), 0, uSize)) << uSize;
        QueryAll(kManager);
    }
}

TEST(ClassifyImage, EveryFlippedBitGivesARefusalOrAnAnswer)
{
    const Bytes vecImage = ModelImage(SomeTypes());
    for (size_t uByte = 0; uByte < vecImage.size(); ++uByte)
    {
        for (int nBit = 0; nBit < 8; ++nBit)
        {
            Bytes vecDamaged = vecImage;
            vecDamaged[uByte] = static_cast<unsigned char>(vecDamaged[uByte] ^ (1 << nBit));
            const MisalignedBlock kImage(vecDamaged, uByte % 16);
            VOTSAssetNodeClassifyManager kManager;
            const int nResult = kManager.SetAlloc(kImage.As<ClassifyImage>(), nBit % 2, vecImage.size());
            const bool bHead = uByte >= 8 && uByte < 24;
            EXPECT_EQ(bHead ? 0 : 1, nResult != 0 ? 1 : 0) << "byte " << uByte << " bit " << nBit;
            QueryAll(kManager);
        }
    }
}

TEST(ClassifyImage, CopiesOfATableAreIndependentOfIt)
{
    VOTSAssetNodeClassifyManager kAssigned;
    Fill(kAssigned, {{99, VOTEXT("Old"), VOTEXT("old"), 1, 2}});
    {
        VOTSAssetNodeClassifyManager kManager;
        Fill(kManager, SomeTypes());
        const VOTSAssetNodeClassifyManager kCopy(kManager);
        kAssigned = kManager;
        ASSERT_NE(0, kManager.CleanUp());
        ExpectTypes(kCopy, SomeTypes());
    }
    ExpectTypes(kAssigned, SomeTypes());
}

}  // namespace

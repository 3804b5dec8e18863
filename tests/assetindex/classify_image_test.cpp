// The image of the classify table: its bytes in both directions, views and copies, refusals, damage.
#include "assetindex/image_model.h"

namespace
{
using namespace assettest;

typedef VOTSAssetNodeClassifyManager::ContainerAlloc ClassifyImage;

Color ColorOf(unsigned int uValue)
{
    Color color;
    color.uValue = uValue;
    return color;
}

std::vector<ModelType> SomeTypes()
{
    return {{7, VOTEXT("Texture"), VOTEXT("png|TGA|dds"), 0x11223344, 0x55667788},
            {-2, VOTEXT("Model"), VOTEXT("mdl"), 0x99AABBCC, 0xDDEEFF00},
            {0, VOWString(49, VOTEXT('\x4E2D')), VOWString(99, VOTEXT('z')), 1, 2}};
}

void Fill(VOTSAssetNodeClassifyManager& manager, const std::vector<ModelType>& types)
{
    for (const ModelType& type : types)
    {
        ASSERT_NE(0, manager.InsertClassifyType(type.nType, type.strName.c_str(), type.strExtensions.c_str(),
                                                ColorOf(type.uColor), ColorOf(type.uBackground)));
    }
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
}

Bytes ModelImage(const std::vector<ModelType>& types)
{
    ModelContainer model;
    model.vecTypes = types;
    return model.ClassifyImage();
}

Bytes TableImageOf(const VOTSAssetNodeClassifyManager& manager)
{
    ClassifyImage* pAlloc = manager.GetAlloc();
    if (pAlloc == nullptr)
    {
        return Bytes();
    }
    return votest::TakeBytes(pAlloc, ReadU32(votest::CopyBytes(pAlloc, 8), 4) + size_t{12});
}

void ExpectTypes(const VOTSAssetNodeClassifyManager& manager, const std::vector<ModelType>& types)
{
    for (const ModelType& type : types)
    {
        WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
        EXPECT_NE(0, manager.GetClassifyName(type.nType, name.szText));
        EXPECT_EQ(type.strName, name.Text());
        WideBuffer<LENGTH_OF_EXTENSIONS> list;
        EXPECT_NE(0, manager.GetClassifyExtensions(type.nType, list.szText));
        EXPECT_EQ(type.strExtensions, list.Text());
        Color color;
        EXPECT_NE(0, manager.GetClassifyTypeColor(type.nType, color));
        EXPECT_EQ(type.uColor, color.uValue);
        EXPECT_NE(0, manager.GetClassifyBackgroundColor(type.nType, color));
        EXPECT_EQ(type.uBackground, color.uValue);
        int nType = -77;
        EXPECT_NE(0, manager.GetClassifyTypeByName(type.strName.c_str(), nType));
        EXPECT_EQ(type.nType, nType);
        const VOWString strFirst = type.strExtensions.substr(0, type.strExtensions.find(VOTEXT('|')));
        EXPECT_NE(0, manager.GetClassifyTypeByExtension(strFirst.c_str(), nType));
        EXPECT_EQ(type.nType, nType);
    }
}

// Every query, for the numbers and names of some types, with results that stay in their buffers.
void QueryAll(const VOTSAssetNodeClassifyManager& manager)
{
    for (const int nType : {7, -2, 0, 5, 0x7FFFFFFF})
    {
        WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
        if (manager.GetClassifyName(nType, name.szText) != 0)
        {
            EXPECT_TRUE(name.InBounds());
            EXPECT_NE(VOWString(VOTEXT("<not terminated>")), name.Text());
        }
        WideBuffer<LENGTH_OF_EXTENSIONS> list;
        if (manager.GetClassifyExtensions(nType, list.szText) != 0)
        {
            EXPECT_TRUE(list.InBounds());
            EXPECT_NE(VOWString(VOTEXT("<not terminated>")), list.Text());
        }
        Color color;
        (void)manager.GetClassifyTypeColor(nType, color);
        (void)manager.GetClassifyBackgroundColor(nType, color);
    }
    int nResult = 0;
    (void)manager.GetClassifyTypeByName(VOTEXT("Model"), nResult);
    (void)manager.GetClassifyTypeByExtension(VOTEXT("dds"), nResult);
}

TEST(ClassifyImage, AnEmptyTableGivesAnImageOf32BytesThatLoads)
{
    VOTSAssetNodeClassifyManager empty;
    const Bytes vecImage = TableImageOf(empty);
    EXPECT_TRUE(
        SameBytes(votest::FromHex("00000000 14000000 7665722E312E3000 00000000 00000000 00000000 00000000"), vecImage));

    const MisalignedBlock image(vecImage);
    VOTSAssetNodeClassifyManager manager;
    Fill(manager, SomeTypes());
    EXPECT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 1));
    int nType = 0;
    EXPECT_EQ(0, manager.GetClassifyTypeByName(VOTEXT("Model"), nType));
    EXPECT_EQ(0, manager.GetClassifyTypeByExtension(VOTEXT("mdl"), nType));
}

TEST(ClassifyImage, OneTypeIsWrittenByteForByte)
{
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.InsertClassifyType(0x01020304, VOTEXT("Ab"), VOTEXT("x|y"), ColorOf(0xA1A2A3A4),
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
    EXPECT_TRUE(SameBytes(vecExpected, TableImageOf(manager)));
}

TEST(ClassifyImage, TypesAreWrittenInTheOrderOfInsertion)
{
    VOTSAssetNodeClassifyManager manager;
    Fill(manager, SomeTypes());
    EXPECT_TRUE(SameBytes(ModelImage(SomeTypes()), TableImageOf(manager)));
}

TEST(ClassifyImage, TheContainersWayToMeasureItIsTheInnerBlockPlus12)
{
    VOTSAssetNodeClassifyManager manager;
    Fill(manager, SomeTypes());
    EXPECT_EQ(32u + 312u * 3, manager.AllocSize());
    EXPECT_EQ(ReadU32(TableImageOf(manager), 4) + 12ull, manager.AllocSize());
}

TEST(ClassifyImage, ItLoadsAtEveryMisalignmentCopiedAndInPlace)
{
    const Bytes vecImage = ModelImage(SomeTypes());
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(vecImage, uMisalignment);
            VOTSAssetNodeClassifyManager manager;
            LogCapture log;
            ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), bCopy));
            ExpectTypes(manager, SomeTypes());
            EXPECT_TRUE(SameBytes(vecImage, TableImageOf(manager)));
            EXPECT_THAT(log.Lines(), IsEmpty());
            EXPECT_TRUE(SameBytes(vecImage, image.Current())) << "the image was written to";
        }
    }
}

TEST(ClassifyImage, ACopyOutlivesTheImage)
{
    VOTSAssetNodeClassifyManager manager;
    {
        const MisalignedBlock image(ModelImage(SomeTypes()), 3);
        ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 1));
    }
    ExpectTypes(manager, SomeTypes());
}

TEST(ClassifyImage, AViewReadsItsTextsOutOfTheImage)
{
    const MisalignedBlock image(ModelImage(SomeTypes()), 1);
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 0));
    // The first letter of the first name, and the first colour.
    image.Data()[24 + 4] = 'P';
    image.Data()[24 + 304] = 0x99;
    WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
    ASSERT_NE(0, manager.GetClassifyName(7, name.szText));
    EXPECT_EQ(VOWString(VOTEXT("Pexture")), name.Text());
    Color color;
    ASSERT_NE(0, manager.GetClassifyTypeColor(7, color));
    EXPECT_EQ(0x11223399u, color.uValue);
}

TEST(ClassifyImage, AnImageReplacesWhatWasThere)
{
    VOTSAssetNodeClassifyManager manager;
    Fill(manager, {{99, VOTEXT("Old"), VOTEXT("old"), 1, 2}});
    const MisalignedBlock image(ModelImage(SomeTypes()));
    ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 1));
    int nType = 0;
    EXPECT_EQ(0, manager.GetClassifyTypeByName(VOTEXT("Old"), nType));
    EXPECT_EQ(0, manager.GetClassifyTypeByExtension(VOTEXT("old"), nType));
    ExpectTypes(manager, SomeTypes());
}

TEST(ClassifyImage, AViewGrowsIntoACopyAndLeavesTheImageAlone)
{
    const Bytes vecBytes = ModelImage(SomeTypes());
    VOTSAssetNodeClassifyManager manager;
    {
        const MisalignedBlock image(vecBytes, 5);
        ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 0));
        ASSERT_NE(0, manager.InsertClassifyType(50, VOTEXT("New"), VOTEXT("new"), Color(), Color()));
        EXPECT_TRUE(SameBytes(vecBytes, image.Current()));
    }
    ASSERT_NE(0, manager.BuildUpExtensionsHash());
    ExpectTypes(manager, SomeTypes());
    int nType = 0;
    EXPECT_NE(0, manager.GetClassifyTypeByExtension(VOTEXT("NEW"), nType));
    EXPECT_EQ(50, nType);
}

TEST(ClassifyImage, OfTwoRecordsWithOneNumberTheFirstIsKept)
{
    std::vector<ModelType> vecTypes = SomeTypes();
    vecTypes[1].nType = 7;
    const MisalignedBlock image(ModelImage(vecTypes));
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 0));
    WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
    ASSERT_NE(0, manager.GetClassifyName(7, name.szText));
    EXPECT_EQ(VOWString(VOTEXT("Texture")), name.Text());
}

TEST(ClassifyImage, OfTwoRecordsWithOneNameTheSmallerNumberIsFound)
{
    std::vector<ModelType> vecTypes = SomeTypes();
    vecTypes[2].strName = VOTEXT("tEXTURE");
    const MisalignedBlock image(ModelImage(vecTypes));
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 0));
    int nType = -77;
    EXPECT_NE(0, manager.GetClassifyTypeByName(VOTEXT("texture"), nType));
    EXPECT_EQ(0, nType);
}

TEST(ClassifyImage, ARecordBehindTheNumberOfDistinctNumbersIsLoggedByAllQueriesButOne)
{
    // Three records and two numbers: the index of the third is no smaller than the size of the map.
    std::vector<ModelType> vecTypes = SomeTypes();
    vecTypes[1].nType = 7;
    const MisalignedBlock image(ModelImage(vecTypes));
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 0));
    const std::string strCheck = "cIter->second < m_mapClassifyType2ParamIndex.size()";
    const std::string strClass = "VOTSAssetNodeClassifyManager::";
    LogCapture log;
    WideBuffer<LENGTH_OF_EXTENSIONS> text;
    Color color;
    int nType = -77;
    EXPECT_EQ(0, manager.GetClassifyName(0, text.szText));
    EXPECT_EQ(0, manager.GetClassifyExtensions(0, text.szText));
    EXPECT_EQ(0, manager.GetClassifyBackgroundColor(0, color));
    EXPECT_EQ(0, manager.GetClassifyTypeByName(VOTEXT("Texture"), nType)) << "0 comes before 7";
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(strCheck, strClass + "GetClassifyName"),
                                         ProcessError(strCheck, strClass + "GetClassifyExtensions"),
                                         ProcessError(strCheck, strClass + "GetClassifyBackgroundColor"),
                                         ProcessError(strCheck, strClass + "GetClassifyTypeByName")));
    EXPECT_TRUE(text.Untouched());
    log.Clear();
    EXPECT_NE(0, manager.GetClassifyTypeColor(0, color));
    EXPECT_EQ(1u, color.uValue);
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(ClassifyImage, TheOuterCountAndSizeAreNotLookedAt)
{
    Bytes vecImage = ModelImage(SomeTypes());
    WriteU32(vecImage, 0, 0xDEADBEEF);
    WriteU32(vecImage, 4, 0xDEADBEEF);
    const MisalignedBlock image(vecImage);
    VOTSAssetNodeClassifyManager manager;
    ASSERT_NE(0, manager.SetAlloc(image.As<ClassifyImage>(), 1));
    ExpectTypes(manager, SomeTypes());
}

TEST(ClassifyImage, ANullImageIsLoggedAndLeavesTheTable)
{
    VOTSAssetNodeClassifyManager manager;
    Fill(manager, SomeTypes());
    LogCapture log;
    EXPECT_EQ(0, manager.SetAlloc(nullptr, 1));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pAlloc", "VOTSAssetNodeClassifyManager::SetAlloc")));
    ExpectTypes(manager, SomeTypes());
}

TEST(ClassifyImage, AnotherVersionInTheInnerBlockLeavesTheTableEmpty)
{
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        Bytes vecImage = ModelImage(SomeTypes());
        vecImage[8 + uByte] ^= 0x01;
        const MisalignedBlock image(vecImage);
        VOTSAssetNodeClassifyManager manager;
        Fill(manager, SomeTypes());
        LogCapture log;
        EXPECT_EQ(0, manager.SetAlloc(image.As<ClassifyImage>(), 1));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("m_vecAssetNodeClassifyParam.SetAlloc(pParamAlloc, bCopy)",
                                                          "VOTSAssetNodeClassifyManager::SetAlloc")));
        int nType = 0;
        EXPECT_EQ(0, manager.GetClassifyTypeByName(VOTEXT("Model"), nType));
        EXPECT_EQ(0, manager.GetClassifyTypeByExtension(VOTEXT("mdl"), nType));
        EXPECT_EQ(32u, TableImageOf(manager).size());
    }
}

TEST(ClassifyImage, AByteCountThatIsNot312TimesTheCountIsRefused)
{
    for (const unsigned int uBytes : {0u, 312u * 3 - 1, 312u * 3 + 1, 312u * 2, 312u * 4})
    {
        Bytes vecImage = ModelImage(SomeTypes());
        WriteU32(vecImage, 20, uBytes);
        const MisalignedBlock image(vecImage);
        VOTSAssetNodeClassifyManager manager;
        EXPECT_EQ(0, manager.SetAlloc(image.As<ClassifyImage>(), 1)) << uBytes;
    }
}

TEST(ClassifyImage, ACountWhoseProductOverflows32BitsIsRefused)
{
    // 312 times this count is 2^32 times 39 plus 0: in 32 bits it would look like an empty table.
    Bytes vecImage = ModelImage(SomeTypes());
    WriteU32(vecImage, 16, 0x20000000);
    WriteU32(vecImage, 20, 0);
    const MisalignedBlock image(vecImage);
    for (const int bCopy : {0, 1})
    {
        VOTSAssetNodeClassifyManager manager;
        EXPECT_EQ(0, manager.SetAlloc(image.As<ClassifyImage>(), bCopy));
        QueryAll(manager);
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
        const MisalignedBlock image(vecImage, 1);
        VOTSAssetNodeClassifyManager manager;
        (void)manager.SetAlloc(image.As<ClassifyImage>(), bCopy, vecImage.size());
        QueryAll(manager);
        int nType = 0;
        (void)manager.GetClassifyTypeByName(VOWString(60, VOTEXT('\x7171')).c_str(), nType);
        // The other types aren't harmed.
        if (manager.GetClassifyTypeByExtension(VOTEXT("mdl"), nType) != 0)
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
        const MisalignedBlock image(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)));
        VOTSAssetNodeClassifyManager manager;
        EXPECT_EQ(0, manager.SetAlloc(image.As<ClassifyImage>(), 0, uSize)) << uSize;
        QueryAll(manager);
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
            const MisalignedBlock image(vecDamaged, uByte % 16);
            VOTSAssetNodeClassifyManager manager;
            const int nResult = manager.SetAlloc(image.As<ClassifyImage>(), nBit % 2, vecImage.size());
            const bool bHead = uByte >= 8 && uByte < 24;
            EXPECT_EQ(bHead ? 0 : 1, nResult != 0 ? 1 : 0) << "byte " << uByte << " bit " << nBit;
            QueryAll(manager);
        }
    }
}

TEST(ClassifyImage, CopiesOfATableAreIndependentOfIt)
{
    VOTSAssetNodeClassifyManager assigned;
    Fill(assigned, {{99, VOTEXT("Old"), VOTEXT("old"), 1, 2}});
    {
        VOTSAssetNodeClassifyManager manager;
        Fill(manager, SomeTypes());
        const VOTSAssetNodeClassifyManager copy(manager);
        assigned = manager;
        ASSERT_NE(0, manager.CleanUp());
        ExpectTypes(copy, SomeTypes());
    }
    ExpectTypes(assigned, SomeTypes());
}

}  // namespace

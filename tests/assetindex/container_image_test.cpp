// The image of a container: its bytes, both directions, every misalignment, both roles, views and copies.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;

const VOWCHAR* const kpszRootName = VOTEXT("Root Name");

TEST(ContainerImage, AnEmptyContainerIsWrittenByteForByte)
{
    VOTSAssetNodeContainer kContainer;
    const Bytes vecExpected = ByteBuilder()
                                  .Version("ver.1.4")
                                  .Hex(
                                      "E0000000 # strings: 32 + 20 + 60 + 56 + 56\n"
                                      "14000000 # nodes\n"
                                      "0C000000 # numbers\n"
                                      "38000000 # table\n"
                                      "20000000 # types\n"
                                      "00000000 FFFFFFFFFFFFFFFF FFFFFFFFFFFFFFFF\n"
                                      "58010000 # all blocks\n")
                                  // strings
                                  .Version("ver.1.1")
                                  .Hex("14000000 3C000000 38000000 38000000 C0000000")
                                  .Version("ver.1.0")
                                  .Hex("00000000 00000000 00000000")
                                  .Version("ver.1.0")
                                  .Hex("2C000000")
                                  .Version("ver.1.0")
                                  .Hex("00000000 14000000 14000000")
                                  .Version("ver.1.0")
                                  .Hex("00000000 00000000 00000000 00000000 00000000")
                                  .Version("ver.1.0")
                                  .Hex("00000000 24000000")
                                  .Version("ver.1.0")
                                  .Hex("01000000 10000000 00000000000000000000000000000000 00000000 00000000")
                                  .Version("ver.1.0")
                                  .Hex("00000000 24000000")
                                  .Version("ver.1.0")
                                  .Hex("01000000 10000000 00000000000000000000000000000000 00000000 00000000")
                                  .Hex("00000000")
                                  // nodes
                                  .Version("ver.1.0")
                                  .Hex("00000000 00000000 00000000")
                                  // numbers
                                  .Hex("00000000 00000000 00000000")
                                  // table: one free slot
                                  .Version("ver.1.0")
                                  .Hex("00000000 24000000")
                                  .Version("ver.1.0")
                                  .Hex("01000000 10000000 00000000000000000000000000000000 00000000 00000000")
                                  // types
                                  .Hex("00000000 14000000")
                                  .Version("ver.1.0")
                                  .Hex("00000000 00000000 00000000 00000000")
                                  // tail
                                  .Hex("00000000")
                                  .Result();
    EXPECT_TRUE(SameBytes(vecExpected, ImageOf(kContainer)));
}

TEST(ContainerImage, ASampleIsWrittenByteForByte)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
    FillSample(kContainer);
    EXPECT_TRUE(SameBytes(SampleModel(kpszRoot, kpszRootName).Image(), ImageOf(kContainer)));
}

TEST(ContainerImage, TheFiveSizesSumUpAndTheImageHas56BytesMore)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
    FillSample(kContainer);
    const Bytes vecImage = ImageOf(kContainer);
    unsigned int uSum = 0;
    for (size_t uField = 8; uField <= 24; uField += 4)
    {
        uSum += ReadU32(vecImage, uField);
    }
    EXPECT_EQ(uSum, ReadU32(vecImage, 48));
    EXPECT_EQ(uSum + size_t{56}, vecImage.size());
    EXPECT_EQ(0u, ReadU32(vecImage, 28));
}

TEST(ContainerImage, TakingOneTwiceGivesTheSameBytes)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
    FillSample(kContainer);
    const Bytes vecFirst = ImageOf(kContainer);
    EXPECT_TRUE(SameBytes(vecFirst, ImageOf(kContainer)));
    EXPECT_EQ(7u, kContainer.GetAssetNodeCount());
}

TEST(ContainerImage, TheContainerStaysUsableAndAnImageIsASnapshot)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
    FillSample(kContainer);
    const MisalignedBlock kImage(ImageOf(kContainer));
    NewNode(kContainer, VOTEXT("later"));
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(7u, kCustomer.GetAssetNodeCount());
    EXPECT_EQ(kNone, FoundID(kCustomer, VOTEXT("later")));
    EXPECT_EQ(7u, FoundID(kContainer, VOTEXT("later")));
}

TEST(ContainerImage, WithoutARootBothHandlesStayInvalid)
{
    VOTSAssetNodeContainer kContainer;
    NewNode(kContainer, VOTEXT("a"));
    const Bytes vecImage = ImageOf(kContainer);
    EXPECT_EQ(kInvalid, ReadU64(vecImage, 32));
    EXPECT_EQ(kInvalid, ReadU64(vecImage, 40));
}

TEST(ContainerImage, EveryRoleLoadsItAtEveryMisalignmentCopiedAndInPlace)
{
    ModelContainer kModel = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = kModel.Image();
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
        {
            for (const int bCopy : {0, 1})
            {
                const MisalignedBlock kImage(vecImage, uMisalignment);
                VOTSAssetNodeContainer kContainer(eRole);
                LogCapture kLog;
                ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), bCopy));
                ExpectSame(kContainer, kModel);
                EXPECT_EQ(1u, FoundID(kContainer, VOTEXT("c:\\root\\DIR\\foo.png")));
                EXPECT_EQ(4u, FoundID(kContainer, VOTEXT("dir/sub.d/\x4E2D.TXT")));
                EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("dir/gone.txt")));
                EXPECT_EQ(VOWString(kpszRoot), ReadText(kContainer.GetRootPath()));
                EXPECT_EQ(VOWString(kpszRootName), ReadText(kContainer.GetRootName()));
                int nType = 0;
                EXPECT_NE(0, kContainer.GetClassifyTypeByExtension(VOTEXT("tga"), nType));
                EXPECT_EQ(7, nType);
                EXPECT_THAT(kLog.Lines(), IsEmpty());
                EXPECT_TRUE(SameBytes(vecImage, kImage.Current())) << "the image was written to";
            }
        }
    }
}

TEST(ContainerImage, AProviderWritesWhatItLoaded)
{
    const Bytes vecImage = SampleModel(kpszRoot, kpszRootName).Image();
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(vecImage, 3);
        VOTSAssetNodeContainer kContainer;
        ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), bCopy));
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(kContainer)));
    }
}

TEST(ContainerImage, ACustomerWritesItsTableAsItIsWithTheSlotCountInItsHead)
{
    const ModelContainer kModel = SampleModel(kpszRoot, kpszRootName);
    ModelContainer kWithRoot = kModel;
    const Bytes vecImage = kWithRoot.Image();
    const MisalignedBlock kImage(vecImage, 3);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));

    Bytes vecExpected = vecImage;
    const BlockOffsets kBlocks(vecImage);
    WriteU32(vecExpected, kBlocks.uTable + 8, ReadU32(vecImage, kBlocks.uTable + 24));
    // The two tables of the string set do the same.
    const size_t uPrimary =
        kBlocks.uStrings + 28 + ReadU32(vecImage, kBlocks.uStrings + 8) + ReadU32(vecImage, kBlocks.uStrings + 12);
    const size_t uConflict = uPrimary + ReadU32(vecImage, kBlocks.uStrings + 16);
    WriteU32(vecExpected, uPrimary + 8, ReadU32(vecImage, uPrimary + 24));
    WriteU32(vecExpected, uConflict + 8, ReadU32(vecImage, uConflict + 24));
    EXPECT_TRUE(SameBytes(vecExpected, ImageOf(kCustomer)));

    const MisalignedBlock kAgain(vecExpected, 5);
    VOTSAssetNodeContainer kSecond(AR_Customer);
    ASSERT_NE(0, kSecond.SetAlloc(kAgain.As<ContainerImage>(), 0));
    ExpectSame(kSecond, kWithRoot);
    EXPECT_EQ(1u, FoundID(kSecond, VOTEXT("dir/foo.png")));
}

TEST(ContainerImage, AnEmptyOneLoadsAndEveryLookupMisses)
{
    VOTSAssetNodeContainer kEmpty;
    const Bytes vecImage = ImageOf(kEmpty);
    const BlockOffsets kBlocks(vecImage);
    EXPECT_EQ(1u, ReadU32(vecImage, kBlocks.uTable + 24)) << "slots";
    EXPECT_EQ(0u, ReadU32(vecImage, kBlocks.uTable + 32 + 12)) << "the used word of the slot";
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        const MisalignedBlock kImage(vecImage, 1);
        VOTSAssetNodeContainer kContainer(eRole);
        ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0));
        EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
        EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("a")));
        EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("")));
    }
}

TEST(ContainerImage, RemovedNodesAreInItButNotInItsTable)
{
    VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
    FillSample(kContainer);
    const Bytes vecImage = ImageOf(kContainer);
    const BlockOffsets kBlocks(vecImage);
    EXPECT_EQ(2u, ReadU32(vecImage, kBlocks.Record(2) + 116));
    EXPECT_EQ(6u, ReadU32(vecImage, kBlocks.uTable + 8)) << "entries of the table";

    const MisalignedBlock kImage(vecImage, 7);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    EXPECT_EQ(2u, NodeOf(kCustomer, 2).nAssetID);
    EXPECT_EQ(kNone, FoundID(kCustomer, VOTEXT("Dir/gone.txt")));
}

TEST(ContainerImage, ACopyOutlivesTheImageInBothRoles)
{
    ModelContainer kModel = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = kModel.Image();
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        VOTSAssetNodeContainer kContainer(eRole);
        {
            const MisalignedBlock kImage(vecImage, 1);
            ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 1));
        }
        ExpectSame(kContainer, kModel);
        EXPECT_EQ(1u, FoundID(kContainer, VOTEXT("dir/foo.png")));
    }
}

TEST(ContainerImage, AnImageReplacesAllThatWasThere)
{
    ModelContainer kModel = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = kModel.Image();
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(vecImage, 1);
        VOTSAssetNodeContainer kContainer;
        for (int i = 0; i < 100; ++i)
        {
            AddLinked(kContainer, Wide("old" + std::to_string(i)).c_str(), i == 0, i == 0 ? kNone : 0);
        }
        ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), bCopy));
        ExpectSame(kContainer, kModel);
        EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("old5")));
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(kContainer)));
    }
}

TEST(ContainerImage, AProviderGoesOnFromAnImageWhereTheOtherStopped)
{
    for (const int bCopy : {0, 1})
    {
        ModelContainer kModel = SampleModel(kpszRoot, kpszRootName);
        const MisalignedBlock kImage(kModel.Image(), 5);
        VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
        ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), bCopy));
        EXPECT_EQ(7u, AddLinked(kContainer, VOTEXT("Dir/new.txt"), false, 0));
        kModel.Add(VOTEXT("Dir/new.txt"), false, 0);
        EXPECT_EQ(8u, AddLinked(kContainer, VOTEXT("Dir/gone.txt"), false, 0));
        kModel.Add(VOTEXT("Dir/gone.txt"), false, 0);
        ASSERT_NE(0, kContainer.RemoveAssetNode(VOTEXT("Dir/Sub.d")));
        ASSERT_TRUE(kModel.Remove(3));
        ExpectSame(kContainer, kModel);
        EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(kContainer)));
    }
}

TEST(ContainerImage, WhatAProviderChangesDoesNotReachTheImageItLooksAt)
{
    ModelContainer kModel = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = kModel.Image();
    const MisalignedBlock kImage(vecImage, 5);
    {
        VOTSAssetNodeContainer kContainer(AR_Provider, kpszRoot, kpszRootName);
        ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0));
        // Everything that adds: nodes, strings, lists, types.
        AddLinked(kContainer, VOTEXT("Dir/Sub.d/one more.bmp"), false, 3);
        ASSERT_NE(0, kContainer.InsertClassifyType(50, VOTEXT("New"), VOTEXT("bmp"), Color(), Color()));
        EXPECT_EQ(8u, kContainer.GetAssetNodeCount());
    }
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    ExpectSame(kCustomer, kModel);
}

TEST(ContainerImage, WhenAViewIsGoneNothingPointsIntoTheImageAnyMore)
{
    const Bytes vecImage = SampleModel(kpszRoot, kpszRootName).Image();
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        VOTSAssetNodeContainer kContainer(eRole);
        {
            const MisalignedBlock kImage(vecImage, 1);
            ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0));
            ASSERT_EQ(1, kContainer.CleanUp());
        }
        // The image is released: an address sanitizer sees every look at it.
        EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
        EXPECT_EQ(kNone, FoundID(kContainer, VOTEXT("dir")));
        EXPECT_EQ(nullptr, kContainer.GetRootPath());
        EXPECT_EQ(nullptr, kContainer.GetRootName());
        int nType = 0;
        EXPECT_EQ(0, kContainer.GetClassifyTypeByExtension(VOTEXT("png"), nType));
        EXPECT_EQ(0, kContainer.GetClassifyTypeByName(VOTEXT("Texture"), nType));
        WideBuffer<LENGTH_OF_EXTENSIONS> kText;
        EXPECT_EQ(0, kContainer.GetClassifyName(7, kText.szText));
        EXPECT_EQ(0, kContainer.GetClassifyExtensions(7, kText.szText));
        Color kColor;
        EXPECT_EQ(0, kContainer.GetClassifyTypeColor(7, kColor));
        EXPECT_EQ(0, kContainer.GetClassifyBackgroundColor(7, kColor));
        for (unsigned int uNumber = 0; uNumber < 40; ++uNumber)
        {
            EXPECT_EQ(nullptr, kContainer.GetString(HandleOf(uNumber)));
            EXPECT_EQ(0u, kContainer.GetInfoNumberCount(uNumber));
        }
        (void)AskEverything(kContainer);
        EXPECT_FALSE(ImageOf(kContainer).empty());
    }
}

TEST(ContainerImage, ACustomerTakesOneImageAfterAnother)
{
    ModelContainer kFirst = SampleModel(kpszRoot, kpszRootName);
    ModelContainer kSecond = SampleModel(VOTEXT("D:/Else"), VOTEXT("Else"));
    kSecond.Add(VOTEXT("second only"), false, kNone);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    for (int nRound = 0; nRound < 3; ++nRound)
    {
        {
            const MisalignedBlock kImage(kFirst.Image(), 1);
            ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), nRound % 2));
            ExpectSame(kCustomer, kFirst);
            ASSERT_EQ(1, kCustomer.CleanUp());
        }
        const MisalignedBlock kImage(kSecond.Image(), 2);
        ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
        ExpectSame(kCustomer, kSecond);
        EXPECT_EQ(VOWString(VOTEXT("D:/Else")), ReadText(kCustomer.GetRootPath()));
        ASSERT_EQ(1, kCustomer.CleanUp());
    }
}

TEST(ContainerImage, TheFormOfSetAllocBelongsToTheRole)
{
    const MisalignedBlock kImage(SampleModel(kpszRoot, kpszRootName).Image());
    OpenContainer kProvider;
    OpenContainer kCustomer(AR_Customer);
    LogCapture kLog;
    EXPECT_EQ(0, kProvider._SetAlloc_C(kImage.As<ContainerImage>(), 1));
    EXPECT_EQ(0, kCustomer._SetAlloc_P(kImage.As<ContainerImage>(), 1));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("LUMTrayService::enumAssetRole::AR_Customer == m_eAssetRole",
                                                       "VOTSAssetNodeContainer::_SetAlloc_C"),
                                          ProcessError("LUMTrayService::enumAssetRole::AR_Provider == m_eAssetRole",
                                                       "VOTSAssetNodeContainer::_SetAlloc_P")));
    EXPECT_NE(0, kProvider._SetAlloc_P(kImage.As<ContainerImage>(), 1));
    EXPECT_NE(0, kCustomer._SetAlloc_C(kImage.As<ContainerImage>(), 1));
}

TEST(ContainerImage, OfTwoTableEntriesWithOneKeyAProviderKeepsTheFirst)
{
    // A table can hold a key twice only by hand: the second entry sits in a slot that no lookup reaches first.
    ModelContainer kModel;
    kModel.Add(VOTEXT("a"), false, kNone);
    kModel.Add(VOTEXT("b"), false, kNone);
    kModel.Add(VOTEXT("c"), false, kNone);
    Bytes vecImage = kModel.Image();
    const size_t uSlots = BlockOffsets(vecImage).uTable + 32;
    // Every free slot behind a used one becomes a copy of it with another value.
    for (size_t uSlot = 1; uSlot < ReadU32(vecImage, uSlots - 8); ++uSlot)
    {
        const size_t uAt = uSlots + 16 * uSlot;
        if (ReadU32(vecImage, uAt + 12) == 0 && ReadU32(vecImage, uAt - 16 + 12) == 1)
        {
            WriteU64(vecImage, uAt, ReadU64(vecImage, uAt - 16));
            WriteU32(vecImage, uAt + 8, 2 - ReadU32(vecImage, uAt - 16 + 8));
            WriteU32(vecImage, uAt + 12, 1);
        }
    }
    const MisalignedBlock kImage(vecImage);
    VOTSAssetNodeContainer kContainer;
    ASSERT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 1));
    EXPECT_EQ(0u, FoundID(kContainer, VOTEXT("a")));
    EXPECT_EQ(1u, FoundID(kContainer, VOTEXT("b")));
    EXPECT_EQ(2u, FoundID(kContainer, VOTEXT("c")));
}

}  // namespace

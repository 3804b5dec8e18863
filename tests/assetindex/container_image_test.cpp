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
    VOTSAssetNodeContainer container;
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
    EXPECT_TRUE(SameBytes(vecExpected, ImageOf(container)));
}

TEST(ContainerImage, ASampleIsWrittenByteForByte)
{
    VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
    FillSample(container);
    EXPECT_TRUE(SameBytes(SampleModel(kpszRoot, kpszRootName).Image(), ImageOf(container)));
}

TEST(ContainerImage, TheFiveSizesSumUpAndTheImageHas56BytesMore)
{
    VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
    FillSample(container);
    const Bytes vecImage = ImageOf(container);
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
    VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
    FillSample(container);
    const Bytes vecFirst = ImageOf(container);
    EXPECT_TRUE(SameBytes(vecFirst, ImageOf(container)));
    EXPECT_EQ(7u, container.GetAssetNodeCount());
}

TEST(ContainerImage, TheContainerStaysUsableAndAnImageIsASnapshot)
{
    VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
    FillSample(container);
    const MisalignedBlock image(ImageOf(container));
    NewNode(container, VOTEXT("later"));
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(7u, customer.GetAssetNodeCount());
    EXPECT_EQ(kNone, FoundID(customer, VOTEXT("later")));
    EXPECT_EQ(7u, FoundID(container, VOTEXT("later")));
}

TEST(ContainerImage, WithoutARootBothHandlesStayInvalid)
{
    VOTSAssetNodeContainer container;
    NewNode(container, VOTEXT("a"));
    const Bytes vecImage = ImageOf(container);
    EXPECT_EQ(kInvalid, ReadU64(vecImage, 32));
    EXPECT_EQ(kInvalid, ReadU64(vecImage, 40));
}

TEST(ContainerImage, EveryRoleLoadsItAtEveryMisalignmentCopiedAndInPlace)
{
    ModelContainer model = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = model.Image();
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
        {
            for (const int bCopy : {0, 1})
            {
                const MisalignedBlock image(vecImage, uMisalignment);
                VOTSAssetNodeContainer container(eRole);
                LogCapture log;
                ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), bCopy));
                ExpectSame(container, model);
                EXPECT_EQ(1u, FoundID(container, VOTEXT("c:\\root\\DIR\\foo.png")));
                EXPECT_EQ(4u, FoundID(container, VOTEXT("dir/sub.d/\x4E2D.TXT")));
                EXPECT_EQ(kNone, FoundID(container, VOTEXT("dir/gone.txt")));
                EXPECT_EQ(VOWString(kpszRoot), ReadText(container.GetRootPath()));
                EXPECT_EQ(VOWString(kpszRootName), ReadText(container.GetRootName()));
                int nType = 0;
                EXPECT_NE(0, container.GetClassifyTypeByExtension(VOTEXT("tga"), nType));
                EXPECT_EQ(7, nType);
                EXPECT_THAT(log.Lines(), IsEmpty());
                EXPECT_TRUE(SameBytes(vecImage, image.Current())) << "the image was written to";
            }
        }
    }
}

TEST(ContainerImage, AProviderWritesWhatItLoaded)
{
    const Bytes vecImage = SampleModel(kpszRoot, kpszRootName).Image();
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(vecImage, 3);
        VOTSAssetNodeContainer container;
        ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), bCopy));
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(container)));
    }
}

TEST(ContainerImage, ACustomerWritesItsTableAsItIsWithTheSlotCountInItsHead)
{
    const ModelContainer model = SampleModel(kpszRoot, kpszRootName);
    ModelContainer withRoot = model;
    const Bytes vecImage = withRoot.Image();
    const MisalignedBlock image(vecImage, 3);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));

    Bytes vecExpected = vecImage;
    const BlockOffsets blocks(vecImage);
    WriteU32(vecExpected, blocks.uTable + 8, ReadU32(vecImage, blocks.uTable + 24));
    // The two tables of the string set do the same.
    const size_t uPrimary =
        blocks.uStrings + 28 + ReadU32(vecImage, blocks.uStrings + 8) + ReadU32(vecImage, blocks.uStrings + 12);
    const size_t uConflict = uPrimary + ReadU32(vecImage, blocks.uStrings + 16);
    WriteU32(vecExpected, uPrimary + 8, ReadU32(vecImage, uPrimary + 24));
    WriteU32(vecExpected, uConflict + 8, ReadU32(vecImage, uConflict + 24));
    EXPECT_TRUE(SameBytes(vecExpected, ImageOf(customer)));

    const MisalignedBlock again(vecExpected, 5);
    VOTSAssetNodeContainer second(AR_Customer);
    ASSERT_NE(0, second.SetAlloc(again.As<ContainerImage>(), 0));
    ExpectSame(second, withRoot);
    EXPECT_EQ(1u, FoundID(second, VOTEXT("dir/foo.png")));
}

TEST(ContainerImage, AnEmptyOneLoadsAndEveryLookupMisses)
{
    VOTSAssetNodeContainer empty;
    const Bytes vecImage = ImageOf(empty);
    const BlockOffsets blocks(vecImage);
    EXPECT_EQ(1u, ReadU32(vecImage, blocks.uTable + 24)) << "slots";
    EXPECT_EQ(0u, ReadU32(vecImage, blocks.uTable + 32 + 12)) << "the used word of the slot";
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        const MisalignedBlock image(vecImage, 1);
        VOTSAssetNodeContainer container(eRole);
        ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0));
        EXPECT_EQ(0u, container.GetAssetNodeCount());
        EXPECT_EQ(kNone, FoundID(container, VOTEXT("a")));
        EXPECT_EQ(kNone, FoundID(container, VOTEXT("")));
    }
}

TEST(ContainerImage, RemovedNodesAreInItButNotInItsTable)
{
    VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
    FillSample(container);
    const Bytes vecImage = ImageOf(container);
    const BlockOffsets blocks(vecImage);
    EXPECT_EQ(2u, ReadU32(vecImage, blocks.Record(2) + 116));
    EXPECT_EQ(6u, ReadU32(vecImage, blocks.uTable + 8)) << "entries of the table";

    const MisalignedBlock image(vecImage, 7);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    EXPECT_EQ(2u, NodeOf(customer, 2).nAssetID);
    EXPECT_EQ(kNone, FoundID(customer, VOTEXT("Dir/gone.txt")));
}

TEST(ContainerImage, ACopyOutlivesTheImageInBothRoles)
{
    ModelContainer model = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = model.Image();
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        VOTSAssetNodeContainer container(eRole);
        {
            const MisalignedBlock image(vecImage, 1);
            ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 1));
        }
        ExpectSame(container, model);
        EXPECT_EQ(1u, FoundID(container, VOTEXT("dir/foo.png")));
    }
}

TEST(ContainerImage, AnImageReplacesAllThatWasThere)
{
    ModelContainer model = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = model.Image();
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(vecImage, 1);
        VOTSAssetNodeContainer container;
        for (int i = 0; i < 100; ++i)
        {
            AddLinked(container, Wide("old" + std::to_string(i)).c_str(), i == 0, i == 0 ? kNone : 0);
        }
        ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), bCopy));
        ExpectSame(container, model);
        EXPECT_EQ(kNone, FoundID(container, VOTEXT("old5")));
        EXPECT_TRUE(SameBytes(vecImage, ImageOf(container)));
    }
}

TEST(ContainerImage, AProviderGoesOnFromAnImageWhereTheOtherStopped)
{
    for (const int bCopy : {0, 1})
    {
        ModelContainer model = SampleModel(kpszRoot, kpszRootName);
        const MisalignedBlock image(model.Image(), 5);
        VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
        ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), bCopy));
        EXPECT_EQ(7u, AddLinked(container, VOTEXT("Dir/new.txt"), false, 0));
        model.Add(VOTEXT("Dir/new.txt"), false, 0);
        EXPECT_EQ(8u, AddLinked(container, VOTEXT("Dir/gone.txt"), false, 0));
        model.Add(VOTEXT("Dir/gone.txt"), false, 0);
        ASSERT_NE(0, container.RemoveAssetNode(VOTEXT("Dir/Sub.d")));
        ASSERT_TRUE(model.Remove(3));
        ExpectSame(container, model);
        EXPECT_TRUE(SameBytes(model.Image(), ImageOf(container)));
    }
}

TEST(ContainerImage, WhatAProviderChangesDoesNotReachTheImageItLooksAt)
{
    ModelContainer model = SampleModel(kpszRoot, kpszRootName);
    const Bytes vecImage = model.Image();
    const MisalignedBlock image(vecImage, 5);
    {
        VOTSAssetNodeContainer container(AR_Provider, kpszRoot, kpszRootName);
        ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0));
        // Everything that adds: nodes, strings, lists, types.
        AddLinked(container, VOTEXT("Dir/Sub.d/one more.bmp"), false, 3);
        ASSERT_NE(0, container.InsertClassifyType(50, VOTEXT("New"), VOTEXT("bmp"), Color(), Color()));
        EXPECT_EQ(8u, container.GetAssetNodeCount());
    }
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    ExpectSame(customer, model);
}

TEST(ContainerImage, WhenAViewIsGoneNothingPointsIntoTheImageAnyMore)
{
    const Bytes vecImage = SampleModel(kpszRoot, kpszRootName).Image();
    for (const LUMTrayService::enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        VOTSAssetNodeContainer container(eRole);
        {
            const MisalignedBlock image(vecImage, 1);
            ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0));
            ASSERT_EQ(1, container.CleanUp());
        }
        // The image is released: an address sanitizer sees every look at it.
        EXPECT_EQ(0u, container.GetAssetNodeCount());
        EXPECT_EQ(kNone, FoundID(container, VOTEXT("dir")));
        EXPECT_EQ(nullptr, container.GetRootPath());
        EXPECT_EQ(nullptr, container.GetRootName());
        int nType = 0;
        EXPECT_EQ(0, container.GetClassifyTypeByExtension(VOTEXT("png"), nType));
        EXPECT_EQ(0, container.GetClassifyTypeByName(VOTEXT("Texture"), nType));
        WideBuffer<LENGTH_OF_EXTENSIONS> text;
        EXPECT_EQ(0, container.GetClassifyName(7, text.szText));
        EXPECT_EQ(0, container.GetClassifyExtensions(7, text.szText));
        Color color;
        EXPECT_EQ(0, container.GetClassifyTypeColor(7, color));
        EXPECT_EQ(0, container.GetClassifyBackgroundColor(7, color));
        for (unsigned int uNumber = 0; uNumber < 40; ++uNumber)
        {
            EXPECT_EQ(nullptr, container.GetString(HandleOf(uNumber)));
            EXPECT_EQ(0u, container.GetInfoNumberCount(uNumber));
        }
        (void)AskEverything(container);
        EXPECT_FALSE(ImageOf(container).empty());
    }
}

TEST(ContainerImage, ACustomerTakesOneImageAfterAnother)
{
    ModelContainer first = SampleModel(kpszRoot, kpszRootName);
    ModelContainer second = SampleModel(VOTEXT("D:/Else"), VOTEXT("Else"));
    second.Add(VOTEXT("second only"), false, kNone);
    VOTSAssetNodeContainer customer(AR_Customer);
    for (int nRound = 0; nRound < 3; ++nRound)
    {
        {
            const MisalignedBlock image(first.Image(), 1);
            ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), nRound % 2));
            ExpectSame(customer, first);
            ASSERT_EQ(1, customer.CleanUp());
        }
        const MisalignedBlock image(second.Image(), 2);
        ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
        ExpectSame(customer, second);
        EXPECT_EQ(VOWString(VOTEXT("D:/Else")), ReadText(customer.GetRootPath()));
        ASSERT_EQ(1, customer.CleanUp());
    }
}

TEST(ContainerImage, TheFormOfSetAllocBelongsToTheRole)
{
    const MisalignedBlock image(SampleModel(kpszRoot, kpszRootName).Image());
    OpenContainer provider;
    OpenContainer customer(AR_Customer);
    LogCapture log;
    EXPECT_EQ(0, provider._SetAlloc_C(image.As<ContainerImage>(), 1));
    EXPECT_EQ(0, customer._SetAlloc_P(image.As<ContainerImage>(), 1));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("LUMTrayService::enumAssetRole::AR_Customer == m_eAssetRole",
                                                      "VOTSAssetNodeContainer::_SetAlloc_C"),
                                         ProcessError("LUMTrayService::enumAssetRole::AR_Provider == m_eAssetRole",
                                                      "VOTSAssetNodeContainer::_SetAlloc_P")));
    EXPECT_NE(0, provider._SetAlloc_P(image.As<ContainerImage>(), 1));
    EXPECT_NE(0, customer._SetAlloc_C(image.As<ContainerImage>(), 1));
}

TEST(ContainerImage, OfTwoTableEntriesWithOneKeyAProviderKeepsTheFirst)
{
    // A table can hold a key twice only by hand: the second entry sits in a slot that no lookup reaches first.
    ModelContainer model;
    model.Add(VOTEXT("a"), false, kNone);
    model.Add(VOTEXT("b"), false, kNone);
    model.Add(VOTEXT("c"), false, kNone);
    Bytes vecImage = model.Image();
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
    const MisalignedBlock image(vecImage);
    VOTSAssetNodeContainer container;
    ASSERT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 1));
    EXPECT_EQ(0u, FoundID(container, VOTEXT("a")));
    EXPECT_EQ(1u, FoundID(container, VOTEXT("b")));
    EXPECT_EQ(2u, FoundID(container, VOTEXT("c")));
}

}  // namespace

// Images that are refused, and damaged ones: what stays untouched, and that nothing is ever read or written outside.
#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;
using LUMTrayService::enumAssetRole;

const std::string kVersionCheck = "::strcmp(pAlloc->szVersion, ASSETNODE_CAONTAINER_VERSION) == 0";
const std::string kSizeCheck =
    "pAlloc->uDataBufSize == pAlloc->uAssetNodeBufSize + pAlloc->uStringPoolBufSize + pAlloc->uAssetNodeIndexBufSize + "
    "pAlloc->uAssetNodeMapTableBufSize + pAlloc->uAssetClassifyBufSize";

std::string SetAllocOf(enumAssetRole eRole)
{
    return std::string("VOTSAssetNodeContainer::_SetAlloc_") + (eRole == AR_Provider ? "P" : "C");
}

Bytes SampleImage()
{
    ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
    return model.Image();
}

// A container of a role that holds the sample already, and the image that it may be looking at.
struct Loaded
{
    ModelContainer model = SampleModel(VOTEXT("D:/Old"), VOTEXT("Old Name"));
    Bytes vecImage = model.Image();
    MisalignedBlock image{vecImage, 1};
    VOTSAssetNodeContainer container;

    explicit Loaded(enumAssetRole eRole) : container(eRole)
    {
        EXPECT_NE(0, container.SetAlloc(image.As<ContainerImage>(), 0));
    }
    void ExpectUntouched() const
    {
        ExpectSame(container, model);
        EXPECT_EQ(1u, FoundID(container, VOTEXT("dir/foo.png")));
        EXPECT_EQ(VOWString(VOTEXT("D:/Old")), ReadText(container.GetRootPath()));
    }
};

TEST(ContainerImageRefusal, AChangedByteOfTheVersionIsRefusedAndNothingIsTouched)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        for (size_t uByte = 0; uByte < 8; ++uByte)
        {
            Bytes vecImage = SampleImage();
            vecImage[uByte] ^= 0x20;
            const MisalignedBlock image(vecImage);
            Loaded loaded(eRole);
            LogCapture log;
            EXPECT_EQ(0, loaded.container.SetAlloc(image.As<ContainerImage>(), 1)) << uByte;
            EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kVersionCheck, SetAllocOf(eRole))));
            loaded.ExpectUntouched();
        }
    }
}

TEST(ContainerImageRefusal, ATotalThatIsOffByOneIsRefusedAndNothingIsTouched)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        for (const int nOff : {-1, 1})
        {
            Bytes vecImage = SampleImage();
            WriteU32(vecImage, 48, ReadU32(vecImage, 48) + static_cast<unsigned int>(nOff));
            const MisalignedBlock image(vecImage);
            Loaded loaded(eRole);
            LogCapture log;
            EXPECT_EQ(0, loaded.container.SetAlloc(image.As<ContainerImage>(), 1));
            EXPECT_THAT(log.Lines(), ElementsAre(ProcessError(kSizeCheck, SetAllocOf(eRole))));
            loaded.ExpectUntouched();
        }
    }
}

TEST(ContainerImageRefusal, SizesWhoseSumFitsOnlyIn32BitsAreRefusedAndNothingIsTouched)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        Bytes vecImage = SampleImage();
        // Two sizes grow by half of 2^32 each: the sum modulo 2^32 is the old one.
        WriteU32(vecImage, 16, ReadU32(vecImage, 16) + 0x80000000u);
        WriteU32(vecImage, 20, ReadU32(vecImage, 20) + 0x80000000u);
        const MisalignedBlock image(vecImage);
        Loaded loaded(eRole);
        LogCapture log;
        EXPECT_EQ(0, loaded.container.SetAlloc(image.As<ContainerImage>(), 1, vecImage.size()));
        EXPECT_NE(0u, log.Count());
        loaded.ExpectUntouched();
    }
}

TEST(ContainerImageRefusal, ANullImageIsRefusedAndNothingIsTouched)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        Loaded loaded(eRole);
        LogCapture log;
        EXPECT_EQ(0, loaded.container.SetAlloc(nullptr, 1));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pAlloc", SetAllocOf(eRole))));
        loaded.ExpectUntouched();
    }
}

TEST(ContainerImageRefusal, ABrokenInnerBlockIsNamedInTheLog)
{
    struct Case
    {
        size_t BlockOffsets::*puBlock;
        size_t uByte;
        const char* pszCheck;
        const char* pszCustomerCheck;
    };
    const Case aCases[] = {
        {&BlockOffsets::uStrings, 0, "m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)", nullptr},
        {&BlockOffsets::uNodes, 0, "m_vecAssetNode.SetAlloc(pAssetNodeAlloc, bCopy)", nullptr},
        {&BlockOffsets::uNumbers, 4, "m_pkAssetIndexContainer->SetAlloc(pAssetIndexAlloc, bCopy)", nullptr},
        {&BlockOffsets::uTable, 0, "mapTableReader.SetAlloc(pAssetMapTableAlloc, bCopy)",
         "m_mapTableStringHandle2ParamIndex.SetAlloc(pAssetMapTableAlloc, bCopy)"},
        {&BlockOffsets::uClassify, 8, "m_pkClassifyMgr->SetAlloc(pAssetClassifyAlloc, bCopy)", nullptr},
    };
    for (const Case& one : aCases)
    {
        for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
        {
            Bytes vecImage = SampleImage();
            vecImage[BlockOffsets(vecImage).*one.puBlock + one.uByte] ^= 1;
            const MisalignedBlock image(vecImage);
            VOTSAssetNodeContainer container(eRole);
            LogCapture log;
            EXPECT_EQ(0, container.SetAlloc(image.As<ContainerImage>(), 1)) << one.pszCheck;
            const char* pszCheck =
                eRole == AR_Customer && one.pszCustomerCheck != nullptr ? one.pszCustomerCheck : one.pszCheck;
            EXPECT_TRUE(HasLine(log.Lines(), ProcessError(pszCheck, SetAllocOf(eRole)))) << pszCheck;
            // It must be taken as empty, but it must be sound.
            (void)AskEverything(container);
            EXPECT_EQ(1, container.CleanUp());
            EXPECT_EQ(0u, container.GetAssetNodeCount());
        }
    }
}

TEST(ContainerImageRefusal, AfterAFailedLoadTheNextOneSucceeds)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
        const Bytes vecGood = model.Image();
        const MisalignedBlock good(vecGood);
        VOTSAssetNodeContainer container(eRole);
        for (size_t uByte = 52; uByte < vecGood.size(); uByte += 37)
        {
            Bytes vecBad = vecGood;
            vecBad[uByte] ^= 0xFF;
            const MisalignedBlock bad(vecBad, 3);
            (void)container.SetAlloc(bad.As<ContainerImage>(), 0, vecBad.size());
            ASSERT_NE(0, container.SetAlloc(good.As<ContainerImage>(), 1, vecGood.size())) << uByte;
            ExpectSame(container, model);
            ASSERT_EQ(1, container.CleanUp());
        }
    }
}

TEST(ContainerImageRefusal, EveryCutIsRefusedAndNothingBehindItIsRead)
{
    QuietLoop quiet;
    const Bytes vecImage = SampleImage();
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        // Without the tail everything that is read is still there.
        for (size_t uSize = 0; uSize + 12 < vecImage.size(); ++uSize)
        {
            quiet.Next();
            const MisalignedBlock image(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)));
            VOTSAssetNodeContainer container(eRole);
            EXPECT_EQ(0, container.SetAlloc(image.As<ContainerImage>(), 0, uSize)) << uSize;
            (void)AskEverything(container);
        }
    }
}

// Changes of an image's head and blocks that a checker may see or not: whatever SetAlloc answers, the container answers
// without a fault, and a Provider can still be changed. How many of the two roles took the image.
int TryDamaged(QuietLoop& quiet, const Bytes& givenImage, size_t uMisalignment)
{
    quiet.Next();
    int nTaken = 0;
    for (const enumAssetRole eRole : {AR_Customer, AR_Provider})
    {
        const MisalignedBlock image(givenImage, uMisalignment);
        VOTSAssetNodeContainer container(eRole);
        const int nResult =
            container.SetAlloc(image.As<ContainerImage>(), static_cast<int>(uMisalignment % 2), givenImage.size());
        nTaken += nResult != 0 ? 1 : 0;
        (void)AskEverything(container);
        if (eRole == AR_Customer)
        {
            EXPECT_TRUE(SameBytes(givenImage, image.Current())) << "the image was written to";
        }
        else if (nResult != 0)
        {
            structAssetNode tsNode;
            int bInserted = 0;
            (void)container.RequestAssetNode(VOTEXT("Dir/Foo.PNG"), tsNode, bInserted);
            (void)container.RequestAssetNode(VOTEXT("entirely new"), tsNode, bInserted);
            (void)VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &container, VOTEXT("Dir/entirely.new"));
            (void)container.SetAssetNodeParentIndex(tsNode.nAssetID, 0);
            (void)container.InsertAssetNodeChildIndex(0, tsNode.nAssetID);
            (void)container.RedirectAssetNode(3, VOTEXT("Dir/moved"));
            (void)container.RemoveAssetNodeChildIndex(0, 1);
            (void)container.SetAssetNodeChildIndex(3, IDs{1, 2, 5});
            (void)container.RemoveAssetNode(VOTEXT("Dir"));
            (void)container.BuildUpExtensionsHash();
            (void)AskEverything(container);
            (void)ImageOf(container);
            (void)container.ShrinkToFit();
        }
        EXPECT_EQ(1, container.CleanUp());
    }
    return nTaken;
}

// That damage of a kind reaches both ends: images that are refused, and images that are taken and then asked.
struct Tally
{
    unsigned uRefused = 0;
    unsigned uTaken = 0;

    void Count(int nTaken)
    {
        uTaken += nTaken > 0 ? 1 : 0;
        uRefused += nTaken < 2 ? 1 : 0;
    }
    bool HasBoth() const { return uRefused > 0 && uTaken > 0; }
};

TEST(ContainerImageDamage, EveryFlippedBitOfTheHeadGivesARefusalOrAnAnswer)
{
    QuietLoop quiet;
    const Bytes vecImage = SampleImage();
    for (size_t uByte = 0; uByte < 52; ++uByte)
    {
        for (int nBit = 0; nBit < 8; ++nBit)
        {
            Bytes vecDamaged = vecImage;
            vecDamaged[uByte] = static_cast<unsigned char>(vecDamaged[uByte] ^ (1 << nBit));
            // The version and every size are checked; the word of zeros and the two root handles are read as they are.
            const bool bChecked = uByte < 28 || uByte >= 48;
            EXPECT_EQ(bChecked ? 0 : 2, TryDamaged(quiet, vecDamaged, uByte % 16)) << uByte << " bit " << nBit;
        }
    }
}

TEST(ContainerImageDamage, EveryByteOfTheBlocksChangedGivesARefusalOrAnAnswer)
{
    QuietLoop quiet;
    Tally tally;
    const Bytes vecImage = SampleImage();
    const size_t uClassify = BlockOffsets(vecImage).uClassify;
    for (size_t uByte = 52; uByte < vecImage.size(); ++uByte)
    {
        // The texts of the types are long and alike.
        if (uByte > uClassify + 40 && uByte % 16 != 0)
        {
            continue;
        }
        for (const unsigned char byChange : {0x01, 0x80, 0xFF})
        {
            Bytes vecDamaged = vecImage;
            vecDamaged[uByte] ^= byChange;
            tally.Count(TryDamaged(quiet, vecDamaged, uByte % 16));
        }
    }
    EXPECT_TRUE(tally.HasBoth());
}

TEST(ContainerImageDamage, SizesThatMoveTheBordersBetweenBlocksGiveARefusalOrAnAnswer)
{
    QuietLoop quiet;
    const Bytes vecImage = SampleImage();
    for (size_t uFrom = 8; uFrom <= 24; uFrom += 4)
    {
        for (size_t uTo = 8; uTo <= 24; uTo += 4)
        {
            for (const unsigned int uMove : {1u, 4u, 16u, 120u, 312u, 0x10000u, 0x80000000u})
            {
                // The sum stays what it was, at least in 32 bits.
                Bytes vecDamaged = vecImage;
                WriteU32(vecDamaged, uFrom, ReadU32(vecDamaged, uFrom) - uMove);
                WriteU32(vecDamaged, uTo, ReadU32(vecDamaged, uTo) + uMove);
                EXPECT_EQ(uFrom == uTo ? 2 : 0, TryDamaged(quiet, vecDamaged, uMove % 16))
                    << uFrom << " to " << uTo << " by " << uMove;
            }
        }
    }
}

TEST(ContainerImageDamage, EveryWordSetToAnExtremeGivesARefusalOrAnAnswer)
{
    QuietLoop quiet;
    Tally tally;
    const Bytes vecImage = SampleImage();
    for (size_t uAt = 8; uAt + 4 <= vecImage.size(); uAt += 2)
    {
        if (uAt > BlockOffsets(vecImage).uClassify + 40 && uAt % 64 != 0)
        {
            continue;
        }
        for (const unsigned int uValue : {0u, 0xFFFFFFFFu, 0x7FFFFFFFu})
        {
            Bytes vecDamaged = vecImage;
            WriteU32(vecDamaged, uAt, uValue);
            tally.Count(TryDamaged(quiet, vecDamaged, uAt % 16));
        }
    }
    EXPECT_TRUE(tally.HasBoth());
}

TEST(ContainerImageDamage, RandomDamageGivesARefusalOrAnAnswer)
{
    QuietLoop quiet;
    Tally tally;
    const Bytes vecImage = SampleImage();
    Random random(20240611);
    for (int nRound = 0; nRound < 3000; ++nRound)
    {
        Bytes vecDamaged = vecImage;
        const size_t uChanges = 1 + random.Below(6);
        for (size_t i = 0; i < uChanges; ++i)
        {
            const size_t uAt = 8 + random.Below(vecDamaged.size() - 12);
            switch (random.Below(4))
            {
                case 0:
                    vecDamaged[uAt] = static_cast<unsigned char>(random.Word());
                    break;
                case 1:
                    WriteU32(vecDamaged, uAt, random.Word() % 300);
                    break;
                case 2:
                    WriteU32(vecDamaged, uAt, ReadU32(vecDamaged, 8 + random.Below(vecDamaged.size() - 12)));
                    break;
                default:
                    vecDamaged[uAt] = static_cast<unsigned char>(vecDamaged[uAt] + 1);
                    break;
            }
        }
        tally.Count(TryDamaged(quiet, vecDamaged, random.Below(16)));
    }
    EXPECT_TRUE(tally.HasBoth());
}

}  // namespace

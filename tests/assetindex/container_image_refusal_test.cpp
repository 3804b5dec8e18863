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
    ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
    return kModel.Image();
}

// A container of a role that holds the sample already, and the image that it may be looking at.
struct Loaded
{
    ModelContainer kModel = SampleModel(VOTEXT("D:/Old"), VOTEXT("Old Name"));
    Bytes vecImage = kModel.Image();
    MisalignedBlock kImage{vecImage, 1};
    VOTSAssetNodeContainer kContainer;

    explicit Loaded(enumAssetRole eRole) : kContainer(eRole)
    {
        EXPECT_NE(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0));
    }
    void ExpectUntouched() const
    {
        ExpectSame(kContainer, kModel);
        EXPECT_EQ(1u, FoundID(kContainer, VOTEXT("dir/foo.png")));
        EXPECT_EQ(VOWString(VOTEXT("D:/Old")), ReadText(kContainer.GetRootPath()));
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
            const MisalignedBlock kImage(vecImage);
            Loaded kLoaded(eRole);
            LogCapture kLog;
            EXPECT_EQ(0, kLoaded.kContainer.SetAlloc(kImage.As<ContainerImage>(), 1)) << uByte;
            EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kVersionCheck, SetAllocOf(eRole))));
            kLoaded.ExpectUntouched();
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
            const MisalignedBlock kImage(vecImage);
            Loaded kLoaded(eRole);
            LogCapture kLog;
            EXPECT_EQ(0, kLoaded.kContainer.SetAlloc(kImage.As<ContainerImage>(), 1));
            EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError(kSizeCheck, SetAllocOf(eRole))));
            kLoaded.ExpectUntouched();
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
        const MisalignedBlock kImage(vecImage);
        Loaded kLoaded(eRole);
        LogCapture kLog;
        EXPECT_EQ(0, kLoaded.kContainer.SetAlloc(kImage.As<ContainerImage>(), 1, vecImage.size()));
        EXPECT_NE(0u, kLog.Count());
        kLoaded.ExpectUntouched();
    }
}

TEST(ContainerImageRefusal, ANullImageIsRefusedAndNothingIsTouched)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        Loaded kLoaded(eRole);
        LogCapture kLog;
        EXPECT_EQ(0, kLoaded.kContainer.SetAlloc(nullptr, 1));
        EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pAlloc", SetAllocOf(eRole))));
        kLoaded.ExpectUntouched();
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
    for (const Case& rkCase : aCases)
    {
        for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
        {
            Bytes vecImage = SampleImage();
            vecImage[BlockOffsets(vecImage).*rkCase.puBlock + rkCase.uByte] ^= 1;
            const MisalignedBlock kImage(vecImage);
            VOTSAssetNodeContainer kContainer(eRole);
            LogCapture kLog;
            EXPECT_EQ(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 1)) << rkCase.pszCheck;
            const char* pszCheck =
                eRole == AR_Customer && rkCase.pszCustomerCheck != nullptr ? rkCase.pszCustomerCheck : rkCase.pszCheck;
            EXPECT_TRUE(HasLine(kLog.Lines(), ProcessError(pszCheck, SetAllocOf(eRole)))) << pszCheck;
            // It must be taken as empty, but it must be sound.
            (void)AskEverything(kContainer);
            EXPECT_EQ(1, kContainer.CleanUp());
            EXPECT_EQ(0u, kContainer.GetAssetNodeCount());
        }
    }
}

TEST(ContainerImageRefusal, AfterAFailedLoadTheNextOneSucceeds)
{
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
        const Bytes vecGood = kModel.Image();
        const MisalignedBlock kGood(vecGood);
        VOTSAssetNodeContainer kContainer(eRole);
        for (size_t uByte = 52; uByte < vecGood.size(); uByte += 37)
        {
            Bytes vecBad = vecGood;
            vecBad[uByte] ^= 0xFF;
            const MisalignedBlock kBad(vecBad, 3);
            (void)kContainer.SetAlloc(kBad.As<ContainerImage>(), 0, vecBad.size());
            ASSERT_NE(0, kContainer.SetAlloc(kGood.As<ContainerImage>(), 1, vecGood.size())) << uByte;
            ExpectSame(kContainer, kModel);
            ASSERT_EQ(1, kContainer.CleanUp());
        }
    }
}

TEST(ContainerImageRefusal, EveryCutIsRefusedAndNothingBehindItIsRead)
{
    QuietLoop kQuiet;
    const Bytes vecImage = SampleImage();
    for (const enumAssetRole eRole : {AR_Provider, AR_Customer})
    {
        // Without the tail everything that is read is still there.
        for (size_t uSize = 0; uSize + 12 < vecImage.size(); ++uSize)
        {
            kQuiet.Next();
            const MisalignedBlock kImage(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)));
            VOTSAssetNodeContainer kContainer(eRole);
            EXPECT_EQ(0, kContainer.SetAlloc(kImage.As<ContainerImage>(), 0, uSize)) << uSize;
            (void)AskEverything(kContainer);
        }
    }
}

// Changes of an image's head and blocks that a checker may see or not: whatever SetAlloc answers, the container answers
// without a fault, and a Provider can still be changed. How many of the two roles took the image.
int TryDamaged(QuietLoop& rkQuiet, const Bytes& rkImage, size_t uMisalignment)
{
    rkQuiet.Next();
    int nTaken = 0;
    for (const enumAssetRole eRole : {AR_Customer, AR_Provider})
    {
        const MisalignedBlock kImage(rkImage, uMisalignment);
        VOTSAssetNodeContainer kContainer(eRole);
        const int nResult =
            kContainer.SetAlloc(kImage.As<ContainerImage>(), static_cast<int>(uMisalignment % 2), rkImage.size());
        nTaken += nResult != 0 ? 1 : 0;
        (void)AskEverything(kContainer);
        if (eRole == AR_Customer)
        {
            EXPECT_TRUE(SameBytes(rkImage, kImage.Current())) << "the image was written to";
        }
        else if (nResult != 0)
        {
            structAssetNode tsNode;
            int bInserted = 0;
            (void)kContainer.RequestAssetNode(VOTEXT("Dir/Foo.PNG"), tsNode, bInserted);
            (void)kContainer.RequestAssetNode(VOTEXT("entirely new"), tsNode, bInserted);
            (void)VOTSAssetNodeContainerHelper::SetAssetNodeStripPath(tsNode, &kContainer, VOTEXT("Dir/entirely.new"));
            (void)kContainer.SetAssetNodeParentIndex(tsNode.nAssetID, 0);
            (void)kContainer.InsertAssetNodeChildIndex(0, tsNode.nAssetID);
            (void)kContainer.RedirectAssetNode(3, VOTEXT("Dir/moved"));
            (void)kContainer.RemoveAssetNodeChildIndex(0, 1);
            (void)kContainer.SetAssetNodeChildIndex(3, IDs{1, 2, 5});
            (void)kContainer.RemoveAssetNode(VOTEXT("Dir"));
            (void)kContainer.BuildUpExtensionsHash();
            (void)AskEverything(kContainer);
            (void)ImageOf(kContainer);
            (void)kContainer.ShrinkToFit();
        }
        EXPECT_EQ(1, kContainer.CleanUp());
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
    QuietLoop kQuiet;
    const Bytes vecImage = SampleImage();
    for (size_t uByte = 0; uByte < 52; ++uByte)
    {
        for (int nBit = 0; nBit < 8; ++nBit)
        {
            Bytes vecDamaged = vecImage;
            vecDamaged[uByte] = static_cast<unsigned char>(vecDamaged[uByte] ^ (1 << nBit));
            // The version and every size are checked; the word of zeros and the two root handles are read as they are.
            const bool bChecked = uByte < 28 || uByte >= 48;
            EXPECT_EQ(bChecked ? 0 : 2, TryDamaged(kQuiet, vecDamaged, uByte % 16)) << uByte << " bit " << nBit;
        }
    }
}

TEST(ContainerImageDamage, EveryByteOfTheBlocksChangedGivesARefusalOrAnAnswer)
{
    QuietLoop kQuiet;
    Tally kTally;
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
            kTally.Count(TryDamaged(kQuiet, vecDamaged, uByte % 16));
        }
    }
    EXPECT_TRUE(kTally.HasBoth());
}

TEST(ContainerImageDamage, SizesThatMoveTheBordersBetweenBlocksGiveARefusalOrAnAnswer)
{
    QuietLoop kQuiet;
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
                EXPECT_EQ(uFrom == uTo ? 2 : 0, TryDamaged(kQuiet, vecDamaged, uMove % 16))
                    << uFrom << " to " << uTo << " by " << uMove;
            }
        }
    }
}

TEST(ContainerImageDamage, EveryWordSetToAnExtremeGivesARefusalOrAnAnswer)
{
    QuietLoop kQuiet;
    Tally kTally;
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
            kTally.Count(TryDamaged(kQuiet, vecDamaged, uAt % 16));
        }
    }
    EXPECT_TRUE(kTally.HasBoth());
}

TEST(ContainerImageDamage, RandomDamageGivesARefusalOrAnAnswer)
{
    QuietLoop kQuiet;
    Tally kTally;
    const Bytes vecImage = SampleImage();
    Random kRandom(20240611);
    for (int nRound = 0; nRound < 3000; ++nRound)
    {
        Bytes vecDamaged = vecImage;
        const size_t uChanges = 1 + kRandom.Below(6);
        for (size_t i = 0; i < uChanges; ++i)
        {
            const size_t uAt = 8 + kRandom.Below(vecDamaged.size() - 12);
            switch (kRandom.Below(4))
            {
                case 0:
                    vecDamaged[uAt] = static_cast<unsigned char>(kRandom.Word());
                    break;
                case 1:
                    WriteU32(vecDamaged, uAt, kRandom.Word() % 300);
                    break;
                case 2:
                    WriteU32(vecDamaged, uAt, ReadU32(vecDamaged, 8 + kRandom.Below(vecDamaged.size() - 12)));
                    break;
                default:
                    vecDamaged[uAt] = static_cast<unsigned char>(vecDamaged[uAt] + 1);
                    break;
            }
        }
        kTally.Count(TryDamaged(kQuiet, vecDamaged, kRandom.Below(16)));
    }
    EXPECT_TRUE(kTally.HasBoth());
}

}  // namespace

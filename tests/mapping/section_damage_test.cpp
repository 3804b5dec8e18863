// Thousands of damaged sections: whatever a reader makes of one, it must not fault, loop or write outside a buffer.
#include "mapping/mapping_test_tools.h"
#include "vo_utility.h"

namespace
{
using namespace mappingtest;

// Publishes each variant, loads it, and asks everything.
class DamageRun
{
public:
    DamageRun() { EXPECT_EQ(ET_NONE, m_kReader.OpenMappingState()); }

    void Try(const Bytes& rkBlock)
    {
        m_kQuiet.Next();
        m_kPublisher.PublishBlock(AF_SOURCE, rkBlock);
        const ErrorType eResult = m_kReader.OpenMappingData();
        EXPECT_TRUE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE) << eResult;
        EXPECT_EQ(eResult, m_kReader.LastErrorType());
        EXPECT_EQ(0u, m_kPublisher.Readers(AF_SOURCE));
        m_uLoaded += eResult == ET_NONE ? 1 : 0;
        if (eResult == ET_NONE)
        {
            (void)AskEverything(m_kReader);
        }
        else
        {
            EXPECT_EQ(0u, m_kReader.GetAssetNodeCount());
        }
    }

    // How many variants were loaded all the same.
    size_t Loaded() const { return m_uLoaded; }

private:
    QuietLoop m_kQuiet;
    Publisher m_kPublisher;
    ClosingInspector m_kReader;
    size_t m_uLoaded = 0;
};

// One to four random changes of a kind that damage takes: bits, bytes, words, swapped pieces, a cut, zeros.
Bytes Damaged(Bytes vecBytes, Random& rkRandom)
{
    for (size_t i = 1 + rkRandom.Below(4); i > 0 && vecBytes.size() > 16; --i)
    {
        const size_t uAt = rkRandom.Below(vecBytes.size() - 8);
        const size_t uOther = rkRandom.Below(vecBytes.size() - 8);
        switch (rkRandom.Below(7))
        {
            case 0:
                vecBytes[uAt] = static_cast<unsigned char>(vecBytes[uAt] ^ (1u << rkRandom.Below(8)));
                break;
            case 1:
                vecBytes[uAt] = static_cast<unsigned char>(rkRandom.Word());
                break;
            case 2:
                WriteU32(vecBytes, uAt, rkRandom.Word() >> rkRandom.Below(32));
                break;
            case 3:
                WriteU32(vecBytes, uAt, ReadU32(vecBytes, uOther));
                break;
            case 4:
                std::swap_ranges(vecBytes.begin() + static_cast<ptrdiff_t>(uAt),
                                 vecBytes.begin() + static_cast<ptrdiff_t>(uAt + 4),
                                 vecBytes.begin() + static_cast<ptrdiff_t>(uOther / 8 * 8));
                break;
            case 5:
                std::fill_n(vecBytes.begin() + static_cast<ptrdiff_t>(uAt), 8,
                            static_cast<unsigned char>(rkRandom.Percent(50) ? 0xFF : 0));
                break;
            default:
                if (rkRandom.Percent(15))
                {
                    vecBytes.resize(uAt + 1);
                }
                break;
        }
    }
    return vecBytes;
}

TEST(SectionDamage, InTheImageBehindASoundBlock)
{
    const Bytes vecImage = SourceModel().Image();
    DamageRun kRun;
    Random kRandom(1);
    for (int nVariant = 0; nVariant < 3000; ++nVariant)
    {
        kRun.Try(LiteralBlock(Damaged(vecImage, kRandom)));
    }
    EXPECT_LT(300u, kRun.Loaded()) << "too few of them get past the first checks";
}

TEST(SectionDamage, InACompressedBlock)
{
    Bytes vecImage = SourceModel().Image();
    unsigned char* pbBlock = nullptr;
    unsigned int uSize = 0;
    ASSERT_NE(0, VOCompressBuffer_lzo1x(&pbBlock, &uSize, vecImage.data(), static_cast<unsigned int>(vecImage.size())));
    const Bytes vecBlock = votest::TakeBytes(pbBlock, uSize);
    DamageRun kRun;
    Random kRandom(2);
    for (int nVariant = 0; nVariant < 3000; ++nVariant)
    {
        kRun.Try(Damaged(vecBlock, kRandom));
    }
}

TEST(SectionDamage, InTheTreeOfASoundImage)
{
    // Sound heads and tables, but ids, lists, handles and indexes that lie.
    DamageRun kRun;
    Random kRandom(3);
    const ModelContainer kSound = SourceModel();
    const auto kLie = [&](unsigned int uValue)
    {
        switch (kRandom.Below(5))
        {
            case 0:
                return static_cast<unsigned int>(kRandom.Below(16));
            case 1:
                return kRandom.Word();
            case 2:
                return kNone - static_cast<unsigned int>(kRandom.Below(3));
            case 3:
                return 0x7FFFFFFFu + static_cast<unsigned int>(kRandom.Below(3));
            default:
                return uValue;
        }
    };
    for (int nVariant = 0; nVariant < 2000; ++nVariant)
    {
        ModelContainer kModel = kSound;
        for (size_t i = 1 + kRandom.Below(4); i > 0; --i)
        {
            ModelNode& rkNode = kModel.vecNodes[kRandom.Below(kModel.vecNodes.size())];
            switch (kRandom.Below(8))
            {
                case 0:
                    rkNode.uParent = kLie(rkNode.uParent);
                    break;
                case 1:
                    rkNode.uFiles = kLie(rkNode.uFiles);
                    break;
                case 2:
                    rkNode.uFolders = kLie(rkNode.uFolders);
                    break;
                case 3:
                    rkNode.uID = kLie(rkNode.uID);
                    break;
                case 4:
                    (kRandom.Percent(50) ? rkNode.ullBaseName : rkNode.ullExtension) = kLie(3);
                    break;
                case 5:
                    kModel.kNumbers.vecNumbers[kRandom.Below(kModel.kNumbers.vecNumbers.size())] = kLie(0);
                    break;
                case 6:
                    kModel.mapIndex.begin()->second = kLie(0);
                    break;
                default:
                    kModel.kStrings.vecRecords[kRandom.Below(kModel.kStrings.vecRecords.size())].hString =
                        kLie(0) * (kRandom.Percent(50) ? 1ull : 0x100000001ull);
                    break;
            }
        }
        kRun.Try(LiteralBlock(kModel.Image()));
    }
    EXPECT_LT(1000u, kRun.Loaded());
}

TEST(SectionDamage, InEveryWordOfTheHeads)
{
    const Bytes vecImage = SourceModel().Image();
    DamageRun kRun;
    for (size_t uAt = 0; uAt < 84; uAt += 4)
    {
        for (const unsigned int uValue : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu})
        {
            Bytes vecDamaged = vecImage;
            WriteU32(vecDamaged, uAt, uValue);
            kRun.Try(LiteralBlock(vecDamaged));
        }
    }
    Bytes vecBlock = LiteralBlock(vecImage);
    for (size_t uBit = 0; uBit < 16 * 8; ++uBit)
    {
        Bytes vecDamaged = vecBlock;
        vecDamaged[uBit / 8] = static_cast<unsigned char>(vecDamaged[uBit / 8] ^ (1u << (uBit % 8)));
        kRun.Try(vecDamaged);
    }
}

TEST(SectionDamage, InTheStateSection)
{
    // Words of all records at random, with data sections there or not, while an inspector has it open.
    QuietLoop kQuiet;
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    Random kRandom(4);
    for (int nRound = 0; nRound < 500; ++nRound)
    {
        kQuiet.Next();
        kPublisher.SetWord(AF_SOURCE, static_cast<unsigned int>(kRandom.Below(2)), kRandom.Word() % 3);
        const unsigned int uReaders = kRandom.Word();
        kPublisher.SetWord(AF_SOURCE, 2, uReaders);
        const ErrorType eResult = kRandom.Percent(50) ? kReader.OpenMappingData() : kReader.ReMappingData();
        EXPECT_TRUE(eResult == ET_NONE || eResult == ET_SOURCE_DISABLED) << eResult;
        EXPECT_EQ(uReaders, kPublisher.Readers(AF_SOURCE));
        (void)AskEverything(kReader);
    }
}

}  // namespace

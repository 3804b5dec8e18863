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
    DamageRun() { EXPECT_EQ(ET_NONE, m_reader.OpenMappingState()); }

    // Whether it was loaded all the same.
    bool Try(const Bytes& block)
    {
        m_quiet.Next();
        m_publisher.PublishBlock(AF_SOURCE, block);
        const ErrorType eResult = m_reader.OpenMappingData();
        EXPECT_TRUE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE) << eResult;
        EXPECT_EQ(eResult, m_reader.LastErrorType());
        EXPECT_EQ(0u, m_publisher.Readers(AF_SOURCE));
        m_uLoaded += eResult == ET_NONE ? 1 : 0;
        if (eResult == ET_NONE)
        {
            (void)AskEverything(m_reader);
        }
        else
        {
            EXPECT_EQ(0u, m_reader.GetAssetNodeCount());
        }
        return eResult == ET_NONE;
    }

    // How many variants were loaded all the same.
    size_t Loaded() const { return m_uLoaded; }

private:
    QuietLoop m_quiet;
    Publisher m_publisher;
    ClosingInspector m_reader;
    size_t m_uLoaded = 0;
};

// One to four random changes of a kind that damage takes: bits, bytes, words, swapped pieces, a cut, zeros.
Bytes Damaged(Bytes vecBytes, Random& random)
{
    for (size_t i = 1 + random.Below(4); i > 0 && vecBytes.size() > 16; --i)
    {
        const size_t uAt = random.Below(vecBytes.size() - 8);
        const size_t uOther = random.Below(vecBytes.size() - 8);
        switch (random.Below(7))
        {
            case 0:
                vecBytes[uAt] = static_cast<unsigned char>(vecBytes[uAt] ^ (1u << random.Below(8)));
                break;
            case 1:
                vecBytes[uAt] = static_cast<unsigned char>(random.Word());
                break;
            case 2:
                WriteU32(vecBytes, uAt, random.Word() >> random.Below(32));
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
                            static_cast<unsigned char>(random.Percent(50) ? 0xFF : 0));
                break;
            default:
                if (random.Percent(15))
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
    DamageRun run;
    Random random(1);
    for (int nVariant = 0; nVariant < 3000; ++nVariant)
    {
        run.Try(LiteralBlock(Damaged(vecImage, random)));
    }
    EXPECT_LT(300u, run.Loaded()) << "too few of them get past the first checks";
}

TEST(SectionDamage, InACompressedBlock)
{
    Bytes vecImage = SourceModel().Image();
    unsigned char* pbBlock = nullptr;
    unsigned int uSize = 0;
    ASSERT_NE(0, VOCompressBuffer_lzo1x(&pbBlock, &uSize, vecImage.data(), static_cast<unsigned int>(vecImage.size())));
    const Bytes vecBlock = votest::TakeBytes(pbBlock, uSize);
    DamageRun run;
    Random random(2);
    for (int nVariant = 0; nVariant < 3000; ++nVariant)
    {
        run.Try(Damaged(vecBlock, random));
    }
}

TEST(SectionDamage, InTheTreeOfASoundImage)
{
    // Sound heads and tables, but ids, lists, handles and indexes that lie.
    DamageRun run;
    Random random(3);
    const ModelContainer sound = SourceModel();
    const auto lie = [&](unsigned int uValue)
    {
        switch (random.Below(5))
        {
            case 0:
                return static_cast<unsigned int>(random.Below(16));
            case 1:
                return random.Word();
            case 2:
                return kNone - static_cast<unsigned int>(random.Below(3));
            case 3:
                return 0x7FFFFFFFu + static_cast<unsigned int>(random.Below(3));
            default:
                return uValue;
        }
    };
    for (int nVariant = 0; nVariant < 2000; ++nVariant)
    {
        ModelContainer model = sound;
        for (size_t i = 1 + random.Below(4); i > 0; --i)
        {
            ModelNode& node = model.vecNodes[random.Below(model.vecNodes.size())];
            switch (random.Below(8))
            {
                case 0:
                    node.uParent = lie(node.uParent);
                    break;
                case 1:
                    node.uFiles = lie(node.uFiles);
                    break;
                case 2:
                    node.uFolders = lie(node.uFolders);
                    break;
                case 3:
                    node.uID = lie(node.uID);
                    break;
                case 4:
                    (random.Percent(50) ? node.ullBaseName : node.ullExtension) = lie(3);
                    break;
                case 5:
                    model.numbers.vecNumbers[random.Below(model.numbers.vecNumbers.size())] = lie(0);
                    break;
                case 6:
                    model.mapIndex.begin()->second = lie(0);
                    break;
                default:
                    model.strings.vecRecords[random.Below(model.strings.vecRecords.size())].hString =
                        lie(0) * (random.Percent(50) ? 1ull : 0x100000001ull);
                    break;
            }
        }
        run.Try(LiteralBlock(model.Image()));
    }
    EXPECT_LT(1000u, run.Loaded());
}

TEST(SectionDamage, InEveryWordOfTheHeads)
{
    const Bytes vecImage = SourceModel().Image();
    DamageRun run;
    for (size_t uAt = 0; uAt < 84; uAt += 4)
    {
        // The word behind the sizes isn't read, and a handle of the root that leads nowhere means that there is no
        // text.
        for (const unsigned int uValue : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu})
        {
            Bytes vecDamaged = vecImage;
            WriteU32(vecDamaged, uAt, uValue);
            EXPECT_EQ(uAt >= 28 && uAt < 48, run.Try(LiteralBlock(vecDamaged))) << uAt << " " << uValue;
        }
    }
    Bytes vecBlock = LiteralBlock(vecImage);
    for (size_t uBit = 0; uBit < 16 * 8; ++uBit)
    {
        Bytes vecDamaged = vecBlock;
        vecDamaged[uBit / 8] = static_cast<unsigned char>(vecDamaged[uBit / 8] ^ (1u << (uBit % 8)));
        // A head that promises more than there is gets room for it, up to what a section can hold.
        const bool bLonger = uBit < 32 && (vecImage.size() >> uBit & 1) == 0;
        EXPECT_EQ(bLonger, run.Try(vecDamaged)) << uBit;
    }
}

TEST(SectionDamage, InTheStateSection)
{
    // Words of all records at random, with data sections there or not, while an inspector has it open.
    QuietLoop quiet;
    Publisher publisher;
    publisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    reader.Load();
    Random random(4);
    for (int nRound = 0; nRound < 500; ++nRound)
    {
        quiet.Next();
        publisher.SetWord(AF_SOURCE, static_cast<unsigned int>(random.Below(2)), random.Word() % 3);
        const unsigned int uReaders = random.Word();
        publisher.SetWord(AF_SOURCE, 2, uReaders);
        const ErrorType eResult = random.Percent(50) ? reader.OpenMappingData() : reader.ReMappingData();
        EXPECT_TRUE(eResult == ET_NONE || eResult == ET_SOURCE_DISABLED) << eResult;
        EXPECT_EQ(uReaders, publisher.Readers(AF_SOURCE));
        (void)AskEverything(reader);
    }
}

}  // namespace

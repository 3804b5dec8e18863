// The string cipher: published vectors, and an implementation of its own to compare with.
#include <bitset>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/random.h"
#include "utility/reference_des.h"
#include "vo_string_cipher.h"

using namespace votest;

namespace
{
typedef std::bitset<64> Block;

// The key text of a key of the standard: its bytes in reverse order.
std::string KeyText(uint64_t ullKey)
{
    std::string strText;
    for (int i = 0; i < 8; ++i)
    {
        strText.push_back(static_cast<char>(ullKey >> (8 * i) & 0xFF));
    }
    return strText;
}

uint64_t Encrypt(uint64_t ullBlock, const char* pszKey)
{
    Block source(ullBlock);
    Block result;
    EXPECT_EQ(1, VOEncryptString(result, source, pszKey));
    return result.to_ullong();
}

uint64_t Decrypt(uint64_t ullBlock, const char* pszKey)
{
    Block source(ullBlock);
    Block result;
    EXPECT_EQ(1, VODecryptString(result, source, pszKey));
    return result.to_ullong();
}

struct Vector
{
    uint64_t ullKey;
    uint64_t ullPlain;
    uint64_t ullCipher;
};

// Published test vectors, as the standard numbers keys and blocks; the last 19 use every entry of the S-boxes.
const std::vector<Vector> VECTORS = {
    {0x0000000000000000, 0x0000000000000000, 0x8CA64DE9C1B123A7},
    {0xFFFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF, 0x7359B2163E4EDC58},
    {0x133457799BBCDFF1, 0x0123456789ABCDEF, 0x85E813540F0AB405},
    {0x3000000000000000, 0x1000000000000001, 0x958E6E627A05557B},
    {0x1111111111111111, 0x1111111111111111, 0xF40379AB9E0EC533},
    {0x0123456789ABCDEF, 0x1111111111111111, 0x17668DFC7292532D},
    {0x1111111111111111, 0x0123456789ABCDEF, 0x8A5AE1F81AB8F2DD},
    {0xFEDCBA9876543210, 0x0123456789ABCDEF, 0xED39D950FA74BCC4},
    {0x7CA110454A1A6E57, 0x01A1D6D039776742, 0x690F5B0D9A26939B},
    {0x0131D9619DC1376E, 0x5CD54CA83DEF57DA, 0x7A389D10354BD271},
    {0x07A1133E4A0B2686, 0x0248D43806F67172, 0x868EBB51CAB4599A},
    {0x3849674C2602319E, 0x51454B582DDF440A, 0x7178876E01F19B2A},
    {0x04B915BA43FEB5B6, 0x42FD443059577FA2, 0xAF37FB421F8C4095},
    {0x0113B970FD34F2CE, 0x059B5E0851CF143A, 0x86A560F10EC6D85B},
    {0x0170F175468FB5E6, 0x0756D8E0774761D2, 0x0CD3DA020021DC09},
    {0x43297FAD38E373FE, 0x762514B829BF486A, 0xEA676B2CB7DB2B7A},
    {0x07A7137045DA2A16, 0x3BDD119049372802, 0xDFD64A815CAF1A0F},
    {0x04689104C2FD3B2F, 0x26955F6835AF609A, 0x5C513C9C4886C088},
    {0x37D06BB516CB7546, 0x164D5E404F275232, 0x0A2AEEAE3FF4AB77},
    {0x1F08260D1AC2465E, 0x6B056E18759F5CCA, 0xEF1BF03E5DFA575A},
    {0x584023641ABA6176, 0x004BD6EF09176062, 0x88BF0DB6D70DEE56},
    {0x025816164629B007, 0x480D39006EE762F2, 0xA1F9915541020B56},
    {0x49793EBC79B3258F, 0x437540C8698F3CFA, 0x6FBF1CAFCFFD0556},
    {0x4FB05E1515AB73A7, 0x072D43A077075292, 0x2F22E49BAB7CA1AC},
    {0x49E95D6D4CA229BF, 0x02FE55778117F12A, 0x5A6B612CC26CCE4A},
    {0x018310DC409B26D6, 0x1D9D5C5018F728C2, 0x5F4C038ED12B2E41},
    {0x1C587F1C13924FEF, 0x305532286D6F295A, 0x63FAC0D034D9F793},
};
}  // namespace

TEST(StringCipher, TheAllZeroKeyAndTheAllZeroBlockGiveThePublishedValue)
{
    const char achKey[8] = {};
    EXPECT_EQ(0x8CA64DE9C1B123A7u, Encrypt(0, achKey));
    EXPECT_EQ(0u, Decrypt(0x8CA64DE9C1B123A7u, achKey));
}

TEST(StringCipher, ThePublishedVectorsComeOutUnderTheirKeyBytesInReverseOrder)
{
    for (const Vector& vector : VECTORS)
    {
        const std::string strKey = KeyText(vector.ullKey);
        EXPECT_EQ(vector.ullCipher, Encrypt(vector.ullPlain, strKey.data())) << std::hex << vector.ullKey;
        EXPECT_EQ(vector.ullPlain, Decrypt(vector.ullCipher, strKey.data())) << std::hex << vector.ullKey;
        EXPECT_EQ(vector.ullCipher, ReferenceDes(vector.ullPlain, vector.ullKey, true)) << std::hex << vector.ullKey;
        EXPECT_EQ(vector.ullPlain, ReferenceDes(vector.ullCipher, vector.ullKey, false)) << std::hex << vector.ullKey;
    }
}

TEST(StringCipher, AChainOfResultsThatBecomeKeysEndsAtThePublishedValue)
{
    // The published test that feeds results back as keys: sixteen steps, encryption and decryption in turn.
    uint64_t ullValue = 0x9474B8E8C73BCA7D;
    for (int i = 0; i < 16; ++i)
    {
        const std::string strKey = KeyText(ullValue);
        ullValue = i % 2 == 0 ? Encrypt(ullValue, strKey.data()) : Decrypt(ullValue, strKey.data());
    }
    EXPECT_EQ(0x1B1A2DDB4C642438u, ullValue);
}

TEST(StringCipher, RandomKeysAndBlocksAgreeWithTheReference)
{
    Random random(83000);
    for (int i = 0; i < 1500; ++i)
    {
        const uint64_t ullKey = random.Next();
        const uint64_t ullBlock = random.Next();
        const std::string strKey = KeyText(ullKey);
        ASSERT_EQ(ReferenceDes(ullBlock, ullKey, true), Encrypt(ullBlock, strKey.data())) << std::hex << ullKey;
        ASSERT_EQ(ReferenceDes(ullBlock, ullKey, false), Decrypt(ullBlock, strKey.data())) << std::hex << ullKey;
    }
}

TEST(StringCipher, EachSingleBitOfTheKeyAndOfTheBlockAgreesWithTheReference)
{
    for (unsigned uBit = 0; uBit < 64; ++uBit)
    {
        const uint64_t ullOne = uint64_t{1} << uBit;
        const char achZeros[8] = {};
        EXPECT_EQ(ReferenceDes(ullOne, 0, true), Encrypt(ullOne, achZeros)) << uBit;
        EXPECT_EQ(ReferenceDes(0, ullOne, true), Encrypt(0, KeyText(ullOne).data())) << uBit;
    }
}

TEST(StringCipher, BitJOfCharIIsBit8TimesIPlusJOfTheKey)
{
    // "ABCDEFGH" in memory is the key bytes H, G, F, E, D, C, B, A of the standard.
    EXPECT_EQ(ReferenceDes(0x0123456789ABCDEF, 0x4847464544434241, true), Encrypt(0x0123456789ABCDEF, "ABCDEFGH"));
    EXPECT_NE(ReferenceDes(0x0123456789ABCDEF, 0x4142434445464748, true), Encrypt(0x0123456789ABCDEF, "ABCDEFGH"));
}

TEST(StringCipher, TheLeastSignificantBitOfAKeyCharChangesNothing)
{
    const std::string strKey = "k3y.T\xFFx!";
    const uint64_t ullExpected = Encrypt(0x1122334455667788, strKey.data());
    for (size_t uChar = 0; uChar < 8; ++uChar)
    {
        for (unsigned uBit = 0; uBit < 8; ++uBit)
        {
            std::string strFlipped = strKey;
            strFlipped[uChar] = static_cast<char>(strFlipped[uChar] ^ (1 << uBit));
            EXPECT_EQ(uBit == 0, ullExpected == Encrypt(0x1122334455667788, strFlipped.data())) << uChar << " " << uBit;
        }
    }
}

TEST(StringCipher, ExactlyEightCharsOfTheKeyAreReadWhateverTheyAre)
{
    // Nothing is readable behind the eighth char, and a zero in front of it ends nothing.
    const MisalignedBlock key(FromHex("61 62 00 63 64 00 00 65"), 3);
    EXPECT_EQ(ReferenceDes(42, 0x6500006463006261, true), Encrypt(42, key.As<const char>()));
    EXPECT_NE(Encrypt(42, key.As<const char>()), Encrypt(42, "ab\0cd\0\0\x45"));
}

TEST(StringCipher, DecryptingAResultUnderTheSameKeyGivesTheBlockBack)
{
    Random random(83001);
    for (int i = 0; i < 1000; ++i)
    {
        const std::string strKey = KeyText(random.Next());
        const uint64_t ullBlock = random.Next();
        ASSERT_EQ(ullBlock, Decrypt(Encrypt(ullBlock, strKey.data()), strKey.data()));
        ASSERT_EQ(ullBlock, Encrypt(Decrypt(ullBlock, strKey.data()), strKey.data()));
    }
}

TEST(StringCipher, TheSourceIsNotChanged)
{
    Block source(0x0123456789ABCDEF);
    Block result;
    VOEncryptString(result, source, "password");
    EXPECT_EQ(0x0123456789ABCDEFu, source.to_ullong());
    VODecryptString(result, source, "password");
    EXPECT_EQ(0x0123456789ABCDEFu, source.to_ullong());
}

TEST(StringCipher, ResultAndSourceMayBeTheSameObject)
{
    Block block(0x0123456789ABCDEF);
    EXPECT_EQ(1, VOEncryptString(block, block, "password"));
    EXPECT_EQ(Encrypt(0x0123456789ABCDEF, "password"), block.to_ullong());
    EXPECT_EQ(1, VODecryptString(block, block, "password"));
    EXPECT_EQ(0x0123456789ABCDEFu, block.to_ullong());
}

TEST(StringCipher, OneCallLeavesNothingBehindForTheNext)
{
    const uint64_t ullExpected = Encrypt(7, "password");
    Encrypt(7, "another.");
    Decrypt(7, "a third.");
    EXPECT_EQ(ullExpected, Encrypt(7, "password"));
}

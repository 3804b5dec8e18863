// The MD5 digest: published vectors, and an implementation of its own to compare with.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/random.h"
#include "vo_utility.h"

using namespace votest;

namespace
{
Bytes Digest(const Bytes& message)
{
    MD5State kState;
    unsigned char abDigest[16];
    md5_init(&kState);
    md5_append(&kState, message.data(), static_cast<int>(message.size()));
    md5_finish(&kState, abDigest);
    return CopyBytes(abDigest, 16);
}

Bytes Narrow(const std::string& strText)
{
    return Bytes(strText.begin(), strText.end());
}

uint32_t Rotated(uint32_t uValue, unsigned uBy)
{
    return uValue << uBy | uValue >> (32 - uBy);
}

// RFC 1321 in its plain form: the sine table computed, one loop of 64 steps, the message padded as a whole. ullBits is
// the length that the padding says.
Bytes ReferenceDigest(Bytes vecMessage, std::array<uint32_t, 4> auChain, uint64_t ullBits)
{
    static const unsigned s_aauShift[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    vecMessage.push_back(0x80);
    vecMessage.resize((vecMessage.size() + 8 + 63) / 64 * 64);
    WriteU64(vecMessage, vecMessage.size() - 8, ullBits);
    for (size_t uBlock = 0; uBlock < vecMessage.size(); uBlock += 64)
    {
        auto [a, b, c, d] = auChain;
        for (unsigned i = 0; i < 64; ++i)
        {
            const unsigned uRound = i / 16;
            const uint32_t uMix = uRound == 0   ? (b & c) | (~b & d)
                                  : uRound == 1 ? (b & d) | (c & ~d)
                                  : uRound == 2 ? b ^ c ^ d
                                                : c ^ (b | ~d);
            const unsigned uWord = (uRound == 0 ? i : uRound == 1 ? 5 * i + 1 : uRound == 2 ? 3 * i + 5 : 7 * i) % 16;
            const uint32_t uSine = static_cast<uint32_t>(std::floor(std::fabs(std::sin(i + 1.0)) * 4294967296.0));
            const uint32_t uSum = a + uMix + uSine + ReadU32(vecMessage, uBlock + 4 * uWord);
            a = d;
            d = c;
            c = b;
            b += Rotated(uSum, s_aauShift[uRound][i % 4]);
        }
        auChain = {auChain[0] + a, auChain[1] + b, auChain[2] + c, auChain[3] + d};
    }
    return ByteBuilder().U32(auChain[0]).U32(auChain[1]).U32(auChain[2]).U32(auChain[3]).Result();
}

Bytes ReferenceDigest(const Bytes& message)
{
    return ReferenceDigest(message, {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476}, message.size() * 8);
}

Bytes RandomMessage(Random& random, size_t uSize)
{
    Bytes vecMessage(uSize);
    for (unsigned char& uByte : vecMessage)
    {
        uByte = static_cast<unsigned char>(random.Word());
    }
    return vecMessage;
}
}  // namespace

TEST(Md5, ThePublishedVectorsComeOut)
{
    const std::vector<std::pair<std::string, const char*>> vecVector = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    for (const auto& [strMessage, pszDigest] : vecVector)
    {
        EXPECT_TRUE(SameBytes(FromHex(pszDigest), Digest(Narrow(strMessage)))) << strMessage;
        EXPECT_TRUE(SameBytes(FromHex(pszDigest), ReferenceDigest(Narrow(strMessage)))) << strMessage;
    }
}

TEST(Md5, TheEmptyMessageNeedsNothingButInitAndFinish)
{
    MD5State kState;
    unsigned char abDigest[16];
    md5_init(&kState);
    md5_finish(&kState, abDigest);
    EXPECT_TRUE(SameBytes(FromHex("d41d8cd98f00b204e9800998ecf8427e"), CopyBytes(abDigest, 16)));
}

TEST(Md5, EveryLengthUpTo300AgreesWithTheReference)
{
    Random random(82200);
    for (size_t uSize = 0; uSize <= 300; ++uSize)
    {
        const Bytes vecMessage = RandomMessage(random, uSize);
        ASSERT_TRUE(SameBytes(ReferenceDigest(vecMessage), Digest(vecMessage))) << uSize;
    }
}

TEST(Md5, HowAMessageIsCutIntoPiecesDoesNotMatter)
{
    Random random(82201);
    for (int i = 0; i < 300; ++i)
    {
        const Bytes vecMessage = RandomMessage(random, random.Below(3000));
        MD5State kState;
        md5_init(&kState);
        for (size_t uAt = 0; uAt < vecMessage.size();)
        {
            const size_t uPiece = std::min(vecMessage.size() - uAt, random.Below(random.Percent(30) ? 300 : 70));
            const MisalignedBlock piece(CopyBytes(vecMessage.data() + uAt, uPiece), random.Below(16));
            md5_append(&kState, piece.Data(), static_cast<int>(uPiece));
            uAt += uPiece;
        }
        unsigned char abDigest[16];
        md5_finish(&kState, abDigest);
        ASSERT_TRUE(SameBytes(ReferenceDigest(vecMessage), CopyBytes(abDigest, 16))) << vecMessage.size();
    }
}

TEST(Md5, ANumberOfBytesThatIsZeroOrNegativeDoesNothing)
{
    const unsigned char abData[] = {'x', 'y'};
    MD5State kState;
    md5_init(&kState);
    md5_append(&kState, abData, 1);
    const Bytes vecBefore = CopyBytes(&kState, 24 + 1);
    md5_append(&kState, abData, 0);
    md5_append(&kState, abData, -1);
    md5_append(&kState, abData, -2147483647 - 1);
    md5_append(&kState, nullptr, 0);
    EXPECT_TRUE(SameBytes(vecBefore, CopyBytes(&kState, 24 + 1)));
}

TEST(Md5, TheStateHoldsTheBitCountTheChainAndTheBytesNotYetProcessed)
{
    EXPECT_EQ(88u, sizeof(MD5State));
    MD5State kState;
    md5_init(&kState);
    EXPECT_EQ(0u, kState.uBitCount[0]);
    EXPECT_EQ(0u, kState.uBitCount[1]);
    EXPECT_EQ(0x67452301u, kState.uChain[0]);
    EXPECT_EQ(0xEFCDAB89u, kState.uChain[1]);
    EXPECT_EQ(0x98BADCFEu, kState.uChain[2]);
    EXPECT_EQ(0x10325476u, kState.uChain[3]);
    const Bytes vecMessage(70, 'q');
    md5_append(&kState, vecMessage.data(), 70);
    EXPECT_EQ(560u, kState.uBitCount[0]);
    EXPECT_TRUE(SameBytes(Bytes(6, 'q'), CopyBytes(kState.byBlock, 6)));
    EXPECT_NE(0x67452301u, kState.uChain[0]);
}

TEST(Md5, TheBitCountCarriesFromItsLowWordToItsHighWord)
{
    // As after 2 to the 29th bytes less 64: the next block completes the low word.
    MD5State kState;
    md5_init(&kState);
    kState.uBitCount[0] = 0xFFFFFE00;
    const Bytes vecMessage(64 + 10, 'q');
    md5_append(&kState, vecMessage.data(), 64);
    EXPECT_EQ(0u, kState.uBitCount[0]);
    EXPECT_EQ(1u, kState.uBitCount[1]);
    md5_append(&kState, vecMessage.data(), 10);
    EXPECT_EQ(80u, kState.uBitCount[0]);
    EXPECT_EQ(1u, kState.uBitCount[1]);
    unsigned char abDigest[16];
    md5_finish(&kState, abDigest);
    const uint64_t ullBits = 0xFFFFFE00ull + vecMessage.size() * 8;
    EXPECT_TRUE(SameBytes(ReferenceDigest(vecMessage, {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476}, ullBits),
                          CopyBytes(abDigest, 16)));
}

TEST(Md5, TwoStatesDoNotMeet)
{
    MD5State first;
    MD5State second;
    unsigned char abFirst[16];
    unsigned char abSecond[16];
    md5_init(&first);
    md5_init(&second);
    md5_append(&first, Narrow("ab").data(), 2);
    md5_append(&second, Narrow("a").data(), 1);
    md5_append(&first, Narrow("c").data(), 1);
    md5_finish(&second, abSecond);
    md5_finish(&first, abFirst);
    EXPECT_TRUE(SameBytes(FromHex("900150983cd24fb0d6963f7d28e17f72"), CopyBytes(abFirst, 16)));
    EXPECT_TRUE(SameBytes(FromHex("0cc175b9c0f1b6a831c399e269772661"), CopyBytes(abSecond, 16)));
}

// The MD5 message digest of RFC 1321.
#include <algorithm>
#include <bit>

#include "internal/vo_bytes.h"
#include "vo_utility.h"

namespace
{

constexpr unsigned int kBlockSize = 64;
constexpr unsigned int kLengthOffset = 56;  // where the message length stands in the last block

// The four functions of the rounds, in the forms with the shortest chain of operations.
inline unsigned int F(unsigned int x, unsigned int y, unsigned int z)
{
    return ((y ^ z) & x) ^ z;
}
inline unsigned int G(unsigned int x, unsigned int y, unsigned int z)
{
    return (x & z) + (y & ~z);
}
inline unsigned int H(unsigned int x, unsigned int y, unsigned int z)
{
    return x ^ y ^ z;
}
inline unsigned int I(unsigned int x, unsigned int y, unsigned int z)
{
    return y ^ (x | ~z);
}

#define VO_MD5_STEP(f, a, b, c, d, k, s, t) a = b + std::rotl(a + (f(b, c, d) + (X[k] + t)), s)

void Compress(unsigned int* puChain, const unsigned char* pbBlock)
{
    unsigned int X[16];
    memcpy(X, pbBlock, sizeof(X));
    unsigned int a = puChain[0];
    unsigned int b = puChain[1];
    unsigned int c = puChain[2];
    unsigned int d = puChain[3];

    // clang-format off
    VO_MD5_STEP(F, a, b, c, d,  0,  7, 0xd76aa478u); VO_MD5_STEP(F, d, a, b, c,  1, 12, 0xe8c7b756u);
    VO_MD5_STEP(F, c, d, a, b,  2, 17, 0x242070dbu); VO_MD5_STEP(F, b, c, d, a,  3, 22, 0xc1bdceeeu);
    VO_MD5_STEP(F, a, b, c, d,  4,  7, 0xf57c0fafu); VO_MD5_STEP(F, d, a, b, c,  5, 12, 0x4787c62au);
    VO_MD5_STEP(F, c, d, a, b,  6, 17, 0xa8304613u); VO_MD5_STEP(F, b, c, d, a,  7, 22, 0xfd469501u);
    VO_MD5_STEP(F, a, b, c, d,  8,  7, 0x698098d8u); VO_MD5_STEP(F, d, a, b, c,  9, 12, 0x8b44f7afu);
    VO_MD5_STEP(F, c, d, a, b, 10, 17, 0xffff5bb1u); VO_MD5_STEP(F, b, c, d, a, 11, 22, 0x895cd7beu);
    VO_MD5_STEP(F, a, b, c, d, 12,  7, 0x6b901122u); VO_MD5_STEP(F, d, a, b, c, 13, 12, 0xfd987193u);
    VO_MD5_STEP(F, c, d, a, b, 14, 17, 0xa679438eu); VO_MD5_STEP(F, b, c, d, a, 15, 22, 0x49b40821u);

    VO_MD5_STEP(G, a, b, c, d,  1,  5, 0xf61e2562u); VO_MD5_STEP(G, d, a, b, c,  6,  9, 0xc040b340u);
    VO_MD5_STEP(G, c, d, a, b, 11, 14, 0x265e5a51u); VO_MD5_STEP(G, b, c, d, a,  0, 20, 0xe9b6c7aau);
    VO_MD5_STEP(G, a, b, c, d,  5,  5, 0xd62f105du); VO_MD5_STEP(G, d, a, b, c, 10,  9, 0x02441453u);
    VO_MD5_STEP(G, c, d, a, b, 15, 14, 0xd8a1e681u); VO_MD5_STEP(G, b, c, d, a,  4, 20, 0xe7d3fbc8u);
    VO_MD5_STEP(G, a, b, c, d,  9,  5, 0x21e1cde6u); VO_MD5_STEP(G, d, a, b, c, 14,  9, 0xc33707d6u);
    VO_MD5_STEP(G, c, d, a, b,  3, 14, 0xf4d50d87u); VO_MD5_STEP(G, b, c, d, a,  8, 20, 0x455a14edu);
    VO_MD5_STEP(G, a, b, c, d, 13,  5, 0xa9e3e905u); VO_MD5_STEP(G, d, a, b, c,  2,  9, 0xfcefa3f8u);
    VO_MD5_STEP(G, c, d, a, b,  7, 14, 0x676f02d9u); VO_MD5_STEP(G, b, c, d, a, 12, 20, 0x8d2a4c8au);

    VO_MD5_STEP(H, a, b, c, d,  5,  4, 0xfffa3942u); VO_MD5_STEP(H, d, a, b, c,  8, 11, 0x8771f681u);
    VO_MD5_STEP(H, c, d, a, b, 11, 16, 0x6d9d6122u); VO_MD5_STEP(H, b, c, d, a, 14, 23, 0xfde5380cu);
    VO_MD5_STEP(H, a, b, c, d,  1,  4, 0xa4beea44u); VO_MD5_STEP(H, d, a, b, c,  4, 11, 0x4bdecfa9u);
    VO_MD5_STEP(H, c, d, a, b,  7, 16, 0xf6bb4b60u); VO_MD5_STEP(H, b, c, d, a, 10, 23, 0xbebfbc70u);
    VO_MD5_STEP(H, a, b, c, d, 13,  4, 0x289b7ec6u); VO_MD5_STEP(H, d, a, b, c,  0, 11, 0xeaa127fau);
    VO_MD5_STEP(H, c, d, a, b,  3, 16, 0xd4ef3085u); VO_MD5_STEP(H, b, c, d, a,  6, 23, 0x04881d05u);
    VO_MD5_STEP(H, a, b, c, d,  9,  4, 0xd9d4d039u); VO_MD5_STEP(H, d, a, b, c, 12, 11, 0xe6db99e5u);
    VO_MD5_STEP(H, c, d, a, b, 15, 16, 0x1fa27cf8u); VO_MD5_STEP(H, b, c, d, a,  2, 23, 0xc4ac5665u);

    VO_MD5_STEP(I, a, b, c, d,  0,  6, 0xf4292244u); VO_MD5_STEP(I, d, a, b, c,  7, 10, 0x432aff97u);
    VO_MD5_STEP(I, c, d, a, b, 14, 15, 0xab9423a7u); VO_MD5_STEP(I, b, c, d, a,  5, 21, 0xfc93a039u);
    VO_MD5_STEP(I, a, b, c, d, 12,  6, 0x655b59c3u); VO_MD5_STEP(I, d, a, b, c,  3, 10, 0x8f0ccc92u);
    VO_MD5_STEP(I, c, d, a, b, 10, 15, 0xffeff47du); VO_MD5_STEP(I, b, c, d, a,  1, 21, 0x85845dd1u);
    VO_MD5_STEP(I, a, b, c, d,  8,  6, 0x6fa87e4fu); VO_MD5_STEP(I, d, a, b, c, 15, 10, 0xfe2ce6e0u);
    VO_MD5_STEP(I, c, d, a, b,  6, 15, 0xa3014314u); VO_MD5_STEP(I, b, c, d, a, 13, 21, 0x4e0811a1u);
    VO_MD5_STEP(I, a, b, c, d,  4,  6, 0xf7537e82u); VO_MD5_STEP(I, d, a, b, c, 11, 10, 0xbd3af235u);
    VO_MD5_STEP(I, c, d, a, b,  2, 15, 0x2ad7d2bbu); VO_MD5_STEP(I, b, c, d, a,  9, 21, 0xeb86d391u);
    // clang-format on

    puChain[0] += a;
    puChain[1] += b;
    puChain[2] += c;
    puChain[3] += d;
}

#undef VO_MD5_STEP

unsigned int BytesInBlock(const MD5State* pState)
{
    return (pState->uBitCount[0] >> 3) % kBlockSize;
}

}  // namespace

void md5_init(MD5State* pState)
{
    pState->uBitCount[0] = 0;
    pState->uBitCount[1] = 0;
    pState->uChain[0] = 0x67452301u;
    pState->uChain[1] = 0xefcdab89u;
    pState->uChain[2] = 0x98badcfeu;
    pState->uChain[3] = 0x10325476u;
}

void md5_append(MD5State* pState, const unsigned char* pData, int nBytes)
{
    if (nBytes <= 0)
    {
        return;
    }
    unsigned int uLeft = static_cast<unsigned int>(nBytes);
    const unsigned int uFilled = BytesInBlock(pState);

    // The count of bits carries from the low word to the high one.
    const unsigned int uOldLow = pState->uBitCount[0];
    pState->uBitCount[0] += uLeft << 3;
    pState->uBitCount[1] += (uLeft >> 29) + (pState->uBitCount[0] < uOldLow ? 1 : 0);

    if (uFilled != 0)
    {
        const unsigned int uTaken = std::min(uLeft, kBlockSize - uFilled);
        memcpy(pState->byBlock + uFilled, pData, uTaken);
        if (uFilled + uTaken < kBlockSize)
        {
            return;
        }
        Compress(pState->uChain, pState->byBlock);
        pData += uTaken;
        uLeft -= uTaken;
    }
    for (; uLeft >= kBlockSize; pData += kBlockSize, uLeft -= kBlockSize)
    {
        Compress(pState->uChain, pData);
    }
    if (uLeft != 0)
    {
        memcpy(pState->byBlock, pData, uLeft);
    }
}

void md5_finish(MD5State* pState, unsigned char* pDigest)
{
    static const unsigned char s_abPadding[kBlockSize] = {0x80};
    unsigned char abLength[8];
    memcpy(abLength, pState->uBitCount, sizeof(abLength));

    const unsigned int uFilled = BytesInBlock(pState);
    const unsigned int uPadding = (uFilled < kLengthOffset ? kLengthOffset : kLengthOffset + kBlockSize) - uFilled;
    md5_append(pState, s_abPadding, static_cast<int>(uPadding));
    md5_append(pState, abLength, sizeof(abLength));
    memcpy(pDigest, pState->uChain, sizeof(pState->uChain));
}

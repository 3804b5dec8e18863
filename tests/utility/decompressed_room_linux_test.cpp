// How large the buffer of a decompression is: the C library tells it here.
#include <gtest/gtest.h>
#include <malloc.h>
#include <stdlib.h>

#include <algorithm>

#include "support/bytes.h"
#include "vo_utility.h"

using namespace votest;

namespace
{
// Five bytes "A", then the end mark.
const Bytes kStream = FromHex("16 41 41 41 41 41 11 00 00");

Bytes ClaimingBlock(uint64_t ullClaimed)
{
    return ByteBuilder().U64(ullClaimed).U64(kStream.size()).Append(kStream).Zeros(8).Result();
}
}  // namespace

TEST(DecompressedRoom, IsWhatTheHeadClaimsWithZerosBehindTheData)
{
    for (const uint64_t ullClaimed : {5ull, 4096ull, 100'000ull, 10'000'000ull})
    {
        Bytes vecBlock = ClaimingBlock(ullClaimed);
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        ASSERT_EQ(1, VODeCompressBuffer_lzo1x(&pbResult, &uSize, vecBlock.data()));
        EXPECT_EQ(5u, uSize);
        ASSERT_LE(ullClaimed, malloc_usable_size(pbResult));
        EXPECT_EQ(5, std::count(pbResult, pbResult + ullClaimed, 'A'));
        EXPECT_EQ(static_cast<ptrdiff_t>(ullClaimed - 5), std::count(pbResult, pbResult + ullClaimed, 0));
        free(pbResult);
    }
}

TEST(DecompressedRoom, OfAClaimThatNoLengthCanTellIsWhatTheStreamCanHold)
{
    for (const uint64_t ullClaimed : {0x100000000ull, 1ull << 40, ~0ull})
    {
        Bytes vecBlock = ClaimingBlock(ullClaimed);
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        ASSERT_EQ(1, VODeCompressBuffer_lzo1x(&pbResult, &uSize, vecBlock.data()));
        EXPECT_EQ(5u, uSize);
        EXPECT_GE(100'000u, malloc_usable_size(pbResult));
        free(pbResult);
    }
}

#include <string.h>

#include <algorithm>
#include <vector>

#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "vo_utility.h"

// Eight bytes are the size that the block claims, the others its stream. A claim below 4 GiB is allocated, so here one
// stays small enough to be quick; a larger one is taken as it is.
void FuzzDecompressor(const uint8_t* pbData, size_t uSize)
{
    uint64_t ullClaimed = 0;
    if (uSize < sizeof(ullClaimed))
    {
        return;
    }
    memcpy(&ullClaimed, pbData, sizeof(ullClaimed));
    ullClaimed = ullClaimed >> 32 == 0 ? ullClaimed & 0xFFFFFF : ullClaimed;
    const uint64_t ullStream = uSize - sizeof(ullClaimed);
    std::vector<unsigned char> vecBlock(2 * sizeof(uint64_t) + ullStream);
    memcpy(vecBlock.data(), &ullClaimed, sizeof(ullClaimed));
    memcpy(vecBlock.data() + sizeof(ullClaimed), &ullStream, sizeof(ullStream));
    std::copy(pbData + sizeof(ullClaimed), pbData + uSize, vecBlock.data() + 2 * sizeof(uint64_t));

    unsigned char* pbResult = nullptr;
    unsigned int uResult = 0;
    if (VODeCompressBuffer_lzo1x(&pbResult, &uResult, vecBlock.data()) != 1)
    {
        FUZZ_REQUIRE(pbResult == nullptr && uResult == 0);
        return;
    }
    FUZZ_REQUIRE(uResult <= ullClaimed);
    // What came out goes in again and comes back.
    unsigned char* pbBlock = nullptr;
    unsigned int uBlock = 0;
    if (uResult != 0)
    {
        unsigned char* pbAgain = nullptr;
        unsigned int uAgain = 0;
        FUZZ_REQUIRE(VOCompressBuffer_lzo1x(&pbBlock, &uBlock, pbResult, uResult) == 1);
        FUZZ_REQUIRE(VODeCompressBuffer_lzo1x(&pbAgain, &uAgain, pbBlock) == 1);
        FUZZ_REQUIRE(uAgain == uResult && memcmp(pbAgain, pbResult, uResult) == 0);
        free(pbAgain);
    }
    free(pbBlock);
    free(pbResult);
}

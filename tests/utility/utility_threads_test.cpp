// The services hold no state of their own: many threads use them at once. Made for the thread sanitizer.
#include <stdlib.h>

#include <atomic>
#include <bitset>
#include <thread>
#include <vector>

#include "support/bytes.h"
#include "vo_string_cipher.h"
#include "vo_utility.h"

using namespace votest;

namespace
{
// Compresses, decompresses and digests one source; true when everything comes out as it has to.
bool UseAll(const Bytes& source, const Bytes& digest)
{
    Bytes vecSource = source;
    unsigned char* pbBlock = nullptr;
    unsigned char* pbResult = nullptr;
    unsigned int uBlock = 0;
    unsigned int uResult = 0;
    bool bGood =
        VOCompressBuffer_lzo1x(&pbBlock, &uBlock, vecSource.data(), static_cast<unsigned int>(vecSource.size())) == 1 &&
        VODeCompressBuffer_lzo1x(&pbResult, &uResult, pbBlock) == 1 && CopyBytes(pbResult, uResult) == source;
    free(pbBlock);
    free(pbResult);

    MD5State kState;
    unsigned char abDigest[16];
    md5_init(&kState);
    md5_append(&kState, source.data(), static_cast<int>(source.size()));
    md5_finish(&kState, abDigest);
    return bGood && CopyBytes(abDigest, 16) == digest;
}
}  // namespace

TEST(UtilityThreads, BlocksAndDigestsOfManyThreadsComeOutRight)
{
    // A thousand times "a" has this digest.
    const Bytes vecSource(1000, 'a');
    const Bytes vecDigest = FromHex("cabe45dcc9ae5b66ba86600cca6b8ba8");
    ASSERT_TRUE(UseAll(vecSource, vecDigest));
    std::atomic<int> nWrong = 0;
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < 8; ++nThread)
    {
        vecThread.emplace_back(
            [&]
            {
                for (int i = 0; i < 20; ++i)
                {
                    nWrong += UseAll(vecSource, vecDigest) ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : vecThread)
    {
        thread.join();
    }
    EXPECT_EQ(0, nWrong);
}

TEST(UtilityThreads, CiphersWithDifferentKeysDoNotMeet)
{
    const char* const apszKeys[] = {"password", "another.", "a third.", "the last"};
    std::atomic<int> nWrong = 0;
    std::vector<std::thread> vecThread;
    for (const char* pszKey : apszKeys)
    {
        std::bitset<64> alone(0x0123456789ABCDEF);
        VOEncryptString(alone, alone, pszKey);
        vecThread.emplace_back(
            [&nWrong, pszKey, alone]
            {
                for (int i = 0; i < 2000; ++i)
                {
                    std::bitset<64> block(0x0123456789ABCDEF);
                    VOEncryptString(block, block, pszKey);
                    nWrong += block == alone ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : vecThread)
    {
        thread.join();
    }
    EXPECT_EQ(0, nWrong);
}

// Zeroed memory, on both systems.
#include "platform/vo_memory.h"

#include <stdlib.h>

#include <new>

#include "platform/sanitizers.h"
#include "tests/platform/platform_test_support.h"

TEST(ZeroedMemory, IsZeroAtAnySizeEvenWhereMemoryIsUsedAgain)
{
    for (const size_t uSize : {size_t{1}, size_t{24}, size_t{4096}, size_t{100000}, kVOHugePageThreshold - 1,
                               kVOHugePageThreshold, (size_t{9} << 20) + 12345})
    {
        for (int nRound = 0; nRound < 3; ++nRound)
        {
            unsigned char* const pBlock = static_cast<unsigned char*>(VOAllocateZeroed(uSize));
            ASSERT_NE(nullptr, pBlock);
            ASSERT_TRUE(std::all_of(pBlock, pBlock + uSize, [](unsigned char uByte) { return uByte == 0; }));
            memset(pBlock, 0xFF, uSize);
            free(pBlock);
        }
    }
}

TEST(ZeroedMemory, OfNoSizeCanBeFreed)
{
    void* const pBlock = VOAllocateZeroed(0);
    EXPECT_NE(nullptr, pBlock);
    free(pBlock);
}

TEST(ZeroedMemory, CanBeGrownByTheRuntime)
{
    char* pBlock = static_cast<char*>(VOAllocateZeroed(kVOHugePageThreshold));
    memcpy(pBlock, "moved", 6);
    pBlock = static_cast<char*>(realloc(pBlock, 2 * kVOHugePageThreshold));
    ASSERT_NE(nullptr, pBlock);
    EXPECT_STREQ("moved", pBlock);
    free(pBlock);
}

TEST(ZeroedMemory, ThatIsNotThereThrows)
{
    if (VO_ADDRESS_SANITIZER != 0 || VO_THREAD_SANITIZER != 0)
    {
        GTEST_SKIP() << "a sanitizer's allocator ends the program instead";
    }
    EXPECT_THROW(VOAllocateZeroed(SIZE_MAX / 2), std::bad_alloc);
}

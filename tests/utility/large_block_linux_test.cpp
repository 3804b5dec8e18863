// A source of nearly 4 GiB: the room for its block doesn't fit 32 bits. The source is one page of zeros, mapped as
// often as the system likes, so the test costs address space and little memory.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>

#include "support/bytes.h"
#include "vo_utility.h"

using namespace votest;

TEST(LargeBlock, TheRoomForASourceOfNearly4GiBIsNotCutTo32Bits)
{
    const size_t uSize = 0xF0F0F100u;  // the size and a sixteenth of it are just above 2 to the 32nd
    void* pvSource = mmap(nullptr, uSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(MAP_FAILED, pvSource);
    unsigned char* pbBlock = nullptr;
    unsigned int uBlockSize = 0;
    const int nResult = VOCompressBuffer_lzo1x(&pbBlock, &uBlockSize, static_cast<unsigned char*>(pvSource),
                                               static_cast<unsigned int>(uSize));
    munmap(pvSource, uSize);
    ASSERT_EQ(1, nResult);
    EXPECT_EQ(uSize, ReadU64(CopyBytes(pbBlock, 16), 0));
    EXPECT_EQ(uBlockSize - 24u, ReadU64(CopyBytes(pbBlock, 16), 8));
    EXPECT_TRUE(SameBytes(FromHex("11 00 00 00 00 00 00 00 00 00 00"), CopyBytes(pbBlock + uBlockSize - 11, 11)));
    free(pbBlock);
}

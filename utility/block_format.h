// The compressed block, as its reader and its writer in this library see it.
#pragma once

#include "internal/vo_bytes.h"

#pragma pack(push, 1)
struct VOCompressedBlockHead
{
    unsigned long long uSrcSize;         // bytes before compression
    unsigned long long uCompressedSize;  // bytes of the stream that follows
};
#pragma pack(pop)
static_assert(sizeof(VOCompressedBlockHead) == 16 && offsetof(VOCompressedBlockHead, uCompressedSize) == 8);

constexpr unsigned int kVOBlockTailSize = 8;

// The second half of VODeCompressBuffer_lzo1x, under its name: decompresses the stream behind a head that was read once
// and checked by the caller, who vouches for kHead.uCompressedSize bytes at pbStream.
int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, const VOCompressedBlockHead& kHead,
                             const unsigned char* pbStream);

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

// VODeCompressBuffer_lzo1x, and under its name, for a block whose head was read once and checked by the caller, who
// vouches for head.uCompressedSize bytes at pbStream. What the head claims beyond what its stream can give is not
// allocated: the head isn't trusted, and the caller goes by *puBuffSize alone.
int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, const VOCompressedBlockHead& head,
                             const unsigned char* pbStream);

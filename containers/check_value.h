// The check value of blocks that go from one process to another: CRC-32 with the polynomial 0x04C11DB7, bit-reversed,
// as in Ethernet and zip archives.
#pragma once

#include <lzo/lzoconf.h>

#include <stddef.h>
#include <stdint.h>

inline uint32_t VOCheckValue(const void* pvBytes, size_t uSize)
{
    return lzo_crc32(0, static_cast<const unsigned char*>(pvBytes), uSize);
}

// DES as the standard's text reads, bit by bit on strings of bits that count from 1: slow, and nothing in common with
// the library.
#pragma once

#include <cstdint>

namespace votest
{
// A block or a key as a big-endian number: bit 1 is the most significant one.
uint64_t ReferenceDes(uint64_t ullBlock, uint64_t ullKey, bool bEncrypt);
}  // namespace votest

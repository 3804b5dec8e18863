// The hashes of the formats, written a second time from their definitions, so that tests don't ask the library what the
// library should have answered.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

#include "vo_types.h"

namespace votest
{
// Word uIndex (0 to 255) of row uRow (0 to 4) of the string hash's table.
uint32_t ReferenceHashWord(uint32_t uRow, uint32_t uIndex);

// The string hash of 16-bit text: two steps for a unit above 255, one for any other.
uint32_t ReferenceHash(const VOWString& strText, uint32_t uRow);

// FNV-1a, 64 bits, over the uBytes low bytes of a key, reduced to its low 32 bits.
uint32_t ReferenceKeyHash(uint64_t ullKey, size_t uBytes);
}  // namespace votest

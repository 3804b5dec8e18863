// Byte blocks for tests of wire formats: written by hand, compared with the place of the first difference, and placed
// at any misalignment with nothing readable behind them.
#pragma once

#include <gtest/gtest.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>
#include <string_view>
#include <vector>

#include "vo_types.h"

namespace votest
{
typedef std::vector<unsigned char> Bytes;

// Writes an image field by field, little-endian whatever the machine is.
class ByteBuilder
{
public:
    ByteBuilder& U8(uint8_t uValue);
    ByteBuilder& U16(uint16_t uValue);
    ByteBuilder& U32(uint32_t uValue);
    ByteBuilder& U64(uint64_t ullValue);
    ByteBuilder& Zeros(size_t uCount);
    ByteBuilder& Append(const Bytes& bytes);

    // Characters as they are, without a terminator.
    ByteBuilder& Narrow(std::string_view strText);

    // The 8 bytes of a version: the text, filled with zeros.
    ByteBuilder& Version(std::string_view strVersion);

    // 16-bit units; the terminator only with Text.
    ByteBuilder& Units(const VOWString& strText);
    ByteBuilder& Text(const VOWString& strText);

    // Pairs of hex digits; blanks and line ends are skipped, "#" begins a comment that runs to the line's end.
    ByteBuilder& Hex(std::string_view strHex);

    size_t Size() const { return m_vecBytes.size(); }
    const Bytes& Result() const { return m_vecBytes; }

private:
    Bytes m_vecBytes;
};

// The bytes that a text of hex digits names (see ByteBuilder::Hex).
Bytes FromHex(std::string_view strHex);

// Little-endian reads at any offset; the offset is checked.
uint32_t ReadU32(const Bytes& bytes, size_t uOffset);
uint64_t ReadU64(const Bytes& bytes, size_t uOffset);
void WriteU32(Bytes& theBytes, size_t uOffset, uint32_t uValue);
void WriteU64(Bytes& theBytes, size_t uOffset, uint64_t ullValue);

// The CRC-32 of a part, bit by bit from its definition.
uint32_t ReferenceCheck(const Bytes& bytes, size_t uFrom, size_t uEnd);

// uSize bytes copied from memory.
Bytes CopyBytes(const void* pvFrom, size_t uSize);

// The bytes of an image that was made by a GetAlloc; releases it.
Bytes TakeBytes(void* pvAlloc, size_t uSize);

// Success when both are equal; otherwise both sizes, the offset of the first difference, and the bytes around it.
testing::AssertionResult SameBytes(const Bytes& expected, const Bytes& actual);

// A copy of a block whose first byte lies uMisalignment bytes (0 to 15) behind a 16-byte boundary, and whose last byte
// is the last of its allocation, so that the address sanitizer sees every read behind it.
class MisalignedBlock
{
public:
    explicit MisalignedBlock(const Bytes& bytes, size_t uMisalignment = 0);
    ~MisalignedBlock();
    MisalignedBlock(const MisalignedBlock&) = delete;
    MisalignedBlock& operator=(const MisalignedBlock&) = delete;

    unsigned char* Data() const { return m_pbData; }
    size_t Size() const { return m_uSize; }

    template <typename T>
    T* As() const
    {
        void* pvData = m_pbData;
        return static_cast<T*>(pvData);
    }

    Bytes Current() const { return CopyBytes(m_pbData, m_uSize); }

private:
    unsigned char* m_pbAllocation;
    unsigned char* m_pbData;
    size_t m_uSize;
};
}  // namespace votest

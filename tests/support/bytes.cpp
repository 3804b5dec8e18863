#include "support/bytes.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <stdexcept>

namespace votest
{
namespace
{
int DigitOf(char ch)
{
    if (ch >= '0' && ch <= '9')
    {
        return ch - '0';
    }
    const char lower = static_cast<char>(ch | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::string DumpAround(const Bytes& bytes, size_t uOffset)
{
    const size_t uBegin = uOffset >= 8 ? uOffset - 8 : 0;
    const size_t uEnd = std::min(bytes.size(), uOffset + 16);
    std::string strDump;
    for (size_t i = uBegin; i < uEnd; ++i)
    {
        char szByte[8];
        snprintf(szByte, sizeof(szByte), i == uOffset ? "[%02x] " : "%02x ", bytes[i]);
        strDump += szByte;
    }
    return strDump;
}

void CheckRange(const Bytes& bytes, size_t uOffset, size_t uSize)
{
    if (uOffset > bytes.size() || uSize > bytes.size() - uOffset)
    {
        throw std::out_of_range("a field behind the end of the image");
    }
}

uint64_t ReadLittle(const Bytes& bytes, size_t uOffset, size_t uSize)
{
    CheckRange(bytes, uOffset, uSize);
    uint64_t ullValue = 0;
    for (size_t i = uSize; i-- > 0;)
    {
        ullValue = ullValue << 8 | bytes[uOffset + i];
    }
    return ullValue;
}

void WriteLittle(Bytes& bytes, size_t uOffset, size_t uSize, uint64_t ullValue)
{
    CheckRange(bytes, uOffset, uSize);
    for (size_t i = 0; i < uSize; ++i)
    {
        bytes[uOffset + i] = static_cast<unsigned char>(ullValue >> (8 * i));
    }
}
}  // namespace

ByteBuilder& ByteBuilder::U8(uint8_t uValue)
{
    m_vecBytes.push_back(uValue);
    return *this;
}

ByteBuilder& ByteBuilder::U16(uint16_t uValue)
{
    return U8(static_cast<uint8_t>(uValue & 0xFF)).U8(static_cast<uint8_t>(uValue >> 8));
}

ByteBuilder& ByteBuilder::U32(uint32_t uValue)
{
    return U16(static_cast<uint16_t>(uValue & 0xFFFF)).U16(static_cast<uint16_t>(uValue >> 16));
}

ByteBuilder& ByteBuilder::U64(uint64_t ullValue)
{
    return U32(static_cast<uint32_t>(ullValue & 0xFFFFFFFFu)).U32(static_cast<uint32_t>(ullValue >> 32));
}

ByteBuilder& ByteBuilder::Zeros(size_t uCount)
{
    m_vecBytes.insert(m_vecBytes.end(), uCount, static_cast<unsigned char>(0));
    return *this;
}

ByteBuilder& ByteBuilder::Append(const Bytes& bytes)
{
    m_vecBytes.insert(m_vecBytes.end(), bytes.begin(), bytes.end());
    return *this;
}

ByteBuilder& ByteBuilder::Narrow(std::string_view strText)
{
    for (const char ch : strText)
    {
        U8(static_cast<uint8_t>(ch));
    }
    return *this;
}

ByteBuilder& ByteBuilder::Version(std::string_view strVersion)
{
    return Narrow(strVersion.substr(0, 8)).Zeros(8 - std::min<size_t>(8, strVersion.size()));
}

ByteBuilder& ByteBuilder::Units(const VOWString& strText)
{
    for (const VOWCHAR ch : strText)
    {
        U16(static_cast<uint16_t>(ch));
    }
    return *this;
}

ByteBuilder& ByteBuilder::Text(const VOWString& strText)
{
    return Units(strText).U16(0);
}

ByteBuilder& ByteBuilder::Hex(std::string_view strHex)
{
    int nHigh = -1;
    for (size_t i = 0; i < strHex.size(); ++i)
    {
        if (strHex[i] == '#')
        {
            i = std::min(strHex.find('\n', i), strHex.size() - 1);
            continue;
        }
        const int nDigit = DigitOf(strHex[i]);
        if (nDigit < 0)
        {
            if (strHex[i] != ' ' && strHex[i] != '\n')
            {
                throw std::invalid_argument("not a hex digit");
            }
            continue;
        }
        if (nHigh < 0)
        {
            nHigh = nDigit;
            continue;
        }
        U8(static_cast<uint8_t>(nHigh * 16 + nDigit));
        nHigh = -1;
    }
    if (nHigh >= 0)
    {
        throw std::invalid_argument("an odd number of hex digits");
    }
    return *this;
}

Bytes FromHex(std::string_view strHex)
{
    return ByteBuilder().Hex(strHex).Result();
}

uint32_t ReadU32(const Bytes& bytes, size_t uOffset)
{
    return static_cast<uint32_t>(ReadLittle(bytes, uOffset, 4));
}

uint64_t ReadU64(const Bytes& bytes, size_t uOffset)
{
    return ReadLittle(bytes, uOffset, 8);
}

void WriteU32(Bytes& bytes, size_t uOffset, uint32_t uValue)
{
    WriteLittle(bytes, uOffset, 4, uValue);
}

void WriteU64(Bytes& bytes, size_t uOffset, uint64_t ullValue)
{
    WriteLittle(bytes, uOffset, 8, ullValue);
}

uint32_t ReferenceCheck(const Bytes& bytes, size_t uFrom, size_t uEnd)
{
    uint32_t uCheck = 0xFFFFFFFFu;
    for (size_t i = uFrom; i < uEnd; ++i)
    {
        uCheck ^= bytes.at(i);
        for (int nBit = 0; nBit < 8; ++nBit)
        {
            uCheck = (uCheck >> 1) ^ ((uCheck & 1) != 0 ? 0xEDB88320u : 0);
        }
    }
    return ~uCheck;
}

Bytes CopyBytes(const void* pvFrom, size_t uSize)
{
    Bytes vecBytes(uSize);
    if (uSize != 0)
    {
        memcpy(vecBytes.data(), pvFrom, uSize);
    }
    return vecBytes;
}

Bytes TakeBytes(void* pvAlloc, size_t uSize)
{
    if (pvAlloc == nullptr)
    {
        ADD_FAILURE() << "there is no image";
        return Bytes();
    }
    Bytes vecBytes = CopyBytes(pvAlloc, uSize);
    free(pvAlloc);
    return vecBytes;
}

testing::AssertionResult SameBytes(const Bytes& expected, const Bytes& actual)
{
    const size_t uCommon = std::min(expected.size(), actual.size());
    size_t uAt = 0;
    while (uAt < uCommon && expected[uAt] == actual[uAt])
    {
        ++uAt;
    }
    if (uAt == uCommon && expected.size() == actual.size())
    {
        return testing::AssertionSuccess() << "both have the same " << uCommon << " bytes";
    }
    return testing::AssertionFailure() << "expected " << expected.size() << " bytes, actual " << actual.size()
                                       << " bytes, first difference at offset " << uAt
                                       << "\n  expected: " << DumpAround(expected, uAt)
                                       << "\n  actual:   " << DumpAround(actual, uAt);
}

MisalignedBlock::MisalignedBlock(const Bytes& bytes, size_t uMisalignment)
    : m_pbAllocation(static_cast<unsigned char*>(malloc(uMisalignment + bytes.size() + (bytes.empty() ? 1 : 0)))),
      m_pbData(m_pbAllocation + uMisalignment),
      m_uSize(bytes.size())
{
    if (m_uSize != 0)
    {
        memcpy(m_pbData, bytes.data(), m_uSize);
    }
}

MisalignedBlock::~MisalignedBlock()
{
    free(m_pbAllocation);
}
}  // namespace votest

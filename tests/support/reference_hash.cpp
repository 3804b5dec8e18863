#include "support/reference_hash.h"

#include <array>

namespace votest
{
namespace
{
typedef std::array<std::array<uint32_t, 256>, 5> HashTable;

HashTable MakeHashTable()
{
    HashTable aaTable = {};
    uint64_t ullSeed = 0x00100001;
    const auto fnNext = [&ullSeed]
    {
        ullSeed = (ullSeed * 125 + 3) % 0x2AAAAB;
        return static_cast<uint32_t>(ullSeed & 0xFFFF);
    };
    for (size_t uIndex = 0; uIndex < 256; ++uIndex)
    {
        for (size_t uRow = 0; uRow < 5; ++uRow)
        {
            const uint32_t uHigh = fnNext();
            const uint32_t uLow = fnNext();
            aaTable[uRow][uIndex] = uHigh << 16 | uLow;
        }
    }
    return aaTable;
}
}  // namespace

uint32_t ReferenceHashWord(uint32_t uRow, uint32_t uIndex)
{
    static const HashTable s_table = MakeHashTable();
    return s_table.at(uRow).at(uIndex);
}

uint32_t ReferenceHash(const VOWString& strText, uint32_t uRow)
{
    uint32_t uSeed1 = 0x7FED7FED;
    uint32_t uSeed2 = 0xEEEEEEEE;
    const auto fnStep = [&](uint32_t uByte)
    {
        uSeed1 = ReferenceHashWord(uRow, uByte) ^ (uSeed1 + uSeed2);
        uSeed2 = uByte + uSeed1 + 33 * uSeed2 + 3;
    };
    for (const VOWCHAR ch : strText)
    {
        const uint32_t uUnit = static_cast<uint32_t>(ch) & 0xFFFF;
        if (uUnit > 0xFF)
        {
            fnStep(uUnit >> 8);
        }
        fnStep(uUnit & 0xFF);
    }
    return uSeed1;
}

uint32_t ReferenceKeyHash(uint64_t ullKey, size_t uBytes)
{
    uint64_t ullHash = 14695981039346656037ull;
    for (size_t i = 0; i < uBytes; ++i)
    {
        ullHash ^= ullKey >> (8 * i) & 0xFF;
        ullHash *= 1099511628211ull;
    }
    return static_cast<uint32_t>(ullHash & 0xFFFFFFFFu);
}
}  // namespace votest

// DES on one block. What would cost in the plain form is the key schedule, which every call needs anew: here it is the
// union of 16 precomputed ones, and it stays with its call, so that calls don't meet.
#include "utility/des_tables.h"
#include "vo_string_cipher.h"

namespace
{

using namespace vodes;

alignas(64) constexpr BoxTable kBoxTable = MakeBoxTable();
alignas(64) constexpr KeyTable kKeyTable = MakeKeyTable();

// Char 7 is the first byte of the standard's key.
Schedule MakeSchedule(const char* pszKey)
{
    const uint64_t* apUpper[8];
    const uint64_t* apLower[8];
    for (unsigned int uByte = 0; uByte < 8; ++uByte)
    {
        const unsigned int uChar = static_cast<unsigned char>(pszKey[7 - uByte]);
        apUpper[uByte] = kKeyTable.aUpper[uByte][uChar >> 4].data();
        apLower[uByte] = kKeyTable.aLower[uByte][uChar >> 1 & 7].data();
    }
    Schedule schedule;
    for (unsigned int i = 0; i < kRounds; ++i)
    {
        schedule[i] = (apUpper[0][i] | apLower[0][i]) | (apUpper[1][i] | apLower[1][i]) |
                      (apUpper[2][i] | apLower[2][i]) | (apUpper[3][i] | apLower[3][i]) |
                      (apUpper[4][i] | apLower[4][i]) | (apUpper[5][i] | apLower[5][i]) |
                      (apUpper[6][i] | apLower[6][i]) | (apUpper[7][i] | apLower[7][i]);
    }
    return schedule;
}

// Exchanges the bits of uLow under the mask with those of uHigh that lie nShift higher.
inline void Exchange(uint32_t& uHigh, uint32_t& uLow, int nShift, uint32_t uMask)
{
    const uint32_t uDifference = ((uHigh >> nShift) ^ uLow) & uMask;
    uLow ^= uDifference;
    uHigh ^= uDifference << nShift;
}

// One round: what the half block uTo gets from the other one.
inline void Round(uint32_t& uTo, uint32_t uFrom, uint64_t ullKey)
{
    const uint32_t uEven = uFrom ^ static_cast<uint32_t>(ullKey);
    const uint32_t uOdd = std::rotl(uFrom, kOddBoxTurn) ^ static_cast<uint32_t>(ullKey >> 32);
    uTo ^= (kBoxTable[0][uEven & 63] ^ kBoxTable[6][uEven >> 8 & 63]) ^
           (kBoxTable[4][uEven >> 16 & 63] ^ kBoxTable[2][uEven >> 24 & 63]) ^
           (kBoxTable[1][uOdd & 63] ^ kBoxTable[7][uOdd >> 8 & 63]) ^
           (kBoxTable[5][uOdd >> 16 & 63] ^ kBoxTable[3][uOdd >> 24 & 63]);
}

// The block through the cipher. nFirst and nStep say in which order the rounds' keys are taken.
uint64_t Transform(uint64_t ullBlock, const Schedule& schedule, unsigned int uFirst, unsigned int uStep)
{
    uint32_t uLeft = static_cast<uint32_t>(ullBlock >> 32);
    uint32_t uRight = static_cast<uint32_t>(ullBlock);

    // The initial permutation, by exchanges; both halves come out turned.
    Exchange(uLeft, uRight, 4, 0x0F0F0F0Fu);
    Exchange(uLeft, uRight, 16, 0x0000FFFFu);
    Exchange(uRight, uLeft, 2, 0x33333333u);
    Exchange(uRight, uLeft, 8, 0x00FF00FFu);
    uRight = std::rotl(uRight, 1);
    Exchange(uLeft, uRight, 0, 0xAAAAAAAAu);
    uLeft = std::rotl(uLeft, kHalfTurn);
    uRight = std::rotl(uRight, kHalfTurn - 1);

    for (unsigned int i = 0; i < kRounds; i += 2, uFirst += 2 * uStep)
    {
        Round(uLeft, uRight, schedule[uFirst % kRounds]);
        Round(uRight, uLeft, schedule[(uFirst + uStep) % kRounds]);
    }

    // The halves in swapped order, and the inverse of the above.
    uRight = std::rotr(uRight, kHalfTurn);
    uLeft = std::rotr(uLeft, kHalfTurn - 1);
    Exchange(uRight, uLeft, 0, 0xAAAAAAAAu);
    uLeft = std::rotr(uLeft, 1);
    Exchange(uLeft, uRight, 8, 0x00FF00FFu);
    Exchange(uLeft, uRight, 2, 0x33333333u);
    Exchange(uRight, uLeft, 16, 0x0000FFFFu);
    Exchange(uRight, uLeft, 4, 0x0F0F0F0Fu);
    return uint64_t{uRight} << 32 | uLeft;
}

}  // namespace

int VOEncryptString(std::bitset<64>& bitResult, std::bitset<64>& bitSource, const char* pszKey)
{
    bitResult = Transform(bitSource.to_ullong(), MakeSchedule(pszKey), 0, 1);
    return 1;
}

int VODecryptString(std::bitset<64>& bitResult, std::bitset<64>& bitSource, const char* pszKey)
{
    bitResult = Transform(bitSource.to_ullong(), MakeSchedule(pszKey), kRounds - 1, kRounds - 1);
    return 1;
}

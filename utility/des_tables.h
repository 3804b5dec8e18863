// The tables of FIPS 46, and what the cipher makes of them at compile time.
//
// The standard numbers bits from 1 at the most significant end. A half block is held turned left by 5 bits: then the
// six bits that S-box 1 sees are the lowest ones, those of the S-boxes 7, 5 and 3 begin at bits 8, 16 and 24, and
// turned by 4 more it is the same with the S-boxes 2, 8, 6 and 4. So a round takes no expansion, and no other shifts
// than these.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace vodes
{

constexpr unsigned int kRounds = 16;
constexpr unsigned int kBoxes = 8;
constexpr int kHalfTurn = 5;
constexpr int kOddBoxTurn = 4;

// clang-format off
constexpr unsigned char kSBox[kBoxes][64] = {
    {14,  4, 13,  1,  2, 15, 11,  8,  3, 10,  6, 12,  5,  9,  0,  7,
      0, 15,  7,  4, 14,  2, 13,  1, 10,  6, 12, 11,  9,  5,  3,  8,
      4,  1, 14,  8, 13,  6,  2, 11, 15, 12,  9,  7,  3, 10,  5,  0,
     15, 12,  8,  2,  4,  9,  1,  7,  5, 11,  3, 14, 10,  0,  6, 13},
    {15,  1,  8, 14,  6, 11,  3,  4,  9,  7,  2, 13, 12,  0,  5, 10,
      3, 13,  4,  7, 15,  2,  8, 14, 12,  0,  1, 10,  6,  9, 11,  5,
      0, 14,  7, 11, 10,  4, 13,  1,  5,  8, 12,  6,  9,  3,  2, 15,
     13,  8, 10,  1,  3, 15,  4,  2, 11,  6,  7, 12,  0,  5, 14,  9},
    {10,  0,  9, 14,  6,  3, 15,  5,  1, 13, 12,  7, 11,  4,  2,  8,
     13,  7,  0,  9,  3,  4,  6, 10,  2,  8,  5, 14, 12, 11, 15,  1,
     13,  6,  4,  9,  8, 15,  3,  0, 11,  1,  2, 12,  5, 10, 14,  7,
      1, 10, 13,  0,  6,  9,  8,  7,  4, 15, 14,  3, 11,  5,  2, 12},
    { 7, 13, 14,  3,  0,  6,  9, 10,  1,  2,  8,  5, 11, 12,  4, 15,
     13,  8, 11,  5,  6, 15,  0,  3,  4,  7,  2, 12,  1, 10, 14,  9,
     10,  6,  9,  0, 12, 11,  7, 13, 15,  1,  3, 14,  5,  2,  8,  4,
      3, 15,  0,  6, 10,  1, 13,  8,  9,  4,  5, 11, 12,  7,  2, 14},
    { 2, 12,  4,  1,  7, 10, 11,  6,  8,  5,  3, 15, 13,  0, 14,  9,
     14, 11,  2, 12,  4,  7, 13,  1,  5,  0, 15, 10,  3,  9,  8,  6,
      4,  2,  1, 11, 10, 13,  7,  8, 15,  9, 12,  5,  6,  3,  0, 14,
     11,  8, 12,  7,  1, 14,  2, 13,  6, 15,  0,  9, 10,  4,  5,  3},
    {12,  1, 10, 15,  9,  2,  6,  8,  0, 13,  3,  4, 14,  7,  5, 11,
     10, 15,  4,  2,  7, 12,  9,  5,  6,  1, 13, 14,  0, 11,  3,  8,
      9, 14, 15,  5,  2,  8, 12,  3,  7,  0,  4, 10,  1, 13, 11,  6,
      4,  3,  2, 12,  9,  5, 15, 10, 11, 14,  1,  7,  6,  0,  8, 13},
    { 4, 11,  2, 14, 15,  0,  8, 13,  3, 12,  9,  7,  5, 10,  6,  1,
     13,  0, 11,  7,  4,  9,  1, 10, 14,  3,  5, 12,  2, 15,  8,  6,
      1,  4, 11, 13, 12,  3,  7, 14, 10, 15,  6,  8,  0,  5,  9,  2,
      6, 11, 13,  8,  1,  4, 10,  7,  9,  5,  0, 15, 14,  2,  3, 12},
    {13,  2,  8,  4,  6, 15, 11,  1, 10,  9,  3, 14,  5,  0, 12,  7,
      1, 15, 13,  8, 10,  3,  7,  4, 12,  5,  6, 11,  0, 14,  9,  2,
      7, 11,  4,  1,  9, 12, 14,  2,  0,  6, 10, 13, 15,  3,  5,  8,
      2,  1, 14,  7,  4, 10,  8, 13, 15, 12,  9,  0,  3,  5,  6, 11},
};

// Bit k of the result is bit kP[k] of the S-boxes' outputs.
constexpr unsigned char kP[32] = {
    16,  7, 20, 21, 29, 12, 28, 17,  1, 15, 23, 26,  5, 18, 31, 10,
     2,  8, 24, 14, 32, 27,  3,  9, 19, 13, 30,  6, 22, 11,  4, 25,
};

// Permuted choice 1: the key bits of the two halves, 28 each.
constexpr unsigned char kPC1[56] = {
    57, 49, 41, 33, 25, 17,  9,  1, 58, 50, 42, 34, 26, 18, 10,  2, 59, 51, 43, 35, 27, 19, 11,  3, 60, 52, 44, 36,
    63, 55, 47, 39, 31, 23, 15,  7, 62, 54, 46, 38, 30, 22, 14,  6, 61, 53, 45, 37, 29, 21, 13,  5, 28, 20, 12,  4,
};

// Permuted choice 2: the bits of both halves that make a round's 48 bits.
constexpr unsigned char kPC2[48] = {
    14, 17, 11, 24,  1,  5,  3, 28, 15,  6, 21, 10, 23, 19, 12,  4, 26,  8, 16,  7, 27, 20, 13,  2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32,
};

constexpr unsigned char kTurns[kRounds] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
// clang-format on

// What one S-box adds to a half block, by the six bits that go into it: S-box, permutation P and the half block's turn
// in one look.
typedef std::array<std::array<uint32_t, 64>, kBoxes> BoxTable;

constexpr BoxTable MakeBoxTable()
{
    BoxTable table{};
    uint32_t auPlace[33] = {};  // where P puts a bit
    for (unsigned int uBit = 0; uBit < 32; ++uBit)
    {
        auPlace[kP[uBit]] = std::rotl(uint32_t{0x80000000u} >> uBit, kHalfTurn);
    }
    for (unsigned int uBox = 0; uBox < kBoxes; ++uBox)
    {
        for (unsigned int uInput = 0; uInput < 64; ++uInput)
        {
            // The outer two bits choose the row, the inner four the column.
            const unsigned int uRow = (uInput >> 4 & 2) | (uInput & 1);
            const unsigned int uOutput = kSBox[uBox][uRow * 16 + (uInput >> 1 & 15)];
            for (unsigned int uBit = 0; uBit < 4; ++uBit)
            {
                table[uBox][uInput] |= (uOutput >> (3 - uBit) & 1) != 0 ? auPlace[uBox * 4 + uBit + 1] : 0;
            }
        }
    }
    return table;
}

// A round's key: low word for the S-boxes 1, 7, 5, 3, high word for 2, 8, 6, 4, as a half block is looked at.
typedef std::array<uint64_t, kRounds> Schedule;

constexpr unsigned int BitOfBox(unsigned int uBox)
{
    return uBox % 2 * 32 + (kBoxes - uBox / 2 * 2) / 2 % 4 * 8;
}

// Each bit of a round's key is one bit of the key, so that a schedule is put together from those of the key's bits: of
// the seven that count in each byte, taken as the upper four and the three below.
struct KeyTable
{
    Schedule aUpper[8][16];
    Schedule aLower[8][8];
};

constexpr KeyTable MakeKeyTable()
{
    KeyTable table{};
    Schedule aBit[65] = {};  // the schedule of a key in which this bit alone is set
    unsigned int uTurned = 0;
    for (unsigned int uRound = 0; uRound < kRounds; ++uRound)
    {
        uTurned += kTurns[uRound];
        for (unsigned int uOut = 0; uOut < 48; ++uOut)
        {
            const unsigned int uFrom = kPC2[uOut] - 1u;
            const unsigned int uHalf = uFrom / 28 * 28;
            const unsigned int uKeyBit = kPC1[uHalf + (uFrom - uHalf + uTurned) % 28];
            aBit[uKeyBit][uRound] |= uint64_t{1} << (BitOfBox(uOut / 6) + 5 - uOut % 6);
        }
    }
    for (unsigned int uByte = 0; uByte < 8; ++uByte)
    {
        // Bit 1 of the standard is the highest of byte 0.
        for (unsigned int uRound = 0; uRound < kRounds; ++uRound)
        {
            for (unsigned int uValue = 0; uValue < 16; ++uValue)
            {
                for (unsigned int uBit = 0; uBit < 4; ++uBit)
                {
                    const uint64_t ullPart = aBit[uByte * 8 + uBit + 1][uRound];
                    table.aUpper[uByte][uValue][uRound] |= (uValue >> (3 - uBit) & 1) != 0 ? ullPart : 0;
                }
            }
            for (unsigned int uValue = 0; uValue < 8; ++uValue)
            {
                for (unsigned int uBit = 0; uBit < 3; ++uBit)
                {
                    const uint64_t ullPart = aBit[uByte * 8 + uBit + 5][uRound];
                    table.aLower[uByte][uValue][uRound] |= (uValue >> (2 - uBit) & 1) != 0 ? ullPart : 0;
                }
            }
        }
    }
    return table;
}

}  // namespace vodes

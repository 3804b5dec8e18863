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
// The rows of each S-box, a hexadecimal digit for each column.
constexpr uint64_t kSBox[kBoxes][4] = {
    {0xE4D12FB83A6C5907, 0x0F74E2D1A6CB9538, 0x41E8D62BFC973A50, 0xFC8249175B3EA06D},
    {0xF18E6B34972DC05A, 0x3D47F28EC01A69B5, 0x0E7BA4D158C6932F, 0xD8A13F42B67C05E9},
    {0xA09E63F51DC7B428, 0xD709346A285ECBF1, 0xD6498F30B12C5AE7, 0x1AD069874FE3B52C},
    {0x7DE3069A1285BC4F, 0xD8B56F03472C1AE9, 0xA690CB7DF13E5284, 0x3F06A1D8945BC72E},
    {0x2C417AB6853FD0E9, 0xEB2C47D150FA3986, 0x421BAD78F9C5630E, 0xB8C71E2D6F09A453},
    {0xC1AF92680D34E75B, 0xAF427C9561DE0B38, 0x9EF528C3704A1DB6, 0x432C95FABE17608D},
    {0x4B2EF08D3C975A61, 0xD0B7491AE35C2F86, 0x14BDC37EAF680592, 0x6BD814A7950FE23C},
    {0xD2846FB1A93E50C7, 0x1FD8A374C56B0E92, 0x7B419CE206ADF358, 0x21E74A8DFC90356B},
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
            const uint64_t ullRow = kSBox[uBox][(uInput >> 4 & 2) | (uInput & 1)];
            const uint64_t ullOutput = ullRow >> (15 - (uInput >> 1 & 15)) * 4;
            for (unsigned int uBit = 0; uBit < 4; ++uBit)
            {
                table[uBox][uInput] |= (ullOutput >> (3 - uBit) & 1) != 0 ? auPlace[uBox * 4 + uBit + 1] : 0;
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
                uint64_t ullUpper = 0;
                uint64_t ullLower = 0;
                for (unsigned int uBit = 0; uBit < 7; ++uBit)
                {
                    const bool bSet = (uValue >> ((uBit < 4 ? 3 : 6) - uBit) & 1) != 0;
                    (uBit < 4 ? ullUpper : ullLower) |= bSet ? aBit[uByte * 8 + uBit + 1][uRound] : 0;
                }
                table.aUpper[uByte][uValue][uRound] = ullUpper;
                table.aLower[uByte][uValue & 7][uRound] = ullLower;
            }
        }
    }
    return table;
}

}  // namespace vodes

// The steps that make the two hashes of a text, rows 0 and 1 of the table, for one text and for two side by side.
// vo_string_hash.cpp has the step's definition.
#pragma once

#include <emmintrin.h>

#include "platform/wide_scan.h"
#include "vo_string_hash.h"

// The identity of a text.
struct VOHashPair
{
    unsigned int uHash0;
    unsigned int uHash1;
};

constexpr unsigned int kVOHashSeed1 = 0x7FED7FED;
constexpr unsigned int kVOHashSeed2 = 0xEEEEEEEE;

// Gives the words of the table in the order in which they are made: for each index down the five rows.
template <typename Store>
constexpr void VOMakeHashTable(Store&& store)
{
    unsigned int uSeed = 0x00100001;
    const auto NextHalf = [&uSeed]
    {
        uSeed = (uSeed * 125 + 3) % 0x2AAAAB;
        return uSeed & 0xFFFF;
    };
    for (unsigned int uIndex = 0; uIndex < VOStringHash::kRowSize; ++uIndex)
    {
        for (unsigned int uRow = 0; uRow < VOStringHash::kRowCount; ++uRow)
        {
            const unsigned int uHigh = NextHalf() << 16;
            store(uRow, uIndex, uHigh | NextHalf());
        }
    }
}

// What a step of both rows needs of a byte: the words of rows 0 and 1, and ch + 3 for each. Of eight bytes, as far as
// an address can be scaled.
struct VOPairTable
{
    struct alignas(8) Two
    {
        unsigned int auRow[2];
    };
    Two arrWord[VOStringHash::kRowSize];
    Two arrAddend[VOStringHash::kRowSize];

    constexpr VOPairTable() : arrWord(), arrAddend()
    {
        VOMakeHashTable(
            [this](unsigned int uRow, unsigned int uIndex, unsigned int uWord)
            {
                if (uRow < 2)
                {
                    arrWord[uIndex].auRow[uRow] = uWord;
                    arrAddend[uIndex].auRow[uRow] = uIndex + 3;
                }
            });
    }
};
inline constexpr VOPairTable kVOPairTable;

// The seeds of rows 0 and 1 side by side in the two low lanes; of two texts, in all four. The sum is grouped so that no
// result waits for more than three additions of the step before: the chain of steps is what a hash costs, and what one
// text waits for, another one works.
class VOPairMixer
{
public:
    void Step(unsigned int ch) { _Step(_Load(kVOPairTable.arrWord[ch]), _Load(kVOPairTable.arrAddend[ch])); }

    void Step(unsigned int ch, unsigned int chOther)
    {
        _Step(_Load(kVOPairTable.arrWord[ch], kVOPairTable.arrWord[chOther]),
              _Load(kVOPairTable.arrAddend[ch], kVOPairTable.arrAddend[chOther]));
    }

    VOHashPair Pair() const
    {
        VOHashPair pair;
        Store(&pair);
        return pair;
    }
    void Store(VOHashPair* pPair) const { _mm_storel_epi64(reinterpret_cast<__m128i*>(pPair), m_seed1); }
    void StoreBoth(VOHashPair (&arrPair)[2]) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(arrPair), m_seed1); }

private:
    static __m128i _Load(const VOPairTable::Two& two)
    {
        return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&two));
    }

    static __m128i _Load(const VOPairTable::Two& two, const VOPairTable::Two& other)
    {
        return _mm_castps_si128(_mm_loadh_pi(_mm_castsi128_ps(_Load(two)), reinterpret_cast<const __m64*>(&other)));
    }

    void _Step(__m128i words, __m128i addends)
    {
        const __m128i once = VOComputed(_mm_add_epi32(m_seed2, addends));
        const __m128i grown = VOComputed(_mm_add_epi32(_mm_slli_epi32(m_seed2, 5), once));
        m_seed1 = _mm_xor_si128(words, _mm_add_epi32(m_seed1, m_seed2));
        m_seed2 = _mm_add_epi32(grown, m_seed1);
    }

    __m128i m_seed1 = _mm_set1_epi32(static_cast<int>(kVOHashSeed1));
    __m128i m_seed2 = _mm_set1_epi32(static_cast<int>(kVOHashSeed2));
};
static_assert(sizeof(VOHashPair[2]) == sizeof(__m128i));

// The table generator, the seeds and the mixing step of the MPQ archive format.
//
// One step, with the byte ch and all arithmetic modulo 2^32:
//
//   seed1 = table[row][ch] ^ (seed1 + seed2)
//   seed2 = ch + seed1 + 33 * seed2 + 3
#include "vo_string_hash.h"

#include <emmintrin.h>

#include "diagnostics/check.h"
#include "internal/vo_bytes.h"

namespace
{

constexpr unsigned int kSeed1 = 0x7FED7FED;
constexpr unsigned int kSeed2 = 0xEEEEEEEE;

struct Mixer
{
    unsigned int uSeed1 = kSeed1;
    unsigned int uSeed2 = kSeed2;

    void Step(unsigned int uWord, unsigned int ch)
    {
        uSeed1 = uWord ^ (uSeed1 + uSeed2);
        uSeed2 = ch + uSeed1 + 33 * uSeed2 + 3;
    }
};

// Gives the words of the table in the order in which they are made: for each index down the five rows.
template <typename Store>
constexpr void MakeTable(Store&& store)
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

// What one step of both rows needs of a byte, in one load: the words of rows 0 and 1, and ch + 3 for each.
struct alignas(16) PairEntry
{
    unsigned int auWord[2];
    unsigned int auAddend[2];
};

struct PairTable
{
    PairEntry arrEntry[VOStringHash::kRowSize];

    constexpr PairTable() : arrEntry()
    {
        MakeTable(
            [this](unsigned int uRow, unsigned int uIndex, unsigned int uWord)
            {
                if (uRow < 2)
                {
                    arrEntry[uIndex].auWord[uRow] = uWord;
                    arrEntry[uIndex].auAddend[uRow] = uIndex + 3;
                }
            });
    }
};
constexpr PairTable kPairTable;

// All rows. Every container has hashes of its own, so that their table is copied, which takes a fraction of making it.
struct WholeTable
{
    unsigned int auWord[VOStringHash::kRowCount * VOStringHash::kRowSize];

    constexpr WholeTable() : auWord()
    {
        MakeTable([this](unsigned int uRow, unsigned int uIndex, unsigned int uWord)
                  { auWord[uRow * VOStringHash::kRowSize + uIndex] = uWord; });
    }
};
constexpr WholeTable kWholeTable;

// The seeds of rows 0 and 1 side by side in the two low lanes. The sum is grouped so that no result waits for more than
// three additions of the step before: the chain of steps is what a hash costs.
struct PairMixer
{
    __m128i seed1 = _mm_set1_epi32(static_cast<int>(kSeed1));
    __m128i seed2 = _mm_set1_epi32(static_cast<int>(kSeed2));

    void Step(unsigned int ch)
    {
        const __m128i entry = _mm_load_si128(reinterpret_cast<const __m128i*>(&kPairTable.arrEntry[ch]));
        const __m128i addend = _mm_unpackhi_epi64(entry, entry);
        const __m128i grown = _mm_add_epi32(_mm_slli_epi32(seed2, 5), _mm_add_epi32(seed2, addend));
        seed1 = _mm_xor_si128(entry, _mm_add_epi32(seed1, seed2));
        seed2 = _mm_add_epi32(grown, seed1);
    }
};

}  // namespace

VOStringHash::VOStringHash()
{
    static_assert(sizeof(m_auTable) == sizeof(kWholeTable.auWord));
    memcpy(m_auTable, kWholeTable.auWord, sizeof(m_auTable));
}

unsigned int VOStringHash::HashA(const char* pszString, VOULONG dwHashType) const
{
    Mixer mixer;
    if (!VO_STEP_OR_FALSE(pszString != nullptr && dwHashType < kRowCount))
    {
        return 0;
    }
    for (; *pszString != 0; ++pszString)
    {
        // A byte from 0x80 up counts as negative: the word is one of the row before, and in front of the table zero.
        const int ch = static_cast<signed char>(*pszString);
        const int nWord = static_cast<int>(dwHashType * kRowSize) + ch;
        mixer.Step(nWord >= 0 ? m_auTable[nWord] : 0, static_cast<unsigned int>(ch));
    }
    return mixer.uSeed1;
}

unsigned int VOStringHash::HashW(const VOWCHAR* pszString, VOULONG dwHashType) const
{
    Mixer mixer;
    if (!VO_STEP_OR_FALSE(pszString != nullptr && dwHashType < kRowCount))
    {
        return 0;
    }
    const unsigned int* const puRow = m_auTable + dwHashType * kRowSize;
    for (const unsigned char* pbText = reinterpret_cast<const unsigned char*>(pszString);; pbText += sizeof(VOWCHAR))
    {
        const unsigned int ch = VOLoad<uint16_t>(pbText);
        if (ch == 0)
        {
            break;
        }
        if (ch > 0xFF)
        {
            mixer.Step(puRow[ch >> 8], ch >> 8);
        }
        mixer.Step(puRow[ch & 0xFF], ch & 0xFF);
    }
    return mixer.uSeed1;
}

unsigned int VOStringHash::Hash(const VOWCHAR* pszString, VOULONG dwHashType) const
{
    return HashW(pszString, dwHashType);
}

void VOStringHash::HashRows(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1)
{
    PairMixer mixer;
    const unsigned char* pbText = reinterpret_cast<const unsigned char*>(pszString);
    uHash0 = 0;
    uHash1 = 0;
    if (pszString == nullptr)
    {
        VO_PROCESS_ERROR_FALSE;
    }
    for (;; pbText += sizeof(VOWCHAR))
    {
        const unsigned int ch = VOLoad<uint16_t>(pbText);
        if (ch == 0)
        {
            break;
        }
        if (ch > 0xFF)
        {
            mixer.Step(ch >> 8);
        }
        mixer.Step(ch & 0xFF);
    }
    uHash0 = static_cast<unsigned int>(_mm_cvtsi128_si32(mixer.seed1));
    uHash1 = static_cast<unsigned int>(_mm_cvtsi128_si32(_mm_srli_epi64(mixer.seed1, 32)));

Exit0:
    return;
}

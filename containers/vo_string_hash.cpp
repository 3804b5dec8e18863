// The table generator, the seeds and the mixing step of the MPQ archive format.
//
// One step, with the byte ch and all arithmetic modulo 2^32:
//
//   seed1 = table[row][ch] ^ (seed1 + seed2)
//   seed2 = ch + seed1 + 33 * seed2 + 3
#include "vo_string_hash.h"

#include "containers/pair_hash.h"
#include "diagnostics/check.h"
#include "internal/vo_bytes.h"

namespace
{

struct Mixer
{
    unsigned int uSeed1 = kVOHashSeed1;
    unsigned int uSeed2 = kVOHashSeed2;

    void Step(unsigned int uWord, unsigned int ch)
    {
        uSeed1 = uWord ^ (uSeed1 + uSeed2);
        uSeed2 = ch + uSeed1 + 33 * uSeed2 + 3;
    }
};

// All rows. Every container has hashes of its own, so that their table is copied, which takes a fraction of making it.
struct WholeTable
{
    unsigned int auWord[VOStringHash::kRowCount * VOStringHash::kRowSize];

    constexpr WholeTable() : auWord()
    {
        VOMakeHashTable([this](unsigned int uRow, unsigned int uIndex, unsigned int uWord)
                        { auWord[uRow * VOStringHash::kRowSize + uIndex] = uWord; });
    }
};
constexpr WholeTable kWholeTable;

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
    VOPairMixer mixer;
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
    uHash0 = mixer.Pair().uHash0;
    uHash1 = mixer.Pair().uHash1;

Exit0:
    return;
}

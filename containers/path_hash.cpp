#include "containers/path_hash.h"

#include <algorithm>
#include <bit>

#include "internal/vo_bytes.h"
#include "platform/wide_scan.h"

namespace
{

// Units that come from memory together.
constexpr unsigned int kLineUnits = 32;

// What of a path is read at a time: the next 16 units, or those up to its end. Bytes behind the end mean nothing.
struct PlainBlock
{
    static constexpr unsigned int kUnits = 2 * kVOWideScanUnits;
    __m128i bytes;  // one for each unit
    unsigned int uUnits = kUnits;
    bool bPlain = true;

    explicit PlainBlock(const VOWCHAR* pszText)
    {
        if (VOBlocksInPage(pszText) >= 2)
        {
            _Take(VOLoadBlock(pszText), VOLoadBlock(pszText + kVOWideScanUnits));
            return;
        }
        // The end of the page is too near.
        VOWCHAR aUnits[kUnits] = {};
        for (unsigned int i = 0; i < kUnits && VOLoadUnit(pszText + i) != 0; ++i)
        {
            aUnits[i] = VOLoadUnit(pszText + i);
        }
        _Take(VOLoadBlock(aUnits), VOLoadBlock(aUnits + kVOWideScanUnits));
    }

    bool IsLast() const { return uUnits < kUnits; }

    // The units folded, in 16 bytes.
    void Store(unsigned char* pbTo) const
    {
        // Moved up so that 'Z' is the largest signed byte, the capitals are the 26 largest ones.
        const __m128i moved = _mm_add_epi8(bytes, _mm_set1_epi8(0x7F - 'Z'));
        const __m128i capital = _mm_cmpgt_epi8(moved, _mm_set1_epi8(0x7F - 26));
        const __m128i backslash = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\'));
        const __m128i changes = _mm_or_si128(_mm_and_si128(capital, _mm_set1_epi8('A' ^ 'a')),
                                             _mm_and_si128(backslash, _mm_set1_epi8('\\' ^ '/')));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pbTo), _mm_xor_si128(bytes, changes));
    }

private:
    static unsigned int _Bits(__m128i given) { return static_cast<unsigned int>(_mm_movemask_epi8(given)); }

    void _Take(__m128i low, __m128i high)
    {
        const __m128i none = _mm_setzero_si128();
        const __m128i upper = _mm_packus_epi16(_mm_srli_epi16(low, 8), _mm_srli_epi16(high, 8));
        bytes = _mm_packus_epi16(low, high);
        const __m128i zero = _mm_cmpeq_epi8(bytes, none);
        const __m128i colon = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(':'));
        if (_Bits(_mm_cmpeq_epi8(_mm_or_si128(upper, _mm_or_si128(zero, colon)), none)) != 0xFFFF)
        {
            // A unit from 0x8000 up gives a zero byte too.
            const unsigned int uNarrow = _Bits(_mm_cmpeq_epi8(upper, none));
            uUnits = static_cast<unsigned int>(std::countr_zero((_Bits(zero) & uNarrow) | 1u << kUnits));
            bPlain = ((~uNarrow | _Bits(colon)) & ((1u << uUnits) - 1)) == 0;
        }
    }
};

// Written out, as a loop of eight turns would be.
template <typename Step>
inline void ForEightBytes(const unsigned char* pbBytes, Step step)
{
    step(pbBytes[0]);
    step(pbBytes[1]);
    step(pbBytes[2]);
    step(pbBytes[3]);
    step(pbBytes[4]);
    step(pbBytes[5]);
    step(pbBytes[6]);
    step(pbBytes[7]);
}

// The steps of the last units, of which there are fewer than 16. Of eight steps those up to the end count: a branch for
// each would be mistaken too often.
inline VOHashPair HashLast(VOPairMixer mixer, const unsigned char* pbBytes, unsigned int uUnits)
{
    if (uUnits >= 8)
    {
        ForEightBytes(pbBytes, [&](unsigned int ch) { mixer.Step(ch); });
        pbBytes += 8;
        uUnits -= 8;
    }
    VOHashPair arrPair[8];
    VOHashPair* pPair = arrPair;
    ForEightBytes(pbBytes,
                  [&](unsigned int ch)
                  {
                      mixer.Store(pPair++);
                      mixer.Step(ch);
                  });
    return arrPair[uUnits];
}

}  // namespace

bool VOHashPlainPath(const VOWCHAR* pszPath, VOHashPair& pair)
{
    if (pszPath == nullptr)
    {
        return false;
    }
    // The first step that waits for memory would keep the next lines from being asked for.
    VOPrefetch(pszPath + kLineUnits);
    VOPrefetch(pszPath + 2 * kLineUnits);
    VOPairMixer mixer;
    unsigned char abByte[1 + PlainBlock::kUnits] = {};  // the last one of the block before, and a block
    for (unsigned int uAt = 0; uAt < kVOMostPlainUnits; uAt += PlainBlock::kUnits)
    {
        const PlainBlock block(pszPath + uAt);
        if (!block.bPlain)
        {
            return false;
        }
        abByte[0] = abByte[PlainBlock::kUnits];
        block.Store(abByte + 1);
        if (block.IsLast())
        {
            pair = HashLast(mixer, abByte + 1, block.uUnits);
            return abByte[block.uUnits] != '/';
        }
        ForEightBytes(abByte + 1, [&](unsigned int ch) { mixer.Step(ch); });
        ForEightBytes(abByte + 9, [&](unsigned int ch) { mixer.Step(ch); });
    }
    return false;
}

bool VOPathBytes::Take(const VOWCHAR* pszPath)
{
    VOWCHAR szPath[MAX_PATH];
    bool bHasColon = false;
    uLength = 0;
    if (pszPath == nullptr)
    {
        return false;
    }
    if (_TakePlain(pszPath))
    {
        return true;
    }
    unsigned int uUnits = VOFoldCopy(szPath, pszPath, MAX_PATH, true, &bHasColon);
    while (uUnits > 0 && szPath[uUnits - 1] == '/')
    {
        --uUnits;
    }
    uLength = 0;
    for (unsigned int uUnit = 0; uUnit < uUnits && !bHasColon; ++uUnit)
    {
        if (szPath[uUnit] > 0xFF)
        {
            abByte[uLength++] = static_cast<unsigned char>(szPath[uUnit] >> 8);
        }
        abByte[uLength++] = static_cast<unsigned char>(szPath[uUnit] & 0xFF);
    }
    return !bHasColon;
}

bool VOPathBytes::_TakePlain(const VOWCHAR* pszPath)
{
    for (bool bEnd = false; !bEnd;)
    {
        const PlainBlock block(pszPath + uLength);
        if (!block.bPlain || uLength >= kVOMostPlainUnits)
        {
            return false;
        }
        block.Store(abByte + uLength);
        uLength += block.uUnits;
        bEnd = block.IsLast();
    }
    while (uLength > 0 && abByte[uLength - 1] == '/')
    {
        --uLength;
    }
    return true;
}

// On to the end of the longest text; of what stands after each step, each text takes its own.
void VOHashFourPaths(const VOPathBytes* const (&apPath)[4], VOHashPair (&arrPair)[4])
{
    const unsigned char* const pb0 = apPath[0]->abByte;
    const unsigned char* const pb1 = apPath[1]->abByte;
    const unsigned char* const pb2 = apPath[2]->abByte;
    const unsigned char* const pb3 = apPath[3]->abByte;
    const unsigned int uLongest =
        std::max(std::max(apPath[0]->uLength, apPath[1]->uLength), std::max(apPath[2]->uLength, apPath[3]->uLength));
    VOHashPair arrAfter[VOPathBytes::kMost + 1][2][2];
    VOPairMixer first;
    VOPairMixer second;
    for (unsigned int uAt = 0; uAt < uLongest; ++uAt)
    {
        first.StoreBoth(arrAfter[uAt][0]);
        second.StoreBoth(arrAfter[uAt][1]);
        first.Step(pb0[uAt], pb1[uAt]);
        second.Step(pb2[uAt], pb3[uAt]);
    }
    first.StoreBoth(arrAfter[uLongest][0]);
    second.StoreBoth(arrAfter[uLongest][1]);
    for (unsigned int uPath = 0; uPath < 4; ++uPath)
    {
        arrPair[uPath] = arrAfter[apPath[uPath]->uLength][uPath / 2][uPath % 2];
    }
}

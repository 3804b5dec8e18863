#include "containers/path_hash.h"

#include <algorithm>

#include "internal/vo_bytes.h"
#include "platform/wide_scan.h"

namespace
{

// Units that come from memory together.
constexpr unsigned int kLineUnits = 32;

// What of a path is read at a time: the next 8 units, or those up to its end and zeros.
struct PlainBlock
{
    __m128i units;
    unsigned int uUnits = kVOWideScanUnits;
    bool bPlain = true;

    explicit PlainBlock(const VOWCHAR* pszText)
        : units(VOBlocksInPage(pszText) != 0 ? VOLoadBlock(pszText) : ByUnits(pszText))
    {
        const __m128i none = _mm_setzero_si128();
        const __m128i zero = _mm_cmpeq_epi16(units, none);
        const __m128i odd =
            _mm_or_si128(_mm_cmpgt_epi16(_mm_srli_epi16(units, 8), none), _mm_cmpeq_epi16(units, _mm_set1_epi16(':')));
        if (_mm_movemask_epi8(_mm_or_si128(zero, odd)) != 0)
        {
            const unsigned int uZeroBytes = static_cast<unsigned int>(_mm_movemask_epi8(zero));
            uUnits = uZeroBytes != 0 ? VOUnitsBeforeZero(uZeroBytes) : kVOWideScanUnits;
            bPlain = (static_cast<unsigned int>(_mm_movemask_epi8(odd)) & ((1u << 2 * uUnits) - 1)) == 0;
            units = VOKeepUnits(units, uUnits);
        }
    }

    bool IsLast() const { return uUnits < kVOWideScanUnits; }

    // The units folded, in 8 bytes.
    void Store(unsigned char* pbTo) const
    {
        const __m128i folded = VOBlockFold(true).Apply(units);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pbTo), _mm_packus_epi16(folded, folded));
    }

private:
    // Where the end of a page is too near.
    static __m128i ByUnits(const VOWCHAR* pszText)
    {
        VOWCHAR aUnits[kVOWideScanUnits] = {};
        for (unsigned int i = 0; i < kVOWideScanUnits && VOLoadUnit(pszText + i) != 0; ++i)
        {
            aUnits[i] = VOLoadUnit(pszText + i);
        }
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(aUnits));
    }
};

// Written out, as a loop of eight turns would be.
template <typename Step>
inline void ForEachByte(const unsigned char* pbBytes, Step step)
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
    unsigned char abByte[1 + kVOWideScanUnits] = {};  // the last one of the block before, and a block
    for (unsigned int uAt = 0; uAt < kVOMostPlainUnits; uAt += kVOWideScanUnits)
    {
        const PlainBlock block(pszPath + uAt);
        if (!block.bPlain)
        {
            return false;
        }
        abByte[0] = abByte[kVOWideScanUnits];
        block.Store(abByte + 1);
        if (block.IsLast())
        {
            // Eight steps, of which those up to the end count: a branch for each would be mistaken too often.
            VOHashPair arrPair[1 + kVOWideScanUnits];
            mixer.Store(arrPair);
            ForEachByte(abByte + 1,
                        [&, pPair = arrPair](unsigned int ch) mutable
                        {
                            mixer.Step(ch);
                            mixer.Store(++pPair);
                        });
            pair = arrPair[block.uUnits];
            return abByte[block.uUnits] != '/';
        }
        ForEachByte(abByte + 1, [&](unsigned int ch) { mixer.Step(ch); });
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

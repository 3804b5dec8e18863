// Fast passes over 16-bit text: its length, and the copy that makes a path fit for lookup.
//
// Text is read 8 units at a time where the processor can. A block may reach behind the terminator, which is sound as
// long as it stays in the page of a byte that belongs to the text: memory protection has no finer grain. So a block
// that would cross into the next page isn't read; its units are taken one by one. The address and thread sanitizers
// know a finer grain, so the one function that reads blocks is kept from them; every byte behind the terminator is
// dropped there and then, and decides nothing.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "platform/sanitizers.h"
#include "vo_types.h"

#if defined(__SSE2__) || defined(_M_X64)
#define VO_WIDE_SCAN_BLOCKS 1
#include <emmintrin.h>
#if defined(_MSC_VER)
#include <intrin.h>
#endif
#else
#define VO_WIDE_SCAN_BLOCKS 0
#endif

#if !VO_ADDRESS_SANITIZER && !VO_THREAD_SANITIZER
#define VO_WIDE_SCAN_UNCHECKED
#elif defined(_MSC_VER) && !defined(__clang__)
#define VO_WIDE_SCAN_UNCHECKED __declspec(noinline) __declspec(no_sanitize_address)
#else
#define VO_WIDE_SCAN_UNCHECKED __attribute__((noinline, no_sanitize("address"), no_sanitize("thread")))
#endif

// One unit at any address. The pointer's type is dropped first, so that nothing is concluded from its alignment.
inline VOWCHAR VOLoadUnit(const VOWCHAR* pUnit)
{
    const void* pBytes = pUnit;
    VOWCHAR cUnit;
    memcpy(&cUnit, pBytes, sizeof(cUnit));
    return cUnit;
}

inline void VOStoreUnit(VOWCHAR* pUnit, VOWCHAR cUnit)
{
    void* pBytes = pUnit;
    memcpy(pBytes, &cUnit, sizeof(cUnit));
}

#if VO_WIDE_SCAN_BLOCKS

// A value that is computed as it was written down. Compilers regroup sums of integers as they see fit, and in a chain
// of sums that wait for each other the grouping decides how long the chain is.
inline __m128i VOComputed(__m128i value)
{
#if defined(__GNUC__)
    __asm__("" : "+x"(value));
#endif
    return value;
}

constexpr unsigned kVOWideScanUnits = 8;

// How many whole blocks from pUnit on lie in one page (of 4 KiB: the smallest there is).
inline size_t VOBlocksInPage(const VOWCHAR* pUnit)
{
    return (4096u - (reinterpret_cast<uintptr_t>(pUnit) & 4095u)) / 16u;
}

// The 16 bytes at pUnit, of which the first belongs to the text.
VO_WIDE_SCAN_UNCHECKED inline __m128i VOLoadBlock(const VOWCHAR* pUnit)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pUnit));
}

// How many units of a block come before its first zero unit, from the bytes that a comparison with zero has set.
inline unsigned VOUnitsBeforeZero(unsigned uZeroBytes)
{
#if defined(_MSC_VER)
    unsigned long uBit = 0;
    _BitScanForward(&uBit, uZeroBytes);
    return uBit / 2;
#else
    return static_cast<unsigned>(__builtin_ctz(uZeroBytes)) / 2;
#endif
}

#endif

// Units before the terminator, or uMost when there is none among the first uMost units. No unit behind these counts.
inline size_t VOWideLength(const VOWCHAR* pszText, size_t uMost = SIZE_MAX)
{
    size_t uLength = 0;
    for (;;)
    {
#if VO_WIDE_SCAN_BLOCKS
        // As many blocks as the page holds; the last of them may reach behind uMost.
        for (size_t uBlocks = uLength < uMost ? VOBlocksInPage(pszText + uLength) : 0; uBlocks > 0; --uBlocks)
        {
            const __m128i zero = _mm_cmpeq_epi16(VOLoadBlock(pszText + uLength), _mm_setzero_si128());
            const unsigned uZeroBytes = static_cast<unsigned>(_mm_movemask_epi8(zero));
            if (uZeroBytes != 0)
            {
                uLength += VOUnitsBeforeZero(uZeroBytes);
                return uLength < uMost ? uLength : uMost;
            }
            uLength += kVOWideScanUnits;
            if (uLength >= uMost)
            {
                return uMost;
            }
        }
#endif
        // Units up to the first block of the next page, or all of them.
        for (unsigned uUnit = 0; uUnit < 8; ++uUnit)
        {
            if (uLength >= uMost || VOLoadUnit(pszText + uLength) == 0)
            {
                return uLength;
            }
            ++uLength;
        }
    }
}

#if VO_WIDE_SCAN_BLOCKS

// What VOFoldCopy does to the units of a block.
struct VOBlockFold
{
    explicit VOBlockFold(bool bLower) : lowerBit(_mm_set1_epi16(bLower ? 'A' ^ 'a' : 0)) {}

    __m128i Apply(__m128i block)
    {
        colons = _mm_or_si128(colons, _mm_cmpeq_epi16(block, _mm_set1_epi16(':')));
        // Moved up so that 'Z' is the largest signed unit, the capitals are the 26 largest ones.
        const __m128i moved = _mm_add_epi16(block, _mm_set1_epi16(0x7FFF - 'Z'));
        const __m128i capital = _mm_cmpgt_epi16(moved, _mm_set1_epi16(0x7FFF - 26));
        const __m128i backslash = _mm_cmpeq_epi16(block, _mm_set1_epi16('\\'));
        const __m128i changes =
            _mm_or_si128(_mm_and_si128(capital, lowerBit), _mm_and_si128(backslash, _mm_set1_epi16('\\' ^ '/')));
        return _mm_xor_si128(block, changes);
    }

    bool HasColon() const { return _mm_movemask_epi8(colons) != 0; }

    __m128i lowerBit;
    __m128i colons = _mm_setzero_si128();
};

// The first uUnits units of a block, and zeros.
inline __m128i VOKeepUnits(__m128i block, unsigned uUnits)
{
    // To keep n units, the mask is the 16 bytes from place 16 - 2 * n on.
    static constexpr unsigned char kKeep[32] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    return _mm_and_si128(block, _mm_loadu_si128(reinterpret_cast<const __m128i*>(kKeep + 16 - 2 * uUnits)));
}

// Writes the first uUnits units of a block, of which there are fewer than 8, and nothing behind them.
inline void VOStoreUnits(VOWCHAR* pszTo, __m128i block, unsigned uUnits)
{
    if ((uUnits & 4) != 0)
    {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(pszTo), block);
        block = _mm_srli_si128(block, 8);
        pszTo += 4;
    }
    if ((uUnits & 2) != 0)
    {
        const int nPair = _mm_cvtsi128_si32(block);
        memcpy(static_cast<void*>(pszTo), &nPair, sizeof(nPair));
        block = _mm_srli_si128(block, 4);
        pszTo += 2;
    }
    if ((uUnits & 1) != 0)
    {
        VOStoreUnit(pszTo, static_cast<VOWCHAR>(_mm_cvtsi128_si32(block)));
    }
}

// The part of VOFoldCopy that goes block by block, from uLength on: as far as whole blocks fit in the page and before
// the place uCapacity - 1. *pbEnd is set when the terminator was met. Result: the new length.
inline unsigned VOFoldCopyBlocks(VOWCHAR* pszTo, const VOWCHAR* pszFrom, unsigned uLength, unsigned uCapacity,
                                 bool bLower, bool* pbHasColon, bool* pbEnd)
{
    VOBlockFold fold(bLower);
    const size_t uInPage = VOBlocksInPage(pszFrom + uLength);
    const size_t uInTarget = (uCapacity - uLength - 1) / kVOWideScanUnits;
    for (size_t uBlocks = uInPage < uInTarget ? uInPage : uInTarget; uBlocks > 0; --uBlocks)
    {
        const __m128i block = VOLoadBlock(pszFrom + uLength);
        const __m128i zero = _mm_cmpeq_epi16(block, _mm_setzero_si128());
        const unsigned uZeroBytes = static_cast<unsigned>(_mm_movemask_epi8(zero));
        if (uZeroBytes != 0)
        {
            // What lies behind the terminator isn't touched. The last units of a longer text are written by a whole
            // block that ends with them: folding units a second time changes nothing.
            const unsigned uUnits = VOUnitsBeforeZero(uZeroBytes);
            uLength += uUnits;
            if (uLength >= kVOWideScanUnits && uUnits != 0)
            {
                const unsigned uLast = uLength - kVOWideScanUnits;
                _mm_storeu_si128(reinterpret_cast<__m128i*>(pszTo + uLast), fold.Apply(VOLoadBlock(pszFrom + uLast)));
            }
            else if (uUnits != 0)
            {
                VOStoreUnits(pszTo, fold.Apply(VOKeepUnits(block, uUnits)), uUnits);
            }
            *pbEnd = true;
            break;
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pszTo + uLength), fold.Apply(block));
        uLength += kVOWideScanUnits;
    }
    *pbHasColon = *pbHasColon || fold.HasColon();
    return uLength;
}

#endif

// Copies the text pszFrom, at most uCapacity - 1 units of it, to a buffer of uCapacity units. "\" becomes "/"; with
// bLower, "A" to "Z" become lower case and no other unit changes. pszTo is terminated, and nothing behind the
// terminator is touched. *pbHasColon (may be null) tells whether ":" is among the units copied. Either text may sit at
// an odd address; they are the same, or don't overlap. Result: the units copied. With uCapacity 0 nothing is written.
inline unsigned VOFoldCopy(VOWCHAR* pszTo, const VOWCHAR* pszFrom, unsigned uCapacity, bool bLower, bool* pbHasColon)
{
    unsigned uLength = 0;
    bool bColon = false;
    bool bEnd = uCapacity == 0;
    while (!bEnd)
    {
#if VO_WIDE_SCAN_BLOCKS
        uLength = VOFoldCopyBlocks(pszTo, pszFrom, uLength, uCapacity, bLower, &bColon, &bEnd);
#endif
        // What no block could take: the last units before the capacity, or those around the end of a page.
        for (unsigned uUnit = 0; !bEnd && uUnit < 8; ++uUnit)
        {
            const VOWCHAR cUnit = uLength + 1 < uCapacity ? VOLoadUnit(pszFrom + uLength) : VOWCHAR{0};
            const bool bFold = bLower && cUnit >= 'A' && cUnit <= 'Z';
            bColon = bColon || cUnit == ':';
            bEnd = cUnit == 0;
            if (!bEnd)
            {
                const VOWCHAR cFolded = static_cast<VOWCHAR>(bFold ? cUnit | 0x20 : cUnit);
                VOStoreUnit(pszTo + uLength++, cUnit == '\\' ? VOWCHAR{'/'} : cFolded);
            }
        }
    }
    if (uCapacity != 0)
    {
        VOStoreUnit(pszTo + uLength, 0);
    }
    if (pbHasColon != nullptr)
    {
        *pbHasColon = bColon;
    }
    return uLength;
}

// Sets bits behind each other in an array that ends two bytes behind the first of them or later.
inline void VOSetBits(unsigned char* pbBits, size_t uAt, unsigned uBits)
{
    const unsigned uMoved = uBits << (uAt % 8);
    pbBits[uAt / 8] = static_cast<unsigned char>(pbBits[uAt / 8] | (uMoved & 0xFF));
    pbBits[uAt / 8 + 1] = static_cast<unsigned char>(pbBits[uAt / 8 + 1] | (uMoved >> 8));
}

// Copies the units of a text as bytes, "A" to "Z" in lower case: those in front of the first one below cLeast or above
// cMost, which are 1 to 0x7F, and at most uMost. The target needs room for 8 bytes more than that. For each capital the
// bit of its place is set, counted from uBitAt on. No unit is looked at twice, and none behind the one that ends the
// copy counts. Result: the units copied.
inline unsigned VOFoldNarrow(unsigned char* pbTo, unsigned char* pbCapitals, size_t uBitAt, const VOWCHAR* pszFrom,
                             unsigned uMost, VOWCHAR cLeast, VOWCHAR cMost)
{
    unsigned uLength = 0;
    for (;;)
    {
#if VO_WIDE_SCAN_BLOCKS
        const __m128i least = _mm_set1_epi16(static_cast<short>(cLeast));
        const __m128i most = _mm_set1_epi16(static_cast<short>(cMost));
        const size_t uInPage = VOBlocksInPage(pszFrom + uLength);
        const size_t uInTarget = (uMost - uLength) / kVOWideScanUnits;
        for (size_t uBlocks = uInPage < uInTarget ? uInPage : uInTarget; uBlocks > 0; --uBlocks)
        {
            // Units from 0x8000 on count as negative, and so as too small.
            const __m128i block = VOLoadBlock(pszFrom + uLength);
            const __m128i others = _mm_or_si128(_mm_cmplt_epi16(block, least), _mm_cmpgt_epi16(block, most));
            const __m128i capital = _mm_and_si128(_mm_cmpgt_epi16(block, _mm_set1_epi16('A' - 1)),
                                                  _mm_cmplt_epi16(block, _mm_set1_epi16('Z' + 1)));
            const __m128i lower = _mm_or_si128(block, _mm_and_si128(capital, _mm_set1_epi16(0x20)));
            _mm_storel_epi64(reinterpret_cast<__m128i*>(pbTo + uLength), _mm_packus_epi16(lower, lower));
            const unsigned uCapitals =
                static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(capital, _mm_setzero_si128())));
            const unsigned uOtherBytes = static_cast<unsigned>(_mm_movemask_epi8(others));
            const unsigned uUnits = uOtherBytes != 0 ? VOUnitsBeforeZero(uOtherBytes) : kVOWideScanUnits;
            VOSetBits(pbCapitals, uBitAt + uLength, uCapitals & ((1u << uUnits) - 1));
            uLength += uUnits;
            if (uOtherBytes != 0)
            {
                return uLength;
            }
        }
#endif
        for (unsigned uUnit = 0; uUnit < 8; ++uUnit)
        {
            const VOWCHAR cUnit = uLength < uMost ? VOLoadUnit(pszFrom + uLength) : VOWCHAR{0};
            const bool bCapital = cUnit >= 'A' && cUnit <= 'Z';
            if (cUnit < cLeast || cUnit > cMost)
            {
                return uLength;
            }
            VOSetBits(pbCapitals, uBitAt + uLength, bCapital ? 1 : 0);
            pbTo[uLength++] = static_cast<unsigned char>(bCapital ? cUnit | 0x20 : cUnit);
        }
    }
}

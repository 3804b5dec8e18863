// Where a short run of bytes stands in a long one, at the speed at which memory is read.
//
// The two bytes of the short run that are rare in the long one are looked for at once, 16 places at a time where the
// processor can; only where both stand is the whole run compared.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <bit>

#if defined(__SSE2__) || defined(_M_X64)
#define VO_BYTE_SEARCH_BLOCKS 1
#include <emmintrin.h>
#else
#define VO_BYTE_SEARCH_BLOCKS 0
#endif

// So many bytes behind the end of what is searched have to be readable; they decide nothing.
constexpr size_t kVOByteSearchSlack = 64;

class VOByteSearch
{
public:
    // The run that is looked for, of one byte at least, has to outlive the object. auOften says how often each byte
    // occurs where it will be looked for.
    VOByteSearch(const unsigned char* pbWhat, size_t uSize, const uint32_t (&auOften)[256])
        : m_pbWhat(pbWhat), m_uSize(uSize)
    {
        for (size_t uAt = 1; uAt < uSize; ++uAt)
        {
            m_uRarest = auOften[pbWhat[uAt]] < auOften[pbWhat[m_uRarest]] ? uAt : m_uRarest;
        }
        m_uNextRarest = m_uRarest == 0 ? uSize - 1 : 0;
        for (size_t uAt = 0; uAt < uSize; ++uAt)
        {
            const bool bRarer = auOften[pbWhat[uAt]] < auOften[pbWhat[m_uNextRarest]];
            m_uNextRarest = bRarer && uAt != m_uRarest ? uAt : m_uNextRarest;
        }
    }

    // The first place of the run that lies between the two in whole; null if there is none.
    const unsigned char* Find(const unsigned char* pbFrom, const unsigned char* pbEnd) const
    {
        if (static_cast<size_t>(pbEnd - pbFrom) < m_uSize)
        {
            return nullptr;
        }
        return _Find(pbFrom, pbEnd - m_uSize);
    }

private:
    bool _IsAt(const unsigned char* pbPlace) const { return memcmp(pbPlace, m_pbWhat, m_uSize) == 0; }

#if VO_BYTE_SEARCH_BLOCKS

    // Which of the 16 places from pbPlace on have both bytes.
    __m128i _Both(const unsigned char* pbPlace, __m128i rarest, __m128i nextRarest) const
    {
        const auto Load = [](const unsigned char* pb) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pb)); };
        return _mm_and_si128(_mm_cmpeq_epi8(Load(pbPlace + m_uRarest), rarest),
                             _mm_cmpeq_epi8(Load(pbPlace + m_uNextRarest), nextRarest));
    }

    // pbLast is the last place that counts.
    const unsigned char* _Find(const unsigned char* pbFrom, const unsigned char* pbLast) const
    {
        const __m128i rarest = _mm_set1_epi8(static_cast<char>(m_pbWhat[m_uRarest]));
        const __m128i nextRarest = _mm_set1_epi8(static_cast<char>(m_pbWhat[m_uNextRarest]));
        for (const unsigned char* pbPlace = pbFrom; pbLast - pbPlace >= 0; pbPlace += 64)
        {
            __m128i aBoth[4];
            for (int nBlock = 0; nBlock < 4; ++nBlock)
            {
                aBoth[nBlock] = _Both(pbPlace + 16 * nBlock, rarest, nextRarest);
            }
            const __m128i any = _mm_or_si128(_mm_or_si128(aBoth[0], aBoth[1]), _mm_or_si128(aBoth[2], aBoth[3]));
            if (_mm_movemask_epi8(any) == 0)
            {
                continue;
            }
            for (int nBlock = 0; nBlock < 4; ++nBlock)
            {
                unsigned uBits = static_cast<unsigned>(_mm_movemask_epi8(aBoth[nBlock]));
                for (; uBits != 0; uBits &= uBits - 1)
                {
                    const unsigned char* const pbFound = pbPlace + 16 * nBlock + std::countr_zero(uBits);
                    if (pbFound > pbLast)
                    {
                        return nullptr;
                    }
                    if (_IsAt(pbFound))
                    {
                        return pbFound;
                    }
                }
            }
        }
        return nullptr;
    }

#else

    const unsigned char* _Find(const unsigned char* pbFrom, const unsigned char* pbLast) const
    {
        for (const unsigned char* pbPlace = pbFrom; pbPlace <= pbLast; ++pbPlace)
        {
            const void* const pvRarest =
                memchr(pbPlace + m_uRarest, m_pbWhat[m_uRarest], static_cast<size_t>(pbLast - pbPlace) + 1);
            if (pvRarest == nullptr)
            {
                return nullptr;
            }
            pbPlace = static_cast<const unsigned char*>(pvRarest) - m_uRarest;
            if (_IsAt(pbPlace))
            {
                return pbPlace;
            }
        }
        return nullptr;
    }

#endif

    const unsigned char* m_pbWhat;
    size_t m_uSize;
    size_t m_uRarest = 0;
    size_t m_uNextRarest = 0;  // the same place in a run of one byte
};

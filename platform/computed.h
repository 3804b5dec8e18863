// A value that is computed as it was written down. Compilers regroup sums of integers as they see fit, and in a chain
// of sums that wait for each other the grouping decides how long the chain is.
#pragma once

#include <emmintrin.h>

inline __m128i VOComputed(__m128i value)
{
#if defined(__GNUC__)
    __asm__("" : "+x"(value));
#endif
    return value;
}

// The table's header on a processor without the header of fetching ahead: here the compiler is told so.
#if defined(__SSE2__)
#undef __SSE2__
#include "internal/vo_map_table.h"
#if defined(_MM_HINT_T0) || defined(_XMMINTRIN_H_INCLUDED) || defined(__XMMINTRIN_H)
#define WANTS_THE_PROCESSORS_HEADER 1
#endif
#endif

#include <gtest/gtest.h>

TEST(MapTableHeader, NeedsNoHeaderOfOneProcessor)
{
#if defined(WANTS_THE_PROCESSORS_HEADER)
    FAIL() << "xmmintrin.h was included";
#else
    SUCCEED();
#endif
}

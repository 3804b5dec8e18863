#include "vobase.h"

#include <gtest/gtest.h>

#include "headers/type_sizes.h"

TypeSizes SizesWithoutTheSystemHeader()
{
    return VO_ALL_TYPE_SIZES;
}

TEST(PublicHeaders, GiveEveryTypeTheSameSizeAfterTheSystemHeader)
{
    EXPECT_EQ(SizesAfterTheSystemHeader(), SizesWithoutTheSystemHeader());
    EXPECT_EQ(SizesAfterTheSystemHeader().at("VOULONG"), 4u);
    EXPECT_EQ(SizesAfterTheSystemHeader().at("VOWCHAR"), 2u);
}

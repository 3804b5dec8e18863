// The search for a run of bytes, held against the standard library's.
#include "assetindex/byte_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/random.h"

namespace
{

TEST(ByteSearch, FindsTheFirstPlaceBetweenTwoOthers)
{
    votest::Random random(5);
    size_t uFound = 0;
    for (int nRound = 0; nRound < 20000; ++nRound)
    {
        // Few different bytes, so that runs begin in many places and end in few; what lies behind the end counts for
        // nothing, and nothing behind the slack is there.
        const size_t uSize = random.Below(300);
        std::vector<unsigned char> vecIn(uSize + kVOByteSearchSlack);
        for (unsigned char& byte : vecIn)
        {
            byte = static_cast<unsigned char>('a' + random.Below(1 + nRound % 5));
        }
        const size_t uFrom = random.Below(uSize + 1);
        std::vector<unsigned char> vecWhat(1 + random.Below(random.Percent(80) ? 6 : 80));
        for (unsigned char& byte : vecWhat)
        {
            byte = static_cast<unsigned char>('a' + random.Below(2 + nRound % 5));
        }
        uint32_t auOften[256];
        std::generate(std::begin(auOften), std::end(auOften), [&] { return random.Word() % 8; });
        const VOByteSearch search(vecWhat.data(), vecWhat.size(), auOften);
        const unsigned char* const pbEnd = vecIn.data() + uSize;
        const unsigned char* const pbExpected = std::search<const unsigned char*>(
            vecIn.data() + uFrom, pbEnd, vecWhat.data(), vecWhat.data() + vecWhat.size());
        const unsigned char* const pbFound = search.Find(vecIn.data() + uFrom, pbEnd);
        ASSERT_EQ(pbExpected == pbEnd ? nullptr : pbExpected, pbFound) << nRound;
        uFound += pbFound != nullptr;
    }
    EXPECT_LT(3000u, uFound);
}

}  // namespace

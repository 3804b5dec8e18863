// The stream inside a block is the compression library's own: compared with bare calls of it.
#include <stddef.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/fault_points.h"
#include "support/random.h"
#include "utility/block_format.h"
#include "vo_utility.h"

using namespace votest;

// The two calls as that library declares them; its headers aren't on the path of tests.
extern "C"
{
    int lzo1x_1_compress(const unsigned char* pbSource, size_t uSourceSize, unsigned char* pbTo, size_t* puSize,
                         void* pvWork);
    int lzo1x_decompress_safe(const unsigned char* pbSource, size_t uSourceSize, unsigned char* pbTo, size_t* puSize,
                              void* pvWork);
}

namespace
{
Bytes BareCompress(const Bytes& source)
{
    std::vector<uint64_t> vecWork(131072 / 8);
    Bytes vecStream(source.size() + source.size() / 16 + 67);
    size_t uSize = 0;
    EXPECT_EQ(0, lzo1x_1_compress(source.data(), source.size(), vecStream.data(), &uSize, vecWork.data()));
    vecStream.resize(uSize);
    return vecStream;
}

// Text-like data, so that the stream has matches of all kinds.
Bytes Source(Random& random, size_t uSize)
{
    Bytes vecSource;
    while (vecSource.size() < uSize)
    {
        if (vecSource.empty() || random.Percent(40))
        {
            vecSource.push_back(static_cast<unsigned char>(random.Word()));
            continue;
        }
        const size_t uBack = 1 + random.Below(vecSource.size());
        for (size_t uLeft = 1 + random.Below(300); uLeft > 0 && vecSource.size() < uSize; --uLeft)
        {
            vecSource.push_back(vecSource[vecSource.size() - uBack]);
        }
    }
    return vecSource;
}
}  // namespace

TEST(CompressedBlockStream, IsThatOfABareCall)
{
    Random random(82100);
    for (int i = 0; i < 200; ++i)
    {
        const Bytes vecSource = Source(random, i < 100 ? static_cast<size_t>(i + 1) : 1 + random.Below(200000));
        Bytes vecCopy = vecSource;
        unsigned char* pbBlock = nullptr;
        unsigned int uSize = 0;
        ASSERT_EQ(1,
                  VOCompressBuffer_lzo1x(&pbBlock, &uSize, vecCopy.data(), static_cast<unsigned int>(vecCopy.size())));
        const Bytes vecStream = BareCompress(vecSource);
        const Bytes vecExpected =
            ByteBuilder().U64(vecSource.size()).U64(vecStream.size()).Append(vecStream).Zeros(8).Result();
        ASSERT_TRUE(SameBytes(vecExpected, TakeBytes(pbBlock, uSize))) << vecSource.size();
        ASSERT_TRUE(SameBytes(vecSource, vecCopy)) << "the source isn't written";
    }
}

TEST(CompressedBlockStream, IsDecompressedByABareCall)
{
    Random random(82101);
    Bytes vecSource = Source(random, 50000);
    unsigned char* pbBlock = nullptr;
    unsigned int uSize = 0;
    ASSERT_EQ(1,
              VOCompressBuffer_lzo1x(&pbBlock, &uSize, vecSource.data(), static_cast<unsigned int>(vecSource.size())));
    const Bytes vecBlock = TakeBytes(pbBlock, uSize);
    Bytes vecResult(vecSource.size());
    size_t uResult = vecResult.size();
    ASSERT_EQ(0,
              lzo1x_decompress_safe(vecBlock.data() + 16, vecBlock.size() - 24, vecResult.data(), &uResult, nullptr));
    EXPECT_EQ(vecSource.size(), uResult);
    EXPECT_TRUE(SameBytes(vecSource, vecResult));
}

TEST(CompressedBlockStream, OfABareCallIsDecompressed)
{
    Random random(82102);
    for (int i = 0; i < 50; ++i)
    {
        const Bytes vecSource = Source(random, 1 + random.Below(50000));
        const Bytes vecStream = BareCompress(vecSource);
        const MisalignedBlock block(
            ByteBuilder().U64(vecSource.size()).U64(vecStream.size()).Append(vecStream).Result(), 1);
        unsigned char* pbResult = nullptr;
        unsigned int uSize = 0;
        ASSERT_EQ(1, VODeCompressBuffer_lzo1x(&pbResult, &uSize, block.Data()));
        ASSERT_TRUE(SameBytes(vecSource, TakeBytes(pbResult, uSize)));
    }
}

namespace
{
// Five bytes "A", then the end mark; the head claims more than nine bytes can hold.
const Bytes kFive = FromHex("16 41 41 41 41 41 11 00 00");
constexpr uint64_t kClaimed = 1'000'000;
}  // namespace

TEST(CompressedBlockRoom, ThatCannotBeHadIsMadeAsSmallAsTheStreamAllows)
{
    Bytes vecBlock = ByteBuilder().U64(kClaimed).U64(kFive.size()).Append(kFive).Zeros(8).Result();
    unsigned char* pbResult = nullptr;
    unsigned int uSize = 0;
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(1, VODeCompressBuffer_lzo1x(&pbResult, &uSize, vecBlock.data()));
    EXPECT_NE(0, VOFaultFired());
    VOFaultDisarm();
    EXPECT_TRUE(SameBytes(Bytes(5, 'A'), TakeBytes(pbResult, uSize)));
}

TEST(CompressedBlockRoom, IsNotAskedForByAClaimThatIsNotTrusted)
{
    unsigned char* pbResult = nullptr;
    unsigned int uSize = 0;
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(1,
              VODeCompressBuffer_lzo1x(&pbResult, &uSize, VOCompressedBlockHead{kClaimed, kFive.size()}, kFive.data()));
    EXPECT_EQ(0, VOFaultFired());
    VOFaultDisarm();
    EXPECT_TRUE(SameBytes(Bytes(5, 'A'), TakeBytes(pbResult, uSize)));
}

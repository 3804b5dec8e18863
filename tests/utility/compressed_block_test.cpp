// The compressed block: bytes, round trips, heads that lie.
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/stdout_capture.h"
#include "vo_utility.h"

using namespace votest;

namespace
{
const char* const kCompress = "VOCompressBuffer_lzo1x";
const char* const kDecompress = "VODeCompressBuffer_lzo1x";

Bytes Compress(const Bytes& givenSource)
{
    const MisalignedBlock source(givenSource, 1);
    unsigned char* pbBlock = nullptr;
    unsigned int uSize = 0;
    EXPECT_EQ(1,
              VOCompressBuffer_lzo1x(&pbBlock, &uSize, source.Data(), static_cast<unsigned int>(givenSource.size())));
    return TakeBytes(pbBlock, uSize);
}

struct Decompressed
{
    int nResult;
    Bytes vecBytes;
    bool bUntouched;  // the outputs, on failure
};

Decompressed Decompress(const Bytes& givenBlock, size_t uMisalignment = 1)
{
    const MisalignedBlock block(givenBlock, uMisalignment);
    unsigned char abMark[1];
    unsigned char* pbResult = abMark;
    unsigned int uSize = 4711;
    const int nResult = VODeCompressBuffer_lzo1x(&pbResult, &uSize, block.Data());
    if (nResult == 0)
    {
        return {0, {}, pbResult == abMark && uSize == 4711};
    }
    return {nResult, TakeBytes(pbResult, uSize), false};
}

// A block made by hand around a stream.
Bytes BlockOf(uint64_t ullSourceSize, uint64_t ullStreamSize, const Bytes& stream)
{
    return ByteBuilder().U64(ullSourceSize).U64(ullStreamSize).Append(stream).Zeros(8).Result();
}

// Streams by the LZO1X format: a first byte of 17 + n begins n literals; 60 00 copies four bytes from one byte back; 11
// 00 00 is the end.
const Bytes kOneByte = FromHex("12 41 11 00 00");
const Bytes kThreeBytes = FromHex("14 41 42 43 11 00 00");
const Bytes kFiveEqual = FromHex("12 41 60 00 11 00 00");

Bytes RandomSource(Random& random, size_t uSize)
{
    Bytes vecSource(uSize);
    const unsigned uKinds = 1 + static_cast<unsigned>(random.Below(256));
    for (unsigned char& uByte : vecSource)
    {
        uByte = static_cast<unsigned char>(random.Below(uKinds));
    }
    return vecSource;
}
}  // namespace

TEST(CompressedBlock, OfOneByteIsExactlyTheFormat)
{
    EXPECT_TRUE(SameBytes(FromHex("01 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00"
                                  "12 41 11 00 00"
                                  "00 00 00 00 00 00 00 00"),
                          Compress({'A'})));
}

TEST(CompressedBlock, OfOneByteDecompressesToIt)
{
    const Bytes vecBlock = Compress({0x7F});
    EXPECT_EQ(5u + 24u, vecBlock.size());
    const Decompressed result = Decompress(vecBlock);
    EXPECT_EQ(1, result.nResult);
    EXPECT_TRUE(SameBytes({0x7F}, result.vecBytes));
}

TEST(CompressedBlock, ItsReportedSizeIsTheStreamAnd24BytesAndItsTailIsZero)
{
    Random random(82001);
    for (const size_t uSize : {1u, 2u, 3u, 17u, 255u, 4096u, 100000u})
    {
        const Bytes vecBlock = Compress(RandomSource(random, uSize));
        ASSERT_GE(vecBlock.size(), 24u);
        EXPECT_EQ(uSize, ReadU64(vecBlock, 0));
        EXPECT_EQ(vecBlock.size() - 24, ReadU64(vecBlock, 8));
        EXPECT_EQ(0u, ReadU64(vecBlock, vecBlock.size() - 8));
        EXPECT_TRUE(SameBytes({0x11, 0, 0}, CopyBytes(vecBlock.data() + vecBlock.size() - 11, 3))) << "the end marker";
    }
}

TEST(CompressedBlock, EqualSourcesGiveEqualBlocks)
{
    Random random(82002);
    const Bytes vecSource = RandomSource(random, 5000);
    EXPECT_TRUE(SameBytes(Compress(vecSource), Compress(vecSource)));
}

TEST(CompressedBlock, ManySourcesOfManySizesComeBack)
{
    Random random(82003);
    for (int i = 0; i < 400; ++i)
    {
        const size_t uSize = i < 300 ? static_cast<size_t>(i + 1) : 1 + random.Below(70000);
        const Bytes vecSource = RandomSource(random, uSize);
        const Decompressed result = Decompress(Compress(vecSource), random.Below(16));
        ASSERT_EQ(1, result.nResult) << uSize;
        ASSERT_TRUE(SameBytes(vecSource, result.vecBytes));
    }
}

TEST(CompressedBlock, AnIncompressibleMegabyteComesBack)
{
    Random random(82004);
    Bytes vecSource(1 << 20);
    for (unsigned char& uByte : vecSource)
    {
        uByte = static_cast<unsigned char>(random.Word());
    }
    const Bytes vecBlock = Compress(vecSource);
    EXPECT_GT(vecBlock.size(), vecSource.size());
    EXPECT_LE(vecBlock.size(), vecSource.size() + vecSource.size() / 16 + 67 + 24);
    EXPECT_TRUE(SameBytes(vecSource, Decompress(vecBlock).vecBytes));
}

TEST(CompressedBlock, IsReadAtEveryMisalignment)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        EXPECT_TRUE(SameBytes({'A', 'B', 'C'}, Decompress(BlockOf(3, 7, kThreeBytes), uMisalignment).vecBytes));
    }
}

TEST(CompressedBlock, MadeByHandIsDecompressed)
{
    EXPECT_TRUE(SameBytes({'A'}, Decompress(BlockOf(1, 5, kOneByte)).vecBytes));
    EXPECT_TRUE(SameBytes({'A', 'A', 'A', 'A', 'A'}, Decompress(BlockOf(5, 7, kFiveEqual)).vecBytes));
}

TEST(CompressedBlock, ItsTailIsNotLookedAt)
{
    // The stream is the last of the allocation here.
    const Bytes vecBlock = ByteBuilder().U64(3).U64(7).Append(kThreeBytes).Result();
    EXPECT_TRUE(SameBytes({'A', 'B', 'C'}, Decompress(vecBlock).vecBytes));
}

TEST(CompressedBlock, ASourceOfNoBytesFailsItsCheckAndWritesNothing)
{
    const LogCapture log;
    unsigned char abMark[1] = {'A'};
    unsigned char* pbResult = abMark;
    unsigned int uSize = 4711;
    EXPECT_EQ(0, VOCompressBuffer_lzo1x(&pbResult, &uSize, abMark, 0));
    EXPECT_EQ(0, VOCompressBuffer_lzo1x(&pbResult, &uSize, nullptr, 1));
    EXPECT_EQ(abMark, pbResult);
    EXPECT_EQ(4711u, uSize);
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "pbuffSrc && uSrcSize", kCompress);
    EXPECT_EQ((std::vector<std::string>{strLine, strLine}), log.Lines());
}

TEST(CompressedBlock, CompressingWithoutOutputsFailsItsCheckBehindThatOfTheSource)
{
    const LogCapture log;
    unsigned char abSource[1] = {'A'};
    unsigned char* pbResult = nullptr;
    unsigned int uSize = 4711;
    EXPECT_EQ(0, VOCompressBuffer_lzo1x(nullptr, &uSize, abSource, 1));
    EXPECT_EQ(0, VOCompressBuffer_lzo1x(&pbResult, nullptr, abSource, 1));
    EXPECT_EQ(0, VOCompressBuffer_lzo1x(nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(4711u, uSize);
    EXPECT_EQ(nullptr, pbResult);
    const std::string strOutputs = CheckLine("VO_PROCESS_ERROR", "ppbuffResult && puBuffSize", kCompress);
    EXPECT_EQ((std::vector<std::string>{strOutputs, strOutputs,
                                        CheckLine("VO_PROCESS_ERROR", "pbuffSrc && uSrcSize", kCompress)}),
              log.Lines());
}

TEST(CompressedBlock, DecompressingWithoutOutputsOrWithoutABlockFailsItsCheck)
{
    const LogCapture log;
    Bytes vecBlock = BlockOf(1, 5, kOneByte);
    unsigned char* pbResult = nullptr;
    unsigned int uSize = 4711;
    EXPECT_EQ(0, VODeCompressBuffer_lzo1x(nullptr, &uSize, vecBlock.data()));
    EXPECT_EQ(0, VODeCompressBuffer_lzo1x(&pbResult, nullptr, vecBlock.data()));
    EXPECT_EQ(0, VODeCompressBuffer_lzo1x(&pbResult, &uSize, nullptr));
    EXPECT_EQ(4711u, uSize);
    EXPECT_EQ(nullptr, pbResult);
    const std::string strOutputs = CheckLine("VO_PROCESS_ERROR", "ppbuffResult && puBuffSize", kDecompress);
    EXPECT_EQ((std::vector<std::string>{strOutputs, strOutputs,
                                        CheckLine("VO_PROCESS_ERROR", "pbuffDeCompress", kDecompress)}),
              log.Lines());
}

TEST(CompressedBlock, GoodWorkLogsNothing)
{
    const LogCapture log;
    Decompress(Compress({1, 2, 3}));
    EXPECT_EQ(0u, log.Count());
}

TEST(CompressedBlock, ASourceSizeThatIsTooSmallForTheStreamFailsAndLeavesTheOutputsUntouched)
{
    const LogCapture log;
    for (const uint64_t ullSize : {0ull, 1ull, 4ull})
    {
        const Decompressed result = Decompress(BlockOf(ullSize, 7, kFiveEqual));
        EXPECT_EQ(0, result.nResult) << ullSize;
        EXPECT_TRUE(result.bUntouched);
    }
    const std::string strLine = CheckLine("VO_PROCESS_ERROR", "nRetLzo == LZO_E_OK", kDecompress);
    EXPECT_EQ((std::vector<std::string>{strLine, strLine, strLine}), log.Lines());
}

TEST(CompressedBlock, ASourceSizeThatIsTooLargeGivesTheLengthOfTheStreamsData)
{
    for (const uint64_t ullSize : {6ull, 1000ull, 0xFFFFFFull})
    {
        const Decompressed result = Decompress(BlockOf(ullSize, 7, kFiveEqual));
        EXPECT_EQ(1, result.nResult) << ullSize;
        EXPECT_TRUE(SameBytes({'A', 'A', 'A', 'A', 'A'}, result.vecBytes));
    }
}

TEST(CompressedBlock, ASourceSizeBeyondAllMemoryIsNoFault)
{
    for (const uint64_t ullSize : {0xFFFFFFFFull, 0x100000000ull, 1ull << 40, 1ull << 63, ~0ull})
    {
        const Decompressed result = Decompress(BlockOf(ullSize, 7, kFiveEqual));
        EXPECT_EQ(1, result.nResult) << ullSize;
        EXPECT_TRUE(SameBytes({'A', 'A', 'A', 'A', 'A'}, result.vecBytes));
    }
}

TEST(CompressedBlock, AStreamSizeThatCutsTheStreamFails)
{
    StdoutCapture quiet;
    for (uint64_t ullSize = 0; ullSize < kFiveEqual.size(); ++ullSize)
    {
        const Decompressed result = Decompress(BlockOf(5, ullSize, kFiveEqual));
        EXPECT_EQ(0, result.nResult) << ullSize;
        EXPECT_TRUE(result.bUntouched);
    }
}

TEST(CompressedBlock, AStreamSizeThatReachesIntoTheTailFails)
{
    StdoutCapture quiet;
    EXPECT_EQ(0, Decompress(BlockOf(5, kFiveEqual.size() + 1, kFiveEqual)).nResult);
    EXPECT_EQ(0, Decompress(BlockOf(5, kFiveEqual.size() + 8, kFiveEqual)).nResult);
}

TEST(CompressedBlock, AStreamOfNothingButItsEndGivesAnEmptyBuffer)
{
    const Decompressed result = Decompress(BlockOf(0, 3, FromHex("11 00 00")));
    EXPECT_EQ(1, result.nResult);
    EXPECT_TRUE(result.vecBytes.empty());
}

TEST(CompressedBlock, EveryFlippedBitOfAStreamFailsOrGivesBoundedData)
{
    StdoutCapture quiet;
    Random random(82005);
    const Bytes vecSource = RandomSource(random, 200);
    const Bytes vecGood = Compress(vecSource);
    size_t uFailed = 0;
    for (size_t uBit = 16 * 8; uBit < (vecGood.size() - 8) * 8; ++uBit)
    {
        Bytes vecFlipped = vecGood;
        vecFlipped[uBit / 8] ^= static_cast<unsigned char>(1 << uBit % 8);
        const Decompressed result = Decompress(vecFlipped);
        EXPECT_LE(result.vecBytes.size(), vecSource.size());
        uFailed += result.nResult == 0 ? 1 : 0;
    }
    EXPECT_NE(0u, uFailed);
}

TEST(CompressedBlock, EveryFlippedBitOfTheSourceSizeFailsOrGivesTheData)
{
    StdoutCapture quiet;
    for (size_t uBit = 0; uBit < 64; ++uBit)
    {
        // A claim below 4 GiB is allocated, and the thread sanitizer touches what is: the test above has one of them.
        if (uBit > 24 && uBit < 32)
        {
            continue;
        }
        const uint64_t ullSize = 5ull ^ 1ull << uBit;
        const Decompressed result = Decompress(BlockOf(ullSize, 7, kFiveEqual));
        EXPECT_EQ(ullSize >= 5 ? 1 : 0, result.nResult) << uBit;
    }
}

// Views whose heads say nearly 4 GiB: they are attached without being read, and have no image of their own.
//
// The caller vouches for these images, so that no length limits them; nothing behind their heads is touched here.
#include <vector>

#include "containers/vots_number_container.h"
#include "internal/vo_map_table.h"
#include "internal/vo_record_vector.h"
#include "support/bytes.h"
#include "support/log_capture.h"

using namespace votest;

TEST(HugeViews, ARecordVectorWhoseImageWouldPass4GiBHasNone)
{
    // 0xFFFFFFF8 bytes of records, and 20 more around them.
    const MisalignedBlock kImage(ByteBuilder().Version("ver.1.0").U32(0x1FFFFFFF).U32(0xFFFFFFF8).Zeros(4).Result(), 1);
    VORecordVector<void*> kVector;
    ASSERT_TRUE(kVector.SetAlloc(kImage.As<const VORecordVectorAlloc>(), 0));
    EXPECT_EQ(0x1FFFFFFFu, kVector.Count());
    EXPECT_GT(kVector.AllocSize(), kVOMaxImageSize);
    EXPECT_EQ(nullptr, kVector.GetAlloc());
}

TEST(HugeViews, ATableWhoseImageWouldPass4GiBHasNone)
{
    const MisalignedBlock kImage(ByteBuilder()
                                     .Version("ver.1.0")
                                     .U32(1)
                                     .U32(4)
                                     .Version("ver.1.0")
                                     .U32(0x0FFFFFFF)
                                     .U32(0xFFFFFFF0)
                                     .Zeros(8)
                                     .Result(),
                                 1);
    VOMapTable<unsigned int, unsigned long long> kTable;
    ASSERT_TRUE(kTable.SetAlloc(kImage.As<const VOMapTableAlloc>(), 0));
    EXPECT_EQ(0x0FFFFFFFu, kTable.SlotCount());
    EXPECT_GT(kTable.AllocSize(), kVOMaxImageSize);
    EXPECT_EQ(nullptr, kTable.GetAlloc());
}

TEST(HugeViews, ANumberContainerWhoseImageWouldPass4GiBHasNone)
{
    const MisalignedBlock kImage(ByteBuilder().U32(0x3FFFFFFF).U32(0xFFFFFFFC).Zeros(4).Result(), 1);
    VOTSNumberContainer kNumbers;
    ASSERT_EQ(1, kNumbers.SetAlloc(kImage.As<VOTSNumberContainer::NumberAlloc>(), 0));
    EXPECT_EQ(0x3FFFFFFFu, kNumbers.GetValueCount());
    const LogCapture kLog;
    EXPECT_EQ(nullptr, kNumbers.GetAlloc());
    EXPECT_EQ(1u, kLog.Count());
}

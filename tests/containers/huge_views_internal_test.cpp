// Views whose heads say nearly 4 GiB: they are attached without being read, and have no image of their own.
//
// The caller vouches for these images, so that no length limits them; nothing behind their heads is touched here.
#include <vector>

#include "containers/vots_number_container.h"
#include "internal/vo_map_table.h"
#include "internal/vo_record_vector.h"
#include "support/bytes.h"

using namespace votest;

TEST(HugeViews, ARecordVectorWhoseImageWouldPass4GiBHasNone)
{
    // 0xFFFFFFF8 bytes of records, and 20 more around them.
    const MisalignedBlock image(ByteBuilder().Version("ver.1.0").U32(0x1FFFFFFF).U32(0xFFFFFFF8).Zeros(4).Result(), 1);
    VORecordVector<void*> vector;
    ASSERT_TRUE(vector.SetAlloc(image.As<const VORecordVectorAlloc>(), 0));
    EXPECT_EQ(0x1FFFFFFFu, vector.Count());
    EXPECT_GT(vector.AllocSize(), kVOMaxImageSize);
    EXPECT_EQ(nullptr, vector.GetAlloc());
}

TEST(HugeViews, ATableWhoseImageWouldPass4GiBHasNone)
{
    const MisalignedBlock image(ByteBuilder()
                                    .Version("ver.1.0")
                                    .U32(1)
                                    .U32(4)
                                    .Version("ver.1.0")
                                    .U32(0x0FFFFFFF)
                                    .U32(0xFFFFFFF0)
                                    .Zeros(8)
                                    .Result(),
                                1);
    VOMapTable<unsigned int, unsigned long long> table;
    ASSERT_TRUE(table.SetAlloc(image.As<const VOMapTableAlloc>(), 0));
    EXPECT_EQ(0x0FFFFFFFu, table.SlotCount());
    EXPECT_GT(table.AllocSize(), kVOMaxImageSize);
    EXPECT_EQ(nullptr, table.GetAlloc());
}

TEST(HugeViews, ANumberContainerWhoseImageWouldPass4GiBHasNone)
{
    const MisalignedBlock image(ByteBuilder().U32(0x3FFFFFFF).U32(0xFFFFFFFC).Zeros(4).Result(), 1);
    VOTSNumberContainer numbers;
    ASSERT_EQ(1, numbers.SetAlloc(image.As<VOTSNumberContainer::NumberAlloc>(), 0));
    EXPECT_EQ(0x3FFFFFFFu, numbers.GetValueCount());
    EXPECT_GT(numbers.AllocSize(), kVOMaxImageSize);
    EXPECT_EQ(nullptr, numbers.GetAlloc());
}

// VOMapTable: the flat form of a sorted map.
#include "internal/vo_map_table.h"

#include <map>
#include <vector>

#include "support/bytes.h"
#include "support/random.h"
#include "support/reference_hash.h"
#include "support/reference_images.h"

using namespace votest;

namespace
{
typedef VOMapTable<unsigned int, unsigned long long> Table;       // as a string set's
typedef VOMapTable<unsigned long long, unsigned int> IndexTable;  // as the asset index's

// Keys 2, 5, 8, 10, 18 in 8 slots. Home slots: 2 -> 7, 5 -> 0, 8 -> 5, 10 -> 7, 18 -> 7. The keys 10 and 18 find theirs
// taken; placed after the others they go round the end: 10 to slot 1, 18 to slot 2.
const char* const kFiveElements = R"(
    76 65 72 2e 31 2e 30 00  05 00 00 00  94 00 00 00      # ver.1.0, 5 elements, 20 + 8 * 16
      76 65 72 2e 31 2e 30 00  08 00 00 00  80 00 00 00    # 8 slots, 128 bytes
      05 00 00 00  55 00 00 00 00 00 00 00  01 00 00 00
      0a 00 00 00  aa 00 00 00 00 00 00 00  01 00 00 00
      12 00 00 00  32 01 00 00 00 00 00 00  01 00 00 00
      00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00
      00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00
      08 00 00 00  88 00 00 00 00 00 00 00  01 00 00 00
      00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00
      02 00 00 00  22 00 00 00 00 00 00 00  01 00 00 00
      00 00 00 00
    00 00 00 00
)";

const char* const kFiveIndexElements = R"(
    76 65 72 2e 31 2e 30 00  05 00 00 00  94 00 00 00
      76 65 72 2e 31 2e 30 00  08 00 00 00  80 00 00 00
      05 00 00 00 00 00 00 00  55 00 00 00  01 00 00 00
      0a 00 00 00 00 00 00 00  aa 00 00 00  01 00 00 00
      12 00 00 00 00 00 00 00  32 01 00 00  01 00 00 00
      00 00 00 00 00 00 00 00  00 00 00 00  00 00 00 00
      00 00 00 00 00 00 00 00  00 00 00 00  00 00 00 00
      08 00 00 00 00 00 00 00  88 00 00 00  01 00 00 00
      00 00 00 00 00 00 00 00  00 00 00 00  00 00 00 00
      02 00 00 00 00 00 00 00  22 00 00 00  01 00 00 00
      00 00 00 00
    00 00 00 00
)";

template <typename K, typename V>
std::map<K, V> FiveElements()
{
    std::map<K, V> mapFive;
    for (const unsigned int uKey : {2u, 5u, 8u, 10u, 18u})
    {
        mapFive[uKey] = static_cast<V>(uKey * 0x11);
    }
    return mapFive;
}

std::map<unsigned int, unsigned long long> FirstKeys(size_t uCount)
{
    std::map<unsigned int, unsigned long long> mapKeys;
    for (size_t i = 0; i < uCount; ++i)
    {
        mapKeys[static_cast<unsigned int>(i * 7 + 1)] = i;
    }
    return mapKeys;
}

Bytes TakeTable(VOMapTableAlloc* pAlloc)
{
    return TakeBytes(pAlloc, pAlloc == nullptr ? 0 : 20 + ReadU32(CopyBytes(pAlloc, 16), 12));
}

template <typename T>
bool LoadTable(T& rkTable, const MisalignedBlock& rkImage, int bCopy)
{
    return rkTable.SetAlloc(rkImage.As<const VOMapTableAlloc>(), bCopy, rkImage.Size());
}

template <typename T>
bool Has(const T& rkTable, unsigned int uKey)
{
    typename T::Iterator kIterator;
    return rkTable.Find(uKey, kIterator) && kIterator.kKey == uKey && kIterator.kValue == uKey * 0x11;
}
}  // namespace

TEST(MapTable, TheSlotCountIsAPowerOfTwoAboveTheQuotient)
{
    const std::vector<std::pair<size_t, unsigned long long>> vecExpected = {
        {0, 1},   {1, 2},   {2, 4},   {3, 8},   {4, 8},   {5, 8},   {6, 16},
        {11, 16}, {12, 32}, {23, 32}, {24, 64}, {47, 64}, {48, 128}};
    for (const auto& [uElements, ullSlots] : vecExpected)
    {
        EXPECT_EQ(ullSlots, Table::SlotCountFor(uElements)) << uElements;
        EXPECT_EQ(ullSlots, Table(FirstKeys(uElements)).SlotCount()) << uElements;
    }
}

TEST(MapTable, TheQuotientOfManyElementsIsOfSinglePrecision)
{
    // 25165823 is not a single-precision number: it becomes 25165824, and the quotient is exactly 2^25, which takes 26
    // bits. An exact quotient would be below 2^25 and take 25.
    EXPECT_EQ(1ull << 26, Table::SlotCountFor(25165823));
    EXPECT_EQ(1ull << 25, Table::SlotCountFor(25165821));
}

TEST(MapTable, TheHashOfAKeyIsFnv1aOverItsBytes)
{
    // Of the key bytes 01 00 00 00 and 01 00 00 00 00 00 00 00.
    EXPECT_EQ(0x47985764u, Table::HashOfKey(1));
    EXPECT_EQ(0x1D2AEFA4u, IndexTable::HashOfKey(1));
    Random kRandom(25100);
    for (int i = 0; i < 1000; ++i)
    {
        const uint64_t ullKey = kRandom.Next();
        EXPECT_EQ(ReferenceKeyHash(ullKey & 0xFFFFFFFFu, 4), Table::HashOfKey(static_cast<unsigned int>(ullKey)));
        EXPECT_EQ(ReferenceKeyHash(ullKey, 8), IndexTable::HashOfKey(ullKey));
    }
}

TEST(MapTable, OfAnEmptyMapHasOneFreeSlotAndAnImageOf56Bytes)
{
    const std::map<unsigned int, unsigned long long> mapEmpty;
    const Bytes vecExpected = FromHex(R"(
        76 65 72 2e 31 2e 30 00  00 00 00 00  24 00 00 00
          76 65 72 2e 31 2e 30 00  01 00 00 00  10 00 00 00
          00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
          00 00 00 00
        00 00 00 00)");
    EXPECT_EQ(56u, vecExpected.size());
    EXPECT_TRUE(SameBytes(vecExpected, TakeTable(Table::GetAlloc(mapEmpty))));

    const MisalignedBlock kImage(vecExpected, 1);
    Table kTable;
    ASSERT_TRUE(LoadTable(kTable, kImage, 0));
    EXPECT_EQ(1u, kTable.SlotCount());
    EXPECT_EQ(0u, kTable.Count());
    Table::Iterator kIterator;
    EXPECT_FALSE(kTable.GetFirst(kIterator));
    for (unsigned int uKey = 0; uKey < 100; ++uKey)
    {
        EXPECT_FALSE(kTable.Find(uKey, kIterator));
    }
}

TEST(MapTable, ANewTableHasNoSlotsAndFindsNothing)
{
    const Table kTable;
    Table::Iterator kIterator;
    EXPECT_EQ(0u, kTable.SlotCount());
    EXPECT_EQ(0u, kTable.Count());
    EXPECT_FALSE(kTable.Find(0, kIterator));
    EXPECT_FALSE(kTable.GetFirst(kIterator));
    EXPECT_FALSE(kTable.GetNext(kIterator));
}

TEST(MapTable, DisplacedEntriesAreOnlyPlacedAfterAllPrimaryPlacements)
{
    EXPECT_TRUE(SameBytes(FromHex(kFiveElements),
                          TakeTable(Table::GetAlloc(FiveElements<unsigned int, unsigned long long>()))));
}

TEST(MapTable, WithKeysOf64BitsHasTheValueAtOffset8OfASlot)
{
    EXPECT_TRUE(SameBytes(FromHex(kFiveIndexElements),
                          TakeTable(IndexTable::GetAlloc(FiveElements<unsigned long long, unsigned int>()))));
}

TEST(MapTable, IsReadInPlaceAtEveryMisalignmentWithBothKindsOfKey)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(FromHex(kFiveElements), uMisalignment);
            const MisalignedBlock kIndexImage(FromHex(kFiveIndexElements), uMisalignment);
            Table kTable;
            IndexTable kIndexTable;
            ASSERT_TRUE(LoadTable(kTable, kImage, bCopy));
            ASSERT_TRUE(LoadTable(kIndexTable, kIndexImage, bCopy));
            EXPECT_EQ(5u, kTable.Count());
            for (const unsigned int uKey : {2u, 5u, 8u, 10u, 18u})
            {
                EXPECT_TRUE(Has(kTable, uKey)) << uKey << " at " << uMisalignment;
                EXPECT_TRUE(Has(kIndexTable, uKey)) << uKey << " at " << uMisalignment;
            }
            EXPECT_FALSE(Has(kTable, 1));
            EXPECT_FALSE(Has(kIndexTable, 1));
        }
    }
}

TEST(MapTable, KeysOfOneHomeSlotAreAllFoundWithTheLaterOnesBehindTheFirst)
{
    const Table kTable(FiveElements<unsigned int, unsigned long long>());
    Table::Iterator kIterator;
    ASSERT_TRUE(kTable.Find(2, kIterator));
    EXPECT_EQ(7u, kIterator.uSlot);
    ASSERT_TRUE(kTable.Find(10, kIterator));
    EXPECT_EQ(1u, kIterator.uSlot);
    EXPECT_EQ(10u, kIterator.kKey);
    EXPECT_EQ(0xAAu, kIterator.kValue);
    ASSERT_TRUE(kTable.Find(18, kIterator));
    EXPECT_EQ(2u, kIterator.uSlot);
}

TEST(MapTable, AKeyThatWasNeverEnteredIsNotFoundAndTheProbeEndsAtAFreeSlot)
{
    // Key 26 belongs into slot 7 as well; key 3 into slot 6, which is free.
    Bytes vecImage = FromHex(kFiveElements);
    const MisalignedBlock kImage(vecImage, 1);
    Table kTable;
    ASSERT_TRUE(LoadTable(kTable, kImage, 0));
    Table::Iterator kIterator;
    EXPECT_FALSE(kTable.Find(26, kIterator));
    EXPECT_FALSE(kTable.Find(3, kIterator));

    // An entry of key 26 behind the free slot 3 isn't reached.
    WriteU32(vecImage, 32 + 4 * 16, 26);
    WriteU32(vecImage, 32 + 4 * 16 + 12, 1);
    const MisalignedBlock kBehind(vecImage, 1);
    ASSERT_TRUE(LoadTable(kTable, kBehind, 1));
    EXPECT_FALSE(kTable.Find(26, kIterator));
}

TEST(MapTable, AProbeOfAFullTableEndsWhenItIsBackAtTheHomeSlot)
{
    Bytes vecImage = FromHex(kFiveElements);
    for (const size_t uSlot : {3u, 4u, 6u})
    {
        WriteU32(vecImage, 32 + uSlot * 16, 1000);
        WriteU32(vecImage, 32 + uSlot * 16 + 12, 1);
    }
    const MisalignedBlock kImage(vecImage, 1);
    Table kTable;
    ASSERT_TRUE(LoadTable(kTable, kImage, 0));
    Table::Iterator kIterator;
    EXPECT_FALSE(kTable.Find(26, kIterator));
    EXPECT_TRUE(Has(kTable, 18));
}

TEST(MapTable, FindLeavesTheIteratorAloneWhenThereIsNothing)
{
    const Table kTable(FiveElements<unsigned int, unsigned long long>());
    Table::Iterator kIterator;
    kIterator.kKey = 77;
    kIterator.kValue = 78;
    kIterator.uSlot = 79;
    EXPECT_FALSE(kTable.Find(26, kIterator));
    EXPECT_EQ(77u, kIterator.kKey);
    EXPECT_EQ(78u, kIterator.kValue);
    EXPECT_EQ(79u, kIterator.uSlot);
}

TEST(MapTable, TheWalkVisitsTheUsedSlotsInAscendingOrder)
{
    const Table kTable(FiveElements<unsigned int, unsigned long long>());
    std::vector<unsigned int> vecKey;
    std::vector<unsigned int> vecSlot;
    Table::Iterator kIterator;
    for (bool bMore = kTable.GetFirst(kIterator); bMore; bMore = kTable.GetNext(kIterator))
    {
        vecKey.push_back(kIterator.kKey);
        vecSlot.push_back(kIterator.uSlot);
    }
    EXPECT_EQ((std::vector<unsigned int>{5, 10, 18, 8, 2}), vecKey);
    EXPECT_EQ((std::vector<unsigned int>{0, 1, 2, 5, 7}), vecSlot);
}

TEST(MapTable, AReExportedTableSaysItsSlotCountWhereAProvidersSaysItsElements)
{
    Bytes vecExpected = FromHex(kFiveElements);
    const MisalignedBlock kImage(vecExpected, 1);
    Table kTable;
    ASSERT_TRUE(LoadTable(kTable, kImage, 0));
    EXPECT_EQ(5u, kTable.Count());
    WriteU32(vecExpected, 8, 8);
    const Bytes vecAgain = TakeTable(kTable.GetAlloc());
    EXPECT_TRUE(SameBytes(vecExpected, vecAgain));

    const MisalignedBlock kAgain(vecAgain, 1);
    ASSERT_TRUE(LoadTable(kTable, kAgain, 1));
    EXPECT_EQ(8u, kTable.Count());
}

TEST(MapTable, CleanUpSetsTheCountToZeroAndReleasesTheSlots)
{
    const MisalignedBlock kImage(FromHex(kFiveElements), 1);
    for (const int bCopy : {0, 1})
    {
        Table kTable;
        ASSERT_TRUE(LoadTable(kTable, kImage, bCopy));
        EXPECT_TRUE(kTable.CleanUp());
        EXPECT_EQ(0u, kTable.Count());
        EXPECT_EQ(0u, kTable.SlotCount());
        EXPECT_FALSE(Has(kTable, 2));
    }
    EXPECT_TRUE(SameBytes(FromHex(kFiveElements), kImage.Current()));
}

TEST(MapTable, AnImageWithAWrongVersionAtEitherHeadIsRefusedAndTheTableUntouched)
{
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        for (const size_t uHead : {0u, 16u})
        {
            Bytes vecImage = FromHex(kFiveElements);
            vecImage[uHead + uByte] ^= 4;
            const MisalignedBlock kImage(vecImage);
            Table kTable(FirstKeys(2));
            EXPECT_FALSE(LoadTable(kTable, kImage, 1));
            EXPECT_FALSE(LoadTable(kTable, kImage, 0));
            EXPECT_EQ(2u, kTable.Count());
            EXPECT_EQ(4u, kTable.SlotCount());
        }
    }
}

TEST(MapTable, AByteSizeThatIsNot16TimesTheSlotCountIsRefused)
{
    for (const auto& [uOffset, uValue] :
         std::vector<std::pair<size_t, uint32_t>>{{24, 7}, {24, 9}, {24, 0x10000008}, {28, 127}, {28, 129}, {28, 0}})
    {
        Bytes vecImage = FromHex(kFiveElements);
        WriteU32(vecImage, uOffset, uValue);
        const MisalignedBlock kImage(vecImage);
        Table kTable;
        EXPECT_FALSE(LoadTable(kTable, kImage, 1));
        EXPECT_FALSE(LoadTable(kTable, kImage, 0));
        EXPECT_FALSE(kTable.SetAlloc(nullptr, 1));
        EXPECT_EQ(0u, kTable.Count());
    }
}

TEST(MapTable, TheSizeOfTheSlotImageIsNotLookedAt)
{
    Bytes vecImage = FromHex(kFiveElements);
    WriteU32(vecImage, 12, 3);
    const MisalignedBlock kImage(vecImage);
    Table kTable;
    EXPECT_TRUE(LoadTable(kTable, kImage, 1));
    EXPECT_TRUE(Has(kTable, 18));
}

TEST(MapTable, TheElementCountIsTakenAsTheImageSaysIt)
{
    Bytes vecImage = FromHex(kFiveElements);
    WriteU32(vecImage, 8, 4711);
    const MisalignedBlock kImage(vecImage);
    Table kTable;
    EXPECT_TRUE(LoadTable(kTable, kImage, 0));
    EXPECT_EQ(4711u, kTable.Count());
}

TEST(MapTable, ATableWhoseSlotCountIsNoPowerOfTwoIsSearchedWithoutLeavingIt)
{
    // 3 slots, all of them used: such a table is never made, but an image can say so.
    ByteBuilder kSlots;
    for (const uint32_t uKey : {2u, 5u, 8u})
    {
        kSlots.U32(uKey).U64(uKey * 0x11).U32(1);
    }
    const MisalignedBlock kImage(TableImage(3, kSlots.Result()), 1);
    Table kTable;
    ASSERT_TRUE(LoadTable(kTable, kImage, 0));
    for (unsigned int uKey = 0; uKey < 200; ++uKey)
    {
        Table::Iterator kIterator;
        const bool bFound = kTable.Find(uKey, kIterator);
        EXPECT_TRUE(!bFound || kIterator.uSlot < 3);
    }
}

TEST(MapTable, CopiesAreDeep)
{
    Table kSource(FiveElements<unsigned int, unsigned long long>());
    Table kConstructed(kSource);
    Table kAssigned;
    kAssigned = kSource;
    kSource.CleanUp();
    EXPECT_EQ(5u, kConstructed.Count());
    EXPECT_TRUE(Has(kConstructed, 18));
    EXPECT_TRUE(Has(kAssigned, 18));
}

TEST(MapTable, RandomMapsOfManySizesBecomeTheReferenceTable)
{
    Random kRandom(25101);
    for (int i = 0; i < 300; ++i)
    {
        std::map<unsigned int, unsigned long long> mapKeys;
        std::map<uint32_t, uint64_t> mapModel;
        std::map<unsigned long long, unsigned int> mapIndex;
        std::map<uint64_t, uint32_t> mapIndexModel;
        const size_t uCount = kRandom.Below(i % 10 == 0 ? 2000 : 60);
        const uint32_t uMask = kRandom.Percent(50) ? 0xFFFFFFFF : 0x3FF;
        while (mapKeys.size() < std::min<size_t>(uCount, uMask / 2))
        {
            const uint32_t uKey = kRandom.Word() & uMask;
            const uint64_t ullValue = kRandom.Next();
            mapKeys[uKey] = ullValue;
            mapModel[uKey] = ullValue;
            mapIndex[ullValue & (uint64_t{uMask} << 20 | uMask)] = uKey;
            mapIndexModel[ullValue & (uint64_t{uMask} << 20 | uMask)] = uKey;
        }
        const Bytes vecImage = TakeTable(Table::GetAlloc(mapKeys));
        ASSERT_TRUE(SameBytes(TableImage(mapModel), vecImage));
        ASSERT_TRUE(SameBytes(TableImage(mapIndexModel), TakeTable(IndexTable::GetAlloc(mapIndex))));

        const MisalignedBlock kImage(vecImage, kRandom.Below(16));
        Table kTable;
        ASSERT_TRUE(LoadTable(kTable, kImage, i % 2));
        ASSERT_EQ(mapKeys.size(), kTable.Count());
        for (const auto& [uKey, ullValue] : mapKeys)
        {
            Table::Iterator kIterator;
            ASSERT_TRUE(kTable.Find(uKey, kIterator));
            ASSERT_EQ(ullValue, kIterator.kValue);
        }
        for (int k = 0; k < 50; ++k)
        {
            const uint32_t uKey = kRandom.Word() & uMask;
            Table::Iterator kIterator;
            ASSERT_EQ(mapKeys.count(uKey) != 0, kTable.Find(uKey, kIterator));
        }
    }
}

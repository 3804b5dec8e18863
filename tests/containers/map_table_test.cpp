// VOMapTable: the flat form of a sorted map.
#include "internal/vo_map_table.h"

#include <map>
#include <vector>

#include "support/bytes.h"
#include "support/map_tables.h"
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
bool LoadTable(T& table, const MisalignedBlock& image, int bCopy)
{
    return table.SetAlloc(image.As<const VOMapTableAlloc>(), bCopy, image.Size());
}

template <typename T>
bool Has(const T& table, unsigned int uKey)
{
    typename T::Iterator iterator;
    return table.Find(uKey, iterator) && iterator.key == uKey && iterator.value == uKey * 0x11;
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
        EXPECT_EQ(ullSlots, TableOf<Table>(FirstKeys(uElements)).SlotCount()) << uElements;
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
    Random random(25100);
    for (int i = 0; i < 1000; ++i)
    {
        const uint64_t ullKey = random.Next();
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
    EXPECT_TRUE(SameBytes(vecExpected, TakeTable(TableAllocOf<Table>(mapEmpty))));

    const MisalignedBlock image(vecExpected, 1);
    Table table;
    ASSERT_TRUE(LoadTable(table, image, 0));
    EXPECT_EQ(1u, table.SlotCount());
    EXPECT_EQ(0u, table.Count());
    Table::Iterator iterator;
    EXPECT_FALSE(table.GetFirst(iterator));
    for (unsigned int uKey = 0; uKey < 100; ++uKey)
    {
        EXPECT_FALSE(table.Find(uKey, iterator));
    }
}

TEST(MapTable, ANewTableHasNoSlotsAndFindsNothing)
{
    const Table table;
    Table::Iterator iterator;
    EXPECT_EQ(0u, table.SlotCount());
    EXPECT_EQ(0u, table.Count());
    EXPECT_FALSE(table.Find(0, iterator));
    EXPECT_FALSE(table.GetFirst(iterator));
    EXPECT_FALSE(table.GetNext(iterator));
}

TEST(MapTable, DisplacedEntriesAreOnlyPlacedAfterAllPrimaryPlacements)
{
    EXPECT_TRUE(SameBytes(FromHex(kFiveElements),
                          TakeTable(TableAllocOf<Table>(FiveElements<unsigned int, unsigned long long>()))));
}

TEST(MapTable, WithKeysOf64BitsHasTheValueAtOffset8OfASlot)
{
    EXPECT_TRUE(SameBytes(FromHex(kFiveIndexElements),
                          TakeTable(TableAllocOf<IndexTable>(FiveElements<unsigned long long, unsigned int>()))));
}

TEST(MapTable, IsReadInPlaceAtEveryMisalignmentWithBothKindsOfKey)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(FromHex(kFiveElements), uMisalignment);
            const MisalignedBlock indexImage(FromHex(kFiveIndexElements), uMisalignment);
            Table table;
            IndexTable indexTable;
            ASSERT_TRUE(LoadTable(table, image, bCopy));
            ASSERT_TRUE(LoadTable(indexTable, indexImage, bCopy));
            EXPECT_EQ(5u, table.Count());
            for (const unsigned int uKey : {2u, 5u, 8u, 10u, 18u})
            {
                EXPECT_TRUE(Has(table, uKey)) << uKey << " at " << uMisalignment;
                EXPECT_TRUE(Has(indexTable, uKey)) << uKey << " at " << uMisalignment;
            }
            EXPECT_FALSE(Has(table, 1));
            EXPECT_FALSE(Has(indexTable, 1));
        }
    }
}

TEST(MapTable, KeysOfOneHomeSlotAreAllFoundWithTheLaterOnesBehindTheFirst)
{
    const Table table = TableOf<Table>(FiveElements<unsigned int, unsigned long long>());
    Table::Iterator iterator;
    ASSERT_TRUE(table.Find(2, iterator));
    EXPECT_EQ(7u, iterator.uSlot);
    ASSERT_TRUE(table.Find(10, iterator));
    EXPECT_EQ(1u, iterator.uSlot);
    EXPECT_EQ(10u, iterator.key);
    EXPECT_EQ(0xAAu, iterator.value);
    ASSERT_TRUE(table.Find(18, iterator));
    EXPECT_EQ(2u, iterator.uSlot);
}

TEST(MapTable, AKeyThatWasNeverEnteredIsNotFoundAndTheProbeEndsAtAFreeSlot)
{
    // Key 26 belongs into slot 7 as well; key 3 into slot 6, which is free.
    Bytes vecImage = FromHex(kFiveElements);
    const MisalignedBlock image(vecImage, 1);
    Table table;
    ASSERT_TRUE(LoadTable(table, image, 0));
    Table::Iterator iterator;
    EXPECT_FALSE(table.Find(26, iterator));
    EXPECT_FALSE(table.Find(3, iterator));

    // An entry of key 26 behind the free slot 3 isn't reached.
    WriteU32(vecImage, 32 + 4 * 16, 26);
    WriteU32(vecImage, 32 + 4 * 16 + 12, 1);
    const MisalignedBlock behind(vecImage, 1);
    ASSERT_TRUE(LoadTable(table, behind, 1));
    EXPECT_FALSE(table.Find(26, iterator));
}

TEST(MapTable, AProbeOfAFullTableEndsWhenItIsBackAtTheHomeSlot)
{
    Bytes vecImage = FromHex(kFiveElements);
    for (const size_t uSlot : {3u, 4u, 6u})
    {
        WriteU32(vecImage, 32 + uSlot * 16, 1000);
        WriteU32(vecImage, 32 + uSlot * 16 + 12, 1);
    }
    const MisalignedBlock image(vecImage, 1);
    Table table;
    ASSERT_TRUE(LoadTable(table, image, 0));
    Table::Iterator iterator;
    EXPECT_FALSE(table.Find(26, iterator));
    EXPECT_TRUE(Has(table, 18));
}

TEST(MapTable, FindLeavesTheIteratorAloneWhenThereIsNothing)
{
    const Table table = TableOf<Table>(FiveElements<unsigned int, unsigned long long>());
    Table::Iterator iterator;
    iterator.key = 77;
    iterator.value = 78;
    iterator.uSlot = 79;
    EXPECT_FALSE(table.Find(26, iterator));
    EXPECT_EQ(77u, iterator.key);
    EXPECT_EQ(78u, iterator.value);
    EXPECT_EQ(79u, iterator.uSlot);
}

TEST(MapTable, TheWalkVisitsTheUsedSlotsInAscendingOrder)
{
    const Table table = TableOf<Table>(FiveElements<unsigned int, unsigned long long>());
    std::vector<unsigned int> vecKey;
    std::vector<unsigned int> vecSlot;
    Table::Iterator iterator;
    for (bool bMore = table.GetFirst(iterator); bMore; bMore = table.GetNext(iterator))
    {
        vecKey.push_back(iterator.key);
        vecSlot.push_back(iterator.uSlot);
    }
    EXPECT_EQ((std::vector<unsigned int>{5, 10, 18, 8, 2}), vecKey);
    EXPECT_EQ((std::vector<unsigned int>{0, 1, 2, 5, 7}), vecSlot);
}

TEST(MapTable, AReExportedTableSaysItsSlotCountWhereAProvidersSaysItsElements)
{
    Bytes vecExpected = FromHex(kFiveElements);
    const MisalignedBlock image(vecExpected, 1);
    Table table;
    ASSERT_TRUE(LoadTable(table, image, 0));
    EXPECT_EQ(5u, table.Count());
    WriteU32(vecExpected, 8, 8);
    const Bytes vecAgain = TakeTable(table.GetAlloc());
    EXPECT_TRUE(SameBytes(vecExpected, vecAgain));

    const MisalignedBlock again(vecAgain, 1);
    ASSERT_TRUE(LoadTable(table, again, 1));
    EXPECT_EQ(8u, table.Count());
}

TEST(MapTable, CleanUpSetsTheCountToZeroAndReleasesTheSlots)
{
    const MisalignedBlock image(FromHex(kFiveElements), 1);
    for (const int bCopy : {0, 1})
    {
        Table table;
        ASSERT_TRUE(LoadTable(table, image, bCopy));
        EXPECT_TRUE(table.CleanUp());
        EXPECT_EQ(0u, table.Count());
        EXPECT_EQ(0u, table.SlotCount());
        EXPECT_FALSE(Has(table, 2));
    }
    EXPECT_TRUE(SameBytes(FromHex(kFiveElements), image.Current()));
}

TEST(MapTable, AnImageWithAWrongVersionAtEitherHeadIsRefusedAndTheTableUntouched)
{
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        for (const size_t uHead : {0u, 16u})
        {
            Bytes vecImage = FromHex(kFiveElements);
            vecImage[uHead + uByte] ^= 4;
            const MisalignedBlock image(vecImage);
            Table table = TableOf<Table>(FirstKeys(2));
            EXPECT_FALSE(LoadTable(table, image, 1));
            EXPECT_FALSE(LoadTable(table, image, 0));
            EXPECT_EQ(2u, table.Count());
            EXPECT_EQ(4u, table.SlotCount());
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
        const MisalignedBlock image(vecImage);
        Table table;
        EXPECT_FALSE(LoadTable(table, image, 1));
        EXPECT_FALSE(LoadTable(table, image, 0));
        EXPECT_FALSE(table.SetAlloc(nullptr, 1));
        EXPECT_EQ(0u, table.Count());
    }
}

TEST(MapTable, TheSizeOfTheSlotImageIsNotLookedAt)
{
    Bytes vecImage = FromHex(kFiveElements);
    WriteU32(vecImage, 12, 3);
    const MisalignedBlock image(vecImage);
    Table table;
    EXPECT_TRUE(LoadTable(table, image, 1));
    EXPECT_TRUE(Has(table, 18));
}

TEST(MapTable, TheElementCountIsTakenAsTheImageSaysIt)
{
    Bytes vecImage = FromHex(kFiveElements);
    WriteU32(vecImage, 8, 4711);
    const MisalignedBlock image(vecImage);
    Table table;
    EXPECT_TRUE(LoadTable(table, image, 0));
    EXPECT_EQ(4711u, table.Count());
}

TEST(MapTable, ATableWhoseSlotCountIsNoPowerOfTwoIsSearchedWithoutLeavingIt)
{
    // 3 slots, all of them used: such a table is never made, but an image can say so.
    ByteBuilder slots;
    for (const uint32_t uKey : {2u, 5u, 8u})
    {
        slots.U32(uKey).U64(uKey * 0x11).U32(1);
    }
    const MisalignedBlock image(TableImage(3, slots.Result()), 1);
    Table table;
    ASSERT_TRUE(LoadTable(table, image, 0));
    for (unsigned int uKey = 0; uKey < 200; ++uKey)
    {
        Table::Iterator iterator;
        const bool bFound = table.Find(uKey, iterator);
        EXPECT_TRUE(!bFound || iterator.uSlot < 3);
    }
}

TEST(MapTable, CopiesAreDeep)
{
    Table source = TableOf<Table>(FiveElements<unsigned int, unsigned long long>());
    Table constructed(source);
    Table assigned;
    assigned = source;
    source.CleanUp();
    EXPECT_EQ(5u, constructed.Count());
    EXPECT_TRUE(Has(constructed, 18));
    EXPECT_TRUE(Has(assigned, 18));
}

TEST(MapTable, RandomMapsOfManySizesBecomeTheReferenceTable)
{
    Random random(25101);
    for (int i = 0; i < 300; ++i)
    {
        std::map<unsigned int, unsigned long long> mapKeys;
        std::map<uint32_t, uint64_t> mapModel;
        std::map<unsigned long long, unsigned int> mapIndex;
        std::map<uint64_t, uint32_t> mapIndexModel;
        const size_t uCount = random.Below(i % 10 == 0 ? 2000 : 60);
        const uint32_t uMask = random.Percent(50) ? 0xFFFFFFFF : 0x3FF;
        while (mapKeys.size() < std::min<size_t>(uCount, uMask / 2))
        {
            const uint32_t uKey = random.Word() & uMask;
            const uint64_t ullValue = random.Next();
            mapKeys[uKey] = ullValue;
            mapModel[uKey] = ullValue;
            mapIndex[ullValue & (uint64_t{uMask} << 20 | uMask)] = uKey;
            mapIndexModel[ullValue & (uint64_t{uMask} << 20 | uMask)] = uKey;
        }
        const Bytes vecImage = TakeTable(TableAllocOf<Table>(mapKeys));
        ASSERT_TRUE(SameBytes(TableImage(mapModel), vecImage));
        ASSERT_TRUE(SameBytes(TableImage(mapIndexModel), TakeTable(TableAllocOf<IndexTable>(mapIndex))));

        const MisalignedBlock image(vecImage, random.Below(16));
        Table table;
        ASSERT_TRUE(LoadTable(table, image, i % 2));
        ASSERT_EQ(mapKeys.size(), table.Count());
        for (const auto& [uKey, ullValue] : mapKeys)
        {
            Table::Iterator iterator;
            ASSERT_TRUE(table.Find(uKey, iterator));
            ASSERT_EQ(ullValue, iterator.value);
        }
        for (int k = 0; k < 50; ++k)
        {
            const uint32_t uKey = random.Word() & uMask;
            Table::Iterator iterator;
            ASSERT_EQ(mapKeys.count(uKey) != 0, table.Find(uKey, iterator));
        }
    }
}

TEST(MapTable, APrefetchTakesAnyAddress)
{
    int nValue = 42;
    VOPrefetch(&nValue);
    VOPrefetch(nullptr);
    VOPrefetch(reinterpret_cast<const void*>(uintptr_t{1}));
    EXPECT_EQ(42, nValue);
}

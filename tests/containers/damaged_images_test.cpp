// Damaged images of pools, tables and string sets: an error value or a consistent answer, never a fault.
//
// A damaged image is given with its length, at an odd address, as the last bytes of its allocation, so that the address
// sanitizer sees every read behind it.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "internal/vo_map_table.h"
#include "support/colliding_texts.h"
#include "support/opened_containers.h"
#include "support/random.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
// Takes a damaged image and uses whatever comes of it. Result: whether it was taken.
typedef std::function<bool(const MisalignedBlock& rkImage, int bCopy)> Reader;

constexpr size_t kWalkLimit = 1000;

void UseBuffer(VOBufferContainer& rkBuffer)
{
    unsigned char uSum = 0;
    for (unsigned int i = 0; i < std::min(rkBuffer.Count(), 40u); ++i)
    {
        const unsigned char* pbEntry = rkBuffer.Get(i);
        uSum = static_cast<unsigned char>(uSum + (pbEntry != nullptr ? *pbEntry : 0));
    }
    for (uint64_t ullHandle = 0; ullHandle < 80; ++ullHandle)
    {
        const unsigned char* pbEntry = rkBuffer.Get(Handle(ullHandle));
        uSum = static_cast<unsigned char>(uSum + (pbEntry != nullptr ? *pbEntry : 0));
    }
    EXPECT_EQ(nullptr, rkBuffer.Get(INVALID_HANDLE_VALUE));
    ImageOf(rkBuffer);
    const unsigned char abEntry[] = {uSum, 0};
    EXPECT_NE(INVALID_HANDLE_VALUE, rkBuffer.Add(abEntry, 1));
    EXPECT_EQ(1, rkBuffer.ShrinkToFit());
    EXPECT_EQ(1, rkBuffer.CleanUp());
}

void UseStrings(VOStringContainer& rkStrings)
{
    for (unsigned int i = 0; i < std::min(rkStrings.Count(), 40u); ++i)
    {
        ReadText(rkStrings.Get(i));
    }
    for (uint64_t ullHandle = 0; ullHandle < 80; ++ullHandle)
    {
        ReadText(rkStrings.Get(Handle(ullHandle)));
    }
    ImageOf(rkStrings);
    EXPECT_NE(INVALID_HANDLE_VALUE, rkStrings.Add(VOTEXT("more")));
    EXPECT_EQ(1, rkStrings.ShrinkToFit());
    EXPECT_EQ(1, rkStrings.Clean());
}

void UseSet(VOStringHashSet& rkSet)
{
    // What a walk shows can be looked at, and a set that finds a string says so again.
    const std::vector<uint64_t> vecHandle = WalkOf(rkSet, kWalkLimit);
    EXPECT_LT(vecHandle.size(), kWalkLimit);
    for (const uint64_t ullHandle : vecHandle)
    {
        ReadText(rkSet.GetString(Handle(ullHandle)));
    }
    for (uint64_t ullHandle = 0; ullHandle < 20; ++ullHandle)
    {
        const VOWString strText = ReadText(rkSet.GetString(Handle(ullHandle)));
        EXPECT_EQ(rkSet.Find(strText.c_str()), rkSet.Find(strText.c_str()));
    }
    for (const char* pszText : {"", "a", "abc", "models/hero.mesh", "key", "gone", "bhgwyb", "znvdbd", "czypfe", "zz"})
    {
        rkSet.Find(Wide(pszText).c_str());
    }
    rkSet.Count();
    VOStringHashSet::StringHashSetAlloc* pAlloc = rkSet.GetAlloc();
    free(pAlloc);
    rkSet.Remove(Handle(1));
    rkSet.Insert(VOTEXT("abc"));
    rkSet.Insert(VOTEXT("czypfe"));
    rkSet.InsertKey(VOTEXT("gone"));
    rkSet.Insert(VOTEXT("something new"));
    WalkOf(rkSet, kWalkLimit);
    rkSet.ShrinkToFit();
    EXPECT_EQ(1, rkSet.CleanUp());
}

bool ReadBuffer(const MisalignedBlock& rkImage, int bCopy)
{
    OpenBuffer kBuffer;
    const int bTaken = kBuffer.SetAlloc(rkImage.As<VOBufferContainer::BufferAlloc>(), bCopy, rkImage.Size());
    UseBuffer(kBuffer);
    return bTaken != 0;
}

bool ReadStrings(const MisalignedBlock& rkImage, int bCopy)
{
    VOStringContainer kStrings;
    const int bTaken = kStrings.SetAlloc(rkImage.As<VOStringContainer::StringAlloc>(), bCopy, rkImage.Size());
    UseStrings(kStrings);
    return bTaken != 0;
}

template <typename K, typename V>
bool ReadTable(const MisalignedBlock& rkImage, int bCopy)
{
    typedef VOMapTable<K, V> Table;
    Table kTable;
    const bool bTaken = kTable.SetAlloc(rkImage.As<const VOMapTableAlloc>(), bCopy, rkImage.Size());
    typename Table::Iterator kIterator;
    size_t uSeen = 0;
    for (bool bMore = kTable.GetFirst(kIterator); bMore; bMore = kTable.GetNext(kIterator))
    {
        EXPECT_LT(kIterator.uSlot, kTable.SlotCount());
        ++uSeen;
    }
    EXPECT_LE(uSeen, kTable.SlotCount());
    for (unsigned int uKey = 0; uKey < 60; ++uKey)
    {
        if (kTable.Find(uKey, kIterator))
        {
            EXPECT_EQ(uKey, kIterator.kKey);
        }
    }
    free(kTable.GetAlloc());
    return bTaken;
}

bool ReadProvider(const MisalignedBlock& rkImage, int bCopy)
{
    VOStringHashSet kSet(VOStringHashSet::SHR_Provider);
    const int bTaken = Set(kSet, rkImage, bCopy);
    UseSet(kSet);
    return bTaken != 0;
}

bool ReadCustomer(const MisalignedBlock& rkImage, int bCopy)
{
    VOStringHashSet kSet(VOStringHashSet::SHR_Customer);
    const int bTaken = Set(kSet, rkImage, bCopy);
    UseSet(kSet);
    return bTaken != 0;
}

Bytes GoodBuffer()
{
    return BufferImage({1, 2, 3, 4, 5, 6}, {0, 4});
}

Bytes GoodStrings()
{
    TextPool kPool;
    kPool.Add(VOTEXT("ab"));
    kPool.Add(VOTEXT(""));
    kPool.Add(VOTEXT("cd\u4E2D"));
    return StringImage(kPool);
}

Bytes GoodTable()
{
    return TableImage(std::map<uint32_t, uint64_t>{{2, 1}, {5, 2}, {8, 3}, {10, 4}, {18, 5}});
}

Bytes GoodIndexTable()
{
    return TableImage(std::map<uint64_t, uint32_t>{{2, 1}, {5, 2}, {8, 3}, {10, 4}, {18, 5}});
}

Bytes GoodSet()
{
    StringSetModel kModel;
    bool bExist = false;
    kModel.Insert(VOTEXT("abc"), bExist);
    kModel.Insert(VOTEXT("models/hero.mesh"), bExist);
    kModel.InsertKey(VOTEXT("key"), bExist);
    kModel.Remove(kModel.Insert(VOTEXT("gone"), bExist));
    kModel.Insert(CollidingGroup(0)[0], bExist);
    kModel.Insert(CollidingGroup(0)[1], bExist);
    return kModel.Image();
}

struct Format
{
    const char* pszName;
    Bytes (*pfnGood)();
    std::vector<Reader> vecReader;
};

const std::vector<Format>& Formats()
{
    static const std::vector<Format> s_vecFormat = {
        {"buffer", &GoodBuffer, {&ReadBuffer}},
        {"strings", &GoodStrings, {&ReadStrings}},
        {"table", &GoodTable, {&ReadTable<unsigned int, unsigned long long>}},
        {"index table", &GoodIndexTable, {&ReadTable<unsigned long long, unsigned int>}},
        {"set", &GoodSet, {&ReadProvider, &ReadCustomer}},
    };
    return s_vecFormat;
}

bool Try(const Reader& rkReader, const Bytes& rkImage, int bCopy)
{
    const MisalignedBlock kImage(rkImage, 1);
    return rkReader(kImage, bCopy);
}
}  // namespace

TEST(DamagedImages, TheUndamagedOnesAreTaken)
{
    for (const Format& rkFormat : Formats())
    {
        for (const Reader& rkReader : rkFormat.vecReader)
        {
            EXPECT_TRUE(Try(rkReader, rkFormat.pfnGood(), 0)) << rkFormat.pszName;
            EXPECT_TRUE(Try(rkReader, rkFormat.pfnGood(), 1)) << rkFormat.pszName;
        }
    }
}

TEST(DamagedImages, EveryCutIsRefusedExceptInTheTail)
{
    // No image is longer than its payload and the tails of 4 bytes around it; tails aren't looked at.
    for (const Format& rkFormat : Formats())
    {
        const Bytes vecGood = rkFormat.pfnGood();
        for (size_t uSize = 0; uSize < vecGood.size(); ++uSize)
        {
            const Bytes vecCut(vecGood.begin(), vecGood.begin() + static_cast<ptrdiff_t>(uSize));
            for (const Reader& rkReader : rkFormat.vecReader)
            {
                for (const int bCopy : {0, 1})
                {
                    const bool bTaken = Try(rkReader, vecCut, bCopy);
                    EXPECT_TRUE(!bTaken || uSize + 12 >= vecGood.size())
                        << rkFormat.pszName << " cut to " << uSize << " of " << vecGood.size();
                }
            }
        }
    }
}

TEST(DamagedImages, EveryFlippedBitIsRefusedOrReadSafely)
{
    size_t uTaken = 0;
    size_t uRefused = 0;
    for (const Format& rkFormat : Formats())
    {
        const Bytes vecGood = rkFormat.pfnGood();
        for (size_t uBit = 0; uBit < vecGood.size() * 8; ++uBit)
        {
            Bytes vecFlipped = vecGood;
            vecFlipped[uBit / 8] ^= static_cast<unsigned char>(1 << uBit % 8);
            for (const Reader& rkReader : rkFormat.vecReader)
            {
                ++(Try(rkReader, vecFlipped, static_cast<int>(uBit % 2)) ? uTaken : uRefused);
            }
        }
    }
    EXPECT_NE(0u, uTaken);
    EXPECT_NE(0u, uRefused);
}

TEST(DamagedImages, EveryFlippedBitOfAVersionIsRefused)
{
    for (const Format& rkFormat : Formats())
    {
        const Bytes vecGood = rkFormat.pfnGood();
        const std::string strVersion = "ver.1.";
        for (size_t uAt = 0; uAt + 8 <= vecGood.size(); ++uAt)
        {
            if (!std::equal(strVersion.begin(), strVersion.end(), vecGood.begin() + static_cast<ptrdiff_t>(uAt)))
            {
                continue;
            }
            for (size_t uBit = 0; uBit < 64; ++uBit)
            {
                Bytes vecFlipped = vecGood;
                vecFlipped[uAt + uBit / 8] ^= static_cast<unsigned char>(1 << uBit % 8);
                for (const Reader& rkReader : rkFormat.vecReader)
                {
                    EXPECT_FALSE(Try(rkReader, vecFlipped, 0)) << rkFormat.pszName << " at " << uAt << " bit " << uBit;
                }
            }
        }
    }
}

TEST(DamagedImages, WordsOfExtremeValuesAreRefusedOrReadSafely)
{
    size_t uTaken = 0;
    for (const Format& rkFormat : Formats())
    {
        const Bytes vecGood = rkFormat.pfnGood();
        for (size_t uAt = 0; uAt + 4 <= vecGood.size(); ++uAt)
        {
            for (const uint32_t uValue : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
            {
                Bytes vecChanged = vecGood;
                WriteU32(vecChanged, uAt, uValue);
                for (const Reader& rkReader : rkFormat.vecReader)
                {
                    uTaken += Try(rkReader, vecChanged, static_cast<int>(uAt % 2)) ? 1 : 0;
                }
            }
        }
    }
    EXPECT_NE(0u, uTaken);
}

TEST(DamagedImages, SizesThatAgreeWithEachOtherButNotWithTheImageAreRefused)
{
    // Both words that a head compares are changed alike, so that only the length of the image tells.
    const auto fnShift = [](Bytes vecImage, std::initializer_list<size_t> kOffsets, uint32_t uBy)
    {
        for (const size_t uAt : kOffsets)
        {
            WriteU32(vecImage, uAt, ReadU32(vecImage, uAt) + uBy);
        }
        return vecImage;
    };
    for (const uint32_t uBy : {16u, 0x1000u, 0x40000000u})
    {
        EXPECT_FALSE(Try(&ReadBuffer, fnShift(GoodBuffer(), {8, 16}, uBy), 0));
        EXPECT_FALSE(Try(&ReadBuffer, fnShift(GoodBuffer(), {8, 16}, uBy), 1));
        EXPECT_FALSE(Try(&ReadStrings, fnShift(GoodStrings(), {20, 28}, uBy), 0));
        for (const size_t uPart : {8u, 12u, 16u, 20u})
        {
            EXPECT_FALSE(Try(&ReadProvider, fnShift(GoodSet(), {uPart, 24}, uBy), 0)) << uPart;
            EXPECT_FALSE(Try(&ReadCustomer, fnShift(GoodSet(), {uPart, 24}, uBy), 1)) << uPart;
        }
    }

    // A table of more slots than there are bytes, in agreement with its byte size.
    Bytes vecTable = GoodTable();
    WriteU32(vecTable, 24, 0x0FFFFFFF);
    WriteU32(vecTable, 28, 0xFFFFFFF0);
    EXPECT_FALSE(Try(&ReadTable<unsigned int, unsigned long long>, vecTable, 0));
    EXPECT_FALSE(Try(&ReadTable<unsigned int, unsigned long long>, vecTable, 1));
}

TEST(DamagedImages, ThousandsOfRandomVariantsAreRefusedOrReadSafely)
{
    Random kRandom(24001);
    size_t uRefused = 0;
    for (int i = 0; i < 6000; ++i)
    {
        const Format& rkFormat = Formats()[kRandom.Below(Formats().size())];
        Bytes vecImage = rkFormat.pfnGood();
        for (size_t uChanges = 1 + kRandom.Below(4); uChanges > 0; --uChanges)
        {
            const size_t uAt = kRandom.Below(vecImage.size());
            switch (kRandom.Below(4))
            {
                case 0:
                    vecImage[uAt] ^= static_cast<unsigned char>(1 << kRandom.Below(8));
                    break;
                case 1:
                    vecImage[uAt] = static_cast<unsigned char>(kRandom.Word());
                    break;
                case 2:
                    std::swap(vecImage[uAt], vecImage[kRandom.Below(vecImage.size())]);
                    break;
                default:
                    if (kRandom.Percent(10))
                    {
                        vecImage.resize(std::max<size_t>(uAt, 1));
                    }
            }
        }
        for (const Reader& rkReader : rkFormat.vecReader)
        {
            uRefused += Try(rkReader, vecImage, static_cast<int>(kRandom.Below(2))) ? 0 : 1;
        }
    }
    EXPECT_NE(0u, uRefused);
}

TEST(DamagedImages, ATableFullOfValuesBehindTheRecordsFindsNothing)
{
    // Each slot is used and names a record that isn't there.
    StringSetModel kModel;
    bool bExist = false;
    kModel.Insert(VOTEXT("abc"), bExist);
    ByteBuilder kSlots;
    for (int i = 0; i < 4; ++i)
    {
        kSlots.U32(0xD839C6EA).U64(0xFFFFFFFFFFFFFFF0ull).U32(1);
    }
    const Bytes vecGood = kModel.Image();
    const size_t uPool = 28 + ReadU32(vecGood, 8);
    const size_t uPrimary = uPool + ReadU32(vecGood, 12);
    const Bytes vecImage =
        StringSetImage(CopyBytes(vecGood.data() + 28, ReadU32(vecGood, 8)),
                       CopyBytes(vecGood.data() + uPool, ReadU32(vecGood, 12)), TableImage(4, kSlots.Result()),
                       CopyBytes(vecGood.data() + uPrimary + ReadU32(vecGood, 16), ReadU32(vecGood, 20)));
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(vecImage, 1);
            VOStringHashSet kSet(eRole);
            if (Set(kSet, kImage, bCopy) != 0)
            {
                EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("abc")));
                VOStringHashSet::Iterator kIterator;
                EXPECT_EQ(0, kSet.GetFirst(kIterator));
            }
        }
    }
}

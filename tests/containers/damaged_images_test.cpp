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
typedef std::function<bool(const MisalignedBlock& image, int bCopy)> Reader;

constexpr size_t kWalkLimit = 1000;

void UseBuffer(VOBufferContainer& buffer)
{
    unsigned char uSum = 0;
    for (unsigned int i = 0; i < std::min(buffer.Count(), 40u); ++i)
    {
        const unsigned char* pbEntry = buffer.Get(i);
        uSum = static_cast<unsigned char>(uSum + (pbEntry != nullptr ? *pbEntry : 0));
    }
    for (uint64_t ullHandle = 0; ullHandle < 80; ++ullHandle)
    {
        const unsigned char* pbEntry = buffer.Get(Handle(ullHandle));
        uSum = static_cast<unsigned char>(uSum + (pbEntry != nullptr ? *pbEntry : 0));
    }
    EXPECT_EQ(nullptr, buffer.Get(INVALID_HANDLE_VALUE));
    ImageOf(buffer);
    const unsigned char abEntry[] = {uSum, 0};
    EXPECT_NE(INVALID_HANDLE_VALUE, buffer.Add(abEntry, 1));
    EXPECT_EQ(1, buffer.ShrinkToFit());
    EXPECT_EQ(1, buffer.CleanUp());
}

void UseStrings(VOStringContainer& strings)
{
    for (unsigned int i = 0; i < std::min(strings.Count(), 40u); ++i)
    {
        ReadText(strings.Get(i));
    }
    for (uint64_t ullHandle = 0; ullHandle < 80; ++ullHandle)
    {
        ReadText(strings.Get(Handle(ullHandle)));
    }
    ImageOf(strings);
    EXPECT_NE(INVALID_HANDLE_VALUE, strings.Add(VOTEXT("more")));
    EXPECT_EQ(1, strings.ShrinkToFit());
    EXPECT_EQ(1, strings.Clean());
}

void UseSet(VOStringHashSet& set)
{
    // What a walk shows can be looked at, and a set that finds a string says so again.
    const std::vector<uint64_t> vecHandle = WalkOf(set, kWalkLimit);
    EXPECT_LT(vecHandle.size(), kWalkLimit);
    for (const uint64_t ullHandle : vecHandle)
    {
        ReadText(set.GetString(Handle(ullHandle)));
    }
    for (uint64_t ullHandle = 0; ullHandle < 20; ++ullHandle)
    {
        const VOWString strText = ReadText(set.GetString(Handle(ullHandle)));
        EXPECT_EQ(set.Find(strText.c_str()), set.Find(strText.c_str()));
    }
    for (const char* pszText : {"", "a", "abc", "models/hero.mesh", "key", "gone", "bhgwyb", "znvdbd", "czypfe", "zz"})
    {
        set.Find(Wide(pszText).c_str());
    }
    set.Count();
    VOStringHashSet::StringHashSetAlloc* pAlloc = set.GetAlloc();
    free(pAlloc);
    set.Remove(Handle(1));
    set.Insert(VOTEXT("abc"));
    set.Insert(VOTEXT("czypfe"));
    set.InsertKey(VOTEXT("gone"));
    set.Insert(VOTEXT("something new"));
    WalkOf(set, kWalkLimit);
    set.ShrinkToFit();
    EXPECT_EQ(1, set.CleanUp());
}

bool ReadBuffer(const MisalignedBlock& image, int bCopy)
{
    OpenBuffer buffer;
    const int bTaken = buffer.SetAlloc(image.As<VOBufferContainer::BufferAlloc>(), bCopy, image.Size());
    UseBuffer(buffer);
    return bTaken != 0;
}

bool ReadStrings(const MisalignedBlock& image, int bCopy)
{
    VOStringContainer strings;
    const int bTaken = strings.SetAlloc(image.As<VOStringContainer::StringAlloc>(), bCopy, image.Size());
    UseStrings(strings);
    return bTaken != 0;
}

template <typename K, typename V>
bool ReadTable(const MisalignedBlock& image, int bCopy)
{
    typedef VOMapTable<K, V> Table;
    Table table;
    const bool bTaken = table.SetAlloc(image.As<const VOMapTableAlloc>(), bCopy, image.Size());
    typename Table::Iterator iterator;
    size_t uSeen = 0;
    for (bool bMore = table.GetFirst(iterator); bMore; bMore = table.GetNext(iterator))
    {
        EXPECT_LT(iterator.uSlot, table.SlotCount());
        ++uSeen;
    }
    EXPECT_LE(uSeen, table.SlotCount());
    for (unsigned int uKey = 0; uKey < 60; ++uKey)
    {
        if (table.Find(uKey, iterator))
        {
            EXPECT_EQ(uKey, iterator.key);
        }
    }
    free(table.GetAlloc());
    return bTaken;
}

bool ReadProvider(const MisalignedBlock& image, int bCopy)
{
    VOStringHashSet set(VOStringHashSet::SHR_Provider);
    const int bTaken = Set(set, image, bCopy);
    UseSet(set);
    return bTaken != 0;
}

bool ReadCustomer(const MisalignedBlock& image, int bCopy)
{
    VOStringHashSet set(VOStringHashSet::SHR_Customer);
    const int bTaken = Set(set, image, bCopy);
    UseSet(set);
    return bTaken != 0;
}

Bytes GoodBuffer()
{
    return BufferImage({1, 2, 3, 4, 5, 6}, {0, 4});
}

Bytes GoodStrings()
{
    TextPool pool;
    pool.Add(VOTEXT("ab"));
    pool.Add(VOTEXT(""));
    pool.Add(VOTEXT("cd\u4E2D"));
    return StringImage(pool);
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
    StringSetModel model;
    bool bExist = false;
    model.Insert(VOTEXT("abc"), bExist);
    model.Insert(VOTEXT("models/hero.mesh"), bExist);
    model.InsertKey(VOTEXT("key"), bExist);
    model.Remove(model.Insert(VOTEXT("gone"), bExist));
    model.Insert(CollidingGroup(0)[0], bExist);
    model.Insert(CollidingGroup(0)[1], bExist);
    return model.Image();
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

bool Try(const Reader& reader, const Bytes& givenImage, int bCopy)
{
    const MisalignedBlock image(givenImage, 1);
    return reader(image, bCopy);
}
}  // namespace

TEST(DamagedImages, TheUndamagedOnesAreTaken)
{
    for (const Format& format : Formats())
    {
        for (const Reader& reader : format.vecReader)
        {
            EXPECT_TRUE(Try(reader, format.pfnGood(), 0)) << format.pszName;
            EXPECT_TRUE(Try(reader, format.pfnGood(), 1)) << format.pszName;
        }
    }
}

TEST(DamagedImages, EveryCutIsRefusedExceptInTheTail)
{
    // No image is longer than its payload and the tails of 4 bytes around it; tails aren't looked at.
    for (const Format& format : Formats())
    {
        const Bytes vecGood = format.pfnGood();
        for (size_t uSize = 0; uSize < vecGood.size(); ++uSize)
        {
            const Bytes vecCut(vecGood.begin(), vecGood.begin() + static_cast<ptrdiff_t>(uSize));
            for (const Reader& reader : format.vecReader)
            {
                for (const int bCopy : {0, 1})
                {
                    const bool bTaken = Try(reader, vecCut, bCopy);
                    EXPECT_TRUE(!bTaken || uSize + 12 >= vecGood.size())
                        << format.pszName << " cut to " << uSize << " of " << vecGood.size();
                }
            }
        }
    }
}

TEST(DamagedImages, EveryFlippedBitIsRefusedOrReadSafely)
{
    size_t uTaken = 0;
    size_t uRefused = 0;
    for (const Format& format : Formats())
    {
        const Bytes vecGood = format.pfnGood();
        for (size_t uBit = 0; uBit < vecGood.size() * 8; ++uBit)
        {
            Bytes vecFlipped = vecGood;
            vecFlipped[uBit / 8] ^= static_cast<unsigned char>(1 << uBit % 8);
            for (const Reader& reader : format.vecReader)
            {
                ++(Try(reader, vecFlipped, static_cast<int>(uBit % 2)) ? uTaken : uRefused);
            }
        }
    }
    EXPECT_NE(0u, uTaken);
    EXPECT_NE(0u, uRefused);
}

TEST(DamagedImages, EveryFlippedBitOfAVersionIsRefused)
{
    for (const Format& format : Formats())
    {
        const Bytes vecGood = format.pfnGood();
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
                for (const Reader& reader : format.vecReader)
                {
                    EXPECT_FALSE(Try(reader, vecFlipped, 0)) << format.pszName << " at " << uAt << " bit " << uBit;
                }
            }
        }
    }
}

TEST(DamagedImages, WordsOfExtremeValuesAreRefusedOrReadSafely)
{
    size_t uTaken = 0;
    for (const Format& format : Formats())
    {
        const Bytes vecGood = format.pfnGood();
        for (size_t uAt = 0; uAt + 4 <= vecGood.size(); ++uAt)
        {
            for (const uint32_t uValue : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu})
            {
                Bytes vecChanged = vecGood;
                WriteU32(vecChanged, uAt, uValue);
                for (const Reader& reader : format.vecReader)
                {
                    uTaken += Try(reader, vecChanged, static_cast<int>(uAt % 2)) ? 1 : 0;
                }
            }
        }
    }
    EXPECT_NE(0u, uTaken);
}

TEST(DamagedImages, SizesThatAgreeWithEachOtherButNotWithTheImageAreRefused)
{
    // Both words that a head compares are changed alike, so that only the length of the image tells.
    const auto fnShift = [](Bytes vecImage, std::initializer_list<size_t> offsets, uint32_t uBy)
    {
        for (const size_t uAt : offsets)
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
    Random random(24001);
    size_t uRefused = 0;
    for (int i = 0; i < 6000; ++i)
    {
        const Format& format = Formats()[random.Below(Formats().size())];
        Bytes vecImage = format.pfnGood();
        for (size_t uChanges = 1 + random.Below(4); uChanges > 0; --uChanges)
        {
            const size_t uAt = random.Below(vecImage.size());
            switch (random.Below(4))
            {
                case 0:
                    vecImage[uAt] ^= static_cast<unsigned char>(1 << random.Below(8));
                    break;
                case 1:
                    vecImage[uAt] = static_cast<unsigned char>(random.Word());
                    break;
                case 2:
                    std::swap(vecImage[uAt], vecImage[random.Below(vecImage.size())]);
                    break;
                default:
                    if (random.Percent(10))
                    {
                        vecImage.resize(std::max<size_t>(uAt, 1));
                    }
            }
        }
        for (const Reader& reader : format.vecReader)
        {
            uRefused += Try(reader, vecImage, static_cast<int>(random.Below(2))) ? 0 : 1;
        }
    }
    EXPECT_NE(0u, uRefused);
}

TEST(DamagedImages, ATableFullOfValuesBehindTheRecordsFindsNothing)
{
    // Each slot is used and names a record that isn't there.
    StringSetModel model;
    bool bExist = false;
    model.Insert(VOTEXT("abc"), bExist);
    ByteBuilder slots;
    for (int i = 0; i < 4; ++i)
    {
        slots.U32(0xD839C6EA).U64(0xFFFFFFFFFFFFFFF0ull).U32(1);
    }
    const Bytes vecGood = model.Image();
    const size_t uPool = 28 + ReadU32(vecGood, 8);
    const size_t uPrimary = uPool + ReadU32(vecGood, 12);
    const Bytes vecImage =
        StringSetImage(CopyBytes(vecGood.data() + 28, ReadU32(vecGood, 8)),
                       CopyBytes(vecGood.data() + uPool, ReadU32(vecGood, 12)), TableImage(4, slots.Result()),
                       CopyBytes(vecGood.data() + uPrimary + ReadU32(vecGood, 16), ReadU32(vecGood, 20)));
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(vecImage, 1);
            VOStringHashSet set(eRole);
            if (Set(set, image, bCopy) != 0)
            {
                EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("abc")));
                VOStringHashSet::Iterator iterator;
                EXPECT_EQ(0, set.GetFirst(iterator));
            }
        }
    }
}

// What lookups and views take from the heap: nothing.
#include <string>
#include <vector>

#include "internal/vo_map_table.h"
#include "support/allocation_counter.h"
#include "support/opened_containers.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
// Keeps the compiler from leaving out an allocation that nobody seems to use.
const void* volatile s_pvSeen = nullptr;

Bytes LargeSetImage(std::vector<VOWString>& rvecText)
{
    VOStringHashSet kSet;
    for (int i = 0; i < 2000; ++i)
    {
        rvecText.push_back(Wide("assets/a rather long path of an asset/file_" + std::to_string(i) + ".dds"));
        kSet.Insert(rvecText.back().c_str());
    }
    return ImageOf(kSet);
}
}  // namespace

TEST(LookupAllocation, TheCounterSeesWhatThisThreadTakes)
{
    AllocationCounter kCounter;
    EXPECT_EQ(0u, kCounter.Count());
    const std::vector<int> vecNumber(1000);
    s_pvSeen = vecNumber.data();
    EXPECT_EQ(1u, kCounter.Count());
    void* pvBlock = malloc(10);
    s_pvSeen = pvBlock;
    EXPECT_EQ(2u, kCounter.Count());
    free(pvBlock);
    VOBufferContainer kBuffer;
    kBuffer.Add(reinterpret_cast<const unsigned char*>("ab"), 1);
    EXPECT_EQ(4u, kCounter.Count()) << "the byte pool and its handles";
}

TEST(LookupAllocation, ACustomersLookupsTakeNothingFromTheHeap)
{
    std::vector<VOWString> vecText;
    const MisalignedBlock kImage(LargeSetImage(vecText), 1);
    VOStringHashSet kSet(VOStringHashSet::SHR_Customer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    const AllocationCounter kCounter;
    size_t uFound = 0;
    for (size_t i = 0; i < vecText.size(); ++i)
    {
        uFound += Number(kSet.Find(vecText[i].c_str())) == i && kSet.GetString(Handle(i)) != nullptr ? 1 : 0;
    }
    kSet.Find(VOTEXT("unknown"));
    VOStringHashSet::Iterator kIterator;
    size_t uWalked = 0;
    for (int bMore = kSet.GetFirst(kIterator); bMore != 0; bMore = kSet.HasNext(kIterator))
    {
        ++uWalked;
    }
    const size_t uAllocations = kCounter.Count();
    EXPECT_EQ(0u, uAllocations);
    EXPECT_EQ(vecText.size(), uFound);
    EXPECT_EQ(vecText.size(), uWalked);
}

TEST(LookupAllocation, AProvidersLookupsTakeNothingFromTheHeap)
{
    VOStringHashSet kSet;
    kSet.Insert(VOTEXT("a text of some length that fits no small buffer of a string"));
    const AllocationCounter kCounter;
    kSet.Find(VOTEXT("a text of some length that fits no small buffer of a string"));
    kSet.Find(VOTEXT("unknown"));
    kSet.GetString(Handle(0));
    EXPECT_EQ(0u, kCounter.Count());
}

TEST(LookupAllocation, AttachingAViewTakesNothingFromTheHeap)
{
    std::vector<VOWString> vecText;
    const MisalignedBlock kImage(LargeSetImage(vecText), 1);
    VOStringHashSet kSet(VOStringHashSet::SHR_Customer);
    const AllocationCounter kCounter;
    const int bTaken = Set(kSet, kImage, 0);
    const size_t uAllocations = kCounter.Count();
    EXPECT_EQ(1, bTaken);
    EXPECT_EQ(0u, uAllocations);
}

TEST(LookupAllocation, HashingTakesNothingFromTheHeap)
{
    const VOStringHash kHash;
    const AllocationCounter kCounter;
    kHash.HashW(VOTEXT("assets/a rather long path of an asset/file.dds"), 0);
    kHash.HashA("assets/a rather long path of an asset/file.dds", 0);
    EXPECT_EQ(0u, kCounter.Count());
}

TEST(LookupAllocation, AMillionEntriesCostTwoBlocksThatGrow)
{
    // Doubling: far fewer allocations than entries.
    VOStringContainer kStrings;
    const AllocationCounter kCounter;
    for (int i = 0; i < 100000; ++i)
    {
        kStrings.Add(VOTEXT("text"));
    }
    EXPECT_LT(kCounter.Count(), 60u);
}

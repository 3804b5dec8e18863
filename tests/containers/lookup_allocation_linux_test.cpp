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

Bytes LargeSetImage(std::vector<VOWString>& vecText)
{
    VOStringHashSet set;
    for (int i = 0; i < 2000; ++i)
    {
        vecText.push_back(Wide("assets/a rather long path of an asset/file_" + std::to_string(i) + ".dds"));
        set.Insert(vecText.back().c_str());
    }
    return ImageOf(set);
}
}  // namespace

TEST(LookupAllocation, TheCounterSeesWhatThisThreadTakes)
{
    AllocationCounter counter;
    EXPECT_EQ(0u, counter.Count());
    const std::vector<int> vecNumber(1000);
    s_pvSeen = vecNumber.data();
    EXPECT_EQ(1u, counter.Count());
    void* pvBlock = malloc(10);
    s_pvSeen = pvBlock;
    EXPECT_EQ(2u, counter.Count());
    free(pvBlock);
    VOBufferContainer buffer;
    buffer.Add(reinterpret_cast<const unsigned char*>("ab"), 1);
    EXPECT_EQ(4u, counter.Count()) << "the byte pool and its handles";
}

TEST(LookupAllocation, ACustomersLookupsTakeNothingFromTheHeap)
{
    std::vector<VOWString> vecText;
    const MisalignedBlock image(LargeSetImage(vecText), 1);
    VOStringHashSet set(VOStringHashSet::SHR_Customer);
    ASSERT_EQ(1, Set(set, image, 0));
    const AllocationCounter counter;
    size_t uFound = 0;
    for (size_t i = 0; i < vecText.size(); ++i)
    {
        uFound += Number(set.Find(vecText[i].c_str())) == i && set.GetString(Handle(i)) != nullptr ? 1 : 0;
    }
    set.Find(VOTEXT("unknown"));
    VOStringHashSet::Iterator iterator;
    size_t uWalked = 0;
    for (int bMore = set.GetFirst(iterator); bMore != 0; bMore = set.HasNext(iterator))
    {
        ++uWalked;
    }
    const size_t uAllocations = counter.Count();
    EXPECT_EQ(0u, uAllocations);
    EXPECT_EQ(vecText.size(), uFound);
    EXPECT_EQ(vecText.size(), uWalked);
}

TEST(LookupAllocation, AProvidersLookupsTakeNothingFromTheHeap)
{
    VOStringHashSet set;
    set.Insert(VOTEXT("a text of some length that fits no small buffer of a string"));
    const AllocationCounter counter;
    set.Find(VOTEXT("a text of some length that fits no small buffer of a string"));
    set.Find(VOTEXT("unknown"));
    set.GetString(Handle(0));
    EXPECT_EQ(0u, counter.Count());
}

TEST(LookupAllocation, AttachingAViewTakesNothingFromTheHeap)
{
    std::vector<VOWString> vecText;
    const MisalignedBlock image(LargeSetImage(vecText), 1);
    VOStringHashSet set(VOStringHashSet::SHR_Customer);
    const AllocationCounter counter;
    const int bTaken = Set(set, image, 0);
    const size_t uAllocations = counter.Count();
    EXPECT_EQ(1, bTaken);
    EXPECT_EQ(0u, uAllocations);
}

TEST(LookupAllocation, HashingTakesNothingFromTheHeap)
{
    const VOStringHash hash;
    const AllocationCounter counter;
    hash.HashW(VOTEXT("assets/a rather long path of an asset/file.dds"), 0);
    hash.HashA("assets/a rather long path of an asset/file.dds", 0);
    EXPECT_EQ(0u, counter.Count());
}

TEST(LookupAllocation, AMillionEntriesCostTwoBlocksThatGrow)
{
    // Doubling: far fewer allocations than entries.
    VOStringContainer strings;
    const AllocationCounter counter;
    for (int i = 0; i < 100000; ++i)
    {
        strings.Add(VOTEXT("text"));
    }
    EXPECT_LT(counter.Count(), 60u);
}

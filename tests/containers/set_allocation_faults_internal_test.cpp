// Every allocation of a string set's call fails once: the failure is the exception, nothing leaks (the address
// sanitizer looks), and the set answers as before and goes on working.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "internal/vo_map_table.h"
#include "support/colliding_texts.h"
#include "support/memory_faults.h"
#include "support/opened_containers.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
constexpr int kTexts = 24;

VOWString Text(int nText)
{
    return Wide("text number " + std::to_string(nText));
}

// Enough strings that the next ones make the set's own tables grow.
void Fill(VOStringHashSet& rkSet)
{
    for (int i = 0; i < kTexts; ++i)
    {
        rkSet.Insert(Text(i).c_str());
    }
    rkSet.Insert(CollidingGroup(0)[0].c_str());
}

void ExpectFilled(const VOStringHashSet& rkSet)
{
    for (int i = 0; i < kTexts; ++i)
    {
        ASSERT_EQ(static_cast<uint64_t>(i), Number(rkSet.Find(Text(i).c_str())));
        ASSERT_EQ(Text(i), ReadText(rkSet.GetString(Handle(static_cast<uint64_t>(i)))));
    }
    ASSERT_EQ(static_cast<uint64_t>(kTexts), Number(rkSet.Find(CollidingGroup(0)[0].c_str())));
}
}  // namespace

TEST(SetAllocationFaults, TheToolLetsOperatorNewFail)
{
    const unsigned uFailed = FailEach<NewFaults, std::vector<std::string>>(
        [](std::vector<std::string>&) {},
        [](std::vector<std::string>& rkTexts) { rkTexts.push_back(std::string(100, 'x')); },
        [](std::vector<std::string>& rkTexts) { EXPECT_TRUE(rkTexts.empty()); });
    EXPECT_EQ(2u, uFailed);
}

TEST(SetAllocationFaults, AFailedConstructionOfASetLeaksNothing)
{
    struct Nothing
    {
    };
    EXPECT_LE(1u, FailEachAllocation<Nothing>([](Nothing&) {}, [](Nothing&) { const VOStringHashSet kSet; },
                                              [](Nothing&) {}));
}

TEST(SetAllocationFaults, AFailedInsertEntersNothing)
{
    // With 40 further strings every table of the set grows at least once.
    unsigned uFailed = 0;
    for (int nNew = 0; nNew < 40; ++nNew)
    {
        uFailed += FailEachAllocation<VOStringHashSet>(
            [nNew](VOStringHashSet& rkSet)
            {
                Fill(rkSet);
                for (int i = 0; i < nNew; ++i)
                {
                    rkSet.Insert(Text(1000 + i).c_str());
                }
            },
            [](VOStringHashSet& rkSet) { rkSet.Insert(VOTEXT("one more")); },
            [nNew](VOStringHashSet& rkSet)
            {
                const unsigned int uBefore = static_cast<unsigned int>(kTexts + 1 + nNew);
                ExpectFilled(rkSet);
                EXPECT_EQ(uBefore, rkSet.Count());
                EXPECT_EQ(INVALID_HANDLE_VALUE, rkSet.Find(VOTEXT("one more")));
                EXPECT_EQ(uBefore, WalkOf(rkSet).size());
                void* hText = rkSet.Insert(VOTEXT("one more"));
                EXPECT_EQ(hText, rkSet.Find(VOTEXT("one more")));
                EXPECT_EQ(VOTEXT("one more"), ReadText(rkSet.GetString(hText)));
                EXPECT_EQ(uBefore + 1, rkSet.Count());
            });
    }
    EXPECT_LE(1u, uFailed);
}

TEST(SetAllocationFaults, AFailedInsertOfACollidingStringEntersNothing)
{
    FailEachAllocation<VOStringHashSet>(
        &Fill, [](VOStringHashSet& rkSet) { rkSet.Insert(CollidingGroup(0)[1].c_str()); },
        [](VOStringHashSet& rkSet)
        {
            ExpectFilled(rkSet);
            EXPECT_EQ(INVALID_HANDLE_VALUE, rkSet.Find(CollidingGroup(0)[1].c_str()));
            void* hText = rkSet.Insert(CollidingGroup(0)[1].c_str());
            EXPECT_EQ(hText, rkSet.Find(CollidingGroup(0)[1].c_str()));
        });
}

TEST(SetAllocationFaults, AFailedWalkLeavesTheSetAsItWas)
{
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      &Fill,
                      [](VOStringHashSet& rkSet)
                      {
                          VOStringHashSet::Iterator kIterator;
                          for (int bMore = rkSet.GetFirst(kIterator); bMore != 0; bMore = rkSet.HasNext(kIterator))
                          {
                          }
                      },
                      [](VOStringHashSet& rkSet)
                      {
                          ExpectFilled(rkSet);
                          EXPECT_EQ(static_cast<size_t>(kTexts + 1), WalkOf(rkSet).size());
                      }));
}

TEST(SetAllocationFaults, AFailedImageLeavesTheSetAsItWas)
{
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      &Fill, [](VOStringHashSet& rkSet) { free(rkSet.GetAlloc()); },
                      [](VOStringHashSet& rkSet) { ExpectFilled(rkSet); }));
}

TEST(SetAllocationFaults, AFailedLoadLeavesAProviderThatCanBeCleanedAndUsed)
{
    VOStringHashSet kSource;
    Fill(kSource);
    const MisalignedBlock kImage(ImageOf(kSource), 1);
    for (const int bCopy : {0, 1})
    {
        EXPECT_LE(1u,
                  FailEachAllocation<VOStringHashSet>([](VOStringHashSet& rkSet) { rkSet.Insert(VOTEXT("before")); },
                                                      [&](VOStringHashSet& rkSet) { Set(rkSet, kImage, bCopy); },
                                                      [&](VOStringHashSet& rkSet)
                                                      {
                                                          EXPECT_EQ(1, rkSet.CleanUp());
                                                          EXPECT_EQ(0u, rkSet.Count());
                                                          ASSERT_EQ(1, Set(rkSet, kImage, bCopy));
                                                          ExpectFilled(rkSet);
                                                      }));
    }
}

TEST(SetAllocationFaults, AFailedCopyOrAssignmentLeavesBothSetsSound)
{
    struct State
    {
        VOStringHashSet kFrom;
        VOStringHashSet kTo;
    };
    const auto fnMake = [](State& rkState)
    {
        Fill(rkState.kFrom);
        rkState.kTo.Insert(VOTEXT("other"));
    };
    const auto fnCheck = [](State& rkState)
    {
        ExpectFilled(rkState.kFrom);
        EXPECT_EQ(1, rkState.kTo.CleanUp());
        Fill(rkState.kTo);
        ExpectFilled(rkState.kTo);
    };
    EXPECT_LE(1u, FailEachAllocation<State>(
                      fnMake, [](State& rkState) { const VOStringHashSet kCopy(rkState.kFrom); }, fnCheck));
    EXPECT_LE(1u, FailEachAllocation<State>(
                      fnMake, [](State& rkState) { rkState.kTo = rkState.kFrom; }, fnCheck));
}

TEST(SetAllocationFaults, AFailedTableImageLeaksNothing)
{
    typedef VOMapTable<unsigned int, unsigned long long> Table;
    // Keys that share home slots, so that displaced entries are collected.
    std::map<unsigned int, unsigned long long> mapKeys;
    for (unsigned int i = 0; i < 200; ++i)
    {
        mapKeys[i] = i;
    }
    struct Nothing
    {
    };
    EXPECT_LE(1u, FailEachAllocation<Nothing>([](Nothing&) {}, [&](Nothing&) { free(Table::GetAlloc(mapKeys)); },
                                              [](Nothing&) {}));
}

// Every allocation of a string set's call fails once: the failure is the exception, nothing leaks (the address
// sanitizer looks), and the set answers as before and goes on working.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "internal/vo_map_table.h"
#include "support/colliding_texts.h"
#include "support/map_tables.h"
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
void Fill(VOStringHashSet& set)
{
    for (int i = 0; i < kTexts; ++i)
    {
        set.Insert(Text(i).c_str());
    }
    set.Insert(CollidingGroup(0)[0].c_str());
}

void ExpectFilled(const VOStringHashSet& set)
{
    for (int i = 0; i < kTexts; ++i)
    {
        ASSERT_EQ(static_cast<uint64_t>(i), Number(set.Find(Text(i).c_str())));
        ASSERT_EQ(Text(i), ReadText(set.GetString(Handle(static_cast<uint64_t>(i)))));
    }
    ASSERT_EQ(static_cast<uint64_t>(kTexts), Number(set.Find(CollidingGroup(0)[0].c_str())));
}
}  // namespace

TEST(SetAllocationFaults, TheToolLetsOperatorNewFail)
{
    const unsigned uFailed = FailEach<NewFaults, std::vector<std::string>>(
        [](std::vector<std::string>&) {},
        [](std::vector<std::string>& texts) { texts.push_back(std::string(100, 'x')); },
        [](std::vector<std::string>& texts) { EXPECT_TRUE(texts.empty()); });
    EXPECT_EQ(2u, uFailed);
}

TEST(SetAllocationFaults, AFailedConstructionOfASetLeaksNothing)
{
    struct Nothing
    {
    };
    EXPECT_LE(
        1u, FailEachAllocation<Nothing>([](Nothing&) {}, [](Nothing&) { const VOStringHashSet set; }, [](Nothing&) {}));
}

TEST(SetAllocationFaults, AFailedInsertEntersNothing)
{
    // With 40 further strings every table of the set grows at least once.
    unsigned uFailed = 0;
    for (int nNew = 0; nNew < 40; ++nNew)
    {
        uFailed += FailEachAllocation<VOStringHashSet>(
            [nNew](VOStringHashSet& set)
            {
                Fill(set);
                for (int i = 0; i < nNew; ++i)
                {
                    set.Insert(Text(1000 + i).c_str());
                }
            },
            [](VOStringHashSet& set) { set.Insert(VOTEXT("one more")); },
            [nNew](VOStringHashSet& set)
            {
                const unsigned int uBefore = static_cast<unsigned int>(kTexts + 1 + nNew);
                ExpectFilled(set);
                EXPECT_EQ(uBefore, set.Count());
                EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("one more")));
                EXPECT_EQ(uBefore, WalkOf(set).size());
                void* hText = set.Insert(VOTEXT("one more"));
                EXPECT_EQ(hText, set.Find(VOTEXT("one more")));
                EXPECT_EQ(VOTEXT("one more"), ReadText(set.GetString(hText)));
                EXPECT_EQ(uBefore + 1, set.Count());
            });
    }
    EXPECT_LE(1u, uFailed);
}

TEST(SetAllocationFaults, AFailedInsertOfACollidingStringEntersNothing)
{
    FailEachAllocation<VOStringHashSet>(
        &Fill, [](VOStringHashSet& set) { set.Insert(CollidingGroup(0)[1].c_str()); },
        [](VOStringHashSet& set)
        {
            ExpectFilled(set);
            EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(CollidingGroup(0)[1].c_str()));
            void* hText = set.Insert(CollidingGroup(0)[1].c_str());
            EXPECT_EQ(hText, set.Find(CollidingGroup(0)[1].c_str()));
        });
}

TEST(SetAllocationFaults, AFailedWalkLeavesTheSetAsItWas)
{
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      &Fill,
                      [](VOStringHashSet& set)
                      {
                          VOStringHashSet::Iterator iterator;
                          for (int bMore = set.GetFirst(iterator); bMore != 0; bMore = set.HasNext(iterator))
                          {
                          }
                      },
                      [](VOStringHashSet& set)
                      {
                          ExpectFilled(set);
                          EXPECT_EQ(static_cast<size_t>(kTexts + 1), WalkOf(set).size());
                      }));
}

TEST(SetAllocationFaults, AFailedImageLeavesTheSetAsItWas)
{
    EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>(
                      &Fill, [](VOStringHashSet& set) { free(set.GetAlloc()); },
                      [](VOStringHashSet& set) { ExpectFilled(set); }));
}

TEST(SetAllocationFaults, AFailedLoadLeavesAProviderThatCanBeCleanedAndUsed)
{
    VOStringHashSet source;
    Fill(source);
    const MisalignedBlock image(ImageOf(source), 1);
    for (const int bCopy : {0, 1})
    {
        EXPECT_LE(1u, FailEachAllocation<VOStringHashSet>([](VOStringHashSet& set) { set.Insert(VOTEXT("before")); },
                                                          [&](VOStringHashSet& set) { Set(set, image, bCopy); },
                                                          [&](VOStringHashSet& set)
                                                          {
                                                              EXPECT_EQ(1, set.CleanUp());
                                                              EXPECT_EQ(0u, set.Count());
                                                              ASSERT_EQ(1, Set(set, image, bCopy));
                                                              ExpectFilled(set);
                                                          }));
    }
}

TEST(SetAllocationFaults, AFailedCopyOrAssignmentLeavesBothSetsSound)
{
    struct State
    {
        VOStringHashSet from;
        VOStringHashSet to;
    };
    const auto fnMake = [](State& state)
    {
        Fill(state.from);
        state.to.Insert(VOTEXT("other"));
    };
    const auto fnCheck = [](State& state)
    {
        ExpectFilled(state.from);
        EXPECT_EQ(1, state.to.CleanUp());
        Fill(state.to);
        ExpectFilled(state.to);
    };
    EXPECT_LE(1u, FailEachAllocation<State>(
                      fnMake, [](State& state) { const VOStringHashSet copy(state.from); }, fnCheck));
    EXPECT_LE(1u, FailEachAllocation<State>(
                      fnMake, [](State& state) { state.to = state.from; }, fnCheck));
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
    EXPECT_LE(1u, FailEachAllocation<Nothing>([](Nothing&) {}, [&](Nothing&) { free(TableAllocOf<Table>(mapKeys)); },
                                              [](Nothing&) {}));
}

// Named damages of one small string set image, each with the bytes that differ and the verdict.
#include <string>
#include <vector>

#include "support/opened_containers.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
// "abc" with text (handle 0) and "a" as key only (handle 1). The number in front of a line is its offset.
const char* const kGoodSet = R"(
    76 65 72 2e 31 2e 31 00                                                #   0 version
    44 00 00 00  4d 00 00 00  68 00 00 00  38 00 00 00  31 01 00 00        #   8 sizes of the parts, total
    76 65 72 2e 31 2e 30 00  02 00 00 00  30 00 00 00                      #  28 records
    00 00 00 00 00 00 00 00  04 00 00 00  01 00 00 00  ea c6 39 d8  a4 fc f5 ba   #  44 "abc"
    ff ff ff ff ff ff ff ff  00 00 00 00  01 00 00 00  68 3d c6 7d  f4 f6 bb b0   #  68 "a"
    00 00 00 00                                                            #  92
    76 65 72 2e 31 2e 30 00  3d 00 00 00                                   #  96 text pool
    76 65 72 2e 31 2e 30 00  09 00 00 00  1c 00 00 00  25 00 00 00         # 108 byte pool
    61 00 62 00 63 00 00 00 00                                             # 128 its bytes
    76 65 72 2e 31 2e 30 00  01 00 00 00  08 00 00 00                      # 137 its handles
    00 00 00 00 00 00 00 00                                                # 153
    00 00 00 00  00 00 00 00  00 00 00 00                                  # 161 tails
    76 65 72 2e 31 2e 30 00  02 00 00 00  54 00 00 00                      # 173 primary table
    76 65 72 2e 31 2e 30 00  04 00 00 00  40 00 00 00                      # 189 its slots
    ea c6 39 d8  00 00 00 00 00 00 00 00  01 00 00 00                      # 205 slot 0
    00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00                      # 221 slot 1
    00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00                      # 237 slot 2
    68 3d c6 7d  01 00 00 00 00 00 00 00  01 00 00 00                      # 253 slot 3
    00 00 00 00  00 00 00 00                                               # 269 tails
    76 65 72 2e 31 2e 30 00  00 00 00 00  24 00 00 00                      # 277 conflict table
    76 65 72 2e 31 2e 30 00  01 00 00 00  10 00 00 00                      # 293 its slots
    00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00                      # 309 slot 0
    00 00 00 00  00 00 00 00                                               # 325 tails
    00 00 00 00                                                            # 333 tail
)";

struct Change
{
    size_t uOffset;
    const char* pszBytes;
};

// A set over the damaged image, viewed in one of the roles.
class DamagedSet
{
public:
    DamagedSet(VOStringHashSet::StringHashRole eRole, const std::vector<Change>& changes)
        : m_image(Damaged(changes), 1), m_set(eRole), m_bTaken(votest::Set(m_set, m_image, 0))
    {
    }

    VOStringHashSet& Set() { return m_set; }
    bool IsTaken() const { return m_bTaken != 0; }

    static Bytes Damaged(const std::vector<Change>& changes)
    {
        Bytes vecImage = FromHex(kGoodSet);
        for (const Change& change : changes)
        {
            const Bytes vecChange = FromHex(change.pszBytes);
            for (size_t i = 0; i < vecChange.size(); ++i)
            {
                vecImage.at(change.uOffset + i) = vecChange[i];
            }
        }
        return vecImage;
    }

private:
    MisalignedBlock m_image;
    VOStringHashSet m_set;
    int m_bTaken;
};

const VOStringHashSet::StringHashRole kBothRoles[] = {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer};
}  // namespace

TEST(DamagedCases, TheImageOfTheseCasesIsThatOfItsTwoStrings)
{
    StringSetModel model;
    bool bExist = false;
    model.Insert(VOTEXT("abc"), bExist);
    model.InsertKey(VOTEXT("a"), bExist);
    EXPECT_TRUE(SameBytes(model.Image(), DamagedSet::Damaged({})));
}

TEST(DamagedCases, ATextHandleBehindThePoolGivesNoText)
{
    for (const auto eRole : kBothRoles)
    {
        for (const char* pszHandle : {"09 00 00 00 00 00 00 00", "ff ff ff 7f 00 00 00 00", "fe ff ff ff ff ff ff ff"})
        {
            DamagedSet damaged(eRole, {{44, pszHandle}});
            ASSERT_TRUE(damaged.IsTaken());
            EXPECT_EQ(nullptr, damaged.Set().GetString(Handle(0)));
            EXPECT_EQ(0u, Number(damaged.Set().Find(VOTEXT("abc"))));
        }
    }
}

TEST(DamagedCases, ATextHandleAtThePoolsLastByteGivesNoTextThatReachesBehindIt)
{
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{44, "08 00 00 00 00 00 00 00"}});
        ASSERT_TRUE(damaged.IsTaken());
        EXPECT_EQ(nullptr, damaged.Set().GetString(Handle(0)));
    }
}

TEST(DamagedCases, ATextWithoutAnEndGivesNoText)
{
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{128, "61 61 61 61 61 61 61 61 61"}});
        ASSERT_TRUE(damaged.IsTaken());
        EXPECT_EQ(nullptr, damaged.Set().GetString(Handle(0)));
    }
}

TEST(DamagedCases, ATextStateWithoutATextGivesNoText)
{
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{76, "04 00 00 00"}});
        ASSERT_TRUE(damaged.IsTaken());
        EXPECT_EQ(nullptr, damaged.Set().GetString(Handle(1)));
        EXPECT_EQ(1u, Number(damaged.Set().Find(VOTEXT("a"))));
    }
}

TEST(DamagedCases, RemovedIsTestedByItsBitAlone)
{
    // Both bits set: not found, and the text still answers.
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{52, "06 00 00 00"}});
        ASSERT_TRUE(damaged.IsTaken());
        EXPECT_EQ(INVALID_HANDLE_VALUE, damaged.Set().Find(VOTEXT("abc")));
        EXPECT_EQ(VOTEXT("abc"), ReadText(damaged.Set().GetString(Handle(0))));
    }
}

TEST(DamagedCases, ATableValueBehindTheRecordsIsNotFollowed)
{
    for (const auto eRole : kBothRoles)
    {
        for (const char* pszValue : {"02 00 00 00 00 00 00 00", "ff ff ff 7f 00 00 00 00", "ff ff ff ff ff ff ff ff"})
        {
            DamagedSet damaged(eRole, {{209, pszValue}});
            if (damaged.IsTaken())
            {
                EXPECT_EQ(INVALID_HANDLE_VALUE, damaged.Set().Find(VOTEXT("abc"))) << pszValue;
                WalkOf(damaged.Set());
            }
        }
    }
}

TEST(DamagedCases, AConflictValueBehindTheRecordsIsNotFollowed)
{
    // The record of "abc" gets another second hash, so that the lookup goes on to the conflict table, which has one
    // slot.
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(
            eRole,
            {{64, "00 00 00 00"}, {309, "ea c6 39 d8  99 00 00 00 00 00 00 00  01 00 00 00"}, {285, "01 00 00 00"}});
        if (damaged.IsTaken())
        {
            EXPECT_EQ(INVALID_HANDLE_VALUE, damaged.Set().Find(VOTEXT("abc")));
            WalkOf(damaged.Set());
        }
    }
}

TEST(DamagedCases, ATableOfNoSlotsFindsNothing)
{
    // The primary table says 0 slots in 0 bytes; its part keeps its size.
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{197, "00 00 00 00  00 00 00 00"}});
        if (damaged.IsTaken())
        {
            EXPECT_EQ(INVALID_HANDLE_VALUE, damaged.Set().Find(VOTEXT("abc")));
            VOStringHashSet::Iterator iterator;
            EXPECT_EQ(0, damaged.Set().GetFirst(iterator));
        }
    }
}

TEST(DamagedCases, NoRecordsUnderAFilledTableGiveNoStrings)
{
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{36, "00 00 00 00  00 00 00 00"}});
        if (damaged.IsTaken())
        {
            EXPECT_EQ(INVALID_HANDLE_VALUE, damaged.Set().Find(VOTEXT("abc")));
            EXPECT_EQ(nullptr, damaged.Set().GetString(Handle(0)));
            VOStringHashSet::Iterator iterator;
            EXPECT_EQ(0, damaged.Set().GetFirst(iterator));
        }
    }
}

TEST(DamagedCases, AnElementCountThatLiesIsOnlyReported)
{
    // The walk goes by the slots.
    DamagedSet damaged(VOStringHashSet::SHR_Customer, {{181, "ff ff ff ff"}});
    ASSERT_TRUE(damaged.IsTaken());
    EXPECT_EQ(0xFFFFFFFFu, damaged.Set().Count());
    EXPECT_EQ(2u, WalkOf(damaged.Set()).size());
}

TEST(DamagedCases, RecordsThatReachIntoTheNextPartAreRefusedOrReadInsideTheImage)
{
    // 12 records in 288 bytes: less than the image has, more than their part.
    for (const auto eRole : kBothRoles)
    {
        DamagedSet damaged(eRole, {{36, "0c 00 00 00  20 01 00 00"}});
        for (uint64_t ullHandle = 0; ullHandle < 14; ++ullHandle)
        {
            ReadText(damaged.Set().GetString(Handle(ullHandle)));
        }
        EXPECT_EQ(nullptr, damaged.Set().GetString(Handle(14)));
    }
}

// A set whose derived class has taken its pool away: what needs the pool fails in silence, and nothing else does.
#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/opened_containers.h"
#include "vo_string_hash_set.h"

using namespace votest;

namespace
{
class SetWithoutPool : public VOStringHashSet
{
public:
    explicit SetWithoutPool(StringHashRole eRole = SHR_Provider) : VOStringHashSet(eRole) {}

    void DropPool()
    {
        delete m_pkStringPool;
        m_pkStringPool = nullptr;
    }
    bool HasPool() const { return m_pkStringPool != nullptr; }
};
}  // namespace

TEST(StringHashSetWithoutPool, InsertsNothing)
{
    SetWithoutPool set;
    set.DropPool();
    const LogCapture log;
    int bExist = 7;
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.InsertKey(VOTEXT("key"), &bExist));
    EXPECT_EQ(7, bExist);
    EXPECT_EQ(0u, set.Count());
    EXPECT_EQ(0u, log.Count());
}

TEST(StringHashSetWithoutPool, FindsWhatItKnowsAndHasNoTexts)
{
    SetWithoutPool set;
    void* hText = set.Insert(VOTEXT("text"));
    ASSERT_NE(nullptr, set.GetString(hText));
    set.DropPool();
    EXPECT_EQ(hText, set.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, set.GetString(hText));
}

TEST(StringHashSetWithoutPool, CleansUpAndDoesNotShrink)
{
    SetWithoutPool set;
    set.Insert(VOTEXT("text"));
    set.DropPool();
    const LogCapture log;
    EXPECT_EQ(0, set.ShrinkToFit());
    set.DropViews();
    EXPECT_EQ(1u, set.Count());
    EXPECT_EQ(1, set.CleanUp());
    EXPECT_EQ(0u, set.Count());
    EXPECT_EQ(0u, log.Count());
}

TEST(StringHashSetWithoutPool, GivesAndTakesNoImage)
{
    VOStringHashSet source;
    source.Insert(VOTEXT("text"));
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        SetWithoutPool set(eRole);
        set.DropPool();
        EXPECT_EQ(nullptr, set.GetAlloc());
        EXPECT_LT(kVOMaxImageSize, set.AllocSize());
        VOStringHashSet::StringHashSetAlloc* pAlloc = source.GetAlloc();
        EXPECT_EQ(0, set.SetAlloc(pAlloc, 1));
        EXPECT_EQ(0, set.SetAlloc(pAlloc, 0));
        free(pAlloc);
    }
}

TEST(StringHashSetWithoutPool, IsCopiedAsItIs)
{
    SetWithoutPool set;
    void* hText = set.Insert(VOTEXT("text"));
    SetWithoutPool target;
    target.Insert(VOTEXT("other"));
    SetWithoutPool source;
    source.Insert(VOTEXT("third"));
    set.DropPool();
    const SetWithoutPool copy(set);
    EXPECT_FALSE(copy.HasPool());
    EXPECT_EQ(hText, copy.Find(VOTEXT("text")));
    target = set;
    EXPECT_FALSE(target.HasPool());
    target = source;
    EXPECT_TRUE(target.HasPool());
    EXPECT_NE(nullptr, target.GetString(target.Find(VOTEXT("third"))));
}

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
    SetWithoutPool kSet;
    kSet.DropPool();
    const LogCapture kLog;
    int bExist = 7;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.InsertKey(VOTEXT("key"), &bExist));
    EXPECT_EQ(7, bExist);
    EXPECT_EQ(0u, kSet.Count());
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringHashSetWithoutPool, FindsWhatItKnowsAndHasNoTexts)
{
    SetWithoutPool kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    ASSERT_NE(nullptr, kSet.GetString(hText));
    kSet.DropPool();
    EXPECT_EQ(hText, kSet.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, kSet.GetString(hText));
}

TEST(StringHashSetWithoutPool, CleansUpAndDoesNotShrink)
{
    SetWithoutPool kSet;
    kSet.Insert(VOTEXT("text"));
    kSet.DropPool();
    const LogCapture kLog;
    EXPECT_EQ(0, kSet.ShrinkToFit());
    kSet.DropViews();
    EXPECT_EQ(1u, kSet.Count());
    EXPECT_EQ(1, kSet.CleanUp());
    EXPECT_EQ(0u, kSet.Count());
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringHashSetWithoutPool, GivesAndTakesNoImage)
{
    VOStringHashSet kSource;
    kSource.Insert(VOTEXT("text"));
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        SetWithoutPool kSet(eRole);
        kSet.DropPool();
        EXPECT_EQ(nullptr, kSet.GetAlloc());
        EXPECT_LT(kVOMaxImageSize, kSet.AllocSize());
        VOStringHashSet::StringHashSetAlloc* pAlloc = kSource.GetAlloc();
        EXPECT_EQ(0, kSet.SetAlloc(pAlloc, 1));
        EXPECT_EQ(0, kSet.SetAlloc(pAlloc, 0));
        free(pAlloc);
    }
}

TEST(StringHashSetWithoutPool, IsCopiedAsItIs)
{
    SetWithoutPool kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    SetWithoutPool kTarget;
    kTarget.Insert(VOTEXT("other"));
    SetWithoutPool kSource;
    kSource.Insert(VOTEXT("third"));
    kSet.DropPool();
    const SetWithoutPool kCopy(kSet);
    EXPECT_FALSE(kCopy.HasPool());
    EXPECT_EQ(hText, kCopy.Find(VOTEXT("text")));
    kTarget = kSet;
    EXPECT_FALSE(kTarget.HasPool());
    kTarget = kSource;
    EXPECT_TRUE(kTarget.HasPool());
    EXPECT_NE(nullptr, kTarget.GetString(kTarget.Find(VOTEXT("third"))));
}

// A section as a reader holds it, and the words in it that others change.
#include "platform/vo_section_view.h"

#include "platform/vo_shared_word.h"
#include "tests/platform/platform_test_support.h"

TEST(SectionView, HoldsNothingWhereThereIsNoSection)
{
    const SectionName name("viewnone");
    SetLastError(ERROR_SUCCESS);
    VOSectionView view(name.Get(), FILE_MAP_READ);
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_EQ(nullptr, view.Data());
    EXPECT_EQ(0u, view.Size());
    EXPECT_FALSE(view.BeginsWith("x"));
    EXPECT_EQ(nullptr, view.Map());
    EXPECT_EQ(nullptr, view.DetachHandle());
}

TEST(SectionView, BeginsWithATextWhoseTerminatorLiesBehindTheEnd)
{
    const SectionName name("viewtext");
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(name.Get(), "text", 4));
    const VOSectionView view(name.Get(), FILE_MAP_READ);
    EXPECT_GE(view.Size(), 4u);
    EXPECT_TRUE(view.BeginsWith("text"));
    EXPECT_FALSE(view.BeginsWith("tex"));
    EXPECT_FALSE(view.BeginsWith("text1"));
}

TEST(SectionView, LetsGoOfOneSectionWhenItOpensAnother)
{
    const SectionName first("viewfirst");
    const SectionName second("viewsecond");
    VOPublishedSection published;
    ASSERT_TRUE(published.Replace(first.Get(), "first", 6));
    VOSectionView view(first.Get(), FILE_MAP_READ);
    EXPECT_TRUE(view.BeginsWith("first"));
    EXPECT_FALSE(view.Open(second.Get(), FILE_MAP_READ));
    EXPECT_EQ(nullptr, view.Data());
    EXPECT_EQ(nullptr, view.DetachHandle());
}

TEST(SectionView, LeavesTheViewToWhoeverDetachesIt)
{
    const SectionName name("viewdetach");
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(name.Get(), "kept", 5));
    void* pView = nullptr;
    {
        VOSectionView view(name.Get(), FILE_MAP_READ);
        pView = view.DetachView();
        EXPECT_EQ(nullptr, view.Data());
        EXPECT_EQ(0u, view.Size());
    }
    EXPECT_STREQ("kept", static_cast<const char*>(pView));
    EXPECT_TRUE(UnmapViewOfFile(pView));
}

TEST(SharedWords, AreAddedToRoundTheEndOfTheirRange)
{
    unsigned uWord = 0;
    EXPECT_EQ(0xFFFFFFFFu, VOAddToWord(uWord, -1));
    EXPECT_EQ(0u, VOAddToWord(uWord, 1));
    EXPECT_EQ(0u, uWord);
}

TEST(SharedWords, AreExchangedAndReplaced)
{
    int nWord = 1;
    EXPECT_EQ(1, VOExchangeWord(nWord, 2));
    int nExpected = 1;
    EXPECT_FALSE(VOReplaceWord(nWord, nExpected, 3));
    EXPECT_EQ(2, nExpected);
    EXPECT_TRUE(VOReplaceWord(nWord, nExpected, 3));
    EXPECT_EQ(3, VOLoadWord(nWord));
}

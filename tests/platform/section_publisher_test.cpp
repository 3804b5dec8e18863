// Publishing sections, against one contract on both systems.
#include "platform/vo_section_view.h"
#include "tests/platform/platform_test_support.h"

namespace
{
// What a reader that comes now finds at the start of a section; "" when there is none.
std::string ReadSection(const SectionName& name)
{
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    const void* const pView = hSection != nullptr ? MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0) : nullptr;
    const std::string strText = pView != nullptr ? static_cast<const char*>(pView) : "";
    if (pView != nullptr)
    {
        UnmapViewOfFile(pView);
    }
    if (hSection != nullptr)
    {
        CloseHandle(hSection);
    }
    return strText;
}

bool Replace(VOPublishedSection& section, const SectionName& name, const std::string& strText)
{
    return section.Replace(name.Get(), strText.c_str(), strText.size() + 1);
}
}  // namespace

TEST(PublishedSection, IsNewAndZeroWhenThereWasNone)
{
    const SectionName name("state");
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 132));
    EXPECT_FALSE(section.Existed());
    EXPECT_EQ(132u, section.Size());
    EXPECT_EQ(std::string(132, '\0'), std::string(static_cast<const char*>(section.Data()), 132));
}

TEST(PublishedSection, ShowsReadersWhatIsWrittenToIt)
{
    const SectionName name("written");
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 132));
    memcpy(section.Data(), "version", 8);
    EXPECT_EQ("version", ReadSection(name));
}

TEST(PublishedSection, IsTakenOverWithItsContent)
{
    const SectionName name("takeover");
    VOPublishedSection first;
    ASSERT_TRUE(first.OpenOrCreate(name.Get(), 4096));
    memcpy(first.Data(), "earlier", 8);
    VOPublishedSection second;
    ASSERT_TRUE(second.OpenOrCreate(name.Get(), 4096));
    EXPECT_TRUE(second.Existed());
    EXPECT_EQ(4096u, second.Size());
    EXPECT_STREQ("earlier", static_cast<const char*>(second.Data()));
    memcpy(second.Data(), "later", 6);
    EXPECT_STREQ("later", static_cast<const char*>(first.Data()));
}

TEST(PublishedSection, HoldsNothingBeforeItIsMade)
{
    const VOPublishedSection section;
    EXPECT_EQ(nullptr, section.Data());
    EXPECT_EQ(0u, section.Size());
    EXPECT_FALSE(section.Existed());
}

TEST(PublishedSection, NeedsANameAndASize)
{
    const SectionName name("bad");
    VOPublishedSection section;
    EXPECT_FALSE(section.OpenOrCreate(name.Get(), 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_FALSE(section.OpenOrCreate(VOTEXT(""), 100));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_FALSE(section.Replace(name.Get(), "x", 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_FALSE(section.Replace(VOTEXT(""), "x", 1));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_FALSE(section.Replace(name.Get(), 1, VOPublishedSection::Writer()));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
    EXPECT_EQ(nullptr, section.Data());
    EXPECT_EQ("", ReadSection(name));
}

TEST(ReplacedSection, ShowsNewReadersTheNewContent)
{
    const SectionName name("replace");
    VOPublishedSection section;
    ASSERT_TRUE(Replace(section, name, "first"));
    EXPECT_EQ("first", ReadSection(name));
    ASSERT_TRUE(Replace(section, name, "second and longer"));
    EXPECT_EQ("second and longer", ReadSection(name));
    ASSERT_TRUE(Replace(section, name, "third"));
    EXPECT_EQ("third", ReadSection(name));
    EXPECT_EQ(6u, section.Size());
    EXPECT_STREQ("third", static_cast<const char*>(section.Data()));
}

TEST(ReplacedSection, GrowsAndShrinksByMegabytes)
{
    const SectionName name("grow");
    VOPublishedSection section;
    for (const size_t uSize : {size_t{4096}, size_t{3} << 20, size_t{100}, size_t{20} << 20, size_t{5000}})
    {
        const std::string strContent(uSize, static_cast<char>('a' + uSize % 23));
        ASSERT_TRUE(section.Replace(name.Get(), strContent.data(), uSize));
        const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
        const char* const pView = static_cast<const char*>(MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0));
        ASSERT_NE(nullptr, pView);
        const size_t uReadable = VOViewSize(pView);
        EXPECT_GE(uReadable, uSize);
        EXPECT_EQ(strContent, std::string(pView, uSize));
        // Nothing of a longer content that was there before.
        EXPECT_EQ(std::string(uReadable - uSize, '\0'), std::string(pView + uSize, uReadable - uSize));
        UnmapViewOfFile(pView);
        CloseHandle(hSection);
    }
}

TEST(ReplacedSection, GivesItsWriterZeroedMemoryOfTheSize)
{
    const SectionName name("writer");
    VOPublishedSection section;
    ASSERT_TRUE(Replace(section, name, std::string(5000, 'x')));
    bool bZero = false;
    ASSERT_TRUE(section.Replace(name.Get(), 4000,
                                [&bZero](void* pData, size_t uSize)
                                {
                                    bZero = std::string(4000, '\0') == std::string(static_cast<char*>(pData), uSize);
                                    memcpy(pData, "written", 8);
                                    return true;
                                }));
    EXPECT_TRUE(bZero);
    EXPECT_EQ("written", ReadSection(name));
    EXPECT_EQ(4000u, section.Size());
}

TEST(ReplacedSection, KeepsItsContentWhenTheWriterGivesUp)
{
    const SectionName name("giveup");
    VOPublishedSection section;
    ASSERT_TRUE(Replace(section, name, "sound"));
    EXPECT_FALSE(section.Replace(name.Get(), 100,
                                 [](void* pData, size_t)
                                 {
                                     memcpy(pData, "broken", 7);
                                     return false;
                                 }));
    EXPECT_EQ(DWORD{ERROR_CANCELLED}, GetLastError());
    EXPECT_EQ("sound", ReadSection(name));
    EXPECT_EQ(6u, section.Size());
    EXPECT_STREQ("sound", static_cast<const char*>(section.Data()));
}

TEST(ReplacedSection, IsNotMadeWhenTheFirstWriterGivesUp)
{
    const SectionName name("never");
    VOPublishedSection section;
    EXPECT_FALSE(section.Replace(name.Get(), 100, [](void*, size_t) { return false; }));
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_EQ(nullptr, section.Data());
}

TEST(WithdrawnSection, IsNotFoundAnyMore)
{
    const SectionName name("withdraw");
    VOPublishedSection section;
    ASSERT_TRUE(Replace(section, name, "there"));
    EXPECT_TRUE(section.Withdraw());
    EXPECT_EQ(nullptr, section.Data());
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_TRUE(section.Withdraw());
}

TEST(WithdrawnSection, IsWithdrawnByTheEndOfItsObject)
{
    const SectionName name("scope");
    {
        VOPublishedSection section;
        ASSERT_TRUE(section.OpenOrCreate(name.Get(), 100));
    }
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()));
}

TEST(WithdrawnSection, StaysWholeForTheReaderInsideIt)
{
    const SectionName name("inside");
    VOPublishedSection section;
    ASSERT_TRUE(Replace(section, name, "kept by a reader"));
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    const void* const pView = MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0);
    ASSERT_NE(nullptr, pView);
    EXPECT_TRUE(section.Withdraw());
    EXPECT_STREQ("kept by a reader", static_cast<const char*>(pView));
    UnmapViewOfFile(pView);
    CloseHandle(hSection);
}

TEST(KilledPublisher, LeavesANameThatTheNextOneCanTake)
{
    const SectionName name("killed");
    ChildProcess publisher("publish", name.Ascii());
    ASSERT_EQ("published", publisher.ReadLine());
    publisher.Kill();
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 4096));
    memcpy(section.Data(), "next", 5);
    EXPECT_EQ("next", ReadSection(name));
}

TEST(KilledPublisher, NeverLeavesHalfASection)
{
    const SectionName name("half");
    VOPublishedSection section;
    ASSERT_TRUE(Replace(section, name, "whole"));
    ChildProcess publisher("half-replace", name.Ascii());
    ASSERT_EQ("half way", publisher.ReadLine());
    EXPECT_EQ("whole", ReadSection(name));
    publisher.Kill();
    EXPECT_EQ("whole", ReadSection(name));
    ASSERT_TRUE(Replace(section, name, "whole again"));
    EXPECT_EQ("whole again", ReadSection(name));
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
}

TEST(CopiedSection, HasPagesOfItsOwnWhereItWasWrittenTo)
{
    const SectionName name("copied");
    constexpr size_t kPage = 4096;
    const std::vector<char> vecContent(4 * kPage, 'a');
    VOPublishedSection published;
    ASSERT_TRUE(published.Replace(name.Get(), vecContent.data(), vecContent.size()));
    const VOSectionView first(name.Get(), FILE_MAP_COPY);
    const VOSectionView second(name.Get(), FILE_MAP_COPY);
    const VOSectionView shared(name.Get(), FILE_MAP_READ);
    ASSERT_NE(nullptr, first.Data());
    ASSERT_NE(nullptr, second.Data());
    ASSERT_NE(nullptr, shared.Data());
    EXPECT_NE(first.Data(), second.Data());
    EXPECT_LE(4 * kPage, first.Size());

    memset(static_cast<char*>(first.Data()) + kPage, 'b', 10);
    EXPECT_EQ('b', static_cast<const char*>(first.Data())[kPage]);
    EXPECT_EQ('a', static_cast<const char*>(first.Data())[kPage + 10]);
    EXPECT_EQ('a', static_cast<const char*>(second.Data())[kPage]);
    EXPECT_EQ('a', static_cast<const char*>(shared.Data())[kPage]);
    EXPECT_EQ('a', static_cast<const char*>(published.Data())[kPage]);
}

TEST(CopiedSection, CantBeWrittenToForOthers)
{
    const SectionName name("copied");
    const char szContent[] = "content";
    VOPublishedSection published;
    ASSERT_TRUE(published.Replace(name.Get(), szContent, sizeof(szContent)));
    VOSectionView copied;
    const HANDLE hSection = copied.OpenHandle(name.Get(), FILE_MAP_COPY);
    ASSERT_NE(nullptr, hSection);
    EXPECT_EQ(nullptr, MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
}

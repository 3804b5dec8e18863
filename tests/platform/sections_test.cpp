// Sections as handles and views, against one contract on both systems.
#include <atomic>
#include <thread>

#include "tests/platform/platform_test_support.h"

namespace
{
bool IsZero(const void* pData, size_t uSize)
{
    const unsigned char* const pBytes = static_cast<const unsigned char*>(pData);
    return std::all_of(pBytes, pBytes + uSize, [](unsigned char uByte) { return uByte == 0; });
}

// A section with one handle and one view, both given back at the end.
struct OpenSection
{
    OpenSection(HANDLE hOpened, DWORD uAccess)
        : hSection(hOpened), pView(MapViewOfFile(hOpened, uAccess, 0, 0, 0)), pText(static_cast<char*>(pView))
    {
    }
    ~OpenSection()
    {
        UnmapViewOfFile(pView);
        CloseHandle(hSection);
    }
    OpenSection(const OpenSection&) = delete;
    OpenSection& operator=(const OpenSection&) = delete;

    HANDLE hSection;
    void* pView;
    char* pText;
};
}  // namespace

TEST(Sections, ThatNobodyMadeAreNotFound)
{
    const SectionName name("missing");
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.Get()));
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
}

TEST(Sections, AreAllZeroWhenNew)
{
    const SectionName name("new");
    SetLastError(ERROR_FILE_NOT_FOUND);
    const HANDLE hSection = Create(name, 10000);
    ASSERT_NE(nullptr, hSection);
    EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
    const OpenSection section(hSection, FILE_MAP_WRITE);
    ASSERT_NE(nullptr, section.pView);
    EXPECT_TRUE(IsZero(section.pView, 10000));
}

TEST(Sections, ThatExistAreOpenedByCreateWithTheirContent)
{
    const SectionName name("twice");
    const OpenSection first(Create(name, 100), FILE_MAP_WRITE);
    ASSERT_NE(nullptr, first.pView);
    memcpy(first.pView, "content", 8);
    const HANDLE hSecond = Create(name, 100000);
    EXPECT_EQ(DWORD{ERROR_ALREADY_EXISTS}, GetLastError());
    const OpenSection second(hSecond, FILE_MAP_WRITE);
    ASSERT_NE(nullptr, second.pView);
    EXPECT_STREQ("content", second.pText);
    EXPECT_LT(VOViewSize(second.pView), size_t{100000});
}

TEST(Sections, ShowEveryReaderWhatIsWritten)
{
    const SectionName name("shared");
    const OpenSection writer(Create(name, 4096), FILE_MAP_WRITE);
    const OpenSection reader(OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()), FILE_MAP_READ);
    const OpenSection counter(OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.Get()), FILE_MAP_WRITE);
    ASSERT_TRUE(writer.pView != nullptr && reader.pView != nullptr && counter.pView != nullptr);
    memcpy(writer.pText + 100, "from the writer", 16);
    EXPECT_STREQ("from the writer", reader.pText + 100);
    memcpy(counter.pText + 200, "from the counter", 17);
    EXPECT_STREQ("from the counter", reader.pText + 200);
    EXPECT_STREQ("from the counter", writer.pText + 200);
}

TEST(Sections, StayWholeThroughAViewWhoseHandleIsClosed)
{
    const SectionName name("view");
    const HANDLE hSection = Create(name, 4096);
    char* const pView = static_cast<char*>(MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(nullptr, pView);
    memcpy(pView, "still here", 11);
    EXPECT_TRUE(CloseHandle(hSection));
    EXPECT_STREQ("still here", pView);
    memcpy(pView + 100, "and writable", 13);
    EXPECT_STREQ("and writable", pView + 100);
    EXPECT_GE(VOViewSize(pView), size_t{4096});
    EXPECT_TRUE(UnmapViewOfFile(pView));
    EXPECT_EQ(0u, VOViewSize(pView));
}

TEST(Sections, CanBeMappedSeveralTimesThroughOneHandle)
{
    const SectionName name("maps");
    const HANDLE hSection = Create(name, 4096);
    void* const pFirst = MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0);
    void* const pSecond = MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0);
    ASSERT_TRUE(pFirst != nullptr && pSecond != nullptr);
    EXPECT_TRUE(UnmapViewOfFile(pFirst));
    memcpy(pSecond, "usable", 7);
    EXPECT_STREQ("usable", static_cast<const char*>(pSecond));
    EXPECT_TRUE(UnmapViewOfFile(pSecond));
    EXPECT_TRUE(CloseHandle(hSection));
}

TEST(Sections, OpenedToReadAreNotMappedToWrite)
{
    const SectionName name("rights");
    const OpenSection writer(Create(name, 4096), FILE_MAP_WRITE);
    const HANDLE hReader = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    ASSERT_NE(nullptr, hReader);
    EXPECT_EQ(nullptr, MapViewOfFile(hReader, FILE_MAP_WRITE, 0, 0, 0));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    EXPECT_TRUE(CloseHandle(hReader));
}

TEST(Sections, TellHowFarTheyMayBeTouched)
{
    const SectionName name("size");
    const OpenSection section(Create(name, 10000), FILE_MAP_WRITE);
    ASSERT_NE(nullptr, section.pView);
    // Exact, or up to the end of the last page.
    EXPECT_GE(VOViewSize(section.pView), size_t{10000});
    EXPECT_LE(VOViewSize(section.pView), size_t{12288});
    MEMORY_BASIC_INFORMATION info;
    ASSERT_NE(size_t{0}, VirtualQuery(section.pText + 5000, &info, sizeof(info)));
    EXPECT_EQ(section.pText + 4096, info.BaseAddress);
    EXPECT_EQ(section.pView, info.AllocationBase);
    EXPECT_EQ(VOViewSize(section.pView) - 4096, info.RegionSize);
    EXPECT_EQ(DWORD{MEM_COMMIT}, info.State);
    EXPECT_EQ(DWORD{PAGE_READWRITE}, info.Protect);
    EXPECT_EQ(DWORD{MEM_MAPPED}, info.Type);
}

TEST(Sections, MappedToReadSayThatTheyCannotBeWritten)
{
    const SectionName name("protect");
    const OpenSection writer(Create(name, 4096), FILE_MAP_WRITE);
    const OpenSection reader(OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()), FILE_MAP_READ);
    MEMORY_BASIC_INFORMATION info;
    ASSERT_NE(size_t{0}, VirtualQuery(reader.pView, &info, sizeof(info)));
    EXPECT_EQ(DWORD{PAGE_READONLY}, info.Protect);
}

TEST(Sections, HaveNoSizeWhereThereIsNoView)
{
    int nLocal = 0;
    EXPECT_EQ(0u, VOViewSize(&nLocal));
    EXPECT_EQ(0u, VOViewSize(nullptr));
    const SectionName name("inner");
    const OpenSection section(Create(name, 10000), FILE_MAP_WRITE);
    EXPECT_EQ(0u, VOViewSize(section.pText + 4096));
}

TEST(Sections, OfNoSizeAreNotMade)
{
    const SectionName name("nothing");
    EXPECT_EQ(nullptr, Create(name, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_PARAMETER}, GetLastError());
}

TEST(Sections, AreMappedThroughOpenHandlesOnly)
{
    const SectionName name("closed");
    const HANDLE hSection = Create(name, 4096);
    ASSERT_TRUE(CloseHandle(hSection));
    EXPECT_EQ(nullptr, MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    EXPECT_EQ(nullptr, MapViewOfFile(nullptr, FILE_MAP_READ, 0, 0, 0));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST(Sections, AreUnmappedOnlyWhereTheyAreMapped)
{
    int nLocal = 0;
    EXPECT_FALSE(UnmapViewOfFile(&nLocal));
    EXPECT_EQ(DWORD{ERROR_INVALID_ADDRESS}, GetLastError());
    EXPECT_FALSE(UnmapViewOfFile(nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_ADDRESS}, GetLastError());
}

TEST(Handles, AreClosedOnce)
{
    const SectionName name("handle");
    const HANDLE hSection = Create(name, 4096);
    EXPECT_TRUE(CloseHandle(hSection));
    EXPECT_FALSE(CloseHandle(hSection));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    EXPECT_FALSE(CloseHandle(nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST(Handles, ThatArePseudoHandlesCanBeClosedAnyNumberOfTimes)
{
    EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE));
    EXPECT_TRUE(CloseHandle(INVALID_HANDLE_VALUE));
}

TEST(LastError, BelongsToItsThread)
{
    // The threads take turns without a call of the system between, which could leave a value of its own.
    std::atomic<int> nTurn{0};
    DWORD uOther = 0;
    std::thread thread(
        [&]
        {
            while (nTurn.load() != 1)
            {
            }
            SetLastError(ERROR_ACCESS_DENIED);
            uOther = GetLastError();
            nTurn.store(2);
        });
    SetLastError(ERROR_DISK_FULL);
    nTurn.store(1);
    while (nTurn.load() != 2)
    {
    }
    const DWORD uOwn = GetLastError();
    thread.join();
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, uOther);
    EXPECT_EQ(DWORD{ERROR_DISK_FULL}, uOwn);
}

TEST(SectionThreads, OpenAndCloseTogether)
{
    const SectionName name("threads");
    const OpenSection writer(Create(name, 4096), FILE_MAP_WRITE);
    ASSERT_NE(nullptr, writer.pView);
    memcpy(writer.pView, "constant", 9);
    std::atomic<unsigned> uRead{0};
    std::vector<std::thread> vecThreads;
    for (unsigned uThread = 0; uThread < 4; ++uThread)
    {
        vecThreads.emplace_back(
            [&, uThread]
            {
                const DWORD uAccess = uThread % 2 == 0 ? FILE_MAP_READ : FILE_MAP_WRITE;
                for (unsigned uRound = 0; uRound < 300; ++uRound)
                {
                    const OpenSection reader(OpenFileMappingW(uAccess, FALSE, name.Get()), uAccess);
                    const bool bSound = reader.pView != nullptr && VOViewSize(reader.pView) >= 4096 &&
                                        memcmp(reader.pView, "constant", 9) == 0;
                    uRead += bSound ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(1200u, uRead.load());
}

TEST(SectionThreads, MakeOneSectionTogether)
{
    for (unsigned uRound = 0; uRound < 20; ++uRound)
    {
        const SectionName name("race" + std::to_string(uRound));
        std::atomic<unsigned> uNew{0};
        std::atomic<unsigned> uOpened{0};
        std::vector<HANDLE> vecHandles(4);
        std::vector<std::thread> vecThreads;
        for (HANDLE& hSection : vecHandles)
        {
            vecThreads.emplace_back(
                [&]
                {
                    hSection = Create(name, 4096);
                    uNew += GetLastError() == ERROR_SUCCESS ? 1 : 0;
                    uOpened += hSection != nullptr ? 1 : 0;
                });
        }
        for (std::thread& thread : vecThreads)
        {
            thread.join();
        }
        EXPECT_EQ(1u, uNew.load());
        EXPECT_EQ(4u, uOpened.load());
        for (const HANDLE hSection : vecHandles)
        {
            CloseHandle(hSection);
        }
    }
}

TEST(SectionProcesses, ShareTheMemory)
{
    const SectionName name("counter");
    const OpenSection section(Create(name, 132), FILE_MAP_WRITE);
    ASSERT_NE(nullptr, section.pView);
    ChildProcess first("count", name.Ascii());
    ChildProcess second("count", name.Ascii());
    ASSERT_EQ("ready", first.ReadLine());
    ASSERT_EQ("ready", second.ReadLine());
    for (uint32_t uStep = 1; uStep <= 20; ++uStep)
    {
        ChildProcess& child = uStep % 2 == 0 ? first : second;
        child.WriteLine("count");
        ASSERT_EQ("counted", child.ReadLine());
        uint32_t uCount = 0;
        memcpy(&uCount, section.pView, sizeof(uCount));
        ASSERT_EQ(uStep, uCount);
    }
}

TEST(SectionProcesses, SeeWhatAnotherOneMade)
{
    const SectionName name("other");
    ChildProcess publisher("publish", name.Ascii());
    ASSERT_EQ("published", publisher.ReadLine());
    ChildProcess reader("read", name.Ascii());
    EXPECT_EQ("left by a child", reader.ReadLine());
    const OpenSection section(OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()), FILE_MAP_READ);
    ASSERT_NE(nullptr, section.pView);
    EXPECT_STREQ("left by a child", section.pText);
}

TEST(SectionProcesses, KeepReadingWhenThePublisherDies)
{
    const SectionName name("orphan");
    ChildProcess publisher("publish", name.Ascii());
    ASSERT_EQ("published", publisher.ReadLine());
    const OpenSection section(OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()), FILE_MAP_READ);
    ASSERT_NE(nullptr, section.pView);
    publisher.Kill();
    EXPECT_STREQ("left by a child", section.pText);
}

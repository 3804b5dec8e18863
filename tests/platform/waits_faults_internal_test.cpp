// The calls of threads, waits and directory changes fail, each in its turn.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/vo_directories.h"
#include "support/fault_points.h"
#include "tests/platform/change_reader.h"

namespace fs = std::filesystem;

namespace
{
DWORD WINAPI Nothing(void* /*pParameter*/)
{
    return 0;
}

// Makes one call fail for as long as the object lives; nothing to fail where the system makes the calls.
class Failing
{
public:
    explicit Failing(const char* pszName, unsigned uNth = 1, bool bPersistent = false)
    {
        VOFaultArm(pszName, uNth, bPersistent);
    }
    ~Failing() { VOFaultDisarm(); }
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;
};

// What the process has open, and its threads; 0 where the system makes the calls.
size_t CountEntries(const char* pszFolder)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        return 0;
    }
    return static_cast<size_t>(std::distance(fs::directory_iterator(pszFolder), fs::directory_iterator()));
}

class FaultFolder : public votest::TemporaryFolder
{
public:
    size_t CountUnwatched() const
    {
        size_t uCount = 999;
        VOSystemError error;
        EXPECT_TRUE(VOCountUnwatchedDirectories(Text(), &uCount, &error));
        return uCount;
    }
};
}  // namespace

TEST(FailingWaits, GiveTheirFailureValues)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the calls are the system's own";
    }
    {
        const Failing failing("CreateThread");
        EXPECT_EQ(nullptr, CreateThread(nullptr, 0, Nothing, nullptr, 0, nullptr));
        EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, GetLastError());
    }
    {
        const Failing failing("CreateEventW");
        EXPECT_EQ(nullptr, CreateEventW(nullptr, FALSE, FALSE, nullptr));
        EXPECT_EQ(DWORD{ERROR_NOT_ENOUGH_MEMORY}, GetLastError());
    }
    const HANDLE hThread = CreateThread(nullptr, 0, Nothing, nullptr, CREATE_SUSPENDED, nullptr);
    ASSERT_NE(nullptr, hThread);
    {
        const Failing failing("SuspendThread");
        EXPECT_EQ(static_cast<DWORD>(-1), SuspendThread(hThread));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    }
    {
        const Failing failing("WaitForSingleObject");
        EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(hThread, INFINITE));
        EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    }
    EXPECT_EQ(1u, ResumeThread(hThread));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hThread, INFINITE));
    EXPECT_TRUE(CloseHandle(hThread));
}

TEST(FailingDirectoryChanges, BeginWholeOrNotAtAllAndCanBeTriedAgain)
{
    FaultFolder folder;
    const size_t uDescriptors = CountEntries("/proc/self/fd");
    const size_t uThreads = CountEntries("/proc/self/task");
    {
        const Failing failing("CreateFileW");
        ChangeReader reader(folder.Text());
        EXPECT_EQ(!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, reader.IsOpen());
    }
    for (const char* pszName :
         {"ReadDirectoryChangesW", "inotify.open", "watcher.wake", "watcher.thread", "directory.open"})
    {
        SCOPED_TRACE(pszName);
        ChangeReader reader(folder.Text());
        {
            const Failing failing(pszName);
            EXPECT_EQ(!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, reader.Begin());
            if (VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
            {
                const DWORD uError = GetLastError();
                EXPECT_TRUE(uError == ERROR_NOT_ENOUGH_MEMORY || uError == ERROR_TOO_MANY_OPEN_FILES) << uError;
                EXPECT_EQ(uDescriptors, CountEntries("/proc/self/fd"));
                EXPECT_EQ(uThreads, CountEntries("/proc/self/task"));
                EXPECT_TRUE(reader.Begin());
            }
        }
        fs::create_directory(folder.Path() / pszName);
        EXPECT_TRUE(reader.ReadUntil(std::string("+ ") + pszName));
    }
}

TEST(FailingDirectoryChanges, TellOnceThatTheLimitOfWatchesIsReachedAndGoOnWithTheRest)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system watches a tree as a whole";
    }
    FaultFolder folder;
    fs::create_directories(folder.Path() / "a" / "b" / "c");
    ChangeReader reader(folder.Text());
    {
        const Failing failing("inotify.watch", 3, true);
        EXPECT_FALSE(reader.Begin());
        EXPECT_EQ(DWORD{ERROR_NO_SYSTEM_RESOURCES}, GetLastError());
        EXPECT_TRUE(reader.Begin());
    }
    EXPECT_EQ(2u, folder.CountUnwatched());
    fs::create_directory(folder.Path() / "a" / "d");
    EXPECT_TRUE(reader.ReadUntil("+ a\\d"));
    EXPECT_FALSE(reader.IsLost());
}

TEST(FailingDirectoryChanges, EndAReadWithoutRecordsWhenALaterDirectoryMeetsTheLimit)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system watches a tree as a whole";
    }
    FaultFolder folder;
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    {
        const Failing failing("inotify.watch", 1, true);
        const FaultFolder elsewhere;
        fs::create_directories(elsewhere.Path() / "a" / "gone");
        fs::rename(elsewhere.Path() / "a", folder.Path() / "a");
        while (!reader.IsLost())
        {
            ASSERT_TRUE(reader.End());
            ASSERT_TRUE(reader.Begin());
        }
        EXPECT_EQ(2u, folder.CountUnwatched());
        fs::remove(folder.Path() / "a" / "gone");
    }
    // It is watched as soon as there is room again, which another read without records tells.
    reader.Clear();
    while (!reader.IsLost())
    {
        ASSERT_TRUE(reader.End());
        ASSERT_TRUE(reader.Begin());
    }
    EXPECT_EQ(0u, folder.CountUnwatched());
    fs::create_directory(folder.Path() / "a" / "b");
    EXPECT_TRUE(reader.ReadUntil("+ a\\b"));
    // What went unseen is news when it comes again.
    fs::create_directory(folder.Path() / "a" / "gone");
    EXPECT_TRUE(reader.ReadUntil("+ a\\gone"));
}

TEST(FailingDirectoryChanges, EndAReadWithoutRecordsWhenTheQueueOfTheSystemRanOver)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the calls are the system's own";
    }
    FaultFolder folder;
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    {
        const Failing failing("inotify.overflow");
        fs::create_directories(folder.Path() / "a" / "b");
        ASSERT_TRUE(reader.End());
    }
    EXPECT_TRUE(reader.IsLost());
    EXPECT_TRUE(reader.Changes().empty());
    // What was lost isn't told later, and everything is watched again.
    reader.Clear();
    fs::create_directory(folder.Path() / "a" / "b" / "c");
    EXPECT_TRUE(reader.ReadUntil("+ a\\b\\c"));
    EXPECT_EQ(0u, reader.Count("+ a"));
    EXPECT_EQ(0u, folder.CountUnwatched());
}

TEST(FailingDirectoryKind, SaysWhy)
{
    FaultFolder folder;
    VODirectoryKind eKind = VODirectoryKind::Local;
    VOSystemError error;
    const Failing failing("statfs");
    EXPECT_EQ(!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, VODirectoryKindOf(folder.Text(), &eKind, &error));
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, error.nError != 0);
}

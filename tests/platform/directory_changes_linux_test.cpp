// Directory changes from inotify: what depends on the whole tree being watched, on how the system orders its notices,
// and on what only this system has. (The emulator under which the Windows programs are tested tells of subdirectories
// and of renamed directories in part only.)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <random>
#include <set>
#include <thread>

#include "platform/posix/files.h"
#include "platform/vo_directories.h"
#include "platform/vo_text.h"
#include "tests/platform/change_mirror.h"
#include "tests/platform/change_reader.h"

namespace fs = std::filesystem;

namespace
{
typedef std::vector<std::string> Changes;

// A folder with a reader that has begun, and a mark that shows when everything before it has been told.
class Watched
{
public:
    explicit Watched(const std::function<void(const fs::path&)>& fnBefore = nullptr, DWORD uFilter = ChangeReader::ALL)
    {
        fs::create_directory(m_folder.Path() / "root");
        if (fnBefore)
        {
            fnBefore(Root());
        }
        m_pReader = std::make_unique<ChangeReader>(m_folder.Text() + Wide("/root"), 260000, uFilter);
        EXPECT_TRUE(m_pReader->Begin());
    }

    fs::path Root() const { return m_folder.Path() / "root"; }
    fs::path Outside() const { return m_folder.Path(); }
    ChangeReader& Reader() { return *m_pReader; }
    VOWString RootText() const { return m_folder.Text() + Wide("/root"); }

    // Everything that has been told so far, without the mark's own.
    Changes Settle()
    {
        const std::string strMark = "mark" + std::to_string(++m_uMarks);
        fs::create_directory(Root() / strMark);
        EXPECT_TRUE(m_pReader->ReadUntil("+ " + strMark));
        Changes changes;
        for (const std::string& strChange : m_pReader->Changes())
        {
            if (strChange.find("mark") == std::string::npos)
            {
                changes.push_back(strChange);
            }
        }
        m_pReader->Clear();
        return changes;
    }

private:
    TemporaryFolder m_folder;
    std::unique_ptr<ChangeReader> m_pReader;
    unsigned m_uMarks = 0;
};

void Write(const fs::path& path, const std::string& strText = "text")
{
    std::ofstream(path) << strText;
}

size_t CountThreads()
{
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
}
}  // namespace

TEST(DirectoryTree, IsWatchedWhollyFromTheFirstReadOn)
{
    Watched watched([](const fs::path& root) { fs::create_directories(root / "a" / "b" / "c"); });
    Write(watched.Root() / "a" / "b" / "c" / "file");
    EXPECT_EQ((Changes{"+ a\\b\\c\\file", "* a\\b\\c\\file"}), watched.Settle());
}

TEST(DirectoryTree, TellsEachThingOnceOfADirectoryThatIsMadeAndFilledAtOnce)
{
    Watched watched;
    for (int nRound = 0; nRound < 30; ++nRound)
    {
        const std::string strName = "d" + std::to_string(nRound);
        fs::create_directories(watched.Root() / strName / "x" / "y");
        for (int nFile = 0; nFile < 20; ++nFile)
        {
            Write(watched.Root() / strName / "x" / "y" / std::to_string(nFile));
        }
        Mirror mirror;
        Changes added;
        for (const std::string& strChange : watched.Settle())
        {
            EXPECT_TRUE(strChange[0] == '+' || strChange[0] == '*') << strChange;
            mirror.Apply(strChange);
        }
        EXPECT_EQ(0u, mirror.Wrong());
        EXPECT_EQ(23u, mirror.Paths().size());
    }
}

TEST(DirectoryTree, AddsWhatATreeThatIsMovedInHolds)
{
    Watched watched;
    fs::create_directories(watched.Outside() / "in" / "sub");
    Write(watched.Outside() / "in" / "sub" / "file");
    fs::rename(watched.Outside() / "in", watched.Root() / "in");
    EXPECT_EQ((Changes{"+ in", "+ in\\sub", "+ in\\sub\\file"}), watched.Settle());
    Write(watched.Root() / "in" / "sub" / "file");
    EXPECT_EQ((Changes{"* in\\sub\\file"}), watched.Settle());
}

TEST(DirectoryTree, ForgetsATreeThatIsMovedOut)
{
    Watched watched([](const fs::path& root) { fs::create_directories(root / "out" / "sub"); });
    fs::rename(watched.Root() / "out", watched.Outside() / "out");
    EXPECT_EQ((Changes{"- out"}), watched.Settle());
    Write(watched.Outside() / "out" / "sub" / "file");
    EXPECT_EQ(Changes(), watched.Settle());
}

TEST(DirectoryTree, TellsARenameAcrossDirectoriesAsARemovalAndAnAddition)
{
    Watched watched(
        [](const fs::path& root)
        {
            fs::create_directories(root / "a");
            fs::create_directories(root / "b");
            Write(root / "a" / "file");
        });
    fs::rename(watched.Root() / "a" / "file", watched.Root() / "b" / "other");
    EXPECT_EQ((Changes{"- a\\file", "+ b\\other"}), watched.Settle());
}

TEST(DirectoryTree, TellsInRecordsThatAreAligned)
{
    Watched watched;
    fs::create_directories(watched.Outside() / "in" / "b");
    fs::create_directories(watched.Outside() / "in" / "cc");
    fs::rename(watched.Outside() / "in", watched.Root() / "in");
    EXPECT_EQ(3u, watched.Settle().size());
    EXPECT_TRUE(watched.Reader().IsAligned());
}

TEST(DirectoryTree, FollowsADirectoryThatIsMovedToAnotherOne)
{
    Watched watched(
        [](const fs::path& root)
        {
            fs::create_directories(root / "a" / "dir" / "deep");
            fs::create_directories(root / "b");
            Write(root / "a" / "dir" / "deep" / "file");
        });
    fs::rename(watched.Root() / "a" / "dir", watched.Root() / "b" / "dir");
    EXPECT_EQ((Changes{"- a\\dir", "+ b\\dir", "+ b\\dir\\deep", "+ b\\dir\\deep\\file"}), watched.Settle());
    Write(watched.Root() / "b" / "dir" / "deep" / "file");
    EXPECT_EQ((Changes{"* b\\dir\\deep\\file"}), watched.Settle());
}

TEST(DirectoryTree, TellsARenameOntoAnExistingNameAsItsRemovalAndThePair)
{
    Watched watched(
        [](const fs::path& root)
        {
            Write(root / "target");
            Write(root / "temporary");
        });
    fs::rename(watched.Root() / "temporary", watched.Root() / "target");
    EXPECT_EQ((Changes{"- target", "< temporary", "> target"}), watched.Settle());
}

TEST(DirectoryTree, TellsAMoveFromOutsideOntoAnExistingNameAsARemovalAndAnAddition)
{
    Watched watched([](const fs::path& root) { Write(root / "target"); });
    Write(watched.Outside() / "temporary");
    fs::rename(watched.Outside() / "temporary", watched.Root() / "target");
    EXPECT_EQ((Changes{"- target", "+ target"}), watched.Settle());
}

TEST(DirectoryTree, GivesLaterEventsOfARenamedDirectoryItsNewPath)
{
    Watched watched([](const fs::path& root) { fs::create_directories(root / "old" / "sub"); });
    fs::rename(watched.Root() / "old", watched.Root() / "new");
    Write(watched.Root() / "new" / "sub" / "file");
    EXPECT_EQ((Changes{"< old", "> new", "+ new\\sub\\file", "* new\\sub\\file"}), watched.Settle());
}

TEST(DirectoryTree, TellsOfEverythingThatIsRemovedWithADirectory)
{
    Watched watched(
        [](const fs::path& root)
        {
            fs::create_directories(root / "a" / "b");
            Write(root / "a" / "b" / "file");
        });
    fs::remove_all(watched.Root() / "a");
    EXPECT_EQ((Changes{"- a\\b\\file", "- a\\b", "- a"}), watched.Settle());
}

TEST(DirectoryTree, CountsAFileAsModifiedWhenItsWriterCloses)
{
    Watched watched([](const fs::path& root) { Write(root / "file"); });
    {
        std::ofstream file(watched.Root() / "file");
        file << "written" << std::flush;
        EXPECT_EQ(Changes(), watched.Settle());
    }
    EXPECT_EQ((Changes{"* file"}), watched.Settle());
}

TEST(DirectoryTree, CountsAFileAsModifiedWhenItsTimesAreSet)
{
    Watched watched([](const fs::path& root) { Write(root / "file"); });
    fs::last_write_time(watched.Root() / "file", fs::file_time_type::clock::now() - std::chrono::hours(5));
    EXPECT_EQ((Changes{"* file"}), watched.Settle());
    const timespec aTimes[2] = {{1000, 0}, {2000, 0}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, (watched.Root() / "file").c_str(), aTimes, 0));
    EXPECT_EQ((Changes{"* file"}), watched.Settle());
}

TEST(DirectoryTree, CountsAFileAsModifiedThatIsCutWithoutBeingOpened)
{
    Watched watched([](const fs::path& root) { Write(root / "file"); });
    fs::resize_file(watched.Root() / "file", 1);
    EXPECT_TRUE(watched.Reader().ReadUntil("* file"));
}

TEST(DirectoryTree, DoesNotTellOfAChangeOfModeAlone)
{
    Watched watched(
        [](const fs::path& root)
        {
            Write(root / "file");
            fs::last_write_time(root / "file", fs::file_time_type::clock::now() - std::chrono::hours(5));
            Write(root / "fresh");
        });
    fs::permissions(watched.Root() / "file", fs::perms::owner_read);
    fs::permissions(watched.Root() / "fresh", fs::perms::owner_read);
    EXPECT_EQ(Changes(), watched.Settle());
}

TEST(DirectoryTree, DoesNotTellOfModifiedDirectories)
{
    Watched watched([](const fs::path& root) { fs::create_directories(root / "dir"); });
    fs::last_write_time(watched.Root() / "dir", fs::file_time_type::clock::now() - std::chrono::hours(5));
    fs::permissions(watched.Root() / "dir", fs::perms::owner_all);
    EXPECT_EQ(Changes(), watched.Settle());
}

TEST(DirectoryTree, TellsOfLinksAndDoesNotFollowThem)
{
    Watched watched;
    fs::create_directories(watched.Outside() / "elsewhere");
    fs::create_directory_symlink(watched.Outside() / "elsewhere", watched.Root() / "link");
    EXPECT_EQ((Changes{"+ link"}), watched.Settle());
    Write(watched.Outside() / "elsewhere" / "file");
    EXPECT_EQ(Changes(), watched.Settle());
    fs::remove(watched.Root() / "link");
    EXPECT_EQ((Changes{"- link"}), watched.Settle());
}

TEST(DirectoryTree, CarriesNamesThatAreNotUtf8)
{
    Watched watched;
    Write(watched.Root() / "a\xFF\\b");
    ASSERT_TRUE(watched.Reader().ReadUntil("+ a??b"));
    EXPECT_EQ(VOFromNative("a\xFF\\b"), watched.Reader().Names().front());
    EXPECT_EQ("a\xFF\\b", VOToNativePath(watched.Reader().Names().front()));
}

TEST(DirectoryTree, ReachesPathsThatAreLongerThanTheSystemTakes)
{
    const std::string strLong(200, 'n');
    Watched watched;
    std::string strRecord;
    // From directory to directory: the whole path can't be named.
    int nFolder = open(watched.Root().c_str(), O_RDONLY | O_DIRECTORY);
    for (int nDepth = 0; nDepth < 25; ++nDepth)
    {
        ASSERT_EQ(0, mkdirat(nFolder, strLong.c_str(), 0700));
        const int nNext = openat(nFolder, strLong.c_str(), O_RDONLY | O_DIRECTORY);
        close(nFolder);
        nFolder = nNext;
        strRecord += strLong + "\\";
        ASSERT_TRUE(watched.Reader().ReadUntil("+ " + strRecord.substr(0, strRecord.size() - 1)));
    }
    close(openat(nFolder, "file", O_CREAT | O_WRONLY, 0600));
    EXPECT_TRUE(watched.Reader().ReadUntil("+ " + strRecord + "file"));
    EXPECT_TRUE(watched.Reader().ReadUntil("* " + strRecord + "file"));
    close(nFolder);
    watched.Settle();
}

TEST(DirectoryTree, TellsOfWhatTheFilterAsksFor)
{
    const auto fnMake = [](const fs::path& root) { fs::create_directory(root / "dir"); };
    const auto fnDo = [](const fs::path& root)
    {
        fs::create_directory(root / "new");
        Write(root / "dir" / "file");
        fs::rename(root / "dir" / "file", root / "dir" / "moved");
    };
    Watched files(fnMake, FILE_NOTIFY_CHANGE_FILE_NAME);
    fnDo(files.Root());
    ASSERT_TRUE(files.Reader().ReadUntil("> dir\\moved"));
    EXPECT_EQ((Changes{"+ dir\\file", "< dir\\file", "> dir\\moved"}), files.Reader().Changes());
    Watched folders(fnMake, FILE_NOTIFY_CHANGE_DIR_NAME);
    fnDo(folders.Root());
    EXPECT_EQ((Changes{"+ new"}), folders.Settle());
    Watched writes(fnMake, FILE_NOTIFY_CHANGE_LAST_WRITE);
    fs::create_directory(writes.Root() / "other");
    Write(writes.Root() / "dir" / "file");
    ASSERT_TRUE(writes.Reader().ReadUntil("* dir\\file"));
    EXPECT_EQ((Changes{"* dir\\file"}), writes.Reader().Changes());
}

TEST(DirectoryTree, EndsAReadWithoutRecordsWhenTheyDoNotFit)
{
    TemporaryFolder folder;
    ChangeReader reader(folder.Text(), 64);
    ASSERT_TRUE(reader.Begin());
    folder.WriteFile("a name that is much too long for the buffer of this reader", 1);
    ASSERT_TRUE(reader.End());
    EXPECT_TRUE(reader.IsLost());
    EXPECT_EQ(Changes(), reader.Changes());
    // Short ones are told again.
    reader.Clear();
    for (bool bTold = false; !bTold;)
    {
        ASSERT_TRUE(reader.Begin());
        fs::remove(folder.Path() / "b");
        folder.WriteFile("b", 1);
        ASSERT_TRUE(reader.End());
        bTold = reader.Has("+ b") || reader.Has("* b") || reader.Has("- b");
    }
}

TEST(DirectoryTree, LosesWhatIsMoreThanTheKeptBytes)
{
    TemporaryFolder folder;
    ChangeReader reader(folder.Text(), 1000);
    ASSERT_TRUE(reader.Begin());
    folder.WriteFile("first", 1);
    ASSERT_TRUE(reader.End());
    for (int nFile = 0; nFile < 200; ++nFile)
    {
        folder.WriteFile("file" + std::to_string(nFile), 1);
    }
    while (!reader.IsLost())
    {
        ASSERT_TRUE(reader.Begin());
        ASSERT_TRUE(reader.End());
    }
}

TEST(DirectoryTree, EndsItsReadsWithAnErrorWhenTheRootIsDeleted)
{
    Watched watched([](const fs::path& root) { Write(root / "file"); });
    fs::remove_all(watched.Root());
    ASSERT_TRUE(watched.Reader().ReadUntil("- file"));
    const bool bBegan = watched.Reader().Begin();
    if (bBegan)
    {
        EXPECT_FALSE(watched.Reader().End());
        EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    }
    EXPECT_FALSE(watched.Reader().Begin());
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
}

TEST(DirectoryTree, DoesNotBeginWhereTheRootWasDeletedOrReplaced)
{
    TemporaryFolder folder;
    fs::create_directory(folder.Path() / "root");
    ChangeReader reader(folder.Text() + Wide("/root"));
    fs::rename(folder.Path() / "root", folder.Path() / "old");
    EXPECT_FALSE(reader.Begin());
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
    fs::create_directory(folder.Path() / "root");
    EXPECT_FALSE(reader.Begin());
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, GetLastError());
}

TEST(DirectoryTree, TakesTwoDescriptorsAndOneThreadUntilItIsClosed)
{
    TemporaryFolder folder;
    const size_t uThreads = CountThreads();
    const size_t uDescriptors = CountDescriptors();
    {
        ChangeReader reader(folder.Text());
        EXPECT_EQ(uThreads, CountThreads());
        EXPECT_EQ(uDescriptors, CountDescriptors());
        ASSERT_TRUE(reader.Begin());
        EXPECT_EQ(uThreads + 1, CountThreads());
        EXPECT_EQ(uDescriptors + 2, CountDescriptors());
    }
    EXPECT_EQ(uThreads, CountThreads());
    EXPECT_EQ(uDescriptors, CountDescriptors());
}

TEST(DirectoryTree, DoesNotTouchABufferThatWasGivenUpWithItsReadUnderWay)
{
    TemporaryFolder folder;
    const HANDLE hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE hDirectory = CreateFileW(folder.Text().c_str(), GENERIC_READ, 7, nullptr, OPEN_EXISTING,
                                          FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    {
        const auto pBuffer = std::make_unique<DWORD[]>(1000);
        const auto pOverlapped = std::make_unique<OVERLAPPED>();
        pOverlapped->hEvent = hEvent;
        ASSERT_TRUE(ReadDirectoryChangesW(hDirectory, pBuffer.get(), 4000, TRUE, ChangeReader::ALL, nullptr,
                                          pOverlapped.get(), nullptr));
        folder.WriteFile("file", 1);
    }
    // A sanitizer sees it if the layer writes there, now or when the handle is closed.
    folder.WriteFile("other", 1);
    EXPECT_TRUE(CloseHandle(hDirectory));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(hEvent, ChangeReader::LONG_TIME));
    EXPECT_TRUE(CloseHandle(hEvent));
}

TEST(DirectoryTree, GivesEachChangeToOneOfSeveralReads)
{
    TemporaryFolder folder;
    const HANDLE hDirectory = CreateFileW(folder.Text().c_str(), GENERIC_READ, 7, nullptr, OPEN_EXISTING,
                                          FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    OVERLAPPED aOverlapped[2] = {};
    std::vector<DWORD> aBuffer[2] = {std::vector<DWORD>(1000), std::vector<DWORD>(1000)};
    for (int nRead = 0; nRead < 2; ++nRead)
    {
        aOverlapped[nRead].hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
        ASSERT_TRUE(ReadDirectoryChangesW(hDirectory, aBuffer[nRead].data(), 4000, TRUE, ChangeReader::ALL, nullptr,
                                          &aOverlapped[nRead], nullptr));
    }
    DWORD uBytes = 0;
    fs::create_directory(folder.Path() / "a");
    EXPECT_TRUE(GetOverlappedResult(hDirectory, &aOverlapped[0], &uBytes, TRUE));
    EXPECT_EQ(14u, uBytes);
    EXPECT_FALSE(GetOverlappedResult(hDirectory, &aOverlapped[1], &uBytes, FALSE));
    fs::create_directory(folder.Path() / "bb");
    EXPECT_TRUE(GetOverlappedResult(hDirectory, &aOverlapped[1], &uBytes, TRUE));
    EXPECT_EQ(16u, uBytes);
    EXPECT_TRUE(CloseHandle(hDirectory));
    EXPECT_TRUE(CloseHandle(aOverlapped[0].hEvent));
    EXPECT_TRUE(CloseHandle(aOverlapped[1].hEvent));
}

TEST(UnwatchedDirectories, AreAllBeforeTheFirstRead)
{
    TemporaryFolder folder;
    fs::create_directories(folder.Path() / "a" / "b");
    size_t uCount = 0;
    VOSystemError error;
    EXPECT_TRUE(VOCountUnwatchedDirectories(folder.Text(), &uCount, &error));
    EXPECT_EQ(3u, uCount);
}

TEST(DirectoryKind, IsToldByTheFileSystem)
{
    EXPECT_EQ(VODirectoryKind::Remote, KindOfFileSystem(0x6969));
    EXPECT_EQ(VODirectoryKind::Remote, KindOfFileSystem(0xFF534D42));
    EXPECT_EQ(VODirectoryKind::Remote, KindOfFileSystem(0xFE534D42));
    EXPECT_EQ(VODirectoryKind::Remote, KindOfFileSystem(0x65735546));
    EXPECT_EQ(VODirectoryKind::Remote, KindOfFileSystem(0x01021997));
    EXPECT_EQ(VODirectoryKind::Local, KindOfFileSystem(0xEF53));
    EXPECT_EQ(VODirectoryKind::Local, KindOfFileSystem(0x794C7630));
}

TEST(DirectoryTree, AgreesWithTheDiskAfterSeveralWritersAtOnce)
{
    unsigned uCompared = 0;
    for (unsigned uRound = 0; uRound < 20 && uCompared < 3; ++uRound)
    {
        Watched watched;
        Mirror mirror;
        std::atomic<int> nRunning{3};
        std::vector<std::thread> vecWriters;
        for (unsigned uWriter = 0; uWriter < 3; ++uWriter)
        {
            vecWriters.emplace_back(
                [&, uWriter]
                {
                    std::minstd_rand random(uRound * 10 + uWriter + 1);
                    const auto fnPath = [&]
                    {
                        fs::path path = watched.Root();
                        const unsigned uDepth = 1 + random() % 3;
                        for (unsigned uPart = 0; uPart < uDepth; ++uPart)
                        {
                            path /= std::string(1, static_cast<char>('a' + random() % 4));
                        }
                        return path;
                    };
                    std::error_code error;
                    for (int nStep = 0; nStep < 1500; ++nStep)
                    {
                        switch (random() % 5)
                        {
                            case 0:
                                fs::create_directory(fnPath(), error);
                                break;
                            case 1:
                                Write(fnPath());
                                break;
                            case 2:
                                fs::rename(fnPath(), fnPath(), error);
                                break;
                            case 3:
                                fs::remove(fnPath(), error);
                                break;
                            default:
                                if (random() % 8 == 0)
                                {
                                    fs::remove_all(fnPath(), error);
                                }
                                break;
                        }
                    }
                    --nRunning;
                });
        }
        while (nRunning > 0)
        {
            if (watched.Reader().End(10))
            {
                ASSERT_TRUE(watched.Reader().Begin());
            }
        }
        for (std::thread& writer : vecWriters)
        {
            writer.join();
        }
        // A mark that is lost is followed by another one.
        for (unsigned uMark = 0, uTold = 0; uTold == 0; ++uMark)
        {
            const std::string strMark = "mark" + std::to_string(uMark);
            fs::create_directory(watched.Root() / strMark);
            ASSERT_TRUE(watched.Reader().ReadUntilOrLost("+ " + strMark));
            uTold = watched.Reader().Has("+ " + strMark) ? 1 : 0;
        }
        const bool bLost = watched.Reader().IsLost();
        if (!bLost)
        {
            ++uCompared;
            for (const std::string& strChange : watched.Reader().Changes())
            {
                mirror.Apply(strChange);
            }
            EXPECT_EQ(OnDisk(watched.Root()), mirror.Paths());
            EXPECT_EQ(0u, mirror.Wrong());
        }
        // And each directory that is left is watched.
        size_t uUnwatched = 99;
        VOSystemError error;
        EXPECT_TRUE(VOCountUnwatchedDirectories(watched.RootText(), &uUnwatched, &error));
        EXPECT_EQ(0u, uUnwatched);
    }
    EXPECT_GT(uCompared, 0u) << "every round lost changes";
}

// Directory changes, as far as they are the same on every system.
#include <fstream>

#include "platform/vo_directories.h"
#include "tests/platform/change_reader.h"

namespace
{
DWORD OpenError(const VOWString& strPath)
{
    ChangeReader reader(strPath);
    return reader.IsOpen() ? DWORD{ERROR_SUCCESS} : GetLastError();
}
}  // namespace

TEST(DirectoryChanges, TellOfAFileThatIsMadeAndRemoved)
{
    TemporaryFolder folder;
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    const auto file = folder.WriteFile("a.txt", 10);
    ASSERT_TRUE(reader.ReadUntil("+ a.txt"));
    std::filesystem::remove(file);
    ASSERT_TRUE(reader.ReadUntil("- a.txt"));
    EXPECT_EQ("+ a.txt", reader.Changes().front());
    EXPECT_FALSE(reader.IsLost());
}

TEST(DirectoryChanges, TellOfAFileThatIsWritten)
{
    TemporaryFolder folder;
    folder.WriteFile("a.txt", 10);
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    folder.WriteFile("a.txt", 20);
    ASSERT_TRUE(reader.ReadUntil("* a.txt"));
    EXPECT_EQ(0u, reader.Count("+ a.txt"));
}

TEST(DirectoryChanges, TellOfARenameAsAPair)
{
    TemporaryFolder folder;
    const auto file = folder.WriteFile("old.txt", 10);
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    std::filesystem::rename(file, folder.Path() / "new.txt");
    ASSERT_TRUE(reader.ReadUntil("> new.txt"));
    EXPECT_EQ((std::vector<std::string>{"< old.txt", "> new.txt"}), reader.Changes());
}

TEST(DirectoryChanges, KeepWhatHappensBetweenReads)
{
    TemporaryFolder folder;
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    folder.WriteFile("first", 1);
    ASSERT_TRUE(reader.End());
    folder.WriteFile("second", 1);
    folder.WriteFile("third", 1);
    EXPECT_TRUE(reader.ReadUntil("+ second"));
    EXPECT_TRUE(reader.ReadUntil("+ third"));
    EXPECT_EQ(1u, reader.Count("+ first"));
    EXPECT_EQ(1u, reader.Count("+ second"));
}

TEST(DirectoryChanges, AreReadFromRootsWithEitherSlashAtTheEnd)
{
    for (const char* pszEnd : {"/", "\\"})
    {
        TemporaryFolder folder;
        ChangeReader reader(folder.Text() + Wide(pszEnd));
        ASSERT_TRUE(reader.Begin());
        folder.WriteFile("a.txt", 10);
        EXPECT_TRUE(reader.ReadUntil("+ a.txt"));
    }
}

TEST(DirectoryChanges, LeaveAReadUnderWayWhileNothingHappens)
{
    TemporaryFolder folder;
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    EXPECT_FALSE(reader.End(50));
    DWORD uBytes = 0;
    EXPECT_FALSE(GetOverlappedResult(reader.Handle(), &reader.Overlapped(), &uBytes, FALSE));
    EXPECT_EQ(DWORD{ERROR_IO_INCOMPLETE}, GetLastError());
}

TEST(DirectoryChanges, EndAReadThatIsCancelled)
{
    TemporaryFolder folder;
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    EXPECT_TRUE(CancelIoEx(reader.Handle(), &reader.Overlapped()));
    DWORD uBytes = 0;
    EXPECT_FALSE(GetOverlappedResult(reader.Handle(), &reader.Overlapped(), &uBytes, TRUE));
    EXPECT_EQ(DWORD{ERROR_OPERATION_ABORTED}, GetLastError());
    EXPECT_FALSE(CancelIoEx(reader.Handle(), &reader.Overlapped()));
    EXPECT_EQ(DWORD{ERROR_NOT_FOUND}, GetLastError());
    // The watch goes on.
    ASSERT_TRUE(reader.Begin());
    folder.WriteFile("a.txt", 10);
    EXPECT_TRUE(reader.ReadUntil("+ a.txt"));
}

TEST(DirectoryChanges, CanBeClosedWithAReadUnderWay)
{
    TemporaryFolder folder;
    OVERLAPPED overlapped = {};
    overlapped.hEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::vector<DWORD> vecBuffer(1000);
    const HANDLE hDirectory = CreateFileW(folder.Text().c_str(), GENERIC_READ | GENERIC_WRITE | FILE_LIST_DIRECTORY,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, hDirectory);
    DWORD uBytes = 0;
    ASSERT_TRUE(ReadDirectoryChangesW(hDirectory, vecBuffer.data(), 4000, TRUE, ChangeReader::ALL, &uBytes, &overlapped,
                                      nullptr));
    EXPECT_TRUE(CloseHandle(hDirectory));
    EXPECT_EQ(DWORD{WAIT_OBJECT_0}, WaitForSingleObject(overlapped.hEvent, ChangeReader::LONG_TIME));
    EXPECT_TRUE(CloseHandle(overlapped.hEvent));
    EXPECT_FALSE(ReadDirectoryChangesW(hDirectory, vecBuffer.data(), 4000, TRUE, ChangeReader::ALL, &uBytes,
                                       &overlapped, nullptr));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
}

TEST(DirectoryChanges, AreNotOpenedWhereNothingIs)
{
    TemporaryFolder folder;
    EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, OpenError(folder.Text() + Wide("/nothing")));
}

TEST(DirectoryChanges, AreNotReadFromAFile)
{
    TemporaryFolder folder;
    folder.WriteFile("file", 1);
    ChangeReader reader(folder.Text() + Wide("/file"));
    ASSERT_TRUE(reader.IsOpen());
    SetLastError(ERROR_SUCCESS);
    EXPECT_FALSE(reader.Begin());
    EXPECT_NE(DWORD{ERROR_SUCCESS}, GetLastError());
}

TEST(Paths, OfDirectoriesAreToldFromOthers)
{
    TemporaryFolder folder;
    folder.WriteFile("file", 1);
    EXPECT_TRUE(PathIsDirectoryW(folder.Text().c_str()));
    EXPECT_FALSE(PathIsDirectoryW((folder.Text() + Wide("/file")).c_str()));
    EXPECT_FALSE(PathIsDirectoryW((folder.Text() + Wide("/nothing")).c_str()));
    EXPECT_FALSE(PathIsDirectoryW(nullptr));
}

TEST(DirectoryKind, OfATemporaryFolderIsLocal)
{
    TemporaryFolder folder;
    VODirectoryKind eKind = VODirectoryKind::Remote;
    VOSystemError error;
    EXPECT_TRUE(VODirectoryKindOf(folder.Text(), &eKind, &error));
    EXPECT_EQ(VODirectoryKind::Local, eKind);
    EXPECT_FALSE(VODirectoryKindOf(folder.Text() + Wide("/nothing"), &eKind, &error));
    EXPECT_NE(0, error.nError);
    EXPECT_FALSE(error.strText.empty());
}

TEST(UnwatchedDirectories, AreNoneBelowARootThatIsRead)
{
    TemporaryFolder folder;
    std::filesystem::create_directories(folder.Path() / "a" / "b");
    ChangeReader reader(folder.Text());
    ASSERT_TRUE(reader.Begin());
    size_t uCount = 99;
    VOSystemError error;
    EXPECT_TRUE(VOCountUnwatchedDirectories(folder.Text(), &uCount, &error));
    EXPECT_EQ(0u, uCount);
    EXPECT_FALSE(VOCountUnwatchedDirectories(folder.Text() + Wide("/nothing"), &uCount, &error));
    EXPECT_NE(0, error.nError);
}

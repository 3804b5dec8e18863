// What a Linux directory may hold beside files and folders.
#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "platform/vo_directories.h"
#include "tests/platform/platform_test_support.h"

namespace
{
VODirectoryEntry OnlyEntry(const VOWString& strPath)
{
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    EXPECT_TRUE(VOListDirectory(strPath, &vecEntries, &error)) << error.strText;
    EXPECT_EQ(1u, vecEntries.size());
    return vecEntries.empty() ? VODirectoryEntry() : vecEntries.front();
}
}  // namespace

bool MakeFolder(const VOWString& strPath)
{
    return mkdir(std::filesystem::path(strPath).c_str(), S_IRWXU) == 0;
}

bool RemoveFolder(const VOWString& strPath)
{
    return rmdir(std::filesystem::path(strPath).c_str()) == 0;
}

TEST(DirectoryListingOnLinux, ReportsLinksAndDoesNotFollowThem)
{
    const TemporaryFolder folder;
    const TemporaryFolder target;
    ASSERT_EQ(0, symlink(target.Path().c_str(), (folder.Path() / "link").c_str()));
    VODirectoryEntry entry = OnlyEntry(folder.Text());
    EXPECT_TRUE(entry.bLink);
    EXPECT_FALSE(entry.bFolder);
    EXPECT_EQ(0u, entry.uAttribute);
    VOSystemError error;
    ASSERT_TRUE(VODescribeFile(folder.Text() + VOTEXT("/link"), &entry, &error));
    EXPECT_TRUE(entry.bLink);
    ASSERT_TRUE(VODescribeFile(folder.Text() + VOTEXT("/link/"), &entry, &error));
    EXPECT_TRUE(entry.bLink);
}

TEST(DirectoryListingOnLinux, ReportsDanglingLinks)
{
    const TemporaryFolder folder;
    ASSERT_EQ(0, symlink("nowhere", (folder.Path() / "link").c_str()));
    EXPECT_TRUE(OnlyEntry(folder.Text()).bLink);
}

TEST(DirectoryListingOnLinux, EntersAFolderThroughALinkThatWasAskedFor)
{
    const TemporaryFolder folder;
    const TemporaryFolder target;
    target.WriteFile("inside");
    ASSERT_EQ(0, symlink(target.Path().c_str(), (folder.Path() / "link").c_str()));
    EXPECT_EQ(Wide("inside"), OnlyEntry(folder.Text() + VOTEXT("/link")).strName);
}

TEST(DirectoryListingOnLinux, ReportsPipesAndSocketsAsFiles)
{
    const TemporaryFolder pipes;
    ASSERT_EQ(0, mkfifo((pipes.Path() / "pipe").c_str(), S_IRUSR | S_IWUSR));
    const VODirectoryEntry pipe = OnlyEntry(pipes.Text());
    EXPECT_FALSE(pipe.bFolder);
    EXPECT_FALSE(pipe.bLink);

    const TemporaryFolder sockets;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, (sockets.Path() / "socket").c_str(), sizeof(address.sun_path) - 1);
    const int nSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(0, bind(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)));
    const VODirectoryEntry socketEntry = OnlyEntry(sockets.Text());
    EXPECT_FALSE(socketEntry.bFolder);
    EXPECT_FALSE(socketEntry.bLink);
    close(nSocket);
}

TEST(DirectoryListingOnLinux, ShowsHiddenFiles)
{
    const TemporaryFolder folder;
    folder.WriteFile(".hidden");
    const VODirectoryEntry entry = OnlyEntry(folder.Text());
    EXPECT_EQ(Wide(".hidden"), entry.strName);
    EXPECT_EQ(_A_HIDDEN, entry.uAttribute);
}

TEST(DirectoryListingOnLinux, GivesTheSystemsErrorInWords)
{
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    EXPECT_FALSE(VOListDirectory(VOTEXT("/no/such/folder"), &vecEntries, &error));
    EXPECT_EQ(ENOENT, error.nError);
    EXPECT_EQ("No such file or directory", error.strText);
}

TEST(DirectoryListingOnLinux, ReadsThousandsOfEntries)
{
    const TemporaryFolder folder;
    for (int nFile = 0; nFile < 3000; ++nFile)
    {
        folder.WriteFile("file" + std::to_string(10000 + nFile));
    }
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    ASSERT_TRUE(VOListDirectory(folder.Text(), &vecEntries, &error));
    ASSERT_EQ(3000u, vecEntries.size());
    EXPECT_EQ(Wide("file10000"), vecEntries.front().strName);
    EXPECT_EQ(Wide("file12999"), vecEntries.back().strName);
}

// The lock as a file beside the sections.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/platform/platform_test_support.h"

typedef VOInstanceLock::Result LockResult;

namespace
{
std::string LockPath(const SectionName& name)
{
    const char* const pszNameSpace = getenv("VOBASE_NAMESPACE");
    const std::string strNameSpace = pszNameSpace != nullptr && *pszNameSpace != '\0' ? pszNameSpace : "";
    return "/dev/shm/vobase." + std::to_string(geteuid()) + "." + (strNameSpace.empty() ? "" : strNameSpace + ".") +
           name.Ascii() + "~lock";
}
}  // namespace

TEST(InstanceLockFile, GoesWithTheLock)
{
    const SectionName name("file");
    VOInstanceLock lock;
    ASSERT_EQ(LockResult::Acquired, lock.TryAcquire(name.Get()));
    struct stat info;
    ASSERT_EQ(0, stat(LockPath(name).c_str(), &info));
    EXPECT_EQ(mode_t{S_IFREG | S_IRUSR | S_IWUSR}, info.st_mode);
    lock.Release();
    EXPECT_NE(0, stat(LockPath(name).c_str(), &info));
}

TEST(InstanceLockFile, ThatWasLeftBehindIsNoLock)
{
    const SectionName name("leftlock");
    std::ofstream(LockPath(name)) << "999999999999";
    chmod(LockPath(name).c_str(), S_IRUSR | S_IWUSR);
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::Acquired, lock.TryAcquire(name.Get()));
    VOInstanceLock second;
    EXPECT_EQ(LockResult::HeldByOther, second.TryAcquire(name.Get()));
    EXPECT_EQ(VOProcessId(), second.HolderProcessId());
}

TEST(InstanceLockFile, ThatOthersOwnOrMayWriteIsRefused)
{
    const SectionName name("foreignlock");
    std::ofstream(LockPath(name)) << "";
    chmod(LockPath(name).c_str(), S_IRUSR | S_IWUSR | S_IWOTH);
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::Error, lock.TryAcquire(name.Get()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    if (geteuid() == 0)
    {
        chmod(LockPath(name).c_str(), S_IRUSR | S_IWUSR);
        ASSERT_EQ(0, chown(LockPath(name).c_str(), 12345, static_cast<gid_t>(-1)));
        EXPECT_EQ(LockResult::Error, lock.TryAcquire(name.Get()));
        EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    }
    EXPECT_EQ(0, unlink(LockPath(name).c_str()));
}

TEST(InstanceLockFile, ThatIsALinkIsRefused)
{
    const SectionName name("linklock");
    const TemporaryFolder folder;
    const std::filesystem::path target = folder.WriteFile("target", 10);
    ASSERT_EQ(0, symlink(target.c_str(), LockPath(name).c_str()));
    VOInstanceLock lock;
    EXPECT_EQ(LockResult::Error, lock.TryAcquire(name.Get()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_EQ(10u, std::filesystem::file_size(target));
    EXPECT_EQ(0, unlink(LockPath(name).c_str()));
}

TEST(InstanceLockFile, RemovedUnderItsHolderIsNotTakenFromTheNextOne)
{
    const SectionName name("gonelock");
    VOInstanceLock first;
    VOInstanceLock second;
    ASSERT_EQ(LockResult::Acquired, first.TryAcquire(name.Get()));
    ASSERT_EQ(0, unlink(LockPath(name).c_str()));
    ASSERT_EQ(LockResult::Acquired, second.TryAcquire(name.Get()));
    first.Release();
    EXPECT_EQ(0, access(LockPath(name).c_str(), F_OK));
    VOInstanceLock third;
    EXPECT_EQ(LockResult::HeldByOther, third.TryAcquire(name.Get()));
}

TEST(InstanceLockFile, BelongsToItsNameSpace)
{
    const SectionName name("spacelock");
    VOInstanceLock lock;
    ASSERT_EQ(LockResult::Acquired, lock.TryAcquire(name.Get()));
    ChildProcess outsider("lock", name.Ascii(), {"VOBASE_NAMESPACE=other" + std::to_string(getpid())});
    EXPECT_EQ("acquired", outsider.ReadLine());
    outsider.WriteLine("");
    EXPECT_EQ(0, outsider.WaitForEnd());
}

// Publishing as objects that take over one another's names.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/platform/platform_test_support.h"

namespace
{
std::string ObjectPath(const SectionName& name)
{
    const char* const pszNameSpace = getenv("VOBASE_NAMESPACE");
    const std::string strNameSpace = pszNameSpace != nullptr && *pszNameSpace != '\0' ? pszNameSpace : "";
    return "/dev/shm/vobase." + std::to_string(geteuid()) + "." + (strNameSpace.empty() ? "" : strNameSpace + ".") +
           name.Ascii();
}

// An object that some program has left, with content and mode.
void Leave(const SectionName& name, const std::string& strContent, mode_t uMode)
{
    std::ofstream(ObjectPath(name), std::ios::binary) << strContent;
    chmod(ObjectPath(name).c_str(), uMode);
}

bool IsThere(const std::string& strPath)
{
    struct stat info;
    return lstat(strPath.c_str(), &info) == 0;
}

// Objects of a section that are being built, or were left so.
size_t CountHalfBuilt(const SectionName& name)
{
    const std::filesystem::directory_iterator objects("/dev/shm");
    return static_cast<size_t>(std::count_if(begin(objects), end(objects),
                                             [&name](const auto& entry)
                                             { return entry.path().string().starts_with(ObjectPath(name) + "~"); }));
}
}  // namespace

TEST(LeftSection, OfAKilledPublisherIsTakenOverWithItsContent)
{
    const SectionName name("crash");
    ChildProcess publisher("publish", name.Ascii());
    ASSERT_EQ("published", publisher.ReadLine());
    publisher.Kill();
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 4096));
    EXPECT_TRUE(section.Existed());
    EXPECT_STREQ("left by a child", static_cast<const char*>(section.Data()));
}

TEST(LeftSection, ThatIsLargerIsKeptWhole)
{
    const SectionName name("larger");
    Leave(name, std::string(5000, 'L'), S_IRUSR | S_IWUSR);
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 100));
    EXPECT_TRUE(section.Existed());
    EXPECT_EQ(5000u, section.Size());
}

TEST(LeftSection, ThatIsTooSmallIsReplaced)
{
    const SectionName name("small");
    Leave(name, "small", S_IRUSR | S_IWUSR);
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 100));
    EXPECT_FALSE(section.Existed());
    EXPECT_EQ(100u, section.Size());
    EXPECT_EQ(std::string(100, '\0'), std::string(static_cast<const char*>(section.Data()), 100));
}

TEST(LeftSection, ThatOthersMayWriteIsReplaced)
{
    const SectionName name("loose");
    Leave(name, std::string(4096, 'w'), S_IRUSR | S_IWUSR | S_IWOTH);
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 4096));
    EXPECT_FALSE(section.Existed());
    EXPECT_EQ('\0', *static_cast<const char*>(section.Data()));
    struct stat info;
    ASSERT_EQ(0, stat(ObjectPath(name).c_str(), &info));
    EXPECT_EQ(mode_t{S_IFREG | S_IRUSR | S_IWUSR}, info.st_mode);
}

TEST(LeftSection, ThatIsALinkIsReplacedAndItsTargetLeftAlone)
{
    const SectionName name("link");
    const TemporaryFolder folder;
    const std::filesystem::path target = folder.WriteFile("target", 4096);
    ASSERT_EQ(0, symlink(target.c_str(), ObjectPath(name).c_str()));
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 4096));
    EXPECT_FALSE(section.Existed());
    memcpy(section.Data(), "changed", 8);
    char cFirst = 0;
    std::ifstream(target).get(cFirst);
    EXPECT_EQ('x', cFirst);
}

TEST(LeftSection, ThatIsAFolderIsRefused)
{
    const SectionName name("folder");
    ASSERT_EQ(0, mkdir(ObjectPath(name).c_str(), S_IRWXU));
    VOPublishedSection section;
    EXPECT_FALSE(section.OpenOrCreate(name.Get(), 4096));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_FALSE(section.Replace(name.Get(), "x", 1));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
    EXPECT_EQ(0, rmdir(ObjectPath(name).c_str()));
}

TEST(LeftSection, OfAnotherUserIsNeitherTakenNorReplaced)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "only the superuser can give an object away";
    }
    const SectionName name("foreign");
    Leave(name, std::string(4096, 'f'), S_IRUSR | S_IWUSR);
    ASSERT_EQ(0, chown(ObjectPath(name).c_str(), 12345, static_cast<gid_t>(-1)));
    VOPublishedSection section;
    EXPECT_FALSE(section.OpenOrCreate(name.Get(), 4096));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_FALSE(section.Replace(name.Get(), "x", 1));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    struct stat info;
    ASSERT_EQ(0, stat(ObjectPath(name).c_str(), &info));
    EXPECT_EQ(uid_t{12345}, info.st_uid);
    EXPECT_EQ(0, unlink(ObjectPath(name).c_str()));
}

TEST(ReplacedSection, StaysWholeForTheReaderInsideIt)
{
    const SectionName name("reader");
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(name.Get(), "old content", 12));
    const HANDLE hOld = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    const void* const pOld = MapViewOfFile(hOld, FILE_MAP_READ, 0, 0, 0);
    ASSERT_TRUE(section.Replace(name.Get(), "new", 4));
    const HANDLE hNew = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    const void* const pNew = MapViewOfFile(hNew, FILE_MAP_READ, 0, 0, 0);
    EXPECT_STREQ("old content", static_cast<const char*>(pOld));
    EXPECT_STREQ("new", static_cast<const char*>(pNew));
    EXPECT_EQ(12u, VOViewSize(pOld));
    EXPECT_EQ(4u, VOViewSize(pNew));
    UnmapViewOfFile(pOld);
    UnmapViewOfFile(pNew);
    CloseHandle(hOld);
    CloseHandle(hNew);
}

TEST(ReplacedSection, KeepsItsContentWhenTheNewOneDoesNotFit)
{
    const SectionName name("nofit");
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(name.Get(), "sound", 6));
    bool bCalled = false;
    EXPECT_FALSE(section.Replace(name.Get(), SIZE_MAX,
                                 [&bCalled](void*, size_t)
                                 {
                                     bCalled = true;
                                     return true;
                                 }));
    EXPECT_EQ(ERROR_DISK_FULL, GetLastError());
    EXPECT_FALSE(bCalled);
    EXPECT_STREQ("sound", static_cast<const char*>(section.Data()));
    EXPECT_TRUE(IsThere(ObjectPath(name)));
}

TEST(ReplacedSection, LeavesNothingBehindWhenTheWriterThrows)
{
    const SectionName name("throws");
    VOPublishedSection section;
    EXPECT_THROW(section.Replace(name.Get(), 100, [](void*, size_t) -> bool { throw std::bad_alloc(); }),
                 std::bad_alloc);
    EXPECT_FALSE(IsThere(ObjectPath(name)));
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
}

TEST(WithdrawnSection, LeavesTheNameToASuccessorThatHasTakenIt)
{
    const SectionName name("successor");
    VOPublishedSection first;
    VOPublishedSection second;
    ASSERT_TRUE(first.Replace(name.Get(), "first", 6));
    ASSERT_TRUE(second.Replace(name.Get(), "second", 7));
    EXPECT_TRUE(first.Withdraw());
    EXPECT_TRUE(IsThere(ObjectPath(name)));
    EXPECT_TRUE(second.Withdraw());
    EXPECT_FALSE(IsThere(ObjectPath(name)));
}

TEST(WithdrawnSection, MayHaveBeenRemovedBefore)
{
    const SectionName name("removed");
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(name.Get(), "gone", 5));
    ASSERT_EQ(0, unlink(ObjectPath(name).c_str()));
    EXPECT_TRUE(section.Withdraw());
}

TEST(DetachedSection, KeepsItsName)
{
    const SectionName name("detach");
    {
        VOPublishedSection section;
        ASSERT_TRUE(section.Replace(name.Get(), "stays", 6));
        section.Detach();
        EXPECT_EQ(nullptr, section.Data());
    }
    VOPublishedSection successor;
    ASSERT_TRUE(successor.OpenOrCreate(name.Get(), 6));
    EXPECT_TRUE(successor.Existed());
    EXPECT_STREQ("stays", static_cast<const char*>(successor.Data()));
}

TEST(StaleObjects, AreThoseOfDeadPublishers)
{
    const SectionName name("stale");
    ChildProcess publisher("half-replace", name.Ascii());
    ASSERT_EQ("half way", publisher.ReadLine());
    // Its builder lives.
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
    publisher.Kill();
    EXPECT_EQ(1u, CountHalfBuilt(name));
    EXPECT_EQ(1u, VORemoveStaleSectionObjects());
    EXPECT_EQ(0u, CountHalfBuilt(name));
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
}

TEST(StaleObjects, OfOneSectionAreRemovedByItsNextPublisher)
{
    const SectionName name("cleaned");
    const SectionName other("kept");
    ChildProcess first("half-replace", name.Ascii());
    ChildProcess second("half-replace", other.Ascii());
    ASSERT_EQ("half way", first.ReadLine());
    ASSERT_EQ("half way", second.ReadLine());
    first.Kill();
    second.Kill();
    EXPECT_EQ(1u, CountHalfBuilt(name));
    EXPECT_EQ(1u, CountHalfBuilt(other));
    VOPublishedSection section;
    ASSERT_TRUE(section.OpenOrCreate(name.Get(), 100));
    EXPECT_EQ(0u, CountHalfBuilt(name));
    EXPECT_EQ(1u, CountHalfBuilt(other));
    EXPECT_EQ(1u, VORemoveStaleSectionObjects());
}

TEST(StaleObjects, AreNeitherSectionsNorLocks)
{
    const SectionName name("sound");
    VOPublishedSection section;
    VOInstanceLock lock;
    ASSERT_TRUE(section.Replace(name.Get(), "x", 2));
    ASSERT_EQ(VOInstanceLock::Result::Acquired, lock.TryAcquire(name.Get()));
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
    EXPECT_TRUE(IsThere(ObjectPath(name)));
    EXPECT_TRUE(IsThere(ObjectPath(name) + "~lock"));
}

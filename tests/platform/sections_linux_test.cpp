// Sections as shared memory objects of one user.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "tests/platform/platform_test_support.h"

namespace
{
// Where the object of a section lies: written out here a second time, because other programs find it there too.
std::string ObjectPath(const std::string& strSection)
{
    const char* const pszNameSpace = getenv("VOBASE_NAMESPACE");
    const std::string strNameSpace = pszNameSpace != nullptr && *pszNameSpace != '\0' ? pszNameSpace : "";
    return "/dev/shm/vobase." + std::to_string(geteuid()) + "." + (strNameSpace.empty() ? "" : strNameSpace + ".") +
           strSection;
}

// A file that is laid where a section's object would be, and taken away again.
class PlantedObject
{
public:
    explicit PlantedObject(const SectionName& name) : m_strPath(ObjectPath(name.Ascii())) { Remove(); }
    ~PlantedObject() { Remove(); }
    PlantedObject(const PlantedObject&) = delete;
    PlantedObject& operator=(const PlantedObject&) = delete;

    const char* Path() const { return m_strPath.c_str(); }

    void Write(size_t uBytes, mode_t uMode = S_IRUSR | S_IWUSR)
    {
        std::ofstream(m_strPath, std::ios::binary) << std::string(uBytes, 'p');
        chmod(Path(), uMode);
    }

    void Remove()
    {
        unlink(Path());
        rmdir(Path());
    }

private:
    std::string m_strPath;
};

// How many mappings of this process show a text: the path of an object.
std::vector<std::string> MappingsOf(const std::string& strPath)
{
    std::ifstream file("/proc/self/maps");
    std::vector<std::string> vecLines;
    for (std::string strLine; std::getline(file, strLine);)
    {
        if (strLine.find(strPath) != std::string::npos)
        {
            vecLines.push_back(strLine);
        }
    }
    return vecLines;
}

void ExpectRefused(const SectionName& name)
{
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.Get()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
    EXPECT_EQ(nullptr, CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, name.Get()));
    EXPECT_EQ(ERROR_ACCESS_DENIED, GetLastError());
}
}  // namespace

TEST(SectionObjects, AreForTheirOwnerAlone)
{
    const SectionName name("mode");
    const mode_t uMask = umask(0);
    const HANDLE hSection = Create(name, 12345);
    umask(uMask);
    ASSERT_NE(nullptr, hSection);
    struct stat info;
    ASSERT_EQ(0, stat(ObjectPath(name.Ascii()).c_str(), &info));
    EXPECT_EQ(mode_t{S_IFREG | S_IRUSR | S_IWUSR}, info.st_mode);
    EXPECT_EQ(geteuid(), info.st_uid);
    EXPECT_EQ(12345, info.st_size);
    CloseHandle(hSection);
}

TEST(SectionObjects, HaveTheirSpaceReserved)
{
    const SectionName name("blocks");
    const HANDLE hSection = Create(name, 1 << 20);
    struct stat info;
    ASSERT_EQ(0, stat(ObjectPath(name.Ascii()).c_str(), &info));
    EXPECT_GE(info.st_blocks * 512, 1 << 20);
    CloseHandle(hSection);
}

TEST(SectionObjects, OfAnotherUserAreRefused)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "only the superuser can give an object away";
    }
    const SectionName name("foreign");
    PlantedObject object(name);
    object.Write(4096);
    ASSERT_EQ(0, chown(object.Path(), 12345, static_cast<gid_t>(-1)));
    ExpectRefused(name);
}

TEST(SectionObjects, ThatOthersMayWriteAreRefused)
{
    const SectionName name("writable");
    PlantedObject object(name);
    object.Write(4096, S_IRUSR | S_IWUSR | S_IWGRP);
    ExpectRefused(name);
    object.Write(4096, S_IRUSR | S_IWUSR | S_IWOTH);
    ExpectRefused(name);
    object.Write(4096, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    EXPECT_NE(nullptr, hSection);
    CloseHandle(hSection);
}

TEST(SectionObjects, ThatAreLinksAreRefused)
{
    const SectionName name("symlink");
    const SectionName target("target");
    const HANDLE hTarget = Create(target, 4096);
    const PlantedObject object(name);
    ASSERT_EQ(0, symlink(ObjectPath(target.Ascii()).c_str(), object.Path()));
    ExpectRefused(name);
    CloseHandle(hTarget);
}

TEST(SectionObjects, WithASecondLinkAreRefused)
{
    const SectionName name("hardlink");
    const SectionName target("linked");
    const HANDLE hTarget = Create(target, 4096);
    const PlantedObject object(name);
    ASSERT_EQ(0, link(ObjectPath(target.Ascii()).c_str(), object.Path()));
    ExpectRefused(name);
    CloseHandle(hTarget);
}

TEST(SectionObjects, ThatAreNoFilesAreRefused)
{
    const SectionName name("kind");
    const PlantedObject object(name);
    ASSERT_EQ(0, mkdir(object.Path(), S_IRWXU));
    ExpectRefused(name);
    ASSERT_EQ(0, rmdir(object.Path()));
    // Opening a pipe that nobody reads would wait for ever.
    ASSERT_EQ(0, mkfifo(object.Path(), S_IRUSR | S_IWUSR));
    ExpectRefused(name);
}

TEST(SectionObjects, ThatAreEmptyCannotBeMapped)
{
    const SectionName name("empty");
    PlantedObject object(name);
    object.Write(0);
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    ASSERT_NE(nullptr, hSection);
    EXPECT_EQ(nullptr, MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0));
    EXPECT_EQ(ERROR_FILE_INVALID, GetLastError());
    EXPECT_TRUE(CloseHandle(hSection));
}

TEST(SectionObjects, AreMeasuredToTheByte)
{
    const SectionName name("exact");
    PlantedObject object(name);
    object.Write(5001);
    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    const void* const pView = MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0);
    ASSERT_NE(nullptr, pView);
    EXPECT_EQ(5001u, VOViewSize(pView));
    EXPECT_EQ('p', static_cast<const char*>(pView)[5000]);
    MEMORY_BASIC_INFORMATION info;
    EXPECT_EQ(0u, VirtualQuery(static_cast<const char*>(pView) + 5001, &info, sizeof(info)));
    EXPECT_EQ(ERROR_INVALID_ADDRESS, GetLastError());
    UnmapViewOfFile(pView);
    CloseHandle(hSection);
}

TEST(SectionObjects, ThatHaveGrownAreMappedAnewAtTheirNewSize)
{
    const SectionName name("grown");
    const HANDLE hSection = Create(name, 4096);
    void* const pView = MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0);
    ASSERT_EQ(0, truncate(ObjectPath(name.Ascii()).c_str(), 8192));
    const HANDLE hLater = OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.Get());
    void* const pLater = MapViewOfFile(hLater, FILE_MAP_WRITE, 0, 0, 0);
    EXPECT_EQ(4096u, VOViewSize(pView));
    EXPECT_EQ(8192u, VOViewSize(pLater));
    memcpy(pView, "one object", 11);
    EXPECT_STREQ("one object", static_cast<const char*>(pLater));
    UnmapViewOfFile(pView);
    UnmapViewOfFile(pLater);
    CloseHandle(hSection);
    CloseHandle(hLater);
}

TEST(SectionObjects, ThatDoNotFitAreNotMade)
{
    const SectionName name("limit");
    rlimit earlier;
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &earlier));
    const rlimit small = {65536, earlier.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    const HANDLE hSection = Create(name, 65537);
    const DWORD uError = GetLastError();
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &earlier));
    EXPECT_EQ(nullptr, hSection);
    EXPECT_EQ(ERROR_DISK_FULL, uError);
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get()));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
    EXPECT_EQ(0u, VORemoveStaleSectionObjects());
}

TEST(SectionObjects, OnAFullFileSystemFailWhenTheyAreMade)
{
    ChildProcess child("full-file-system", "full");
    const std::string strMounted = child.ReadLine();
    if (strMounted != "mounted")
    {
        GTEST_SKIP() << "no file system can be mounted here: " << strMounted;
    }
    EXPECT_EQ("small section: made", child.ReadLine());
    EXPECT_EQ("large section: error 112", child.ReadLine());
    EXPECT_EQ("large replacement: error 112", child.ReadLine());
    EXPECT_EQ("small section: kept", child.ReadLine());
    EXPECT_EQ("objects: 1", child.ReadLine());
    EXPECT_EQ(0, child.WaitForEnd());
}

TEST(SectionNames, OfAnyTextAreOneObjectEach)
{
    const SectionName name(Wide("a/b\\c.d~e f%") + UniqueName("g"));
    const HANDLE hSection = Create(name, 4096);
    ASSERT_NE(nullptr, hSection);
    const std::string strObject = "a%2Fb%5Cc%2Ed%7Ee%20f%25g_" + std::to_string(getpid());
    EXPECT_EQ(0, access(ObjectPath(strObject).c_str(), F_OK));
    CloseHandle(hSection);
}

TEST(SectionNames, ThatAreTooLongAreRefused)
{
    const VOWString strLong(300, VOWCHAR{'n'});
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, strLong.c_str()));
    EXPECT_EQ(ERROR_FILENAME_EXCED_RANGE, GetLastError());
    EXPECT_EQ(nullptr, CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 1, strLong.c_str()));
    EXPECT_EQ(ERROR_FILENAME_EXCED_RANGE, GetLastError());
}

TEST(SectionNames, AreNeeded)
{
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, nullptr));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ, FALSE, VOTEXT("")));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
}

TEST(SectionNames, AreTakenFromOddAddresses)
{
    const SectionName name("oddname");
    const HANDLE hSection = Create(name, 4096);
    OddText odd(name.Text());
    const HANDLE hAgain = OpenFileMappingW(FILE_MAP_READ, FALSE, odd.Get());
    EXPECT_NE(nullptr, hAgain);
    CloseHandle(hSection);
    CloseHandle(hAgain);
}

TEST(SectionNameSpaces, DoNotSeeOneAnother)
{
    const SectionName name("space");
    const HANDLE hSection = Create(name, 4096);
    ASSERT_NE(nullptr, hSection);
    const std::string strOther = "VOBASE_NAMESPACE=other" + std::to_string(getpid());
    ChildProcess outsider("read", name.Ascii(), {strOther});
    EXPECT_EQ("error 2", outsider.ReadLine());
    ChildProcess publisher("publish", name.Ascii(), {strOther});
    ASSERT_EQ("published", publisher.ReadLine());
    ChildProcess neighbour("read", name.Ascii(), {strOther});
    EXPECT_EQ("left by a child", neighbour.ReadLine());
    publisher.WriteLine("");
    EXPECT_EQ(0, publisher.WaitForEnd());
    const void* const pView = MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0);
    EXPECT_STREQ("", static_cast<const char*>(pView));
    UnmapViewOfFile(pView);
    CloseHandle(hSection);
}

TEST(SectionViews, OpenedToReadCannotBeWritten)
{
    const SectionName name("readonly");
    const HANDLE hWriter = Create(name, 4096);
    const HANDLE hReader = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
    const void* const pView = MapViewOfFile(hReader, FILE_MAP_READ, 0, 0, 0);
    ASSERT_NE(nullptr, pView);
    const std::vector<std::string> vecMappings = MappingsOf(ObjectPath(name.Ascii()));
    ASSERT_EQ(1u, vecMappings.size());
    EXPECT_NE(std::string::npos, vecMappings[0].find(" r--s ")) << vecMappings[0];
    UnmapViewOfFile(pView);
    CloseHandle(hReader);
    CloseHandle(hWriter);
}

TEST(SectionViews, RefuseWhatIsNotSupported)
{
    const SectionName name("args");
    const HANDLE hSection = Create(name, 8192);
    EXPECT_EQ(nullptr, MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 4096, 0));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    EXPECT_EQ(nullptr, MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 4096));
    EXPECT_EQ(nullptr, MapViewOfFile(hSection, 0, 0, 0, 0));
    EXPECT_EQ(nullptr, OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name.Get()));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    EXPECT_EQ(nullptr, CreateFileMappingW(nullptr, nullptr, PAGE_READWRITE, 0, 4096, name.Get()));
    EXPECT_EQ(ERROR_INVALID_PARAMETER, GetLastError());
    CloseHandle(hSection);
}

TEST(SectionLeaks, OfForgottenHandlesAndViewsCostNeitherDescriptorsNorAddressSpace)
{
    const SectionName name("forgotten");
    const HANDLE hSection = Create(name, 4096);
    const size_t uDescriptors = CountDescriptors();
    std::vector<std::pair<HANDLE, void*>> vecForgotten;
    for (unsigned uOpen = 0; uOpen < 5000; ++uOpen)
    {
        const HANDLE hForgotten = OpenFileMappingW(FILE_MAP_WRITE, FALSE, name.Get());
        vecForgotten.emplace_back(hForgotten, MapViewOfFile(hForgotten, FILE_MAP_WRITE, 0, 0, 0));
        ASSERT_NE(nullptr, vecForgotten.back().second);
        ASSERT_EQ(vecForgotten.front(), vecForgotten.back());
    }
    EXPECT_LE(CountDescriptors(), uDescriptors);
    EXPECT_EQ(1u, MappingsOf(ObjectPath(name.Ascii())).size());
    // Remembered again: each of them was counted, and the last one takes the mapping with it.
    EXPECT_TRUE(CloseHandle(hSection));
    for (const auto& [hForgotten, pForgotten] : vecForgotten)
    {
        ASSERT_TRUE(UnmapViewOfFile(pForgotten));
        ASSERT_TRUE(CloseHandle(hForgotten));
    }
    EXPECT_TRUE(MappingsOf(ObjectPath(name.Ascii())).empty());
}

TEST(SectionLeaks, OfDescriptorsEndWhenTheSectionIsMapped)
{
    const SectionName name("mapped");
    const size_t uDescriptors = CountDescriptors();
    const HANDLE hSection = Create(name, 4096);
    EXPECT_EQ(uDescriptors + 1, CountDescriptors());
    void* const pView = MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0);
    EXPECT_EQ(uDescriptors, CountDescriptors());
    // Without a descriptor it can still be mapped again.
    UnmapViewOfFile(pView);
    EXPECT_EQ(pView, MapViewOfFile(hSection, FILE_MAP_WRITE, 0, 0, 0));
    UnmapViewOfFile(pView);
    CloseHandle(hSection);
}

TEST(SectionLeaks, LeaveNothingWhenAllIsClosed)
{
    const SectionName name("balanced");
    const HANDLE hKeep = Create(name, 4096);
    CloseHandle(hKeep);
    const size_t uDescriptors = CountDescriptors();
    for (unsigned uOpen = 0; uOpen < 2000; ++uOpen)
    {
        const DWORD uAccess = uOpen % 2 == 0 ? FILE_MAP_READ : FILE_MAP_WRITE;
        const HANDLE hFirst = OpenFileMappingW(uAccess, FALSE, name.Get());
        const HANDLE hSecond = OpenFileMappingW(uAccess, FALSE, name.Get());
        void* const pView = uOpen % 3 != 0 ? MapViewOfFile(hFirst, uAccess, 0, 0, 0) : nullptr;
        ASSERT_TRUE(CloseHandle(hFirst));
        ASSERT_TRUE(CloseHandle(hSecond));
        ASSERT_EQ(pView != nullptr, UnmapViewOfFile(pView) != FALSE);
        ASSERT_FALSE(CloseHandle(hFirst));
    }
    EXPECT_EQ(uDescriptors, CountDescriptors());
    EXPECT_TRUE(MappingsOf(ObjectPath(name.Ascii())).empty());
}

TEST(SectionLeaks, OfReplacedSectionsDoNotPileUp)
{
    const SectionName name("replaced");
    const size_t uDescriptors = CountDescriptors();
    VOPublishedSection publisher;
    for (unsigned uRound = 0; uRound < 500; ++uRound)
    {
        const std::string strContent = "content " + std::to_string(uRound);
        ASSERT_TRUE(publisher.Replace(name.Get(), strContent.c_str(), strContent.size() + 1));
        const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
        const void* const pView = MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0);
        ASSERT_STREQ(strContent.c_str(), static_cast<const char*>(pView));
        ASSERT_TRUE(UnmapViewOfFile(pView));
        ASSERT_TRUE(CloseHandle(hSection));
    }
    publisher.Withdraw();
    EXPECT_EQ(uDescriptors, CountDescriptors());
    EXPECT_TRUE(MappingsOf(ObjectPath(name.Ascii())).empty());
}

TEST(SectionThreads, OpenWhileTheSectionIsReplaced)
{
    const SectionName name("swapped");
    VOPublishedSection publisher;
    ASSERT_TRUE(publisher.Replace(name.Get(), std::string(5000, 'a').c_str(), 5000));
    bool bSound[3] = {true, true, true};
    std::vector<std::thread> vecThreads;
    for (bool& bThreadSound : bSound)
    {
        vecThreads.emplace_back(
            [&]
            {
                for (unsigned uRound = 0; uRound < 500 && bThreadSound; ++uRound)
                {
                    const HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, FALSE, name.Get());
                    const char* const pView = static_cast<const char*>(MapViewOfFile(hSection, FILE_MAP_READ, 0, 0, 0));
                    const size_t uSize = VOViewSize(pView);
                    bThreadSound =
                        pView != nullptr && uSize >= 5000 && std::string(pView, uSize) == std::string(uSize, pView[0]);
                    UnmapViewOfFile(pView);
                    CloseHandle(hSection);
                }
            });
    }
    for (unsigned uRound = 0; uRound < 200; ++uRound)
    {
        const size_t uSize = 5000 + uRound;
        const std::string strContent(uSize, static_cast<char>('a' + uRound % 26));
        ASSERT_TRUE(publisher.Replace(name.Get(), strContent.data(), uSize));
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_TRUE(bSound[0] && bSound[1] && bSound[2]);
}

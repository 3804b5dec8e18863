// Every call of the platform layer fails once: the Nth fault point that a body passes, then the N+1th, until the body
// runs untouched. Where the system itself makes the calls there are no such points, and a body runs untouched at once.
#include "support/fault_points.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <functional>
#include <new>
#include <set>
#include <thread>

#include "platform/vo_directories.h"
#include "platform/vo_memory.h"
#include "platform/vo_platform.h"
#include "platform/vo_process.h"
#include "platform/vo_section_publisher.h"
#include "tests/support/temporary_folder.h"

namespace
{
VOWString Name(const char* pszName)
{
    const std::string strName = std::string(pszName) + "_" + std::to_string(VOProcessId());
    return VOWString(strName.begin(), strName.end());
}

size_t CountEntries(const char* pszFolder, const std::string& strPart)
{
    size_t uEntries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(pszFolder))
    {
        uEntries += entry.path().filename().string().find(strPart) != std::string::npos ? 1 : 0;
    }
    return uEntries;
}

// Open descriptors, and objects with a name in theirs; 0 where the system has its own calls.
size_t CountSystemObjects()
{
    return VO_SYSTEM_CALLS_HAVE_FAULT_POINTS ? CountEntries("/proc/self/fd", "") : 0;
}

size_t CountObjects(const VOWString& strName)
{
    const std::string strAscii(strName.begin(), strName.end());
    return VO_SYSTEM_CALLS_HAVE_FAULT_POINTS ? CountEntries("/dev/shm", strAscii) : 0;
}

// One round of a test: what stands before the body, the body in which a call fails, and what has to hold afterwards.
// The body gives true when it got what it wanted. Faults are armed for the body alone.
struct Round
{
    std::function<void()> fnBefore;
    std::function<bool()> fnBody;
    std::function<void(bool bDone)> fnAfter;
};

// Runs the round with every fault there is in its body, each once alone and once with all that follow. Gives how many
// rounds failed for it.
unsigned FailEachOnce(const Round& round)
{
    unsigned uFailures = 0;
    for (const bool bPersistent : {false, true})
    {
        unsigned uFired = 1;
        for (unsigned uNth = 1; uFired > 0 && uNth < 1000; ++uNth)
        {
            round.fnBefore();
            const size_t uDescriptors = CountSystemObjects();
            VOFaultArm(nullptr, uNth, bPersistent);
            const bool bDone = round.fnBody();
            uFired = VOFaultFired();
            VOFaultDisarm();
            EXPECT_EQ(uDescriptors, CountSystemObjects()) << "fault " << uNth;
            EXPECT_TRUE(bDone || uFired > 0) << "without a fault";
            round.fnAfter(bDone);
            uFailures += bDone ? 0 : 1;
        }
        EXPECT_EQ(0u, uFired) << "no end of faults";
    }
    return uFailures;
}

// A call that failed says why, and not that something just isn't there.
void ExpectError()
{
    const DWORD uError = GetLastError();
    EXPECT_NE(DWORD{ERROR_SUCCESS}, uError);
    EXPECT_NE(DWORD{ERROR_FILE_NOT_FOUND}, uError);
    EXPECT_NE(DWORD{ERROR_GEN_FAILURE}, uError);
}

void RemoveSection(const VOWString& strName)
{
    VOPublishedSection section;
    section.OpenOrCreate(strName.c_str(), 1);
    EXPECT_TRUE(section.Withdraw());
}

}  // namespace

TEST(FaultPoints, FailTheHitThatWasArmed)
{
    VOFaultArm("test.one", 2, false);
    EXPECT_FALSE(VO_FAULT_POINT("test.one"));
    EXPECT_FALSE(VO_FAULT_POINT("test.other"));
    EXPECT_TRUE(VO_FAULT_POINT("test.one"));
    EXPECT_FALSE(VO_FAULT_POINT("test.one"));
    EXPECT_EQ(3u, VOFaultHits());
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultArm("test.one", 2, true);
    EXPECT_FALSE(VO_FAULT_POINT("test.one"));
    EXPECT_TRUE(VO_FAULT_POINT("test.one"));
    EXPECT_TRUE(VO_FAULT_POINT("test.one"));
    EXPECT_EQ(2u, VOFaultFired());
    VOFaultArm(nullptr, 1, false);
    EXPECT_TRUE(VO_FAULT_POINT("test.other"));
    VOFaultDisarm();
    EXPECT_FALSE(VO_FAULT_POINT("test.other"));
    EXPECT_EQ(1u, VOFaultHits());
}

TEST(FaultPoints, AreCountedOverAllThreads)
{
    VOFaultArm("test.threads", 500, true);
    std::vector<std::thread> vecThreads;
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            []
            {
                for (int nHit = 0; nHit < 250; ++nHit)
                {
                    (void)VO_FAULT_POINT("test.threads");
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(1000u, VOFaultHits());
    EXPECT_EQ(501u, VOFaultFired());
    VOFaultDisarm();
}

TEST(FailingMemory, Throws)
{
    VOFaultArm("VOAllocateZeroed", 1, false);
    EXPECT_THROW(VOAllocateZeroed(100), std::bad_alloc);
    VOFaultDisarm();
    void* const pBlock = VOAllocateZeroed(100);
    EXPECT_NE(nullptr, pBlock);
    free(pBlock);
}

TEST(FailingSection, IsOpenedAndMappedCompletelyOrNotAtAll)
{
    const VOWString strName = Name("faultopen");
    HANDLE hSection = nullptr;
    const void* pView = nullptr;
    size_t uSize = 0;
    Round round;
    round.fnBefore = [&]
    {
        VOPublishedSection section;
        EXPECT_TRUE(section.OpenOrCreate(strName.c_str(), 4096));
        section.Detach();
        // Where the name ends with its last holder, this keeps it.
        hSection = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, strName.c_str());
        EXPECT_NE(nullptr, hSection);
    };
    round.fnBody = [&]
    {
        const HANDLE hReader = OpenFileMappingW(FILE_MAP_READ, FALSE, strName.c_str());
        if (hReader == nullptr)
        {
            ExpectError();
            return false;
        }
        pView = MapViewOfFile(hReader, FILE_MAP_READ, 0, 0, 0);
        uSize = pView != nullptr ? VOViewSize(pView) : 0;
        if (uSize == 0)
        {
            ExpectError();
        }
        EXPECT_EQ(pView != nullptr, UnmapViewOfFile(pView) != FALSE);
        EXPECT_TRUE(CloseHandle(hReader));
        EXPECT_FALSE(UnmapViewOfFile(pView));
        return uSize == 4096;
    };
    round.fnAfter = [&](bool)
    {
        EXPECT_TRUE(CloseHandle(hSection));
        RemoveSection(strName);
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
}

TEST(FailingSection, IsMadeCompletelyOrNotAtAll)
{
    const VOWString strName = Name("faultcreate");
    Round round;
    round.fnBefore = [&] { RemoveSection(strName); };
    round.fnBody = [&]
    {
        const HANDLE hSection =
            CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, strName.c_str());
        if (hSection == nullptr)
        {
            ExpectError();
            return false;
        }
        EXPECT_EQ(DWORD{ERROR_SUCCESS}, GetLastError());
        EXPECT_TRUE(CloseHandle(hSection));
        return true;
    };
    round.fnAfter = [&](bool bDone)
    {
        EXPECT_EQ(0u, VORemoveStaleSectionObjects());
        // The last step opens what has its name already: when that fails, the section is there, whole.
        EXPECT_LE(CountObjects(strName), 1u);
        VOPublishedSection section;
        EXPECT_TRUE(section.OpenOrCreate(strName.c_str(), 4096));
        EXPECT_EQ(4096u, section.Size());
        EXPECT_TRUE(!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS || !bDone || section.Existed());
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
}

TEST(FailingPublisher, LeavesTheOldContentOrTheNewOne)
{
    const VOWString strName = Name("faultreplace");
    VOPublishedSection section;
    Round round;
    round.fnBefore = [&] { EXPECT_TRUE(section.Replace(strName.c_str(), "old", 4)); };
    round.fnBody = [&]
    {
        const bool bReplaced = section.Replace(strName.c_str(), "new", 4);
        if (!bReplaced)
        {
            ExpectError();
        }
        return bReplaced;
    };
    round.fnAfter = [&](bool bDone)
    {
        const char* const pszExpected = bDone ? "new" : "old";
        EXPECT_STREQ(pszExpected, static_cast<const char*>(section.Data()));
        EXPECT_EQ(0u, VORemoveStaleSectionObjects());
        VOPublishedSection reader;
        EXPECT_TRUE(reader.OpenOrCreate(strName.c_str(), 4));
        EXPECT_TRUE(reader.Existed());
        EXPECT_STREQ(pszExpected, static_cast<const char*>(reader.Data()));
        reader.Detach();
        EXPECT_TRUE(section.Withdraw());
        EXPECT_EQ(0u, CountObjects(strName));
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
}

TEST(FailingPublisher, TakesOverOrMakesASectionCompletelyOrNotAtAll)
{
    const VOWString strName = Name("faulttake");
    for (const bool bExists : {false, true})
    {
        VOPublishedSection earlier;
        VOPublishedSection section;
        Round round;
        round.fnBefore = [&]
        {
            RemoveSection(strName);
            EXPECT_TRUE(!bExists || earlier.Replace(strName.c_str(), "left", 5));
        };
        round.fnBody = [&]
        {
            const bool bOpened = section.OpenOrCreate(strName.c_str(), 5);
            if (!bOpened)
            {
                ExpectError();
            }
            return bOpened;
        };
        round.fnAfter = [&](bool bDone)
        {
            EXPECT_EQ(bDone, section.Data() != nullptr);
            EXPECT_EQ(bDone && bExists, section.Existed());
            EXPECT_STREQ(bDone && bExists ? "left" : "", bDone ? static_cast<const char*>(section.Data()) : "");
            EXPECT_EQ(0u, VORemoveStaleSectionObjects());
            EXPECT_TRUE(!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS || CountObjects(strName) == (bDone || bExists ? 1u : 0u));
            EXPECT_TRUE(section.Withdraw());
            EXPECT_TRUE(earlier.Withdraw());
        };
        EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
    }
}

TEST(FailingPublisher, SaysWhenTheNameCouldNotBeRemoved)
{
    const VOWString strName = Name("faultwithdraw");
    VOPublishedSection section;
    Round round;
    round.fnBefore = [&] { EXPECT_TRUE(section.Replace(strName.c_str(), "x", 2)); };
    round.fnBody = [&]
    {
        const bool bWithdrawn = section.Withdraw();
        if (!bWithdrawn)
        {
            ExpectError();
        }
        return bWithdrawn;
    };
    round.fnAfter = [&](bool bDone)
    {
        EXPECT_EQ(bDone ? 0u : 1u, CountObjects(strName));
        EXPECT_EQ(nullptr, section.Data());
        RemoveSection(strName);
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
}

TEST(FailingInstanceLock, IsHeldOrFree)
{
    const VOWString strName = Name("faultlock");
    VOInstanceLock lock;
    Round round;
    round.fnBefore = [] {};
    round.fnBody = [&]
    {
        const VOInstanceLock::Result eResult = lock.TryAcquire(strName.c_str());
        const bool bAcquired = eResult == VOInstanceLock::Result::Acquired;
        if (!bAcquired)
        {
            EXPECT_EQ(VOInstanceLock::Result::Error, eResult);
            ExpectError();
        }
        lock.Release();
        return bAcquired;
    };
    round.fnAfter = [&](bool)
    {
        EXPECT_EQ(0u, CountObjects(strName));
        EXPECT_EQ(VOInstanceLock::Result::Acquired, lock.TryAcquire(strName.c_str()));
        lock.Release();
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
}

TEST(FailingListing, IsCompleteOrSaysWhy)
{
    const votest::TemporaryFolder temporary;
    const std::filesystem::path& folder = temporary.Path();
    std::filesystem::create_directories(folder / "sub");
    std::filesystem::create_directories(folder / "other");
    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    Round round;
    round.fnBefore = [&] { error = VOSystemError(); };
    round.fnBody = [&] { return VOListDirectory(folder.string<VOWCHAR>(), &vecEntries, &error); };
    round.fnAfter = [&](bool bDone)
    {
        // An entry that can't be looked at is listed all the same, as what the directory says it is.
        EXPECT_EQ(bDone ? 2u : 0u, vecEntries.size());
        EXPECT_TRUE(!bDone || (vecEntries[0].bFolder && vecEntries[1].bFolder));
        EXPECT_EQ(bDone, error.nError == 0);
        EXPECT_EQ(bDone, error.strText.empty());
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);

    VODirectoryEntry entry;
    round.fnBody = [&] { return VODescribeFile((folder / "sub").string<VOWCHAR>(), &entry, &error); };
    round.fnAfter = [&](bool bDone)
    {
        EXPECT_EQ(bDone, error.nError == 0);
        EXPECT_EQ(bDone, error.strText.empty());
    };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);

    _wfinddata64i32_t found;
    round.fnBody = [&] { return _wfindfirst64i32((folder / "sub").string<VOWCHAR>().c_str(), &found) != -1; };
    round.fnAfter = [](bool bDone) { EXPECT_TRUE(bDone || errno == ENOENT); };
    EXPECT_EQ(VO_SYSTEM_CALLS_HAVE_FAULT_POINTS, FailEachOnce(round) > 0);
}

TEST(FailingStream, StaysOpen)
{
    FILE* const pStream = tmpfile();
    ASSERT_NE(nullptr, pStream);
    FILE* pReopened = nullptr;
    VOFaultArm("freopen_s", 1, false);
    if (VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        EXPECT_NE(0, freopen_s(&pReopened, "/dev/null", "w", pStream));
        EXPECT_EQ(nullptr, pReopened);
        EXPECT_EQ(1u, VOFaultFired());
    }
    VOFaultDisarm();
    EXPECT_GE(fputs("goes on", pStream), 0);
    fclose(pStream);
}

TEST(FailingConsole, IsReportedAsMissing)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the console is the system's own here";
    }
    VOFaultArm("AttachConsole", 1, false);
    EXPECT_FALSE(AttachConsole(ATTACH_PARENT_PROCESS));
    EXPECT_EQ(DWORD{ERROR_INVALID_HANDLE}, GetLastError());
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
}

// In a process of its own, where no handler is there yet and a request harms nobody.
TEST(FailingStopRequestsDeathTest, AreRefusedAndCanStillBeWaitedFor)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "requests come from the system here";
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto body = []
    {
        VOFaultArm("stop.signal", 1, false);
        const bool bRefused = !VOHandleStopRequests() && VOFaultFired() == 1;
        const bool bQuiet = !VOWaitForStopRequest(1);
        std::thread thread([] { VORequestStop(); });
        const bool bNoted = VOWaitForStopRequest(0xFFFFFFFFu);
        thread.join();
        exit(bRefused && bQuiet && bNoted ? 0 : 1);
    };
    EXPECT_EXIT(body(), ::testing::ExitedWithCode(0), "");
}

namespace
{
// Each operation of the layer that can fail, once and without a fault.
void PassEveryPoint()
{
    const VOWString strName = Name("faultall");
    const HANDLE hSection = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 100, strName.c_str());
    const HANDLE hReader = OpenFileMappingW(FILE_MAP_READ, FALSE, strName.c_str());
    const void* const pView = MapViewOfFile(hReader, FILE_MAP_READ, 0, 0, 0);
    EXPECT_EQ(100u, VOViewSize(pView));
    EXPECT_TRUE(UnmapViewOfFile(pView));
    EXPECT_TRUE(CloseHandle(hReader));
    EXPECT_TRUE(CloseHandle(hSection));
    RemoveSection(strName);

    VOInstanceLock lock;
    EXPECT_EQ(VOInstanceLock::Result::Acquired, lock.TryAcquire(strName.c_str()));

    std::vector<VODirectoryEntry> vecEntries;
    VOSystemError error;
    _wfinddata64i32_t found;
    EXPECT_TRUE(VOListDirectory(VOTEXT("/proc/self/fd"), &vecEntries, &error));
    EXPECT_NE(-1, _wfindfirst64i32(VOTEXT("/proc/self"), &found));

    FILE* pReopened = nullptr;
    FILE* const pStream = tmpfile();
    EXPECT_EQ(0, freopen_s(&pReopened, "/dev/null", "w", pStream));
    fclose(pStream);
    (void)AttachConsole(ATTACH_PARENT_PROCESS);

    free(VOAllocateZeroed(1));
    EXPECT_FALSE(VOWaitForStopRequest(0));
}
}  // namespace

TEST(FaultPointsOfTheLayer, AreAllThere)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the system makes the calls here";
    }
    PassEveryPoint();
    const std::vector<std::string> vecNames = VOFaultNames();
    const std::set<std::string> setNames(vecNames.begin(), vecNames.end());
    for (const char* const pszName :
         {"AttachConsole", "CreateFileMappingW", "MapViewOfFile",   "OpenFileMappingW", "VOAllocateZeroed",
          "VirtualQuery",  "_wfindfirst64i32",   "directory.open",  "directory.read",   "freopen_s",
          "lock.open",     "lock.write",         "section.create",  "section.find",     "section.lock",
          "section.map",   "section.open",       "section.publish", "section.reserve",  "section.withdraw",
          "statx"})
    {
        EXPECT_EQ(1u, setNames.count(pszName)) << pszName;
    }
}

// A source that is followed while calls of the system fail: whatever fails and for how long, what is in the index is
// never taken for gone, and afterwards index, disk and what was told agree.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "live/index_model.h"
#include "live/random_writer.h"
#include "platform/fault_points.h"
#include "platform/vo_directories.h"
#include "support/new_faults.h"
#include "support/temporary_folder.h"
#include "tools/lum/live/live_source.h"
#include "tools/lum/live/root_watch.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace
{

using namespace livetest;

// A source of a directory, and what was told of it. The time that it goes by is the test's own where it can be.
class FollowedFolder
{
public:
    FollowedFolder() { m_kSpec = {LUMTrayService::AF_SOURCE, {m_kFolder.Path().string()}}; }

    bool Open()
    {
        m_pkSource = std::make_unique<lum::LiveSource>(m_kSpec, m_vecTypes, &m_kSignal);
        const bool bOpened = m_pkSource->Open(true, &strError);
        setTold = bOpened ? Indexed() : Paths();
        return bOpened;
    }

    // Opens it, and goes on until its monitor tells, and what its begin asks for is done.
    bool OpenWatched()
    {
        bool bWatched = Open();
        for (int nTry = 0; bWatched && nTry < 2; ++nTry)
        {
            nTry == 0 ? Write("probe") : static_cast<void>(fs::remove(Path() / "probe"));
            bWatched = FollowUntilRight();
        }
        for (int i = 0; i < 600 && m_pkSource->Status().ullDoubts == 0; ++i)
        {
            Follow(50ms);
        }
        uRemoved = 0;
        uAdded = 0;
        return bWatched;
    }

    void Write(const std::string& strPath, const std::string& strText = "x") const
    {
        fs::create_directories((m_kFolder.Path() / strPath).parent_path());
        std::ofstream(m_kFolder.Path() / strPath) << strText;
    }

    const fs::path& Path() const { return m_kFolder.Path(); }

    // Works for so long, as a server would.
    void Follow(std::chrono::milliseconds kTime)
    {
        const auto kEnd = lum::LiveClock::now() + kTime;
        do
        {
            Changes kChanges;
            EXPECT_TRUE(m_pkSource->Work(lum::LiveClock::now(), &kChanges, &strError)) << strError;
            Apply(kChanges, &setTold);
            for (const Change& kChange : kChanges)
            {
                uRemoved += kChange.eKind == ChangeKind::Removed ? 1 : 0;
                uAdded += kChange.eKind == ChangeKind::Added ? 1 : 0;
            }
            m_kSignal.WaitFor(20ms);
        } while (lum::LiveClock::now() < kEnd);
    }

    // Less than the audit would take: a hint or a doubt has to tell.
    bool FollowUntilRight(std::chrono::seconds kPatience = 30s)
    {
        for (int i = 0; i < 20 * kPatience.count() && setTold != OnDisk(); ++i)
        {
            Follow(50ms);
        }
        return setTold == OnDisk();
    }

    Paths Indexed()
    {
        lum::SourceImage kImage;
        EXPECT_TRUE(m_pkSource->MakeImage(&kImage, &strError)) << strError;
        unsigned char* pbImage = nullptr;
        unsigned uSize = 0;
        EXPECT_EQ(1, VODeCompressBuffer_lzo1x(&pbImage, &uSize, kImage.vecBlock.data()));
        const ReadImage kRead(reinterpret_cast<VOTSAssetNodeContainer::ContainerAlloc*>(pbImage));
        kRead.CheckEveryPathIsFound();
        return kRead.Walked();
    }

    // What was told and isn't there, and what is there and wasn't told, a line each; and what is known of the
    // following.
    std::string Differences() const
    {
        const Paths setDisk = OnDisk();
        std::vector<std::string> vecDifferent;
        std::set_symmetric_difference(setDisk.begin(), setDisk.end(), setTold.begin(), setTold.end(),
                                      std::back_inserter(vecDifferent));
        std::string strResult;
        for (const std::string& strPath : vecDifferent)
        {
            strResult += (setDisk.contains(strPath) ? "not told: " : "not there: ") + strPath + "\n";
        }
        size_t uUnwatched = 0;
        VOSystemError kError;
        VOCountUnwatchedDirectories(m_kFolder.Text(), &uUnwatched, &kError);
        const lum::SourceStatus& rkStatus = Status();
        return strResult + "hints " + std::to_string(rkStatus.ullHints) + ", comparisons " +
               std::to_string(rkStatus.ullDoubts) + ", polled " + std::to_string(rkStatus.ullPolledRoots) +
               ", unread " + std::to_string(rkStatus.ullUnread) + ", unwatched " + std::to_string(uUnwatched);
    }

    Paths OnDisk() const
    {
        Paths setPaths;
        for (const auto& kEntry : fs::recursive_directory_iterator(m_kFolder.Path()))
        {
            setPaths.insert(kEntry.path().lexically_relative(m_kFolder.Path()).generic_string() +
                            (kEntry.is_directory() ? "/" : ""));
        }
        return setPaths;
    }

    const lum::SourceStatus& Status() const { return m_pkSource->Status(); }

    std::string strError;
    Paths setTold;
    unsigned uRemoved = 0;
    unsigned uAdded = 0;

private:
    votest::TemporaryFolder m_kFolder;
    lum::SourceSpec m_kSpec;
    std::vector<lum::ClassifyType> m_vecTypes;
    lum::HintSignal m_kSignal;
    std::unique_ptr<lum::LiveSource> m_pkSource;
};

class LiveSourceFaults : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
        {
            GTEST_SKIP() << "the system makes the calls here";
        }
    }
    void TearDown() override { VOFaultDisarm(); }
};

TEST_F(LiveSourceFaults, WhileNothingCanBeListedNothingIsToldAndAfterwardsAllIs)
{
    for (const char* pszCall : {"directory.open", "directory.read"})
    {
        SCOPED_TRACE(pszCall);
        FollowedFolder kFollowed;
        for (int i = 0; i < 100; ++i)
        {
            kFollowed.Write("d" + std::to_string(i % 10) + "/" + std::to_string(i));
        }
        ASSERT_TRUE(kFollowed.OpenWatched()) << kFollowed.strError;
        const Paths setBefore = kFollowed.setTold;
        testing::internal::CaptureStderr();
        VOFaultArm(pszCall, 1, true);
        kFollowed.Write("new");
        kFollowed.Write("d1/new");
        fs::remove(kFollowed.Path() / "d2/2");
        kFollowed.Follow(1000ms);
        EXPECT_EQ(setBefore, kFollowed.setTold);
        EXPECT_EQ(setBefore, kFollowed.Indexed());
        EXPECT_NE(0u, kFollowed.Status().ullUnread);
        VOFaultDisarm();
        EXPECT_TRUE(kFollowed.FollowUntilRight());
        EXPECT_EQ(1u, kFollowed.uRemoved);
        EXPECT_EQ(2u, kFollowed.uAdded);
        EXPECT_EQ(kFollowed.setTold, kFollowed.Indexed());
        EXPECT_EQ(0u, kFollowed.Status().ullUnread);
        const std::string strSaid = testing::internal::GetCapturedStderr();
        EXPECT_LE(std::count(strSaid.begin(), strSaid.end(), '\n'), 6) << strSaid;
        EXPECT_NE(std::string::npos, strSaid.find("it is tried again")) << strSaid;
    }
}

TEST_F(LiveSourceFaults, WhileNothingCanBeLookedAtNothingIsToldAsChangedAndNoRootAsGone)
{
    FollowedFolder kFollowed;
    kFollowed.Write("d/a");
    kFollowed.Write("b");
    ASSERT_TRUE(kFollowed.OpenWatched()) << kFollowed.strError;
    const Paths setBefore = kFollowed.setTold;
    testing::internal::CaptureStderr();
    VOFaultArm("statx", 1, true);
    kFollowed.Write("d/a", "longer");
    kFollowed.Follow(1500ms);
    EXPECT_EQ(setBefore, kFollowed.setTold);
    EXPECT_NE(0u, VOFaultFired());
    VOFaultDisarm();
    kFollowed.Write("d/c");
    EXPECT_TRUE(kFollowed.FollowUntilRight(10s));
    EXPECT_EQ(0u, kFollowed.uRemoved);
    EXPECT_EQ(std::string::npos, testing::internal::GetCapturedStderr().find("gone"));
}

// One call at a time, each at several places of a run with changes of every kind.
TEST_F(LiveSourceFaults, WhicheverCallFailsOnceIndexDiskAndToldAgreeInTheEnd)
{
    const unsigned uPlaces = SoakTime(0s) < 60s ? 1 : 20;
    for (const char* pszCall : {"directory.open", "directory.read", "statx"})
    {
        FollowedFolder kFollowed;
        kFollowed.Write("d/a");
        testing::internal::CaptureStderr();
        ASSERT_TRUE(kFollowed.OpenWatched()) << kFollowed.strError;
        for (unsigned uNth = 1; uNth <= uPlaces && !testing::Test::HasFailure(); ++uNth)
        {
            SCOPED_TRACE(testing::Message() << pszCall << " " << uNth);
            const std::string strRound = std::to_string(uNth);
            kFollowed.Write("d/A" + strRound);
            kFollowed.Write("D/s/b");
            kFollowed.Write("gone/c");
            EXPECT_TRUE(kFollowed.FollowUntilRight());
            VOFaultArm(pszCall, uNth, false);
            fs::remove(kFollowed.Path() / ("d/A" + strRound));
            fs::rename(kFollowed.Path() / "D", kFollowed.Path() / ("e" + strRound));
            fs::remove_all(kFollowed.Path() / "gone");
            kFollowed.Write("n" + strRound + "/m/x");
            kFollowed.Follow(100ms);
            EXPECT_TRUE(kFollowed.FollowUntilRight());
            VOFaultDisarm();
            EXPECT_EQ(kFollowed.OnDisk(), kFollowed.setTold);
            EXPECT_EQ(kFollowed.setTold, kFollowed.Indexed());
        }
        testing::internal::GetCapturedStderr();
    }
}

// Several writers, and whatever lists, opens or watches fails now and then, once or for a while.
TEST_F(LiveSourceFaults, AfterRandomChangesAndFailuresOfEveryCallIndexDiskAndToldAgree)
{
    const char* const apszCalls[] = {"directory.open", "directory.read", "statx",
                                     "CreateFileW",    "CreateThread",   "ReadDirectoryChangesW",
                                     "inotify.open",   "inotify.watch",  "inotify.overflow",
                                     "read",           "statfs",         "watcher.memory",
                                     "watcher.thread"};
    std::mt19937 kRandom(20261122);
    FollowedFolder kFollowed;
    kFollowed.Write("d/a");
    ASSERT_TRUE(kFollowed.OpenWatched()) << kFollowed.strError;
    unsigned uFired = 0;
    const auto kEnd = SoakClock::now() + SoakTime(4s);
    for (unsigned uPhase = 0; SoakClock::now() < kEnd && !testing::Test::HasFailure(); ++uPhase)
    {
        SCOPED_TRACE(uPhase);
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        std::string strFailed;
        const auto kPhaseEnd = SoakClock::now() + 1s;
        std::vector<std::thread> vecWriters;
        for (unsigned i = 1; i <= 2; ++i)
        {
            vecWriters.emplace_back([&, i] { RandomWriter(kFollowed.Path(), 2 * uPhase + i).Run(kPhaseEnd); });
        }
        while (SoakClock::now() < kPhaseEnd)
        {
            const char* const pszCall = apszCalls[kRandom() % std::size(apszCalls)];
            VOFaultArm(pszCall, 1 + static_cast<unsigned>(kRandom() % 20), kRandom() % 3 == 0);
            kFollowed.Follow(std::chrono::milliseconds(kRandom() % 300));
            uFired += VOFaultFired();
            strFailed += VOFaultFired() != 0 ? std::string(" ") + pszCall : "";
            VOFaultDisarm();
        }
        for (std::thread& rkWriter : vecWriters)
        {
            rkWriter.join();
        }
        const bool bRight = kFollowed.FollowUntilRight();
        const std::string strSaid = testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout();
        EXPECT_TRUE(bRight) << "failed:" << strFailed << "\nsaid:\n" << strSaid << kFollowed.Differences();
        EXPECT_EQ(kFollowed.setTold, kFollowed.Indexed());
    }
    EXPECT_NE(0u, uFired);
}

// The audit would find it as well, but only a minute after its last round.
TEST_F(LiveSourceFaults, ALossOfTheSystemsIsFollowedByAComparisonOfEverything)
{
    FollowedFolder kFollowed;
    kFollowed.Write("d/a");
    ASSERT_TRUE(kFollowed.OpenWatched()) << kFollowed.strError;
    kFollowed.Follow(3000ms);  // nothing is looked at again after this
    VOFaultArm("inotify.overflow", 1, false);
    kFollowed.Write("d/new");
    EXPECT_TRUE(kFollowed.FollowUntilRight()) << kFollowed.Differences();
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ(Paths({"d/", "d/a", "d/new"}), kFollowed.setTold);
}

TEST_F(LiveSourceFaults, AWatchThatCantBeginAnewAfterALossIsTriedAgain)
{
    for (const char* pszCall : {"inotify.open", "directory.open"})
    {
        SCOPED_TRACE(pszCall);
        FollowedFolder kFollowed;
        kFollowed.Write("d/a");
        ASSERT_TRUE(kFollowed.OpenWatched()) << kFollowed.strError;
        kFollowed.Follow(3000ms);  // nothing is looked at again after this
        testing::internal::CaptureStderr();
        VOFaultArm("watcher.memory", 1, false);
        kFollowed.Write("d/b");
        for (int i = 0; i < 1000 && VOFaultFired() == 0; ++i)
        {
            std::this_thread::sleep_for(1ms);
        }
        VOFaultArm(pszCall, 1, true);
        std::this_thread::sleep_for(300ms);
        EXPECT_NE(0u, VOFaultFired());
        VOFaultDisarm();
        EXPECT_TRUE(kFollowed.FollowUntilRight()) << kFollowed.Differences();
        kFollowed.Follow(3000ms);
        kFollowed.Write("d/c");
        EXPECT_TRUE(kFollowed.FollowUntilRight(10s)) << kFollowed.Differences();
        testing::internal::GetCapturedStderr();
    }
}

TEST_F(LiveSourceFaults, WhatChangesBeforeAMonitorHasBegunIsFoundWhenItHas)
{
    FollowedFolder kFollowed;
    kFollowed.Write("d/a");
    VOFaultArm("ReadDirectoryChangesW", 1, true);
    ASSERT_TRUE(kFollowed.Open()) << kFollowed.strError;
    kFollowed.Follow(2500ms);
    kFollowed.Write("d/new");
    kFollowed.Follow(2500ms);
    EXPECT_EQ(Paths({"d/", "d/a"}), kFollowed.setTold);
    VOFaultDisarm();
    EXPECT_TRUE(kFollowed.FollowUntilRight()) << kFollowed.Differences();
    EXPECT_EQ(Paths({"d/", "d/a", "d/new"}), kFollowed.setTold);
}

TEST_F(LiveSourceFaults, AFirstScanNamesAFolderThatCantBeListedAndFillsItLater)
{
    FollowedFolder kFollowed;
    kFollowed.Write("d/a");
    testing::internal::CaptureStderr();
    // The root is listed to see that it is one, looked at by its monitor, and scanned.
    unsigned uNth = 1;
    for (; uNth < 20; ++uNth)
    {
        VOFaultArm("directory.read", uNth, false);
        const bool bOpened = kFollowed.Open();
        VOFaultDisarm();
        if (bOpened && kFollowed.Status().ullUnread == 1)
        {
            break;
        }
    }
    ASSERT_LT(uNth, 20u);
    const std::string strSaid = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, strSaid.find("lum: source: not indexed: d: can't be listed: ")) << strSaid;
    EXPECT_EQ(Paths{"d/"}, kFollowed.setTold);
    EXPECT_TRUE(kFollowed.FollowUntilRight());
    EXPECT_EQ((Paths{"d/", "d/a"}), kFollowed.setTold);
}

TEST_F(LiveSourceFaults, ARootThatCantBeListedAtFirstIsAnErrorOfOneSentence)
{
    FollowedFolder kFollowed;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    VOFaultArm("directory.open", 1, true);
    EXPECT_FALSE(kFollowed.Open());
    VOFaultDisarm();
    EXPECT_EQ("", testing::internal::GetCapturedStdout());
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    EXPECT_TRUE(kFollowed.strError.ends_with("can't be listed: Too many open files")) << kFollowed.strError;
}

// A destructor that waits for what was never there would not end.
TEST_F(LiveSourceFaults, ARootWhoseMonitorDidntStartIsPolledAndWatchedAsSoonAsItCanBe)
{
    FollowedFolder kFolder;
    kFolder.Write("file");
    VOFaultArm("CreateFileW", 1, false);
    EXPECT_TRUE(kFolder.Open()) << kFolder.strError;
    VOFaultDisarm();
    EXPECT_EQ(1u, kFolder.Status().ullPolledRoots);
    for (int i = 0; i < 200 && kFolder.Status().ullPolledRoots != 0; ++i)
    {
        kFolder.Follow(50ms);
    }
    EXPECT_EQ(0u, kFolder.Status().ullPolledRoots);
    kFolder.Write("later");
    EXPECT_TRUE(kFolder.FollowUntilRight());
    EXPECT_EQ(0u, kFolder.uRemoved);
}

TEST(RootWatchFaults, AWatchWhoseMonitorHasNoDispatcherIsLetGoOf)
{
    const votest::TemporaryFolder kFolder;
    lum::HintSignal kSignal;
    lum::HintPool kPool(&kSignal);
    unsigned uThrown = 0;
    // The first allocations are the watch's own, and then the dispatcher's.
    for (unsigned uNth = 1; uNth <= 20; ++uNth)
    {
        std::string strReason;
        votest::NewFaults::Arm(uNth);
        try
        {
            lum::RootWatch::Start(kFolder.Text(), &kPool, &strReason);
        }
        catch (const std::bad_alloc&)
        {
            ++uThrown;
        }
        votest::NewFaults::Disarm();
    }
    EXPECT_NE(0u, uThrown);
}

TEST_F(LiveSourceFaults, AMonitorThatCantBeMadeIsLetGoOfAndTheTreePolled)
{
    FollowedFolder kFollowed;
    kFollowed.Write("a");
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    for (const char* pszCall : {"CreateFileW", "CreateThread", "CreateEventW"})
    {
        VOFaultArm(pszCall, 1, false);
        EXPECT_TRUE(kFollowed.Open()) << pszCall;
        EXPECT_EQ(1u, VOFaultFired()) << pszCall;
        EXPECT_EQ(1u, kFollowed.Status().ullPolledRoots) << pszCall;
    }
    VOFaultDisarm();
    kFollowed.Write("b");
    EXPECT_TRUE(kFollowed.FollowUntilRight());
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
}

}  // namespace

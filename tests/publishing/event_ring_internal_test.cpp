// The ring of file events: its bytes, and a reader that takes from it whatever its publisher, a damage or a second
// writer does meanwhile.
#include "fileevent/event_ring.h"

#include <thread>

#include "fileevent/detect_thread.h"
#include "fileevent/event_section_tools.h"
#include "mapping/asset_road.h"
#include "platform/vo_section_publisher.h"
#include "platform/vo_shared_word.h"
#include "publishing/event_ring_writer.h"
#include "vo_publisher.h"

namespace
{

using namespace eventtest;

constexpr size_t kRing = 1048576;
constexpr size_t kWhole = 256 + kRing;

// A ring whose publisher lives, and a container of events.
class EventRing : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(VOInstanceLock::Result::Acquired, m_lock.TryAcquire(VOTEXT("vo_fileMappingAssetNodeRoad")));
        ASSERT_TRUE(m_writer.Open());
    }

    void Tell(enumAssetFrom eaf, const std::vector<std::pair<std::string, Time>>& vecEvents)
    {
        VOTSFileEventContainer& container = eaf == AF_SOURCE ? m_container : m_other;
        for (const auto& [strPath, ullTime] : vecEvents)
        {
            container.AppendEvent(InfoOf(votest::Wide(strPath).c_str()), ullTime);
        }
        m_writer.Publish(eaf, container, vecEvents.back().second);
    }

    // What a reader takes from a time on, and where it stands then.
    std::vector<Time> TakenBy(VOEventRing& ring, Time* pullLastTime)
    {
        std::vector<VOToldEvent> vecEvents;
        std::vector<Time> vecTimes;
        EXPECT_TRUE(ring.Follow());
        ring.Take(*pullLastTime, vecEvents);
        for (const VOToldEvent& event : vecEvents)
        {
            vecTimes.push_back(event.ullTime);
        }
        return vecTimes;
    }

    // The section's bytes, to be read and to be spoilt.
    unsigned char* Section()
    {
        m_view.Open(VOTEXT("vo_fileMappingFileEventRoad"), FILE_MAP_WRITE);
        EXPECT_LE(kWhole, m_view.Size());
        return static_cast<unsigned char*>(m_view.Data());
    }

    VOInstanceLock m_lock;
    VOEventRingWriter m_writer;
    VOTSFileEventContainer m_container;
    VOTSFileEventContainer m_other;
    VOSectionView m_view;
    VOEventRing m_ring{AF_SOURCE};
    Time m_ullLastTime = 1;
};

TEST_F(EventRing, HasTheseBytes)
{
    const Bytes before = votest::CopyBytes(Section(), 256);
    const uint64_t ullFirst = votest::ReadU64(before, 16);
    EXPECT_EQ(ullFirst, votest::ReadU64(before, 24));
    EXPECT_EQ(0u, ullFirst % 8);

    m_container.AppendEvent({0x11, 0x22, 0x33, VOTEXT("a/b"), VOTEXT("cd"), VOTEXT("/x/a/b")}, 0x1000);
    m_writer.Publish(AF_SOURCE, m_container, 0x1000);
    m_other.AppendEvent({4, 5, 6, VOTEXT("q"), nullptr, nullptr}, 0x2000);
    m_writer.Publish(AF_TARGET, m_other, 0x2001);

    const auto Event = [](const ByteBuilder& content)
    {
        ByteBuilder event;
        event.U32(static_cast<uint32_t>(content.Size() + 8));
        event.U32(votest::ReferenceCheck(content.Result(), 0, content.Size()));
        return event.Append(content.Result()).Result();
    };
    ByteBuilder first;
    first.U64(ullFirst).U64(0x1000).U64(0).U32(1).U32(0x11).U32(0x22).U32(0x33).U32(3).U32(2).U32(6).U32(0);
    first.Text(VOTEXT("a/b")).Text(VOTEXT("cd")).Text(VOTEXT("/x/a/b")).Zeros(4);
    ByteBuilder second;
    second.U64(ullFirst + 96).U64(0x2000).U64(0).U32(2).U32(4).U32(5).U32(6).U32(1).U32(0).U32(0).U32(0);
    second.Text(VOTEXT("q")).Zeros(4);
    const Bytes firstEvent = Event(first);
    const Bytes secondEvent = Event(second);
    ASSERT_EQ(96u, firstEvent.size());
    ASSERT_EQ(72u, secondEvent.size());

    ByteBuilder head;
    head.Narrow("events.1.0").Zeros(6).U64(ullFirst).U64(ullFirst + 168).U32(2).U32(0).U64(kRing).Zeros(16);
    head.Zeros(16).U64(0x1000).U64(0x1000).U64(0x2000).U64(0x2001).Zeros(7 * 16).Zeros(32);
    Bytes now = votest::CopyBytes(Section(), 256);
    votest::WriteU32(now, 32, votest::ReadU32(now, 32) - votest::ReadU32(before, 32));
    EXPECT_TRUE(SameBytes(head.Result(), now));
    Bytes ring = votest::CopyBytes(Section() + 256, kRing);
    std::rotate(ring.begin(), ring.begin() + static_cast<std::ptrdiff_t>(ullFirst % kRing), ring.end());
    ring.resize(168);
    EXPECT_TRUE(SameBytes(ByteBuilder().Append(firstEvent).Append(secondEvent).Result(), ring));
}

TEST_F(EventRing, AReaderTakesItsSourcesEventsOnceInTheirOrder)
{
    Tell(AF_SOURCE, {{"a", 10}, {"b", 20}});
    Tell(AF_TARGET, {{"other", 25}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(10, 20));
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), IsEmpty());
    Tell(AF_SOURCE, {{"c", 30}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(30));

    VOEventRing later(AF_SOURCE);
    Time ullSince = 15;
    EXPECT_THAT(TakenBy(later, &ullSince), ElementsAre(20, 30));
}

TEST_F(EventRing, WhatFollowsUponAnEventThatWasntSeenWaitsForTheOtherRoad)
{
    Tell(AF_SOURCE, {{"a", 10}});
    // One that the ring can't hold.
    Tell(AF_SOURCE, {{std::string(200000, 'x'), 20}});
    Tell(AF_SOURCE, {{"c", 30}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(10));
    EXPECT_EQ(11u, m_ullLastTime);
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), IsEmpty());
    m_ullLastTime = 25;  // told by the other road
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(30));
}

TEST_F(EventRing, OnlyWhatHasAllBeenHereIsTakenForToldWithoutAnEvent)
{
    Tell(AF_SOURCE, {{"a", 10}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(10));
    m_writer.Publish(AF_SOURCE, m_container, 15);
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), IsEmpty());
    EXPECT_EQ(15u, m_ullLastTime);
    Tell(AF_SOURCE, {{std::string(200000, 'x'), 20}});
    m_writer.Publish(AF_SOURCE, m_container, 25);
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), IsEmpty());
    EXPECT_EQ(15u, m_ullLastTime);
}

TEST_F(EventRing, AReaderThatIsTooFarBehindTakesWhatFollowsUponWhatItKnows)
{
    Tell(AF_SOURCE, {{"a", 10}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(10));
    Time ullTime = 10;
    for (int i = 0; i < 20000; ++i)
    {
        Tell(AF_TARGET, {{"many", ++ullTime}});
        m_other.CleanUp();
    }
    // Nothing of its own was missed, but that can't be known.
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), IsEmpty());
    Tell(AF_SOURCE, {{"b", ++ullTime}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(ullTime));
    for (int i = 0; i < 20000; ++i)
    {
        Tell(AF_SOURCE, {{"own", ++ullTime}});
        m_container.CleanUp();
    }
    const Time ullBefore = m_ullLastTime;
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), IsEmpty());
    EXPECT_EQ(ullBefore, m_ullLastTime);
}

TEST_F(EventRing, ATakenOverRingBeginsEmptyAndItsReadersGoOn)
{
    Tell(AF_SOURCE, {{"a", 10}});
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(10));
    VOEventRingWriter next;
    ASSERT_TRUE(next.Open());
    VOTSFileEventContainer fresh;
    fresh.AppendEvent(InfoOf(VOTEXT("b")), 40);
    next.Publish(AF_SOURCE, fresh, 40);
    EXPECT_THAT(TakenBy(m_ring, &m_ullLastTime), ElementsAre(40));
}

TEST_F(EventRing, IsNotFollowedWithoutALivingPublisher)
{
    EXPECT_TRUE(m_ring.Follow());
    m_lock.Release();
    EXPECT_FALSE(m_ring.Follow());
}

TEST_F(EventRing, OfAFlippedBitOrACutNothingUnsoundIsTaken)
{
    Tell(AF_SOURCE, {{"a", 10}, {"b", 20}});
    unsigned char* const pbSection = Section();
    const Bytes whole = votest::CopyBytes(pbSection, kWhole);
    const uint64_t ullFirst = votest::ReadU64(whole, 16);
    const auto Restore = [&] { memcpy(pbSection, whole.data(), kWhole); };
    for (size_t uBit = 0; uBit < (256 + 160) * 8; ++uBit)
    {
        const size_t uAt = uBit / 8 < 256 ? uBit / 8 : 256 + (ullFirst + uBit / 8 - 256) % kRing;
        pbSection[uAt] ^= static_cast<unsigned char>(1u << (uBit % 8));
        VOEventRing ring(AF_SOURCE);
        std::vector<VOToldEvent> vecEvents;
        Time ullLastTime = 1;
        if (ring.Follow())
        {
            ring.Take(ullLastTime, vecEvents);
        }
        ASSERT_LE(vecEvents.size(), 2u) << "bit " << uBit;
        for (size_t i = 0; i < vecEvents.size(); ++i)
        {
            EXPECT_EQ(votest::Wide(i == 0 ? "a" : "b"), vecEvents[i].astrText[0]) << "bit " << uBit;
            EXPECT_EQ(10 * (i + 1), vecEvents[i].ullTime) << "bit " << uBit;
        }
        if (uBit >= 256 * 8 && uBit < (256 + 72) * 8)
        {
            EXPECT_TRUE(vecEvents.empty()) << "bit " << uBit;
        }
        Restore();
    }
}

TEST_F(EventRing, WhileSomebodyScribblesNothingIsReadOutsideTheRing)
{
    unsigned char* const pbSection = Section();
    Tell(AF_SOURCE, {{"a", 10}, {"b", 20}});
    std::atomic<bool> bEnd{false};
    std::thread scribbler(
        [&]
        {
            Random random(4);
            while (!bEnd)
            {
                const bool bHead = random.Percent(50);
                const size_t uAt = bHead ? random.Below(32) : 32 + random.Below((kRing / 8));
                VOStoreWord(reinterpret_cast<uint64_t*>(pbSection)[uAt], random.Next());
            }
        });
    Time ullTime = 20;
    for (int i = 0; i < 3000; ++i)
    {
        VOEventRing ring(AF_SOURCE);
        std::vector<VOToldEvent> vecEvents;
        Time ullLastTime = 1;
        if (ring.Follow())
        {
            ring.Take(ullLastTime, vecEvents);
        }
        Tell(AF_SOURCE, {{"more", ++ullTime}});
        m_container.CleanUp();
    }
    bEnd = true;
    scribbler.join();
}

// A publisher's whole second road beside its events on the first one.
class ToldEvents : public testing::Test
{
protected:
    void SetUp() override
    {
        g_uVODetectPause = 20;
        ASSERT_TRUE(m_road.Open());
        ASSERT_TRUE(m_road.Publish(AF_SOURCE, m_index));
        m_events.AppendEvent(InfoOf(VOTEXT("before")), 5);
        m_publisher.Publish(AF_SOURCE, m_events, 6);
    }
    ~ToldEvents() override { g_uVODetectPause = 500; }

    Time Append()
    {
        m_events.AppendEvent(InfoOf(VOTEXT("path"), VOTEXT("new"), VOTEXT("real")), m_ullTime += 2);
        return m_ullTime;
    }

    // On the first road too, as each publisher does it sooner or later.
    void PublishAll()
    {
        m_road.PublishEvents(AF_SOURCE, m_events, m_ullTime + 1);
        m_publisher.Publish(AF_SOURCE, m_events, m_ullTime + 1);
    }

    // From now on the thread delivers.
    void Listen()
    {
        m_inspector.BindListener(m_listener.Get());
        ASSERT_EQ(1, m_inspector.Run());
        ASSERT_TRUE(WaitUntil(
            [&]
            {
                Append();
                PublishAll();
                return m_record.Count() != 0;
            }));
    }

    VORoadPublisher m_road;
    VOTSAssetNodeContainer m_index;
    Publisher m_publisher;
    VOTSFileEventContainer m_events;
    Time m_ullTime = 1000;
    Record m_record;
    Held m_listener{m_record};
    StoppingInspector m_inspector;
};

TEST_F(ToldEvents, AreDeliveredOnceWhicheverRoadTheyCome)
{
    Listen();
    Random random(9);
    std::vector<Time> vecTold;
    for (int i = 0; i < 300; ++i)
    {
        vecTold.push_back(Append());
        if (random.Percent(70))
        {
            m_road.PublishEvents(AF_SOURCE, m_events, m_ullTime);
        }
        if (random.Percent(20))
        {
            PublishAll();
        }
        if (random.Percent(10))
        {
            m_road.Remove(AF_SOURCE);
            m_publisher.Publish(AF_SOURCE, m_events, m_ullTime + 1);
            ASSERT_TRUE(m_road.Publish(AF_SOURCE, m_index));
        }
        VOSleepMilliseconds(static_cast<uint32_t>(random.Below(5)));
    }
    PublishAll();
    EXPECT_TRUE(WaitUntil([&] { return !m_record.Times().empty() && m_record.Times().back() == vecTold.back(); }));
    std::vector<Time> vecTimes = m_record.Times();
    ASSERT_GE(vecTimes.size(), vecTold.size());
    vecTimes.erase(vecTimes.begin(), vecTimes.end() - static_cast<std::ptrdiff_t>(vecTold.size()));
    EXPECT_EQ(vecTold, vecTimes);
    EXPECT_EQ(VOTEXT("path"), m_record.All().back().strPath);
    EXPECT_EQ(VOTEXT("new"), m_record.All().back().strNewName);
    EXPECT_EQ(VOTEXT("real"), m_record.All().back().strPhysicPath);
}

TEST_F(ToldEvents, WakeAThreadThatWaits)
{
    Listen();
    // From now on it doesn't look by itself.
    g_uVODetectPause = 600000;
    VOSleepMilliseconds(50);
    for (int i = 0; i < 20; ++i)
    {
        const Time ullTime = Append();
        m_road.PublishEvents(AF_SOURCE, m_events, m_ullTime);
        ASSERT_TRUE(WaitUntil([&] { return m_record.Times().back() == ullTime; }));
    }
    g_uVODetectPause = 20;
    Append();
    m_road.PublishEvents(AF_SOURCE, m_events, m_ullTime);
}

TEST_F(ToldEvents, OfASourceWhoseImageAToolShowsComeOnTheFirstRoad)
{
    Listen();
    VOAssetRoad::HoldImage(AF_SOURCE, true);
    VOSleepMilliseconds(60);
    const size_t uBefore = m_record.Count();
    Append();
    m_road.PublishEvents(AF_SOURCE, m_events, m_ullTime);
    VOSleepMilliseconds(200);
    EXPECT_EQ(uBefore, m_record.Count());
    PublishAll();
    EXPECT_TRUE(WaitUntil([&] { return m_record.Count() == uBefore + 1; }));
    VOAssetRoad::HoldImage(AF_SOURCE, false);
}

}  // namespace

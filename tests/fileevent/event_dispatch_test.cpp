// Binding listeners, handing them an event, and what becomes of those that their tools let go of.
#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

const std::string kDispatch = kInspector + "DispatchFileEvent";

// A reader's container with one event of each kind, and an inspector without a thread.
class EventDispatch : public testing::Test
{
protected:
    EventDispatch() : m_kImage(SampleModel().Image(), 1), m_kContainer(AR_Customer), m_kInspector(AF_PAKV4)
    {
        EXPECT_EQ(1, m_kContainer.SetAlloc(m_kImage.As<EventImage>(), 0));
        m_vecEvent = AllOf(m_kContainer);
    }
    int Dispatch(size_t uEvent = 0) { return m_kInspector.DispatchFileEvent(m_vecEvent[uEvent], &m_kContainer); }

    MisalignedBlock m_kImage;
    VOTSFileEventContainer m_kContainer;
    OpenInspector m_kInspector;
    Events m_vecEvent;
    Record m_akRecord[4];
};

TEST_F(EventDispatch, GivesAListenerEveryFieldOfTheEventAndTheSource)
{
    Held kListener(m_akRecord[0]);
    EXPECT_EQ(1, m_kInspector.BindListener(kListener.Get()));
    for (size_t uEvent = 0; uEvent < 3; ++uEvent)
    {
        EXPECT_EQ(1, Dispatch(uEvent));
    }
    const std::vector<Received> vecReceived = m_akRecord[0].All();
    ASSERT_EQ(3u, vecReceived.size());
    EXPECT_EQ(AF_PAKV4, vecReceived[0].eaf);
    EXPECT_THAT(vecReceived[0].auValue, ElementsAre(1, 2, 3));
    EXPECT_THAT(vecReceived[2].auValue, ElementsAre(7, 8, 0xFFFFFFFFu));
    EXPECT_THAT(m_akRecord[0].Times(), ElementsAre(10, 20, 30));
    EXPECT_EQ(VOWString(VOTEXT("dir/a.png")), vecReceived[0].strPath);
    EXPECT_EQ(VOWString(VOTEXT("c.png")), vecReceived[1].strNewName);
    EXPECT_EQ(VOWString(VOTEXT("E:\\pak\\x.pak")), vecReceived[2].strPhysicPath);
}

TEST_F(EventDispatch, ATextThatWasNotGivenArrivesAsNullAndNotAsAnEmptyText)
{
    Held kListener(m_akRecord[0]);
    m_kInspector.BindListener(kListener.Get());
    for (size_t uEvent = 0; uEvent < 3; ++uEvent)
    {
        Dispatch(uEvent);
    }
    const std::vector<Received> vecReceived = m_akRecord[0].All();
    ASSERT_EQ(3u, vecReceived.size());
    EXPECT_FALSE(vecReceived[0].bNewName);
    EXPECT_FALSE(vecReceived[0].bPhysicPath);
    EXPECT_TRUE(vecReceived[1].bNewName);
    EXPECT_FALSE(vecReceived[1].bPhysicPath);
    EXPECT_FALSE(vecReceived[2].bNewName);
    EXPECT_TRUE(vecReceived[2].bPhysicPath);
}

TEST_F(EventDispatch, TheParameterRecordHasItsFieldsInOrder)
{
    EXPECT_EQ(0u, offsetof(FileEventParam, eaf));
    EXPECT_EQ(4u, offsetof(FileEventParam, dwEventParam0));
    EXPECT_EQ(8u, offsetof(FileEventParam, dwEventParam1));
    EXPECT_EQ(12u, offsetof(FileEventParam, dwEventParam2));
    EXPECT_EQ(16u, offsetof(FileEventParam, pszPath));
    EXPECT_EQ(24u, offsetof(FileEventParam, pszNewName));
    EXPECT_EQ(32u, offsetof(FileEventParam, pszPhysicPath));
    EXPECT_EQ(40u, offsetof(FileEventParam, ullTime));
}

TEST_F(EventDispatch, ReachesListenersInTheOrderOfBinding)
{
    std::vector<int> vecOrder;
    Held kFirst(m_akRecord[0], [&](const FileEventParam&) { vecOrder.push_back(1); });
    Held kSecond(m_akRecord[1], [&](const FileEventParam&) { vecOrder.push_back(2); });
    m_kInspector.BindListener(kSecond.Get());
    m_kInspector.BindListener(kFirst.Get());
    Dispatch();
    EXPECT_THAT(vecOrder, ElementsAre(2, 1));
}

TEST_F(EventDispatch, WithoutAContainerFailsBeforeTheLock)
{
    LogCapture kLog;
    EXPECT_EQ(0, m_kInspector.DispatchFileEvent(m_vecEvent[0], nullptr));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("pkContainer", kDispatch)));
}

TEST_F(EventDispatch, OfAnEventWithoutAPathFailsAndGivesTheLockBack)
{
    Held kListener(m_akRecord[0]);
    m_kInspector.BindListener(kListener.Get());
    LogCapture kLog;
    EXPECT_EQ(0, m_kInspector.DispatchFileEvent(structFileEventNode(), &m_kContainer));
    structFileEventNode node;
    node.hstrPath = reinterpret_cast<void*>(uintptr_t{1000});
    EXPECT_EQ(0, m_kInspector.DispatchFileEvent(node, &m_kContainer));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("node.hstrPath != INVALID_HANDLE_VALUE", kDispatch),
                                          ProcessError("pszPath", kDispatch)));
    EXPECT_EQ(0u, m_akRecord[0].Count());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1u, m_akRecord[0].Count());
}

TEST_F(EventDispatch, WithoutListenersIsNoFailure)
{
    LogCapture kLog;
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(0u, kLog.Count());
}

// ---------------------------------------------------------------------------------------------------------------------
// Binding
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventDispatch, BindingTheSameListenerTwiceKeepsOneEntryAndOneReference)
{
    Held kListener(m_akRecord[0]);
    EXPECT_EQ(1, m_kInspector.BindListener(kListener.Get()));
    EXPECT_EQ(2u, kListener.Get()->RefCount());
    EXPECT_EQ(1, m_kInspector.BindListener(kListener.Get()));
    EXPECT_EQ(2u, kListener.Get()->RefCount());
    EXPECT_EQ(1u, m_kInspector.m_vecListener.size());
    Dispatch();
    EXPECT_EQ(1u, m_akRecord[0].Count());
}

TEST_F(EventDispatch, BindingNothingIsRefused)
{
    LogCapture kLog;
    EXPECT_EQ(0, m_kInspector.BindListener(nullptr));
    EXPECT_THAT(kLog.Lines(), ElementsAre(ProcessError("piListener", kInspector + "BindListener")));
    EXPECT_THAT(m_kInspector.m_vecListener, IsEmpty());
}

TEST_F(EventDispatch, TheInspectorsEndReleasesOneReferenceOfEach)
{
    Held kListener(m_akRecord[0]);
    {
        OpenInspector kInspectorOfScope(AF_SOURCE);
        kInspectorOfScope.BindListener(kListener.Get());
        Held kLetGo(m_akRecord[1]);
        kInspectorOfScope.BindListener(kLetGo.Get());
        kLetGo.LetGo();
        EXPECT_EQ(0, m_akRecord[1].Deleted());
    }
    EXPECT_EQ(1u, kListener.Get()->RefCount());
    EXPECT_EQ(1, m_akRecord[1].Deleted());
}

// ---------------------------------------------------------------------------------------------------------------------
// Listeners that their tools let go of
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventDispatch, AListenerLetGoOfGetsNoMoreEventsAndIsDeletedAtTheNextOne)
{
    Held kListener(m_akRecord[0]);
    m_kInspector.BindListener(kListener.Get());
    Dispatch();
    kListener.LetGo();
    EXPECT_EQ(0, m_akRecord[0].Deleted());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1, m_akRecord[0].Deleted());
    EXPECT_EQ(1u, m_akRecord[0].Count());
}

TEST_F(EventDispatch, OfThreeListenersTheFirstOneDeadErasesTheEntryOfTheSecond)
{
    Held kA(m_akRecord[0]);
    Held kB(m_akRecord[1]);
    Held kC(m_akRecord[2]);
    for (Held* const pkHeld : {&kA, &kB, &kC})
    {
        m_kInspector.BindListener(pkHeld->Get());
    }
    kA.LetGo();
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1u, m_akRecord[1].Count()) << "this one event still reaches it";
    EXPECT_EQ(1u, m_akRecord[2].Count());
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(nullptr, kC.Get()));

    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(0u, m_akRecord[0].Count());
    EXPECT_EQ(1u, m_akRecord[1].Count()) << "no more events";
    EXPECT_EQ(3u, m_akRecord[2].Count());
    EXPECT_EQ(2u, kB.Get()->RefCount()) << "its reference is still held";
    EXPECT_EQ(2u, kC.Get()->RefCount());
    EXPECT_EQ(1, m_akRecord[0].Deleted());

    // Bound anew it is found again; the second reference of its lost binding goes with the test.
    EXPECT_EQ(1, m_kInspector.BindListener(kB.Get()));
    EXPECT_EQ(3u, kB.Get()->RefCount());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(2u, m_akRecord[1].Count());
    kB.Get()->Release();
}

TEST_F(EventDispatch, OfThreeListenersTheSecondOneDeadIsTheOneErased)
{
    Held kA(m_akRecord[0]);
    Held kB(m_akRecord[1]);
    Held kC(m_akRecord[2]);
    for (Held* const pkHeld : {&kA, &kB, &kC})
    {
        m_kInspector.BindListener(pkHeld->Get());
    }
    kB.LetGo();
    Dispatch();
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(kA.Get(), kC.Get()));
    Dispatch();
    EXPECT_EQ(2u, m_akRecord[0].Count());
    EXPECT_EQ(2u, m_akRecord[2].Count());
}

TEST_F(EventDispatch, OfFourListenersTheFirstAndTheLastDeadEraseTheTwoBetween)
{
    Held kA(m_akRecord[0]);
    Held kB(m_akRecord[1]);
    Held kC(m_akRecord[2]);
    Held kD(m_akRecord[3]);
    for (Held* const pkHeld : {&kA, &kB, &kC, &kD})
    {
        m_kInspector.BindListener(pkHeld->Get());
    }
    kA.LetGo();
    kD.LetGo();
    Dispatch();
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(nullptr, nullptr));
    Dispatch();
    EXPECT_EQ(1u, m_akRecord[1].Count());
    EXPECT_EQ(1u, m_akRecord[2].Count());
    EXPECT_EQ(2u, kB.Get()->RefCount());
    EXPECT_EQ(2u, kC.Get()->RefCount());
    kB.Get()->Release();
    kC.Get()->Release();
}

TEST_F(EventDispatch, ASingleListenerFoundDeadLeavesAnEmptyEntry)
{
    Held kListener(m_akRecord[0]);
    m_kInspector.BindListener(kListener.Get());
    kListener.LetGo();
    EXPECT_EQ(1, Dispatch());
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(nullptr));
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1, m_akRecord[0].Deleted());

    // The next listener works beside it, and once it is dead as well the vector hasn't grown.
    Held kNext(m_akRecord[1]);
    EXPECT_EQ(1, m_kInspector.BindListener(kNext.Get()));
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1u, m_akRecord[1].Count());
    kNext.LetGo();
    EXPECT_EQ(1, Dispatch());
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(nullptr));
}

TEST_F(EventDispatch, WhenAllAreDeadEveryPlaceThatTheVectorHasLeftIsErasedBehindTheFirst)
{
    {
        Held kA(m_akRecord[0]);
        Held kB(m_akRecord[1]);
        Held kC(m_akRecord[2]);
        for (Held* const pkHeld : {&kA, &kB, &kC})
        {
            m_kInspector.BindListener(pkHeld->Get());
        }
    }
    EXPECT_EQ(1, Dispatch());
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(nullptr));
    for (const Record& rkRecord : {std::ref(m_akRecord[0]), std::ref(m_akRecord[1]), std::ref(m_akRecord[2])})
    {
        EXPECT_EQ(1, rkRecord.Deleted());
        EXPECT_EQ(0u, rkRecord.Count());
    }
}

TEST_F(EventDispatch, ANewListenerAtTheOldAddressIsBound)
{
    // Memory of an object that is gone is used again: the entry that it left must not be taken for the new one.
    alignas(Listener) unsigned char abMemory[sizeof(Listener)];
    class InPlace : public Listener
    {
    public:
        using Listener::Listener;
        static void operator delete(void*) {}
        static void* operator new(size_t, void* pvWhere) { return pvWhere; }
    };
    static_assert(sizeof(InPlace) == sizeof(Listener));
    InPlace* const pkFirst = new (abMemory) InPlace(m_akRecord[0]);
    m_kInspector.BindListener(pkFirst);
    pkFirst->Release();
    Dispatch();
    ASSERT_EQ(1, m_akRecord[0].Deleted());
    InPlace* const pkSecond = new (abMemory) InPlace(m_akRecord[1]);
    EXPECT_EQ(1, m_kInspector.BindListener(pkSecond));
    EXPECT_EQ(2u, pkSecond->RefCount());
    Dispatch();
    EXPECT_EQ(1u, m_akRecord[1].Count());
    pkSecond->Release();
    Dispatch();
    EXPECT_EQ(1, m_akRecord[1].Deleted());
}

TEST_F(EventDispatch, AListenerMayLetGoOfItselfInsideACall)
{
    Held kListener(m_akRecord[0]);
    Listener* const pkOther = new Listener(m_akRecord[1], [&](const FileEventParam&) { kListener.LetGo(); });
    m_kInspector.BindListener(pkOther);
    m_kInspector.BindListener(kListener.Get());
    Dispatch();
    EXPECT_EQ(0u, m_akRecord[0].Count()) << "found dead in the same walk";
    EXPECT_EQ(1, m_akRecord[0].Deleted());
    EXPECT_THAT(m_kInspector.m_vecListener, ElementsAre(pkOther));
    pkOther->Release();
}

}  // namespace

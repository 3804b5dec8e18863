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
    EventDispatch() : m_image(SampleModel().Image(), 1), m_container(AR_Customer), m_inspector(AF_PAKV4)
    {
        EXPECT_EQ(1, m_container.SetAlloc(m_image.As<EventImage>(), 0));
        m_vecEvent = AllOf(m_container);
    }
    int Dispatch(size_t uEvent = 0) { return m_inspector.DispatchFileEvent(m_vecEvent[uEvent], &m_container); }

    MisalignedBlock m_image;
    VOTSFileEventContainer m_container;
    OpenInspector m_inspector;
    Events m_vecEvent;
    Record m_akRecord[4];
};

TEST_F(EventDispatch, GivesAListenerEveryFieldOfTheEventAndTheSource)
{
    Held listener(m_akRecord[0]);
    EXPECT_EQ(1, m_inspector.BindListener(listener.Get()));
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
    Held listener(m_akRecord[0]);
    m_inspector.BindListener(listener.Get());
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
    Held first(m_akRecord[0], [&](const FileEventParam&) { vecOrder.push_back(1); });
    Held second(m_akRecord[1], [&](const FileEventParam&) { vecOrder.push_back(2); });
    m_inspector.BindListener(second.Get());
    m_inspector.BindListener(first.Get());
    Dispatch();
    EXPECT_THAT(vecOrder, ElementsAre(2, 1));
}

TEST_F(EventDispatch, WithoutAContainerFailsBeforeTheLock)
{
    LogCapture log;
    EXPECT_EQ(0, m_inspector.DispatchFileEvent(m_vecEvent[0], nullptr));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("pkContainer", kDispatch)));
}

TEST_F(EventDispatch, OfAnEventWithoutAPathFailsAndGivesTheLockBack)
{
    Held listener(m_akRecord[0]);
    m_inspector.BindListener(listener.Get());
    LogCapture log;
    EXPECT_EQ(0, m_inspector.DispatchFileEvent(structFileEventNode(), &m_container));
    structFileEventNode node;
    node.hstrPath = reinterpret_cast<void*>(uintptr_t{1000});
    EXPECT_EQ(0, m_inspector.DispatchFileEvent(node, &m_container));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("node.hstrPath != INVALID_HANDLE_VALUE", kDispatch),
                                         ProcessError("pszPath", kDispatch)));
    EXPECT_EQ(0u, m_akRecord[0].Count());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1u, m_akRecord[0].Count());
}

TEST_F(EventDispatch, WithoutListenersIsNoFailure)
{
    LogCapture log;
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(0u, log.Count());
}

// ---------------------------------------------------------------------------------------------------------------------
// Binding
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventDispatch, BindingTheSameListenerTwiceKeepsOneEntryAndOneReference)
{
    Held listener(m_akRecord[0]);
    EXPECT_EQ(1, m_inspector.BindListener(listener.Get()));
    EXPECT_EQ(2u, listener.Get()->RefCount());
    EXPECT_EQ(1, m_inspector.BindListener(listener.Get()));
    EXPECT_EQ(2u, listener.Get()->RefCount());
    EXPECT_EQ(1u, m_inspector.m_vecListener.size());
    Dispatch();
    EXPECT_EQ(1u, m_akRecord[0].Count());
}

TEST_F(EventDispatch, BindingNothingIsRefused)
{
    LogCapture log;
    EXPECT_EQ(0, m_inspector.BindListener(nullptr));
    EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("piListener", kInspector + "BindListener")));
    EXPECT_THAT(m_inspector.m_vecListener, IsEmpty());
}

TEST_F(EventDispatch, TheInspectorsEndReleasesOneReferenceOfEach)
{
    Held listener(m_akRecord[0]);
    {
        OpenInspector inspectorOfScope(AF_SOURCE);
        inspectorOfScope.BindListener(listener.Get());
        Held letGo(m_akRecord[1]);
        inspectorOfScope.BindListener(letGo.Get());
        letGo.LetGo();
        EXPECT_EQ(0, m_akRecord[1].Deleted());
    }
    EXPECT_EQ(1u, listener.Get()->RefCount());
    EXPECT_EQ(1, m_akRecord[1].Deleted());
}

// ---------------------------------------------------------------------------------------------------------------------
// Listeners that their tools let go of
// ---------------------------------------------------------------------------------------------------------------------

TEST_F(EventDispatch, AListenerLetGoOfGetsNoMoreEventsAndIsDeletedAtTheNextOne)
{
    Held listener(m_akRecord[0]);
    m_inspector.BindListener(listener.Get());
    Dispatch();
    listener.LetGo();
    EXPECT_EQ(0, m_akRecord[0].Deleted());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1, m_akRecord[0].Deleted());
    EXPECT_EQ(1u, m_akRecord[0].Count());
}

TEST_F(EventDispatch, OfThreeListenersTheFirstOneDeadErasesTheEntryOfTheSecond)
{
    Held a(m_akRecord[0]);
    Held b(m_akRecord[1]);
    Held c(m_akRecord[2]);
    for (Held* const pHeld : {&a, &b, &c})
    {
        m_inspector.BindListener(pHeld->Get());
    }
    a.LetGo();
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1u, m_akRecord[1].Count()) << "this one event still reaches it";
    EXPECT_EQ(1u, m_akRecord[2].Count());
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(nullptr, c.Get()));

    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(0u, m_akRecord[0].Count());
    EXPECT_EQ(1u, m_akRecord[1].Count()) << "no more events";
    EXPECT_EQ(3u, m_akRecord[2].Count());
    EXPECT_EQ(2u, b.Get()->RefCount()) << "its reference is still held";
    EXPECT_EQ(2u, c.Get()->RefCount());
    EXPECT_EQ(1, m_akRecord[0].Deleted());

    // Bound anew it is found again; the second reference of its lost binding goes with the test.
    EXPECT_EQ(1, m_inspector.BindListener(b.Get()));
    EXPECT_EQ(3u, b.Get()->RefCount());
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(2u, m_akRecord[1].Count());
    b.Get()->Release();
}

TEST_F(EventDispatch, OfThreeListenersTheSecondOneDeadIsTheOneErased)
{
    Held a(m_akRecord[0]);
    Held b(m_akRecord[1]);
    Held c(m_akRecord[2]);
    for (Held* const pHeld : {&a, &b, &c})
    {
        m_inspector.BindListener(pHeld->Get());
    }
    b.LetGo();
    Dispatch();
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(a.Get(), c.Get()));
    Dispatch();
    EXPECT_EQ(2u, m_akRecord[0].Count());
    EXPECT_EQ(2u, m_akRecord[2].Count());
}

TEST_F(EventDispatch, OfFourListenersTheFirstAndTheLastDeadEraseTheTwoBetween)
{
    Held a(m_akRecord[0]);
    Held b(m_akRecord[1]);
    Held c(m_akRecord[2]);
    Held d(m_akRecord[3]);
    for (Held* const pHeld : {&a, &b, &c, &d})
    {
        m_inspector.BindListener(pHeld->Get());
    }
    a.LetGo();
    d.LetGo();
    Dispatch();
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(nullptr, nullptr));
    Dispatch();
    EXPECT_EQ(1u, m_akRecord[1].Count());
    EXPECT_EQ(1u, m_akRecord[2].Count());
    EXPECT_EQ(2u, b.Get()->RefCount());
    EXPECT_EQ(2u, c.Get()->RefCount());
    b.Get()->Release();
    c.Get()->Release();
}

TEST_F(EventDispatch, ASingleListenerFoundDeadLeavesAnEmptyEntry)
{
    Held listener(m_akRecord[0]);
    m_inspector.BindListener(listener.Get());
    listener.LetGo();
    EXPECT_EQ(1, Dispatch());
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(nullptr));
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1, m_akRecord[0].Deleted());

    // The next listener works beside it, and once it is dead as well the vector hasn't grown.
    Held next(m_akRecord[1]);
    EXPECT_EQ(1, m_inspector.BindListener(next.Get()));
    EXPECT_EQ(1, Dispatch());
    EXPECT_EQ(1u, m_akRecord[1].Count());
    next.LetGo();
    EXPECT_EQ(1, Dispatch());
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(nullptr));
}

TEST_F(EventDispatch, WhenAllAreDeadEveryPlaceThatTheVectorHasLeftIsErasedBehindTheFirst)
{
    {
        Held a(m_akRecord[0]);
        Held b(m_akRecord[1]);
        Held c(m_akRecord[2]);
        for (Held* const pHeld : {&a, &b, &c})
        {
            m_inspector.BindListener(pHeld->Get());
        }
    }
    EXPECT_EQ(1, Dispatch());
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(nullptr));
    for (const Record& record : {std::ref(m_akRecord[0]), std::ref(m_akRecord[1]), std::ref(m_akRecord[2])})
    {
        EXPECT_EQ(1, record.Deleted());
        EXPECT_EQ(0u, record.Count());
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
    InPlace* const pFirst = new (abMemory) InPlace(m_akRecord[0]);
    m_inspector.BindListener(pFirst);
    pFirst->Release();
    Dispatch();
    ASSERT_EQ(1, m_akRecord[0].Deleted());
    InPlace* const pSecond = new (abMemory) InPlace(m_akRecord[1]);
    EXPECT_EQ(1, m_inspector.BindListener(pSecond));
    EXPECT_EQ(2u, pSecond->RefCount());
    Dispatch();
    EXPECT_EQ(1u, m_akRecord[1].Count());
    pSecond->Release();
    Dispatch();
    EXPECT_EQ(1, m_akRecord[1].Deleted());
}

TEST_F(EventDispatch, AListenerMayLetGoOfItselfInsideACall)
{
    Held listener(m_akRecord[0]);
    Listener* const pOther = new Listener(m_akRecord[1], [&](const FileEventParam&) { listener.LetGo(); });
    m_inspector.BindListener(pOther);
    m_inspector.BindListener(listener.Get());
    Dispatch();
    EXPECT_EQ(0u, m_akRecord[0].Count()) << "found dead in the same walk";
    EXPECT_EQ(1, m_akRecord[0].Deleted());
    EXPECT_THAT(m_inspector.m_vecListener, ElementsAre(pOther));
    pOther->Release();
}

}  // namespace

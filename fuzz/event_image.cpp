#include <string.h>

#include <vector>

#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "vots_file_event.h"

using LUMTrayService::structFileEventNode;

namespace
{
typedef VOTSFileEventContainer::ContainerAlloc EventAlloc;
typedef std::vector<structFileEventNode> Events;

constexpr unsigned long long kLastTime = ~0ull;

Events EventsOf(VOTSFileEventContainer& container)
{
    Events vecEvent;
    FUZZ_REQUIRE((container.GetEvent(vecEvent, 0, kLastTime) != 0) == !vecEvent.empty());
    return vecEvent;
}

bool SameEvents(const Events& one, const Events& other)
{
    return one.size() == other.size() && (one.empty() || memcmp(static_cast<const void*>(one.data()), other.data(),
                                                                one.size() * sizeof(one[0])) == 0);
}

void AskAll(VOTSFileEventContainer& container)
{
    const Events vecEvent = EventsOf(container);
    for (const structFileEventNode& event : vecEvent)
    {
        (void)FuzzText(container.GetString(event.hstrPath));
        (void)FuzzText(container.GetString(event.hstrNewName));
        (void)FuzzText(container.GetString(event.hstrPhysicPath));
        Events vecSame;
        FUZZ_REQUIRE(container.GetEvent(vecSame, event.ullTime, event.ullTime) != 0);
        FUZZ_REQUIRE(vecSame.size() <= vecEvent.size());
    }
    Events vecNone;
    FUZZ_REQUIRE(container.GetEvent(vecNone, 1, 0) == 0 && vecNone.empty());
}

// Whatever was accepted, and whatever became of it, makes an image with the same events.
void RequireSameAgain(VOTSFileEventContainer& container)
{
    const FuzzImage<EventAlloc> image(container.GetAlloc(), &free);
    FUZZ_REQUIRE(image != nullptr);
    const Events vecEvent = EventsOf(container);
    VOTSFileEventContainer view(LUMTrayService::AR_Customer);
    FUZZ_REQUIRE(view.SetAlloc(image.get(), 0, FuzzImageSize(image)) != 0);
    FUZZ_REQUIRE(SameEvents(vecEvent, EventsOf(view)));
    for (const structFileEventNode& event : vecEvent)
    {
        FUZZ_REQUIRE(FuzzText(container.GetString(event.hstrPath)) == FuzzText(view.GetString(event.hstrPath)));
    }
}

void Append(VOTSFileEventContainer& container, FuzzBytes& steps, unsigned long long ullTime)
{
    static const VOWCHAR* const s_apszText[] = {VOTEXT("d/a"), VOTEXT("b"), VOTEXT("new/c.d"), nullptr};
    const Events vecBefore = EventsOf(container);
    VOTSFileEventContainer::Info about;
    const uint8_t uTexts = steps.Byte();
    about.pszPath = s_apszText[uTexts % 4];
    about.pszNewName = s_apszText[uTexts / 4 % 4];
    // A text of the pool itself.
    about.pszPhysicPath = uTexts >= 128 && !vecBefore.empty() ? container.GetString(vecBefore.back().hstrPath)
                                                              : s_apszText[uTexts / 16 % 4];
    const int nResult = container.AppendEvent(about, ullTime);
    FUZZ_REQUIRE(nResult != 0 || about.pszPath == nullptr);
    FUZZ_REQUIRE(EventsOf(container).size() == vecBefore.size() + (nResult != 0 ? 1 : 0));
}

void Step(VOTSFileEventContainer& container, FuzzBytes& steps)
{
    const uint8_t uStep = steps.Byte();
    switch (uStep % 6)
    {
        case 0:
        case 1:
            Append(container, steps, steps.Byte());
            break;
        case 2:
            FUZZ_REQUIRE(container.RemoveEvent(steps.Byte()) == 1);
            break;
        case 3:
            FUZZ_REQUIRE(container.RemoveEvent(uStep >= 128 ? kLastTime : steps.Word()) == 1);
            FUZZ_REQUIRE(uStep < 128 || EventsOf(container).empty());
            break;
        case 4:
        {
            // A copy shares the texts, and has records of its own.
            const Events vecBefore = EventsOf(container);
            VOTSFileEventContainer copy(container);
            Append(copy, steps, uStep);
            FUZZ_REQUIRE(SameEvents(vecBefore, EventsOf(container)));
            break;
        }
        default:
            FUZZ_REQUIRE(container.CleanUp() != 0 && EventsOf(container).empty());
            break;
    }
}
}  // namespace

void FuzzEventImage(const uint8_t* pbData, size_t uSize)
{
    FuzzBytes input(pbData, uSize);
    FuzzBytes steps = input.TakeSteps();
    EventAlloc* const pAlloc = reinterpret_cast<EventAlloc*>(const_cast<uint8_t*>(input.Data()));
    VOTSFileEventContainer view(LUMTrayService::AR_Customer);
    VOTSFileEventContainer copy(LUMTrayService::AR_Provider);
    const int nView = view.SetAlloc(pAlloc, 0, input.Size());
    FUZZ_REQUIRE(copy.SetAlloc(pAlloc, 1, input.Size()) == nView);
    AskAll(view);
    if (nView != 0)
    {
        FUZZ_REQUIRE(SameEvents(EventsOf(view), EventsOf(copy)));
        RequireSameAgain(view);
        // What is removed from a view leaves its image alone.
        FUZZ_REQUIRE(view.RemoveEvent(kLastTime) == 1 && EventsOf(view).empty());
        while (!steps.Empty())
        {
            Step(copy, steps);
        }
        AskAll(copy);
        RequireSameAgain(copy);
    }
}

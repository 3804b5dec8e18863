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

Events EventsOf(VOTSFileEventContainer& rkContainer)
{
    Events vecEvent;
    FUZZ_REQUIRE((rkContainer.GetEvent(vecEvent, 0, kLastTime) != 0) == !vecEvent.empty());
    return vecEvent;
}

bool SameEvents(const Events& rkOne, const Events& rkOther)
{
    return rkOne.size() == rkOther.size() &&
           (rkOne.empty() ||
            memcmp(static_cast<const void*>(rkOne.data()), rkOther.data(), rkOne.size() * sizeof(rkOne[0])) == 0);
}

void AskAll(VOTSFileEventContainer& rkContainer)
{
    const Events vecEvent = EventsOf(rkContainer);
    for (const structFileEventNode& kEvent : vecEvent)
    {
        (void)FuzzText(rkContainer.GetString(kEvent.hstrPath));
        (void)FuzzText(rkContainer.GetString(kEvent.hstrNewName));
        (void)FuzzText(rkContainer.GetString(kEvent.hstrPhysicPath));
        Events vecSame;
        FUZZ_REQUIRE(rkContainer.GetEvent(vecSame, kEvent.ullTime, kEvent.ullTime) != 0);
        FUZZ_REQUIRE(vecSame.size() <= vecEvent.size());
    }
    Events vecNone;
    FUZZ_REQUIRE(rkContainer.GetEvent(vecNone, 1, 0) == 0 && vecNone.empty());
}

// Whatever was accepted, and whatever became of it, makes an image with the same events.
void RequireSameAgain(VOTSFileEventContainer& rkContainer)
{
    const FuzzImage<EventAlloc> kImage(rkContainer.GetAlloc(), &free);
    FUZZ_REQUIRE(kImage != nullptr);
    const Events vecEvent = EventsOf(rkContainer);
    VOTSFileEventContainer kView(LUMTrayService::AR_Customer);
    FUZZ_REQUIRE(kView.SetAlloc(kImage.get(), 0, FuzzImageSize(kImage)) != 0);
    FUZZ_REQUIRE(SameEvents(vecEvent, EventsOf(kView)));
    for (const structFileEventNode& kEvent : vecEvent)
    {
        FUZZ_REQUIRE(FuzzText(rkContainer.GetString(kEvent.hstrPath)) == FuzzText(kView.GetString(kEvent.hstrPath)));
    }
}

void Append(VOTSFileEventContainer& rkContainer, FuzzBytes& rkSteps, unsigned long long ullTime)
{
    static const VOWCHAR* const s_apszText[] = {VOTEXT("d/a"), VOTEXT("b"), VOTEXT("new/c.d"), nullptr};
    const Events vecBefore = EventsOf(rkContainer);
    VOTSFileEventContainer::Info kInfo;
    const uint8_t uTexts = rkSteps.Byte();
    kInfo.pszPath = s_apszText[uTexts % 4];
    kInfo.pszNewName = s_apszText[uTexts / 4 % 4];
    // A text of the pool itself.
    kInfo.pszPhysicPath = uTexts >= 128 && !vecBefore.empty() ? rkContainer.GetString(vecBefore.back().hstrPath)
                                                              : s_apszText[uTexts / 16 % 4];
    const int nResult = rkContainer.AppendEvent(kInfo, ullTime);
    FUZZ_REQUIRE(nResult != 0 || kInfo.pszPath == nullptr);
    FUZZ_REQUIRE(EventsOf(rkContainer).size() == vecBefore.size() + (nResult != 0 ? 1 : 0));
}

void Step(VOTSFileEventContainer& rkContainer, FuzzBytes& rkSteps)
{
    const uint8_t uStep = rkSteps.Byte();
    switch (uStep % 6)
    {
        case 0:
        case 1:
            Append(rkContainer, rkSteps, rkSteps.Byte());
            break;
        case 2:
            FUZZ_REQUIRE(rkContainer.RemoveEvent(rkSteps.Byte()) == 1);
            break;
        case 3:
            FUZZ_REQUIRE(rkContainer.RemoveEvent(uStep >= 128 ? kLastTime : rkSteps.Word()) == 1);
            FUZZ_REQUIRE(uStep < 128 || EventsOf(rkContainer).empty());
            break;
        case 4:
        {
            // A copy shares the texts, and has records of its own.
            const Events vecBefore = EventsOf(rkContainer);
            VOTSFileEventContainer kCopy(rkContainer);
            Append(kCopy, rkSteps, uStep);
            FUZZ_REQUIRE(SameEvents(vecBefore, EventsOf(rkContainer)));
            break;
        }
        default:
            FUZZ_REQUIRE(rkContainer.CleanUp() != 0 && EventsOf(rkContainer).empty());
            break;
    }
}
}  // namespace

void FuzzEventImage(const uint8_t* pbData, size_t uSize)
{
    FuzzBytes kInput(pbData, uSize);
    FuzzBytes kSteps = kInput.TakeSteps();
    EventAlloc* const pAlloc = reinterpret_cast<EventAlloc*>(const_cast<uint8_t*>(kInput.Data()));
    VOTSFileEventContainer kView(LUMTrayService::AR_Customer);
    VOTSFileEventContainer kCopy(LUMTrayService::AR_Provider);
    const int nView = kView.SetAlloc(pAlloc, 0, kInput.Size());
    FUZZ_REQUIRE(kCopy.SetAlloc(pAlloc, 1, kInput.Size()) == nView);
    AskAll(kView);
    if (nView != 0)
    {
        FUZZ_REQUIRE(SameEvents(EventsOf(kView), EventsOf(kCopy)));
        RequireSameAgain(kView);
        // What is removed from a view leaves its image alone.
        FUZZ_REQUIRE(kView.RemoveEvent(kLastTime) == 1 && EventsOf(kView).empty());
        while (!kSteps.Empty())
        {
            Step(kCopy, kSteps);
        }
        AskAll(kCopy);
        RequireSameAgain(kCopy);
    }
}

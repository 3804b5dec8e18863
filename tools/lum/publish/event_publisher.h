// The publisher's side of the file event sections.
//
// Every source has two data sections, used in turn, and a record in the update state section. A publication goes into
// the section that is not the latest one, and is told by storing its time and then its slot: readers that are still
// inside the other section aren't disturbed. A reader that sees a new time asks for all events since the last one that
// it saw, so that the image holds everything of some time back.
//
// What the events mean is settled in docs/lum.md.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "base/change.h"
#include "platform/vo_owners.h"
#include "platform/vo_section_publisher.h"
#include "vo_publisher.h"

namespace lum
{

// Events of a source up to a moment, and the time that is told of it.
struct EventImage
{
    std::unique_ptr<VOTSFileEventContainer::ContainerAlloc, VOFreeBlock> pImage;
    unsigned long long ullTime;
};

class EventPublisher
{
public:
    // The second road outlives this object.
    explicit EventPublisher(VORoadPublisher& road) : m_road(road) {}
    ~EventPublisher();  // withdraws

    // Enables these sources, each with an image without events, and withdraws what a former publisher left. Only the
    // one publisher calls it. False with a message; nothing is left published then.
    bool Open(const std::vector<LUMTrayService::enumAssetFrom>& vecSources, std::string* pstrError);

    // Appends changes of an enabled source as events, each of which leaves the queue as it gets in, and tells of them
    // on the second road, on which the source's index has them. False with a message; what is left in the queue is
    // still to come.
    bool Append(LUMTrayService::enumAssetFrom eaf, Changes* pChanges, std::string* pstrError);

    // The image of what got in. Null with a message.
    std::unique_ptr<EventImage> MakeImage(LUMTrayService::enumAssetFrom eaf, std::string* pstrError);

    // Publishes it, before another one of that source is made. False with a message. On any one thread, also while the
    // others are called.
    bool Publish(LUMTrayService::enumAssetFrom eaf, const EventImage& image, std::string* pstrError);

    void Withdraw();

private:
    struct Source
    {
        std::unique_ptr<VOTSFileEventContainer> pContainer;
        std::array<VOPublishedSection, 2> akData;
        std::array<unsigned, 2> auLeftReaders{};
        size_t uEvents = 0;
    };

    bool _TakeState(std::string* pstrError);
    void _WithdrawSource(LUMTrayService::enumAssetFrom eaf);
    void _DropOldEvents(Source* pSource);
    unsigned long long _NextTime();
    FileEventStateInfo& _Record(LUMTrayService::enumAssetFrom eaf);

    VORoadPublisher& m_road;
    VOPublishedSection m_state;
    std::array<Source, LUMTrayService::ASSETTYPE_COUNT> m_akSources;
    unsigned long long m_ullLastTime = 0;
};

}  // namespace lum

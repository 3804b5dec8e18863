// What the tests of the file events share: a container whose protected members can be reached, a simple model of it
// that also builds its image, and comparison of both.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/reference_images.h"
#include "support/string_set_model.h"
#include "support/text.h"
#include "vots_file_event.h"

namespace eventtest
{

using LUMTrayService::AF_ERROR;
using LUMTrayService::AF_MERGESRC;
using LUMTrayService::AF_MERGETARGET;
using LUMTrayService::AF_PAKV4;
using LUMTrayService::AF_SOURCE;
using LUMTrayService::AF_TARGET;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;
using LUMTrayService::ASSETTYPE_COUNT;
using LUMTrayService::enumAssetFrom;
using LUMTrayService::enumAssetRole;
using LUMTrayService::structFileEventNode;
using testing::ElementsAre;
using testing::IsEmpty;
using votest::ByteBuilder;
using votest::Bytes;
using votest::LogCapture;
using votest::MisalignedBlock;
using votest::Random;
using votest::ReadText;
using votest::ReadU32;
using votest::SameBytes;
using votest::WriteU32;

typedef unsigned long long Time;
typedef std::vector<structFileEventNode> Events;
typedef VOTSFileEventContainer::ContainerAlloc EventImage;
typedef VOTSFileEventContainer::Info Info;

constexpr Time kAllTime = ~0ull;
constexpr const VOWCHAR* kNoText = nullptr;

inline const std::string kClass = "VOTSFileEventContainer::";

inline std::string ProcessError(const std::string& strExpression, const std::string& strFunction)
{
    return votest::CheckLine("VO_PROCESS_ERROR", strExpression, strFunction);
}

inline Info InfoOf(const VOWCHAR* pszPath, const VOWCHAR* pszNewName = nullptr, const VOWCHAR* pszPhysicPath = nullptr)
{
    return {1, 2, 3, pszPath, pszNewName, pszPhysicPath};
}

class OpenContainer : public VOTSFileEventContainer
{
public:
    using VOTSFileEventContainer::m_eAssetRole;
    using VOTSFileEventContainer::m_pkStringSet;
    using VOTSFileEventContainer::m_vecFileEvent;
    using VOTSFileEventContainer::VOTSFileEventContainer;

    unsigned int Count() const { return m_vecFileEvent.Count(); }
    unsigned int Capacity() const { return m_vecFileEvent.Capacity(); }
};

// All events in their order.
inline Events AllOf(VOTSFileEventContainer& container)
{
    Events vecEvent;
    (void)container.GetEvent(vecEvent, 0, kAllTime);
    return vecEvent;
}

inline std::vector<Time> TimesOf(const Events& events)
{
    std::vector<Time> vecTime;
    for (const structFileEventNode& event : events)
    {
        vecTime.push_back(+event.ullTime);
    }
    return vecTime;
}

// The whole image, its size taken from its own head.
inline Bytes ImageOf(VOTSFileEventContainer& container)
{
    EventImage* const pAlloc = container.GetAlloc();
    if (pAlloc == nullptr)
    {
        return {};
    }
    const size_t uSize = size_t{ReadU32(votest::CopyBytes(pAlloc, 24), 16)} + 24;
    return votest::TakeBytes(pAlloc, uSize);
}

// ---------------------------------------------------------------------------------------------------------------------
// Model
// ---------------------------------------------------------------------------------------------------------------------

struct ModelEvent
{
    uint32_t auValue[3] = {};
    uint64_t ullPath = votest::kInvalidHandle;
    uint64_t ullNewName = votest::kInvalidHandle;
    uint64_t ullPhysicPath = votest::kInvalidHandle;
    uint64_t ullTime = 0;

    bool operator==(const ModelEvent&) const = default;
};

// The container's rules on standard containers.
class EventModel
{
public:
    std::vector<ModelEvent> vecEvents;
    votest::StringSetModel strings;

    void Append(const Info& about, Time ullTime)
    {
        ModelEvent event;
        event.auValue[0] = about.dwEventParam0;
        event.auValue[1] = about.dwEventParam1;
        event.auValue[2] = about.dwEventParam2;
        event.ullPath = Enter(about.pszPath, true);
        event.ullNewName = Enter(about.pszNewName, false);
        event.ullPhysicPath = Enter(about.pszPhysicPath, false);
        event.ullTime = ullTime;
        vecEvents.push_back(event);
    }

    // Position by position from the last one: the record behind is copied onto a removed one, and the last one goes.
    void Remove(Time ullTime)
    {
        for (size_t uAt = vecEvents.size(); uAt > 0; --uAt)
        {
            if (vecEvents[uAt - 1].ullTime <= ullTime)
            {
                if (uAt < vecEvents.size())
                {
                    vecEvents[uAt - 1] = vecEvents[uAt];
                }
                vecEvents.pop_back();
            }
        }
    }

    std::vector<ModelEvent> Get(Time ullBegin, Time ullEnd) const
    {
        std::vector<ModelEvent> vecFound;
        for (const ModelEvent& event : vecEvents)
        {
            if (ullBegin <= event.ullTime && event.ullTime <= ullEnd)
            {
                vecFound.push_back(event);
            }
        }
        return vecFound;
    }

    Bytes Image() const
    {
        ByteBuilder records;
        for (const ModelEvent& event : vecEvents)
        {
            records.U32(event.auValue[2]).U64(event.ullPath).U64(event.ullPhysicPath).U64(event.ullNewName);
            records.U32(event.auValue[1]).U32(event.auValue[0]).U64(event.ullTime);
        }
        return ImageOfParts(strings.Image(), votest::RecordVectorImage(vecEvents.size(), records.Result()));
    }

    static Bytes ImageOfParts(const Bytes& pool, const Bytes& events)
    {
        ByteBuilder image;
        image.Version("ver.0.0").U32(static_cast<uint32_t>(pool.size())).U32(static_cast<uint32_t>(events.size()));
        image.U32(static_cast<uint32_t>(pool.size() + events.size())).Append(pool).Append(events).Zeros(4);
        return image.Result();
    }

private:
    uint64_t Enter(const VOWCHAR* pszText, bool bEmptyToo)
    {
        bool bExist = false;
        return pszText != nullptr && (bEmptyToo || *pszText != 0) ? strings.Insert(pszText, bExist)
                                                                  : votest::kInvalidHandle;
    }
};

inline uint64_t Number(const void* hHandle)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(hHandle));
}

inline ModelEvent AsModel(const structFileEventNode& node)
{
    return {{node.dwEventParam0, node.dwEventParam1, node.dwEventParam2},
            Number(node.hstrPath),
            Number(node.hstrNewName),
            Number(node.hstrPhysicPath),
            node.ullTime};
}

inline std::vector<ModelEvent> AsModel(const Events& events)
{
    std::vector<ModelEvent> vecEvents;
    for (const structFileEventNode& event : events)
    {
        vecEvents.push_back(AsModel(event));
    }
    return vecEvents;
}

// Checks that a container holds the model's events and texts.
inline void ExpectSame(VOTSFileEventContainer& container, const EventModel& model)
{
    EXPECT_EQ(model.vecEvents, AsModel(AllOf(container)));
    for (uint64_t ullHandle = 0; ullHandle < model.strings.RecordCount() + 2; ++ullHandle)
    {
        VOWString strText;
        const bool bText = model.strings.GetString(ullHandle, strText);
        const VOWCHAR* const pszText = container.GetString(reinterpret_cast<void*>(ullHandle));
        ASSERT_EQ(bText, pszText != nullptr) << ullHandle;
        EXPECT_EQ(strText, ReadText(pszText)) << ullHandle;
    }
    EXPECT_EQ(nullptr, container.GetString(INVALID_HANDLE_VALUE));
}

// Three events at the times 10, 20 and 30, with every kind of text.
inline EventModel SampleModel()
{
    EventModel model;
    model.Append({1, 2, 3, VOTEXT("dir/a.png"), nullptr, nullptr}, 10);
    model.Append({4, 5, 6, VOTEXT("dir/b.png"), VOTEXT("c.png"), nullptr}, 20);
    model.Append({7, 8, 0xFFFFFFFFu, VOTEXT("\x4E2D"), VOTEXT(""), VOTEXT("E:\\pak\\x.pak")}, 30);
    return model;
}

// Asks a container everything, whatever image it has. Gives the number of answers.
inline size_t AskEverything(VOTSFileEventContainer& container)
{
    size_t uAnswers = 0;
    for (const structFileEventNode& event : AllOf(container))
    {
        for (void* const hString : {event.hstrPath, event.hstrNewName, event.hstrPhysicPath})
        {
            uAnswers += ReadText(container.GetString(hString)).size() + 1;
        }
    }
    for (uintptr_t uHandle = 0; uHandle < 24; ++uHandle)
    {
        uAnswers += ReadText(container.GetString(reinterpret_cast<void*>(uHandle))).size();
    }
    return uAnswers;
}

}  // namespace eventtest

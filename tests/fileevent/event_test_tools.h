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
inline Events AllOf(VOTSFileEventContainer& rkContainer)
{
    Events vecEvent;
    (void)rkContainer.GetEvent(vecEvent, 0, kAllTime);
    return vecEvent;
}

inline std::vector<Time> TimesOf(const Events& rkEvents)
{
    std::vector<Time> vecTime;
    for (const structFileEventNode& rkEvent : rkEvents)
    {
        vecTime.push_back(+rkEvent.ullTime);
    }
    return vecTime;
}

// The whole image, its size taken from its own head.
inline Bytes ImageOf(VOTSFileEventContainer& rkContainer)
{
    EventImage* const pAlloc = rkContainer.GetAlloc();
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
    votest::StringSetModel kStrings;

    void Append(const Info& rkInfo, Time ullTime)
    {
        ModelEvent kEvent;
        kEvent.auValue[0] = rkInfo.dwEventParam0;
        kEvent.auValue[1] = rkInfo.dwEventParam1;
        kEvent.auValue[2] = rkInfo.dwEventParam2;
        kEvent.ullPath = Enter(rkInfo.pszPath, true);
        kEvent.ullNewName = Enter(rkInfo.pszNewName, false);
        kEvent.ullPhysicPath = Enter(rkInfo.pszPhysicPath, false);
        kEvent.ullTime = ullTime;
        vecEvents.push_back(kEvent);
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
        for (const ModelEvent& rkEvent : vecEvents)
        {
            if (ullBegin <= rkEvent.ullTime && rkEvent.ullTime <= ullEnd)
            {
                vecFound.push_back(rkEvent);
            }
        }
        return vecFound;
    }

    Bytes Image() const
    {
        ByteBuilder kRecords;
        for (const ModelEvent& rkEvent : vecEvents)
        {
            kRecords.U32(rkEvent.auValue[2]).U64(rkEvent.ullPath).U64(rkEvent.ullPhysicPath).U64(rkEvent.ullNewName);
            kRecords.U32(rkEvent.auValue[1]).U32(rkEvent.auValue[0]).U64(rkEvent.ullTime);
        }
        return ImageOfParts(kStrings.Image(), votest::RecordVectorImage(vecEvents.size(), kRecords.Result()));
    }

    static Bytes ImageOfParts(const Bytes& rkPool, const Bytes& rkEvents)
    {
        ByteBuilder kImage;
        kImage.Version("ver.0.0").U32(static_cast<uint32_t>(rkPool.size())).U32(static_cast<uint32_t>(rkEvents.size()));
        kImage.U32(static_cast<uint32_t>(rkPool.size() + rkEvents.size())).Append(rkPool).Append(rkEvents).Zeros(4);
        return kImage.Result();
    }

private:
    uint64_t Enter(const VOWCHAR* pszText, bool bEmptyToo)
    {
        bool bExist = false;
        return pszText != nullptr && (bEmptyToo || *pszText != 0) ? kStrings.Insert(pszText, bExist)
                                                                  : votest::kInvalidHandle;
    }
};

inline uint64_t Number(const void* hHandle)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(hHandle));
}

inline ModelEvent AsModel(const structFileEventNode& rkNode)
{
    return {{rkNode.dwEventParam0, rkNode.dwEventParam1, rkNode.dwEventParam2},
            Number(rkNode.hstrPath),
            Number(rkNode.hstrNewName),
            Number(rkNode.hstrPhysicPath),
            rkNode.ullTime};
}

inline std::vector<ModelEvent> AsModel(const Events& rkEvents)
{
    std::vector<ModelEvent> vecEvents;
    for (const structFileEventNode& rkEvent : rkEvents)
    {
        vecEvents.push_back(AsModel(rkEvent));
    }
    return vecEvents;
}

// Checks that a container holds the model's events and texts.
inline void ExpectSame(VOTSFileEventContainer& rkContainer, const EventModel& rkModel)
{
    EXPECT_EQ(rkModel.vecEvents, AsModel(AllOf(rkContainer)));
    for (uint64_t ullHandle = 0; ullHandle < rkModel.kStrings.RecordCount() + 2; ++ullHandle)
    {
        VOWString strText;
        const bool bText = rkModel.kStrings.GetString(ullHandle, strText);
        const VOWCHAR* const pszText = rkContainer.GetString(reinterpret_cast<void*>(ullHandle));
        ASSERT_EQ(bText, pszText != nullptr) << ullHandle;
        EXPECT_EQ(strText, ReadText(pszText)) << ullHandle;
    }
    EXPECT_EQ(nullptr, rkContainer.GetString(INVALID_HANDLE_VALUE));
}

// Three events at the times 10, 20 and 30, with every kind of text.
inline EventModel SampleModel()
{
    EventModel kModel;
    kModel.Append({1, 2, 3, VOTEXT("dir/a.png"), nullptr, nullptr}, 10);
    kModel.Append({4, 5, 6, VOTEXT("dir/b.png"), VOTEXT("c.png"), nullptr}, 20);
    kModel.Append({7, 8, 0xFFFFFFFFu, VOTEXT("\x4E2D"), VOTEXT(""), VOTEXT("E:\\pak\\x.pak")}, 30);
    return kModel;
}

// Asks a container everything, whatever image it has. Gives the number of answers.
inline size_t AskEverything(VOTSFileEventContainer& rkContainer)
{
    size_t uAnswers = 0;
    for (const structFileEventNode& rkEvent : AllOf(rkContainer))
    {
        for (void* const hString : {rkEvent.hstrPath, rkEvent.hstrNewName, rkEvent.hstrPhysicPath})
        {
            uAnswers += ReadText(rkContainer.GetString(hString)).size() + 1;
        }
    }
    for (uintptr_t uHandle = 0; uHandle < 24; ++uHandle)
    {
        uAnswers += ReadText(rkContainer.GetString(reinterpret_cast<void*>(uHandle))).size();
    }
    return uAnswers;
}

}  // namespace eventtest

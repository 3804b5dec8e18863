// What the tests of the event sections share: a publisher that makes sections by hand, a listener that records, and
// inspectors whose protected operations can be reached.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

#include "fileevent/event_test_tools.h"
#include "platform/vo_process.h"
#include "support/state_section.h"
#include "support/waiting.h"

namespace eventtest
{

using namespace LUMTrayService::Inspector;
using votest::WaitUntil;

inline const std::string kInspector = "VOTSFileEventMappingInspector::";
inline const std::string kAssemble = "VOTSFileEventMappingAssemble::";

// ---------------------------------------------------------------------------------------------------------------------
// Publisher
// ---------------------------------------------------------------------------------------------------------------------

constexpr const VOWCHAR* kpszStateName = VOTEXT("vo_fileMappingUpdateStateName_fileEvent");

// The names of the data sections, by source and slot.
inline VOWString DataName(unsigned int uSource, unsigned int uSlot)
{
    static const char* const s_apszEnd[] = {"",
                                            "source",
                                            "target",
                                            "pakv4",
                                            "httpfile_source",
                                            "httpfile_target",
                                            "httpfile_pkg_source",
                                            "httpfile_pkg_target",
                                            "mergeSrc",
                                            "mergeTarget"};
    return votest::Wide("vo_fileMappingFileEventContainerName_") + votest::Wide(s_apszEnd[uSource]) +
           votest::Wide(std::to_string(uSlot));
}

// An update state section of 336 bytes in which nothing is published.
inline Bytes EmptyState(const char* pszVersion = "version.1.5")
{
    Bytes vecState(336, 0);
    memcpy(vecState.data(), pszVersion, std::min<size_t>(12, strlen(pszVersion)));
    return vecState;
}

// Makes and fills the sections, and takes their names back at its end.
class Publisher
{
public:
    struct NoState
    {
    };
    explicit Publisher(NoState) {}
    explicit Publisher(const Bytes& state = EmptyState()) { PutState(state); }

    void PutState(const Bytes& state) { m_state.Put(state); }
    void DropState() { m_state.Drop(); }

    // The words of a source's record by their offset in it.
    static constexpr unsigned int kEnable = 0;
    static constexpr unsigned int kActiveSlot = 4;
    static constexpr unsigned int kReaders = 24;
    unsigned int Word(unsigned int uSource, unsigned int uOffset) const
    {
        return m_state.Word<unsigned int>(_At(uSource, uOffset));
    }
    void SetWord(unsigned int uSource, unsigned int uOffset, unsigned int uValue) const
    {
        m_state.SetWord<unsigned int>(_At(uSource, uOffset), uValue);
    }
    void SetEnabled(unsigned int uSource, unsigned int uValue) const { SetWord(uSource, kEnable, uValue); }
    void SetActiveSlot(unsigned int uSource, unsigned int uSlot) const { SetWord(uSource, kActiveSlot, uSlot); }
    unsigned int Readers(unsigned int uSource, unsigned int uSlot) const { return Word(uSource, kReaders + 4 * uSlot); }
    void SetReaders(unsigned int uSource, unsigned int uSlot, unsigned int uCount) const
    {
        SetWord(uSource, kReaders + 4 * uSlot, uCount);
    }
    void SetTime(unsigned int uSource, unsigned int uSlot, Time ullTime) const
    {
        m_state.SetWord<Time>(_At(uSource, 8 + 8 * uSlot), ullTime);
    }

    void PutData(unsigned int uSource, unsigned int uSlot, const Bytes& data)
    {
        ASSERT_TRUE(m_akData[uSource][uSlot].Replace(DataName(uSource, uSlot).c_str(), data.data(), data.size()));
    }
    void DropData(unsigned int uSource, unsigned int uSlot) { EXPECT_TRUE(m_akData[uSource][uSlot].Withdraw()); }

    // The whole protocol: the other slot, once nobody is inside; its section, its time, and the slot last.
    void Publish(unsigned int uSource, const Bytes& image, Time ullTime)
    {
        const unsigned int uSlot = 1 - Word(uSource, kActiveSlot);
        // Bounded, as a publisher's wait has to be: a reader that died inside leaves the count raised.
        for (int nStep = 0; nStep < 2000 && Readers(uSource, uSlot) != 0; ++nStep)
        {
            VOSleepMilliseconds(1);
        }
        PutData(uSource, uSlot, image);
        SetTime(uSource, uSlot, ullTime);
        SetActiveSlot(uSource, uSlot);
        SetEnabled(uSource, 1);
    }
    void Publish(unsigned int uSource, VOTSFileEventContainer& container, Time ullTime)
    {
        Publish(uSource, ImageOf(container), ullTime);
    }

    unsigned char* State() const { return m_state.Data(); }

private:
    static size_t _At(unsigned int uSource, unsigned int uOffset) { return 16 + 32 * uSource + uOffset; }

    votest::StateSection m_state{kpszStateName};
    VOPublishedSection m_akData[ASSETTYPE_COUNT][2];
};

// A container with one event for each time; the path is the time's digits.
inline void AppendTimes(VOTSFileEventContainer& container, const std::vector<Time>& times)
{
    for (const Time ullTime : times)
    {
        ASSERT_EQ(1, container.AppendEvent(InfoOf(votest::Wide(std::to_string(ullTime)).c_str()), ullTime));
    }
}

inline Bytes ImageOfTimes(const std::vector<Time>& times)
{
    VOTSFileEventContainer container;
    AppendTimes(container, times);
    return ImageOf(container);
}

// ---------------------------------------------------------------------------------------------------------------------
// Listeners and inspectors
// ---------------------------------------------------------------------------------------------------------------------

// An event as it was received, null told apart from an empty text.
struct Received
{
    enumAssetFrom eaf = AF_ERROR;
    unsigned int auValue[3] = {};
    VOWString strPath;
    bool bNewName = false;
    VOWString strNewName;
    bool bPhysicPath = false;
    VOWString strPhysicPath;
    Time ullTime = 0;
};

// What a listener was given, and whether it has been deleted. Copies are one record, which lives as long as any of
// them: a listener may end later than the test's own.
class Record
{
public:
    void Add(const FileEventParam& param)
    {
        const std::lock_guard<std::mutex> guard(m_pData->lock);
        Received received;
        received.eaf = param.eaf;
        received.auValue[0] = param.dwEventParam0;
        received.auValue[1] = param.dwEventParam1;
        received.auValue[2] = param.dwEventParam2;
        received.strPath = ReadText(param.pszPath);
        received.bNewName = param.pszNewName != nullptr;
        received.strNewName = ReadText(param.pszNewName);
        received.bPhysicPath = param.pszPhysicPath != nullptr;
        received.strPhysicPath = ReadText(param.pszPhysicPath);
        received.ullTime = param.ullTime;
        m_pData->vecReceived.push_back(received);
    }
    std::vector<Received> All() const
    {
        const std::lock_guard<std::mutex> guard(m_pData->lock);
        return m_pData->vecReceived;
    }
    size_t Count() const
    {
        const std::lock_guard<std::mutex> guard(m_pData->lock);
        return m_pData->vecReceived.size();
    }
    std::vector<Time> Times() const
    {
        std::vector<Time> vecTime;
        for (const Received& received : All())
        {
            vecTime.push_back(received.ullTime);
        }
        return vecTime;
    }
    // The time of the event received last; 0 before the first one.
    Time LastTime() const
    {
        const std::lock_guard<std::mutex> guard(m_pData->lock);
        return m_pData->vecReceived.empty() ? 0 : m_pData->vecReceived.back().ullTime;
    }
    bool WaitFor(size_t uCount) const
    {
        return WaitUntil([&] { return Count() >= uCount; });
    }

    void AddDeleted() { ++m_pData->nDeleted; }
    int Deleted() const { return m_pData->nDeleted; }

private:
    struct Data
    {
        std::mutex lock;
        std::vector<Received> vecReceived;
        std::atomic<int> nDeleted{0};
    };
    std::shared_ptr<Data> m_pData = std::make_shared<Data>();
};

class Listener : public IVOTSFileEventListener
{
public:
    explicit Listener(const Record& record, std::function<void(const FileEventParam&)> fnOnEvent = nullptr)
        : m_record(record), m_fnOnEvent(std::move(fnOnEvent))
    {
    }
    ~Listener() override { m_record.AddDeleted(); }
    int OnFileEvent(const FileEventParam* pParam) override
    {
        m_record.Add(*pParam);
        if (m_fnOnEvent != nullptr)
        {
            m_fnOnEvent(*pParam);
        }
        return 0;
    }
    using IVOTSFileEventListener::m_uRefCount;

private:
    Record m_record;
    std::function<void(const FileEventParam&)> m_fnOnEvent;
};

// A tool's own reference to a listener, given back at the end of the scope.
class Held
{
public:
    explicit Held(const Record& record, std::function<void(const FileEventParam&)> fnOnEvent = nullptr)
        : m_pListener(new Listener(record, std::move(fnOnEvent)))
    {
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { LetGo(); }
    void LetGo()
    {
        if (m_pListener != nullptr)
        {
            std::exchange(m_pListener, nullptr)->Release();
        }
    }
    Listener* Get() const { return m_pListener; }

private:
    Listener* m_pListener;
};

class OpenInspector : public VOTSFileEventMappingInspector
{
public:
    using VOTSFileEventMappingInspector::CreateDetectThread;
    using VOTSFileEventMappingInspector::DestroyDetectThread;
    using VOTSFileEventMappingInspector::DispatchFileEvent;
    using VOTSFileEventMappingInspector::m_bRunning;
    using VOTSFileEventMappingInspector::m_eaf;
    using VOTSFileEventMappingInspector::m_hDetectThread;
    using VOTSFileEventMappingInspector::m_vecListener;
    using VOTSFileEventMappingInspector::ThreadProc_DetectFileEvnet;
    using VOTSFileEventMappingInspector::VOTSFileEventMappingInspector;
};

// Stops its thread at its end, as the class asks of its users.
class StoppingInspector : public OpenInspector
{
public:
    explicit StoppingInspector(enumAssetFrom eaf = AF_SOURCE) : OpenInspector(eaf) {}
    ~StoppingInspector() { Stop(); }
};

}  // namespace eventtest

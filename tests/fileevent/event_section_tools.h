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
#include "platform/vo_section_publisher.h"

namespace eventtest
{

using namespace LUMTrayService::Inspector;

inline const std::string kInspector = "VOTSFileEventMappingInspector::";
inline const std::string kAssemble = "VOTSFileEventMappingAssemble::";

// Waits until something is so; false after a minute without it.
inline bool WaitUntil(const std::function<bool()>& fnSo)
{
    for (int nStep = 0; nStep < 60000; ++nStep)
    {
        if (fnSo())
        {
            return true;
        }
        VOSleepMilliseconds(1);
    }
    return false;
}

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
    explicit Publisher(const Bytes& rkState = EmptyState()) { PutState(rkState); }

    void PutState(const Bytes& rkState)
    {
        ASSERT_TRUE(m_kState.Replace(kpszStateName, rkState.data(), rkState.size()));
    }
    void DropState() { EXPECT_TRUE(m_kState.Withdraw()); }

    // The words of a source's record by their offset in it.
    static constexpr unsigned int kEnable = 0;
    static constexpr unsigned int kActiveSlot = 4;
    static constexpr unsigned int kReaders = 24;
    unsigned int Word(unsigned int uSource, unsigned int uOffset) const
    {
        return std::atomic_ref<unsigned int>(*At<unsigned int>(uSource, uOffset)).load();
    }
    void SetWord(unsigned int uSource, unsigned int uOffset, unsigned int uValue) const
    {
        std::atomic_ref<unsigned int>(*At<unsigned int>(uSource, uOffset)).store(uValue);
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
        std::atomic_ref<Time>(*At<Time>(uSource, 8 + 8 * uSlot)).store(ullTime);
    }

    void PutData(unsigned int uSource, unsigned int uSlot, const Bytes& rkData)
    {
        ASSERT_TRUE(m_akData[uSource][uSlot].Replace(DataName(uSource, uSlot).c_str(), rkData.data(), rkData.size()));
    }
    void DropData(unsigned int uSource, unsigned int uSlot) { EXPECT_TRUE(m_akData[uSource][uSlot].Withdraw()); }

    // The whole protocol: the other slot, once nobody is inside; its section, its time, and the slot last.
    void Publish(unsigned int uSource, const Bytes& rkImage, Time ullTime)
    {
        const unsigned int uSlot = 1 - Word(uSource, kActiveSlot);
        // Bounded, as a publisher's wait has to be: a reader that died inside leaves the count raised.
        for (int nStep = 0; nStep < 2000 && Readers(uSource, uSlot) != 0; ++nStep)
        {
            VOSleepMilliseconds(1);
        }
        PutData(uSource, uSlot, rkImage);
        SetTime(uSource, uSlot, ullTime);
        SetActiveSlot(uSource, uSlot);
        SetEnabled(uSource, 1);
    }
    void Publish(unsigned int uSource, VOTSFileEventContainer& rkContainer, Time ullTime)
    {
        Publish(uSource, ImageOf(rkContainer), ullTime);
    }

    unsigned char* State() const { return static_cast<unsigned char*>(m_kState.Data()); }

private:
    template <typename T>
    T* At(unsigned int uSource, unsigned int uOffset) const
    {
        return reinterpret_cast<T*>(State() + 16 + 32 * uSource + uOffset);
    }

    VOPublishedSection m_kState;
    VOPublishedSection m_akData[ASSETTYPE_COUNT][2];
};

// A container with one event for each time; the path is the time's digits.
inline void AppendTimes(VOTSFileEventContainer& rkContainer, const std::vector<Time>& rkTimes)
{
    for (const Time ullTime : rkTimes)
    {
        ASSERT_EQ(1, rkContainer.AppendEvent(InfoOf(votest::Wide(std::to_string(ullTime)).c_str()), ullTime));
    }
}

inline Bytes ImageOfTimes(const std::vector<Time>& rkTimes)
{
    VOTSFileEventContainer kContainer;
    AppendTimes(kContainer, rkTimes);
    return ImageOf(kContainer);
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
    void Add(const FileEventParam& rkParam)
    {
        const std::lock_guard<std::mutex> kGuard(m_pkData->kLock);
        Received kReceived;
        kReceived.eaf = rkParam.eaf;
        kReceived.auValue[0] = rkParam.dwEventParam0;
        kReceived.auValue[1] = rkParam.dwEventParam1;
        kReceived.auValue[2] = rkParam.dwEventParam2;
        kReceived.strPath = ReadText(rkParam.pszPath);
        kReceived.bNewName = rkParam.pszNewName != nullptr;
        kReceived.strNewName = ReadText(rkParam.pszNewName);
        kReceived.bPhysicPath = rkParam.pszPhysicPath != nullptr;
        kReceived.strPhysicPath = ReadText(rkParam.pszPhysicPath);
        kReceived.ullTime = rkParam.ullTime;
        m_pkData->vecReceived.push_back(kReceived);
    }
    std::vector<Received> All() const
    {
        const std::lock_guard<std::mutex> kGuard(m_pkData->kLock);
        return m_pkData->vecReceived;
    }
    size_t Count() const
    {
        const std::lock_guard<std::mutex> kGuard(m_pkData->kLock);
        return m_pkData->vecReceived.size();
    }
    std::vector<Time> Times() const
    {
        std::vector<Time> vecTime;
        for (const Received& rkReceived : All())
        {
            vecTime.push_back(rkReceived.ullTime);
        }
        return vecTime;
    }
    // The time of the event received last; 0 before the first one.
    Time LastTime() const
    {
        const std::lock_guard<std::mutex> kGuard(m_pkData->kLock);
        return m_pkData->vecReceived.empty() ? 0 : m_pkData->vecReceived.back().ullTime;
    }
    bool WaitFor(size_t uCount) const
    {
        return WaitUntil([&] { return Count() >= uCount; });
    }

    void AddDeleted() { ++m_pkData->nDeleted; }
    int Deleted() const { return m_pkData->nDeleted; }

private:
    struct Data
    {
        std::mutex kLock;
        std::vector<Received> vecReceived;
        std::atomic<int> nDeleted{0};
    };
    std::shared_ptr<Data> m_pkData = std::make_shared<Data>();
};

class Listener : public IVOTSFileEventListener
{
public:
    explicit Listener(const Record& rkRecord, std::function<void(const FileEventParam&)> fnOnEvent = nullptr)
        : m_kRecord(rkRecord), m_fnOnEvent(std::move(fnOnEvent))
    {
    }
    ~Listener() override { m_kRecord.AddDeleted(); }
    int OnFileEvent(const FileEventParam* pParam) override
    {
        m_kRecord.Add(*pParam);
        if (m_fnOnEvent != nullptr)
        {
            m_fnOnEvent(*pParam);
        }
        return 0;
    }
    using IVOTSFileEventListener::m_uRefCount;

private:
    Record m_kRecord;
    std::function<void(const FileEventParam&)> m_fnOnEvent;
};

// A tool's own reference to a listener, given back at the end of the scope.
class Held
{
public:
    explicit Held(const Record& rkRecord, std::function<void(const FileEventParam&)> fnOnEvent = nullptr)
        : m_pkListener(new Listener(rkRecord, std::move(fnOnEvent)))
    {
    }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;
    ~Held() { LetGo(); }
    void LetGo()
    {
        if (m_pkListener != nullptr)
        {
            std::exchange(m_pkListener, nullptr)->Release();
        }
    }
    Listener* Get() const { return m_pkListener; }

private:
    Listener* m_pkListener;
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

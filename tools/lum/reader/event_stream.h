// The events that a publisher tells, on the reader's side: the library's listeners, and a queue to take them from.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tray_service_types.h"
#include "vo_types.h"
#include "vots_file_event.h"

namespace lum
{

// One event of a publisher such as lum serve.
struct StreamEvent
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    unsigned uKind = 0;
    bool bFolder = false;
    unsigned uRoots = 0;
    VOWString strPath;
    VOWString strNewName;
    VOWString strPhysicalPath;
    unsigned long long ullTime = 0;  // microseconds since 1970
};

// "added", "removed", "renamed", "modified"; "event" for another publisher's kinds.
std::string_view EventKindName(unsigned uKind);

class EventStream
{
public:
    EventStream() = default;
    ~EventStream();
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    // Binds a listener to this source, or to all that are published. False with a message when there is none.
    bool Open(std::optional<LUMTrayService::enumAssetFrom> eaf, std::string* pstrError);

    // The next event, waited for at most so long.
    std::optional<StreamEvent> Next(std::chrono::milliseconds kTime);

private:
    class Listener;

    void _Take(const FileEventParam& kParam);

    VOTSFileEventMappingAssemble* m_pkAssemble = nullptr;
    std::vector<Listener*> m_vecListeners;
    std::mutex m_kLock;
    std::condition_variable m_kArrived;
    std::deque<StreamEvent> m_dequeEvents;
};

}  // namespace lum

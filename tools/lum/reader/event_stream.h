// The events that a publisher tells, on the reader's side: the library's listeners, and a queue to take them from.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/change.h"

namespace lum
{

class EventStream
{
public:
    ~EventStream();

    // Binds a listener to this source, or to all that are published. False with a message when there is none.
    bool Open(std::optional<LUMTrayService::enumAssetFrom> eaf, std::string* pstrError);

    // The next event, waited for at most so long.
    std::optional<Change> Next(std::chrono::milliseconds time);

private:
    class Listener;

    void _Take(Change change);

    VOTSFileEventMappingAssemble* m_pAssemble = nullptr;
    std::vector<Listener*> m_vecListeners;
    std::mutex m_lock;
    std::condition_variable m_arrived;
    Changes m_arrivals;
};

}  // namespace lum

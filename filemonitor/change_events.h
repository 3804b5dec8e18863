// From the system's change records to the events of a monitor: paths, rename pairs, and what is told twice.
#pragma once

#include "platform/vo_directories.h"
#include "vots_file_monitor.h"

// What the monitor thread remembers from one read to the next.
class ChangeEvents
{
public:
    typedef VOTSFileMonitorManager::FILE_MONITOR_EVENT Event;
    typedef unsigned long long (*Clock)();  // in milliseconds

    explicit ChangeEvents(Clock pfnTickCount) : m_pfnTickCount(pfnTickCount) {}

    // Reads all records of a buffer and passes on what isn't a repetition of the event just before.
    template <typename Push>
    void Read(const VOWString& strRoot, const unsigned char* pBuffer, size_t uSize, Push push)
    {
        VOChangeRecordReader reader(pBuffer, uSize);
        VOChangeRecord record;
        Event event;
        while (reader.Next(&record))
        {
            if (_MakeEvent(strRoot, record, &event))
            {
                if (!(event == m_lastEvent))
                {
                    push(event);
                }
                // Also of what wasn't passed on: a run of repetitions is one event, however long it is.
                m_lastEvent = event;
            }
        }
    }

private:
    bool _MakeEvent(const VOWString& strRoot, const VOChangeRecord& record, Event* pEvent);

    Clock m_pfnTickCount;
    VOWString m_strCurrentPath;
    VOWString m_strOldPath;  // of the last first half of a rename, which may have come with an earlier read
    Event m_lastEvent;
};

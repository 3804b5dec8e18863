// From the system's change records to the events of a monitor: paths, rename pairs, and what is told twice.
#pragma once

#include "filemonitor/change_records.h"
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
    void Read(const VOWString& strRoot, const unsigned char* pBuffer, size_t uSize, Push kPush)
    {
        ChangeRecordReader kReader(pBuffer, uSize);
        ChangeRecord kRecord;
        Event kEvent;
        while (kReader.Next(&kRecord))
        {
            if (_MakeEvent(strRoot, kRecord, &kEvent))
            {
                if (!(kEvent == m_kLastEvent))
                {
                    kPush(kEvent);
                }
                // Also of what wasn't passed on: a run of repetitions is one event, however long it is.
                m_kLastEvent = kEvent;
            }
        }
    }

private:
    bool _MakeEvent(const VOWString& strRoot, const ChangeRecord& kRecord, Event* pkEvent);

    Clock m_pfnTickCount;
    VOWString m_strCurrentPath;
    VOWString m_strOldPath;  // of the last first half of a rename, which may have come with an earlier read
    Event m_kLastEvent;
};

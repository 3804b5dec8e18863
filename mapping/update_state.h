// The update state section as a reader sees it.
#pragma once

#include "platform/vo_shared_word.h"
#include "vots_file_mapping.h"

// The reader count is stepped plainly, not interlocked: so all readers of this protocol do, and a publisher bounds its
// wait for the count.
inline void VOStepSharedWord(unsigned int& ruWord, int nStep)
{
    VOStoreWord(ruWord, VOLoadWord(ruWord) + static_cast<unsigned int>(nStep));
}

// A reader's announcement that it is inside a data section: taken back in any case at the end of the scope.
class VOReaderAnnouncement
{
public:
    VOReaderAnnouncement() = default;
    VOReaderAnnouncement(const VOReaderAnnouncement&) = delete;
    VOReaderAnnouncement& operator=(const VOReaderAnnouncement&) = delete;
    ~VOReaderAnnouncement() { TakeBack(); }

    void Announce(unsigned int& ruReaderCount)
    {
        m_puReaderCount = &ruReaderCount;
        VOStepSharedWord(ruReaderCount, 1);
    }

    void TakeBack()
    {
        if (m_puReaderCount != nullptr)
        {
            VOStepSharedWord(*m_puReaderCount, -1);
            m_puReaderCount = nullptr;
        }
    }

private:
    unsigned int* m_puReaderCount = nullptr;
};

// The update state section as a reader sees it. Its words are written by other processes at any time: each is read
// once, through an atomic reference, and what was read is what is used.
#pragma once

#include <string.h>

#include <algorithm>
#include <atomic>

#include "vots_file_mapping.h"

inline unsigned int VOSharedWord(const unsigned int& ruWord)
{
    return std::atomic_ref<unsigned int>(const_cast<unsigned int&>(ruWord)).load(std::memory_order_acquire);
}

// The reader count is stepped plainly, not interlocked: so all readers of this protocol do, and a publisher bounds its
// wait for the count.
inline void VOStepSharedWord(unsigned int& ruWord, int nStep)
{
    std::atomic_ref<unsigned int> kWord(ruWord);
    kWord.store(kWord.load(std::memory_order_acquire) + static_cast<unsigned int>(nStep), std::memory_order_release);
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

// What ::strcmp of the section's start with the version text says, for a section of any size: behind its end it counts
// as zero, as the rest of a page is.
inline bool VOUpdateStateVersionMatches(const void* pvSection, size_t uSectionSize)
{
    char szVersion[sizeof(AssetNodeUpdateState::szVersion)] = {};
    static_assert(sizeof(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == sizeof(szVersion));
    memcpy(szVersion, pvSection, std::min(uSectionSize, sizeof(szVersion)));
    return memcmp(szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(szVersion)) == 0;
}

// The words that a publisher and its readers share, and how a publisher waits for readers.
#pragma once

#include <stddef.h>
#include <string.h>

#include "platform/vo_process.h"
#include "platform/vo_section_publisher.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"

namespace lum
{

// A version text, in words that a reader can't see before what was stored earlier.
template <size_t uSize>
void StoreVersion(char (&szVersion)[uSize], const char (&szText)[uSize])
{
    static_assert(uSize % sizeof(unsigned) == 0);
    unsigned auWords[uSize / sizeof(unsigned)];
    memcpy(auWords, szText, uSize);
    VOStoreWords(reinterpret_cast<unsigned*>(szVersion), auWords, uSize / sizeof(unsigned));
}

// Waits until a reader count is 0, at most two seconds. A load takes a fraction of it even for a large index; whoever
// takes longer is dead, or doesn't mind: an old section stays whole for its readers where the system can replace one,
// and is checked by its readers where it can't. *puLeft is the count that an earlier wait ended with: what dead readers
// left isn't waited for again.
inline void WaitForReaders(unsigned& readerCount, unsigned* puLeft)
{
    constexpr unsigned kWait = 2000;  // milliseconds
    constexpr unsigned kPoll = 10;
    unsigned uReaders = VOLoadWord(readerCount);
    for (unsigned uWaited = 0; uReaders != 0 && uReaders != *puLeft && uWaited < kWait; uWaited += kPoll)
    {
        VOSleepMilliseconds(kPoll);
        uReaders = VOLoadWord(readerCount);
    }
    *puLeft = uReaders;
}

// Withdraws a data section, also one that another publisher made and left.
inline void WithdrawSection(const VOWCHAR* pszName, VOPublishedSection* pSection)
{
    if (pSection->Data() == nullptr)
    {
        const bool bThere =
            VOSectionView().OpenHandle(pszName, FILE_MAP_READ) != nullptr || GetLastError() != ERROR_FILE_NOT_FOUND;
        if (bThere)
        {
            pSection->OpenOrCreate(pszName, 1);
        }
    }
    pSection->Withdraw();
}

}  // namespace lum

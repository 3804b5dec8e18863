#include "live/unread_folders.h"

#include <algorithm>
#include <iterator>

using namespace std::chrono_literals;

namespace lum
{

namespace
{

// A folder is tried again each time after twice the time; one that could be read for so long again is news when it
// fails.
constexpr std::chrono::milliseconds kFirstRetry = 250ms;
constexpr std::chrono::milliseconds kLastRetry = 30000ms;
constexpr auto kForgetRetry = 60s;

}  // namespace

void UnreadFolders::AddDue(LiveClock::time_point now, HintedFolders* pmapFolders)
{
    for (auto& [strFolder, retry] : m_mapRetries)
    {
        const bool bDue = retry.due <= now;
        if (!retry.bFails || !(bDue || pmapFolders->contains(strFolder)))
        {
            continue;
        }
        FolderHints& hints = (*pmapFolders)[strFolder];
        retry.hints.Add(hints);
        hints = std::exchange(retry.hints, {});
        if (bDue)
        {
            retry.delay = std::min(2 * retry.delay, kLastRetry);
            retry.due = now + retry.delay;
        }
    }
}

std::vector<UnreadFolder> UnreadFolders::Update(LiveClock::time_point now, SourceIndex* pIndex, bool* pbReadAgain)
{
    std::vector<UnreadFolder> vecNews;
    for (const UnreadFolder& unread : pIndex->TakeUnread())
    {
        Retry& retry = m_mapRetries[unread.strPath];
        if (retry.delay == 0ms)
        {
            retry.delay = kFirstRetry;
            retry.bEntered = unread.bEntered;
            vecNews.push_back(unread);
        }
        retry.bFails = true;
        retry.due = now + retry.delay;
    }
    for (auto itRetry = m_mapRetries.begin(); itRetry != m_mapRetries.end();)
    {
        Retry& retry = itRetry->second;
        if (retry.bFails && !pIndex->IsUnread(itRetry->first))
        {
            retry.bFails = false;
            retry.due = now + kForgetRetry;
            *pbReadAgain = true;
        }
        itRetry = retry.bFails || retry.due > now ? std::next(itRetry) : m_mapRetries.erase(itRetry);
    }
    return vecNews;
}

size_t UnreadFolders::NeverRead() const
{
    return static_cast<size_t>(std::count_if(m_mapRetries.begin(), m_mapRetries.end(),
                                             [](const auto& one)
                                             { return one.second.bFails && !one.second.bEntered; }));
}

LiveClock::time_point UnreadFolders::NextDue() const
{
    LiveClock::time_point due = LiveClock::time_point::max();
    for (const auto& [strFolder, unread] : m_mapRetries)
    {
        due = std::min(due, unread.bFails ? unread.due : due);
    }
    return due;
}

}  // namespace lum

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

void UnreadFolders::AddDue(LiveClock::time_point kNow, HintedFolders* pmapFolders)
{
    for (auto& [strFolder, rkRetry] : m_mapRetries)
    {
        const bool bDue = rkRetry.kDue <= kNow;
        if (!rkRetry.bFails || !(bDue || pmapFolders->contains(strFolder)))
        {
            continue;
        }
        FolderHints& rkHints = (*pmapFolders)[strFolder];
        rkRetry.kHints.Add(rkHints);
        rkHints = std::exchange(rkRetry.kHints, {});
        if (bDue)
        {
            rkRetry.kDelay = std::min(2 * rkRetry.kDelay, kLastRetry);
            rkRetry.kDue = kNow + rkRetry.kDelay;
        }
    }
}

std::vector<UnreadFolder> UnreadFolders::Update(LiveClock::time_point kNow, SourceIndex* pkIndex, bool* pbReadAgain)
{
    std::vector<UnreadFolder> vecNews;
    for (const UnreadFolder& kUnread : pkIndex->TakeUnread())
    {
        Retry& rkRetry = m_mapRetries[kUnread.strPath];
        if (rkRetry.kDelay == 0ms)
        {
            rkRetry.kDelay = kFirstRetry;
            rkRetry.bEntered = kUnread.bEntered;
            vecNews.push_back(kUnread);
        }
        rkRetry.bFails = true;
        rkRetry.kDue = kNow + rkRetry.kDelay;
    }
    for (auto itRetry = m_mapRetries.begin(); itRetry != m_mapRetries.end();)
    {
        Retry& rkRetry = itRetry->second;
        if (rkRetry.bFails && !pkIndex->IsUnread(itRetry->first))
        {
            rkRetry.bFails = false;
            rkRetry.kDue = kNow + kForgetRetry;
            *pbReadAgain = true;
        }
        itRetry = rkRetry.bFails || rkRetry.kDue > kNow ? std::next(itRetry) : m_mapRetries.erase(itRetry);
    }
    return vecNews;
}

size_t UnreadFolders::NeverRead() const
{
    return static_cast<size_t>(std::count_if(m_mapRetries.begin(), m_mapRetries.end(),
                                             [](const auto& kOne)
                                             { return kOne.second.bFails && !kOne.second.bEntered; }));
}

LiveClock::time_point UnreadFolders::NextDue() const
{
    LiveClock::time_point kDue = LiveClock::time_point::max();
    for (const auto& [strFolder, kUnread] : m_mapRetries)
    {
        kDue = std::min(kDue, kUnread.bFails ? kUnread.kDue : kDue);
    }
    return kDue;
}

}  // namespace lum

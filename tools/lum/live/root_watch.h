// What the system says of the changes below one root directory, as hints, on a thread of its own.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "live/change_hints.h"
#include "platform/vo_directories.h"

namespace lum
{

class RootWatch
{
public:
    // Null with a reason when the root can't be watched, or shouldn't be: a watch of another machine's directory
    // doesn't see what that machine changes.
    static std::unique_ptr<RootWatch> Start(const VOWString& strRoot, HintPool* pPool, std::string* pstrReason);
    ~RootWatch();
    RootWatch(const RootWatch&) = delete;
    RootWatch& operator=(const RootWatch&) = delete;

    enum class Presence
    {
        There,
        Gone,
        Unknown  // the system can't tell now
    };

    // Whether there is a directory of that name.
    static Presence PresenceOf(const VOWString& strRoot);

    // Directories of the tree that aren't watched, and how that can be mended. It walks the tree.
    size_t CountUnwatched(std::string* pstrReason) const;

    // Whether the whole tree is watched by now; hints tell of no change from before.
    bool IsWatching() const { return m_bWatching; }

    // How often changes were lost so far, which no hint tells.
    unsigned Losses() const { return m_uLosses; }

private:
    RootWatch(const VOWString& strRoot, HintPool* pPool);

    bool _Open();
    void _Run();
    bool _Read(OVERLAPPED* pRead);
    void _Hint(const VOChangeRecord& record);

    VOWString m_strRoot;
    HintPool* m_pPool;
    HANDLE m_hRoot = INVALID_HANDLE_VALUE;
    HANDLE m_hEvent = nullptr;  // a read is done, or the thread is asked to end
    std::vector<uint32_t> m_vecRecords;
    VOWString m_strOldName;  // of the last first half of a rename, which may have come with an earlier read
    std::atomic<bool> m_bEnd{false};
    std::atomic<bool> m_bWatching{false};
    std::atomic<unsigned> m_uLosses{0};
    std::thread m_thread;
};

}  // namespace lum

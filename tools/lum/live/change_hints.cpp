#include "live/change_hints.h"

#include <algorithm>

namespace lum
{

void HintSignal::Notify()
{
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_bNotified = true;
    }
    m_changed.notify_one();
}

bool HintSignal::WaitFor(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> guard(m_lock);
    m_changed.wait_for(guard, time, [this] { return m_bNotified; });
    return std::exchange(m_bNotified, false);
}

template <typename Note>
void HintPool::_Note(const VOWString& strFolder, Note note)
{
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        note(m_hints.mapFolders[strFolder]);
    }
    m_pSignal->Notify();
}

void HintPool::Written(const VOWString& strPath)
{
    _Note(ParentPath(strPath),
          [&](FolderHints& folder)
          {
              folder.setWritten.insert(LastPart(strPath));
              ++m_hints.uEvents;
          });
}

void HintPool::Gone(const VOWString& strPath)
{
    _Note(ParentPath(strPath),
          [&](FolderHints& folder)
          {
              folder.setGone.insert(LastPart(strPath));
              ++m_hints.uEvents;
          });
}

// What comes under a new name may be written as well.
void HintPool::Renamed(const VOWString& strPath, const VOWString& strNewName)
{
    _Note(ParentPath(strPath),
          [&](FolderHints& folder)
          {
              folder.vecRenamed.emplace_back(LastPart(strPath), strNewName);
              folder.setWritten.insert(strNewName);
              ++m_hints.uEvents;
          });
}

void HintPool::Touched(const VOWString& strFolder)
{
    _Note(strFolder, [](FolderHints& folder) { folder.bMore = true; });
}

void HintPool::Doubt()
{
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_hints.bDoubt = true;
    }
    m_pSignal->Notify();
}

Hints HintPool::Take()
{
    const std::lock_guard<std::mutex> guard(m_lock);
    return std::exchange(m_hints, Hints());
}

}  // namespace lum

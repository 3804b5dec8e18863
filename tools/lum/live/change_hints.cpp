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

void HintPool::Touched(const VOWString& strPath, bool bWritten, const VOWCHAR* pszNewName)
{
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        ++m_hints.uEvents;
        FolderHints& folder = m_hints.mapFolders[ParentPath(strPath)];
        const VOWString strName = LastPart(strPath);
        if (pszNewName != nullptr)
        {
            folder.vecRenamed.emplace_back(strName, pszNewName);
        }
        if (bWritten)
        {
            folder.setWritten.insert(pszNewName != nullptr ? pszNewName : strName);
        }
    }
    m_pSignal->Notify();
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

HintListener::HintListener(const VOWString& strRoot, HintPool* pPool)
    : m_strPrefix(strRoot + VOTEXT("/")), m_pPool(pPool)
{
    std::replace(m_strPrefix.begin(), m_strPrefix.end(), VOWCHAR('\\'), VOWCHAR('/'));
}

// What can't be placed is a doubt.
void HintListener::_Touched(const VOWCHAR* pszFilePath, bool bWritten, const VOWCHAR* pszNewName) const
{
    const VOWString strPath(pszFilePath);
    if (strPath.starts_with(m_strPrefix) && strPath.size() > m_strPrefix.size())
    {
        m_pPool->Touched(strPath.substr(m_strPrefix.size()), bWritten, pszNewName);
    }
    else
    {
        m_pPool->Doubt();
    }
}

}  // namespace lum

#include "live/change_hints.h"

#include <algorithm>

namespace lum
{

void HintSignal::Notify()
{
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        m_bNotified = true;
    }
    m_kChanged.notify_one();
}

bool HintSignal::WaitFor(std::chrono::milliseconds kTime)
{
    std::unique_lock<std::mutex> kGuard(m_kLock);
    m_kChanged.wait_for(kGuard, kTime, [this] { return m_bNotified; });
    return std::exchange(m_bNotified, false);
}

void HintPool::Touched(const VOWString& strPath, bool bWritten, const VOWCHAR* pszNewName)
{
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        ++m_kHints.uEvents;
        FolderHints& kFolder = m_kHints.mapFolders[ParentPath(strPath)];
        const VOWString strName = LastPart(strPath);
        if (pszNewName != nullptr)
        {
            kFolder.vecRenamed.emplace_back(strName, pszNewName);
        }
        if (bWritten)
        {
            kFolder.setWritten.insert(pszNewName != nullptr ? pszNewName : strName);
        }
    }
    m_pkSignal->Notify();
}

void HintPool::Doubt()
{
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        m_kHints.bDoubt = true;
    }
    m_pkSignal->Notify();
}

Hints HintPool::Take()
{
    const std::lock_guard<std::mutex> kGuard(m_kLock);
    return std::exchange(m_kHints, Hints());
}

HintListener::HintListener(const VOWString& strRoot, HintPool* pkPool)
    : m_strPrefix(strRoot + VOTEXT("/")), m_pkPool(pkPool)
{
    std::replace(m_strPrefix.begin(), m_strPrefix.end(), VOWCHAR('\\'), VOWCHAR('/'));
}

// What can't be placed is a doubt.
void HintListener::_Touched(const VOWCHAR* pszFilePath, bool bWritten, const VOWCHAR* pszNewName) const
{
    const VOWString strPath(pszFilePath);
    if (strPath.starts_with(m_strPrefix) && strPath.size() > m_strPrefix.size())
    {
        m_pkPool->Touched(strPath.substr(m_strPrefix.size()), bWritten, pszNewName);
    }
    else
    {
        m_pkPool->Doubt();
    }
}

}  // namespace lum

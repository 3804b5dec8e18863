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

void HintPool::Touched(const VOWString& strPath, bool bWritten)
{
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        ++m_kHints.uEvents;
        FolderHints& kFolder = m_kHints.mapFolders[ParentPath(strPath)];
        if (bWritten)
        {
            kFolder.setWritten.insert(LastPart(strPath));
        }
    }
    m_pkSignal->Notify();
}

void HintPool::Renamed(const VOWString& strPath, const VOWString& strNewName)
{
    {
        const std::lock_guard<std::mutex> kGuard(m_kLock);
        ++m_kHints.uEvents;
        FolderHints& kFolder = m_kHints.mapFolders[ParentPath(strPath)];
        kFolder.vecRenamed.emplace_back(LastPart(strPath), strNewName);
        kFolder.setWritten.insert(strNewName);
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

// False for what can't be placed.
bool HintListener::_Relative(const VOWCHAR* pszFilePath, VOWString* pstrPath) const
{
    const VOWString strPath(pszFilePath);
    if (!strPath.starts_with(m_strPrefix) || strPath.size() == m_strPrefix.size())
    {
        m_pkPool->Doubt();
        return false;
    }
    *pstrPath = strPath.substr(m_strPrefix.size());
    return true;
}

void HintListener::OnFileMonitor_Add(const VOWCHAR* pszFilePath)
{
    VOWString strPath;
    if (_Relative(pszFilePath, &strPath))
    {
        // What was there before has been made anew.
        m_pkPool->Touched(strPath, true);
    }
}

void HintListener::OnFileMonitor_Remove(const VOWCHAR* pszFilePath)
{
    VOWString strPath;
    if (_Relative(pszFilePath, &strPath))
    {
        m_pkPool->Touched(strPath, false);
    }
}

void HintListener::OnFileMonitor_Rename(const VOWCHAR* pszFilePath, const VOWCHAR* pszNewFileName)
{
    VOWString strPath;
    if (_Relative(pszFilePath, &strPath))
    {
        m_pkPool->Renamed(strPath, pszNewFileName);
    }
}

void HintListener::OnFileMonitor_Modified(const VOWCHAR* pszFilePath)
{
    VOWString strPath;
    if (_Relative(pszFilePath, &strPath))
    {
        m_pkPool->Touched(strPath, true);
    }
}

}  // namespace lum

// The life of a detect thread, and the delivery of what it finds.
#include <algorithm>

#include "diagnostics/check.h"
#include "fileevent/detect_thread.h"
#include "platform/vo_shared_word.h"
#include "vots_file_event.h"

using LUMTrayService::enumAssetFrom;
using LUMTrayService::structFileEventNode;

const VOWCHAR* VOFileEventMappingViewString(enumAssetFrom eaf)
{
    static const VOWCHAR* const s_arrName[LUMTrayService::ASSETTYPE_COUNT] = {
        nullptr,
        VOTEXT("vo_fileMappingFileEventContainerName_source"),
        VOTEXT("vo_fileMappingFileEventContainerName_target"),
        VOTEXT("vo_fileMappingFileEventContainerName_pakv4"),
        VOTEXT("vo_fileMappingFileEventContainerName_httpfile_source"),
        VOTEXT("vo_fileMappingFileEventContainerName_httpfile_target"),
        VOTEXT("vo_fileMappingFileEventContainerName_httpfile_pkg_source"),
        VOTEXT("vo_fileMappingFileEventContainerName_httpfile_pkg_target"),
        VOTEXT("vo_fileMappingFileEventContainerName_mergeSrc"),
        VOTEXT("vo_fileMappingFileEventContainerName_mergeTarget"),
    };
    return static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT ? s_arrName[eaf] : nullptr;
}

IVOTSFileEventListener::IVOTSFileEventListener() = default;
IVOTSFileEventListener::IVOTSFileEventListener(const IVOTSFileEventListener& rkOther) = default;
IVOTSFileEventListener& IVOTSFileEventListener::operator=(const IVOTSFileEventListener& rkOther) = default;
IVOTSFileEventListener::~IVOTSFileEventListener() = default;

VOTSFileEventMappingInspector::VOTSFileEventMappingInspector(enumAssetFrom eaf)
    : m_eaf(eaf), m_bRunning(1), m_hDetectThread(nullptr), m_bResumedToEnd(false)
{
}

VOTSFileEventMappingInspector::~VOTSFileEventMappingInspector()
{
    for (IVOTSFileEventListener* const piListener : m_vecListener)
    {
        if (piListener != nullptr)
        {
            piListener->Release();
        }
    }
}

int VOTSFileEventMappingInspector::Run()
{
    int nResult = 0;
    const std::lock_guard<std::mutex> guard(m_DetectLock);
    VO_PROCESS_ERROR(CreateDetectThread());
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileEventMappingInspector::Stop()
{
    const std::lock_guard<std::mutex> guard(m_DetectLock);
    _ResumeOnce();
    DestroyDetectThread();
    return 1;
}

// The first half of Stop.
void VOTSFileEventMappingInspector::_AskToEnd()
{
    const std::lock_guard<std::mutex> guard(m_DetectLock);
    if (m_hDetectThread != nullptr)
    {
        VOStoreWord(m_bRunning, 0);
        _ResumeOnce();
    }
}

// A suspended thread couldn't see the request to end. It is let go one step for one end, however many ask for that: a
// thread that was suspended twice stays so. The caller has the lock.
void VOTSFileEventMappingInspector::_ResumeOnce()
{
    constexpr DWORD kFailed = static_cast<DWORD>(-1);
    if (m_hDetectThread != nullptr && !m_bResumedToEnd)
    {
        const DWORD uBefore = ::ResumeThread(m_hDetectThread);
        m_bResumedToEnd = uBefore != 0 && uBefore != kFailed;
    }
}

int VOTSFileEventMappingInspector::BindListener(IVOTSFileEventListener* piListener)
{
    int nResult = 0;
    std::unique_lock<std::mutex> guard(m_ListenerLock, std::defer_lock);
    VO_PROCESS_ERROR(piListener);
    guard.lock();
    if (std::find(m_vecListener.begin(), m_vecListener.end(), piListener) == m_vecListener.end())
    {
        m_vecListener.push_back(piListener);
        piListener->AddRef();
    }
    nResult = 1;

Exit0:
    return nResult;
}

// Takes no lock, so that a listener may ask for it, and while Stop waits.
int VOTSFileEventMappingInspector::SuspendEvent(int bSuspend)
{
    void* const hDetectThread = m_hDetectThread;
    if (hDetectThread == nullptr)
    {
        return 0;
    }
    if (bSuspend != 0)
    {
        ::SuspendThread(hDetectThread);
    }
    else
    {
        ::ResumeThread(hDetectThread);
    }
    return 1;
}

int VOTSFileEventMappingInspector::DispatchFileEvent(const structFileEventNode& node,
                                                     VOTSFileEventContainer* pkContainer)
{
    int nResult = 0;
    FileEventParam param = {};
    size_t uDead = 0;
    std::unique_lock<std::mutex> guard(m_ListenerLock, std::defer_lock);
    const VOWCHAR* pszPath = nullptr;
    VO_PROCESS_ERROR(pkContainer);
    guard.lock();
    VO_PROCESS_ERROR(node.hstrPath != INVALID_HANDLE_VALUE);
    pszPath = pkContainer->GetString(node.hstrPath);
    VO_PROCESS_ERROR(pszPath);
    param.eaf = m_eaf;
    param.dwEventParam0 = node.dwEventParam0;
    param.dwEventParam1 = node.dwEventParam1;
    param.dwEventParam2 = node.dwEventParam2;
    param.pszPath = pszPath;
    param.pszNewName = node.hstrNewName != INVALID_HANDLE_VALUE ? pkContainer->GetString(node.hstrNewName) : nullptr;
    param.pszPhysicPath =
        node.hstrPhysicPath != INVALID_HANDLE_VALUE ? pkContainer->GetString(node.hstrPhysicPath) : nullptr;
    param.ullTime = node.ullTime;

    for (IVOTSFileEventListener*& piListener : m_vecListener)
    {
        if (piListener == nullptr)
        {
            // Found dead by an earlier event.
            continue;
        }
        const unsigned int uReferences = piListener->RefCount();
        if (uReferences > 1)
        {
            const FileEventParam one = param;
            piListener->OnFileEvent(&one);
            continue;
        }
        // The tool has let go of it. What its release deletes must not be met again.
        IVOTSFileEventListener* const piDead = piListener;
        if (uReferences == 1)
        {
            piListener = nullptr;
        }
        piDead->Release();
        ++uDead;
    }

    // Kept (VOTSFileEventMappingInspector::BindListener): as many entries are erased as were found dead, counted down
    // to the second entry of the vector, and not the dead ones themselves. Tools bind one listener for each source, and
    // go by who gets events after that; the guide for publishers says it. A place that the vector doesn't have is
    // passed over.
    for (; uDead > 0; --uDead)
    {
        if (uDead < m_vecListener.size())
        {
            m_vecListener.erase(m_vecListener.begin() + static_cast<std::ptrdiff_t>(uDead));
        }
    }
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileEventMappingInspector::CreateDetectThread()
{
    int nResult = 0;
    if (m_hDetectThread != nullptr)
    {
        return 1;
    }
    VOStoreWord(m_bRunning, 1);
    m_bResumedToEnd = false;
    m_hDetectThread = ::CreateThread(nullptr, 0, &ThreadProc_DetectFileEvnet, this, 0, nullptr);
    VO_PROCESS_ERROR(m_hDetectThread);
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSFileEventMappingInspector::DestroyDetectThread()
{
    if (m_hDetectThread != nullptr)
    {
        VOStoreWord(m_bRunning, 0);
        // The thread uses this object to its last line, so a wait that fails is no end.
        while (::WaitForSingleObject(m_hDetectThread, INFINITE) != WAIT_OBJECT_0)
        {
            ::Sleep(1);
        }
        ::CloseHandle(m_hDetectThread.exchange(nullptr));
    }
    return 1;
}

VOULONG VOTSFileEventMappingInspector::ThreadProc_DetectFileEvnet(void* pInspector)
{
    VOTSFileEventMappingInspector* const pkInspector = static_cast<VOTSFileEventMappingInspector*>(pInspector);
    TSThreadProcDetect detect;
    unsigned long long ullLastTime = kNoTime;
    HANDLE hWaitObj = nullptr;
    VO_PROCESS_ERROR(pInspector);

    // Nobody signals it: it is there for its time-out.
    hWaitObj = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    VO_PROCESS_ERROR(hWaitObj);
    while (VOLoadWord(pkInspector->m_bRunning) != 0)
    {
        const DWORD uWaited = ::WaitForSingleObject(hWaitObj, g_uVODetectPause);
        if (uWaited != WAIT_OBJECT_0 && uWaited != WAIT_TIMEOUT)
        {
            continue;
        }
        if (VOLoadWord(pkInspector->m_bRunning) == 0)
        {
            break;
        }
        std::vector<structFileEventNode> vecEvent;
        unsigned long long ullLatestTime = 0;
        if (detect.Look(pkInspector->m_eaf, vecEvent, ullLastTime, ullLatestTime))
        {
            for (const structFileEventNode& event : vecEvent)
            {
                pkInspector->DispatchFileEvent(event, detect.m_pReader.get());
            }
            ullLastTime = ullLatestTime;
        }
    }
    ::CloseHandle(hWaitObj);

Exit0:
    return 0;
}

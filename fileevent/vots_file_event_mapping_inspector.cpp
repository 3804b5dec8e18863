// The life of a detect thread, and the delivery of what it finds.
#include <algorithm>

#include "diagnostics/check.h"
#include "fileevent/detect_thread.h"
#include "mapping/assemble_parts.h"
#include "platform/vo_shared_word.h"
#include "vots_file_event.h"

using LUMTrayService::enumAssetFrom;
using LUMTrayService::structFileEventNode;

const VOWCHAR* VOFileEventMappingViewString(enumAssetFrom eaf)
{
    static const VOWCHAR* const s_arrName[] = VO_SECTION_NAMES(VOTEXT("vo_fileMappingFileEventContainerName"));
    return VOOfSource(s_arrName, eaf);
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
    const std::lock_guard<std::mutex> guard(m_DetectLock);
    return VO_STEP(CreateDetectThread());
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
    if (!VO_STEP(piListener))
    {
        return 0;
    }
    const std::lock_guard<std::mutex> guard(m_ListenerLock);
    if (std::find(m_vecListener.begin(), m_vecListener.end(), piListener) == m_vecListener.end())
    {
        m_vecListener.push_back(piListener);
        piListener->AddRef();
    }
    return 1;
}

// Takes no lock, so that a listener may ask for it, and while Stop waits.
int VOTSFileEventMappingInspector::SuspendEvent(int bSuspend)
{
    void* const hDetectThread = m_hDetectThread;
    if (hDetectThread == nullptr)
    {
        return 0;
    }
    bSuspend != 0 ? ::SuspendThread(hDetectThread) : ::ResumeThread(hDetectThread);
    return 1;
}

int VOTSFileEventMappingInspector::DispatchFileEvent(const structFileEventNode& node,
                                                     VOTSFileEventContainer* pkContainer)
{
    if (!VO_STEP(pkContainer))
    {
        return 0;
    }
    const auto TextOf = [pkContainer](void* hText)
    { return hText != INVALID_HANDLE_VALUE ? pkContainer->GetString(hText) : nullptr; };
    if (!VO_STEP(node.hstrPath != INVALID_HANDLE_VALUE))
    {
        return 0;
    }
    const VOWCHAR* const pszPath = pkContainer->GetString(node.hstrPath);
    if (!VO_STEP(pszPath))
    {
        return 0;
    }
    _Tell({.eaf = m_eaf,
           .dwEventParam0 = node.dwEventParam0,
           .dwEventParam1 = node.dwEventParam1,
           .dwEventParam2 = node.dwEventParam2,
           .pszPath = pszPath,
           .pszNewName = TextOf(node.hstrNewName),
           .pszPhysicPath = TextOf(node.hstrPhysicPath),
           .ullTime = node.ullTime});
    return 1;
}

void VOTSFileEventMappingInspector::_Tell(const FileEventParam& param)
{
    const std::lock_guard<std::mutex> guard(m_ListenerLock);
    size_t uDead = 0;
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
}

void VOTSFileEventMappingInspector::_TellAll(const std::vector<VOToldEvent>& vecEvents)
{
    const auto TextOf = [](const VOWString& strText) { return strText.empty() ? nullptr : strText.c_str(); };
    for (const VOToldEvent& event : vecEvents)
    {
        _Tell({.eaf = m_eaf,
               .dwEventParam0 = event.auParam[0],
               .dwEventParam1 = event.auParam[1],
               .dwEventParam2 = event.auParam[2],
               .pszPath = event.astrText[0].c_str(),
               .pszNewName = TextOf(event.astrText[1]),
               .pszPhysicPath = TextOf(event.astrText[2]),
               .ullTime = event.ullTime});
    }
}

int VOTSFileEventMappingInspector::CreateDetectThread()
{
    if (m_hDetectThread != nullptr)
    {
        return 1;
    }
    VOStoreWord(m_bRunning, 1);
    m_bResumedToEnd = false;
    m_hDetectThread = ::CreateThread(nullptr, 0, &ThreadProc_DetectFileEvnet, this, 0, nullptr);
    return VO_STEP(m_hDetectThread);
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
    // Nobody signals it: it is there for its time-out.
    const HANDLE hWaitObj = VO_STEP(pInspector) ? ::CreateEventW(nullptr, FALSE, FALSE, nullptr) : nullptr;
    if (pInspector == nullptr || !VO_STEP(hWaitObj))
    {
        return 0;
    }
    TSThreadProcDetect detect(pkInspector->m_eaf);
    unsigned long long ullLastTime = kNoTime;
    uint32_t uSteps = 0;
    bool bRing = false;
    std::vector<VOToldEvent> vecTold;
    while (VOLoadWord(pkInspector->m_bRunning) != 0)
    {
        if (bRing)
        {
            detect.m_ring.WaitWhile(uSteps, g_uVODetectPause);
        }
        else if (const DWORD uWaited = ::WaitForSingleObject(hWaitObj, g_uVODetectPause);
                 uWaited != WAIT_OBJECT_0 && uWaited != WAIT_TIMEOUT)
        {
            continue;
        }
        if (VOLoadWord(pkInspector->m_bRunning) == 0)
        {
            break;
        }
        bRing = detect.TakeTold(vecTold, ullLastTime, uSteps);
        pkInspector->_TellAll(vecTold);
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
    return 0;
}

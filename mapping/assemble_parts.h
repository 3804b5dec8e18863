// What the assembles are made of: the one object of a process and its count, the table of its inspectors, and the names
// of what those read.
//
// Instance holds the class's lock. Release takes none, and so nothing is ended under one: it may be called by a log
// hook that an Instance runs into, and ending an inspector waits for a thread whose listener may ask for the instance.
// Hence count and pointer are shared words. A reference is added only to others, and what ends is the object that was
// there while its last reference was given back: threads that pair the two calls never meet an object that is no more.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

#include "diagnostics/check.h"
#include "platform/vo_shared_word.h"
#include "tray_service_types.h"

// One reference more to an object that has others; false when it has none.
inline bool VOAddReference(int& nSharedCount)
{
    int nRefCount = VOLoadWord(nSharedCount);
    while (nRefCount != 0 && !VOReplaceWord(nSharedCount, nRefCount, nRefCount + 1))
    {
    }
    return nRefCount != 0;
}

// One reference less. The object that has lost its last one, for the caller to end; null otherwise.
template <typename Assemble>
Assemble* VOGiveReferenceBack(Assemble*& givenPInstance, int& nSharedCount)
{
    Assemble* pInstance = nullptr;
    int nRefCount = VOLoadWord(nSharedCount);
    do
    {
        if (nRefCount <= 0)
        {
            return nullptr;
        }
        pInstance = VOLoadWord(givenPInstance);
    } while (!VOReplaceWord(nSharedCount, nRefCount, nRefCount - 1));

    if (nRefCount > 1)
    {
        return nullptr;
    }
    // Another one may stand there already.
    Assemble* pExpected = pInstance;
    VOReplaceWord(givenPInstance, pExpected, nullptr);
    return pInstance;
}

// Instance and Release of an assemble.
struct VOAssembleLife
{
    template <typename Assemble>
    static Assemble* Instance(const char* pszFunction)
    {
        const std::lock_guard<std::mutex> guard(Assemble::ms_InstanceLock);
        if (!VOAddReference(Assemble::ms_nRefCountOfInstance))
        {
            VO_CHECK_ERROR_AS_IN(pszFunction, "NULL == ms_pkInstance", VOLoadWord(Assemble::ms_pkInstance) == nullptr);
            // Without a publisher the object has no inspectors, and is sound all the same.
            std::unique_ptr<Assemble, decltype(&End<Assemble>)> pNew(new Assemble, &End<Assemble>);
            pNew->_SetupInspector();
            VOStoreWord(Assemble::ms_pkInstance, pNew.release());
            VOStoreWord(Assemble::ms_nRefCountOfInstance, 1);
        }
        return VOLoadWord(Assemble::ms_pkInstance);
    }

    template <typename Assemble>
    static void Release()
    {
        Assemble* const pLast = VOGiveReferenceBack(Assemble::ms_pkInstance, Assemble::ms_nRefCountOfInstance);
        if (pLast != nullptr)
        {
            End(pLast);
        }
    }

private:
    template <typename Assemble>
    static void End(Assemble* pInstance)
    {
        pInstance->_CloseInspector();
        delete pInstance;
    }
};

// The names of one kind of section, by source.
#define VO_SECTION_NAMES(prefix)                                                                                      \
    {                                                                                                                 \
        nullptr, prefix VOTEXT("_source"), prefix VOTEXT("_target"), prefix VOTEXT("_pakv4"),                         \
            prefix VOTEXT("_httpfile_source"), prefix VOTEXT("_httpfile_target"),                                     \
            prefix VOTEXT("_httpfile_pkg_source"), prefix VOTEXT("_httpfile_pkg_target"), prefix VOTEXT("_mergeSrc"), \
            prefix VOTEXT("_mergeTarget")                                                                             \
    }

// What a table has for a source; null for a source without it, and for what is no source.
template <typename T>
T* VOOfSource(T* const (&rapEntry)[LUMTrayService::ASSETTYPE_COUNT], LUMTrayService::enumAssetFrom eaf)
{
    return static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT ? rapEntry[eaf] : nullptr;
}

// Calls an operation of each inspector, by ascending source.
template <typename Inspector, typename Operation>
void VOForEachInspector(Inspector* const (&rapkInspector)[LUMTrayService::ASSETTYPE_COUNT], Operation operation)
{
    for (Inspector* const pkInspector : rapkInspector)
    {
        if (pkInspector != nullptr)
        {
            std::invoke(operation, pkInspector);
        }
    }
}

// Ends all inspectors, each after its closing operation.
template <typename Inspector, typename Operation>
void VOEndInspectors(Inspector* (&rapkInspector)[LUMTrayService::ASSETTYPE_COUNT], Operation close)
{
    for (Inspector*& pInspector : rapkInspector)
    {
        if (pInspector != nullptr)
        {
            std::invoke(close, pInspector);
            delete pInspector;
            pInspector = nullptr;
        }
    }
}

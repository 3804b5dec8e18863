// What the assembles are made of: the count of the one object of a process, and the table of its inspectors.
//
// Instance holds the class's lock. Release takes none, and so nothing is ended under one: it may be called by a log
// hook that an Instance runs into, and ending an inspector waits for a thread whose listener may ask for the instance.
// Hence count and pointer are shared words. A reference is added only to others, and what ends is the object that was
// there while its last reference was given back: threads that pair the two calls never meet an object that is no more.
#pragma once

#include <functional>

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

// The inspector of a source; null for a source without one, and for what is no source.
template <typename Inspector>
Inspector* VOInspectorOf(Inspector* const (&rapkInspector)[LUMTrayService::ASSETTYPE_COUNT],
                         LUMTrayService::enumAssetFrom eaf)
{
    return static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT ? rapkInspector[eaf] : nullptr;
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

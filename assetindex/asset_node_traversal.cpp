// The walk over a tree, for Providers and Customers alike.
//
// Order at each level: all files, then the folders; with recursion each folder is reported before its contents. The
// levels are kept on a stack of their own, since trees may be deeper than a thread's stack. A sound tree has no more
// children than nodes: a walk that would visit more follows links that point back, and ends with an error.
#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"

using LUMTrayService::structAssetNode;
using LUMTrayService::TraverseAssetNodeFunction;
using LUMTrayService::Inspector::NT_FILE;
using LUMTrayService::Inspector::NT_FOLDER;

struct VOTSAssetNodeContainerHelper::Walk
{
    struct Level
    {
        std::vector<unsigned int> vecChildIndex;  // the folders of this level
        size_t uNext = 0;
    };

    const VOTSAssetNodeContainer* pkContainer;
    VOULONG dwType;
    TraverseAssetNodeFunction pFun;
    void* pvParam;
    int& bStop;
    unsigned long long ullVisitsLeft;   // children that may still be visited
    unsigned long long ullEntriesLeft;  // entries of child lists that may still be fetched
    bool bExhausted;
    std::vector<Level> vecLevel;
};

int VOTSAssetNodeContainerHelper::TraverseAssetNode(const VOTSAssetNodeContainer* pkContainer, unsigned int uAssetIndex,
                                                    VOULONG dwType, int bSubAssetNode, TraverseAssetNodeFunction pFun,
                                                    void* pvParam)
{
    int bStop = 0;
    return TraverseAssetNodeInternal(pkContainer, uAssetIndex, dwType, bSubAssetNode, pFun, pvParam, bStop);
}

int VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(const VOTSAssetNodeContainer* pkContainer,
                                                            unsigned int uAssetIndex, VOULONG dwType, int bSubAssetNode,
                                                            TraverseAssetNodeFunction pFun, void* pvParam, int& bStop)
{
    Walk kWalk = {pkContainer, dwType, pFun, pvParam, bStop, 0, 0, false, {}};
    VO_PROCESS_ERROR(pkContainer);
    kWalk.ullVisitsLeft = pkContainer->GetAssetNodeCount();
    kWalk.ullEntriesLeft = kWalk.ullVisitsLeft + pkContainer->m_pkAssetIndexContainer->GetValueCount();

    // A step that fails is logged and ends its own level: the one above goes on with its next folder.
    TraverseAssetNodeInternal(kWalk, uAssetIndex);
    while (!kWalk.vecLevel.empty())
    {
        unsigned int uChildIndex = 0;
        if (!TraverseAssetNodeInternal(kWalk, &uChildIndex))
        {
            kWalk.vecLevel.pop_back();
        }
        else if (bSubAssetNode != 0)
        {
            TraverseAssetNodeInternal(kWalk, uChildIndex);
        }
    }

Exit0:
    return 1;
}

// Fetches a child list of a node: its folders or its files. In a sound tree each list is fetched once; beyond that the
// walk is over.
int VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(Walk& rkWalk, const structAssetNode& tsNode, bool bFolders,
                                                            std::vector<unsigned int>& vecChildIndex)
{
    int nResult = 0;
    const VOTSAssetNodeContainer* pkContainer = rkWalk.pkContainer;
    vecChildIndex.clear();
    if (bFolders)
    {
        VO_PROCESS_ERROR(pkContainer->GetInfoNumberList(tsNode.nChildFolderInfo, vecChildIndex));
    }
    else
    {
        VO_PROCESS_ERROR(pkContainer->GetInfoNumberList(tsNode.nChildFileInfo, vecChildIndex));
    }
    rkWalk.bExhausted = vecChildIndex.size() > rkWalk.ullEntriesLeft;
    VO_PROCESS_ERROR_AS("vecChildIndex.size() <= uEntriesLeft", !rkWalk.bExhausted);
    rkWalk.ullEntriesLeft -= vecChildIndex.size();
    nResult = 1;

Exit0:
    return nResult;
}

// Reads a child that is to be visited. A walk visits at most as many children as there are nodes.
int VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(Walk& rkWalk, unsigned int uChildIndex,
                                                            structAssetNode& tsChildNode)
{
    int nResult = 0;
    const VOTSAssetNodeContainer* pkContainer = rkWalk.pkContainer;
    // GetAssetNode, with its good case in place: it runs once for each node of a walk.
    VO_PROCESS_ERROR_AS(
        "pkContainer->GetAssetNode(vecChildIndex[i], tsChildNode)",
        uChildIndex < pkContainer->m_vecAssetNode.Count() || pkContainer->GetAssetNode(uChildIndex, tsChildNode));
    memcpy(static_cast<void*>(&tsChildNode), pkContainer->m_vecAssetNode.Bytes(uChildIndex), sizeof(tsChildNode));
    rkWalk.bExhausted = rkWalk.ullVisitsLeft == 0;
    VO_PROCESS_ERROR_AS("uVisitsLeft != 0", !rkWalk.bExhausted);
    --rkWalk.ullVisitsLeft;
    nResult = 1;

Exit0:
    return nResult;
}

// Enters a folder: reports its files and lists its folders as a new level. 0 when there is no such level to walk.
int VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(Walk& rkWalk, unsigned int uAssetIndex)
{
    int nResult = 0;
    const VOTSAssetNodeContainer* pkContainer = rkWalk.pkContainer;
    const TraverseAssetNodeFunction pFun = rkWalk.pFun;
    structAssetNode tsNode;
    structAssetNode tsChildNode;
    std::vector<unsigned int> vecChildIndex;
    VO_PROCESS_ERROR(pFun);
    VO_PROCESS_ERROR(pkContainer->GetAssetNode(uAssetIndex, tsNode));

    if ((rkWalk.dwType & NT_FILE) != 0 && tsNode.nChildFileInfo != UINT(-1))
    {
        if (!TraverseAssetNodeInternal(rkWalk, tsNode, false, vecChildIndex))
        {
            return 0;
        }
        for (size_t i = 0; i < vecChildIndex.size(); ++i)
        {
            if (rkWalk.bStop != 0)
            {
                return 0;
            }
            if (!TraverseAssetNodeInternal(rkWalk, vecChildIndex[i], tsChildNode))
            {
                return 0;
            }
            pFun(tsChildNode, rkWalk.pvParam, rkWalk.bStop);
        }
    }
    if (tsNode.nChildFolderInfo != UINT(-1))
    {
        if (!TraverseAssetNodeInternal(rkWalk, tsNode, true, vecChildIndex))
        {
            return 0;
        }
        rkWalk.vecLevel.push_back({std::move(vecChildIndex), 0});
        nResult = 1;
    }

Exit0:
    return nResult;
}

// Takes the next folder of the innermost level and reports it. 0 when the level is at its end.
int VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal(Walk& rkWalk, unsigned int* puChildIndex)
{
    Walk::Level& rkLevel = rkWalk.vecLevel.back();
    structAssetNode tsChildNode;
    if (rkLevel.uNext >= rkLevel.vecChildIndex.size() || rkWalk.bStop != 0 || rkWalk.bExhausted ||
        !TraverseAssetNodeInternal(rkWalk, rkLevel.vecChildIndex[rkLevel.uNext++], tsChildNode))
    {
        return 0;
    }
    if ((rkWalk.dwType & NT_FOLDER) != 0)
    {
        rkWalk.pFun(tsChildNode, rkWalk.pvParam, rkWalk.bStop);
    }
    *puChildIndex = tsChildNode.nAssetID;
    return 1;
}

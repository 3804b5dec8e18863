// From the two hashes of a path to a copy of its node: the steps of a lookup on a published image or a base, which one
// path takes one after the other, and many paths side by side.
#pragma once

#include "assetindex/no_index.h"
#include "containers/handles.h"
#include "containers/path_hash.h"
#include "diagnostics/check.h"
#include "vots_asset_node_container.h"

struct VOAssetLookup
{
    typedef VOStringHashSet::Lookup StringLookup;

    // Whether lookups take these steps. A Provider has its maps; and whoever traces sees the checks of each step.
    static bool IsByHashes(const VOTSAssetNodeContainer& container)
    {
        return container.m_eAssetRole == LUMTrayService::AR_Customer && container.m_pkStringSet != nullptr &&
               !VOTraceIsOpen();
    }

    // In the tables of an image: the string that the first hash names, and, when its second hash was looked at, the
    // node.
    static StringLookup Candidate(const VOTSAssetNodeContainer& container, const VOHashPair& pair)
    {
        StringLookup lookup;
        VOStringHashSet::HashTable::Iterator iterator;
        lookup.uHash0 = pair.uHash0;
        lookup.uHash1 = pair.uHash1;
        lookup.bFound = container.m_pkStringSet->m_mapTableHashString.Find(pair.uHash0, iterator);
        lookup.hString = lookup.bFound ? iterator.value : INVALID_HANDLE_VALUE;
        return lookup;
    }

    static unsigned int NodeOf(const VOTSAssetNodeContainer& container, StringLookup& lookup)
    {
        const VOStringHashSet& set = *container.m_pkStringSet;
        return container._FindAssetParamIndex_C(set._LiveHandle(set._Confirm_C(lookup)));
    }

    // The node of a path, by whatever the container has; an id that is none when there is no such node.
    static unsigned int Find(const VOTSAssetNodeContainer& container, const VOHashPair& pair)
    {
        if (container.m_pathTable.IsThere())
        {
            return container.m_pathTable.Find(pair.uHash0, pair.uHash1);
        }
        // The slot of the key table comes while the string's record is read.
        StringLookup lookup = Candidate(container, pair);
        VOPrefetch(container.m_mapTableStringHandle2ParamIndex.HomeOf(lookup.hString));
        return NodeOf(container, lookup);
    }

    // The lookup of any role, by a text that may have a root in front.
    static int FindByText(const VOTSAssetNodeContainer& container, const VOWCHAR* pszPath,
                          LUMTrayService::structAssetNode& tsNode);

    // Copies the node out; 0 for an id that is none.
    static int Give(const VOTSAssetNodeContainer& container, unsigned int uNode,
                    LUMTrayService::structAssetNode& tsNode)
    {
        if (uNode >= container.m_vecAssetNode.Count())
        {
            return 0;
        }
        VO_CHECK_ERROR_AS_IN("VOTSAssetNodeContainer::FindAssetNode",
                             "param.dwParamState != AssetParamState::APS_Deleted",
                             container._StateOf(uNode) != AssetParamState::APS_Deleted);
        memcpy(static_cast<void*>(&tsNode), container.m_vecAssetNode.Bytes(uNode), sizeof(tsNode));
        return 1;
    }
};

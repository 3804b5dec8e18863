// What the targets ask of an inspector, whatever it has loaded.
#pragma once

#include <algorithm>
#include <vector>

#include "fuzz/asset_queries.h"
#include "fuzz/support.h"
#include "vots_file_mapping.h"

inline void FuzzAskNode(const VOTSFileMappingInspector& reader, unsigned int uID)
{
    LUMTrayService::structAssetNode tsNode;
    std::vector<unsigned int> vecChild;
    VOWCHAR szPath[MAX_PATH];
    FUZZ_REQUIRE(reader.GetAssetNode(uID, tsNode) != 0);
    FUZZ_REQUIRE(reader.GetAssetChildIndexList(uID, 3, vecChild) != 0);
    FUZZ_REQUIRE(reader.GetAssetChildCount(uID, 3) == vecChild.size());
    for (const LUMTrayService::Inspector::NodeType eType :
         {LUMTrayService::Inspector::NT_FILE, LUMTrayService::Inspector::NT_FOLDER})
    {
        unsigned int uChild = 0;
        (void)reader.GetAssetIndexOfParent(uID, eType);
        FUZZ_REQUIRE(reader.GetAssetChildByIndex(uID, 0, eType, uChild) != 0);
    }
    if (reader.GetAssetPath(uID, MAX_PATH, szPath) != 0)
    {
        FuzzLength(szPath, MAX_PATH);
        (void)reader.GetAssetNode(szPath, tsNode);
    }
    FuzzWalk walk;
    FUZZ_REQUIRE(reader.TraverseAssetNode(uID, 3, 1, &FuzzWalk::Visit, &walk) == 1);
    // A walk that filters can't be stopped by what it leaves out.
    if (walk.IsWhole())
    {
        FuzzWalk merge;
        FuzzWalk name;
        FuzzWalk extension;
        (void)reader.TraverseAssetNode_AssetMerge(uID, ~0u, 1, &FuzzWalk::Visit, &merge);
        (void)reader.TraverseAssetNode_FileName(uID, VOTEXT("a"), 0, 3, 1, &FuzzWalk::Visit, &name);
        (void)reader.TraverseAssetNode_Extension(uID, VOTEXT("b|c"), 1, 1, &FuzzWalk::Visit, &extension);
        FUZZ_REQUIRE(std::max({merge.Visits(), name.Visits(), extension.Visits()}) <= walk.Visits());
    }
}

inline void FuzzAskAll(const VOTSFileMappingInspector& reader)
{
    LUMTrayService::structAssetNode tsNode;
    int nType = 0;
    std::vector<VOWString> vecExtension;
    const unsigned int uCount = reader.GetAssetNodeCount();
    for (unsigned int uID = 0; uID < std::min(uCount, 16u); ++uID)
    {
        FuzzAskNode(reader, uID);
    }
    FUZZ_REQUIRE(reader.GetAssetNode(uCount, tsNode) == 0);
    (void)reader.GetAssetNode(VOTEXT("d/a.b"), tsNode);
    (void)FuzzText(reader.GetAssetRootPath());
    (void)FuzzText(reader.GetAssetRootName());
    (void)reader.GetClassifyTypeByName(VOTEXT("T"), nType);
    (void)reader.GetClassifyExtension(7, vecExtension);
}

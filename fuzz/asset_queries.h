// Asks an asset index everything, following whatever ids, handles and lists it hands out. Its image may be damaged in
// any way; what one answer says, another one must not deny.
#pragma once

#include <string.h>

#include <algorithm>
#include <vector>

#include "fuzz/support.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"

constexpr unsigned int kFuzzNone = 0xFFFFFFFFu;

// Links may multiply, so that a walk takes millions of visits until it ends by itself: it is stopped before that.
class FuzzWalk
{
public:
    static int Visit(const LUMTrayService::structAssetNode&, void* pvParam, int& bStop)
    {
        FuzzWalk* const pWalk = static_cast<FuzzWalk*>(pvParam);
        FUZZ_REQUIRE(pWalk->m_uVisits < kMostVisits);
        bStop = ++pWalk->m_uVisits == kMostVisits ? 1 : 0;
        return 0;
    }

    unsigned int Visits() const { return m_uVisits; }
    bool IsWhole() const { return m_uVisits < kMostVisits; }

private:
    static constexpr unsigned int kMostVisits = 200;
    unsigned int m_uVisits = 0;
};

// Whether two nodes are the same, to the byte.
inline bool FuzzSameNode(const LUMTrayService::structAssetNode& tsOne, const LUMTrayService::structAssetNode& tsOther)
{
    return memcmp(static_cast<const void*>(&tsOne), &tsOther, sizeof(tsOne)) == 0;
}

class FuzzAssetQueries
{
public:
    explicit FuzzAssetQueries(const VOTSAssetNodeContainer& container) : m_container(container) {}

    void AskAll() const
    {
        const unsigned int uCount = std::min(m_container.GetAssetNodeCount(), kMostNodes);
        for (unsigned int uID = 0; uID < uCount; ++uID)
        {
            AskNode(uID);
        }
        LUMTrayService::structAssetNode tsNode;
        FUZZ_REQUIRE(m_container.GetAssetNode(m_container.GetAssetNodeCount(), tsNode) == 0);
        FUZZ_REQUIRE(m_container.GetAssetNode(kFuzzNone, tsNode) == 0);
        AskPath(VOTEXT("d\\A"));
        AskPath(VOTEXT(""));
        AskPath((FuzzText(m_container.GetRootPath()) + VOTEXT("/d/a.b")).c_str());
        (void)FuzzText(m_container.GetRootName());
        (void)FuzzText(m_container.GetString(FuzzHandle(uCount)));
        int nType = 0;
        (void)m_container.GetClassifyTypeByName(VOTEXT("T"), nType);
        (void)m_container.GetClassifyTypeByExtension(VOTEXT("B"), nType);
    }

    // What is found has to be a node's record.
    bool AskPath(const VOWCHAR* pszPath) const
    {
        VOWCHAR szNormal[MAX_PATH];
        LUMTrayService::structAssetNode tsNode;
        const int nNormal = m_container.NormailzeAssetPath(szNormal, pszPath, MAX_PATH, 1);
        if (nNormal != 0)
        {
            FuzzLength(szNormal, MAX_PATH);
        }
        if (m_container.FindAssetNode(pszPath, tsNode) == 0)
        {
            return false;
        }
        FUZZ_REQUIRE(nNormal != 0);
        LUMTrayService::structAssetNode tsRecord;
        unsigned int uID = 0;
        while (m_container.GetAssetNode(uID, tsRecord) != 0 && !FuzzSameNode(tsNode, tsRecord))
        {
            ++uID;
        }
        FUZZ_REQUIRE(uID < m_container.GetAssetNodeCount());
        return true;
    }

private:
    static constexpr unsigned int kMostNodes = 32;
    static constexpr unsigned int kSmallBuffer = 4;

    void AskNode(unsigned int uID) const
    {
        LUMTrayService::structAssetNode tsNode;
        FUZZ_REQUIRE(m_container.GetAssetNode(uID, tsNode) != 0);
        (void)FuzzText(m_container.GetString(tsNode.hStrClassifyName));
        (void)FuzzText(m_container.GetString(tsNode.hStrPhysicsPath));
        AskList(tsNode.nChildFileInfo);
        AskList(tsNode.nChildFolderInfo);
        AskRenderedPath(uID);
        AskType(tsNode.nClassifyType);
        Walk(uID);
    }

    void AskList(unsigned int uInfoID) const
    {
        std::vector<unsigned int> vecNumber(1, 77);
        if (m_container.GetInfoNumberList(uInfoID, vecNumber) == 0)
        {
            FUZZ_REQUIRE(vecNumber.size() == 1);
            return;
        }
        const unsigned int uCount = static_cast<unsigned int>(vecNumber.size()) - 1;
        FUZZ_REQUIRE(m_container.GetInfoNumberCount(uInfoID) == uCount);
        FUZZ_REQUIRE(uCount == 0 || m_container.GetInfoNumberFromIndex(uInfoID, 0) == vecNumber[1]);
        FUZZ_REQUIRE(uCount == 0 || m_container.GetInfoNumberFromIndex(uInfoID, uCount - 1) == vecNumber[uCount]);
        FUZZ_REQUIRE(m_container.GetInfoNumberFromIndex(uInfoID, uCount) == kFuzzNone);
    }

    void AskRenderedPath(unsigned int uID) const
    {
        VOWCHAR szPath[MAX_PATH];
        if (m_container.GetAssetPath(uID, MAX_PATH, szPath) == 0)
        {
            return;
        }
        const size_t uLength = FuzzLength(szPath, MAX_PATH);
        VOWCHAR szSmall[kSmallBuffer];
        FUZZ_REQUIRE((m_container.GetAssetPath(uID, kSmallBuffer, szSmall) != 0) == (uLength < kSmallBuffer));
        FUZZ_REQUIRE(FuzzLength(szSmall, kSmallBuffer) == std::min<size_t>(uLength, kSmallBuffer - 1));
        FUZZ_REQUIRE(memcmp(szSmall, szPath, std::min<size_t>(uLength, kSmallBuffer - 1) * sizeof(VOWCHAR)) == 0);
        VOWCHAR szWhole[MAX_PATH];
        if (m_container.GetAssetAbsolutePath(uID, MAX_PATH, szWhole) != 0)
        {
            FUZZ_REQUIRE(FuzzLength(szWhole, MAX_PATH) >= uLength + 1);
        }
        AskPath(szPath);
    }

    void AskType(int nType) const
    {
        VOWCHAR szText[std::max(LENGTH_OF_CLASSIFYNAME, LENGTH_OF_EXTENSIONS)];
        LUMTrayService::Color color;
        int nFound = 0;
        (void)m_container.GetClassifyTypeColor(nType, color);
        (void)m_container.GetClassifyBackgroundColor(nType, color);
        if (m_container.GetClassifyName(nType, szText) != 0)
        {
            FuzzLength(szText, LENGTH_OF_CLASSIFYNAME);
            (void)m_container.GetClassifyTypeByName(szText, nFound);
        }
        if (m_container.GetClassifyExtensions(nType, szText) != 0)
        {
            szText[std::min<size_t>(FuzzLength(szText, LENGTH_OF_EXTENSIONS), 3)] = 0;
            (void)m_container.GetClassifyTypeByExtension(szText, nFound);
        }
    }

    void Walk(unsigned int uID) const
    {
        FuzzWalk whole;
        FUZZ_REQUIRE(
            VOTSAssetNodeContainerHelper::TraverseAssetNode(&m_container, uID, 3, 1, &FuzzWalk::Visit, &whole) == 1);
        FuzzWalk folders;
        (void)VOTSAssetNodeContainerHelper::TraverseAssetNode(&m_container, uID, 2, 1, &FuzzWalk::Visit, &folders);
        // A walk that shows less than where it goes can't be stopped on the way.
        if (whole.IsWhole())
        {
            FuzzWalk files;
            (void)VOTSAssetNodeContainerHelper::TraverseAssetNode(&m_container, uID, 1, 1, &FuzzWalk::Visit, &files);
            FUZZ_REQUIRE(files.Visits() <= whole.Visits());
        }
    }

    const VOTSAssetNodeContainer& m_container;
};

// The walk over a tree, for Providers and Customers alike.
//
// Order at each level: all files, then the folders; with recursion each folder is reported before its contents. The
// levels are kept on a stack of their own, since trees may be deeper than a thread's stack, and child lists are read in
// place, so that a level takes eight bytes whatever the length of its list.
//
// Two things keep a walk over any data finite. A link that leads back to a folder which the walk is inside of isn't
// followed. And what is left, lists that several nodes share, is walked in full, up to a number of visits that no sound
// tree comes near.
#include <algorithm>

#include "containers/text_access.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"

using LUMTrayService::structAssetNode;
using LUMTrayService::TraverseAssetNodeFunction;
using LUMTrayService::Inspector::NT_FILE;
using LUMTrayService::Inspector::NT_FOLDER;

namespace
{

// What a walk may do for each node, or number, of the container, and what it may do in any container.
constexpr unsigned long long kVisitsPerNode = 64;
constexpr unsigned long long kFewestVisits = 16'000'000;

// A step that fails costs as much as so many visits: each of them writes to the log.
constexpr unsigned long long kVisitsPerFailure = 256;

// Up to this depth the path is searched; below it each node has a bit that tells whether it is on the path.
constexpr size_t kSearchedDepth = 64;

// The steps of a walk report under the name of the operation that they are parts of.
constexpr const char* kWalkName = "VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal";

unsigned long long LimitFor(unsigned long long ullCount)
{
    return std::max(ullCount * kVisitsPerNode, kFewestVisits);
}

}  // namespace

// VO_PROCESS_ERROR for a step, without a label: a step that fails ends its own level, and the one above goes on with
// its next folder.
#define VO_WALK_FAILS(text) (VO_LOG_LINE_(kWalkName, "VO_PROCESS_ERROR", text), _Fail())
#define VO_WALK_CHECK(text, expr) VO_CHECK_STEP_(kWalkName, "VO_PROCESS_ERROR", text, !(expr), return _Fail())

class VOTSAssetNodeContainerHelper::Walk
{
public:
    Walk(const VOTSAssetNodeContainer* pkContainer, VOULONG dwType, TraverseAssetNodeFunction pFun, void* pvParam,
         int& bStop)
        : m_pContainer(pkContainer),
          m_pLists(pkContainer->m_pkAssetIndexContainer),
          m_dwType(dwType),
          m_pFun(pFun),
          m_pvParam(pvParam),
          m_bStop(bStop),
          m_ullVisitsLeft(LimitFor(pkContainer->GetAssetNodeCount())),
          m_ullHolesLeft(LimitFor(m_pLists->GetValueCount()))
    {
    }

    // Enters a folder: reports its files and makes a level of its folders. False when there is no such level to walk.
    bool Enter(unsigned int uAssetIndex)
    {
        structAssetNode tsNode;
        VO_WALK_CHECK("pFun", m_pFun);
        VO_WALK_CHECK("pkContainer->GetAssetNode(uAssetIndex, tsNode)",
                      m_pContainer->GetAssetNode(uAssetIndex, tsNode));
        if (_IsOnPath(uAssetIndex))
        {
            return VO_WALK_FAILS("!IsOnPath(uAssetIndex)");
        }
        if ((m_dwType & NT_FILE) != 0 && tsNode.nChildFileInfo != UINT(-1) && !_ReportFiles(tsNode.nChildFileInfo))
        {
            return false;
        }
        if (tsNode.nChildFolderInfo == UINT(-1))
        {
            return false;
        }
        VO_WALK_CHECK("pkContainer->GetInfoNumberList(tsNode.nChildFolderInfo, vecChildIndex)",
                      _IsList(tsNode.nChildFolderInfo));
        _Push(uAssetIndex, tsNode.nChildFolderInfo);
        return true;
    }

    // Reports the next folder of the innermost level. False when the level is at its end.
    bool Next(unsigned int& uAssetIndex)
    {
        unsigned int uChildIndex = 0;
        structAssetNode tsChildNode;
        if (!_NextChild(m_vecLevel.back().uNext, uChildIndex) || m_bStop != 0 || !_Visit(uChildIndex, tsChildNode))
        {
            return false;
        }
        if ((m_dwType & NT_FOLDER) != 0)
        {
            m_pFun(tsChildNode, m_pvParam, m_bStop);
        }
        uAssetIndex = tsChildNode.nAssetID;
        return true;
    }

    bool HasLevel() const { return !m_vecLevel.empty(); }

    void Leave()
    {
        if (!m_vecOnPath.empty())
        {
            m_vecOnPath[m_vecLevel.back().uAssetIndex] = false;
        }
        m_vecLevel.pop_back();
    }

private:
    struct Level
    {
        unsigned int uAssetIndex;  // the folder
        unsigned int uNext;        // where its list goes on
    };

    bool _Fail()
    {
        m_ullVisitsLeft -= std::min(m_ullVisitsLeft, kVisitsPerFailure);
        return false;
    }

    bool _ReportFiles(unsigned int uInfoID)
    {
        unsigned int uChildIndex = 0;
        structAssetNode tsChildNode;
        VO_WALK_CHECK("pkContainer->GetInfoNumberList(tsNode.nChildFileInfo, vecChildIndex)", _IsList(uInfoID));
        while (_NextChild(uInfoID, uChildIndex))
        {
            if (m_bStop != 0 || !_Visit(uChildIndex, tsChildNode))
            {
                return false;
            }
            m_pFun(tsChildNode, m_pvParam, m_bStop);
        }
        return !m_bExhausted;
    }

    // GetInfoNumberList, with its good case in place. Under a trace the operation itself runs, for its lines.
    bool _IsList(unsigned int uInfoID)
    {
        if (uInfoID < m_pLists->GetValueCount() && !VO_TRACE_IS_OPEN())
        {
            return true;
        }
        std::vector<unsigned int> vecChildIndex;
        const bool bResult = m_pContainer->GetInfoNumberList(uInfoID, vecChildIndex) != 0;
        m_ullHolesLeft -= std::min<unsigned long long>(m_ullHolesLeft, vecChildIndex.size());
        return bResult;
    }

    // The next number of a list, and the place behind it. False at the list's end.
    bool _NextChild(unsigned int& uAt, unsigned int& uChildIndex)
    {
        while (!m_bExhausted)
        {
            uChildIndex = m_pLists->EntryAt(uAt);
            if (uChildIndex == VOTSNumberContainer::kTerminator)
            {
                return false;
            }
            ++uAt;
            if (uChildIndex != VOTSNumberContainer::kHole)
            {
                return true;
            }
            m_bExhausted = m_ullHolesLeft == 0;
            if (m_bExhausted)
            {
                return VO_WALK_FAILS("uHolesLeft != 0");
            }
            --m_ullHolesLeft;
        }
        return false;
    }

    // Reads a child that is to be visited: GetAssetNode, with its good case in place, since it runs once for each node
    // of a walk. Under a trace the operation itself runs, for its line.
    bool _Visit(unsigned int uChildIndex, structAssetNode& tsChildNode)
    {
        if (m_ullVisitsLeft == 0)
        {
            m_bExhausted = true;
            return VO_WALK_FAILS("uVisitsLeft != 0");
        }
        --m_ullVisitsLeft;
        if (uChildIndex < m_pContainer->m_vecAssetNode.Count() && !VO_TRACE_IS_OPEN())
        {
            memcpy(static_cast<void*>(&tsChildNode), m_pContainer->m_vecAssetNode.Bytes(uChildIndex),
                   sizeof(tsChildNode));
            return true;
        }
        VO_WALK_CHECK("pkContainer->GetAssetNode(vecChildIndex[i], tsChildNode)",
                      m_pContainer->GetAssetNode(uChildIndex, tsChildNode));
        return true;
    }

    bool _IsOnPath(unsigned int uAssetIndex) const
    {
        if (!m_vecOnPath.empty())
        {
            return uAssetIndex < m_vecOnPath.size() && m_vecOnPath[uAssetIndex];
        }
        return std::any_of(m_vecLevel.begin(), m_vecLevel.end(),
                           [uAssetIndex](const Level& level) { return level.uAssetIndex == uAssetIndex; });
    }

    void _Push(unsigned int uAssetIndex, unsigned int uInfoID)
    {
        m_vecLevel.push_back({uAssetIndex, uInfoID});
        if (!m_vecOnPath.empty())
        {
            _Mark(uAssetIndex);
        }
        else if (m_vecLevel.size() > kSearchedDepth)
        {
            m_vecOnPath.resize(m_pContainer->GetAssetNodeCount());
            for (const Level& level : m_vecLevel)
            {
                _Mark(level.uAssetIndex);
            }
        }
    }

    void _Mark(unsigned int uAssetIndex)
    {
        if (uAssetIndex >= m_vecOnPath.size())
        {
            m_vecOnPath.resize(uAssetIndex + size_t{1});
        }
        m_vecOnPath[uAssetIndex] = true;
    }

    const VOTSAssetNodeContainer* m_pContainer;
    const VOTSNumberContainer* m_pLists;
    VOULONG m_dwType;
    TraverseAssetNodeFunction m_pFun;
    void* m_pvParam;
    int& m_bStop;
    unsigned long long m_ullVisitsLeft;
    unsigned long long m_ullHolesLeft;  // holes of child lists that may still be passed
    bool m_bExhausted = false;
    std::vector<Level> m_vecLevel;
    std::vector<bool> m_vecOnPath;  // empty until the path is deep
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
    if (pkContainer == nullptr)
    {
        VO_LOG_LINE_(kWalkName, "VO_PROCESS_ERROR", "pkContainer");
        return 1;
    }
    Walk walk(pkContainer, dwType, pFun, pvParam, bStop);
    walk.Enter(uAssetIndex);
    while (walk.HasLevel())
    {
        unsigned int uChildIndex = 0;
        if (!walk.Next(uChildIndex))
        {
            walk.Leave();
        }
        else if (bSubAssetNode != 0)
        {
            walk.Enter(uChildIndex);
        }
    }
    return 1;
}

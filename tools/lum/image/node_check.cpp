#include <algorithm>

#include "image/block_check.h"
#include "vots_asset_node_container.h"

using LUMTrayService::structAssetNode;

namespace lum
{

namespace
{

// Follows the tree of one image.
class NodeChecker
{
public:
    NodeChecker(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings)
        : m_layout(layout),
          m_pReport(pReport),
          m_pFindings(pFindings),
          m_uNodes(layout.nodes.uCount),
          m_vecListed(m_uNodes),
          m_vecKeyed(m_uNodes),
          m_vecInList(layout.numbers.uCount)
    {
    }

    void Run()
    {
        m_pReport->uNodes = m_uNodes;
        m_pReport->uNumbers = m_layout.numbers.uCount;
        for (uint32_t i = 0; i < m_uNodes; ++i)
        {
            CheckRecord(i);
        }
        for (uint32_t i = 0; i < m_uNodes; ++i)
        {
            if (IsLive(i))
            {
                CheckList(i, offsetof(structAssetNode, nChildFileInfo), false);
                CheckList(i, offsetof(structAssetNode, nChildFolderInfo), true);
            }
        }
        CheckLinks();
        CheckKeys();
        m_pReport->uDead = static_cast<uint32_t>(std::count(m_vecInList.begin(), m_vecInList.end(), false));
    }

private:
    uint32_t Field(uint32_t uNode, size_t uAt) const { return m_layout.nodes.At(uNode).Word(uAt); }
    uint32_t Parent(uint32_t uNode) const { return Field(uNode, offsetof(structAssetNode, nParentID)); }
    uint64_t Key(uint32_t uNode) const
    {
        return m_layout.nodes.At(uNode).Long(offsetof(structAssetNodeParam, hStringParam));
    }
    bool IsFolder(uint32_t uNode) const { return Field(uNode, offsetof(structAssetNode, bFolder)) != 0; }
    bool IsLive(uint32_t uNode) const
    {
        return Field(uNode, offsetof(structAssetNodeParam, dwParamState)) == APS_Normal;
    }

    template <typename... Values>
    void Wrong(uint32_t uNode, size_t uAt, fmt::format_string<const Values&...> strText, const Values&... values)
    {
        m_pFindings->Add(m_layout.nodes.At(uNode).Offset(uAt), "node {}: {}", uNode, fmt::format(strText, values...));
    }

    void CheckRecord(uint32_t uNode)
    {
        const uint32_t uState = Field(uNode, offsetof(structAssetNodeParam, dwParamState));
        if (uState == APS_Normal)
        {
            ++(IsFolder(uNode) ? m_pReport->uFolders : m_pReport->uFiles);
        }
        else if (uState == APS_Deleted)
        {
            ++m_pReport->uRemovedNodes;
        }
        else
        {
            Wrong(uNode, offsetof(structAssetNodeParam, dwParamState), "{} is no state", uState);
        }
        const uint32_t uId = Field(uNode, offsetof(structAssetNode, nAssetID));
        if (uId != uNode)
        {
            Wrong(uNode, offsetof(structAssetNode, nAssetID), "its id is {}", uId);
        }
        CheckTexts(uNode);
        if (Key(uNode) >= m_layout.strings.uCount)
        {
            Wrong(uNode, offsetof(structAssetNodeParam, hStringParam), "its key is no string");
        }
    }

    void CheckTexts(uint32_t uNode)
    {
        static constexpr size_t kTexts[] = {
            offsetof(structAssetNode, hStrComponent), offsetof(structAssetNode, hStrBaseName),
            offsetof(structAssetNode, hStrExtension), offsetof(structAssetNode, hStrClassifyName),
            offsetof(structAssetNode, hStrPhysicsPath)};
        for (const size_t uAt : kTexts)
        {
            const std::string strWrong = WrongTextHandle(m_layout, m_layout.nodes.At(uNode).Long(uAt));
            if (!strWrong.empty())
            {
                Wrong(uNode, uAt, "{}", strWrong);
            }
        }
    }

    // Each word of the numbers belongs to one list at most, so that the walk over all lists is one over the block.
    void CheckList(uint32_t uNode, size_t uAt, bool bFolders)
    {
        const uint32_t uList = Field(uNode, uAt);
        if (uList == kNoIndex)
        {
            return;
        }
        ++m_pReport->uLists;
        if (uList >= m_vecInList.size())
        {
            Wrong(uNode, uAt, "there is no list {}", uList);
            return;
        }
        for (uint32_t i = uList; i < m_vecInList.size(); ++i)
        {
            if (m_vecInList[i])
            {
                Wrong(uNode, uAt, "its list {} runs into another one", uList);
                return;
            }
            m_vecInList[i] = true;
            const uint32_t uNumber = m_layout.numbers.At(i).Word(0);
            if (uNumber == kListEnd)
            {
                return;
            }
            m_pReport->uHoles += uNumber == kHole ? 1 : 0;
            if (uNumber != kHole)
            {
                CheckChild(uNode, uAt, uNumber, bFolders);
            }
        }
        Wrong(uNode, uAt, "its list {} has no end", uList);
    }

    void CheckChild(uint32_t uNode, size_t uAt, uint32_t uChild, bool bFolder)
    {
        ++m_pReport->uListed;
        if (uChild >= m_uNodes || !IsLive(uChild))
        {
            Wrong(uNode, uAt, "its child {} isn't there", uChild);
            return;
        }
        if (IsFolder(uChild) != bFolder)
        {
            Wrong(uNode, uAt, "its child {} is in the list of {}", uChild, bFolder ? "folders" : "files");
        }
        if (Parent(uChild) != uNode)
        {
            Wrong(uNode, uAt, "its child {} has another parent", uChild);
        }
        if (m_vecListed[uChild])
        {
            Wrong(uNode, uAt, "its child {} is listed twice", uChild);
        }
        m_vecListed[uChild] = true;
    }

    // Every live node with a parent is its child, and no chain of parents comes back to its start.
    void CheckLinks()
    {
        std::vector<uint32_t> vecSeen(m_uNodes);  // by which walk; 0 for none
        for (uint32_t i = 0; i < m_uNodes; ++i)
        {
            if (!IsLive(i))
            {
                continue;
            }
            if (Parent(i) != kNoIndex && !m_vecListed[i])
            {
                Wrong(i, offsetof(structAssetNode, nParentID), "its parent doesn't list it");
            }
            uint32_t uNode = i;
            while (uNode < m_uNodes && vecSeen[uNode] == 0)
            {
                vecSeen[uNode] = i + 1;
                uNode = Parent(uNode);
            }
            if (uNode < m_uNodes && vecSeen[uNode] == i + 1)
            {
                Wrong(i, offsetof(structAssetNode, nParentID), "its parents lead back to it");
            }
        }
    }

    void CheckKeys()
    {
        const SlotTable& keys = m_layout.keys;
        if (m_layout.tableBlock.Size() != 0)
        {
            m_pReport->keys = CheckTable(keys, "key table", m_pFindings);
        }
        for (uint32_t i = 0; i < keys.slots.uCount; ++i)
        {
            if (keys.Used(i) != 0)
            {
                CheckKey(i, keys.Key(i), static_cast<uint32_t>(keys.Value(i)));
            }
        }
        for (uint32_t i = 0; i < m_uNodes; ++i)
        {
            m_pReport->uWithoutKey += IsLive(i) && !m_vecKeyed[i] ? 1 : 0;
        }
    }

    void CheckKey(uint32_t uSlot, uint64_t ullKey, uint32_t uNode)
    {
        const uint64_t ullOffset = m_layout.keys.slots.At(uSlot).Offset();
        if (uNode >= m_uNodes || !IsLive(uNode))
        {
            m_pFindings->Add(ullOffset + 8, "key table, slot {}: there is no node {}", uSlot, uNode);
        }
        else if (Key(uNode) != ullKey)
        {
            m_pFindings->Add(ullOffset, "key table, slot {}: node {} has another key", uSlot, uNode);
        }
        else
        {
            m_vecKeyed[uNode] = true;
        }
    }

    const ImageLayout& m_layout;
    ImageReport* m_pReport;
    Findings* m_pFindings;
    uint32_t m_uNodes;
    std::vector<bool> m_vecListed;
    std::vector<bool> m_vecKeyed;
    std::vector<bool> m_vecInList;
};

}  // namespace

void CheckNodes(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings)
{
    NodeChecker(layout, pReport, pFindings).Run();
}

}  // namespace lum

// Many lookups at once. A lookup spends its time waiting: for the steps of its hashes, and for three or four places in
// memory, each of which names the next one. So a group of paths takes each step together, and what one of them waits
// for, the others work.
#include "assetindex/asset_lookup.h"

class VOAssetBatch
{
public:
    VOAssetBatch(const VOTSAssetNodeContainer& container, const VOWCHAR* const* ppszPath, unsigned int uCount)
        : m_container(container), m_ppszPath(ppszPath), m_uCount(uCount)
    {
    }

    unsigned int Find(LUMTrayService::structAssetNode* ptsNode, int* pbFound)
    {
        unsigned int uFound = 0;
        m_uAsked = 0;
        while (m_uAsked < m_uCount && m_uAsked < kGroup)
        {
            m_uAsked = _AskForText(m_uAsked);
        }
        for (m_uFirst = 0; m_uFirst < m_uCount; m_uFirst += m_uEntries)
        {
            m_uEntries = m_uCount - m_uFirst < kGroup ? m_uCount - m_uFirst : kGroup;
            _TakeKeys();
            _Hash();
            if (m_container.m_pathTable.IsThere())
            {
                _FindByPathTable();
            }
            else
            {
                _FindByTables();
            }
            uFound += _Give(ptsNode + m_uFirst, pbFound + m_uFirst);
        }
        return uFound;
    }

private:
    // So many that what is asked for first has come before the last one is asked for; a multiple of four.
    static constexpr unsigned int kGroup = 32;

    static constexpr size_t kLine = 64;      // bytes that come from memory together
    static constexpr size_t kTextLines = 3;  // of a path, before its length is known

    struct Entry
    {
        VOPathBytes path = {};
        VOHashPair pair = {};
        VOAssetLookup::StringLookup lookup;
        unsigned int uNode = kNone;
        bool bAlone = false;  // for the lookup of one path, which knows the root and what to report
    };

    // The number of the next path.
    unsigned int _AskForText(unsigned int uPath) const
    {
        const unsigned char* const pbText = reinterpret_cast<const unsigned char*>(m_ppszPath[uPath]);
        for (size_t uLine = 0; pbText != nullptr && uLine < kTextLines; ++uLine)
        {
            VOPrefetch(pbText + uLine * kLine);
        }
        return uPath + 1;
    }

    // The normal forms of a group, while the texts of the next one come.
    void _TakeKeys()
    {
        for (unsigned int i = 0; i < m_uEntries; ++i)
        {
            if (m_uAsked < m_uCount)
            {
                m_uAsked = _AskForText(m_uAsked);
            }
            m_arrEntry[i].bAlone = !m_arrEntry[i].path.Take(m_ppszPath[m_uFirst + i]);
        }
    }

    // Both hashes of each, and the place in a table that the first one leads to is asked for. Behind the last path
    // stand entries of no path, or of the group before.
    void _Hash()
    {
        for (unsigned int i = 0; i < m_uEntries; i += 4)
        {
            Entry* const pEntry = m_arrEntry + i;
            VOHashPair arrPair[4];
            VOHashFourPaths({&pEntry[0].path, &pEntry[1].path, &pEntry[2].path, &pEntry[3].path}, arrPair);
            for (unsigned int j = 0; j < 4; ++j)
            {
                pEntry[j].pair = arrPair[j];
                VOPrefetch(_HomeOf(arrPair[j].uHash0));
            }
        }
    }

    const void* _HomeOf(unsigned int uHash0) const
    {
        return m_container.m_pathTable.IsThere() ? m_container.m_pathTable.HomeOf(uHash0)
                                                 : m_container.m_pkStringSet->m_mapTableHashString.HomeOf(uHash0);
    }

    void _FindByPathTable()
    {
        const VOPathTable& table = m_container.m_pathTable;
        for (unsigned int i = 0; i < m_uEntries; ++i)
        {
            Entry& entry = m_arrEntry[i];
            entry.uNode = _AskForNode(table.Find(entry.pair.uHash0, entry.pair.uHash1));
        }
    }

    void _FindByTables()
    {
        const VOStringHashSet& set = *m_container.m_pkStringSet;
        for (unsigned int i = 0; i < m_uEntries; ++i)
        {
            Entry& entry = m_arrEntry[i];
            entry.lookup = VOAssetLookup::Candidate(m_container, entry.pair);
            if (set._IsRecord(entry.lookup.hString))
            {
                VOPrefetch(set.m_vecHashStringParam.Bytes(NumberOf(entry.lookup.hString)));
                VOPrefetch(m_container.m_mapTableStringHandle2ParamIndex.HomeOf(entry.lookup.hString));
            }
        }
        for (unsigned int i = 0; i < m_uEntries; ++i)
        {
            Entry& entry = m_arrEntry[i];
            entry.uNode = _AskForNode(VOAssetLookup::NodeOf(m_container, entry.lookup));
        }
    }

    // The same number. A record lies in up to three lines.
    unsigned int _AskForNode(unsigned int uNode) const
    {
        if (uNode < m_container.m_vecAssetNode.Count())
        {
            const unsigned char* const pbRecord = m_container.m_vecAssetNode.Bytes(uNode);
            VOPrefetch(pbRecord);
            VOPrefetch(pbRecord + kLine);
            VOPrefetch(pbRecord + sizeof(structAssetNodeParam) - 1);
        }
        return uNode;
    }

    // In the order of the paths, in which log lines come too.
    unsigned int _Give(LUMTrayService::structAssetNode* ptsNode, int* pbFound) const
    {
        unsigned int uFound = 0;
        for (unsigned int i = 0; i < m_uEntries; ++i)
        {
            const Entry& entry = m_arrEntry[i];
            pbFound[i] = entry.bAlone ? VOAssetLookup::FindByText(m_container, m_ppszPath[m_uFirst + i], ptsNode[i])
                                      : VOAssetLookup::Give(m_container, entry.uNode, ptsNode[i]);
            uFound += pbFound[i] != 0;
        }
        return uFound;
    }

    const VOTSAssetNodeContainer& m_container;
    const VOWCHAR* const* m_ppszPath;
    unsigned int m_uCount;
    unsigned int m_uAsked = 0;    // paths whose texts were asked for
    unsigned int m_uFirst = 0;    // path of the group
    unsigned int m_uEntries = 0;  // of the group
    Entry m_arrEntry[kGroup];
};

unsigned int VOTSAssetNodeContainer::FindAssetNodes(const VOWCHAR* const* ppszPath, unsigned int uCount,
                                                    LUMTrayService::structAssetNode* ptsNode, int* pbFound) const
{
    unsigned int uFound = 0;
    if (uCount != 0 && pbFound != nullptr)
    {
        memset(pbFound, 0, uCount * sizeof(*pbFound));
    }
    if (uCount == 0 || !VO_STEP(ppszPath) || !VO_STEP(ptsNode) || !VO_STEP(pbFound))
    {
        return 0;
    }
    if (uCount > 1 && VOAssetLookup::IsByHashes(*this))
    {
        return VOAssetBatch(*this, ppszPath, uCount).Find(ptsNode, pbFound);
    }
    for (unsigned int i = 0; i < uCount; ++i)
    {
        pbFound[i] = FindAssetNode(ppszPath[i], ptsNode[i]);
        uFound += pbFound[i] != 0;
    }
    return uFound;
}

// How a name index is made: the places of the nodes first, then their names by place.
#include <algorithm>
#include <unordered_map>

#include "assetindex/name_bytes.h"
#include "assetindex/name_index.h"
#include "assetindex/no_index.h"
#include "containers/handles.h"
#include "containers/text_access.h"
#include "containers/vots_number_container.h"

using LUMTrayService::structAssetNode;

namespace
{

// Longer names aren't searched here; those of sound images fit a path.
constexpr unsigned int kMostNameUnits = 260;
constexpr size_t kMostNameBytes = (kMostNameUnits + 1) * 3 + 8;

// What the names may take, so that one long text under many nodes doesn't take all memory there is.
constexpr size_t kNameBytesPerNode = 128;
constexpr size_t kFewestNameBytes = 1u << 20;
constexpr size_t kMostNamesSize = 0xFFFFFFFFu;

constexpr size_t kUsualNameBytes = 24;
constexpr size_t kBytesPerSample = 61;

// Records that are fetched in front of the one that is read.
constexpr size_t kRecordsAhead = 12;

// How far a tree's top is looked for. A deeper start has an index if its folder is in one that was made for another.
constexpr unsigned int kMostParents = 4096;

typedef VORecordVector<structAssetNodeParam> Nodes;

template <typename T>
T FieldOf(const Nodes& nodes, unsigned int uNode, size_t uOffset)
{
    return VOLoad<T>(nodes.Bytes(uNode) + uOffset);
}

unsigned int ParentOf(const Nodes& nodes, unsigned int uNode)
{
    return FieldOf<unsigned int>(nodes, uNode, offsetof(structAssetNode, nParentID));
}

unsigned int TopOf(const Nodes& nodes, unsigned int uNode)
{
    for (unsigned int uStep = 0; uStep < kMostParents && uNode < nodes.Count(); ++uStep)
    {
        const unsigned int uParent = ParentOf(nodes, uNode);
        if (uParent >= nodes.Count())
        {
            return uNode;
        }
        uNode = uParent;
    }
    return uNode;
}

// Lays out the nodes of trees as a walk would report them. The walk's own code isn't used, for it must not see what
// only this one looks at: that each node stands in one list alone, so that the order is the same from every folder.
template <typename Folder>
class WalkOrder
{
public:
    WalkOrder(const Nodes& nodes, const VOTSNumberContainer& lists, std::vector<unsigned int>& vecNode,
              std::vector<uint16_t>& vecKind, std::vector<Folder>& vecFolder)
        : m_nodes(nodes),
          m_lists(lists),
          m_vecNode(vecNode),
          m_vecKind(vecKind),
          m_vecFolder(vecFolder),
          m_vecPlaced(nodes.Count()),
          m_uHolesLeft(lists.GetValueCount())
    {
        m_vecNode.reserve(nodes.Count());
        m_vecKind.reserve(nodes.Count());
    }

    bool IsPlaced(unsigned int uNode) const { return m_vecPlaced[uNode]; }

    // Adds what lies below a node, or nothing.
    void AddTree(unsigned int uTop)
    {
        const size_t uPlaces = m_vecNode.size();
        const size_t uFolders = m_vecFolder.size();
        m_vecLevel.clear();
        if (uTop >= m_nodes.Count() || m_vecPlaced[uTop])
        {
            return;
        }
        m_vecPlaced[uTop] = true;
        bool bPlain = _Enter(uTop);
        while (bPlain && !m_vecLevel.empty())
        {
            bPlain = _GoOn();
        }
        if (!bPlain)
        {
            // What was met stays marked: no node is met more often than twice, whatever the lists say.
            m_vecNode.resize(uPlaces);
            m_vecKind.resize(uPlaces);
            m_vecFolder.resize(uFolders);
        }
    }

private:
    struct Level
    {
        size_t uFolder;
        unsigned int uNext;  // where the list of its folders goes on
    };

    unsigned int _Places() const { return static_cast<unsigned int>(m_vecNode.size()); }

    bool _Enter(unsigned int uNode)
    {
        const structAssetNode tsNode = VOLoad<structAssetNode>(m_nodes.Bytes(uNode));
        const size_t uFolder = m_vecFolder.size();
        m_vecFolder.push_back({uNode, {_Places(), _Places()}});
        if (tsNode.nAssetID != uNode || !_AddFiles(tsNode.nChildFileInfo))
        {
            return false;
        }
        m_vecFolder[uFolder].below.uEnd = _Places();
        if (tsNode.nChildFolderInfo != kNone)
        {
            m_vecLevel.push_back({uFolder, tsNode.nChildFolderInfo});
            return tsNode.nChildFolderInfo < m_lists.GetValueCount();
        }
        return true;
    }

    // The next folder of the innermost level, or the end of that.
    bool _GoOn()
    {
        Level& level = m_vecLevel.back();
        unsigned int uChild = 0;
        if (!_NextChild(level.uNext, uChild))
        {
            return false;
        }
        if (uChild == VOTSNumberContainer::kTerminator)
        {
            m_vecFolder[level.uFolder].below.uEnd = _Places();
            m_vecLevel.pop_back();
            return true;
        }
        return _Add(uChild, VONameIndex::kFolder) && _Enter(uChild);
    }

    bool _AddFiles(unsigned int uInfoID)
    {
        unsigned int uChild = 0;
        if (uInfoID == kNone)
        {
            return true;
        }
        if (uInfoID >= m_lists.GetValueCount())
        {
            return false;
        }
        while (_NextChild(uInfoID, uChild))
        {
            if (uChild == VOTSNumberContainer::kTerminator)
            {
                return true;
            }
            if (!_Add(uChild, VONameIndex::kAsk))
            {
                return false;
            }
        }
        return false;
    }

    // The next number of a list, or its terminator; the holes of all lists together are passed as often as there are
    // numbers.
    bool _NextChild(unsigned int& uAt, unsigned int& uChild)
    {
        while ((uChild = m_lists.EntryAt(uAt++)) == VOTSNumberContainer::kHole)
        {
            if (m_uHolesLeft-- == 0)
            {
                m_uHolesLeft = 0;
                return false;
            }
        }
        return true;
    }

    bool _Add(unsigned int uNode, uint16_t uKind)
    {
        if (uNode >= m_nodes.Count() || m_vecPlaced[uNode])
        {
            return false;
        }
        m_vecPlaced[uNode] = true;
        m_vecNode.push_back(uNode);
        m_vecKind.push_back(uKind);
        return true;
    }

    const Nodes& m_nodes;
    const VOTSNumberContainer& m_lists;
    std::vector<unsigned int>& m_vecNode;
    std::vector<uint16_t>& m_vecKind;
    std::vector<Folder>& m_vecFolder;
    std::vector<bool> m_vecPlaced;
    unsigned int m_uHolesLeft;
    std::vector<Level> m_vecLevel;
};

// The names behind each other. Each unit of a name is read once: what it lies in may be written to by others.
class NameWriter
{
public:
    explicit NameWriter(bool bFoldsByUnits)
        : m_bFoldsByUnits(bFoldsByUnits),
          m_cLeast(bFoldsByUnits ? 0x01 : kVOFirstPrintable),
          m_cMost(bFoldsByUnits ? 0x7F : kVOLastPrintable)
    {
    }

    size_t Size() const { return m_uSize; }

    // Adds a name without its zero byte. False, and nothing added, for one that can't be searched.
    bool Add(const VOWCHAR* pszName)
    {
        _MakeRoom(kMostNameBytes);
        unsigned char* const pbName = m_pbNames.get() + m_uSize;
        unsigned char* pbTo = pbName;
        for (unsigned int uUnit = 0; uUnit < kMostNameUnits; ++uUnit)
        {
            const unsigned int uNarrow =
                VOFoldNarrow(pbTo, m_vecCapitals.data(), m_uSize + static_cast<size_t>(pbTo - pbName), pszName + uUnit,
                             kMostNameUnits - uUnit, m_cLeast, m_cMost);
            pbTo += uNarrow;
            uUnit += uNarrow;
            const VOWCHAR cUnit = uUnit < kMostNameUnits ? VOLoadUnit(pszName + uUnit) : VOWCHAR{1};
            if (cUnit == 0)
            {
                m_uSize += static_cast<size_t>(pbTo - pbName);
                return true;
            }
            // What is ASCII among the bytes was ASCII in the name, so that the capitals say which case it has.
            if (!m_bFoldsByUnits || cUnit < 0x80 || _Folded(cUnit) < 0x80)
            {
                break;
            }
            pbTo = VOPutUnit(pbTo, _Folded(cUnit));
        }
        _DropCapitals();
        return false;
    }

    void End()
    {
        _MakeRoom(1);
        m_pbNames.get()[m_uSize++] = 0;
    }

    // Gives the names away, with the slack that a search needs behind them.
    std::unique_ptr<unsigned char, VOFreeBlock> Take()
    {
        _Resize(m_uSize + kVOByteSearchSlack);
        memset(m_pbNames.get() + m_uSize, 0, kVOByteSearchSlack);
        return std::move(m_pbNames);
    }

    // The capitals among the bytes of the names, a bit for each byte.
    std::vector<unsigned char> TakeCapitals() { return std::move(m_vecCapitals); }

    void Reserve(size_t uSize) { _Resize(uSize); }

private:
    // Those behind the last name.
    void _DropCapitals()
    {
        const size_t uByte = m_uSize / 8;
        m_vecCapitals[uByte] = static_cast<unsigned char>(m_vecCapitals[uByte] & ((1u << (m_uSize % 8)) - 1));
        std::fill_n(m_vecCapitals.begin() + static_cast<ptrdiff_t>(uByte) + 1, kMostNameBytes / 8, uint8_t{0});
    }

    void _MakeRoom(size_t uBytes)
    {
        if (m_uCapacity - m_uSize < uBytes)
        {
            _Resize(m_uSize + m_uSize / 2 + kMostNameBytes);
        }
    }

    void _Resize(size_t uCapacity)
    {
        void* const pvNew = VOReallocateImage(m_pbNames.get(), uCapacity);
        (void)m_pbNames.release();
        m_pbNames.reset(static_cast<unsigned char*>(pvNew));
        m_uCapacity = uCapacity;
        m_vecCapitals.resize(uCapacity / 8 + 3);
    }

    VOWCHAR _Folded(VOWCHAR cUnit)
    {
        if (m_vecLower.empty())
        {
            m_vecLower.resize(0x10000);
            for (unsigned int uUnit = 0; uUnit < 0x10000; ++uUnit)
            {
                m_vecLower[uUnit] = static_cast<VOWCHAR>(uUnit);
            }
            CharLowerBuffW(m_vecLower.data(), 0x10000);
        }
        return m_vecLower[cUnit];
    }

    const bool m_bFoldsByUnits;
    const VOWCHAR m_cLeast;  // the units that are copied as they are but for their case
    const VOWCHAR m_cMost;
    std::unique_ptr<unsigned char, VOFreeBlock> m_pbNames;
    size_t m_uSize = 0;
    size_t m_uCapacity = 0;
    std::vector<unsigned char> m_vecCapitals;
    std::vector<VOWCHAR> m_vecLower;  // of all units; made for the first one that needs it
};

// The kinds of files by their extension's handle.
class KindOfHandle
{
public:
    KindOfHandle(const VOTSAssetNodeContainer& container, std::vector<void*>& vecExtension)
        : m_container(container), m_vecExtension(vecExtension)
    {
    }

    uint16_t operator()(void* hExtension)
    {
        if (hExtension == INVALID_HANDLE_VALUE)
        {
            return VONameIndex::kAsk;
        }
        // Nearly all files have one of a few extensions.
        Recent& recent = m_aRecent[NumberOf(hExtension) % kRecent];
        if (recent.hExtension != hExtension)
        {
            recent = {hExtension, _Find(hExtension)};
        }
        return recent.uKind;
    }

private:
    static constexpr size_t kRecent = 256;
    struct Recent
    {
        void* hExtension = INVALID_HANDLE_VALUE;
        uint16_t uKind = VONameIndex::kAsk;
    };

    uint16_t _Find(void* hExtension)
    {
        const auto [it, bNew] = m_mapKind.try_emplace(NumberOf(hExtension), VONameIndex::kAsk);
        if (bNew && m_vecExtension.size() + 1 < VONameIndex::kFolder && VOHasText(m_container.GetString(hExtension)))
        {
            m_vecExtension.push_back(hExtension);
            it->second = static_cast<uint16_t>(m_vecExtension.size());
        }
        return it->second;
    }

    const VOTSAssetNodeContainer& m_container;
    std::vector<void*>& m_vecExtension;
    Recent m_aRecent[kRecent];
    std::unordered_map<unsigned int, uint16_t> m_mapKind;
};

}  // namespace

std::unique_ptr<const VONameIndex> VONameIndex::Make(const VOTSAssetNodeContainer& container, unsigned int uStart,
                                                     bool bFoldsByUnits)
{
    const Nodes& nodes = container.m_vecAssetNode;
    std::unique_ptr<VONameIndex> pIndex(new VONameIndex);
    pIndex->m_bFoldsByUnits = bFoldsByUnits;
    {
        WalkOrder<Folder> order(nodes, *container.m_pkAssetIndexContainer, pIndex->m_vecNode, pIndex->m_vecKind,
                                pIndex->m_vecFolder);
        order.AddTree(TopOf(nodes, uStart));
        for (unsigned int uNode = 0; uNode < nodes.Count(); ++uNode)
        {
            if (!order.IsPlaced(uNode) && container._StateOf(uNode) != APS_Deleted &&
                ParentOf(nodes, uNode) >= nodes.Count())
            {
                order.AddTree(uNode);
            }
        }
    }
    std::sort(pIndex->m_vecFolder.begin(), pIndex->m_vecFolder.end(),
              [](const Folder& one, const Folder& other) { return one.uAssetID < other.uAssetID; });
    if (!pIndex->_TakeNames(container))
    {
        return nullptr;
    }
    pIndex->_CountBytes();
    return pIndex;
}

bool VONameIndex::_TakeNames(const VOTSAssetNodeContainer& container)
{
    const Nodes& nodes = container.m_vecAssetNode;
    const size_t uMost = std::min(kFewestNameBytes + m_vecNode.size() * kNameBytesPerNode, kMostNamesSize);
    NameWriter writer(m_bFoldsByUnits);
    KindOfHandle kindOf(container, m_vecExtension);
    writer.Reserve(m_vecNode.size() * kUsualNameBytes + kMostNameBytes);
    m_vecMark.reserve(m_vecNode.size() / kPlacesPerMark + 1);
    for (unsigned int uPlace = 0; uPlace < m_vecNode.size(); ++uPlace)
    {
        const unsigned int uNode = m_vecNode[uPlace];
        VOPrefetch(nodes.Bytes(m_vecNode[std::min(uPlace + kRecordsAhead, m_vecNode.size() - 1)]) +
                   offsetof(structAssetNode, hStrBaseName));
        if (uPlace % kPlacesPerMark == 0)
        {
            m_vecMark.push_back(static_cast<uint32_t>(writer.Size()));
        }
        void* const hName = FieldOf<void*>(nodes, uNode, offsetof(structAssetNode, hStrBaseName));
        const VOWCHAR* const pszName = hName != INVALID_HANDLE_VALUE ? container.GetString(hName) : nullptr;
        if (pszName == nullptr || !writer.Add(pszName))
        {
            m_vecAsked.push_back(uPlace);
        }
        writer.End();
        if (writer.Size() > uMost)
        {
            return false;
        }
        if (m_vecKind[uPlace] != kFolder)
        {
            m_vecKind[uPlace] = kindOf(FieldOf<void*>(nodes, uNode, offsetof(structAssetNode, hStrExtension)));
        }
    }
    m_uNamesSize = writer.Size();
    m_pbNames = writer.Take();
    m_vecCapitals = writer.TakeCapitals();
    return true;
}

void VONameIndex::_CountBytes()
{
    for (size_t uAt = 0; uAt < m_uNamesSize; uAt += kBytesPerSample)
    {
        ++m_auOften[m_pbNames.get()[uAt]];
    }
}

#include "assetindex/name_index.h"

#include <algorithm>

#include "assetindex/name_bytes.h"
#include "containers/text_access.h"

using LUMTrayService::structAssetNode;

namespace
{

template <typename T>
size_t BytesOf(const std::vector<T>& vec)
{
    return vec.capacity() * sizeof(T);
}

}  // namespace

size_t VONameIndex::Size() const
{
    return sizeof(*this) + BytesOf(m_vecNode) + BytesOf(m_vecKind) + BytesOf(m_vecFolder) + BytesOf(m_vecExtension) +
           BytesOf(m_vecAsked) + BytesOf(m_vecMark) + BytesOf(m_vecCapitals) + m_uNamesSize + kVOByteSearchSlack;
}

bool VONameIndex::Below(unsigned int uAssetID, Stretch& stretch) const
{
    const auto it =
        std::lower_bound(m_vecFolder.begin(), m_vecFolder.end(), uAssetID,
                         [](const Folder& folder, unsigned int uWanted) { return folder.uAssetID < uWanted; });
    if (it == m_vecFolder.end() || it->uAssetID != uAssetID)
    {
        return false;
    }
    stretch = it->below;
    return true;
}

// Where the name of a place begins; of the place behind the last one, where the names end.
const unsigned char* VONameIndex::_NameAt(unsigned int uPlace) const
{
    const unsigned char* const pbEnd = m_pbNames.get() + m_uNamesSize;
    if (uPlace >= m_vecNode.size())
    {
        return pbEnd;
    }
    const unsigned char* pbAt = m_pbNames.get() + m_vecMark[uPlace / kPlacesPerMark];
    for (unsigned int uLeft = uPlace % kPlacesPerMark; uLeft > 0; --uLeft)
    {
        pbAt = static_cast<const unsigned char*>(memchr(pbAt, 0, static_cast<size_t>(pbEnd - pbAt))) + 1;
    }
    return pbAt;
}

const VONameIndex* VONameIndex::Of(const VOTSAssetNodeContainer& container, unsigned int uAssetID, Stretch& stretch)
{
    const VONameIndex* const pIndex =
        container.m_pNames != nullptr ? container.m_pNames->Get(container, uAssetID) : nullptr;
    return pIndex != nullptr && pIndex->Below(uAssetID, stretch) ? pIndex : nullptr;
}

void VONameIndex::NoteWalk(const VOTSAssetNodeContainer& container, unsigned int uNodes)
{
    if (container.m_pNames != nullptr)
    {
        container.m_pNames->NoteWalk(uNodes);
    }
}

unsigned int VONameIndex::FetchNodeAt(const VOTSAssetNodeContainer& container, unsigned int uPlace) const
{
    const unsigned char* const pbRecord = container.m_vecAssetNode.Bytes(m_vecNode[uPlace]);
    VOPrefetch(pbRecord);
    VOPrefetch(pbRecord + sizeof(structAssetNode) / 2);
    VOPrefetch(pbRecord + sizeof(structAssetNode) - 1);
    return m_vecNode[uPlace];
}

VONameSearch::VONameSearch(const VONameIndex& index, const VONameIndex::Stretch& stretch, const VOWCHAR* pszText,
                           bool bMatchCase)
    : m_index(index),
      m_bMatchCase(bMatchCase),
      m_uEnd(stretch.uEnd),
      m_search(m_abText, _Fold(pszText), index.m_auOften),
      m_uAt(stretch.uFirst),
      m_pbAt(index._NameAt(stretch.uFirst)),
      m_pbEnd(index._NameAt(stretch.uEnd)),
      m_uFound(stretch.uEnd),
      m_itAsked(std::lower_bound(index.m_vecAsked.begin(), index.m_vecAsked.end(), stretch.uFirst))
{
    // The empty text is part of no name.
    if (m_abText[0] == 0)
    {
        m_pbAt = m_pbEnd;
    }
    m_bFound = m_pbAt == m_pbEnd;
    if (!m_bCanTell)
    {
        m_uFound = m_uEnd;
        m_bFound = true;
        m_itAsked = index.m_vecAsked.end();
    }
}

// Makes the bytes of the text that the names are searched for, and gives how many there are; one, a zero, for the empty
// text.
size_t VONameSearch::_Fold(const VOWCHAR* pszText)
{
    VOWCHAR szLower[kMostUnits];
    const size_t uUnits = VOWideLength(pszText, kMostUnits);
    memcpy(szLower, static_cast<const void*>(pszText), uUnits * sizeof(VOWCHAR));
    m_bCanTell =
        uUnits < kMostUnits && (m_index.m_bFoldsByUnits || std::all_of(szLower, szLower + uUnits, VOIsPrintableAscii));
    if (!m_bCanTell || uUnits == 0)
    {
        return 1;
    }
    // A unit beyond ASCII may be another one in its other case: then the bytes don't say which of them it was.
    const bool bAscii = std::all_of(szLower, szLower + uUnits, [](VOWCHAR cUnit) { return cUnit < 0x80; });
    m_bSure = m_index.m_bFoldsByUnits && (bAscii || !m_bMatchCase);
    CharLowerBuffW(szLower, static_cast<DWORD>(uUnits));
    unsigned char* pbTo = m_abText;
    for (size_t uUnit = 0; uUnit < uUnits; ++uUnit)
    {
        const VOWCHAR cGiven = VOLoadUnit(pszText + uUnit);
        if (szLower[uUnit] >= 'a' && szLower[uUnit] <= 'z' && cGiven < 0x80)
        {
            m_aLetter[m_uLetters++] = {static_cast<uint16_t>(pbTo - m_abText), cGiven != szLower[uUnit]};
        }
        pbTo = VOPutUnit(pbTo, szLower[uUnit]);
    }
    return static_cast<size_t>(pbTo - m_abText);
}

bool VONameSearch::Next(VONameIndex::Hit& hit)
{
    if (!m_bFound)
    {
        _FindNext();
    }
    const unsigned int uAsked = m_itAsked != m_index.m_vecAsked.end() ? *m_itAsked : m_uEnd;
    hit.uPlace = std::min(m_uFound, uAsked);
    hit.bSure = m_bSure && hit.uPlace != uAsked;
    if (hit.uPlace >= m_uEnd)
    {
        return false;
    }
    // A name that can't be searched is empty here, so that no place is both.
    if (hit.uPlace == uAsked)
    {
        ++m_itAsked;
    }
    else
    {
        m_bFound = false;
    }
    return true;
}

void VONameSearch::_FindNext()
{
    const unsigned char* pbFound = m_search.Find(m_pbAt, m_pbEnd);
    while (m_bMatchCase && pbFound != nullptr && !_HasItsCase(pbFound))
    {
        pbFound = m_search.Find(pbFound + 1, m_pbEnd);
    }
    m_bFound = true;
    m_uFound = pbFound != nullptr ? _PlaceOf(pbFound) : m_uEnd;
}

// Whether the letters of ASCII have the same case here as in the text.
bool VONameSearch::_HasItsCase(const unsigned char* pbFound) const
{
    const size_t uFound = static_cast<size_t>(pbFound - m_index.m_pbNames.get());
    return std::all_of(m_aLetter, m_aLetter + m_uLetters,
                       [&](const Letter& letter)
                       { return m_index._IsCapital(uFound + letter.uAt) == letter.bCapital; });
}

// The place whose name a byte belongs to. The search goes on behind that name.
unsigned int VONameSearch::_PlaceOf(const unsigned char* pbFound)
{
    const std::vector<uint32_t>& vecMark = m_index.m_vecMark;
    const unsigned char* const pbNames = m_index.m_pbNames.get();
    const auto itNext = std::upper_bound(vecMark.begin() + m_uAt / VONameIndex::kPlacesPerMark, vecMark.end(),
                                         static_cast<size_t>(pbFound - pbNames));
    const unsigned int uMark = static_cast<unsigned int>(itNext - vecMark.begin()) - 1;
    if (uMark * VONameIndex::kPlacesPerMark > m_uAt)
    {
        m_uAt = uMark * VONameIndex::kPlacesPerMark;
        m_pbAt = pbNames + vecMark[uMark];
    }
    unsigned int uPlace = m_uAt;
    while (m_pbAt <= pbFound)
    {
        uPlace = m_uAt++;
        m_pbAt = static_cast<const unsigned char*>(memchr(m_pbAt, 0, static_cast<size_t>(m_pbEnd - m_pbAt))) + 1;
    }
    return uPlace;
}

bool VOKindSearch::Next(VONameIndex::Hit& hit)
{
    while (m_left.uFirst < m_left.uEnd)
    {
        hit.uPlace = m_left.uFirst++;
        const uint16_t uKind = m_index.KindAt(hit.uPlace);
        if (m_wanted[uKind])
        {
            hit.bSure = uKind != VONameIndex::kAsk;
            return true;
        }
    }
    return false;
}

const VONameIndex* VONameIndexSlot::Get(const VOTSAssetNodeContainer& container, unsigned int uStart)
{
    const VONameIndex* const pIndex = m_pIndex.load(std::memory_order_acquire);
    return pIndex != nullptr || m_bGivenUp.load(std::memory_order_relaxed) ? pIndex : _Make(container, uStart);
}

// An index takes the time of a walk over all nodes: it is made for a search of a whole tree, and when as much has been
// walked without one as takes half of that.
const VONameIndex* VONameIndexSlot::_Make(const VOTSAssetNodeContainer& container, unsigned int uStart)
{
    structAssetNode tsNode;
    const unsigned int uNodes = container.GetAssetNodeCount();
    if (uStart >= uNodes || !container.GetAssetNode(uStart, tsNode) ||
        (tsNode.nParentID < uNodes && m_ullWalked.load(std::memory_order_relaxed) < uNodes / 2))
    {
        return nullptr;
    }
    const std::unique_lock<std::mutex> guard(m_lock, std::try_to_lock);
    if (!guard.owns_lock())
    {
        return nullptr;
    }
    if (m_pKept == nullptr && !m_bGivenUp.load(std::memory_order_relaxed))
    {
        try
        {
            m_pKept = VONameIndex::Make(container, uStart);
        }
        catch (const std::bad_alloc&)
        {
            // The walk needs none of this memory.
        }
        m_bGivenUp.store(m_pKept == nullptr, std::memory_order_relaxed);
        m_pIndex.store(m_pKept.get(), std::memory_order_release);
    }
    return m_pKept.get();
}

void VONameIndexSlot::Reset()
{
    m_pIndex.store(nullptr, std::memory_order_relaxed);
    m_pKept.reset();
    m_bGivenUp.store(false, std::memory_order_relaxed);
    m_ullWalked.store(0, std::memory_order_relaxed);
}

// The names of an image in the order of its walk, so that a search by name or by extension reads these alone and looks
// at the records of what it finds.
//
// Each node that a walk reports has a place: the files of a folder, then each of its folders with all that is below it.
// So what lies below a folder is one stretch of places, and what is found comes in the order in which a walk reports
// it. All names stand behind each other, by place, in lower case, each with a zero byte behind it: a unit below 0x80 is
// one byte, one below 0x800 two and any other three, as in UTF-8, so that a text is part of a name exactly when its
// bytes are.
//
// An index names every node that a search might have to report and may name others: whoever asks it looks at the node
// itself, as on a walk. So a node without a name that can be searched is named for every text.
//
// Images aren't trusted. A tree in which a walk meets anything but nodes that stand in one list each isn't in the
// index; nothing that was read while the index was made is taken for granted afterwards.
#pragma once

#include <stdint.h>

#include <atomic>
#include <bitset>
#include <memory>
#include <mutex>
#include <vector>

#include "assetindex/byte_search.h"
#include "platform/vo_owners.h"
#include "platform/vo_text.h"
#include "vots_asset_node_container.h"

class VONameIndex
{
public:
    // Places from uFirst to uEnd - 1.
    struct Stretch
    {
        unsigned int uFirst = 0;
        unsigned int uEnd = 0;
    };

    // A place that a search has come to, and whether the node there is one that is searched for; otherwise the filter
    // has to be asked.
    struct Hit
    {
        unsigned int uPlace = 0;
        bool bSure = false;
    };

    // The kinds of nodes by extension: those of which the filter has to be asked in any case, folders, and one for each
    // extension from 1 on.
    static constexpr uint16_t kAsk = 0;
    static constexpr uint16_t kFolder = 0xFFFF;
    typedef std::bitset<size_t{kFolder} + 1> Kinds;

    // The index of a container that stays as it is while the index is in use; the tree that uStart belongs to goes in
    // before all others. Throws std::bad_alloc. Null for an image whose names are out of all proportion.
    static std::unique_ptr<const VONameIndex> Make(const VOTSAssetNodeContainer& container, unsigned int uStart,
                                                   bool bFoldsByUnits = kVOFoldsByUnits);

    // The index of a Customer's image, if it has one that knows what lies below a node. May make it first.
    static const VONameIndex* Of(const VOTSAssetNodeContainer& container, unsigned int uAssetID, Stretch& stretch);

    // To be told of a walk over so many nodes that was made for want of an index.
    static void NoteWalk(const VOTSAssetNodeContainer& container, unsigned int uNodes);

    // What lies below a node. False when that isn't in the index.
    bool Below(unsigned int uAssetID, Stretch& stretch) const;

    unsigned int NodeAt(unsigned int uPlace) const { return m_vecNode[uPlace]; }
    // The same, and the record is on its way to the processor.
    unsigned int FetchNodeAt(const VOTSAssetNodeContainer& container, unsigned int uPlace) const;

    uint16_t KindAt(unsigned int uPlace) const { return m_vecKind[uPlace]; }

    // The handles of the extensions, that of kind 1 first.
    const std::vector<void*>& Extensions() const { return m_vecExtension; }

    // Bytes of memory.
    size_t Size() const;

private:
    friend class VONameSearch;

    struct Folder
    {
        unsigned int uAssetID;
        Stretch below;
    };

    static constexpr unsigned int kPlacesPerMark = 16;

    VONameIndex() = default;
    bool _TakeNames(const VOTSAssetNodeContainer& container);
    void _CountBytes();
    const unsigned char* _NameAt(unsigned int uPlace) const;
    bool _IsCapital(size_t uByte) const { return (m_vecCapitals[uByte / 8] >> (uByte % 8) & 1) != 0; }

    bool m_bFoldsByUnits = kVOFoldsByUnits;
    std::vector<unsigned int> m_vecNode;   // by place
    std::vector<uint16_t> m_vecKind;       // by place
    std::vector<Folder> m_vecFolder;       // by id
    std::vector<void*> m_vecExtension;     // by kind
    std::vector<unsigned int> m_vecAsked;  // places whose names can't be searched
    std::vector<uint32_t> m_vecMark;       // where the name of each 16th place begins
    std::unique_ptr<unsigned char, VOFreeBlock> m_pbNames;
    size_t m_uNamesSize = 0;
    std::vector<unsigned char> m_vecCapitals;  // a bit for each byte of the names: it was one of "A" to "Z"
    uint32_t m_auOften[256] = {};              // of a sample of the names
};

// The places of a stretch where a text may be part of the name, in ascending order.
class VONameSearch
{
public:
    VONameSearch(const VONameIndex& index, const VONameIndex::Stretch& stretch, const VOWCHAR* pszText,
                 bool bMatchCase);
    VONameSearch(const VONameSearch&) = delete;
    VONameSearch& operator=(const VONameSearch&) = delete;

    // False for a text that this index can't tell about. Such a search has no places.
    bool CanTell() const { return m_bCanTell; }

    // The next place; false at the end.
    bool Next(VONameIndex::Hit& hit);

private:
    static constexpr size_t kMostUnits = 128;

    struct Letter
    {
        uint16_t uAt;
        bool bCapital;
    };

    size_t _Fold(const VOWCHAR* pszText);
    bool _HasItsCase(const unsigned char* pbFound) const;
    void _FindNext();
    unsigned int _PlaceOf(const unsigned char* pbFound);

    const VONameIndex& m_index;
    const bool m_bMatchCase;
    const unsigned int m_uEnd;
    unsigned char m_abText[kMostUnits * 3] = {};
    Letter m_aLetter[kMostUnits] = {};  // of ASCII
    size_t m_uLetters = 0;
    bool m_bCanTell = false;
    bool m_bSure = false;  // what is found by its bytes has the text in its name
    VOByteSearch m_search;
    unsigned int m_uAt;           // the place whose name begins at m_pbAt
    const unsigned char* m_pbAt;  // nothing in front of it is left to be searched
    const unsigned char* m_pbEnd;
    unsigned int m_uFound;  // the next place that was found, m_uEnd for none, or one that has been given already
    bool m_bFound = false;  // m_uFound hasn't been given
    std::vector<unsigned int>::const_iterator m_itAsked;
};

// The places of a stretch whose kind is among those wanted, in ascending order.
class VOKindSearch
{
public:
    VOKindSearch(const VONameIndex& index, const VONameIndex::Stretch& stretch, const VONameIndex::Kinds& wanted)
        : m_index(index), m_wanted(wanted), m_left(stretch)
    {
    }

    bool Next(VONameIndex::Hit& hit);

private:
    const VONameIndex& m_index;
    const VONameIndex::Kinds& m_wanted;
    VONameIndex::Stretch m_left;
};

// A Customer's index: made when it is worth its time, and kept until the image goes. Any thread, but for Reset. Nobody
// waits for it: who comes while it is made walks.
class VONameIndexSlot
{
public:
    const VONameIndex* Get(const VOTSAssetNodeContainer& container, unsigned int uStart);
    void NoteWalk(unsigned int uNodes) { m_ullWalked.fetch_add(uNodes, std::memory_order_relaxed); }

    // The image has changed or goes.
    void Reset();

private:
    const VONameIndex* _Make(const VOTSAssetNodeContainer& container, unsigned int uStart);

    std::mutex m_lock;
    std::unique_ptr<const VONameIndex> m_pKept;         // under the lock
    std::atomic<const VONameIndex*> m_pIndex{nullptr};  // the same, for readers
    std::atomic<bool> m_bGivenUp{false};
    std::atomic<unsigned long long> m_ullWalked{0};
};

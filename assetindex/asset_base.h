// The base: the plain image of a container in one block of memory, its parts apart, each with room to grow, and the
// batches of changed bytes that take it from one state to the next. A reader that has a copy of the block in pages of
// its own applies the batches there: an addition moves nothing, and costs what it adds.
//
// A base, of which all numbers are little-endian:
//
//   offset  size   content
//   0       8      "base.1.0"
//   8       8      generation: which base of its source this is
//   16      8      bytes of the base
//   24      48     what it holds, in the state that it was made in:
//     24    8        number of that state
//     32    24       nodes, strings, bytes of text, numbers of lists, bytes of types, slots taken
//     56    16       handles of the root's path and name
//   72      96     the six parts, each { offset, room in bytes }: nodes (120 bytes each), strings (24), texts, lists
//   (4),
//                  types (the image of a classify table), slots of the path table (16; their number is a power of two;
//                  include/internal/vo_path_table.h)
//   168     4      CRC-32 of the 168 bytes before
//   172     4      0
//
// A part begins at a multiple of 4,096. Behind the last one lie 4,096 bytes that are zero: whatever a text of a damaged
// base runs over, it ends there.
//
// A batch is a record of a log (log_format.h), and what follows the record's head is:
//
//   16      48     what the image holds when the batch is applied; its state is the next one
//   64      4      patches
//   68      4      0
//   72             patches, each { offset in the base, size, the bytes, zeros up to a multiple of 8 }; offset and size
//   have
//                  8 bytes each
//
// Nothing in a base or a batch is trusted: whatever it says is held against what was mapped, before it is used.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

#include "assetindex/log_format.h"
#include "vots_asset_node_container.h"

constexpr char kVOBaseVersion[8] = {'b', 'a', 's', 'e', '.', '1', '.', '0'};
constexpr size_t kVOBaseAlignment = 4096;

// What an image holds in one of its states.
struct VOBaseCounts
{
    uint64_t ullState;
    uint32_t uNodes;
    uint32_t uStrings;
    uint32_t uTextBytes;
    uint32_t uNumbers;
    uint32_t uTypeBytes;
    uint32_t uSlotsTaken;
    uint64_t ullRootPath;
    uint64_t ullRootName;
};
static_assert(sizeof(VOBaseCounts) == 48);

enum class VOBasePart
{
    Nodes,
    Strings,
    Texts,
    Lists,
    Types,
    Slots
};
constexpr size_t kVOBaseParts = 6;

struct VOBaseHead
{
    char szVersion[8];
    uint64_t ullGeneration;
    uint64_t ullSize;
    VOBaseCounts counts;
    struct
    {
        uint64_t ullOffset;
        uint64_t ullRoom;
    } arrPart[kVOBaseParts];
    uint32_t uCheck;
    uint32_t uReserved;
};
static_assert(sizeof(VOBaseHead) == 176 && offsetof(VOBaseHead, uCheck) == 168);

struct VOBatchHead
{
    VOLogRecordHead record;
    VOBaseCounts counts;
    uint32_t uPatches;
    uint32_t uReserved;
};
static_assert(sizeof(VOBatchHead) == 72);

struct VOPatchHead
{
    uint64_t ullOffset;
    uint64_t ullSize;
};

// A base in memory that its user alone writes to. It doesn't own the memory.
class VOAssetBase
{
public:
    VOAssetBase() = default;

    // Takes uSize bytes that begin with a base. False, and nothing taken, if they are no sound base. The head is read
    // once; the zeros behind the last part are written anew, so that nobody else can take them away.
    bool Take(unsigned char* pbBase, size_t uSize);

    // Applies a batch that begins with a head, of uSize bytes at most: whole, or not at all and false. The batch has to
    // be a copy that nobody else writes to.
    bool Apply(const unsigned char* pbBatch, size_t uSize);

    // Whether each part has room for this much.
    bool Fits(const VOBaseCounts& counts) const;

    const VOBaseHead& Head() const { return m_head; }
    const VOBaseCounts& Counts() const { return m_counts; }
    unsigned char* PartAt(VOBasePart ePart) const
    {
        return m_pbBase + m_head.arrPart[static_cast<size_t>(ePart)].ullOffset;
    }
    uint64_t RoomOf(VOBasePart ePart) const { return m_head.arrPart[static_cast<size_t>(ePart)].ullRoom; }
    VOPathTable PathTable() const { return VOPathTable(PartAt(VOBasePart::Slots), m_uSlotBits); }

private:
    bool _MayPatch(uint64_t ullOffset, uint64_t ullSize) const;

    unsigned char* m_pbBase = nullptr;
    VOBaseHead m_head = {};
    VOBaseCounts m_counts = {};
    unsigned int m_uSlotBits = 0;
};

// What a Provider has changed since it was last asked, so that a batch costs what changed.
struct VOAssetJournal
{
    VOWriteJournal nodes;    // records
    VOWriteJournal strings;  // records
    VOWriteJournal numbers;  // of the child lists
    VOWriteJournal keys;     // handles that lead to another node now, or to none
    bool bContainerGone = false;

    bool IsWhole() const;
    void Clear();
};

// The two ways out of a Provider.
class VOAssetBaseWriter
{
public:
    // From now on the container keeps a journal, which begins with everything.
    explicit VOAssetBaseWriter(VOTSAssetNodeContainer& container);
    ~VOAssetBaseWriter();
    VOAssetBaseWriter(const VOAssetBaseWriter&) = delete;
    VOAssetBaseWriter& operator=(const VOAssetBaseWriter&) = delete;

    // Whether this is the writer's container; never for one that has ended.
    bool Follows(const VOTSAssetNodeContainer& container) const
    {
        return !m_journal.bContainerGone && &container == &m_container;
    }

    // How many bytes a base of the container takes now, room included; 0 when it can have none.
    size_t BaseSize() const;

    // Writes it to so many bytes that are zero, as the given state of a generation. The journal is empty then.
    void WriteBase(unsigned char* pbBase, uint64_t ullGeneration, uint64_t ullState);

    // The batch that takes a base of this container to its present state, and the base with it: one in memory of the
    // writer's own, which went through all batches since. Empty, and true, when nothing has changed. False when there
    // is no such batch, as a part has no room left or the container was emptied: then that base is spoilt, and a new
    // one is due.
    bool MakeBatch(VOAssetBase& base, std::vector<unsigned char>& vecBatch);

private:
    bool _Lay(VOBaseHead& head) const;
    VOBaseCounts _CountsNow(uint64_t ullState) const;
    VOPathSlot _SlotFor(unsigned int uHash0) const;
    unsigned int _Enter(const VOPathTable& table, unsigned char* pbSlots, unsigned int uHash0);

    VOTSAssetNodeContainer& m_container;
    VOAssetJournal m_journal;
    uint32_t m_uSlotsTaken = 0;
};

// From the two hashes of a path straight to its node: one open-addressed table in the place of the three that an image
// has (the strings' two tables and the key table).
//
// A slot stands for a first hash, and answers as those three do: the string that took the hash first is told by its
// second hash, and every other string with that first hash is taken for the one that came second.
//
//   slot     { first hash, second hash, node, other }, 16 bytes; all zero in one that was never taken
//   node     of the string that has both hashes: its id plus 1, or kGone if it isn't the path of a node
//   other    of every other string with the first hash: its id plus 1, or 0
//   home     the first hash times 0x9E3779B1, and of that the highest bits, as many as the table's size has
//
// A slot that was taken stays its hash's, so that a search ends at the first one that never was.
#pragma once

#include "vo_bytes.h"

struct VOPathSlot
{
    unsigned int uHash0;
    unsigned int uHash1;
    unsigned int uNode;
    unsigned int uOther;
};
static_assert(sizeof(VOPathSlot) == 16);

// A view of such a table. No lock, any number of readers. Memory that another process may write to at any time is fine:
// each slot is read once.
class VOPathTable
{
public:
    static constexpr unsigned int kNone = 0xFFFFFFFFu;
    static constexpr unsigned int kGone = 0xFFFFFFFFu;
    static constexpr unsigned int kMostBits = 28;

    VOPathTable() = default;

    // 2 to the power of uBits slots, which is 1 to kMostBits.
    VOPathTable(const unsigned char* pbSlots, unsigned int uBits) : m_pbSlots(pbSlots), m_uBits(uBits) {}

    bool IsThere() const { return m_pbSlots != nullptr; }
    unsigned int SlotCount() const { return m_pbSlots != nullptr ? 1u << m_uBits : 0; }

    // The node of a path, kNone if there is none.
    unsigned int Find(unsigned int uHash0, unsigned int uHash1) const
    {
        VOPathSlot slot = {};
        SlotOf(uHash0, slot);
        const unsigned int uNode = slot.uHash1 == uHash1 ? slot.uNode : slot.uOther;
        return uNode == kGone ? kNone : uNode - 1;
    }

    // A copy of a slot.
    VOPathSlot At(unsigned int uSlot) const
    {
        return VOLoad<VOPathSlot>(m_pbSlots + static_cast<size_t>(uSlot) * sizeof(VOPathSlot));
    }

    // Where the search for a first hash begins.
    const void* HomeOf(unsigned int uHash0) const
    {
        return m_pbSlots + static_cast<size_t>(_Home(uHash0)) * sizeof(VOPathSlot);
    }

    // A copy of the slot of a first hash, and its number; of a hash that has none the slot that it could take, all
    // zero. SlotCount() if there is neither.
    unsigned int SlotOf(unsigned int uHash0, VOPathSlot& slot) const
    {
        const unsigned int uMask = SlotCount() - 1;
        unsigned int uAt = _Home(uHash0);
        for (unsigned int uSeen = 0; uSeen <= uMask; ++uSeen, uAt = (uAt + 1) & uMask)
        {
            slot = At(uAt);
            if (slot.uNode == 0)
            {
                slot = {};
                return uAt;
            }
            if (slot.uHash0 == uHash0)
            {
                return uAt;
            }
        }
        slot = {};
        return SlotCount();
    }

private:
    unsigned int _Home(unsigned int uHash0) const { return (uHash0 * 0x9E3779B1u) >> (32 - m_uBits); }

    const unsigned char* m_pbSlots = nullptr;
    unsigned int m_uBits = 0;
};

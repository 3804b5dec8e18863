// VOMapTable: an open-addressing hash table in one flat array, the published form of a sorted map.
//
// A Provider flattens its map into one; a Customer searches it in place, inside the image:
//
//   slot:     { key K, value V, bUsed }, 16 bytes, packed; bUsed is 1 or 0, always at offset 12
//   home:     FNV-1a of the key's bytes, low 32 bits, AND (M - 1)
//   M:        1 for an empty map, else a power of two above count / 0.75
//   placing:  walking the map upwards, every entry whose home slot is free goes there; then those that found it
//             taken, in the order met, each to the next free slot behind its home. So equal maps give equal
//             bytes, and a free home slot proves that a key is absent.
//
// The image of M slots, C of them used:
//
//   offset   size     content
//   0        8        "ver.1.0"
//   8        4        C
//   12       4        20 + 16 * M
//   16       20+16*M  record vector image of the slots, so that the first slot lies at offset 32
//   36+16*M  4        tail (written as zero, never read)
#pragma once

#include <bit>
#include <functional>
#include <vector>

#include "vo_record_vector.h"

#pragma pack(push, 1)
template <typename K, typename V>
struct VOMapTableSlot
{
    K key;
    V value;
    unsigned int bUsed;
};

struct VOMapTableAlloc
{
    char szVersion[8];
    unsigned int uElementCount;
    unsigned int uSlotVectorSize;
    VORecordVectorAlloc slots;
    unsigned char abTail[4];
};
#pragma pack(pop)
static_assert(sizeof(VOMapTableAlloc) == 40 && offsetof(VOMapTableAlloc, slots) == 16);

template <typename K, typename V>
class VOMapTable
{
public:
    typedef VOMapTableSlot<K, V> Slot;
    typedef VOMapTableAlloc MapTableAlloc;
    static_assert(sizeof(Slot) == 16 && offsetof(Slot, bUsed) == 12);

    struct Iterator
    {
        K key = K();
        V value = V();
        unsigned int uSlot = 0;
    };

    VOMapTable() = default;

    unsigned int Count() const { return m_uElementCount; }
    unsigned int SlotCount() const { return m_vecSlot.Count(); }

    // FNV-1a over the bytes of the key from the lowest to the highest, reduced to its low 32 bits.
    static unsigned int HashOfKey(K key)
    {
        unsigned long long ullBits = 0;
        memcpy(&ullBits, &key, sizeof(K));
        unsigned long long ullHash = 0xCBF29CE484222325ull;
        for (size_t i = 0; i < sizeof(K); ++i)
        {
            ullHash = (ullHash ^ (ullBits & 0xFF)) * 0x100000001B3ull;
            ullBits >>= 8;
        }
        return static_cast<unsigned int>(ullHash);
    }

    // True and the entry if the key is in the table.
    bool Find(K key, Iterator& rkIterator) const
    {
        const unsigned int uSlots = m_vecSlot.Count();
        if (uSlots == 0)
        {
            return false;
        }
        const unsigned int uHome = HashOfKey(key) & (uSlots - 1);
        unsigned int uSlot = uHome;
        do
        {
            const Slot slot = m_vecSlot[uSlot];
            if (slot.bUsed == 0)
            {
                return false;
            }
            if (slot.key == key)
            {
                _Give(slot, uSlot, rkIterator);
                return true;
            }
            uSlot = uSlot + 1 < uSlots ? uSlot + 1 : 0;
        } while (uSlot != uHome);
        return false;
    }

    // Where the search for a key begins; null for an empty table.
    const void* HomeOf(K key) const
    {
        const unsigned int uSlots = m_vecSlot.Count();
        return uSlots != 0 ? m_vecSlot.Bytes(HashOfKey(key) & (uSlots - 1)) : nullptr;
    }

    // Walk the used slots by ascending slot.
    bool GetFirst(Iterator& rkIterator) const { return _FindUsed(0, rkIterator); }
    bool GetNext(Iterator& rkIterator) const
    {
        return rkIterator.uSlot < m_vecSlot.Count() && _FindUsed(rkIterator.uSlot + 1, rkIterator);
    }

    bool CleanUp()
    {
        m_uElementCount = 0;
        return m_vecSlot.Release();
    }

    // The image of the table as it is. Its element count word holds the number of slots, unlike the image that is
    // made from a map: readers of a re-exported table rely on nothing else.
    unsigned long long AllocSize() const { return AllocSizeOf(m_vecSlot.Count()); }
    void WriteAlloc(unsigned char* pbTo) const
    {
        _WriteHead(pbTo, m_vecSlot.Count(), m_vecSlot.Count());
        m_vecSlot.WriteAlloc(pbTo + offsetof(MapTableAlloc, slots));
    }
    MapTableAlloc* GetAlloc() const { return VOMakeImage<MapTableAlloc>(*this); }

    // The steps that make the image of a sorted map, of any form: a range of keys and what toValue makes values of, in
    // ascending key order.
    static unsigned long long SlotCountFor(unsigned long long ullCount)
    {
        const unsigned long long n = static_cast<unsigned long long>(static_cast<float>(ullCount) / 0.75f);
        return n == 0 ? 1 : 1ull << std::bit_width(n);
    }
    static unsigned long long AllocSizeOf(unsigned long long ullSlots)
    {
        return sizeof(MapTableAlloc) + ullSlots * sizeof(Slot);
    }
    template <typename Entries, typename ToValue = std::identity>
    static bool WriteAllocOfMap(unsigned char* pbTo, const Entries& entries, ToValue toValue = {})
    {
        const unsigned long long ullSlots = SlotCountFor(entries.size());
        _WriteHead(pbTo, static_cast<unsigned int>(entries.size()), static_cast<unsigned int>(ullSlots));
        const unsigned int uSlotBytes = static_cast<unsigned int>(ullSlots * sizeof(Slot));
        const VORecordVectorAlloc slots = {VO_IMAGE_VERSION_1_0, static_cast<unsigned int>(ullSlots), uSlotBytes, {}};
        VOStore(pbTo + offsetof(MapTableAlloc, slots), slots);
        return PlaceAll(pbTo + offsetof(MapTableAlloc, slots) + VORecordVector<Slot>::kDataOffset, ullSlots, entries,
                        toValue);
    }

    // Places all entries into ullSlots zeroed slots.
    template <typename Entries, typename ToValue>
    static bool PlaceAll(unsigned char* pbSlots, unsigned long long ullSlots, const Entries& entries, ToValue toValue)
    {
        // Homes lie all over the table: each is asked for kAhead entries before its entry is placed.
        constexpr unsigned int kAhead = 16;
        struct Waiting
        {
            Slot slot;
            unsigned char* pbHome;
        };
        Waiting arrWaiting[kAhead] = {};
        unsigned long long ullMet = 0;
        const unsigned long long ullMask = ullSlots - 1;
        std::vector<Slot> vecDisplaced;
        const auto PlaceOldest = [&](const Waiting& waiting)
        {
            if (waiting.pbHome != nullptr && VOLoad<Slot>(waiting.pbHome).bUsed == 0)
            {
                VOStore(waiting.pbHome, waiting.slot);
            }
            else if (waiting.pbHome != nullptr)
            {
                vecDisplaced.push_back(waiting.slot);
            }
        };
        for (const auto& [key, value] : entries)
        {
            unsigned char* pbHome = pbSlots + (HashOfKey(key) & ullMask) * sizeof(Slot);
            VOPrefetch(pbHome);
            Waiting& oneWaiting = arrWaiting[ullMet++ % kAhead];
            PlaceOldest(oneWaiting);
            oneWaiting = {{key, toValue(value), 1}, pbHome};
        }
        for (unsigned int i = 0; i < kAhead; ++i)
        {
            PlaceOldest(arrWaiting[ullMet++ % kAhead]);
        }
        for (const Slot& slot : vecDisplaced)
        {
            const unsigned long long ullHome = HashOfKey(slot.key) & ullMask;
            unsigned long long ullSlot = (ullHome + 1) & ullMask;
            while (ullSlot != ullHome && VOLoad<Slot>(pbSlots + ullSlot * sizeof(Slot)).bUsed != 0)
            {
                ullSlot = (ullSlot + 1) & ullMask;
            }
            if (ullSlot == ullHome)
            {
                return false;
            }
            VOStore(pbSlots + ullSlot * sizeof(Slot), slot);
        }
        return true;
    }

    // Takes the slots of an image, copied or as a view; ullLimit is how many bytes the image may reach. On false
    // the table is untouched.
    bool SetAlloc(const MapTableAlloc* pAlloc, int bCopy, unsigned long long ullLimit = kVOUnbounded)
    {
        if (pAlloc == nullptr || ullLimit < sizeof(MapTableAlloc))
        {
            return false;
        }
        const MapTableAlloc kHead = VOLoad<MapTableAlloc>(pAlloc);
        const unsigned char* pbSlots = reinterpret_cast<const unsigned char*>(pAlloc) + offsetof(MapTableAlloc, slots);
        if (!VOIsVersion(kHead.szVersion, VO_IMAGE_VERSION_1_0) ||
            !m_vecSlot.SetAlloc(reinterpret_cast<const VORecordVectorAlloc*>(pbSlots), bCopy,
                                VOLimitBehind(ullLimit, sizeof(MapTableAlloc) - sizeof(VORecordVectorAlloc))))
        {
            return false;
        }
        m_uElementCount = kHead.uElementCount;
        return true;
    }

    // Enters what an image holds into a map.
    template <typename Map>
    static bool ReadInto(Map& map, const MapTableAlloc* pAlloc, unsigned long long ullLimit)
    {
        VOMapTable reader;
        Iterator iterator;
        if (!reader.SetAlloc(pAlloc, 0, ullLimit))
        {
            return false;
        }
        for (bool bMore = reader.GetFirst(iterator); bMore; bMore = reader.GetNext(iterator))
        {
            map.Insert(iterator.key, iterator.value);
        }
        return true;
    }

protected:
    static void _WriteHead(unsigned char* pbTo, unsigned int uElementCount, unsigned int uSlots)
    {
        memcpy(pbTo, VO_IMAGE_VERSION_1_0, sizeof(MapTableAlloc::szVersion));
        VOStore(pbTo + offsetof(MapTableAlloc, uElementCount), uElementCount);
        VOStore(pbTo + offsetof(MapTableAlloc, uSlotVectorSize),
                static_cast<unsigned int>(sizeof(VORecordVectorAlloc) + uSlots * sizeof(Slot)));
    }

    static void _Give(const Slot& kSlot, unsigned int uSlot, Iterator& rkIterator)
    {
        rkIterator.key = kSlot.key;
        rkIterator.value = kSlot.value;
        rkIterator.uSlot = uSlot;
    }

    bool _FindUsed(unsigned int uFrom, Iterator& rkIterator) const
    {
        for (unsigned int uSlot = uFrom; uSlot < m_vecSlot.Count(); ++uSlot)
        {
            const Slot slot = m_vecSlot[uSlot];
            if (slot.bUsed != 0)
            {
                _Give(slot, uSlot, rkIterator);
                return true;
            }
        }
        return false;
    }

    VORecordVector<Slot> m_vecSlot;
    unsigned int m_uElementCount = 0;  // used slots, by the image
};

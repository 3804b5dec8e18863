#include "support/reference_images.h"

#include "support/reference_hash.h"

namespace votest
{
namespace
{
constexpr size_t kSlotSize = 16;

// Entries of a table in ascending key order, each as its 16 bytes, with the slot that it would like to have.
struct Entry
{
    uint32_t uHome;
    Bytes vecSlot;
};

Bytes PlaceEntries(const std::vector<Entry>& entries, uint32_t uSlots)
{
    std::vector<const Bytes*> vecPlaced(uSlots, nullptr);
    std::vector<const Entry*> vecDisplaced;
    for (const Entry& entry : entries)
    {
        if (vecPlaced[entry.uHome] == nullptr)
        {
            vecPlaced[entry.uHome] = &entry.vecSlot;
        }
        else
        {
            vecDisplaced.push_back(&entry);
        }
    }
    for (const Entry* pEntry : vecDisplaced)
    {
        uint32_t uSlot = (pEntry->uHome + 1) % uSlots;
        while (vecPlaced[uSlot] != nullptr)
        {
            uSlot = (uSlot + 1) % uSlots;
        }
        vecPlaced[uSlot] = &pEntry->vecSlot;
    }
    ByteBuilder slots;
    for (const Bytes* pSlot : vecPlaced)
    {
        pSlot != nullptr ? slots.Append(*pSlot) : slots.Zeros(kSlotSize);
    }
    return slots.Result();
}
}  // namespace

Bytes RecordVectorImage(size_t uCount, const Bytes& records)
{
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(static_cast<uint32_t>(uCount))
        .U32(static_cast<uint32_t>(records.size()))
        .Append(records)
        .Zeros(4)
        .Result();
}

Bytes BufferImage(const Bytes& data, const std::vector<uint64_t>& givenHandles)
{
    ByteBuilder handles;
    for (const uint64_t ullHandle : givenHandles)
    {
        handles.U64(ullHandle);
    }
    const Bytes vecHandles = RecordVectorImage(givenHandles.size(), handles.Result());
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(static_cast<uint32_t>(data.size()))
        .U32(static_cast<uint32_t>(vecHandles.size()))
        .U32(static_cast<uint32_t>(data.size() + vecHandles.size()))
        .Append(data)
        .Append(vecHandles)
        .Zeros(4)
        .Result();
}

uint64_t TextPool::Add(const VOWString& strText)
{
    const uint64_t ullHandle = vecData.size();
    const Bytes vecEntry = ByteBuilder().Text(strText).Zeros(1).Result();
    vecData.insert(vecData.end(), vecEntry.begin(), vecEntry.end());
    vecHandle.push_back(ullHandle);
    return ullHandle;
}

Bytes StringImage(const TextPool& pool)
{
    const Bytes vecInner = BufferImage(pool.vecData, pool.vecHandle);
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(static_cast<uint32_t>(vecInner.size()))
        .Append(vecInner)
        .Zeros(4)
        .Result();
}

uint32_t ReferenceSlotCount(size_t uElements)
{
    uint32_t uAtLeast = static_cast<uint32_t>(static_cast<float>(uElements) / 0.75f);
    uint32_t uSlots = 1;
    while (uAtLeast != 0)
    {
        uAtLeast /= 2;
        uSlots *= 2;
    }
    return uSlots;
}

Bytes TableSlots(const std::map<uint32_t, uint64_t>& map)
{
    const uint32_t uSlots = ReferenceSlotCount(map.size());
    std::vector<Entry> vecEntry;
    for (const auto& [uKey, ullValue] : map)
    {
        vecEntry.push_back({ReferenceKeyHash(uKey, 4) % uSlots, ByteBuilder().U32(uKey).U64(ullValue).U32(1).Result()});
    }
    return PlaceEntries(vecEntry, uSlots);
}

Bytes TableSlots(const std::map<uint64_t, uint32_t>& map)
{
    const uint32_t uSlots = ReferenceSlotCount(map.size());
    std::vector<Entry> vecEntry;
    for (const auto& [ullKey, uValue] : map)
    {
        vecEntry.push_back(
            {ReferenceKeyHash(ullKey, 8) % uSlots, ByteBuilder().U64(ullKey).U32(uValue).U32(1).Result()});
    }
    return PlaceEntries(vecEntry, uSlots);
}

Bytes TableImage(uint32_t uElements, const Bytes& slots)
{
    const Bytes vecSlots = RecordVectorImage(slots.size() / kSlotSize, slots);
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(uElements)
        .U32(static_cast<uint32_t>(vecSlots.size()))
        .Append(vecSlots)
        .Zeros(4)
        .Result();
}

Bytes NumberImage(const std::vector<uint32_t>& numbers)
{
    ByteBuilder image;
    image.U32(static_cast<uint32_t>(numbers.size())).U32(static_cast<uint32_t>(numbers.size() * 4));
    for (const uint32_t uNumber : numbers)
    {
        image.U32(uNumber);
    }
    return image.Zeros(4).Result();
}

Bytes StringRecordBytes(const std::vector<StringRecord>& givenRecords)
{
    ByteBuilder records;
    for (const StringRecord& record : givenRecords)
    {
        records.U64(record.hString).U32(record.dwState).U32(record.dwHashMask).U32(record.uHash0).U32(record.uHash1);
    }
    return records.Result();
}

Bytes StringSetImage(const Bytes& records, const Bytes& pool, const Bytes& primary, const Bytes& conflict)
{
    return ByteBuilder()
        .Version("ver.1.1")
        .U32(static_cast<uint32_t>(records.size()))
        .U32(static_cast<uint32_t>(pool.size()))
        .U32(static_cast<uint32_t>(primary.size()))
        .U32(static_cast<uint32_t>(conflict.size()))
        .U32(static_cast<uint32_t>(records.size() + pool.size() + primary.size() + conflict.size()))
        .Append(records)
        .Append(pool)
        .Append(primary)
        .Append(conflict)
        .Zeros(4)
        .Result();
}
}  // namespace votest

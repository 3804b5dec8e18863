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

Bytes PlaceEntries(const std::vector<Entry>& rkEntries, uint32_t uSlots)
{
    std::vector<const Bytes*> vecPlaced(uSlots, nullptr);
    std::vector<const Entry*> vecDisplaced;
    for (const Entry& rkEntry : rkEntries)
    {
        if (vecPlaced[rkEntry.uHome] == nullptr)
        {
            vecPlaced[rkEntry.uHome] = &rkEntry.vecSlot;
        }
        else
        {
            vecDisplaced.push_back(&rkEntry);
        }
    }
    for (const Entry* pkEntry : vecDisplaced)
    {
        uint32_t uSlot = (pkEntry->uHome + 1) % uSlots;
        while (vecPlaced[uSlot] != nullptr)
        {
            uSlot = (uSlot + 1) % uSlots;
        }
        vecPlaced[uSlot] = &pkEntry->vecSlot;
    }
    ByteBuilder kSlots;
    for (const Bytes* pkSlot : vecPlaced)
    {
        pkSlot != nullptr ? kSlots.Append(*pkSlot) : kSlots.Zeros(kSlotSize);
    }
    return kSlots.Result();
}
}  // namespace

Bytes RecordVectorImage(size_t uCount, const Bytes& rkRecords)
{
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(static_cast<uint32_t>(uCount))
        .U32(static_cast<uint32_t>(rkRecords.size()))
        .Append(rkRecords)
        .Zeros(4)
        .Result();
}

Bytes BufferImage(const Bytes& rkData, const std::vector<uint64_t>& rkHandles)
{
    ByteBuilder kHandles;
    for (const uint64_t ullHandle : rkHandles)
    {
        kHandles.U64(ullHandle);
    }
    const Bytes vecHandles = RecordVectorImage(rkHandles.size(), kHandles.Result());
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(static_cast<uint32_t>(rkData.size()))
        .U32(static_cast<uint32_t>(vecHandles.size()))
        .U32(static_cast<uint32_t>(rkData.size() + vecHandles.size()))
        .Append(rkData)
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

Bytes StringImage(const TextPool& rkPool)
{
    const Bytes vecInner = BufferImage(rkPool.vecData, rkPool.vecHandle);
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

Bytes TableSlots(const std::map<uint32_t, uint64_t>& rkMap)
{
    const uint32_t uSlots = ReferenceSlotCount(rkMap.size());
    std::vector<Entry> vecEntry;
    for (const auto& [uKey, ullValue] : rkMap)
    {
        vecEntry.push_back({ReferenceKeyHash(uKey, 4) % uSlots, ByteBuilder().U32(uKey).U64(ullValue).U32(1).Result()});
    }
    return PlaceEntries(vecEntry, uSlots);
}

Bytes TableSlots(const std::map<uint64_t, uint32_t>& rkMap)
{
    const uint32_t uSlots = ReferenceSlotCount(rkMap.size());
    std::vector<Entry> vecEntry;
    for (const auto& [ullKey, uValue] : rkMap)
    {
        vecEntry.push_back(
            {ReferenceKeyHash(ullKey, 8) % uSlots, ByteBuilder().U64(ullKey).U32(uValue).U32(1).Result()});
    }
    return PlaceEntries(vecEntry, uSlots);
}

Bytes TableImage(uint32_t uElements, const Bytes& rkSlots)
{
    const Bytes vecSlots = RecordVectorImage(rkSlots.size() / kSlotSize, rkSlots);
    return ByteBuilder()
        .Version("ver.1.0")
        .U32(uElements)
        .U32(static_cast<uint32_t>(vecSlots.size()))
        .Append(vecSlots)
        .Zeros(4)
        .Result();
}

Bytes NumberImage(const std::vector<uint32_t>& rkNumbers)
{
    ByteBuilder kImage;
    kImage.U32(static_cast<uint32_t>(rkNumbers.size())).U32(static_cast<uint32_t>(rkNumbers.size() * 4));
    for (const uint32_t uNumber : rkNumbers)
    {
        kImage.U32(uNumber);
    }
    return kImage.Zeros(4).Result();
}

Bytes StringRecordBytes(const std::vector<StringRecord>& rkRecords)
{
    ByteBuilder kRecords;
    for (const StringRecord& rkRecord : rkRecords)
    {
        kRecords.U64(rkRecord.hString)
            .U32(rkRecord.dwState)
            .U32(rkRecord.dwHashMask)
            .U32(rkRecord.uHash0)
            .U32(rkRecord.uHash1);
    }
    return kRecords.Result();
}

Bytes StringSetImage(const Bytes& rkRecords, const Bytes& rkPool, const Bytes& rkPrimary, const Bytes& rkConflict)
{
    return ByteBuilder()
        .Version("ver.1.1")
        .U32(static_cast<uint32_t>(rkRecords.size()))
        .U32(static_cast<uint32_t>(rkPool.size()))
        .U32(static_cast<uint32_t>(rkPrimary.size()))
        .U32(static_cast<uint32_t>(rkConflict.size()))
        .U32(static_cast<uint32_t>(rkRecords.size() + rkPool.size() + rkPrimary.size() + rkConflict.size()))
        .Append(rkRecords)
        .Append(rkPool)
        .Append(rkPrimary)
        .Append(rkConflict)
        .Zeros(4)
        .Result();
}
}  // namespace votest

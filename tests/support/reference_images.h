// The images of the flat containers, built a second time from their formats. Each function gives the whole image, tail
// included; tails are zero.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <map>
#include <vector>

#include "support/bytes.h"
#include "vo_types.h"

namespace votest
{
constexpr uint64_t kInvalidHandle = ~uint64_t{0};

// A record vector of uCount records, whose bytes lie back to back in records.
Bytes RecordVectorImage(size_t uCount, const Bytes& records);

// A byte pool: the bytes in use, and the handle of each entry.
Bytes BufferImage(const Bytes& data, const std::vector<uint64_t>& handles);

// What a text pool holds after texts were added in this order: each with its terminator and one zero byte more.
struct TextPool
{
    Bytes vecData;
    std::vector<uint64_t> vecHandle;

    uint64_t Add(const VOWString& strText);
    bool Has(uint64_t ullHandle) const { return ullHandle < vecData.size(); }
};
Bytes StringImage(const TextPool& pool);

// Slots of the table that a sorted map of so many elements becomes.
uint32_t ReferenceSlotCount(size_t uElements);

// The slots of a table: 16 bytes each, key, value and used flag. The first form has 32-bit keys and 64-bit values (a
// string set's), the second 64-bit keys and 32-bit values (the asset index's).
Bytes TableSlots(const std::map<uint32_t, uint64_t>& map);
Bytes TableSlots(const std::map<uint64_t, uint32_t>& map);

// The image around such slots, with the element count that its head has to say.
Bytes TableImage(uint32_t uElements, const Bytes& slots);

template <typename Map>
Bytes TableImage(const Map& map)
{
    return TableImage(static_cast<uint32_t>(map.size()), TableSlots(map));
}

Bytes NumberImage(const std::vector<uint32_t>& numbers);

struct StringRecord
{
    uint64_t hString = kInvalidHandle;
    uint32_t dwState = 0;
    uint32_t dwHashMask = 0;
    uint32_t uHash0 = 0;
    uint32_t uHash1 = 0;
};
Bytes StringRecordBytes(const std::vector<StringRecord>& records);

// A string set's image from its four parts.
Bytes StringSetImage(const Bytes& records, const Bytes& pool, const Bytes& primary, const Bytes& conflict);
}  // namespace votest

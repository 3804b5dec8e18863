// Where everything lies in an image (docs/wire-formats.md), found by its sizes and counts, none of which is trusted.
#pragma once

#include <string>
#include <vector>

#include "image/byte_view.h"

namespace lum
{

// The invalid value of handles, and of 32-bit indexes.
constexpr uint64_t kNoHandle = ~0ull;
constexpr uint32_t kNoIndex = 0xFFFFFFFF;

// The two words of a number block that are no numbers.
constexpr uint32_t kListEnd = 0xFFFFFFFF;
constexpr uint32_t kHole = 0xFFFFFFFE;

// Sizes of records, in bytes.
constexpr uint64_t kStringRecordSize = 24;
constexpr uint64_t kNodeRecordSize = 120;
constexpr uint64_t kSlotSize = 16;
constexpr uint64_t kTypeRecordSize = 312;

// One field of a head, for a dump.
struct HeadField
{
    uint64_t ullOffset = 0;
    uint32_t uSize = 0;
    const char* pszType = nullptr;
    std::string strValue;
    const char* pszBlock = nullptr;  // what holds it
    const char* pszMeaning = nullptr;
};

// An array of records of one size.
struct RecordArray
{
    uint32_t uCount = 0;  // as many as there are bytes for
    uint64_t ullRecordSize = 0;
    ByteView bytes;

    ByteView At(uint64_t ullIndex) const { return bytes.Part(ullIndex * ullRecordSize, ullRecordSize); }
};

// A flat hash table: 16-byte slots with key, value and used flag.
struct SlotTable
{
    uint32_t uElements = 0;  // as its head says
    uint32_t uKeySize = 0;   // 4 or 8; the value is what the 12 bytes in front of the flag leave
    RecordArray slots;

    uint64_t Key(uint64_t ullSlot) const
    {
        const ByteView slot = slots.At(ullSlot);
        return uKeySize == 4 ? slot.Word(0) : slot.Long(0);
    }
    uint64_t Value(uint64_t ullSlot) const
    {
        const ByteView slot = slots.At(ullSlot);
        return uKeySize == 4 ? slot.Long(4) : slot.Word(8);
    }
    uint32_t Used(uint64_t ullSlot) const { return slots.At(ullSlot).Word(12); }
};

struct ImageLayout
{
    ByteView all;
    ByteView stringBlock;
    ByteView nodeBlock;
    ByteView numberBlock;
    ByteView tableBlock;
    ByteView typeBlock;

    uint64_t ullRootPath = kNoHandle;
    uint64_t ullRootName = kNoHandle;

    RecordArray strings;
    ByteView texts;  // the bytes in use of the text pool
    RecordArray textHandles;
    SlotTable primary;
    SlotTable conflict;
    RecordArray nodes;
    RecordArray numbers;
    SlotTable keys;
    RecordArray types;

    std::vector<HeadField> vecFields;
};

// Reads all heads. What is wrong goes to the findings, and the reading goes on as far as that makes sense.
ImageLayout ReadLayout(ByteView image, Findings* pFindings);

}  // namespace lum

// The log: what a publisher has told since a base was made, record behind record, in memory that its readers share.
//
// All numbers are little-endian. A log:
//
//   offset  size   content
//   0       8      "patch.10"
//   8       8      generation: of the base that its batches are for
//   16      8      bytes of the log
//   24      40     0
//   64             records
//
// A record:
//
//   0       4      bytes of the record, a multiple of 8, at least 16
//   4       4      CRC-32 of what follows
//   8       4      kind: 1 a batch, 2 in use nowhere, 3 the end of this log, which the next generation follows
//   12      4      0
//   16             content
//
// How far a log is written stands outside it, in a word that is stored behind the bytes. So a record counts when it is
// whole, and what lies behind the last one says nothing. Nothing of it is ever written to again.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <vector>

#include "containers/check_value.h"
#include "internal/vo_bytes.h"

constexpr char kVOLogVersion[8] = {'p', 'a', 't', 'c', 'h', '.', '1', '0'};

struct VOLogHead
{
    char szVersion[8];
    uint64_t ullGeneration;
    uint64_t ullSize;
    uint64_t aullReserved[5];
};
static_assert(sizeof(VOLogHead) == 64);

enum class VOLogKind : uint32_t
{
    Batch = 1,
    End = 3
};

struct VOLogRecordHead
{
    uint32_t uSize;
    uint32_t uCheck;
    uint32_t uKind;
    uint32_t uReserved;
};
static_assert(sizeof(VOLogRecordHead) == 16);

// Completes the head of a record whose content stands in place, and whose size is a multiple of 8.
inline void VOSealLogRecord(std::vector<unsigned char>& vecRecord, VOLogKind eKind)
{
    constexpr size_t kChecked = offsetof(VOLogRecordHead, uKind);
    VOLogRecordHead head = {static_cast<uint32_t>(vecRecord.size()), 0, static_cast<uint32_t>(eKind), 0};
    VOStore(vecRecord.data(), head);
    head.uCheck = VOCheckValue(vecRecord.data() + kChecked, vecRecord.size() - kChecked);
    VOStore(vecRecord.data(), head);
}

// Whether a record that nobody else writes to begins there, and is whole and sound in uSize bytes.
inline bool VOIsLogRecord(const unsigned char* pbRecord, size_t uSize)
{
    constexpr size_t kChecked = offsetof(VOLogRecordHead, uKind);
    if (uSize < sizeof(VOLogRecordHead))
    {
        return false;
    }
    const VOLogRecordHead head = VOLoad<VOLogRecordHead>(pbRecord);
    return head.uSize >= sizeof(VOLogRecordHead) && head.uSize <= uSize && head.uSize % 8 == 0 &&
           head.uCheck == VOCheckValue(pbRecord + kChecked, head.uSize - kChecked);
}

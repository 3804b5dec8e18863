// The records that the system writes for changes below a directory, read out of a buffer that nothing is taken for
// granted of.
#pragma once

#include "diagnostics/check.h"

// One record. Its name is relative to the watched directory.
struct ChangeRecord
{
    DWORD uAction = 0;
    bool bNamed = false;  // the record's name has a length other than 0
    VOWString strName;    // up to its first zero
};

// Walks the records of a buffer; the one without a successor is the last. What a record says to lie outside the buffer
// isn't there.
class ChangeRecordReader
{
public:
    ChangeRecordReader(const unsigned char* pBuffer, size_t uSize) : m_pBuffer(pBuffer), m_uSize(uSize) {}

    // False behind the last record.
    bool Next(ChangeRecord* pRecord);

private:
    const unsigned char* m_pBuffer;
    size_t m_uSize;
    size_t m_uOffset = 0;
    bool m_bEnded = false;
};

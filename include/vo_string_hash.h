// VOStringHash: the 32-bit string hash that defines string identity for the whole asset index.
//
// The scheme is the one-way hash of the MPQ archive format, without folding of case, and with two bytes for a
// character above 255. Publisher and readers hash independently and must agree: the table and the arithmetic
// are a format.
#pragma once

#include "vo_types.h"

// An object holds a table of its own (5,120 bytes), made at construction and never changed, so that any number
// of threads may hash with it. Making, copying and hashing allocate nothing.
class VOBASE_API VOStringHash
{
public:
    // The rows of the table, and the words of a row. Row 0 gives the first hash of a string set, row 1 the
    // second one, and row 0 the hashes of the classify table.
    static constexpr unsigned int kRowCount = 5;
    static constexpr unsigned int kRowSize = 256;

    VOStringHash();
    VOStringHash(const VOStringHash& rkOther) = default;
    VOStringHash& operator=(const VOStringHash& rkOther) = default;
    VOStringHash& operator=(VOStringHash&& rkOther) = default;

    // The hash of a text with the row dwHashType of the table, 0 to 4; a greater row, and an empty pointer, are
    // refused with 0 and a log line. An empty text gives 0x7FED7FED.
    //
    // HashA takes bytes, HashW 16-bit units at any alignment; for ASCII text both give the same. A unit above
    // 255 counts as two bytes, the high one first. Hash is HashW under another name.
    //
    // Kept (VOStringHash::HashA): a byte from 0x80 up is a negative character, which reads the row before (and
    // counts as a zero word where there is none). Callers that stored hashes of such bytes find them again; new
    // code gives HashA ASCII only.
    unsigned int HashA(const char* pszString, VOULONG dwHashType) const;
    unsigned int HashW(const VOWCHAR* pszString, VOULONG dwHashType) const;
    unsigned int Hash(const VOWCHAR* pszString, VOULONG dwHashType) const;

    // HashW with rows 0 and 1 in one pass over the text: the identity of a string in a hash set. An empty
    // pointer gives 0 for both, and a log line. Needs no object.
    static void HashRows(const VOWCHAR* pszString, unsigned int& uHash0, unsigned int& uHash1);

private:
    unsigned int m_auTable[kRowCount * kRowSize];
};

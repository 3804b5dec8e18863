// The two maps of a Provider, in forms that are fast to fill and search. Both stand for a sorted map with unique
// keys: what they owe their users is the order of a walk, and they produce that order when a walk asks for it.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "../vo_types.h"

// From a string's first hash to its handle, a record index. An open-addressing table of 8-byte slots; the sorted
// order is made when a walk begins, and kept until the next insertion.
class VOBASE_API VOHashIndex
{
public:
    struct Entry
    {
        unsigned int uKey;
        unsigned int uRecord;
    };
    struct SortedEntries
    {
        unsigned long long ullGeneration = 0;
        std::vector<Entry> vecEntry;
    };
    struct Position
    {
        std::shared_ptr<const SortedEntries> pSorted;
        size_t uAt = 0;
    };

    VOHashIndex();
    ~VOHashIndex();
    VOHashIndex(const VOHashIndex& rkOther);
    VOHashIndex& operator=(const VOHashIndex& rkOther);

    unsigned int Count() const;
    bool Find(unsigned int uKey, void*& rhHandle) const;

    // Enters a key; false, and nothing changed, if it is there already.
    bool Insert(unsigned int uKey, void* hHandle);
    void Clear();

    // Walk in ascending key order. A walk sees the keys that are inserted ahead of it.
    bool First(Position& position, void*& rhHandle) const;
    bool Next(Position& position, void*& rhHandle) const;

    // All entries in ascending key order.
    std::shared_ptr<const SortedEntries> Sorted() const;

    static void* HandleOf(unsigned int uRecord);

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

// From a handle, a small integer, to an unsigned number. An array indexed by the handle; keys far beyond the
// others, which only a strange image brings, are kept aside.
class VOBASE_API VOHandleIndex
{
public:
    // An enumerator and no variable: the loader would keep a library whose headers define one in a class for ever.
    enum : unsigned int
    {
        kNone = 0xFFFFFFFFu
    };

    VOHandleIndex();
    ~VOHandleIndex();
    VOHandleIndex(const VOHandleIndex& rkOther);
    VOHandleIndex& operator=(const VOHandleIndex& rkOther);

    unsigned int Count() const;

    // The number of a handle, kNone if there is none.
    unsigned int Find(void* hHandle) const;

    // Enters a handle; false, and nothing changed, if it is there already or the number is kNone.
    bool Insert(void* hHandle, unsigned int uNumber);
    bool Erase(void* hHandle);
    void Clear();

    // All entries in ascending order of the handles.
    std::vector<std::pair<void*, unsigned int>> Sorted() const;

private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

// VOTSNumberContainer: many lists of unsigned numbers in one array, so that a record refers to a list by one index.
//
//   index 0          index 4
//   | 7 | 9 | hole | end | 3 | end | ...
//
// A list runs from its index to the terminator 0xFFFFFFFF. A hole 0xFFFFFFFE stands where a number was removed; all
// readers skip it, and the next insertion fills it. Neither can be a stored number. A list that must grow is written
// anew at the end of the array; the old one stays as dead space, and nothing is ever compacted.
//
// The image of N numbers, the one of the family without a version:
//
//   offset   size   content
//   0        4      N
//   4        4      N * 4
//   8        N * 4  the numbers
//   8+N*4    4      tail, zero
//
// All operations return 1 for success and 0 for failure; failed checks are logged. No lock.
#pragma once

#include <vector>

#include "internal/vo_image_buffer.h"
#include "internal/vo_write_journal.h"

class VOTSNumberContainer
{
public:
    static constexpr unsigned int kTerminator = 0xFFFFFFFFu;
    static constexpr unsigned int kHole = 0xFFFFFFFEu;

#pragma pack(push, 1)
    struct NumberAlloc
    {
        unsigned int uNumberCount;
        unsigned int uDataBufSize;
        unsigned char abData[4];  // the numbers begin here
    };
#pragma pack(pop)

    VOTSNumberContainer() = default;
    ~VOTSNumberContainer();
    VOTSNumberContainer(const VOTSNumberContainer& rkOther);
    VOTSNumberContainer& operator=(const VOTSNumberContainer& rkOther);

    // Appends a new list; uIndexResult is its index.
    int InsertNumber(const std::vector<unsigned int>& vecNumber, unsigned int& uIndexResult);

    // Adds a number to a list: into its first hole, else the list moves and uIndexResult is its new index. A number
    // that is in the list already, with no hole before it, ends the rewritten list: what stood behind it is gone.
    int InsertNumber(unsigned int uIndex, unsigned int uNumber, unsigned int& uIndexResult);

    // Adds a number to a list in front of another one, or behind all for kTerminator: into the first hole of that
    // place, or the numbers up to a near hole move by one, or the list moves to where uIndexResult says, and has new
    // holes. 0 when the list doesn't have uBefore.
    int InsertNumberBefore(unsigned int uIndex, unsigned int uNumber, unsigned int uBefore, unsigned int& uIndexResult);

    // Appends the numbers of a list.
    int GetNumberList(unsigned int uIndex, std::vector<unsigned int>& vecNumber) const;

    // The number at a position among those that aren't holes; 0 in silence behind the end.
    int GetNumber(unsigned int uIndex, int nNumberIndex, unsigned int& uNumber) const;
    int GetNumberCount(unsigned int uIndex, unsigned int& uCount) const;

    // Puts a hole in place of a number; 1 also if the list doesn't have it.
    int RemoveNumber(unsigned int uIndex, unsigned int uNumber);
    int CleanUp();
    int ShrinkToFit();

    // Lets go of an image; memory of its own stays.
    void DropView();

    // Becomes a view of so many numbers, which must outlive the use.
    void SetView(const unsigned char* pbNumbers, unsigned int uCount)
    {
        _Buffer().Take(pbNumbers, uCount);
    }

    // The bytes of the numbers, at any alignment; null when there are none.
    const unsigned char* Bytes() const
    {
        return m_pArrNumber;
    }

    // Has the numbers noted that are written to in place. The journal is the caller's; null for none.
    void SetJournal(VOWriteJournal* pJournal)
    {
        m_pJournal = pJournal;
    }

    // Numbers in use, terminators, holes and dead lists included.
    unsigned int GetValueCount() const
    {
        return m_uCount;
    }
    // The entry at a place in the array, for reading a list in place: a number, a hole, or the terminator.
    unsigned int EntryAt(unsigned int uAt) const
    {
        return uAt < m_uCount ? _At(uAt) : kTerminator;
    }
    unsigned int Capacity() const
    {
        return m_uCapacity;
    }

    NumberAlloc* GetAlloc() const
    {
        return VOMakeImage<NumberAlloc>(*this);
    }
    int SetAlloc(NumberAlloc* pAlloc, int bCopy, unsigned long long ullLimit = kVOUnbounded);
    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

protected:
    int _ResetNumberArrayCount(unsigned int uNewCount);
    bool _IsList(const char* pszFunction, unsigned int uIndex) const;
    unsigned int _NumbersIn(unsigned int uIndex) const;
    int _MoveList(unsigned int uIndex, unsigned int uNumber, unsigned int uPlace, unsigned int& uIndexResult);
    unsigned int _At(unsigned int uIndex) const
    {
        return VOLoad<unsigned int>(m_pArrNumber + uIndex * 4ull);
    }
    void _Put(unsigned int uIndex, unsigned int uNumber)
    {
        VOStore(m_pArrNumber + uIndex * 4ull, uNumber);
        if (m_pJournal != nullptr)
        {
            m_pJournal->Note(uIndex);
        }
    }

    VOImageBuffer<4, 0xFE> _Buffer()
    {
        return {m_pArrNumber, m_uCount, m_uCapacity};
    }

    unsigned char* m_pArrNumber = nullptr;  // numbers of 4 bytes, at any alignment in a view
    unsigned int m_uCapacity = 0;           // in numbers; zero for a view
    unsigned int m_uCount = 0;
    VOWriteJournal* m_pJournal = nullptr;
};
static_assert(sizeof(VOTSNumberContainer::NumberAlloc) == 12 &&
              offsetof(VOTSNumberContainer::NumberAlloc, abData) == 8);

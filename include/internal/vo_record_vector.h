// VORecordVector: a growable array of flat records that either owns its memory or is a view of an image.
//
// Records are handed out and stored by value, because a view's records may lie at any byte offset.
//
// The image of N records of E bytes:
//
//   offset  size   content
//   0       8      "ver.1.0"
//   8       4      N
//   12      4      N * E
//   16      N * E  the records
//   16+N*E  4      tail (written as zero, never read)
#pragma once

#include "vo_image_buffer.h"

#pragma pack(push, 1)
struct VORecordVectorAlloc
{
    char szVersion[8];
    unsigned int uCount;
    unsigned int uDataBufSize;
    unsigned char abData[4];  // the records begin here; the image is this much longer than head and records
};
#pragma pack(pop)
static_assert(sizeof(VORecordVectorAlloc) == 20 && offsetof(VORecordVectorAlloc, abData) == 16);

template <typename T>
class VORecordVector
{
    static_assert(std::is_trivially_copyable_v<T>, "records are moved with block copies");

public:
    typedef VORecordVectorAlloc RecordVectorAlloc;
    static constexpr unsigned long long kRecordSize = sizeof(T);
    static constexpr unsigned int kDataOffset = offsetof(VORecordVectorAlloc, abData);

    VORecordVector() = default;
    ~VORecordVector() { Release(); }

    // A copy owns memory of the same capacity; the copy of a view is a view of the same image.
    VORecordVector(const VORecordVector& rkOther)
    {
        _Buffer().CopyFrom(rkOther.m_pRecord, rkOther.m_uCount, rkOther.m_uCapacity);
    }
    VORecordVector& operator=(const VORecordVector& rkOther)
    {
        if (this != &rkOther)
        {
            _Buffer().CopyFrom(rkOther.m_pRecord, rkOther.m_uCount, rkOther.m_uCapacity);
        }
        return *this;
    }

    unsigned int Count() const { return m_uCount; }
    unsigned int Capacity() const { return m_uCapacity; }

    // The record at uIndex, which must be below Count().
    T operator[](unsigned int uIndex) const { return VOLoad<T>(Bytes(uIndex)); }
    void Set(unsigned int uIndex, const T& record) { VOStore(Bytes(uIndex), record); }

    // The bytes of the record at uIndex, at any alignment, valid until the vector grows or is released.
    const unsigned char* Bytes(unsigned int uIndex) const { return m_pRecord + uIndex * kRecordSize; }
    unsigned char* Bytes(unsigned int uIndex) { return m_pRecord + uIndex * kRecordSize; }

    bool PushBack(const T& record)
    {
        if (m_uCount >= m_uCapacity && !_Grow())
        {
            return false;
        }
        VOStore(Bytes(m_uCount), record);
        ++m_uCount;
        return true;
    }

    // Changes the capacity and cuts the count to it; new records are all zero. With 0 it clears and keeps the memory.
    bool Reserve(unsigned int uNewCapacity)
    {
        if (uNewCapacity == 0)
        {
            return Clean();
        }
        if (uNewCapacity != m_uCapacity)
        {
            _Buffer().SetCapacity(uNewCapacity);
        }
        return true;
    }

    bool Resize(unsigned int uNewCount)
    {
        Reserve(uNewCount);
        m_uCount = uNewCount;
        return true;
    }

    // Takes one record out by copying the one behind it onto it; the last record is reset to its default. Only
    // that one record moves, which is what the event container relies on.
    bool Remove(unsigned int uIndex)
    {
        if (uIndex >= m_uCount)
        {
            return false;
        }
        Set(uIndex, uIndex + 1 < m_uCount ? (*this)[uIndex + 1] : T());
        --m_uCount;
        return true;
    }

    bool ShrinkToFit() { return Reserve(m_uCount); }

    bool Clean()
    {
        _Buffer().Clean();
        return true;
    }

    bool Release()
    {
        _Buffer().Release();
        return true;
    }

    // Becomes a view of so many records, which must outlive the use.
    void SetView(const unsigned char* pbRecords, unsigned int uCount) { _Buffer().Take(pbRecords, uCount); }

    // Lets go of an image; memory of its own stays.
    void DropView() { _Buffer().DropView(); }

    // The size of the image in bytes; more than kVOMaxImageSize when there can be no image.
    unsigned long long AllocSize() const { return sizeof(RecordVectorAlloc) + m_uCount * kRecordSize; }

    // Writes the image to zeroed memory of AllocSize() bytes.
    void WriteAlloc(unsigned char* pbTo) const
    {
        const RecordVectorAlloc kHead = {
            VO_IMAGE_VERSION_1_0, m_uCount, static_cast<unsigned int>(m_uCount * kRecordSize), {}};
        memcpy(pbTo, &kHead, kDataOffset);
        if (m_uCount != 0)
        {
            memcpy(pbTo + kDataOffset, m_pRecord, m_uCount * kRecordSize);
        }
    }

    // A new image, owned by the caller; an empty pointer when the records don't fit one.
    RecordVectorAlloc* GetAlloc() const { return VOMakeImage<RecordVectorAlloc>(*this); }

    // Takes the records of an image: copied with bCopy, otherwise as a view of the image, which must outlive the
    // use. ullLimit is how many bytes the image may reach. On false the vector is untouched.
    bool SetAlloc(const RecordVectorAlloc* pAlloc, int bCopy, unsigned long long ullLimit = kVOUnbounded)
    {
        if (pAlloc == nullptr || ullLimit < sizeof(RecordVectorAlloc))
        {
            return false;
        }
        const RecordVectorAlloc kHead = VOLoad<RecordVectorAlloc>(pAlloc);
        if (!VOIsVersion(kHead.szVersion, VO_IMAGE_VERSION_1_0) || kHead.uDataBufSize != kHead.uCount * kRecordSize ||
            kHead.uDataBufSize > ullLimit - sizeof(RecordVectorAlloc))
        {
            return false;
        }

        const unsigned char* pbData = reinterpret_cast<const unsigned char*>(pAlloc) + kDataOffset;
        if (bCopy != 0)
        {
            Clean();
            _Buffer().Copy(pbData, kHead.uCount);
        }
        else
        {
            _Buffer().Take(pbData, kHead.uCount);
        }
        return true;
    }

protected:
    bool _Grow()
    {
        if (m_uCount == 0xFFFFFFFFu)
        {
            return false;
        }
        const unsigned long long ullWanted = m_uCount * 2ull + 2;
        return Reserve(ullWanted < 0xFFFFFFFFu ? static_cast<unsigned int>(ullWanted) : 0xFFFFFFFFu);
    }

    VOImageBuffer<kRecordSize> _Buffer() { return {m_pRecord, m_uCount, m_uCapacity}; }

    unsigned char* m_pRecord = nullptr;  // the records, of kRecordSize bytes each
    unsigned int m_uCapacity = 0;        // in records; zero for a view
    unsigned int m_uCount = 0;           // records in use
};

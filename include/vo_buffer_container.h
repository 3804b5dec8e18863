// The two pools: VOBufferContainer keeps byte blobs in one growing buffer, VOStringContainer puts a wide-string
// face on it.
//
// A handle is the byte offset of an entry, so it keeps its meaning when the buffer grows, through an image, and
// from process to process. Entries only go away together.
//
// Images (docs/wire-formats.md has them with an example). `GetAlloc` makes one; the caller owns it and releases
// it with free(). `SetAlloc` takes one, copied with bCopy, otherwise as a view: then the image must outlive the
// use, and is never written to and never released. A view becomes an owner at its first growth.
//
// No lock: one thread at a time, or any number of readers.
#pragma once

#include "internal/vo_record_vector.h"
#include "vo_types.h"

class VOBASE_API VOBufferContainer
{
public:
#pragma pack(push, 1)
    struct BufferAlloc
    {
        char szVersion[8];  // "ver.1.0"
        unsigned int uBufferSize;
        unsigned int uHandleVectorSize;
        unsigned int uDataBufSize;  // the sum of both; the image has 24 bytes more
        unsigned char abData[4];    // the data begin here

        // Assigns the fields in front of the data; the data stay.
        BufferAlloc& operator=(const BufferAlloc& rkOther)
        {
            memmove(static_cast<void*>(this), &rkOther, offsetof(BufferAlloc, abData));
            return *this;
        }
    };
#pragma pack(pop)

    VOBufferContainer();
    virtual ~VOBufferContainer();
    VOBufferContainer(const VOBufferContainer& rkOther);
    VOBufferContainer& operator=(const VOBufferContainer& rkOther);

    // Stores uSize bytes, and one more: a byte behind the caller's data must be readable. Returns the handle.
    // INVALID_HANDLE_VALUE and a log line for an empty pointer, a size of 0, or a pool of 4 GiB.
    void* Add(const unsigned char* pbArr, unsigned int uSize);

    // The bytes of an entry, valid until the pool grows or is released; an empty pointer if there is no such
    // entry. An entry doesn't know its length.
    const unsigned char* Get(void* hHandle) const;
    const unsigned char* Get(unsigned int uIndex) const;

    unsigned int Count() const;
    int ShrinkToFit();
    int CleanUp();  // forgets all entries, keeps the memory
    int Release();

    // Lets go of an image; memory of its own stays.
    void DropView();

    BufferAlloc* GetAlloc() const;

    // 0, and the container untouched, for an empty pointer, a wrong version or a broken total; 0, and the
    // container half set, when the handles inside are damaged. ullLimit is how many bytes the image may reach.
    int SetAlloc(BufferAlloc* pAlloc, int bCopy);
    int SetAlloc(BufferAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    // The image's size in bytes, and the image written to zeroed memory of that size.
    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

protected:
    friend class VOStringContainer;

    int _ResizeBufferCapacity(unsigned int uNewCapacity);

    // Makes room for an entry and its trailing byte, and records it; the bytes are the caller's to write. A source
    // inside the pool itself is followed when the pool moves.
    unsigned char* _AddEntry(const unsigned char*& rpbSource, unsigned int uSize, void*& rhHandle);

    VORecordVector<void*> m_vecHandle;  // the handle of each entry, in the order of adding
    unsigned char* m_pbBuffer;
    unsigned int m_uBufferSize;      // bytes in use
    unsigned int m_uBufferCapacity;  // bytes owned; zero for a view
};
static_assert(sizeof(VOBufferContainer::BufferAlloc) == 24 && offsetof(VOBufferContainer::BufferAlloc, abData) == 20);

class VOBASE_API VOStringContainer
{
public:
#pragma pack(push, 1)
    struct StringAlloc
    {
        char szVersion[8];  // "ver.1.0"
        unsigned int uBufferAllocSize;
        unsigned char abData[4];  // the buffer image begins here; this image has 16 bytes more than it

        // Assigns the fields in front of the buffer image; that image stays.
        StringAlloc& operator=(const StringAlloc& rkOther)
        {
            memmove(static_cast<void*>(this), &rkOther, offsetof(StringAlloc, abData));
            return *this;
        }
    };
#pragma pack(pop)

    VOStringContainer();
    virtual ~VOStringContainer();
    VOStringContainer(const VOStringContainer& rkOther);
    VOStringContainer& operator=(const VOStringContainer& rkOther);

    // Stores a text with its terminator. A handle, or INVALID_HANDLE_VALUE as VOBufferContainer::Add.
    void* Add(const VOWCHAR* pszString);

    // The text of an entry; it may lie at an odd address. An empty pointer if there is no such entry, or if the
    // text has no end inside the pool.
    const VOWCHAR* Get(void* hHandle) const;
    const VOWCHAR* Get(unsigned int uIndex) const;

    unsigned int Count() const;
    int ShrinkToFit();
    int Clean();
    int Release();
    void DropView();

    StringAlloc* GetAlloc() const;
    int SetAlloc(StringAlloc* pAlloc, int bCopy);
    int SetAlloc(StringAlloc* pAlloc, int bCopy, unsigned long long ullLimit);
    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

    // Bytes in use.
    unsigned int UsedSize() const;

protected:
    const VOWCHAR* _Text(const unsigned char* pbEntry) const;

    VOBufferContainer m_kBufferContainer;
};
static_assert(sizeof(VOStringContainer::StringAlloc) == 16 && offsetof(VOStringContainer::StringAlloc, abData) == 12);

// The two pools: VOBufferContainer keeps byte blobs in one growing buffer, VOStringContainer puts a wide-string
// face on it.
//
// A handle is the byte offset of an entry, so it keeps its meaning when the buffer grows, through an image, and
// from process to process. Entries only go away together.
//
// Images (docs/wire-formats.md has them with an example). GetAlloc makes one; the caller owns it and releases
// it with free(). SetAlloc takes one, copied with bCopy, otherwise as a view: then the image must outlive the
// use, and is never written to and never released. A view becomes an owner at its first growth. What GetAlloc
// and SetAlloc refuse they refuse without a log line.
//
// No lock: one thread at a time, or any number of readers. Whatever grows or copies throws std::bad_alloc when
// there is no memory.
#pragma once

#include "internal/vo_record_vector.h"
#include "vo_types.h"

// Byte blobs, one behind the other, each with a byte of its own at its end. A pool holds less than 4 GiB.
class VOBASE_API VOBufferContainer
{
public:
    // The head of an image, and where its data begin. Nothing in an image is aligned.
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

    // An empty pool, which has no memory yet.
    VOBufferContainer();

    // Releases what the pool owns; the image of a view stays.
    virtual ~VOBufferContainer();

    // A copy owns a buffer of its own, with the same handles; the copy of a view is a view of the same image.
    VOBufferContainer(const VOBufferContainer& rkOther);
    VOBufferContainer& operator=(const VOBufferContainer& rkOther);

    // Stores uSize bytes, and one more: a byte behind the caller's data must be readable. The data may lie in
    // the pool itself. Returns the handle. INVALID_HANDLE_VALUE and a log line for an empty pointer, a size of
    // 0, or a pool of 4 GiB. What fails, also for want of memory, leaves all entries as they were.
    //
    // Kept (VOBufferContainer::Add): the byte behind the data is stored too, so an entry takes uSize + 1 bytes.
    // Handles in published images are offsets that count it; readers of images rely on them.
    void* Add(const unsigned char* pbArr, unsigned int uSize);

    // The bytes of an entry, by handle or by its place in the order of adding, valid until the pool grows or is
    // released; an empty pointer if there is no such entry. An entry doesn't know its length: the caller does,
    // or its content tells. Of a handle the low 32 bits count, and it isn't looked up: one between two entries
    // gives the bytes from there on.
    const unsigned char* Get(void* hHandle) const;
    const unsigned char* Get(unsigned int uIndex) const;

    // How many entries there are.
    unsigned int Count() const;

    // Cuts the memory to what is in use; of a view it makes an owner. Always 1.
    //
    // Kept (VOBufferContainer::ShrinkToFit): an empty pool keeps its memory. Publishers that empty and fill a
    // pool again rely on having it.
    int ShrinkToFit();

    // Forgets all entries, and zeroes and keeps the memory. Always 1. Handles and pointers are dead.
    int CleanUp();

    // Gives the memory back; the pool is as new. Always 1.
    int Release();

    // Lets go of an image, and with it of all entries; memory of its own stays.
    void DropView();

    // A new image, owned by the caller; of a view as well. An empty pointer when it would have more than 4 GiB.
    BufferAlloc* GetAlloc() const;

    // 1, and the pool has the entries of the image. 0, and the pool untouched, for an empty pointer, a wrong
    // version or a broken total; 0, and the pool half set, with the bytes and no handles, when the handles
    // inside are damaged. ullLimit is how many bytes the image may reach; without it the caller vouches for the
    // sizes in the head.
    int SetAlloc(BufferAlloc* pAlloc, int bCopy);
    int SetAlloc(BufferAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    // The image's size in bytes, and the image written to zeroed memory of that size: for images that hold this
    // one. A caller asks for the size first, and writes only what has 4 GiB at most.
    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

protected:
    friend class VOStringContainer;
    friend class VOStringHashSet;
    friend class VOTSAssetNodeContainer;
    friend class VOAssetBaseWriter;

    // Changes the capacity in bytes, and cuts what is in use to it; new bytes are zero. With 0 it does what
    // CleanUp does. Always 1.
    int _ResizeBufferCapacity(unsigned int uNewCapacity);

    // Makes room for an entry and its trailing byte, and records it; the bytes are the caller's to write. A source
    // inside the pool itself is followed when the pool moves.
    unsigned char* _AddEntry(const unsigned char*& rpbSource, unsigned int uSize, void*& rhHandle);

    VOImageBuffer<1> _Buffer();

    VORecordVector<void*> m_vecHandle;  // the handle of each entry, in the order of adding
    unsigned char* m_pbBuffer;
    unsigned int m_uBufferSize;      // bytes in use
    unsigned int m_uBufferCapacity;  // bytes owned; zero for a view
};
static_assert(sizeof(VOBufferContainer::BufferAlloc) == 24 && offsetof(VOBufferContainer::BufferAlloc, abData) == 20);

// Wide strings in such a pool, each with its terminator; 2 * n + 3 bytes for n units. Nothing is aligned: texts
// sit at odd addresses as soon as there are two.
class VOBASE_API VOStringContainer
{
public:
    // The head of an image, and where the image of the buffer begins.
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

    // As copies of the buffer.
    VOStringContainer(const VOStringContainer& rkOther);
    VOStringContainer& operator=(const VOStringContainer& rkOther);

    // Stores a text with its terminator and a zero byte, so that equal texts give equal images. Nothing behind
    // the caller's terminator is read. A handle, or INVALID_HANDLE_VALUE as VOBufferContainer::Add. Equal texts
    // are stored as often as they come.
    void* Add(const VOWCHAR* pszString);

    // The text of an entry, valid until the pool grows or is released; it may lie at an odd address. An empty
    // pointer if there is no such entry, or if the text has no end inside the pool, so that the text of a
    // damaged image can't be read past its end.
    const VOWCHAR* Get(void* hHandle) const;
    const VOWCHAR* Get(unsigned int uIndex) const;

    // These are the buffer's: Clean is its CleanUp.
    unsigned int Count() const;
    int ShrinkToFit();
    int Clean();
    int Release();
    void DropView();

    // As the buffer's. SetAlloc empties the pool as soon as the outer version is right: what fails behind that,
    // a damaged buffer image, leaves it empty or half set.
    StringAlloc* GetAlloc() const;
    int SetAlloc(StringAlloc* pAlloc, int bCopy);
    int SetAlloc(StringAlloc* pAlloc, int bCopy, unsigned long long ullLimit);
    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

    // Bytes in use.
    unsigned int UsedSize() const;

protected:
    friend class VOStringHashSet;
    friend class VOTSAssetNodeContainer;
    friend class VOAssetBaseWriter;

    const VOWCHAR* _Text(const unsigned char* pbEntry) const;

    VOBufferContainer m_kBufferContainer;
};
static_assert(sizeof(VOStringContainer::StringAlloc) == 16 && offsetof(VOStringContainer::StringAlloc, abData) == 12);

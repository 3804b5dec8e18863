// The memory under a record vector, a pool and the number lists: either their own, or a view of an image.
//
// Ownership is carried by the capacity: memory is released only when the capacity isn't zero, and a view has a
// capacity of zero. Any growth turns a view into an owner. The three variables are members of the class that has
// the memory, so that what derives from it finds them there; this is what is done with them.
#pragma once

#include <stdlib.h>

#include <utility>

#include "vo_bytes.h"

// size: bytes of an element. bFill: what new memory is filled with.
template <unsigned long long size, unsigned char bFill = 0>
class VOImageBuffer
{
public:
    // Count and capacity in elements.
    VOImageBuffer(unsigned char*& rpbData, unsigned int& uCount, unsigned int& uCapacity)
        : m_rpbData(rpbData), m_uCount(uCount), m_uCapacity(uCapacity)
    {
    }

    // Changes the capacity, which isn't zero afterwards, and cuts the count to it. Throws std::bad_alloc, with
    // everything as it was.
    void SetCapacity(unsigned int uNewCapacity)
    {
        const unsigned int uKept = m_uCount < uNewCapacity ? m_uCount : uNewCapacity;
        if (m_uCapacity == 0)
        {
            m_rpbData = _Allocate(m_rpbData, uKept, uNewCapacity);
        }
        else
        {
            m_rpbData = static_cast<unsigned char*>(VOReallocateImage(m_rpbData, uNewCapacity * size));
            memset(m_rpbData + uKept * size, bFill, (uNewCapacity - uKept) * size);
        }
        m_uCapacity = uNewCapacity;
        m_uCount = uKept;
    }

    // The copy of an owner owns memory of the same capacity, the copy of a view is a view of the same image. Throws
    // std::bad_alloc, with everything as it was.
    void CopyFrom(const unsigned char* pbData, unsigned int uCount, unsigned int uCapacity)
    {
        const unsigned char* const pbNew = uCapacity != 0 ? _Allocate(pbData, uCount, uCapacity) : pbData;
        Take(pbNew, uCount);
        m_uCapacity = uCapacity;
    }

    // Becomes a view.
    void Take(const unsigned char* pbImage, unsigned int uCount)
    {
        Release();
        m_rpbData = const_cast<unsigned char*>(pbImage);
        m_uCount = uCount;
    }

    // Writes the elements of an image into memory of its own.
    void Copy(const unsigned char* pbImage, unsigned int uCount)
    {
        if (uCount != 0)
        {
            if (uCount != m_uCapacity)
            {
                SetCapacity(uCount);
            }
            memcpy(m_rpbData, pbImage, uCount * size);
        }
        m_uCount = uCount;
    }

    // Forgets the elements; memory of its own stays, and is zero.
    void Clean()
    {
        if (m_uCapacity != 0)
        {
            memset(m_rpbData, 0, m_uCapacity * size);
        }
        m_uCount = 0;
    }

    void Release()
    {
        if (m_uCapacity != 0)
        {
            free(m_rpbData);
        }
        m_rpbData = nullptr;
        m_uCapacity = 0;
        m_uCount = 0;
    }

    void Swap(VOImageBuffer other)
    {
        std::swap(m_rpbData, other.m_rpbData);
        std::swap(m_uCount, other.m_uCount);
        std::swap(m_uCapacity, other.m_uCapacity);
    }

    // Lets go of an image; memory of its own stays.
    void DropView()
    {
        if (m_uCapacity == 0)
        {
            Release();
        }
    }

private:
    static unsigned char* _Allocate(const unsigned char* pbFrom, unsigned int uCount, unsigned int uCapacity)
    {
        unsigned char* const pbNew = static_cast<unsigned char*>(VOAllocateImage(uCapacity * size));
        if (uCount != 0)
        {
            memcpy(pbNew, pbFrom, uCount * size);
        }
        if (bFill != 0)
        {
            memset(pbNew + uCount * size, bFill, (uCapacity - uCount) * size);
        }
        return pbNew;
    }

    unsigned char*& m_rpbData;
    unsigned int& m_uCount;
    unsigned int& m_uCapacity;
};

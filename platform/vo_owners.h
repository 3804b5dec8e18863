// Owners of objects with a life of their own: what the C runtime hands out, and statics that are never destroyed.
#pragma once

#include <stdio.h>
#include <stdlib.h>

#include <atomic>
#include <map>
#include <mutex>
#include <new>
#include <utility>

// Deleters for what the C runtime hands out, for std::unique_ptr and std::shared_ptr.

// Closes a file of VOOpenFile.
struct VOCloseFile
{
    void operator()(FILE* pFile) const { fclose(pFile); }
};

// Frees a block of the allocating calls in vo_memory.h.
struct VOFreeBlock
{
    void operator()(void* pvBlock) const { free(pvBlock); }
};

// An object that is never destroyed, for function-local statics.
//
// What threads may still use while a process ends can't be destroyed with the other statics. It isn't kept on the heap
// either: there it would be left behind when the library is unloaded, and here it goes with the library's own memory.
// What the object itself keeps on the heap is its users' to give back before.
template <typename T>
class VONeverDestroyed
{
public:
    template <typename... Arguments>
    explicit VONeverDestroyed(Arguments&&... arguments)
    {
        new (m_abObject) T(std::forward<Arguments>(arguments)...);
    }
    VONeverDestroyed(const VONeverDestroyed&) = delete;
    VONeverDestroyed& operator=(const VONeverDestroyed&) = delete;

    T& Get() { return *std::launder(reinterpret_cast<T*>(m_abObject)); }

private:
    alignas(T) unsigned char m_abObject[sizeof(T)];
};

// Objects that several owners have together, and how many owners more than one each of them has. So an object with one
// owner, as nearly all are, is not listed and costs nothing here.
template <typename T>
class VOFurtherOwners
{
public:
    void Add(const T* pObject)
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        ++m_mapFurtherOwners[pObject];
        m_uListed = m_mapFurtherOwners.size();
    }

    // One owner less. False when it was the last one, whose object it is to end.
    bool Take(const T* pObject)
    {
        // An owner that ends while there are none takes no lock.
        if (m_uListed == 0)
        {
            return false;
        }
        const std::lock_guard<std::mutex> guard(m_lock);
        const auto place = m_mapFurtherOwners.find(pObject);
        if (place == m_mapFurtherOwners.end())
        {
            return false;
        }
        if (--place->second == 0)
        {
            m_mapFurtherOwners.erase(place);
            m_uListed = m_mapFurtherOwners.size();
        }
        return true;
    }

private:
    std::mutex m_lock;
    std::map<const T*, unsigned int> m_mapFurtherOwners;
    std::atomic<size_t> m_uListed{0};
};

// A value that is replaced as a whole, for readers that may be stopped half-way and must hold nobody up: reading takes
// no lock, and what is being read stays until its readers have gone.
//
// One thread at a time publishes; which one, its owner settles. Any number of threads may read.
#pragma once

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

template <typename T>
class VOPublished
{
public:
    // The value that was the newest at its construction, for as long as it lives; an empty pointer before the first.
    class Reading
    {
    public:
        explicit Reading(const VOPublished& from) : m_from(from)
        {
            // First the announcement, then the look: a publisher that doesn't see the one has been seen by the other.
            m_from.m_uReaders.fetch_add(1);
            m_pValue = m_from.m_pNewest.load();
        }
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;
        ~Reading() { m_from.m_uReaders.fetch_sub(1); }

        const T* Get() const { return m_pValue; }

    private:
        const VOPublished& m_from;
        const T* m_pValue;
    };

    VOPublished() = default;
    VOPublished(const VOPublished& kOther) { _CopyFrom(kOther); }
    VOPublished& operator=(const VOPublished& kOther)
    {
        if (this != &kOther)
        {
            _CopyFrom(kOther);
        }
        return *this;
    }
    ~VOPublished() = default;

    void Publish(T kValue)
    {
        m_vecKept.push_back(std::make_unique<const T>(std::move(kValue)));
        m_pNewest.store(m_vecKept.back().get());
        if (m_uReaders.load() == 0)
        {
            m_vecKept.erase(m_vecKept.begin(), m_vecKept.end() - 1);
        }
    }

private:
    void _CopyFrom(const VOPublished& kOther)
    {
        const Reading reading(kOther);
        if (reading.Get() != nullptr)
        {
            Publish(*reading.Get());
        }
    }

    std::vector<std::unique_ptr<const T>> m_vecKept;  // the newest last, in front of it what may still be read
    std::atomic<const T*> m_pNewest{nullptr};
    mutable std::atomic<unsigned> m_uReaders{0};
};

// Sections as the system keeps them: shared memory objects of one user.
//
// Names. "vobase.<uid>[.<name space>].<section>", where each part holds letters, digits, "_", "-" and %XX for any other
// byte, so that "." separates and "~" marks what isn't a section: "~<pid>-<number>" an object that is still being
// built,
// "~lock" the file of an instance lock.
//
// Building. A new object gets its size and content under a temporary name, under a lock that the system drops when the
// process dies, and then takes its own name in one step. So a name never stands for half an object, and a temporary
// object whose lock is free is a leftover.
//
// Functions that fail leave errno.
#pragma once

#include <stddef.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <string>
#include <utility>

#include "vo_types.h"

// How often a step is made again because another process came between. Two of them that go on like this are out to.
constexpr int kNameAttempts = 100;

// Closes a descriptor at the end of its life.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int nDescriptor) : m_nDescriptor(nDescriptor) {}
    Descriptor(Descriptor&& other) noexcept : m_nDescriptor(other.Release()) {}
    Descriptor& operator=(Descriptor other) noexcept
    {
        std::swap(m_nDescriptor, other.m_nDescriptor);
        return *this;
    }
    ~Descriptor() { Reset(); }

    int Get() const { return m_nDescriptor; }
    bool IsOpen() const { return m_nDescriptor >= 0; }
    int Release() { return std::exchange(m_nDescriptor, -1); }
    void Reset();

private:
    int m_nDescriptor = -1;
};

// A section mapped into this process.
class Mapping
{
public:
    Mapping() = default;
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping();

    // Shared with everybody who has the object mapped; Copied: pages that are written to become this mapping's own.
    enum class Kind
    {
        Read,
        Write,
        Copied
    };
    bool Map(int nDescriptor, size_t uSize, Kind eKind);
    void* Data() const { return m_pData; }
    size_t Size() const { return m_uSize; }

private:
    void* m_pData = nullptr;
    size_t m_uSize = 0;
};

// Path of a section's object. Empty (EINVAL, ENAMETOOLONG) when the name can't be used. pszSuffix: "" or what follows
// "~".
std::string SectionObjectPath(const VOWCHAR* pszName, const char* pszSuffix);

// Refuses an object that others own, could have planted or may change: EACCES, or EMLINK for a second link.
bool CheckSectionObject(const struct stat& info);

// Looks at the object of that path without opening it; CheckSectionObject included.
bool FindSectionObject(const std::string& strPath, struct stat* pInfo);

// Opens a sound object; a link isn't followed. Not open on failure.
Descriptor OpenSectionObject(const std::string& strPath, bool bWrite, struct stat* pInfo);

// An object that is being built, all zero and with its space reserved. Removed at the end of its life unless published.
class TemporaryObject
{
public:
    TemporaryObject() = default;
    TemporaryObject(const TemporaryObject&) = delete;
    TemporaryObject& operator=(const TemporaryObject&) = delete;
    ~TemporaryObject() { Remove(); }

    bool Create(const std::string& strFinalPath, size_t uSize);
    int Get() const { return m_descriptor.Get(); }

    // Takes the final name. Without bReplace, EEXIST when there is an object of that name.
    bool Publish(bool bReplace);

private:
    bool CreateLocked(const std::string& strPath);
    bool Reserve(size_t uSize);
    void Remove();

    std::string m_strFinalPath;
    std::string m_strPath;  // empty: nothing to remove
    Descriptor m_descriptor;
};

// Removes the temporary objects of this user and name space that no living process builds any more, and gives their
// number. strFinalPath: only those of one section; empty: all.
size_t RemoveStaleObjects(const std::string& strFinalPath);

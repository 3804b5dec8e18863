// What the tests of the platform layer share.
#pragma once

#include <gtest/gtest.h>
#include <stdint.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/vo_platform.h"
#include "platform/vo_process.h"
#include "platform/vo_section_publisher.h"
#include "tests/support/temporary_folder.h"

// A text of ASCII characters in 16-bit units.
inline VOWString Wide(std::string_view strText)
{
    return VOWString(strText.begin(), strText.end());
}

constexpr DWORD kFailedCall = static_cast<DWORD>(-1);  // what suspending and resuming give when they can't
constexpr DWORD LONG_TIME = 60000;                     // milliseconds, far beyond what anything here takes

// A name that no other test program uses at the same time.
inline VOWString UniqueName(std::string_view strName)
{
    return Wide(std::string(strName) + "_" + std::to_string(VOProcessId()));
}

// A name of a section and of a lock that nobody uses, before the test and after it.
class SectionName
{
public:
    explicit SectionName(std::string_view strName) : m_strName(UniqueName(strName)) { Remove(); }
    explicit SectionName(const VOWString& strName) : m_strName(strName) { Remove(); }
    ~SectionName() { Remove(); }
    SectionName(const SectionName&) = delete;
    SectionName& operator=(const SectionName&) = delete;

    const VOWCHAR* Get() const { return m_strName.c_str(); }
    const VOWString& Text() const { return m_strName; }
    std::string Ascii() const { return std::string(m_strName.begin(), m_strName.end()); }

    void Remove()
    {
        VOPublishedSection section;
        section.OpenOrCreate(Get(), 1);
        section.Withdraw();
        // Taking a lock and giving it back removes what a killed holder has left of it.
        VOInstanceLock lock;
        lock.TryAcquire(Get());
    }

private:
    VOWString m_strName;
};

inline HANDLE Create(const SectionName& name, DWORD uSize)
{
    return CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, uSize, name.Get());
}

// Descriptors that this process has open, on Linux.
inline size_t CountDescriptors()
{
    const std::filesystem::directory_iterator begin("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}

// Units at an odd address, in a block of memory that ends with the last of them.
class OddText
{
public:
    explicit OddText(const VOWString& strText, size_t uUnits = 0) : m_uUnits(std::max(uUnits, strText.size() + 1))
    {
        m_pBytes.reset(new unsigned char[1 + m_uUnits * sizeof(VOWCHAR)]());
        memcpy(m_pBytes.get() + 1, strText.data(), strText.size() * sizeof(VOWCHAR));
    }

    VOWCHAR* Get() { return reinterpret_cast<VOWCHAR*>(m_pBytes.get() + 1); }

    // All units, those behind a terminator too.
    VOWString All() const
    {
        VOWString strAll(m_uUnits, 0);
        memcpy(strAll.data(), m_pBytes.get() + 1, m_uUnits * sizeof(VOWCHAR));
        return strAll;
    }

    // The units before the first terminator.
    VOWString Text() const
    {
        const VOWString strAll = All();
        return strAll.substr(0, strAll.find(VOWCHAR{0}));
    }

private:
    size_t m_uUnits;
    std::unique_ptr<unsigned char[]> m_pBytes;
};

// Where the runtime ends the process on an invalid parameter unless a handler returns: a handler that does, for as long
// as the object lives.
class InvalidParameterHandler
{
public:
    InvalidParameterHandler();
    ~InvalidParameterHandler();
    InvalidParameterHandler(const InvalidParameterHandler&) = delete;
    InvalidParameterHandler& operator=(const InvalidParameterHandler&) = delete;
};

class TemporaryFolder : public votest::TemporaryFolder
{
public:
    // Writes a file of so many bytes and gives its path.
    std::filesystem::path WriteFile(std::string_view strName, size_t uBytes = 0) const;
};

// Makes and removes a folder whose path may be longer than MAX_PATH.
bool MakeFolder(const VOWString& strPath);
bool RemoveFolder(const VOWString& strPath);

// What the lines of a role begin with, so that they are told from the test framework's.
constexpr const char* ROLE_LINE_MARK = "> ";

// Another process of this test program, which plays a role (test_roles.cpp) instead of running tests. Its roles speak
// in lines: what they print, ReadLine gives; what WriteLine sends, they read.
class ChildProcess
{
public:
    // vecEnvironment: further variables, "NAME=value". vecArguments: of the program, in UTF-8.
    ChildProcess(const std::string& strRole, const std::string& strArgument,
                 const std::vector<std::string>& vecEnvironment = {},
                 const std::vector<std::string>& vecArguments = {});
    ~ChildProcess();  // kills it
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool Started() const;
    uint32_t ProcessId() const;
    std::string ReadLine();
    void WriteLine(const std::string& strLine);
    void Kill();       // as hard as the system can, and waits for the end
    int WaitForEnd();  // its exit code; -1 when it was killed

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

// Inside a child: a line for the parent.
void SayLine(const std::string& strLine);

// Plays a role that only this system has. Result: the exit code, UNKNOWN_ROLE when there is none of that name.
int PlaySystemRole(const std::string& strRole, const VOWString& strArgument);

constexpr int UNKNOWN_ROLE = 99;

// The role of a child that says whether a small block is advised for huge pages (Linux).
int DescribeSmallBlock();

// Another process of this test program, which plays a role instead of running tests, and the words through which the
// processes of one test speak with each other.
#pragma once

#include <stdint.h>

#include <atomic>
#include <string>

#include "platform/vo_section_publisher.h"

namespace votest
{

class ChildProcess
{
public:
    explicit ChildProcess(const std::string& strRole);
    ~ChildProcess();  // kills it
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool Started() const { return m_nProcess != 0; }
    int Wait();   // for its end; its exit code, -1 when it was killed
    void Kill();  // as hard as the system can

private:
    intptr_t m_nProcess = 0;
    bool m_bEnded = false;
    int m_nExitCode = -1;
};

// The role that this process was started for; empty in the process that runs the tests.
std::string RoleOfThisProcess();

// Sixteen words in a section of a given name, shared by the test and its children.
class ControlWords
{
public:
    explicit ControlWords(const VOWCHAR* pszName);
    bool Ready() const { return m_section.Data() != nullptr; }
    void Set(unsigned int uWord, unsigned int uValue) { At(uWord).store(uValue); }
    unsigned int Get(unsigned int uWord) { return At(uWord).load(); }

    // Waits until a word has a value; false after a minute without it.
    bool WaitFor(unsigned int uWord, unsigned int uValue);

private:
    std::atomic_ref<unsigned int> At(unsigned int uWord)
    {
        return std::atomic_ref<unsigned int>(static_cast<unsigned int*>(m_section.Data())[uWord]);
    }
    VOPublishedSection m_section;
};

}  // namespace votest

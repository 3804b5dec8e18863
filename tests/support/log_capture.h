// Collects what the log channel and the trace channel report while an object lives.
#pragma once

#include <stddef.h>

#include <mutex>
#include <string>
#include <vector>

#include "vo_log.h"

namespace votest
{
struct LogEntry
{
    VOLOG_PRIORITY emPriority;
    std::string strText;

    bool operator==(const LogEntry&) const = default;
};

// "... at line 123 in ..." becomes "... at line # in ...", so that a test names the text and not the place.
std::string WithoutLineNumber(std::string strText);

// One line of a failed check, with "#" as the line number: CheckLine("VO_PROCESS_ERROR", "pbArr", "Class::Function").
std::string CheckLine(const std::string& strMacro, const std::string& strExpression, const std::string& strFunction);

// Entries go to the object that was made last among those alive. A hook can't be removed, so the one hook of the tests
// stays in force for the whole program and returns 0 while no object lives.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // What the hooks return from now on; 0 at the beginning.
    void SetHookResult(int nResult);

    size_t Count() const;  // entries of the log channel
    void Clear();          // forgets the entries of both channels

    std::vector<LogEntry> Entries() const;  // the log channel, in order
    std::vector<LogEntry> Traces() const;   // the trace channel, in order

    // The texts of the log channel without line numbers.
    std::vector<std::string> Lines() const;

private:
    static int LogHook(VOLOG_PRIORITY emPriority, const char* pszText);
    static int TraceHook(VOLOG_PRIORITY emPriority, const char* pszText);

    LogCapture* m_pOuter;
    int m_nHookResult = 0;
    std::vector<LogEntry> m_vecEntry;
    std::vector<LogEntry> m_vecTrace;
};
}  // namespace votest

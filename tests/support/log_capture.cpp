#include "support/log_capture.h"

#include <ctype.h>

namespace votest
{
namespace
{
std::mutex s_lock;
LogCapture* s_pInnermost = nullptr;
}  // namespace

std::string WithoutLineNumber(std::string strText)
{
    static const std::string s_strMark = " at line ";
    const size_t uMark = strText.rfind(s_strMark);
    if (uMark == std::string::npos)
    {
        return strText;
    }
    const size_t uBegin = uMark + s_strMark.size();
    size_t uEnd = uBegin;
    while (uEnd < strText.size() && isdigit(static_cast<unsigned char>(strText[uEnd])) != 0)
    {
        ++uEnd;
    }
    return uEnd > uBegin ? strText.replace(uBegin, uEnd - uBegin, "#") : strText;
}

std::string CheckLine(const std::string& strMacro, const std::string& strExpression, const std::string& strFunction)
{
    return strMacro + "(" + strExpression + ") at line # in " + strFunction + "\n";
}

LogCapture::LogCapture()
{
    {
        const std::lock_guard<std::mutex> guard(s_lock);
        m_pOuter = s_pInnermost;
        s_pInnermost = this;
    }
    SetLogPrintfFunction(&LogCapture::LogHook);
    SetTracePrintFunction(&LogCapture::TraceHook);
}

LogCapture::~LogCapture()
{
    const std::lock_guard<std::mutex> guard(s_lock);
    s_pInnermost = m_pOuter;
}

void LogCapture::SetHookResult(int nResult)
{
    const std::lock_guard<std::mutex> guard(s_lock);
    m_nHookResult = nResult;
}

size_t LogCapture::Count() const
{
    const std::lock_guard<std::mutex> guard(s_lock);
    return m_vecEntry.size();
}

void LogCapture::Clear()
{
    const std::lock_guard<std::mutex> guard(s_lock);
    m_vecEntry.clear();
    m_vecTrace.clear();
}

std::vector<LogEntry> LogCapture::Entries() const
{
    const std::lock_guard<std::mutex> guard(s_lock);
    return m_vecEntry;
}

std::vector<LogEntry> LogCapture::Traces() const
{
    const std::lock_guard<std::mutex> guard(s_lock);
    return m_vecTrace;
}

std::vector<std::string> LogCapture::Lines() const
{
    std::vector<std::string> vecLine;
    for (const LogEntry& entry : Entries())
    {
        vecLine.push_back(WithoutLineNumber(entry.strText));
    }
    return vecLine;
}

int LogCapture::LogHook(VOLOG_PRIORITY emPriority, const char* pszText)
{
    const std::lock_guard<std::mutex> guard(s_lock);
    if (s_pInnermost == nullptr)
    {
        return 0;
    }
    s_pInnermost->m_vecEntry.push_back({emPriority, pszText});
    return s_pInnermost->m_nHookResult;
}

int LogCapture::TraceHook(VOLOG_PRIORITY emPriority, const char* pszText)
{
    const std::lock_guard<std::mutex> guard(s_lock);
    if (s_pInnermost == nullptr)
    {
        return 0;
    }
    s_pInnermost->m_vecTrace.push_back({emPriority, pszText});
    return s_pInnermost->m_nHookResult;
}
}  // namespace votest

#include "base/console.h"

#include <fmt/format.h>
#include <stdio.h>

#include "base/log.h"
#include "platform/vo_process.h"

namespace lum
{

namespace
{

constexpr size_t kWriteSize = 64 * 1024;
constexpr std::chrono::milliseconds kProgressInterval(100);

FILE* g_pResults = stdout;

}  // namespace

void KeepStandardOutput()
{
    FILE* const pTaken = VOTakeStandardOutput();
    g_pResults = pTaken != nullptr ? pTaken : g_pResults;
}

Output::~Output()
{
    Flush();
}

void Output::Write(std::string_view strText)
{
    m_strBuffer += strText;
    if (m_strBuffer.size() >= kWriteSize)
    {
        Flush();
    }
}

bool Output::Flush()
{
    const bool bWritten = fwrite(m_strBuffer.data(), 1, m_strBuffer.size(), g_pResults) == m_strBuffer.size();
    m_strBuffer.clear();
    if (!bWritten || fflush(g_pResults) != 0)
    {
        m_bFailed = true;
    }
    return !m_bFailed;
}

int Output::Finish(int nResult)
{
    if (!Flush())
    {
        return EndWith("standard output can't be written");
    }
    return nResult;
}

void Complain(std::string_view strText)
{
    fflush(g_pResults);
    const std::string strLine = fmt::format("lum: {}\n", strText);
    fwrite(strLine.data(), 1, strLine.size(), stderr);
    // Not every runtime leaves this stream without a buffer.
    fflush(stderr);
    LogLine(VOLOG_WARNING, strText);
}

int EndWith(std::string_view strText, int nExitCode)
{
    Complain(strText);
    return nExitCode;
}

Progress::Progress(std::string strWhat)
    : m_strWhat(std::move(strWhat)),
      m_bTerminal(VOIsTerminal(stderr)),
      m_tNext(std::chrono::steady_clock::now() + kProgressInterval)
{
}

Progress::~Progress()
{
    if (m_bShown)
    {
        fputs("\r\x1b[K", stderr);
        fflush(stderr);
    }
}

void Progress::Show(unsigned uCount)
{
    if (!m_bTerminal || std::chrono::steady_clock::now() < m_tNext)
    {
        return;
    }
    fputs(fmt::format("\r{}: {}\x1b[K", m_strWhat, uCount).c_str(), stderr);
    fflush(stderr);
    m_bShown = true;
    m_tNext = std::chrono::steady_clock::now() + kProgressInterval;
}

}  // namespace lum

#include "base/log.h"

#include <fmt/format.h>
#include <stdio.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "base/failure.h"
#include "base/files.h"
#include "platform/vo_process.h"
#include "platform/vo_text.h"
#include "vo_log_output.h"

namespace lum
{

namespace
{

// Its state is a path that is only read once the flag is set, so that any thread may write.
VOLogOutput g_output;
std::atomic<bool> g_bStarted{false};

std::mutex g_lock;
std::string g_strFirst;

// The library's texts bring their line ends.
int NoteLine(VOLOG_PRIORITY emPriority, const char* pszText)
{
    (void)fputs(pszText, stderr);
    (void)fflush(stderr);
    if (g_bStarted)
    {
        g_output.OutputPrintf(emPriority, pszText);
    }
    const std::lock_guard<std::mutex> guard(g_lock);
    if (emPriority == VOLOG_ERROR && g_strFirst.empty())
    {
        g_strFirst = WithoutLineEnd(pszText);
    }
    return 1;
}

}  // namespace

void StartLogFile(const std::string& strFolder)
{
    std::error_code error;
    std::string strPath;
    if (strFolder.empty())
    {
        throw Failure("the folder for the log file has no name");
    }
    // The writer makes the folders of a whole path where it leads, and those of "..\logs" elsewhere. The folder needn't
    // be there yet.
    const std::u8string strWhole = std::filesystem::weakly_canonical(ToPath(strFolder), error).generic_u8string();
    if (error || !VOToRuntimePath(std::string(strWhole.begin(), strWhole.end()), &strPath) ||
        g_output.Init(strPath.c_str()) == 0)
    {
        throw Failure("{}: no log file can have such a path", strFolder);
    }
    const std::string strFirst = fmt::format("lum " LUM_VERSION ", process {}\n", VOProcessId());
    if (g_output.OutputPrintf(VOLOG_INFO, strFirst.c_str()) == 0)
    {
        throw Failure("{}: no log file can be written there", strFolder);
    }
    g_bStarted = true;
}

void LogLine(VOLOG_PRIORITY emPriority, std::string_view strLine)
{
    if (g_bStarted)
    {
        g_output.OutputPrintf(emPriority, fmt::format("{}\n", strLine).c_str());
    }
}

void WatchLibraryLog()
{
    SetLogPrintfFunction(&NoteLine);
}

std::string FirstLibraryError()
{
    const std::lock_guard<std::mutex> guard(g_lock);
    return g_strFirst;
}

}  // namespace lum

#include "base/log.h"

#include <fmt/format.h>
#include <stdio.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <system_error>

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

bool StartLogFile(const std::string& strFolder, std::string* pstrError)
{
    std::error_code error;
    std::string strPath;
    if (strFolder.empty())
    {
        *pstrError = "the folder for the log file has no name";
        return false;
    }
    // The writer makes the folders of a whole path where it leads, and those of "..\logs" elsewhere. The folder needn't
    // be there yet.
    const std::u8string strWhole = std::filesystem::weakly_canonical(ToPath(strFolder), error).generic_u8string();
    if (error || !VOToRuntimePath(std::string(strWhole.begin(), strWhole.end()), &strPath) ||
        g_output.Init(strPath.c_str()) == 0)
    {
        *pstrError = fmt::format("{}: no log file can have such a path", strFolder);
        return false;
    }
    const std::string strFirst = fmt::format("lum " LUM_VERSION ", process {}\n", VOProcessId());
    if (g_output.OutputPrintf(VOLOG_INFO, strFirst.c_str()) == 0)
    {
        *pstrError = fmt::format("{}: no log file can be written there", strFolder);
        return false;
    }
    g_bStarted = true;
    return true;
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

#include "base/library_log.h"

#include <stdio.h>

#include <mutex>

#include "base/log_file.h"
#include "vo_log.h"

namespace lum
{

namespace
{

std::mutex g_lock;
std::string g_strFirst;

// The library's texts bring their line ends.
int NoteLine(VOLOG_PRIORITY emPriority, const char* pszText)
{
    (void)fputs(pszText, stderr);
    (void)fflush(stderr);
    LogLibraryText(emPriority, pszText);
    const std::lock_guard<std::mutex> guard(g_lock);
    if (emPriority == VOLOG_ERROR && g_strFirst.empty())
    {
        g_strFirst = pszText;
        while (!g_strFirst.empty() && g_strFirst.back() == '\n')
        {
            g_strFirst.pop_back();
        }
    }
    return 1;
}

}  // namespace

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

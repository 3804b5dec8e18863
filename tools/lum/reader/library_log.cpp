#include "reader/library_log.h"

#include <mutex>

#include "vo_log.h"

namespace lum
{

namespace
{

std::mutex g_kLock;
std::string g_strFirst;

int NoteLine(VOLOG_PRIORITY emPriority, const char* pszText)
{
    const std::lock_guard<std::mutex> kGuard(g_kLock);
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
    const std::lock_guard<std::mutex> kGuard(g_kLock);
    return g_strFirst;
}

}  // namespace lum

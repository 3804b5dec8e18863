// A plug-in that uses the library, for a host that knows nothing of it.
#include <filesystem>
#include <memory>
#include <string>

#include "vobase.h"

namespace
{
std::basic_string<VOWCHAR> Wide(const char* pszPath)
{
    return std::filesystem::path(pszPath).string<VOWCHAR>();
}

class Watcher : public VOTSFileMonitorManager
{
public:
    ~Watcher() override { UnInit(); }
};
}  // namespace

// Something of everything that keeps state: handles, threads, sections, a log line, texts, a stack.
extern "C" int PluginWork(const char* pszFolder)
{
    VOStringHashSet set;
    if (set.Insert(VOTEXT("Text")) != set.Find(VOTEXT("Text")))
    {
        return 0;
    }
    ZIniFile ini;
    if (ini.OpenIniFile("") != 0)
    {
        return 0;
    }
    VOTSFileMappingAssemble::Instance()->OpenMappingState();
    VOTSFileMappingAssemble::Release();
    VOTSFileEventMappingAssemble::Instance()->Run();
    VOTSFileEventMappingAssemble::Release();
    Watcher watcher;
    if (watcher.Init(Wide(pszFolder).c_str()) != 1)
    {
        return 0;
    }
    return StackWalker().ShowCallstack();
}

// A monitor that goes on when the function returns.
extern "C" void* PluginStart(const char* pszFolder)
{
    auto pMonitor = std::make_unique<VOTSFileMonitorManager>();
    if (pMonitor->Init(Wide(pszFolder).c_str()) != 1)
    {
        return nullptr;
    }
    pMonitor->BeginThread();
    return pMonitor.release();
}

extern "C" int PluginStop(void* pMonitor)
{
    const std::unique_ptr<VOTSFileMonitorManager> pOwned(static_cast<VOTSFileMonitorManager*>(pMonitor));
    return pOwned->UnInit();
}

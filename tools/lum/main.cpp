// lum: a reference publisher of asset indexes, and an inspector of published ones.
#include <locale.h>

#include <exception>
#include <filesystem>
#include <new>
#include <system_error>

#include "arguments.h"
#include "base/console.h"
#include "base/crash_report.h"
#include "base/log.h"
#include "platform/vo_process.h"

namespace
{

// How to start this program again: by the file itself where the system tells, otherwise as it was called.
std::string ProgramPath(char** ppszArguments)
{
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string(ppszArguments[0]) : self.string();
}

}  // namespace

int main(int nCount, char** ppszArguments)
{
    try
    {
        lum::ReportCrashes();
        VOPrepareConsole();
        lum::KeepStandardOutput();
        lum::WatchLibraryLog();
        // The C library converts the names in archives: without a UTF-8 locale those outside ASCII would be lost. Set
        // here, because other threads look at it.
        setlocale(LC_CTYPE, "C.UTF-8");
        return lum::RunCommandLine(ProgramPath(ppszArguments), VOArguments(nCount, ppszArguments));
    }
    catch (const std::bad_alloc&)
    {
        lum::Complain("out of memory");
    }
    catch (const std::exception& failure)
    {
        lum::Complain(failure.what());
    }
    return lum::kExitError;
}

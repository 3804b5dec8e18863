#include "base/crash_report.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <string_view>

#include "base/log.h"
#include "platform/vo_process.h"
#include "vo_stack_walker.h"

namespace lum
{

namespace
{

// The report is given up after so long.
constexpr uint32_t kMilliseconds = 5000;

// More frames than this are a recursion that a person needn't see to its end.
constexpr unsigned kMostFrames = 200;

std::atomic<ReportFault> g_eFault{ReportFault::None};

// A line without its end, on both ways. Standard error comes first, because it needs no memory.
void Say(std::string_view strLine)
{
    VOWriteErrorText(fmt::format("{}\n", strLine).c_str());
    LogLine(VOLOG_ERROR, strLine);
}

// Frames only: neither the list of modules, nor what isn't known of a frame.
class CrashWalker : public StackWalker
{
public:
    CrashWalker() : StackWalker(0) {}

protected:
    void OnSymInit(const char*, VOULONG, const char*) override {}
    void OnLoadModule(const char*, const char*, unsigned long long, VOULONG, VOULONG, const char*, const char*,
                      unsigned long long) override
    {
    }

    void OnDbgHelpErr(const char* pszFunction, VOULONG uError, unsigned long long uAddress) override
    {
        // What ends a walk, and nothing that is wanting in one frame.
        if (strncmp(pszFunction, "Sym", 3) != 0)
        {
            StackWalker::OnDbgHelpErr(pszFunction, uError, uAddress);
        }
    }

    void OnOutput(const char* pszText) override
    {
        if (m_uLines < kMostFrames)
        {
            Say(fmt::format("  {}", WithoutLineEnd(pszText)));
        }
        else if (m_uLines == kMostFrames)
        {
            Say("  ... and more");
        }
        ++m_uLines;
    }

private:
    unsigned m_uLines = 0;
};

void MakeFault()
{
    switch (g_eFault.load())
    {
        case ReportFault::Slow:
            VOSleepMilliseconds(kMilliseconds + kMilliseconds / 10);
            break;
        case ReportFault::Hangs:
            VOSleepMilliseconds(0xFFFFFFFF);
            break;
        case ReportFault::Crashes:
            abort();
        default:
            break;
    }
}

void Report(const VOCrash& crash)
{
    // Before anything that needs memory: a crash may have left the allocator in no good state.
    VOWriteErrorText("lum: crash: ");
    VOWriteErrorText(crash.szWhat);
    VOWriteErrorText("\n");
    LogLine(VOLOG_ERROR, fmt::format("lum: crash: {}", crash.szWhat));
    Say(fmt::format("lum " LUM_VERSION ", process {}, stack of thread {}:", VOProcessId(), crash.uThreadId));
    MakeFault();
    CrashWalker walker;
    if (walker.ShowCallstack(VOCurrentThreadHandle(), crash.pContext) == 0)
    {
        Say("  (the stack can't be walked)");
    }
    Say("lum: end of the report");
}

}  // namespace

void ReportCrashes()
{
    VOReportCrashes(&Report, kMilliseconds);
}

void SetReportFault(ReportFault eFault)
{
    g_eFault = eFault;
}

}  // namespace lum

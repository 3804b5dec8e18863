// What lum says when it crashes: the stack of the thread that did, on standard error and in the log file.
#pragma once

namespace lum
{

// From this call on, a crash is reported. Where the system refuses, lum runs without.
void ReportCrashes();

// For tests of the report: what goes wrong inside the next one.
enum class ReportFault
{
    None,
    Slow,  // beyond the usual limit
    Hangs,
    Crashes
};
void SetReportFault(ReportFault eFault);

}  // namespace lum

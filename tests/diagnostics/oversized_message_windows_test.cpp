// Messages that don't fit: never delivered in part. A runtime that calls its handler for invalid parameters ends the
// process, unless the host has put its own in place; these tests are such a host.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/stdout_capture.h"

using namespace votest;

namespace
{
void GoOn(const wchar_t*, const wchar_t*, const wchar_t*, unsigned int, uintptr_t) {}

class HostHandler
{
public:
    HostHandler() : m_pfnBefore(_set_invalid_parameter_handler(&GoOn)) {}
    ~HostHandler() { _set_invalid_parameter_handler(m_pfnBefore); }

private:
    _invalid_parameter_handler m_pfnBefore;
};
}  // namespace

TEST(OversizedMessage, IsDeliveredEmptyWithAHostsOwnHandler)
{
    const HostHandler kHandler;
    LogCapture kLog;
    kLog.SetHookResult(4);
    StdoutCapture kStdout;
    EXPECT_EQ(4, VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str()));
    EXPECT_EQ("", kStdout.Text());
    EXPECT_EQ((std::vector<LogEntry>{{VOLOG_ERROR, ""}}), kLog.Entries());
}

TEST(OversizedMessage, DoesNotDisturbTheNext)
{
    const HostHandler kHandler;
    const LogCapture kLog;
    VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str());
    VOLogPrintf(VOLOG_ERROR, "next\n");
    EXPECT_EQ("next\n", kLog.Entries().at(1).strText);
}

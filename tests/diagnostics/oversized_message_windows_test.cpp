// Messages that don't fit: never delivered in part. The handler for invalid parameters ends the process, unless the
// host has put its own in place; these tests are such a host, one of the universal runtime.
#include <gtest/gtest.h>
#include <stdint.h>
#include <stdlib.h>
#include <windows.h>

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/stdout_capture.h"

using namespace votest;

namespace
{
int s_nHandlerCalls = 0;

void GoOn(const wchar_t*, const wchar_t*, const wchar_t*, unsigned int, uintptr_t)
{
    ++s_nHandlerCalls;
}

class HostHandler
{
public:
    HostHandler() : m_hRuntime(LoadLibraryW(L"ucrtbase.dll")), m_pfnBefore(Set(&GoOn)) { s_nHandlerCalls = 0; }
    ~HostHandler()
    {
        Set(m_pfnBefore);
        FreeLibrary(m_hRuntime);
    }

private:
    _invalid_parameter_handler Set(_invalid_parameter_handler pfnHandler) const
    {
        typedef _invalid_parameter_handler (*SetHandler)(_invalid_parameter_handler);
        const auto pfnSet = reinterpret_cast<SetHandler>(
            reinterpret_cast<uintptr_t>(GetProcAddress(m_hRuntime, "_set_invalid_parameter_handler")));
        return pfnSet != nullptr ? pfnSet(pfnHandler) : nullptr;
    }

    HMODULE m_hRuntime;
    _invalid_parameter_handler m_pfnBefore;
};
}  // namespace

TEST(OversizedMessage, IsDeliveredEmptyWithAHostsOwnHandler)
{
    const HostHandler handler;
    LogCapture log;
    log.SetHookResult(4);
    StdoutCapture printed;
    EXPECT_EQ(4, VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str()));
    EXPECT_EQ("", printed.Text());
    EXPECT_EQ((std::vector<LogEntry>{{VOLOG_ERROR, ""}}), log.Entries());
}

TEST(OversizedMessage, RunsTheHostsHandlerOnce)
{
    const HostHandler handler;
    const LogCapture log;
    VOLogPrintf(VOLOG_ERROR, "%s", std::string(1023, 'x').c_str());
    EXPECT_EQ(0, s_nHandlerCalls);
    VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str());
    EXPECT_EQ(1, s_nHandlerCalls);
}

TEST(OversizedMessageDeathTest, EndsTheProcessOfAHostWithoutAHandler)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            LoadLibraryW(L"ucrtbase.dll");
            VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str());
        },
        "");
}

TEST(OversizedMessage, DoesNotDisturbTheNext)
{
    const HostHandler handler;
    const LogCapture log;
    VOLogPrintf(VOLOG_ERROR, "%s", std::string(1024, 'x').c_str());
    VOLogPrintf(VOLOG_ERROR, "next\n");
    EXPECT_EQ("next\n", log.Entries().at(1).strText);
}

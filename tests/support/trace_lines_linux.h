// The trace channel, for tests of what it shows. Tracing needs a terminal, and it can be opened once only: use it in a
// process of its own (diagnostics/fresh_process.h).
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "support/log_capture.h"
#include "vo_log.h"

namespace votest
{
class TraceLines
{
public:
    // What the library traces while a function runs, without line numbers. onLine is called at each line.
    static std::vector<std::string> Of(
        const std::function<void()>& function, std::function<void(const std::string&)> onLine = [](auto&) {})
    {
        TraceLines& self = _Get();
        self.m_vecLine.clear();
        self.m_onLine = std::move(onLine);
        SetTracePrintEnable(0, 1);
        function();
        SetTracePrintEnable(0, 0);
        return self.m_vecLine;
    }

    // One line: Line("pFun", "Class::Function").
    static std::string Line(const std::string& strExpression, const std::string& strFunction)
    {
        return CheckLine("TracePrintf", strExpression, strFunction);
    }

private:
    TraceLines()
    {
        if (setsid() < 0 || (m_nTerminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) < 0 ||
            grantpt(m_nTerminal) != 0 || unlockpt(m_nTerminal) != 0)
        {
            abort();
        }
        const int nSlave = open(ptsname(m_nTerminal), O_RDWR);
        if (nSlave < 0)
        {
            abort();
        }
        ioctl(nSlave, TIOCSCTTY, 0);
        // What a test reports goes where it went before.
        const int nErrors = dup(STDERR_FILENO);
        SetTracePrintEnable(1, 0);
        dup2(nErrors, STDERR_FILENO);
        close(nErrors);
    }

    static TraceLines& _Get()
    {
        static TraceLines s_this;
        SetTracePrintFunction(&TraceLines::_Hook);
        return s_this;
    }

    static int _Hook(VOLOG_PRIORITY, const char* pszText)
    {
        TraceLines& self = _Get();
        self.m_vecLine.push_back(WithoutLineNumber(pszText));
        self.m_onLine(self.m_vecLine.back());
        // What goes to the terminal has to be taken from it.
        char szDrained[4096];
        while (read(self.m_nTerminal, szDrained, sizeof(szDrained)) > 0)
        {
        }
        return 0;
    }

    int m_nTerminal = -1;
    std::vector<std::string> m_vecLine;
    std::function<void(const std::string&)> m_onLine = [](auto&) {};
};
}  // namespace votest

// Reports its own call stack, and the summary.
#include <stdio.h>

#include "vobase.h"

namespace
{
class ReportingWalker : public StackWalker
{
public:
    // Frames only: no list of modules in the report.
    ReportingWalker() : StackWalker(0) {}

    const char* Summary() const { return m_szSummary; }

protected:
    void OnOutput(const char* pszText) override { fputs(pszText, stdout); }
    void OnSymInit(const char*, VOULONG, const char*) override {}
    void OnLoadModule(const char*, const char*, unsigned long long, VOULONG, VOULONG, const char*, const char*,
                      unsigned long long) override
    {
    }
    void OnDbgHelpErr(const char*, VOULONG, unsigned long long) override {}
};
}  // namespace

int ReportFromHere(ReportingWalker& walker);
int ReportFromHere(ReportingWalker& walker)
{
    const int nResult = walker.ShowCallstack();
    printf("summary: %s\n", walker.Summary());
    return nResult;
}

int main()
{
    ReportingWalker walker;
    return ReportFromHere(walker) != 0 ? 0 : 1;
}

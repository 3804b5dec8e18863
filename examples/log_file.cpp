// Sends the library's failures to a log file:   log_file FOLDER
#include <stdio.h>

#include "vobase.h"

namespace
{
VOLogOutput* g_pOutput = nullptr;

// The log hook is a free function; it forwards to the writer.
int ToFile(VOLOG_PRIORITY emPriority, const char* pszText)
{
    return g_pOutput->OutputPrintf(emPriority, pszText);
}
}  // namespace

int main(int nCount, char** ppszArguments)
{
    VOLogOutput output;
    if (nCount != 2 || output.Init(ppszArguments[1]) == 0)
    {
        fprintf(stderr, "usage: log_file FOLDER\n");
        return 2;
    }
    g_pOutput = &output;
    SetLogPrintfFunction(&ToFile);

    // A line of the program's own, and one that a failed check of the library makes.
    if (VOLogPrintf(VOLOG_INFO, "the program starts\n") == 0)
    {
        fprintf(stderr, "the log file can't be written\n");
        return 1;
    }
    ZIniFile ini;
    ini.OpenIniFile("", false);
    return 0;
}

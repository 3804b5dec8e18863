// What the stack walker reports, its filter, and the summary.
#include "diagnostics/stack_walker_binding.h"

namespace
{

constexpr size_t kReportSize = 1024;
constexpr int kSummaryFrames = 7;

// Longer text is cut.
void FormatText(char (&szText)[kReportSize], const char* pszFormat, ...) VO_PRINTF_FORMAT(2, 3);
void FormatText(char (&szText)[kReportSize], const char* pszFormat, ...)
{
    va_list arguments;
    va_start(arguments, pszFormat);
    if (vsnprintf(szText, sizeof(szText), pszFormat, arguments) < 0)
    {
        szText[0] = 0;
    }
    va_end(arguments);
}

template <size_t uSize>
void AppendText(char (&szTo)[uSize], const char* pszFrom)
{
    const size_t uLength = strnlen(szTo, uSize - 1);
    const size_t uAdded = strnlen(pszFrom, uSize - 1 - uLength);
    memcpy(szTo + uLength, pszFrom, uAdded);
    szTo[uLength + uAdded] = 0;
}

bool Same(const char* pszFirst, const char* pszSecond)
{
    return strcmp(pszFirst, pszSecond) == 0;
}

bool Holds(const char* pszText, const char* pszWhat)
{
    return strstr(pszText, pszWhat) != nullptr;
}

}  // namespace

void StackWalker::OnSymInit(const char* pszSearchPath, VOULONG uSymOptions, const char* pszUserName)
{
    char szText[kReportSize];
    VOSystemVersionInfo version;
    FormatText(szText, "SymInit: Symbol-SearchPath: '%s', symOptions: %d, UserName: '%s'\n", pszSearchPath,
               static_cast<int>(uSymOptions), pszUserName);
    OnOutput(szText);
    if (VOSystemVersion(&version))
    {
        FormatText(szText, "OS-Version: %d.%d.%d (%s) 0x%x-0x%x\n", static_cast<int>(version.uMajor),
                   static_cast<int>(version.uMinor), static_cast<int>(version.uBuild), version.szServicePack,
                   version.uSuiteMask, version.uProductType);
        OnOutput(szText);
    }
}

void StackWalker::OnLoadModule(const char* pszImage, const char* pszModule, unsigned long long uBaseAddress,
                               VOULONG uSize, VOULONG uResult, const char* pszSymType, const char* pszPdbName,
                               unsigned long long uFileVersion)
{
    char szText[kReportSize];
    char szVersion[kReportSize] = "";
    if (uFileVersion != 0)
    {
        const auto Part = [=](int nShift) { return static_cast<int>(uFileVersion >> nShift & 0xFFFF); };
        FormatText(szVersion, ", fileVersion: %d.%d.%d.%d", Part(48), Part(32), Part(16), Part(0));
    }
    FormatText(szText, "%s:%s (%p), size: %d (result: %d), SymType: '%s', PDB: '%s'%s\n", pszImage, pszModule,
               AsPointer(uBaseAddress), static_cast<int>(uSize), static_cast<int>(uResult), pszSymType, pszPdbName,
               szVersion);
    OnOutput(szText);
}

void StackWalker::OnDbgHelpErr(const char* pszFunction, VOULONG uError, unsigned long long uAddress)
{
    char szText[kReportSize];
    FormatText(szText, "ERROR: %s, GetLastError: %d (Address: %p)\n", pszFunction, static_cast<int>(uError),
               AsPointer(uAddress));
    OnOutput(szText);
}

void StackWalker::OnOutput(const char* pszText)
{
    OutputDebugStringA(pszText);
}

// Every frame is reported; the filter is only for the summary.
void StackWalker::OnCallstackEntry(CallstackEntryType eType, CallstackEntry& entry)
{
    char szText[kReportSize];
    if (eType == eEntryLast || entry.uAddress == 0)
    {
        return;
    }
    if (entry.szName[0] == 0)
    {
        CopyText(entry.szName, "(function-name not available)");
    }
    if (entry.szUndName[0] != 0)
    {
        CopyText(entry.szName, entry.szUndName);
    }
    if (entry.szUndFullName[0] != 0)
    {
        CopyText(entry.szName, entry.szUndFullName);
    }
    if (entry.szLineFileName[0] != 0)
    {
        FormatText(szText, "%s (%d): %s\n", entry.szLineFileName, static_cast<int>(entry.uLineNumber), entry.szName);
    }
    else
    {
        CopyText(entry.szLineFileName, "(filename not available)");
        if (entry.szModuleName[0] == 0)
        {
            CopyText(entry.szModuleName, "(module-name not available)");
        }
        FormatText(szText, "%p (%s): %s: %s\n", AsPointer(entry.uAddress), entry.szModuleName, entry.szLineFileName,
                   entry.szName);
    }
    OnOutput(szText);

    if (Holds(entry.szName, "D3D11TranslateCreateDevice"))
    {
        m_bD3D11Translate = 1;
    }
    if (!PassesFilter(entry) || ++m_nSummaryFrames > kSummaryFrames)
    {
        return;
    }
    m_bNoFrameKept = 0;
    if (m_szFirstSourceFile[0] == 0)
    {
        AppendText(m_szFirstSourceFile, entry.szLineFileName);
    }
    AppendText(m_szSummary, entry.szName);
    AppendText(m_szSummary, ",");
    AppendText(m_szSummary, entry.szModuleName);
    if (m_nSummaryFrames < kSummaryFrames)
    {
        AppendText(m_szSummary, "|");
    }
}

bool StackWalker::PassesFilter(const CallstackEntry& rkEntry) const
{
    const char* const pszModule = rkEntry.szModuleName;
    const char* const pszName = rkEntry.szName;
    if (Same(pszModule, "d3d11") || Same(pszModule, "D3D11_3SDKLayers") ||
        (Same(pszModule, "NVCommonX64D") && Same(pszName, "StackWalker::ShowCallstack")))
    {
        return false;
    }
    const bool bEngine = Same(pszModule, "NOVREngineDX11EX64D") || Same(pszModule, "VO3DEngineDX11X64D");
    return !bEngine || !(Holds(pszName, "NOVR_D3D11Hook::") || Holds(pszName, "hookD3D11") ||
                         Same(pszName, "NOVR_Engine::GetDevice"));
}

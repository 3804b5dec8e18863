#include "vo_log_output.h"

#include <algorithm>
#include <memory>
#include <string>

#include "diagnostics/check.h"
#include "platform/vo_owners.h"

namespace
{

constexpr size_t kPathSize = 260;
constexpr int kPriorityTextSize = 30;

enum TimeFlag
{
    kDate = 1,
    kTime = 2,
    kDateAndTime = 4
};

// Joins two parts with what stands between them. False, with nothing written, when the path gets too long.
bool JoinPath(char (&szTo)[kPathSize], const std::string& strFolder, const std::string& strName)
{
    const std::string strPath = strFolder + "\\" + strName;
    if (strPath.size() >= kPathSize)
    {
        return false;
    }
    memcpy(szTo, strPath.c_str(), strPath.size() + 1);
    return true;
}

// Makes each folder of a path, from the one that ends behind uFirst on. Those that exist, and a drive, do no harm.
void MakeFolders(const char* pszPath, size_t uFirst)
{
    char szFolder[kPathSize];
    const size_t uLength = strlen(pszPath);
    for (size_t uAt = uFirst; uAt <= uLength && uAt < kPathSize; ++uAt)
    {
        if (uAt == uLength || pszPath[uAt] == '/' || pszPath[uAt] == '\\')
        {
            memcpy(szFolder, pszPath, uAt);
            szFolder[uAt] = 0;
            (void)_mkdir(szFolder);
        }
    }
}

}  // namespace

VOLogOutput::VOLogOutput() : m_szLogFile() {}
VOLogOutput::~VOLogOutput() = default;

// The path is used before it is tested: without one the folders are made below what the formatter prints for it.
int VOLogOutput::Init(const char* pszLogPath)
{
    char szDate[kPathSize] = {};
    char szDateAndTime[kPathSize] = {};
    char szFolder[kPathSize] = {};
    char szFile[kPathSize] = {};
    GetCurrentTimeString(szDateAndTime, sizeof(szDateAndTime), kDateAndTime);
    // One moment for both: the date is the first part of the other text.
    memcpy(szDate, szDateAndTime, strcspn(szDateAndTime, " "));
    if (!JoinPath(szFolder, pszLogPath != nullptr ? pszLogPath : "(null)", szDate) ||
        !JoinPath(szFile, szFolder, szDateAndTime + std::string(".log")))
    {
        return 0;
    }
    // Where a path begins at the root without a drive, the steps that pass over slashes would lead elsewhere.
    const size_t uRoot = VOPathRootLength(szFolder);
    if (uRoot != 0)
    {
        MakeFolders(szFolder, uRoot);
    }
    else
    {
        MakePathDir(szFolder);
    }
    if (pszLogPath == nullptr)
    {
        return 0;
    }
    memcpy(m_szLogFile, szFile, sizeof(m_szLogFile));
    return 1;
}

int VOLogOutput::UnInit()
{
    return 1;
}

int VOLogOutput::OutputPrintf(VOLOG_PRIORITY emPriority, const char* pszText)
{
    char szPriority[kPriorityTextSize];
    char szTime[kPathSize];
    std::unique_ptr<char[]> pachBuffer;  // lives longer than the stream
    const std::unique_ptr<FILE, VOCloseFile> pFile(VOOpenFile(m_szLogFile, "at"));
    if (pFile == nullptr || emPriority > VOLOG_DEBUG)
    {
        return 0;
    }
    GetPriorityString(emPriority, szPriority, sizeof(szPriority));
    GetCurrentTimeString(szTime, sizeof(szTime), kDateAndTime);
    const std::string strLine =
        std::string(szTime) + ":[" + szPriority + "]" + (pszText != nullptr ? pszText : "(null)");
    // With a buffer of its size a line goes out in one piece.
    const size_t uBuffer = std::max<size_t>(strLine.size() + 1, BUFSIZ);
    pachBuffer.reset(new char[uBuffer]);
    setvbuf(pFile.get(), pachBuffer.get(), _IOFBF, uBuffer);
    const bool bWritten = fwrite(strLine.data(), 1, strLine.size(), pFile.get()) == strLine.size();
    return bWritten && fflush(pFile.get()) == 0 ? 1 : 0;
}

int VOLogOutput::GetPriorityString(VOLOG_PRIORITY emPriority, char* pszBuffer, int nSize)
{
    static const char* const s_apszText[VOLOG_PRIORITY_MAX] = {
        "VOLOG-RESERVE0", "VOLOG-RESERVE1", "VOLOG-RESERVE2", "VOLOG-ERROR",
        "VOLOG-WARNING",  "VOLOG-RESERVE3", "VOLOG-INFO",     "VOLOG-DEBUG",
    };
    if (emPriority > VOLOG_DEBUG || pszBuffer == nullptr)
    {
        return 0;
    }
    // A value below all levels has no text.
    const std::string strText = emPriority >= VOLOG_RESERVE0 ? s_apszText[emPriority] : "";
    if (nSize > 0)
    {
        pszBuffer[strText.copy(pszBuffer, static_cast<size_t>(nSize) - 1)] = 0;
    }
    return 1;
}

int VOLogOutput::GetCurrentTimeString(char* pszBuffer, int nSize, int nFlags)
{
    const time_t nNow = time(nullptr);
    struct tm now = {};
    localtime_s(&now, &nNow);
    if (pszBuffer == nullptr)
    {
        return 0;
    }
    const char* const pszFormat = (nFlags & kDateAndTime) != 0 ? "%Y-%m-%d %H-%M-%S"
                                  : (nFlags & kDate) != 0      ? "%Y-%m-%d"
                                  : (nFlags & kTime) != 0      ? "%H-%M-%S"
                                                               : nullptr;
    if (pszFormat != nullptr && nSize > 0 && strftime(pszBuffer, static_cast<size_t>(nSize), pszFormat, &now) == 0)
    {
        pszBuffer[0] = 0;
    }
    return 1;
}

// The start of the path is passed over, so that the folders are made below the working directory also where the path
// leads elsewhere. The file is then not found; hosts look for the folders there, and docs/log-file.md says so.
int VOLogOutput::MakePathDir(const char* pszPath)
{
    if (pszPath != nullptr)
    {
        MakeFolders(pszPath + strspn(pszPath, "./\\"), 0);
    }
    return 1;
}

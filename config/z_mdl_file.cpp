#include "z_mdl_file.h"

#include <iterator>
#include <memory>

#include "config/file_read_only.h"
#include "config/shared_paths.h"
#include "diagnostics/check.h"
#include "platform/vo_owners.h"

namespace
{

constexpr size_t kPathSize = 260;
constexpr unsigned int kBufferLineSize = 1024;

// A block with a copy of the path; the bounded copy says what becomes of one that is too long.
char* MakePath(const char* pszPath)
{
    char* const pszBlock = new char[kPathSize]();
    if (pszPath != nullptr)
    {
        strcpy_s(pszBlock, kPathSize, pszPath);
    }
    return pszBlock;
}

void DropPath(char* pszPath)
{
    if (VOLeavePath(pszPath))
    {
        delete[] pszPath;
    }
}

}  // namespace

ZMdlFile::ZMdlFile() = default;

ZMdlFile::~ZMdlFile()
{
    ClearAll();
}

ZMdlFile::ZMdlFile(const ZMdlFile& rkOther) : ZMdlFile()
{
    // Path by path: what memory ran out for is then given back, and nothing has an owner too many.
    for (char* pszPath : rkOther.m_StrVertor)
    {
        std::list<char*> listNew(1, pszPath);
        VOSharePath(pszPath);
        m_StrVertor.splice(m_StrVertor.end(), listNew);
    }
}

ZMdlFile& ZMdlFile::operator=(const ZMdlFile& rkOther)
{
    ZMdlFile copy(rkOther);
    m_StrVertor.swap(copy.m_StrVertor);
    return *this;
}

int ZMdlFile::OpenMdlFile(const char* pszFilePath, bool bCreate)
{
    int nResult = 0;
    char szLine[kPathSize];
    FILE* pMdlFile = VOOpenFile(pszFilePath, bCreate ? "w" : "r");
    std::unique_ptr<FILE, VOCloseFile> pGuard(pMdlFile);
    VO_PROCESS_ERROR(pMdlFile);

    while (!bCreate && fgets(szLine, sizeof(szLine), pMdlFile) != nullptr)
    {
        if (strlen(szLine) + 1 >= sizeof(szLine))
        {
            VOEndProcess("a line of a path list file has 259 characters or more");
        }
        VO_CHECK_ERROR(AddPath(szLine));
    }
    nResult = 1;

Exit0:
    return nResult;
}

int ZMdlFile::OpenMdlFileByBuffer(const char* pszBuffer, int nSize)
{
    const size_t uSize = pszBuffer != nullptr && nSize > 0 ? static_cast<size_t>(nSize) : 0;
    const std::unique_ptr<char[]> pszText(new char[uSize + 1]);
    memcpy(pszText.get(), pszBuffer != nullptr ? pszBuffer : "", uSize);
    pszText[uSize] = 0;

    char szLine[kBufferLineSize];
    char* pszAt = pszText.get();
    while (GetBufferLine(&pszAt, kBufferLineSize, szLine) != 0)
    {
        szLine[strcspn(szLine, " ")] = 0;
        VO_CHECK_ERROR(AddPath(szLine));
    }
    return 1;
}

int ZMdlFile::GetBufferLine(char** ppszBuffer, unsigned int uLineBufferSize, char* const szRetLine)
{
    int nResult = 0;
    size_t uLineLength = 0;
    VO_PROCESS_ERROR(ppszBuffer);
    VO_PROCESS_ERROR(*ppszBuffer);
    VO_PROCESS_ERROR(uLineBufferSize > 0);
    VO_PROCESS_ERROR(szRetLine);
    if (**ppszBuffer == 0)
    {
        goto Exit0;
    }
    uLineLength = strcspn(*ppszBuffer, "\r\n");
    VO_PROCESS_ERROR(uLineLength < uLineBufferSize);
    memcpy(szRetLine, *ppszBuffer, uLineLength);
    szRetLine[uLineLength] = 0;
    *ppszBuffer += uLineLength;
    *ppszBuffer += strspn(*ppszBuffer, "\r\n");
    nResult = 1;

Exit0:
    return nResult;
}

int ZMdlFile::WriteMdlFile(const char* pszFilePath)
{
    int nResult = 0;
    FILE* pMdlFile = nullptr;
    std::unique_ptr<FILE, VOCloseFile> pGuard;
    // A missing file has all attribute bits set; clearing one then fails, and does no harm.
    if ((GetFileAttributesA(pszFilePath) & FILE_ATTRIBUTE_READONLY) != 0)
    {
        VO_CHECK_ERROR(SetFileReadOnly(pszFilePath, FALSE));
    }
    pMdlFile = VOOpenFile(pszFilePath, "w");
    VO_PROCESS_ERROR(pMdlFile);
    pGuard.reset(pMdlFile);
    for (const char* pszPath : m_StrVertor)
    {
        fprintf(pMdlFile, strchr(pszPath, '\\') != nullptr ? "\\%s\n" : "%s\n", pszPath);
    }
    nResult = 1;

Exit0:
    return nResult;
}

int ZMdlFile::GetPathCount() const
{
    return static_cast<int>(m_StrVertor.size());
}

const char* ZMdlFile::GetPathByIndex(int nIndex)
{
    const char* pszResult = nullptr;
    VO_PROCESS_ERROR_AS("nIndex < m_StrVertor.size()", static_cast<unsigned int>(nIndex) < m_StrVertor.size());
    pszResult = *std::next(m_StrVertor.begin(), nIndex);

Exit0:
    return pszResult;
}

int ZMdlFile::AddPath(const char* pszPath)
{
    // Both parts first, so that running out of memory loses nothing.
    std::list<char*> listNew(1);
    listNew.front() = MakePath(pszPath != nullptr && *pszPath == '\\' ? pszPath + 1 : pszPath);
    m_StrVertor.splice(m_StrVertor.end(), listNew);
    return 1;
}

int ZMdlFile::RemovePathAt(int nIndex)
{
    int nResult = 0;
    std::list<char*>::iterator iterPath;
    VO_PROCESS_ERROR_AS("nIndex < m_StrVertor.size()", static_cast<unsigned int>(nIndex) < m_StrVertor.size());
    iterPath = std::next(m_StrVertor.begin(), nIndex);
    DropPath(*iterPath);
    m_StrVertor.erase(iterPath);
    nResult = 1;

Exit0:
    return nResult;
}

int ZMdlFile::ReplacePath(const char* pszPath, int nIndex)
{
    int nResult = 0;
    char* pszNew = nullptr;
    std::list<char*>::iterator iterPath;
    VO_PROCESS_ERROR_AS("nIndex < m_StrVertor.size()", static_cast<unsigned int>(nIndex) < m_StrVertor.size());
    // The new path may be a part of the old one.
    pszNew = MakePath(pszPath);
    iterPath = std::next(m_StrVertor.begin(), nIndex);
    DropPath(*iterPath);
    *iterPath = pszNew;
    nResult = 1;

Exit0:
    return nResult;
}

int ZMdlFile::ClearAll()
{
    for (char* pszPath : m_StrVertor)
    {
        DropPath(pszPath);
    }
    m_StrVertor.clear();
    return 1;
}

int ZMdlFile::SetFileReadOnly(const char* pszFilePath, int bReadOnly)
{
    return VOSetFileReadOnly(pszFilePath, bReadOnly);
}

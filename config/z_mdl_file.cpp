#include "z_mdl_file.h"

#include <iterator>
#include <memory>

#include "config/file_read_only.h"
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

// Copies of a list stand on the same blocks. Never destroyed: a list of static duration may end later than this would.
VOFurtherOwners<char>& PathOwners()
{
    static VONeverDestroyed<VOFurtherOwners<char>> s_owners;
    return s_owners.Get();
}

void DropPath(char* pszPath)
{
    if (!PathOwners().Take(pszPath))
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
        PathOwners().Add(pszPath);
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
    char szLine[kPathSize];
    const std::unique_ptr<FILE, VOCloseFile> pMdlFile(VOOpenFile(pszFilePath, bCreate ? "w" : "r"));
    if (!VO_STEP(pMdlFile))
    {
        return 0;
    }
    while (!bCreate && fgets(szLine, sizeof(szLine), pMdlFile.get()) != nullptr)
    {
        if (strlen(szLine) + 1 >= sizeof(szLine))
        {
            VOEndProcess("a line of a path list file has 259 characters or more");
        }
        VO_CHECK_ERROR(AddPath(szLine));
    }
    return 1;
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
    if (!VO_STEP(ppszBuffer) || !VO_STEP(*ppszBuffer) || !VO_STEP(uLineBufferSize > 0) || !VO_STEP(szRetLine) ||
        **ppszBuffer == 0)
    {
        return 0;
    }
    const size_t uLineLength = strcspn(*ppszBuffer, "\r\n");
    if (!VO_STEP(uLineLength < uLineBufferSize))
    {
        return 0;
    }
    memcpy(szRetLine, *ppszBuffer, uLineLength);
    szRetLine[uLineLength] = 0;
    *ppszBuffer += uLineLength;
    *ppszBuffer += strspn(*ppszBuffer, "\r\n");
    return 1;
}

int ZMdlFile::WriteMdlFile(const char* pszFilePath)
{
    // A missing file has all attribute bits set; clearing one then fails, and does no harm.
    if ((GetFileAttributesA(pszFilePath) & FILE_ATTRIBUTE_READONLY) != 0)
    {
        VO_CHECK_ERROR(SetFileReadOnly(pszFilePath, FALSE));
    }
    const std::unique_ptr<FILE, VOCloseFile> pMdlFile(VOOpenFile(pszFilePath, "w"));
    if (!VO_STEP(pMdlFile))
    {
        return 0;
    }
    for (const char* pszPath : m_StrVertor)
    {
        fprintf(pMdlFile.get(), strchr(pszPath, '\\') != nullptr ? "\\%s\n" : "%s\n", pszPath);
    }
    return 1;
}

int ZMdlFile::GetPathCount() const
{
    return static_cast<int>(m_StrVertor.size());
}

const char* ZMdlFile::GetPathByIndex(int nIndex)
{
    return VO_STEP_AS("nIndex < m_StrVertor.size()", static_cast<unsigned int>(nIndex) < m_StrVertor.size())
               ? *std::next(m_StrVertor.begin(), nIndex)
               : nullptr;
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
    if (!VO_STEP_AS("nIndex < m_StrVertor.size()", static_cast<unsigned int>(nIndex) < m_StrVertor.size()))
    {
        return 0;
    }
    const auto iterPath = std::next(m_StrVertor.begin(), nIndex);
    DropPath(*iterPath);
    m_StrVertor.erase(iterPath);
    return 1;
}

int ZMdlFile::ReplacePath(const char* pszPath, int nIndex)
{
    if (!VO_STEP_AS("nIndex < m_StrVertor.size()", static_cast<unsigned int>(nIndex) < m_StrVertor.size()))
    {
        return 0;
    }
    // The new path may be a part of the old one.
    char* const pszNew = MakePath(pszPath);
    const auto iterPath = std::next(m_StrVertor.begin(), nIndex);
    DropPath(*iterPath);
    *iterPath = pszNew;
    return 1;
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

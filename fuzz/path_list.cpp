#include <string.h>

#include <algorithm>
#include <vector>

#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "z_mdl_file.h"

namespace
{
// A line as long as this ends the process, as it has to.
constexpr size_t kLongestLine = 250;

class PathList : public ZMdlFile
{
public:
    using ZMdlFile::GetBufferLine;
};

std::string WithShortLines(const uint8_t* pbData, size_t uSize)
{
    std::string strText;
    size_t uLine = 0;
    for (size_t i = 0; i < uSize; ++i)
    {
        strText.push_back(static_cast<char>(pbData[i]));
        uLine = pbData[i] == '\n' || pbData[i] == '\r' ? 0 : uLine + 1;
        if (uLine == kLongestLine)
        {
            strText.push_back('\n');
            uLine = 0;
        }
    }
    return strText;
}

void UsePaths(PathList& list, size_t uSeed)
{
    const int nCount = list.GetPathCount();
    for (int i = 0; i < nCount; ++i)
    {
        FUZZ_REQUIRE(strlen(list.GetPathByIndex(i)) < 260);
    }
    const FuzzFile file("w.mdl", "", 0);
    FUZZ_REQUIRE(list.WriteMdlFile(file.Path()) == 1);
    if (nCount > 0)
    {
        const int nPlace = static_cast<int>(uSeed % static_cast<size_t>(nCount));
        FUZZ_REQUIRE(list.ReplacePath(list.GetPathByIndex(nPlace), nPlace) == 1);
        FUZZ_REQUIRE(list.RemovePathAt(nPlace) == 1);
        FUZZ_REQUIRE(list.GetPathCount() == nCount - 1);
    }
    const PathList copy(list);
    FUZZ_REQUIRE(list.ClearAll() == 1);
}
}  // namespace

void FuzzPathListFile(const uint8_t* pbData, size_t uSize)
{
    const std::string strText = WithShortLines(pbData, uSize);
    const FuzzFile file("a.mdl", strText.data(), strText.size());
    PathList list;
    FUZZ_REQUIRE(list.OpenMdlFile(file.Path(), false) == 1);
    UsePaths(list, uSize);
}

void FuzzPathListBuffer(const uint8_t* pbData, size_t uSize)
{
    const std::string strText = WithShortLines(pbData, uSize);
    const std::vector<char> vecExact(strText.begin(), strText.end());
    PathList list;
    FUZZ_REQUIRE(list.OpenMdlFileByBuffer(vecExact.data(), static_cast<int>(vecExact.size())) == 1);
    UsePaths(list, uSize);
}

// The first byte is the room for a line.
void FuzzBufferLine(const uint8_t* pbData, size_t uSize)
{
    if (uSize == 0)
    {
        return;
    }
    const unsigned int uRoom = pbData[0];
    std::vector<char> vecText(pbData + 1, pbData + uSize);
    vecText.push_back(0);
    std::vector<char> vecLine(std::max(1u, uRoom), 'x');
    char* pszAt = vecText.data();
    PathList list;
    for (const char* pszBefore = pszAt; list.GetBufferLine(&pszAt, uRoom, vecLine.data()) == 1; pszBefore = pszAt)
    {
        FUZZ_REQUIRE(pszAt > pszBefore && pszAt <= &vecText.back());
        FUZZ_REQUIRE(strlen(vecLine.data()) < uRoom);
        FUZZ_REQUIRE(strpbrk(vecLine.data(), "\r\n") == nullptr);
    }
}

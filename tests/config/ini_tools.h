// What the tests of the INI file share.
#pragma once

#include <string>
#include <vector>

#include "support/log_capture.h"
#include "support/temporary_files.h"
#include "z_ini_file.h"

namespace initest
{
using namespace votest;

// An INI file whose members can be looked at.
class Ini : public ZIniFile
{
public:
    using ZIniFile::m_pFirstEntry;
    using ZIniFile::m_pLastEntry;
    using ZIniFile::m_szReturnBuffer;
    using ZIniFile::SetFileReadOnly;

    Ini() = default;

    // Opened with these bytes.
    explicit Ini(const std::string& strBytes)
    {
        const TemporaryFiles files;
        EXPECT_EQ(1, OpenIniFile(files.Write("a.ini", strBytes).c_str(), false)) << strBytes;
    }

    // The bytes that WriteIniFile writes.
    std::string Written()
    {
        const TemporaryFiles files;
        EXPECT_EQ(1, WriteIniFile(files.Path("b.ini").c_str()));
        return TemporaryFiles::Read(files.Path("b.ini"));
    }

    // Every entry as "s:text", "k:text", "c:text" or "?:text".
    std::vector<std::string> Lines() const
    {
        std::vector<std::string> vecLine;
        for (const ZENTRY* pEntry = m_pFirstEntry; pEntry != nullptr; pEntry = pEntry->pNext)
        {
            const char chType = pEntry->cType == tpSECTION    ? 's'
                                : pEntry->cType == tpKEYVALUE ? 'k'
                                : pEntry->cType == tpCOMMENT  ? 'c'
                                                              : '?';
            vecLine.push_back(std::string(1, chType) + ":" + (pEntry->pszText != nullptr ? pEntry->pszText : ""));
        }
        return vecLine;
    }

    // The entry with this text; null when there is none.
    ZENTRY* Entry(const std::string& strText) const
    {
        ZENTRY* pEntry = m_pFirstEntry;
        while (pEntry != nullptr && strText != pEntry->pszText)
        {
            pEntry = pEntry->pNext;
        }
        return pEntry;
    }
};

typedef std::vector<std::string> Texts;

// What a search leaves where it writes nothing.
inline tgEFIND UsedFind()
{
    tgEFIND find;
    memset(&find, 'x', sizeof(find));
    find.szKey[127] = find.szValue[127] = find.szComment[255] = 0;
    return find;
}
}  // namespace initest

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
        const TemporaryFiles kFiles;
        EXPECT_EQ(1, OpenIniFile(kFiles.Write("a.ini", strBytes).c_str(), false)) << strBytes;
    }

    // The bytes that WriteIniFile writes.
    std::string Written()
    {
        const TemporaryFiles kFiles;
        EXPECT_EQ(1, WriteIniFile(kFiles.Path("b.ini").c_str()));
        return TemporaryFiles::Read(kFiles.Path("b.ini"));
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
    tgEFIND kFind;
    memset(&kFind, 'x', sizeof(kFind));
    kFind.szKey[127] = kFind.szValue[127] = kFind.szComment[255] = 0;
    return kFind;
}
}  // namespace initest

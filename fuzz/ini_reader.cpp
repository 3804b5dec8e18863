#include <string.h>

#include <vector>

#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "z_ini_file.h"

namespace
{
size_t CountEntries(ZIniFile& rIni)
{
    size_t uEntries = 0;
    for (const ZENTRY* pEntry = rIni.SectionBegin(); pEntry != nullptr; pEntry = pEntry->pNext)
    {
        ++uEntries;
    }
    return uEntries;
}

// Looks up and changes what the file itself names.
void UseNames(ZIniFile& rIni, const uint8_t* pbData, size_t uSize)
{
    std::vector<std::string> vecName = {"", "a", std::string(500, 'n')};
    for (ZENTRY* pEntry = rIni.SectionBegin(); pEntry != nullptr && vecName.size() < 40; pEntry = pEntry->pNext)
    {
        char szName[300];
        szName[0] = 0;
        pEntry->GetEntryName(szName, sizeof(szName));
        vecName.push_back(szName);
        vecName.push_back(std::string(pEntry->pszText, strcspn(pEntry->pszText, "=")));
    }
    for (size_t i = 0; i < uSize && i < 60; ++i)
    {
        const char* const pszSection = vecName[pbData[i] % vecName.size()].c_str();
        const std::string& rkName = vecName[pbData[uSize - 1 - i] % vecName.size()];
        char szValue[40];
        switch (i % 7)
        {
            case 0:
                FUZZ_REQUIRE(strlen(rIni.ReadString(pszSection, rkName.c_str(), "default")) < 264);
                break;
            case 1:
                rIni.WriteString(pszSection, pbData[i] % 5 == 0 ? nullptr : rkName.c_str(), rkName.c_str());
                break;
            case 2:
                rIni.DeleteKey(pszSection, rkName.c_str());
                break;
            case 3:
                FUZZ_REQUIRE(rIni.ReadString(pszSection, rkName.c_str(), "d", szValue, sizeof(szValue)) == 1);
                break;
            case 4:
                rIni.ReadDouble(pszSection, rkName.c_str(), 1.5, nullptr);
                rIni.ReadInt(pszSection, rkName.c_str(), 7);
                break;
            case 5:
                FUZZ_REQUIRE(pbData[i] % 3 != 0 || rIni.DeleteSection(pszSection) == 1);
                break;
            default:
                rIni.AddItem(tpCOMMENT, rkName.c_str());
                break;
        }
    }
}
}  // namespace

void FuzzIniReader(const uint8_t* pbData, size_t uSize)
{
    const FuzzFile kFile("a.ini", pbData, uSize);
    ZIniFile kIni;
    if (kIni.OpenIniFile(kFile.Path(), false) != 1)
    {
        FUZZ_REQUIRE(kIni.SectionBegin() == nullptr);
        return;
    }
    for (ZENTRY* pEntry = kIni.SectionBegin(); pEntry != nullptr; pEntry = kIni.SectionNext(pEntry))
    {
        FUZZ_REQUIRE(strlen(pEntry->pszText) <= 254);
    }
    UseNames(kIni, pbData, uSize);
    const FuzzFile kWritten("b.ini", "", 0);
    const size_t uEntries = CountEntries(kIni);
    FUZZ_REQUIRE(kIni.WriteIniFile(kWritten.Path()) == 1);
    FUZZ_REQUIRE(CountEntries(kIni) == uEntries);
    kIni.OpenIniFile(kWritten.Path(), false);
}

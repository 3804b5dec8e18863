#include <string.h>

#include <vector>

#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "z_ini_file.h"

namespace
{
size_t CountEntries(ZIniFile& ini)
{
    size_t uEntries = 0;
    for (const ZENTRY* pEntry = ini.SectionBegin(); pEntry != nullptr; pEntry = pEntry->pNext)
    {
        ++uEntries;
    }
    return uEntries;
}

// Looks up and changes what the file itself names.
void UseNames(ZIniFile& ini, const uint8_t* pbData, size_t uSize)
{
    std::vector<std::string> vecName = {"", "a", std::string(500, 'n')};
    for (ZENTRY* pEntry = ini.SectionBegin(); pEntry != nullptr && vecName.size() < 40; pEntry = pEntry->pNext)
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
        const std::string& name = vecName[pbData[uSize - 1 - i] % vecName.size()];
        char szValue[40];
        switch (i % 7)
        {
            case 0:
                FUZZ_REQUIRE(strlen(ini.ReadString(pszSection, name.c_str(), "default")) < 264);
                break;
            case 1:
                ini.WriteString(pszSection, pbData[i] % 5 == 0 ? nullptr : name.c_str(), name.c_str());
                break;
            case 2:
                ini.DeleteKey(pszSection, name.c_str());
                break;
            case 3:
                FUZZ_REQUIRE(ini.ReadString(pszSection, name.c_str(), "d", szValue, sizeof(szValue)) == 1);
                break;
            case 4:
                ini.ReadDouble(pszSection, name.c_str(), 1.5, nullptr);
                ini.ReadInt(pszSection, name.c_str(), 7);
                break;
            case 5:
                FUZZ_REQUIRE(pbData[i] % 3 != 0 || ini.DeleteSection(pszSection) == 1);
                break;
            default:
                ini.AddItem(tpCOMMENT, name.c_str());
                break;
        }
    }
}
}  // namespace

void FuzzIniReader(const uint8_t* pbData, size_t uSize)
{
    const FuzzFile file("a.ini", pbData, uSize);
    ZIniFile ini;
    if (ini.OpenIniFile(file.Path(), false) != 1)
    {
        FUZZ_REQUIRE(ini.SectionBegin() == nullptr);
        return;
    }
    for (ZENTRY* pEntry = ini.SectionBegin(); pEntry != nullptr; pEntry = ini.SectionNext(pEntry))
    {
        FUZZ_REQUIRE(strlen(pEntry->pszText) <= 254);
    }
    UseNames(ini, pbData, uSize);
    const FuzzFile written("b.ini", "", 0);
    const size_t uEntries = CountEntries(ini);
    FUZZ_REQUIRE(ini.WriteIniFile(written.Path()) == 1);
    FUZZ_REQUIRE(CountEntries(ini) == uEntries);
    ini.OpenIniFile(written.Path(), false);
}

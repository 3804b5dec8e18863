#include <string.h>

#include "base/files.h"
#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "publish/option_file.h"
#include "scan/path_list.h"
#include "scan/type_table.h"
#include "vots_asset_node_container.h"

namespace
{
const std::string kName = "text";

// The lines of a text as lum takes them from a file; none where it refuses the file.
bool LinesOf(const uint8_t* pbData, size_t uSize, std::vector<lum::TextLine>* pvecLines)
{
    std::string strError;
    const std::string_view strText(reinterpret_cast<const char*>(pbData), uSize);
    const bool bText = lum::SplitText(kName, strText, pvecLines, &strError);
    FUZZ_REQUIRE(bText == strError.empty());
    for (const lum::TextLine& line : *pvecLines)
    {
        FUZZ_REQUIRE(!line.strText.empty() && line.uNumber >= 1 && line.uNumber <= uSize);
    }
    return bText;
}

// Everything below a folder; how many entries there are.
size_t ListAll(lum::PathTree* pTree, const VOWString& strFolder)
{
    std::vector<lum::IndexEntry> vecEntries;
    std::string strError;
    FUZZ_REQUIRE(pTree->List(strFolder, 1, &vecEntries, &strError));
    size_t uCount = vecEntries.size();
    for (const lum::IndexEntry& entry : vecEntries)
    {
        FUZZ_REQUIRE(!entry.strName.empty() && entry.strName != VOTEXT("..") && entry.strName != VOTEXT("."));
        FUZZ_REQUIRE(entry.strName.find_first_of(VOTEXT("/\\")) == VOWString::npos);
        uCount += entry.bFolder ? ListAll(pTree, lum::JoinPath(strFolder, entry.strName)) : 0;
    }
    return uCount;
}
}  // namespace

void FuzzLumTypes(const uint8_t* pbData, size_t uSize)
{
    std::vector<lum::TextLine> vecLines;
    std::vector<lum::ClassifyType> vecTypes;
    std::string strError;
    if (!LinesOf(pbData, uSize, &vecLines) || !lum::ReadTypes(kName, vecLines, &vecTypes, &strError))
    {
        return;
    }
    FUZZ_REQUIRE(vecTypes.size() == vecLines.size());
    // The library takes what lum lets through, and knows each type again.
    VOTSAssetNodeContainer container;
    FUZZ_REQUIRE(lum::EnterTypes(vecTypes, &container));
    for (const lum::ClassifyType& type : vecTypes)
    {
        int nFound = -1;
        FUZZ_REQUIRE(container.GetClassifyTypeByName(type.strName.c_str(), nFound) != 0);
        FUZZ_REQUIRE(nFound == type.nNumber);
        const VOWString strFirst = type.strExtensions.substr(0, type.strExtensions.find(VOWCHAR('|')));
        FUZZ_REQUIRE(container.GetClassifyTypeByExtension(strFirst.c_str(), nFound) != 0);
    }
}

void FuzzLumPaths(const uint8_t* pbData, size_t uSize)
{
    std::vector<lum::TextLine> vecLines;
    lum::PathTree tree;
    std::string strError;
    if (LinesOf(pbData, uSize, &vecLines) && lum::ReadPaths(kName, vecLines, &tree, &strError))
    {
        FUZZ_REQUIRE((ListAll(&tree, VOWString()) != 0) == !vecLines.empty());
    }
}

void FuzzLumOptions(const uint8_t* pbData, size_t uSize)
{
    const FuzzFile file("options.ini", pbData, uSize);
    VOPublicOptionRecord record;
    std::string strError;
    if (!lum::ReadOptionFile(file.Path(), &record, &strError))
    {
        FUZZ_REQUIRE(!strError.empty());
        return;
    }
    FUZZ_REQUIRE(memcmp(record.szVersion, kszVOPublicOptionVersion, sizeof(record.szVersion)) == 0);
    FUZZ_REQUIRE(memchr(record.szOptionKey, 0, sizeof(record.szOptionKey)) != nullptr);
    for (const char* pszText :
         {record.szOptionText1, record.szOptionText2, record.szOptionText3, record.szOptionText4, record.szOptionText5})
    {
        FUZZ_REQUIRE(memchr(pszText, 0, sizeof(record.szOptionText1)) != nullptr);
    }
    FUZZ_REQUIRE(memchr(record.szOptionText6, 0, sizeof(record.szOptionText6)) != nullptr);
}

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
    for (const lum::TextLine& kLine : *pvecLines)
    {
        FUZZ_REQUIRE(!kLine.strText.empty() && kLine.uNumber >= 1 && kLine.uNumber <= uSize);
    }
    return bText;
}

// Everything below a folder; how many entries there are.
size_t ListAll(lum::PathTree* pkTree, const VOWString& strFolder)
{
    std::vector<lum::IndexEntry> vecEntries;
    std::string strError;
    FUZZ_REQUIRE(pkTree->List(strFolder, 1, &vecEntries, &strError));
    size_t uCount = vecEntries.size();
    for (const lum::IndexEntry& kEntry : vecEntries)
    {
        FUZZ_REQUIRE(!kEntry.strName.empty() && kEntry.strName != VOTEXT("..") && kEntry.strName != VOTEXT("."));
        FUZZ_REQUIRE(kEntry.strName.find_first_of(VOTEXT("/\\")) == VOWString::npos);
        uCount += kEntry.bFolder ? ListAll(pkTree, lum::JoinPath(strFolder, kEntry.strName)) : 0;
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
    VOTSAssetNodeContainer kContainer;
    FUZZ_REQUIRE(lum::EnterTypes(vecTypes, &kContainer));
    for (const lum::ClassifyType& kType : vecTypes)
    {
        int nFound = -1;
        FUZZ_REQUIRE(kContainer.GetClassifyTypeByName(kType.strName.c_str(), nFound) != 0);
        FUZZ_REQUIRE(nFound == kType.nNumber);
        const VOWString strFirst = kType.strExtensions.substr(0, kType.strExtensions.find(VOWCHAR('|')));
        FUZZ_REQUIRE(kContainer.GetClassifyTypeByExtension(strFirst.c_str(), nFound) != 0);
    }
}

void FuzzLumPaths(const uint8_t* pbData, size_t uSize)
{
    std::vector<lum::TextLine> vecLines;
    lum::PathTree kTree;
    std::string strError;
    if (LinesOf(pbData, uSize, &vecLines) && lum::ReadPaths(kName, vecLines, &kTree, &strError))
    {
        FUZZ_REQUIRE((ListAll(&kTree, VOWString()) != 0) == !vecLines.empty());
    }
}

void FuzzLumOptions(const uint8_t* pbData, size_t uSize)
{
    const FuzzFile kFile("options.ini", pbData, uSize);
    VOPublicOptionRecord kRecord;
    std::string strError;
    if (!lum::ReadOptionFile(kFile.Path(), &kRecord, &strError))
    {
        FUZZ_REQUIRE(!strError.empty());
        return;
    }
    FUZZ_REQUIRE(memcmp(kRecord.szVersion, kszVOPublicOptionVersion, sizeof(kRecord.szVersion)) == 0);
    FUZZ_REQUIRE(memchr(kRecord.szOptionKey, 0, sizeof(kRecord.szOptionKey)) != nullptr);
    for (const char* pszText : {kRecord.szOptionText1, kRecord.szOptionText2, kRecord.szOptionText3,
                                kRecord.szOptionText4, kRecord.szOptionText5})
    {
        FUZZ_REQUIRE(memchr(pszText, 0, sizeof(kRecord.szOptionText1)) != nullptr);
    }
    FUZZ_REQUIRE(memchr(kRecord.szOptionText6, 0, sizeof(kRecord.szOptionText6)) != nullptr);
}

#include <string.h>

#include <optional>

#include "base/failure.h"
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

// What lum makes of a text; none where it refuses it, which it does with a sentence.
template <typename Read>
auto TakenBy(const Read& read) -> std::optional<decltype(read())>
{
    try
    {
        return read();
    }
    catch (const lum::Failure& refusal)
    {
        FUZZ_REQUIRE(refusal.what()[0] != 0);
        return std::nullopt;
    }
}

// The lines of a text as lum takes them from a file; none where it refuses the file.
std::optional<std::vector<lum::TextLine>> LinesOf(const uint8_t* pbData, size_t uSize)
{
    const std::string_view strText(reinterpret_cast<const char*>(pbData), uSize);
    const auto vecLines = TakenBy([&] { return lum::SplitText(kName, strText); });
    for (const lum::TextLine& line : vecLines.value_or(std::vector<lum::TextLine>()))
    {
        FUZZ_REQUIRE(!line.strText.empty() && line.uNumber >= 1 && line.uNumber <= uSize);
    }
    return vecLines;
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
    const auto vecLines = LinesOf(pbData, uSize);
    const auto vecTypes = vecLines ? TakenBy([&] { return lum::ReadTypes(kName, *vecLines); }) : std::nullopt;
    if (!vecTypes)
    {
        return;
    }
    FUZZ_REQUIRE(vecTypes->size() == vecLines->size());
    // The library takes what lum lets through, and knows each type again.
    VOTSAssetNodeContainer container;
    FUZZ_REQUIRE(lum::EnterTypes(*vecTypes, &container));
    for (const lum::ClassifyType& type : *vecTypes)
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
    const auto vecLines = LinesOf(pbData, uSize);
    const auto pTree = vecLines ? TakenBy([&] { return lum::ReadPaths(kName, *vecLines); }) : std::nullopt;
    if (pTree)
    {
        FUZZ_REQUIRE((ListAll(pTree->get(), VOWString()) != 0) == !vecLines->empty());
    }
}

void FuzzLumOptions(const uint8_t* pbData, size_t uSize)
{
    const FuzzFile file("options.ini", pbData, uSize);
    const auto taken = TakenBy([&] { return lum::ReadOptionFile(file.Path()); });
    if (!taken)
    {
        return;
    }
    const VOPublicOptionRecord& record = *taken;
    FUZZ_REQUIRE(memcmp(record.szVersion, kszVOPublicOptionVersion, sizeof(record.szVersion)) == 0);
    FUZZ_REQUIRE(memchr(record.szOptionKey, 0, sizeof(record.szOptionKey)) != nullptr);
    for (const char* pszText :
         {record.szOptionText1, record.szOptionText2, record.szOptionText3, record.szOptionText4, record.szOptionText5})
    {
        FUZZ_REQUIRE(memchr(pszText, 0, sizeof(record.szOptionText1)) != nullptr);
    }
    FUZZ_REQUIRE(memchr(record.szOptionText6, 0, sizeof(record.szOptionText6)) != nullptr);
}

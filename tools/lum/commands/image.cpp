// lum image: what is in an image, and in the update state section.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/files.h"
#include "base/sources.h"
#include "commands/commands.h"
#include "image/image_check.h"
#include "image/image_dump.h"
#include "image/image_load.h"
#include "reader/json_view.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

double Load(const TableReport& kTable)
{
    return kTable.uSlots == 0 ? 0.0 : static_cast<double>(kTable.uUsed) / kTable.uSlots;
}

std::string ShownTable(const TableReport& kTable)
{
    return fmt::format("{} slots, {} used, load {:.3f}, longest probe {}", kTable.uSlots, kTable.uUsed, Load(kTable),
                       kTable.uLongestProbe);
}

nlohmann::ordered_json JsonOfTable(const TableReport& kTable)
{
    return {{"slots", kTable.uSlots},
            {"used", kTable.uUsed},
            {"load", Load(kTable)},
            {"longest_probe", kTable.uLongestProbe}};
}

void ShowText(const LoadedImage& kImage, const ImageLayout& kLayout, const ImageReport& kReport,
              const Findings& kFindings, Output* pkOutput)
{
    const auto addLine = [&](const char* pszLabel, const std::string& strValue)
    { pkOutput->Write(fmt::format("{:<16}{}\n", fmt::format("{}:", pszLabel), strValue)); };

    addLine("image", kImage.ullBlockSize == 0
                         ? fmt::format("{} bytes", kLayout.kAll.Size())
                         : fmt::format("{} bytes, compressed {}", kLayout.kAll.Size(), kImage.ullBlockSize));
    addLine("root", fmt::format("{} ({})", ShownText(kReport.strRootPath), ShownText(kReport.strRootName)));
    addLine("string block", fmt::format("{} bytes", kLayout.kStringBlock.Size()));
    addLine("  strings", fmt::format("{}: {} with text, {} keys only, {} removed", kReport.uStrings, kReport.uWithText,
                                     kReport.uKeysOnly, kReport.uRemovedStrings));
    addLine("  texts", fmt::format("{} in {} bytes", kReport.uTexts, kReport.ullTextBytes));
    addLine("  primary", ShownTable(kReport.kPrimary));
    addLine("  conflict", ShownTable(kReport.kConflict));
    addLine("node block", fmt::format("{} bytes", kLayout.kNodeBlock.Size()));
    addLine("  nodes", fmt::format("{}: {} files, {} folders, {} removed", kReport.uNodes, kReport.uFiles,
                                   kReport.uFolders, kReport.uRemovedNodes));
    addLine("  without key", fmt::format("{}", kReport.uWithoutKey));
    addLine("number block", fmt::format("{} bytes", kLayout.kNumberBlock.Size()));
    addLine("  numbers", fmt::format("{}: {} in {} lists, {} holes, {} dead", kReport.uNumbers, kReport.uListed,
                                     kReport.uLists, kReport.uHoles, kReport.uDead));
    addLine("key table", fmt::format("{} bytes", kLayout.kTableBlock.Size()));
    addLine("  keys", ShownTable(kReport.kKeys));
    addLine("type block", fmt::format("{} bytes", kLayout.kTypeBlock.Size()));
    addLine("  types", fmt::format("{}", kReport.vecTypes.size()));
    for (const Findings::Finding& kFinding : kFindings.First())
    {
        pkOutput->Write(fmt::format("DAMAGED at {:#x}: {}\n", kFinding.ullOffset, kFinding.strText));
    }
    if (kFindings.Count() > kFindings.First().size())
    {
        pkOutput->Write(fmt::format("DAMAGED: {} more\n", kFindings.Count() - kFindings.First().size()));
    }
}

nlohmann::ordered_json JsonOfFindings(const Findings& kFindings)
{
    nlohmann::ordered_json kJson = nlohmann::ordered_json::array();
    for (const Findings::Finding& kFinding : kFindings.First())
    {
        kJson.push_back({{"offset", kFinding.ullOffset}, {"text", kFinding.strText}});
    }
    return kJson;
}

void ShowJson(const LoadedImage& kImage, const ImageLayout& kLayout, const ImageReport& kReport,
              const Findings& kFindings, Output* pkOutput)
{
    nlohmann::ordered_json kJson;
    kJson["bytes"] = kLayout.kAll.Size();
    kJson["compressed"] =
        kImage.ullBlockSize == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(kImage.ullBlockSize);
    kJson["root"] = JsonText(kReport.strRootPath);
    kJson["name"] = JsonText(kReport.strRootName);
    kJson["blocks"] = {{"strings", kLayout.kStringBlock.Size()},
                       {"nodes", kLayout.kNodeBlock.Size()},
                       {"numbers", kLayout.kNumberBlock.Size()},
                       {"keys", kLayout.kTableBlock.Size()},
                       {"types", kLayout.kTypeBlock.Size()}};
    kJson["strings"] = {{"count", kReport.uStrings},
                        {"with_text", kReport.uWithText},
                        {"keys_only", kReport.uKeysOnly},
                        {"removed", kReport.uRemovedStrings},
                        {"texts", kReport.uTexts},
                        {"text_bytes", kReport.ullTextBytes},
                        {"primary", JsonOfTable(kReport.kPrimary)},
                        {"conflict", JsonOfTable(kReport.kConflict)}};
    kJson["nodes"] = {{"count", kReport.uNodes},
                      {"files", kReport.uFiles},
                      {"folders", kReport.uFolders},
                      {"removed", kReport.uRemovedNodes},
                      {"without_key", kReport.uWithoutKey}};
    kJson["numbers"] = {{"count", kReport.uNumbers},
                        {"lists", kReport.uLists},
                        {"listed", kReport.uListed},
                        {"holes", kReport.uHoles},
                        {"dead", kReport.uDead}};
    kJson["keys"] = JsonOfTable(kReport.kKeys);
    kJson["types"] = kReport.vecTypes.size();
    kJson["damage_count"] = kFindings.Count();
    kJson["damage"] = JsonOfFindings(kFindings);
    pkOutput->Write(kJson.dump(2) + "\n");
}

// False after a complaint.
bool LoadWanted(const ImageOptions& kOptions, LoadedImage* pkImage)
{
    std::string strError;
    const bool bLoaded = kOptions.strFile ? LoadFileImage(*kOptions.strFile, pkImage, &strError)
                                          : LoadSectionImage(kOptions.eaf.value_or(AF_SOURCE), pkImage, &strError);
    if (bLoaded && kOptions.strSave &&
        !WriteFile(*kOptions.strSave, pkImage->vecImage.data(), pkImage->vecImage.size(), &strError))
    {
        Complain(strError);
        return false;
    }
    if (!bLoaded)
    {
        Complain(strError);
    }
    return bLoaded;
}

void ShowState(const AssetNodeUpdateState& kState, bool bJson, Output* pkOutput)
{
    nlohmann::ordered_json kJson;
    kJson["version"] = kState.szVersion;
    kJson["sources"] = nlohmann::ordered_json::array();
    std::string strText = fmt::format("version {}\n", kState.szVersion);
    for (const enumAssetFrom eaf : AllSources())
    {
        const AssetNodeStateInfo& kRecord = kState.arrStateInfo[eaf];
        kJson["sources"].push_back({{"from", SourceName(eaf)},
                                    {"enabled", kRecord.bEnable != 0},
                                    {"update_count", kRecord.uUpdateCount},
                                    {"readers", kRecord.uReaderCount}});
        strText +=
            fmt::format("{:<16} {:<9} update count {:<10} readers {}\n", SourceName(eaf),
                        kRecord.bEnable != 0 ? "enabled" : "disabled", kRecord.uUpdateCount, kRecord.uReaderCount);
    }
    pkOutput->Write(bJson ? kJson.dump(2) + "\n" : strText);
}

int RunState(const ImageOptions& kOptions, Output* pkOutput)
{
    AssetNodeUpdateState kState;
    bool bMissing = false;
    std::string strError;
    if (!LoadState(&kState, &bMissing, &strError))
    {
        Complain(strError);
        return bMissing ? kExitNotFound : kExitError;
    }
    if (memcmp(kState.szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(kState.szVersion)) != 0)
    {
        Complain("the update state section is of another version, or none at all");
        return kExitError;
    }
    ShowState(kState, kOptions.bJson, pkOutput);
    return pkOutput->Flush() ? kExitFound : kExitError;
}

}  // namespace

int RunImage(const ImageOptions& kOptions, Output* pkOutput)
{
    if (kOptions.bState)
    {
        return RunState(kOptions, pkOutput);
    }
    LoadedImage kImage;
    if (!LoadWanted(kOptions, &kImage))
    {
        return kExitError;
    }
    Findings kFindings;
    const ImageLayout kLayout = ReadLayout(ByteView(kImage.vecImage.data(), kImage.vecImage.size()), &kFindings);
    const ImageReport kReport = CheckImage(kLayout, &kFindings);
    if (kOptions.bJson)
    {
        ShowJson(kImage, kLayout, kReport, kFindings, pkOutput);
    }
    else
    {
        ShowText(kImage, kLayout, kReport, kFindings, pkOutput);
    }
    if (kOptions.bDump)
    {
        DumpImage(kLayout, kOptions.uRecords, pkOutput);
    }
    const int nResult = pkOutput->Finish(kExitFound);
    if (nResult == kExitFound && kFindings.Count() != 0)
    {
        Complain(fmt::format("the image is damaged in {} places", kFindings.Count()));
        return kExitError;
    }
    return nResult;
}

}  // namespace lum

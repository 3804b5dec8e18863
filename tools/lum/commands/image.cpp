// lum image: what is in an image, and in the update state section.
#include <fmt/format.h>

#include <nlohmann/json.hpp>

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

double Load(const TableReport& table)
{
    return table.uSlots == 0 ? 0.0 : static_cast<double>(table.uUsed) / table.uSlots;
}

std::string ShownTable(const TableReport& table)
{
    return fmt::format("{} slots, {} used, load {:.3f}, longest probe {}", table.uSlots, table.uUsed, Load(table),
                       table.uLongestProbe);
}

nlohmann::ordered_json JsonOfTable(const TableReport& table)
{
    return {
        {"slots", table.uSlots}, {"used", table.uUsed}, {"load", Load(table)}, {"longest_probe", table.uLongestProbe}};
}

void ShowText(const LoadedImage& image, const ImageLayout& layout, const ImageReport& report, const Findings& findings,
              Output* pOutput)
{
    const auto addLine = [&](const char* pszLabel, const std::string& strValue)
    { pOutput->Write(fmt::format("{:<16}{}\n", fmt::format("{}:", pszLabel), strValue)); };

    addLine("image", image.ullBlockSize == 0
                         ? fmt::format("{} bytes", layout.all.Size())
                         : fmt::format("{} bytes, compressed {}", layout.all.Size(), image.ullBlockSize));
    addLine("root", fmt::format("{} ({})", ShownText(report.strRootPath), ShownText(report.strRootName)));
    addLine("string block", fmt::format("{} bytes", layout.stringBlock.Size()));
    addLine("  strings", fmt::format("{}: {} with text, {} keys only, {} removed", report.uStrings, report.uWithText,
                                     report.uKeysOnly, report.uRemovedStrings));
    addLine("  texts", fmt::format("{} in {} bytes", report.uTexts, report.ullTextBytes));
    addLine("  primary", ShownTable(report.primary));
    addLine("  conflict", ShownTable(report.conflict));
    addLine("node block", fmt::format("{} bytes", layout.nodeBlock.Size()));
    addLine("  nodes", fmt::format("{}: {} files, {} folders, {} removed", report.uNodes, report.uFiles,
                                   report.uFolders, report.uRemovedNodes));
    addLine("  without key", fmt::format("{}", report.uWithoutKey));
    addLine("number block", fmt::format("{} bytes", layout.numberBlock.Size()));
    addLine("  numbers", fmt::format("{}: {} in {} lists, {} holes, {} dead", report.uNumbers, report.uListed,
                                     report.uLists, report.uHoles, report.uDead));
    addLine("key table", fmt::format("{} bytes", layout.tableBlock.Size()));
    addLine("  keys", ShownTable(report.keys));
    addLine("type block", fmt::format("{} bytes", layout.typeBlock.Size()));
    addLine("  types", fmt::format("{}", report.vecTypes.size()));
    for (const Findings::Finding& finding : findings.First())
    {
        pOutput->Write(fmt::format("DAMAGED at {:#x}: {}\n", finding.ullOffset, finding.strText));
    }
    if (findings.Count() > findings.First().size())
    {
        pOutput->Write(fmt::format("DAMAGED: {} more\n", findings.Count() - findings.First().size()));
    }
}

nlohmann::ordered_json JsonOfFindings(const Findings& findings)
{
    nlohmann::ordered_json parsed = nlohmann::ordered_json::array();
    for (const Findings::Finding& finding : findings.First())
    {
        parsed.push_back({{"offset", finding.ullOffset}, {"text", finding.strText}});
    }
    return parsed;
}

void ShowJson(const LoadedImage& image, const ImageLayout& layout, const ImageReport& report, const Findings& findings,
              Output* pOutput)
{
    nlohmann::ordered_json parsed;
    parsed["bytes"] = layout.all.Size();
    parsed["compressed"] =
        image.ullBlockSize == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(image.ullBlockSize);
    parsed["root"] = JsonText(report.strRootPath);
    parsed["name"] = JsonText(report.strRootName);
    parsed["blocks"] = {{"strings", layout.stringBlock.Size()},
                        {"nodes", layout.nodeBlock.Size()},
                        {"numbers", layout.numberBlock.Size()},
                        {"keys", layout.tableBlock.Size()},
                        {"types", layout.typeBlock.Size()}};
    parsed["strings"] = {{"count", report.uStrings},
                         {"with_text", report.uWithText},
                         {"keys_only", report.uKeysOnly},
                         {"removed", report.uRemovedStrings},
                         {"texts", report.uTexts},
                         {"text_bytes", report.ullTextBytes},
                         {"primary", JsonOfTable(report.primary)},
                         {"conflict", JsonOfTable(report.conflict)}};
    parsed["nodes"] = {{"count", report.uNodes},
                       {"files", report.uFiles},
                       {"folders", report.uFolders},
                       {"removed", report.uRemovedNodes},
                       {"without_key", report.uWithoutKey}};
    parsed["numbers"] = {{"count", report.uNumbers},
                         {"lists", report.uLists},
                         {"listed", report.uListed},
                         {"holes", report.uHoles},
                         {"dead", report.uDead}};
    parsed["keys"] = JsonOfTable(report.keys);
    parsed["types"] = report.vecTypes.size();
    parsed["damage_count"] = findings.Count();
    parsed["damage"] = JsonOfFindings(findings);
    pOutput->Write(parsed.dump(2) + "\n");
}

// False after a complaint.
bool LoadWanted(const ImageOptions& options, LoadedImage* pImage)
{
    std::string strError;
    const bool bLoaded = options.strFile ? LoadFileImage(*options.strFile, pImage, &strError)
                                         : LoadSectionImage(options.eaf.value_or(AF_SOURCE), pImage, &strError);
    if (bLoaded && options.strSave &&
        !WriteFile(*options.strSave, pImage->vecImage.data(), pImage->vecImage.size(), &strError))
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

void ShowState(const AssetNodeUpdateState& state, bool bJson, Output* pOutput)
{
    nlohmann::ordered_json parsed;
    parsed["version"] = state.szVersion;
    parsed["sources"] = nlohmann::ordered_json::array();
    std::string strText = fmt::format("version {}\n", state.szVersion);
    for (const enumAssetFrom eaf : AllSources())
    {
        const AssetNodeStateInfo& record = state.arrStateInfo[eaf];
        parsed["sources"].push_back({{"from", SourceName(eaf)},
                                     {"enabled", record.bEnable != 0},
                                     {"update_count", record.uUpdateCount},
                                     {"readers", record.uReaderCount}});
        strText += fmt::format("{:<16} {:<9} update count {:<10} readers {}\n", SourceName(eaf),
                               record.bEnable != 0 ? "enabled" : "disabled", record.uUpdateCount, record.uReaderCount);
    }
    pOutput->Write(bJson ? parsed.dump(2) + "\n" : strText);
}

int RunState(const ImageOptions& options, Output* pOutput)
{
    AssetNodeUpdateState state;
    bool bMissing = false;
    std::string strError;
    if (!LoadState(&state, &bMissing, &strError))
    {
        Complain(strError);
        return bMissing ? kExitNotFound : kExitError;
    }
    if (memcmp(state.szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(state.szVersion)) != 0)
    {
        return EndWith("the update state section is of another version, or none at all");
    }
    ShowState(state, options.bJson, pOutput);
    return pOutput->Flush() ? kExitFound : kExitError;
}

}  // namespace

int RunImage(const ImageOptions& options, Output* pOutput)
{
    if (options.bState)
    {
        return RunState(options, pOutput);
    }
    LoadedImage image;
    if (!LoadWanted(options, &image))
    {
        return kExitError;
    }
    Findings findings;
    const ImageLayout layout = ReadLayout(ByteView(image.vecImage.data(), image.vecImage.size()), &findings);
    const ImageReport report = CheckImage(layout, &findings);
    if (options.bJson)
    {
        ShowJson(image, layout, report, findings, pOutput);
    }
    else
    {
        ShowText(image, layout, report, findings, pOutput);
    }
    if (options.bDump)
    {
        DumpImage(layout, options.uRecords.value_or(4), pOutput);
    }
    const int nResult = pOutput->Finish(kExitFound);
    if (nResult == kExitFound && findings.Count() != 0)
    {
        return EndWith(fmt::format("the image is damaged in {} places", findings.Count()));
    }
    return nResult;
}

}  // namespace lum

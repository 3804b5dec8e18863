// lum watch: prints what changes in the published sources as it is told, until it is told to stop.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/library_log.h"
#include "base/paths.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "platform/vo_process.h"
#include "platform/vo_text.h"
#include "reader/event_stream.h"
#include "reader/json_view.h"
#include "reader/path_argument.h"
#include "reader/session.h"
#include "reader/text_view.h"

namespace lum
{

namespace
{

constexpr unsigned long long kMicrosecond = 1'000'000;

// A request to stop is seen this soon.
constexpr std::chrono::milliseconds kTurn(200);

std::string TextOf(const Change& kChange)
{
    const std::string strSlash = kChange.bFolder ? "/" : "";
    std::string strLine =
        fmt::format("{}  {:<16}{:<9} {}{}", LocalTime(static_cast<int64_t>(kChange.ullTime / kMicrosecond)),
                    SourceName(kChange.eaf), NameOf(kChange.eKind), ShownText(kChange.strPath), strSlash);
    if (!kChange.strNewName.empty())
    {
        strLine += fmt::format(" -> {}{}", ShownText(kChange.strNewName), strSlash);
    }
    return strLine + "\n";
}

std::string JsonLineOf(const Change& kChange)
{
    nlohmann::ordered_json kLine = {{"time_us", kChange.ullTime},
                                    {"from", SourceName(kChange.eaf)},
                                    {"kind", NameOf(kChange.eKind)},
                                    {"folder", kChange.bFolder},
                                    {"path", JsonText(kChange.strPath)}};
    if (!kChange.strNewName.empty())
    {
        kLine["new_name"] = JsonText(kChange.strNewName);
    }
    kLine["file"] = JsonText(kChange.strPhysicalPath);
    kLine["roots"] = kChange.uRoots;
    return kLine.dump() + "\n";
}

// What is shown: all of it, or what lies at or under a path, which is another one in each source.
class WatchFilter
{
public:
    // False with a message when the path lies in none of the published sources.
    bool Open(const WatchOptions& kOptions, std::string* pstrError)
    {
        m_bAll = kOptions.strPath.empty();
        if (m_bAll)
        {
            return true;
        }
        ReaderSession kSession;
        if (kSession.Open(kOptions.eaf, pstrError) != ReaderSession::Opened::Yes)
        {
            return false;
        }
        for (const ReaderSource& kOne : kSession.Sources())
        {
            for (const VOWString& strReading : ReadingsOf(kOptions.strPath))
            {
                if (const std::optional<VOWString> strPath = RelativePath(strReading, kOne.Root()))
                {
                    m_mapPrefixes[kOne.From()].push_back(FoldAscii(*strPath));
                }
            }
        }
        *pstrError = fmt::format("{}: lies in no source that is published", PrintableText(kOptions.strPath));
        return !m_mapPrefixes.empty();
    }

    bool Shows(const Change& kChange) const
    {
        const auto itPrefixes = m_mapPrefixes.find(kChange.eaf);
        const bool bPlace = itPrefixes != m_mapPrefixes.end() &&
                            std::any_of(itPrefixes->second.begin(), itPrefixes->second.end(),
                                        [&](const VOWString& strPrefix) { return _IsUnder(kChange, strPrefix); });
        return m_bAll || bPlace;
    }

private:
    static bool _IsUnder(const Change& kChange, const VOWString& strPrefix)
    {
        const VOWString strPath = FoldAscii(kChange.strPath);
        const VOWString strNew = FoldAscii(JoinPath(ParentPath(kChange.strPath), kChange.strNewName));
        return strPath == strPrefix || LiesIn(strPath, strPrefix) ||
               (!kChange.strNewName.empty() && (strNew == strPrefix || LiesIn(strNew, strPrefix)));
    }

    bool m_bAll = true;
    std::map<LUMTrayService::enumAssetFrom, std::vector<VOWString>> m_mapPrefixes;  // folded
};

// What the event is about stands in the environment, so that no name is ever taken for a part of the command.
void Execute(const std::string& strCommand, const Change& kChange)
{
    VOSetEnvironment("LUM_SOURCE", std::string(SourceName(kChange.eaf)));
    VOSetEnvironment("LUM_KIND", std::string(NameOf(kChange.eKind)));
    VOSetEnvironment("LUM_PATH", VOToNativePath(kChange.strPath));
    VOSetEnvironment("LUM_NEW_NAME", VOToNativePath(kChange.strNewName));
    VOSetEnvironment("LUM_FILE", VOToNativePath(kChange.strPhysicalPath));
    if (VORunCommand(strCommand) == -1)
    {
        Complain(fmt::format("\"{}\" can't be run", strCommand));
    }
}

}  // namespace

int RunWatch(const WatchOptions& kOptions, Output* pkOutput)
{
    WatchLibraryLog();
    EventStream kStream;
    std::string strError;
    if (!VOHandleStopRequests())
    {
        Complain("requests to stop can't be handled");
        return kExitError;
    }
    if (!kStream.Open(kOptions.eaf, &strError))
    {
        Complain(strError);
        return kExitNotFound;
    }
    WatchFilter kFilter;
    if (!kFilter.Open(kOptions, &strError))
    {
        Complain(strError);
        return kExitNotFound;
    }
    uint32_t uShown = 0;
    while (!VOStopRequested() && (!kOptions.uCount || uShown < *kOptions.uCount))
    {
        const std::optional<Change> kChange = kStream.Next(kTurn);
        if (!kChange || !kFilter.Shows(*kChange))
        {
            continue;
        }
        ++uShown;
        pkOutput->Write(kOptions.bJson ? JsonLineOf(*kChange) : TextOf(*kChange));
        if (!pkOutput->Flush())
        {
            break;
        }
        if (kOptions.strExecute)
        {
            Execute(*kOptions.strExecute, *kChange);
        }
    }
    return pkOutput->Finish(kExitFound);
}

}  // namespace lum

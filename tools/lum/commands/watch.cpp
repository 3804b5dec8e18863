// lum watch: prints what changes in the published sources as it is told, until it is told to stop.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "base/log.h"
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

std::string TextOf(const Change& change)
{
    const std::string strSlash = change.bFolder ? "/" : "";
    std::string strLine =
        fmt::format("{}  {:<16}{:<9} {}{}", LocalTime(static_cast<int64_t>(change.ullTime / kMicrosecond)),
                    SourceName(change.eaf), NameOf(change.eKind), ShownText(change.strPath), strSlash);
    if (!change.strNewName.empty())
    {
        strLine += fmt::format(" -> {}{}", ShownText(change.strNewName), strSlash);
    }
    return strLine + "\n";
}

std::string JsonLineOf(const Change& change)
{
    nlohmann::ordered_json line = {{"time_us", change.ullTime},
                                   {"from", SourceName(change.eaf)},
                                   {"kind", NameOf(change.eKind)},
                                   {"folder", change.bFolder},
                                   {"path", JsonText(change.strPath)}};
    if (!change.strNewName.empty())
    {
        line["new_name"] = JsonText(change.strNewName);
    }
    line["file"] = JsonText(change.strPhysicalPath);
    line["roots"] = change.uRoots;
    return line.dump() + "\n";
}

// What is shown: all of it, or what lies at or under a path, which is another one in each source.
class WatchFilter
{
public:
    // False with a message when the path lies in none of the published sources.
    bool Open(const WatchOptions& options, std::string* pstrError)
    {
        m_bAll = options.strPath.empty();
        if (m_bAll)
        {
            return true;
        }
        ReaderSession session;
        if (session.Open(options.eaf, pstrError) != ReaderSession::Opened::Yes)
        {
            return false;
        }
        for (const ReaderSource& one : session.Sources())
        {
            for (const VOWString& strReading : ReadingsOf(options.strPath))
            {
                if (const std::optional<VOWString> strPath = RelativePath(strReading, one.Root()))
                {
                    m_mapPrefixes[one.From()].push_back(FoldAscii(*strPath));
                }
            }
        }
        *pstrError = fmt::format("{}: lies in no source that is published", PrintableText(options.strPath));
        return !m_mapPrefixes.empty();
    }

    bool Shows(const Change& change) const
    {
        const auto itPrefixes = m_mapPrefixes.find(change.eaf);
        const bool bPlace = itPrefixes != m_mapPrefixes.end() &&
                            std::any_of(itPrefixes->second.begin(), itPrefixes->second.end(),
                                        [&](const VOWString& strPrefix) { return _IsUnder(change, strPrefix); });
        return m_bAll || bPlace;
    }

private:
    static bool _IsUnder(const Change& change, const VOWString& strPrefix)
    {
        const VOWString strPath = FoldAscii(change.strPath);
        const VOWString strNew = FoldAscii(JoinPath(ParentPath(change.strPath), change.strNewName));
        return strPath == strPrefix || LiesIn(strPath, strPrefix) ||
               (!change.strNewName.empty() && (strNew == strPrefix || LiesIn(strNew, strPrefix)));
    }

    bool m_bAll = true;
    std::map<LUMTrayService::enumAssetFrom, std::vector<VOWString>> m_mapPrefixes;  // folded
};

// What the event is about stands in the environment, so that no name is ever taken for a part of the command.
void Execute(const std::string& strCommand, const Change& change)
{
    VOSetEnvironment("LUM_SOURCE", std::string(SourceName(change.eaf)));
    VOSetEnvironment("LUM_KIND", std::string(NameOf(change.eKind)));
    VOSetEnvironment("LUM_PATH", VOToNativePath(change.strPath));
    VOSetEnvironment("LUM_NEW_NAME", VOToNativePath(change.strNewName));
    VOSetEnvironment("LUM_FILE", VOToNativePath(change.strPhysicalPath));
    if (VORunCommand(strCommand) == -1)
    {
        Complain(fmt::format("\"{}\" can't be run", strCommand));
    }
}

}  // namespace

int RunWatch(const WatchOptions& options, Output* pOutput)
{
    WatchLibraryLog();
    EventStream stream;
    std::string strError;
    if (!VOHandleStopRequests())
    {
        return EndWith("requests to stop can't be handled");
    }
    if (!stream.Open(options.eaf, &strError))
    {
        return EndWith(strError, kExitNotFound);
    }
    WatchFilter filter;
    if (!filter.Open(options, &strError))
    {
        return EndWith(strError, kExitNotFound);
    }
    uint32_t uShown = 0;
    while (!VOStopRequested() && (!options.uCount || uShown < *options.uCount))
    {
        const std::optional<Change> change = stream.Next(kTurn);
        if (!change || !filter.Shows(*change))
        {
            continue;
        }
        ++uShown;
        pOutput->Write(options.bJson ? JsonLineOf(*change) : TextOf(*change));
        if (!pOutput->Flush())
        {
            break;
        }
        if (options.strExecute)
        {
            Execute(*options.strExecute, *change);
        }
    }
    return pOutput->Finish(kExitFound);
}

}  // namespace lum

// lum watch: prints what changes in the published sources as it is told, until it is told to stop.
#include <fmt/format.h>
#include <stdlib.h>

#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "platform/vo_native_names.h"
#include "platform/vo_process.h"
#include "reader/event_stream.h"
#include "reader/json_view.h"
#include "reader/library_log.h"
#include "reader/text_view.h"

namespace lum
{

namespace
{

constexpr unsigned long long kMicrosecond = 1'000'000;

// A request to stop is seen this soon.
constexpr std::chrono::milliseconds kTurn(200);

std::string TextOf(const StreamEvent& kEvent)
{
    const std::string strSlash = kEvent.bFolder ? "/" : "";
    std::string strLine =
        fmt::format("{}  {:<16}{:<9} {}{}", LocalTime(static_cast<int64_t>(kEvent.ullTime / kMicrosecond)),
                    SourceName(kEvent.eaf), EventKindName(kEvent.uKind), ShownText(kEvent.strPath), strSlash);
    if (!kEvent.strNewName.empty())
    {
        strLine += fmt::format(" -> {}{}", ShownText(kEvent.strNewName), strSlash);
    }
    return strLine + "\n";
}

std::string JsonLineOf(const StreamEvent& kEvent)
{
    nlohmann::ordered_json kLine = {{"time_us", kEvent.ullTime},
                                    {"from", SourceName(kEvent.eaf)},
                                    {"kind", EventKindName(kEvent.uKind)},
                                    {"folder", kEvent.bFolder},
                                    {"path", JsonText(kEvent.strPath)}};
    if (!kEvent.strNewName.empty())
    {
        kLine["new_name"] = JsonText(kEvent.strNewName);
    }
    kLine["file"] = JsonText(kEvent.strPhysicalPath);
    kLine["roots"] = kEvent.uRoots;
    return kLine.dump() + "\n";
}

// Under the prefix, as parts of a path.
bool IsUnder(const StreamEvent& kEvent, const VOWString& strPrefix)
{
    return strPrefix.empty() || kEvent.strPath == strPrefix || kEvent.strPath.starts_with(strPrefix + VOTEXT("/"));
}

// What the event is about stands in the environment, so that no name is ever taken for a part of the command.
void Execute(const std::string& strCommand, const StreamEvent& kEvent)
{
    VOSetEnvironment("LUM_SOURCE", std::string(SourceName(kEvent.eaf)));
    VOSetEnvironment("LUM_KIND", std::string(EventKindName(kEvent.uKind)));
    VOSetEnvironment("LUM_PATH", VOToNativePath(kEvent.strPath));
    VOSetEnvironment("LUM_NEW_NAME", VOToNativePath(kEvent.strNewName));
    VOSetEnvironment("LUM_FILE", VOToNativePath(kEvent.strPhysicalPath));
    if (system(strCommand.c_str()) == -1)
    {
        Complain(fmt::format("\"{}\" can't be run", strCommand));
    }
}

VOWString PrefixOf(const std::string& strArgument)
{
    VOWString strPrefix = VOFromNative(strArgument);
    for (VOWCHAR& rch : strPrefix)
    {
        rch = rch == '\\' ? VOWCHAR('/') : rch;
    }
    while (!strPrefix.empty() && strPrefix.back() == '/')
    {
        strPrefix.pop_back();
    }
    return strPrefix;
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
    const VOWString strPrefix = PrefixOf(kOptions.strPath);
    uint32_t uShown = 0;
    while (!VOStopRequested() && (!kOptions.uCount || uShown < *kOptions.uCount))
    {
        const std::optional<StreamEvent> kEvent = kStream.Next(kTurn);
        if (!kEvent || !IsUnder(*kEvent, strPrefix))
        {
            continue;
        }
        ++uShown;
        pkOutput->Write(kOptions.bJson ? JsonLineOf(*kEvent) : TextOf(*kEvent));
        if (!pkOutput->Flush())
        {
            Complain("standard output can't be written");
            return kExitError;
        }
        if (kOptions.strExecute)
        {
            Execute(*kOptions.strExecute, *kEvent);
        }
    }
    return kExitFound;
}

}  // namespace lum

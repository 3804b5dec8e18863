// The commands of lum: their options as the user gave them, and what runs them. The result is an exit code.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include "base/console.h"
#include "tray_service_types.h"

namespace lum
{

struct ServeOptions
{
    std::optional<std::string> strSource;
    std::optional<std::string> strTarget;
    std::optional<std::string> strPak;
    std::optional<std::string> strHttpSource;
    std::optional<std::string> strHttpTarget;
    std::optional<std::string> strHttpPkgSource;
    std::optional<std::string> strHttpPkgTarget;
    std::vector<std::string> vecMergeSource;
    std::vector<std::string> vecMergeTarget;
    std::optional<std::string> strTypes;
    std::optional<std::string> strOptions;  // an INI file of public options
    std::optional<std::string> strLog;      // the folder of log files
    bool bOnce = false;
    bool bClassic = false;  // without the second road
};

// What all commands of the reader's side take.
struct ReaderOptions
{
    std::optional<LUMTrayService::enumAssetFrom> eaf;  // none: all that are published
    bool bJson = false;
};

struct ListOptions : ReaderOptions
{
    std::string strPath;  // narrow; empty for the root
    bool bLong = false;
};

struct TreeOptions : ReaderOptions
{
    std::string strPath;
    std::optional<uint32_t> uDepth;
    bool bFoldersOnly = false;
};

struct FindOptions : ReaderOptions
{
    std::string strPath;
    std::optional<std::string> strName;
    std::optional<std::string> strExtensions;
    std::optional<uint32_t> uMerge;
    std::optional<std::string> strType;
    bool bFiles = false;
    bool bFolders = false;
    bool bMatchCase = false;
    bool bNull = false;
};

struct StatOptions : ReaderOptions
{
    std::vector<std::string> vecPaths;
};

struct ImageOptions
{
    std::optional<LUMTrayService::enumAssetFrom> eaf;
    std::optional<std::string> strFile;
    std::optional<std::string> strSave;
    bool bState = false;
    bool bDump = false;
    std::optional<uint32_t> uRecords;
    bool bJson = false;
};

struct WatchOptions : ReaderOptions
{
    std::string strPath;                    // narrow; only what lies under it
    std::optional<std::string> strExecute;  // a command to run for each event
    std::optional<uint32_t> uCount;         // end after so many events
};

struct OptionsOptions
{
    std::optional<std::string> strKey;  // the key to demand
    bool bJson = false;
};

struct LogOptions
{
    std::string strFolder;
    bool bFollow = false;
    std::optional<uint32_t> uLines;  // only the last so many
};

struct CrashOptions
{
    std::string strHow;
    std::optional<std::string> strLog;
};

struct DemoOptions
{
    std::string strProgram;  // how to start this program again
    std::optional<std::string> strDirectory;
};

int RunServe(const ServeOptions& options, Output* pOutput);
int RunStatus(const ReaderOptions& options, Output* pOutput);
int RunList(const ListOptions& options, Output* pOutput);
int RunTree(const TreeOptions& options, Output* pOutput);
int RunFind(const FindOptions& options, Output* pOutput);
int RunStat(const StatOptions& options, Output* pOutput);
int RunTypes(const ReaderOptions& options, Output* pOutput);
int RunImage(const ImageOptions& options, Output* pOutput);
int RunWatch(const WatchOptions& options, Output* pOutput);
int RunOptions(const OptionsOptions& options, Output* pOutput);
int RunLog(const LogOptions& options, Output* pOutput);
int RunDemo(const DemoOptions& options, Output* pOutput);
int RunCrash(const CrashOptions& options, Output* pOutput);

// What RunCrash can do.
std::vector<std::string> CrashKinds();

}  // namespace lum

#include "arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <sstream>

#include "base/console.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "usage.h"

namespace lum
{

namespace
{

const char* const kExitCodes = "Exit codes: 0 found or done, 1 not found, 2 error.";

template <typename Value>
CLI::Option* AddText(CLI::App* pApp, const char* pszName, Value* pValue, const char* pszType, const char* pszHelp)
{
    return pApp->add_option(pszName, *pValue, pszHelp)->type_name(pszType);
}

CLI::Option* AddSource(CLI::App* pApp, const char* pszName, std::optional<LUMTrayService::enumAssetFrom>* peaf,
                       const char* pszHelp)
{
    const auto take = [peaf](const std::string& strName) { *peaf = SourceByName(strName); };
    return pApp->add_option_function<std::string>(pszName, take, pszHelp)
        ->check(CLI::IsMember(SourceNames()))
        ->type_name("SOURCE");
}

CLI::Option* AddNumber(CLI::App* pApp, const char* pszName, std::optional<uint32_t>* puValue, const char* pszHelp,
                       const std::string& strForm = " (123 or 0x7b)")
{
    const auto take = [puValue](const std::string& strText) { *puValue = ParseNumber(strText); };
    return pApp->add_option_function<std::string>(pszName, take, pszHelp)
        ->check([strForm](const std::string& strText)
                { return ParseNumber(strText) ? std::string() : "\"" + strText + "\" is no number" + strForm; })
        ->type_name("NUMBER");
}

void AddReaderOptions(CLI::App* pApp, ReaderOptions* pOptions)
{
    AddSource(pApp, "--from", &pOptions->eaf, "Only this source; otherwise all that are published");
    pApp->add_flag("--json", pOptions->bJson, "Write JSON");
}

// The command line as it is known, and what became of the command that it named.
struct CommandLine
{
    CLI::App app{"lum: publishes an index of files, and shows what is published", "lum"};
    Output output;
    int nExitCode = kExitError;
};

// A command, and the options that it is to be run with once they are read.
template <typename Options>
std::pair<CLI::App*, Options*> AddCommand(CommandLine* pLine, const char* pszName, const char* pszHelp,
                                          int (*pfnRun)(const Options&, Output*))
{
    const auto pOptions = std::make_shared<Options>();
    CLI::App* const pCommand = pLine->app.add_subcommand(pszName, pszHelp);
    pCommand->callback([=]() { pLine->nExitCode = pfnRun(*pOptions, &pLine->output); });
    pCommand->footer(kExitCodes);
    return {pCommand, pOptions.get()};
}

void AddServe(CommandLine* pLine)
{
    const auto [pServe, pOptions] =
        AddCommand(pLine, "serve", "Publish directories, an archive and lists of paths", &RunServe);
    AddText(pServe, "--source", &pOptions->strSource, "DIR", "The source directory");
    AddText(pServe, "--target", &pOptions->strTarget, "DIR", "The target directory");
    // Every use of the option is one more directory.
    AddText(pServe, "--merge-source", &pOptions->vecMergeSource, "DIR",
            "A directory of the merge source, with the next merge bit; repeatable")
        ->allow_extra_args(false);
    AddText(pServe, "--merge-target", &pOptions->vecMergeTarget, "DIR", "The same for the merge target")
        ->allow_extra_args(false);
    AddText(pServe, "--pak", &pOptions->strPak, "ARCHIVE", "An archive to list (zip, tar, ...)");
    AddText(pServe, "--http-source", &pOptions->strHttpSource, "LIST",
            "A text file of paths: HTTP files of the source");
    AddText(pServe, "--http-target", &pOptions->strHttpTarget, "LIST", "HTTP files of the target");
    AddText(pServe, "--http-pkg-source", &pOptions->strHttpPkgSource, "LIST", "HTTP packages of the source");
    AddText(pServe, "--http-pkg-target", &pOptions->strHttpPkgTarget, "LIST", "HTTP packages of the target");
    AddText(pServe, "--types", &pOptions->strTypes, "FILE", "The table of types, in place of the built-in one");
    AddText(pServe, "--options", &pOptions->strOptions, "FILE", "An INI file of public options to publish as well");
    AddText(pServe, "--log", &pOptions->strLog, "DIR", "Write a log file below this folder");
    pServe->add_flag("--once", pOptions->bOnce, "Publish what is there now, and wait; don't watch for changes");
    pServe->add_flag("--classic", pOptions->bClassic,
                     "Publish compressed images alone, without the bases that tools map as they are");
}

void AddReaders(CommandLine* pLine)
{
    const auto [pStatus, pStatusOptions] = AddCommand(pLine, "status", "Show what is published", &RunStatus);
    AddReaderOptions(pStatus, pStatusOptions);

    const auto [pList, pListOptions] = AddCommand(pLine, "ls", "List a folder", &RunList);
    AddReaderOptions(pList, pListOptions);
    AddText(pList, "path", &pListOptions->strPath, "PATH", "The folder; the root when left out");
    pList->add_flag("-l,--long", pListOptions->bLong, "Attributes, size, time and type as well");

    const auto [pTree, pTreeOptions] = AddCommand(pLine, "tree", "Draw everything below a folder", &RunTree);
    AddReaderOptions(pTree, pTreeOptions);
    AddText(pTree, "path", &pTreeOptions->strPath, "PATH", "The folder; the root when left out");
    AddNumber(pTree, "--depth", &pTreeOptions->uDepth, "Levels to draw below the folder");
    pTree->add_flag("--folders", pTreeOptions->bFoldersOnly, "Only folders");

    const auto [pStat, pStatOptions] = AddCommand(pLine, "stat", "Show everything about files and folders", &RunStat);
    AddReaderOptions(pStat, pStatOptions);
    AddText(pStat, "path", &pStatOptions->vecPaths, "PATH", "Files and folders")->required();

    const auto [pTypes, pTypesOptions] = AddCommand(pLine, "types", "Show the table of types", &RunTypes);
    AddReaderOptions(pTypes, pTypesOptions);
}

void AddFind(CommandLine* pLine)
{
    const auto [pFind, pOptions] = AddCommand(pLine, "find", "Find what meets all conditions", &RunFind);
    AddReaderOptions(pFind, pOptions);
    AddText(pFind, "path", &pOptions->strPath, "PATH", "The folder to search; the root when left out");
    AddText(pFind, "--name", &pOptions->strName, "TEXT", "The base name, without extension, contains this text");
    AddText(pFind, "--ext", &pOptions->strExtensions, "LIST", "The extension is one of these, such as \"png|tga\"");
    AddNumber(pFind, "--merge", &pOptions->uMerge, "The merge sign has one of these bits");
    AddText(pFind, "--type", &pOptions->strType, "TYPE", "The type, by name or number");
    pFind->add_flag("--files", pOptions->bFiles, "Only files");
    pFind->add_flag("--folders", pOptions->bFolders, "Only folders");
    pFind->add_flag("--case", pOptions->bMatchCase, "Compare names and extensions with case");
    pFind->add_flag("-0,--null", pOptions->bNull,
                    "Write bare paths as the file system has them, a zero byte behind each");
}

void AddImage(CommandLine* pLine)
{
    const auto [pImage, pOptions] =
        AddCommand(pLine, "image", "Show what is in an image, and whether it is sound", &RunImage);
    CLI::Option* pSection =
        AddSource(pImage, "--section", &pOptions->eaf, "The published image of this source (source when left out)");
    CLI::Option* pFile =
        AddText(pImage, "--file", &pOptions->strFile, "FILE", "A file with an image, compressed or not");
    pFile->excludes(pSection);
    CLI::Option* pDump = pImage->add_flag("--dump", pOptions->bDump, "Every value of all heads, and of some records");
    AddNumber(pImage, "--records", &pOptions->uRecords, "Records of each kind in a dump (default 4)", "")->needs(pDump);
    AddText(pImage, "--save", &pOptions->strSave, "FILE", "Write the image, uncompressed, to this file");
    CLI::Option* pState = pImage->add_flag("--state", pOptions->bState, "The update state section instead");
    pState->excludes(pSection)->excludes(pFile)->excludes(pDump);
    pImage->add_flag("--json", pOptions->bJson, "Write JSON")->excludes(pDump);
}

void AddWatch(CommandLine* pLine)
{
    const auto [pWatch, pOptions] =
        AddCommand(pLine, "watch", "Show changes as they are told, until it is stopped", &RunWatch);
    AddSource(pWatch, "--source,--from", &pOptions->eaf, "Only this source; otherwise all that are published");
    AddText(pWatch, "--path", &pOptions->strPath, "PREFIX", "Only what lies under this path of the index");
    AddText(pWatch, "--exec", &pOptions->strExecute, "CMD",
            "Run this command for each event, with LUM_SOURCE, LUM_KIND, LUM_PATH, LUM_NEW_NAME and LUM_FILE in its "
            "environment");
    AddNumber(pWatch, "--count", &pOptions->uCount, "End after so many events");
    pWatch->add_flag("--json", pOptions->bJson, "Write one JSON object a line");
}

void AddServices(CommandLine* pLine, const std::string& strProgram)
{
    const auto [pPublic, pPublicOptions] = AddCommand(pLine, "options", "Show the public options", &RunOptions);
    AddText(pPublic, "--key", &pPublicOptions->strKey, "KEY", "Take only options that have this key");
    pPublic->add_flag("--json", pPublicOptions->bJson, "Write JSON");

    const auto [pLog, pLogOptions] = AddCommand(pLine, "log", "Show the newest log file of a folder", &RunLog);
    AddText(pLog, "dir", &pLogOptions->strFolder, "DIR", "The folder that lum serve --log was given")->required();
    pLog->add_flag("-f,--follow", pLogOptions->bFollow, "Go on with what is added, until it is stopped");
    AddNumber(pLog, "-n,--lines", &pLogOptions->uLines, "Only the last so many lines");

    const auto [pCrash, pCrashOptions] = AddCommand(pLine, "crash", "Crash", &RunCrash);
    pCrash->add_option("how", pCrashOptions->strHow)->required()->check(CLI::IsMember(CrashKinds()));
    pCrash->add_option("--log", pCrashOptions->strLog);
    pCrash->group("");  // for tests; not in the help

    const auto [pDemo, pDemoOptions] = AddCommand(
        pLine, "demo", "Publish a directory, read it from a second process, and see a change arrive", &RunDemo);
    pDemoOptions->strProgram = strProgram;
    AddText(pDemo, "dir", &pDemoOptions->strDirectory, "DIR", "The directory; a small one is made when left out");
}

}  // namespace

int RunCommandLine(const std::string& strProgram, std::vector<std::string> vecArguments)
{
    CommandLine line;
    // A path may begin with a slash on every system.
    line.app.allow_windows_style_options(false);
    line.app.set_version_flag("--version", "lum " LUM_VERSION);
    line.app.require_subcommand(1);
    line.app.footer(kExitCodes);
    AddServe(&line);
    AddReaders(&line);
    AddFind(&line);
    AddImage(&line);
    AddWatch(&line);
    AddServices(&line, strProgram);

    const std::string strUnknown = UnknownCommand(line.app, vecArguments);
    if (!strUnknown.empty())
    {
        return EndWith(strUnknown);
    }
    vecArguments.resize(std::max<size_t>(vecArguments.size(), 1), "--help");
    std::reverse(vecArguments.begin(), vecArguments.end());
    try
    {
        line.app.parse(vecArguments);
        return line.nExitCode;
    }
    catch (const CLI::Success& asked)
    {
        // Help, or the version.
        std::ostringstream text;
        line.app.exit(asked, text, text);
        line.output.Write(text.str());
        return line.output.Flush() ? kExitFound : kExitError;
    }
    catch (const CLI::ParseError& error)
    {
        return EndWith(UsageError(line.app, error));
    }
}

}  // namespace lum

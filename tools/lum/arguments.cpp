#include "arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <sstream>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/sources.h"
#include "base/text.h"
#include "commands/commands.h"
#include "usage.h"

namespace lum
{

namespace
{

typedef std::function<int()> Command;

// Everything that the options are read into. It outlives the parsing, and the command that runs afterwards.
struct AllOptions
{
    ServeOptions serve;
    ReaderOptions status;
    ListOptions list;
    TreeOptions tree;
    FindOptions find;
    StatOptions stat;
    ReaderOptions types;
    ImageOptions image;
    WatchOptions watch;
    OptionsOptions options;
    LogOptions log;
    DemoOptions demo;
    CrashOptions crash;
};

const char* const kExitCodes = "Exit codes: 0 found or done, 1 not found, 2 error.";

CLI::Option* AddSource(CLI::App* pApp, const std::string& strFlag, const std::string& strHelp,
                       std::optional<LUMTrayService::enumAssetFrom>* peaf)
{
    return pApp
        ->add_option_function<std::string>(
            strFlag, [peaf](const std::string& strName) { *peaf = SourceByName(strName); }, strHelp)
        ->check(CLI::IsMember(SourceNames()))
        ->type_name("SOURCE");
}

CLI::Option* AddNumber(CLI::App* pApp, const std::string& strFlag, const std::string& strHelp,
                       std::optional<uint32_t>* puValue)
{
    return pApp
        ->add_option_function<std::string>(
            strFlag, [puValue](const std::string& strText) { *puValue = ParseNumber(strText); }, strHelp)
        ->check([](const std::string& strText)
                { return ParseNumber(strText) ? std::string() : "\"" + strText + "\" is no number (123 or 0x7b)"; })
        ->type_name("NUMBER");
}

// Every use of the option is one more value.
void AddRepeated(CLI::App* pApp, const std::string& strFlag, const std::string& strHelp,
                 std::vector<std::string>* pvecValues)
{
    pApp->add_option(strFlag, *pvecValues, strHelp)->allow_extra_args(false)->type_name("DIR");
}

void AddReaderOptions(CLI::App* pApp, ReaderOptions* pOptions)
{
    AddSource(pApp, "--from", "Only this source; otherwise all that are published", &pOptions->eaf);
    pApp->add_flag("--json", pOptions->bJson, "Write JSON");
}

void AddPath(CLI::App* pApp, const std::string& strHelp, std::string* pstrPath)
{
    pApp->add_option("path", *pstrPath, strHelp)->type_name("PATH");
}

CLI::App* AddCommand(CLI::App* pApp, const std::string& strName, const std::string& strHelp, Command* pfnRun,
                     const Command& fnCommand)
{
    CLI::App* pCommand = pApp->add_subcommand(strName, strHelp);
    pCommand->callback([pfnRun, fnCommand]() { *pfnRun = fnCommand; });
    pCommand->footer(kExitCodes);
    return pCommand;
}

void AddServe(CLI::App* pApp, ServeOptions* pOptions, Command* pfnRun)
{
    CLI::App* pServe = AddCommand(pApp, "serve", "Publish directories, an archive and lists of paths", pfnRun,
                                  [pOptions]() { return RunServe(*pOptions); });
    pServe->add_option("--source", pOptions->strSource, "The source directory")->type_name("DIR");
    pServe->add_option("--target", pOptions->strTarget, "The target directory")->type_name("DIR");
    AddRepeated(pServe, "--merge-source", "A directory of the merge source, with the next merge bit; repeatable",
                &pOptions->vecMergeSource);
    AddRepeated(pServe, "--merge-target", "The same for the merge target", &pOptions->vecMergeTarget);
    pServe->add_option("--pak", pOptions->strPak, "An archive to list (zip, tar, ...)")->type_name("ARCHIVE");
    pServe->add_option("--http-source", pOptions->strHttpSource, "A text file of paths: HTTP files of the source")
        ->type_name("LIST");
    pServe->add_option("--http-target", pOptions->strHttpTarget, "HTTP files of the target")->type_name("LIST");
    pServe->add_option("--http-pkg-source", pOptions->strHttpPkgSource, "HTTP packages of the source")
        ->type_name("LIST");
    pServe->add_option("--http-pkg-target", pOptions->strHttpPkgTarget, "HTTP packages of the target")
        ->type_name("LIST");
    pServe->add_option("--types", pOptions->strTypes, "The table of types, in place of the built-in one")
        ->type_name("FILE");
    pServe->add_option("--options", pOptions->strOptions, "An INI file of public options to publish as well")
        ->type_name("FILE");
    pServe->add_option("--log", pOptions->strLog, "Write a log file below this folder")->type_name("DIR");
    pServe->add_flag("--once", pOptions->bOnce, "Publish what is there now, and wait; don't watch for changes");
}

void AddReaders(CLI::App* pApp, AllOptions* pOptions, Output* pOutput, Command* pfnRun)
{
    CLI::App* pStatus = AddCommand(pApp, "status", "Show what is published", pfnRun,
                                   [=]() { return RunStatus(pOptions->status, pOutput); });
    AddReaderOptions(pStatus, &pOptions->status);

    CLI::App* pList =
        AddCommand(pApp, "ls", "List a folder", pfnRun, [=]() { return RunList(pOptions->list, pOutput); });
    AddReaderOptions(pList, &pOptions->list);
    AddPath(pList, "The folder; the root when left out", &pOptions->list.strPath);
    pList->add_flag("-l,--long", pOptions->list.bLong, "Attributes, size, time and type as well");

    CLI::App* pTree = AddCommand(pApp, "tree", "Draw everything below a folder", pfnRun,
                                 [=]() { return RunTree(pOptions->tree, pOutput); });
    AddReaderOptions(pTree, &pOptions->tree);
    AddPath(pTree, "The folder; the root when left out", &pOptions->tree.strPath);
    AddNumber(pTree, "--depth", "Levels to draw below the folder", &pOptions->tree.uDepth);
    pTree->add_flag("--folders", pOptions->tree.bFoldersOnly, "Only folders");

    CLI::App* pStat = AddCommand(pApp, "stat", "Show everything about files and folders", pfnRun,
                                 [=]() { return RunStat(pOptions->stat, pOutput); });
    AddReaderOptions(pStat, &pOptions->stat);
    pStat->add_option("path", pOptions->stat.vecPaths, "Files and folders")->required()->type_name("PATH");

    CLI::App* pTypes = AddCommand(pApp, "types", "Show the table of types", pfnRun,
                                  [=]() { return RunTypes(pOptions->types, pOutput); });
    AddReaderOptions(pTypes, &pOptions->types);
}

void AddFind(CLI::App* pApp, FindOptions* pOptions, Output* pOutput, Command* pfnRun)
{
    CLI::App* pFind = AddCommand(pApp, "find", "Find what meets all conditions", pfnRun,
                                 [=]() { return RunFind(*pOptions, pOutput); });
    AddReaderOptions(pFind, pOptions);
    AddPath(pFind, "The folder to search; the root when left out", &pOptions->strPath);
    pFind->add_option("--name", pOptions->strName, "The base name, without extension, contains this text")
        ->type_name("TEXT");
    pFind->add_option("--ext", pOptions->strExtensions, "The extension is one of these, such as \"png|tga\"")
        ->type_name("LIST");
    AddNumber(pFind, "--merge", "The merge sign has one of these bits", &pOptions->uMerge);
    pFind->add_option("--type", pOptions->strType, "The type, by name or number")->type_name("TYPE");
    pFind->add_flag("--files", pOptions->bFiles, "Only files");
    pFind->add_flag("--folders", pOptions->bFolders, "Only folders");
    pFind->add_flag("--case", pOptions->bMatchCase, "Compare names and extensions with case");
    pFind->add_flag("-0,--null", pOptions->bNull,
                    "Write bare paths as the file system has them, a zero byte behind each");
}

void AddImage(CLI::App* pApp, ImageOptions* pOptions, Output* pOutput, Command* pfnRun)
{
    CLI::App* pImage = AddCommand(pApp, "image", "Show what is in an image, and whether it is sound", pfnRun,
                                  [=]() { return RunImage(*pOptions, pOutput); });
    CLI::Option* pSection =
        AddSource(pImage, "--section", "The published image of this source (source when left out)", &pOptions->eaf);
    CLI::Option* pFile = pImage->add_option("--file", pOptions->strFile, "A file with an image, compressed or not");
    pFile->type_name("FILE")->excludes(pSection);
    CLI::Option* pDump = pImage->add_flag("--dump", pOptions->bDump, "Every value of all heads, and of some records");
    pImage
        ->add_option_function<std::string>(
            "--records",
            [pOptions](const std::string& strText) { pOptions->uRecords = ParseNumber(strText).value_or(0); },
            "Records of each kind in a dump (default 4)")
        ->check([](const std::string& strText)
                { return ParseNumber(strText) ? std::string() : "\"" + strText + "\" is no number"; })
        ->needs(pDump)
        ->type_name("NUMBER");
    pImage->add_option("--save", pOptions->strSave, "Write the image, uncompressed, to this file")->type_name("FILE");
    CLI::Option* pState = pImage->add_flag("--state", pOptions->bState, "The update state section instead");
    pState->excludes(pSection)->excludes(pFile)->excludes(pDump);
    pImage->add_flag("--json", pOptions->bJson, "Write JSON")->excludes(pDump);
}

void AddWatch(CLI::App* pApp, WatchOptions* pOptions, Output* pOutput, Command* pfnRun)
{
    CLI::App* pWatch = AddCommand(pApp, "watch", "Show changes as they are told, until it is stopped", pfnRun,
                                  [=]() { return RunWatch(*pOptions, pOutput); });
    AddSource(pWatch, "--source,--from", "Only this source; otherwise all that are published", &pOptions->eaf);
    pWatch->add_option("--path", pOptions->strPath, "Only what lies under this path of the index")->type_name("PREFIX");
    pWatch
        ->add_option(
            "--exec", pOptions->strExecute,
            "Run this command for each event, with LUM_SOURCE, LUM_KIND, LUM_PATH, LUM_NEW_NAME and LUM_FILE in "
            "its environment")
        ->type_name("CMD");
    AddNumber(pWatch, "--count", "End after so many events", &pOptions->uCount);
    pWatch->add_flag("--json", pOptions->bJson, "Write one JSON object a line");
}

void AddDemo(CLI::App* pApp, DemoOptions* pOptions, Command* pfnRun)
{
    CLI::App* pDemo =
        AddCommand(pApp, "demo", "Publish a directory, read it from a second process, and see a change arrive", pfnRun,
                   [=]() { return RunDemo(*pOptions); });
    pDemo->add_option("dir", pOptions->strDirectory, "The directory; a small one is made when left out")
        ->type_name("DIR");
}

void AddServices(CLI::App* pApp, AllOptions* pOptions, Output* pOutput, Command* pfnRun)
{
    CLI::App* pPublic = AddCommand(pApp, "options", "Show the public options", pfnRun,
                                   [=]() { return RunOptions(pOptions->options, pOutput); });
    pPublic->add_option("--key", pOptions->options.strKey, "Take only options that have this key")->type_name("KEY");
    pPublic->add_flag("--json", pOptions->options.bJson, "Write JSON");

    CLI::App* pLog = AddCommand(pApp, "log", "Show the newest log file of a folder", pfnRun,
                                [=]() { return RunLog(pOptions->log, pOutput); });
    pLog->add_option("dir", pOptions->log.strFolder, "The folder that lum serve --log was given")
        ->required()
        ->type_name("DIR");
    pLog->add_flag("-f,--follow", pOptions->log.bFollow, "Go on with what is added, until it is stopped");
    AddNumber(pLog, "-n,--lines", "Only the last so many lines", &pOptions->log.uLines);

    CLI::App* pCrash = AddCommand(pApp, "crash", "Crash", pfnRun, [=]() { return RunCrash(pOptions->crash); });
    pCrash->add_option("how", pOptions->crash.strHow)->required()->check(CLI::IsMember(CrashKinds()));
    pCrash->add_option("--log", pOptions->crash.strLog);
    pCrash->group("");  // for tests; not in the help
}

// The exit code where there is nothing to run: a wrong command line, or one that asks for help or the version.
std::optional<int> Parse(CLI::App* pApp, std::vector<std::string> vecArguments, Output* pOutput)
{
    const std::string strUnknown = UnknownCommand(*pApp, vecArguments);
    if (vecArguments.empty())
    {
        pOutput->Write(pApp->help());
        return pOutput->Flush() ? kExitFound : kExitError;
    }
    if (!strUnknown.empty())
    {
        Complain(strUnknown);
        return kExitError;
    }
    std::reverse(vecArguments.begin(), vecArguments.end());
    try
    {
        pApp->parse(vecArguments);
    }
    catch (const CLI::Success& asked)
    {
        // Help, or the version.
        std::ostringstream text;
        pApp->exit(asked, text, text);
        pOutput->Write(text.str());
        return pOutput->Flush() ? kExitFound : kExitError;
    }
    catch (const CLI::ParseError& error)
    {
        Complain(UsageError(*pApp, error));
        return kExitError;
    }
    return std::nullopt;
}

}  // namespace

int RunCommandLine(const std::string& strProgram, std::vector<std::string> vecArguments)
{
    AllOptions options;
    options.demo.strProgram = strProgram;
    options.image.uRecords = 4;
    Output output;
    Command fnRun;

    CLI::App app("lum: publishes an index of files, and shows what is published", "lum");
    // A path may begin with a slash on every system.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "lum " LUM_VERSION);
    app.require_subcommand(1);
    app.footer(kExitCodes);
    AddServe(&app, &options.serve, &fnRun);
    AddReaders(&app, &options, &output, &fnRun);
    AddFind(&app, &options.find, &output, &fnRun);
    AddImage(&app, &options.image, &output, &fnRun);
    AddWatch(&app, &options.watch, &output, &fnRun);
    AddServices(&app, &options, &output, &fnRun);
    AddDemo(&app, &options.demo, &fnRun);

    const std::optional<int> nDone = Parse(&app, std::move(vecArguments), &output);
    return nDone ? *nDone : fnRun();
}

}  // namespace lum

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
    ServeOptions kServe;
    ReaderOptions kStatus;
    ListOptions kList;
    TreeOptions kTree;
    FindOptions kFind;
    StatOptions kStat;
    ReaderOptions kTypes;
    ImageOptions kImage;
    WatchOptions kWatch;
    OptionsOptions kOptions;
    LogOptions kLog;
    DemoOptions kDemo;
    CrashOptions kCrash;
};

const char* const kExitCodes = "Exit codes: 0 found or done, 1 not found, 2 error.";

CLI::Option* AddSource(CLI::App* pkApp, const std::string& strFlag, const std::string& strHelp,
                       std::optional<LUMTrayService::enumAssetFrom>* peaf)
{
    return pkApp
        ->add_option_function<std::string>(
            strFlag, [peaf](const std::string& strName) { *peaf = SourceByName(strName); }, strHelp)
        ->check(CLI::IsMember(SourceNames()))
        ->type_name("SOURCE");
}

CLI::Option* AddNumber(CLI::App* pkApp, const std::string& strFlag, const std::string& strHelp,
                       std::optional<uint32_t>* puValue)
{
    return pkApp
        ->add_option_function<std::string>(
            strFlag, [puValue](const std::string& strText) { *puValue = ParseNumber(strText); }, strHelp)
        ->check([](const std::string& strText)
                { return ParseNumber(strText) ? std::string() : "\"" + strText + "\" is no number (123 or 0x7b)"; })
        ->type_name("NUMBER");
}

// Every use of the option is one more value.
void AddRepeated(CLI::App* pkApp, const std::string& strFlag, const std::string& strHelp,
                 std::vector<std::string>* pvecValues)
{
    pkApp->add_option(strFlag, *pvecValues, strHelp)->allow_extra_args(false)->type_name("DIR");
}

void AddReaderOptions(CLI::App* pkApp, ReaderOptions* pkOptions)
{
    AddSource(pkApp, "--from", "Only this source; otherwise all that are published", &pkOptions->eaf);
    pkApp->add_flag("--json", pkOptions->bJson, "Write JSON");
}

void AddPath(CLI::App* pkApp, const std::string& strHelp, std::string* pstrPath)
{
    pkApp->add_option("path", *pstrPath, strHelp)->type_name("PATH");
}

CLI::App* AddCommand(CLI::App* pkApp, const std::string& strName, const std::string& strHelp, Command* pfnRun,
                     const Command& fnCommand)
{
    CLI::App* pkCommand = pkApp->add_subcommand(strName, strHelp);
    pkCommand->callback([pfnRun, fnCommand]() { *pfnRun = fnCommand; });
    pkCommand->footer(kExitCodes);
    return pkCommand;
}

void AddServe(CLI::App* pkApp, ServeOptions* pkOptions, Command* pfnRun)
{
    CLI::App* pkServe = AddCommand(pkApp, "serve", "Publish directories, an archive and lists of paths", pfnRun,
                                   [pkOptions]() { return RunServe(*pkOptions); });
    pkServe->add_option("--source", pkOptions->strSource, "The source directory")->type_name("DIR");
    pkServe->add_option("--target", pkOptions->strTarget, "The target directory")->type_name("DIR");
    AddRepeated(pkServe, "--merge-source", "A directory of the merge source, with the next merge bit; repeatable",
                &pkOptions->vecMergeSource);
    AddRepeated(pkServe, "--merge-target", "The same for the merge target", &pkOptions->vecMergeTarget);
    pkServe->add_option("--pak", pkOptions->strPak, "An archive to list (zip, tar, ...)")->type_name("ARCHIVE");
    pkServe->add_option("--http-source", pkOptions->strHttpSource, "A text file of paths: HTTP files of the source")
        ->type_name("LIST");
    pkServe->add_option("--http-target", pkOptions->strHttpTarget, "HTTP files of the target")->type_name("LIST");
    pkServe->add_option("--http-pkg-source", pkOptions->strHttpPkgSource, "HTTP packages of the source")
        ->type_name("LIST");
    pkServe->add_option("--http-pkg-target", pkOptions->strHttpPkgTarget, "HTTP packages of the target")
        ->type_name("LIST");
    pkServe->add_option("--types", pkOptions->strTypes, "The table of types, in place of the built-in one")
        ->type_name("FILE");
    pkServe->add_option("--options", pkOptions->strOptions, "An INI file of public options to publish as well")
        ->type_name("FILE");
    pkServe->add_option("--log", pkOptions->strLog, "Write a log file below this folder")->type_name("DIR");
    pkServe->add_flag("--once", pkOptions->bOnce, "Publish what is there now, and wait; don't watch for changes");
}

void AddReaders(CLI::App* pkApp, AllOptions* pkOptions, Output* pkOutput, Command* pfnRun)
{
    CLI::App* pkStatus = AddCommand(pkApp, "status", "Show what is published", pfnRun,
                                    [=]() { return RunStatus(pkOptions->kStatus, pkOutput); });
    AddReaderOptions(pkStatus, &pkOptions->kStatus);

    CLI::App* pkList =
        AddCommand(pkApp, "ls", "List a folder", pfnRun, [=]() { return RunList(pkOptions->kList, pkOutput); });
    AddReaderOptions(pkList, &pkOptions->kList);
    AddPath(pkList, "The folder; the root when left out", &pkOptions->kList.strPath);
    pkList->add_flag("-l,--long", pkOptions->kList.bLong, "Attributes, size, time and type as well");

    CLI::App* pkTree = AddCommand(pkApp, "tree", "Draw everything below a folder", pfnRun,
                                  [=]() { return RunTree(pkOptions->kTree, pkOutput); });
    AddReaderOptions(pkTree, &pkOptions->kTree);
    AddPath(pkTree, "The folder; the root when left out", &pkOptions->kTree.strPath);
    AddNumber(pkTree, "--depth", "Levels to draw below the folder", &pkOptions->kTree.uDepth);
    pkTree->add_flag("--folders", pkOptions->kTree.bFoldersOnly, "Only folders");

    CLI::App* pkStat = AddCommand(pkApp, "stat", "Show everything about files and folders", pfnRun,
                                  [=]() { return RunStat(pkOptions->kStat, pkOutput); });
    AddReaderOptions(pkStat, &pkOptions->kStat);
    pkStat->add_option("path", pkOptions->kStat.vecPaths, "Files and folders")->required()->type_name("PATH");

    CLI::App* pkTypes = AddCommand(pkApp, "types", "Show the table of types", pfnRun,
                                   [=]() { return RunTypes(pkOptions->kTypes, pkOutput); });
    AddReaderOptions(pkTypes, &pkOptions->kTypes);
}

void AddFind(CLI::App* pkApp, FindOptions* pkOptions, Output* pkOutput, Command* pfnRun)
{
    CLI::App* pkFind = AddCommand(pkApp, "find", "Find what meets all conditions", pfnRun,
                                  [=]() { return RunFind(*pkOptions, pkOutput); });
    AddReaderOptions(pkFind, pkOptions);
    AddPath(pkFind, "The folder to search; the root when left out", &pkOptions->strPath);
    pkFind->add_option("--name", pkOptions->strName, "The base name, without extension, contains this text")
        ->type_name("TEXT");
    pkFind->add_option("--ext", pkOptions->strExtensions, "The extension is one of these, such as \"png|tga\"")
        ->type_name("LIST");
    AddNumber(pkFind, "--merge", "The merge sign has one of these bits", &pkOptions->uMerge);
    pkFind->add_option("--type", pkOptions->strType, "The type, by name or number")->type_name("TYPE");
    pkFind->add_flag("--files", pkOptions->bFiles, "Only files");
    pkFind->add_flag("--folders", pkOptions->bFolders, "Only folders");
    pkFind->add_flag("--case", pkOptions->bMatchCase, "Compare names and extensions with case");
    pkFind->add_flag("-0,--null", pkOptions->bNull,
                     "Write bare paths as the file system has them, a zero byte behind each");
}

void AddImage(CLI::App* pkApp, ImageOptions* pkOptions, Output* pkOutput, Command* pfnRun)
{
    CLI::App* pkImage = AddCommand(pkApp, "image", "Show what is in an image, and whether it is sound", pfnRun,
                                   [=]() { return RunImage(*pkOptions, pkOutput); });
    CLI::Option* pkSection =
        AddSource(pkImage, "--section", "The published image of this source (source when left out)", &pkOptions->eaf);
    CLI::Option* pkFile = pkImage->add_option("--file", pkOptions->strFile, "A file with an image, compressed or not");
    pkFile->type_name("FILE")->excludes(pkSection);
    CLI::Option* pkDump =
        pkImage->add_flag("--dump", pkOptions->bDump, "Every value of all heads, and of some records");
    pkImage
        ->add_option_function<std::string>(
            "--records",
            [pkOptions](const std::string& strText) { pkOptions->uRecords = ParseNumber(strText).value_or(0); },
            "Records of each kind in a dump (default 4)")
        ->check([](const std::string& strText)
                { return ParseNumber(strText) ? std::string() : "\"" + strText + "\" is no number"; })
        ->needs(pkDump)
        ->type_name("NUMBER");
    pkImage->add_option("--save", pkOptions->strSave, "Write the image, uncompressed, to this file")->type_name("FILE");
    CLI::Option* pkState = pkImage->add_flag("--state", pkOptions->bState, "The update state section instead");
    pkState->excludes(pkSection)->excludes(pkFile)->excludes(pkDump);
    pkImage->add_flag("--json", pkOptions->bJson, "Write JSON")->excludes(pkDump);
}

void AddWatch(CLI::App* pkApp, WatchOptions* pkOptions, Output* pkOutput, Command* pfnRun)
{
    CLI::App* pkWatch = AddCommand(pkApp, "watch", "Show changes as they are told, until it is stopped", pfnRun,
                                   [=]() { return RunWatch(*pkOptions, pkOutput); });
    AddSource(pkWatch, "--source,--from", "Only this source; otherwise all that are published", &pkOptions->eaf);
    pkWatch->add_option("--path", pkOptions->strPath, "Only what lies under this path of the index")
        ->type_name("PREFIX");
    pkWatch
        ->add_option(
            "--exec", pkOptions->strExecute,
            "Run this command for each event, with LUM_SOURCE, LUM_KIND, LUM_PATH, LUM_NEW_NAME and LUM_FILE in "
            "its environment")
        ->type_name("CMD");
    AddNumber(pkWatch, "--count", "End after so many events", &pkOptions->uCount);
    pkWatch->add_flag("--json", pkOptions->bJson, "Write one JSON object a line");
}

void AddDemo(CLI::App* pkApp, DemoOptions* pkOptions, Command* pfnRun)
{
    CLI::App* pkDemo =
        AddCommand(pkApp, "demo", "Publish a directory, read it from a second process, and see a change arrive", pfnRun,
                   [=]() { return RunDemo(*pkOptions); });
    pkDemo->add_option("dir", pkOptions->strDirectory, "The directory; a small one is made when left out")
        ->type_name("DIR");
}

void AddServices(CLI::App* pkApp, AllOptions* pkOptions, Output* pkOutput, Command* pfnRun)
{
    CLI::App* pkPublic = AddCommand(pkApp, "options", "Show the public options", pfnRun,
                                    [=]() { return RunOptions(pkOptions->kOptions, pkOutput); });
    pkPublic->add_option("--key", pkOptions->kOptions.strKey, "Take only options that have this key")->type_name("KEY");
    pkPublic->add_flag("--json", pkOptions->kOptions.bJson, "Write JSON");

    CLI::App* pkLog = AddCommand(pkApp, "log", "Show the newest log file of a folder", pfnRun,
                                 [=]() { return RunLog(pkOptions->kLog, pkOutput); });
    pkLog->add_option("dir", pkOptions->kLog.strFolder, "The folder that lum serve --log was given")
        ->required()
        ->type_name("DIR");
    pkLog->add_flag("-f,--follow", pkOptions->kLog.bFollow, "Go on with what is added, until it is stopped");
    AddNumber(pkLog, "-n,--lines", "Only the last so many lines", &pkOptions->kLog.uLines);

    CLI::App* pkCrash = AddCommand(pkApp, "crash", "Crash", pfnRun, [=]() { return RunCrash(pkOptions->kCrash); });
    pkCrash->add_option("how", pkOptions->kCrash.strHow)->required()->check(CLI::IsMember(CrashKinds()));
    pkCrash->add_option("--log", pkOptions->kCrash.strLog);
    pkCrash->group("");  // for tests; not in the help
}

// The exit code where there is nothing to run: a wrong command line, or one that asks for help or the version.
std::optional<int> Parse(CLI::App* pkApp, std::vector<std::string> vecArguments, Output* pkOutput)
{
    const std::string strUnknown = UnknownCommand(*pkApp, vecArguments);
    if (vecArguments.empty())
    {
        pkOutput->Write(pkApp->help());
        return pkOutput->Flush() ? kExitFound : kExitError;
    }
    if (!strUnknown.empty())
    {
        Complain(strUnknown);
        return kExitError;
    }
    std::reverse(vecArguments.begin(), vecArguments.end());
    try
    {
        pkApp->parse(vecArguments);
    }
    catch (const CLI::Success& kAsked)
    {
        // Help, or the version.
        std::ostringstream kText;
        pkApp->exit(kAsked, kText, kText);
        pkOutput->Write(kText.str());
        return pkOutput->Flush() ? kExitFound : kExitError;
    }
    catch (const CLI::ParseError& kError)
    {
        Complain(UsageError(*pkApp, kError));
        return kExitError;
    }
    return std::nullopt;
}

}  // namespace

int RunCommandLine(const std::string& strProgram, std::vector<std::string> vecArguments)
{
    AllOptions kOptions;
    kOptions.kDemo.strProgram = strProgram;
    kOptions.kImage.uRecords = 4;
    Output kOutput;
    Command fnRun;

    CLI::App kApp("lum: publishes an index of files, and shows what is published", "lum");
    // A path may begin with a slash on every system.
    kApp.allow_windows_style_options(false);
    kApp.set_version_flag("--version", "lum " LUM_VERSION);
    kApp.require_subcommand(1);
    kApp.footer(kExitCodes);
    AddServe(&kApp, &kOptions.kServe, &fnRun);
    AddReaders(&kApp, &kOptions, &kOutput, &fnRun);
    AddFind(&kApp, &kOptions.kFind, &kOutput, &fnRun);
    AddImage(&kApp, &kOptions.kImage, &kOutput, &fnRun);
    AddWatch(&kApp, &kOptions.kWatch, &kOutput, &fnRun);
    AddServices(&kApp, &kOptions, &kOutput, &fnRun);
    AddDemo(&kApp, &kOptions.kDemo, &fnRun);

    const std::optional<int> nDone = Parse(&kApp, std::move(vecArguments), &kOutput);
    return nDone ? *nDone : fnRun();
}

}  // namespace lum

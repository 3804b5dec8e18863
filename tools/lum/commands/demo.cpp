// lum demo: the whole road in one command. This process publishes a directory; a second one looks things up, walks the
// tree and searches it; then a file changes and a listener is told; at the end everything is withdrawn.
#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/files.h"
#include "base/text.h"
#include "commands/commands.h"
#include "live/live_server.h"
#include "platform/vo_process.h"
#include "platform/vo_text.h"
#include "reader/event_stream.h"
#include "reader/session.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// Two looks of a detect thread.
constexpr std::chrono::milliseconds kFirstLook(1000);
constexpr std::chrono::milliseconds kPatience(10000);
constexpr std::chrono::milliseconds kDemoTurn(20);

constexpr const char* kFiles[] = {"models/ship/ship.fbx",
                                  "models/ship/ship.mtl",
                                  "models/harbour/crane.obj",
                                  "models/harbour/quay.gltf",
                                  "textures/ship_hull.dds",
                                  "textures/ship_deck.png",
                                  "textures/water.normal.tga",
                                  "scenes/harbour.scene",
                                  "shaders/water.hlsl",
                                  "sounds/gull.ogg",
                                  ".project",
                                  "README"};

// A small project in a temporary directory, for a demonstration that was given no directory of its own.
class DemoTree
{
public:
    DemoTree() = default;
    DemoTree(const DemoTree&) = delete;
    DemoTree& operator=(const DemoTree&) = delete;
    ~DemoTree()
    {
        if (!m_root.empty())
        {
            std::error_code ignored;
            std::filesystem::remove_all(m_root, ignored);
        }
    }

    // Makes the project. Its narrow path; or a message.
    std::string Make(std::string* pstrError)
    {
        std::error_code error;
        const std::filesystem::path root =
            std::filesystem::temp_directory_path(error) / fmt::format("lum-demo-{}", VOProcessId());
        if (error || !std::filesystem::create_directory(root, error))
        {
            *pstrError = fmt::format("the demonstration's directory can't be made: {}", error.message());
            return {};
        }
        m_root = root;
        for (const char* pszFile : kFiles)
        {
            const std::filesystem::path file = root / pszFile;
            std::filesystem::create_directories(file.parent_path(), error);
            std::ofstream stream(file, std::ios::binary);
            stream << pszFile << '\n';
            if (!stream.flush())
            {
                *pstrError = "the demonstration's files can't be written";
                return {};
            }
        }
        return ToNative(root);
    }

private:
    std::filesystem::path m_root;
};

void Tell(const std::string& strLine)
{
    Output output;
    output.Write(strLine + "\n");
}

// A word that a shell of any system takes as it is.
bool IsPlainWord(const std::string& strWord)
{
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+./=,@";
    return !strWord.empty() && strWord[0] != '-' && strWord.find_first_not_of(kPlain) == std::string::npos;
}

// Runs this program in a second process.
bool RunAgain(const std::string& strProgram, const std::string& strArguments)
{
    Tell(fmt::format("\n$ lum {}", strArguments));
    return VORunCommand(fmt::format("\"{}\" {}", strProgram, strArguments)) == 0;
}

// A file of the published tree whose path can stand on a command line, with a type where there is one.
struct Example
{
    std::string strPath;
    std::string strType;
};

struct ExampleSearch
{
    const ReaderSource* pSource;
    Example best;
};

int OnExample(const structAssetNode& node, void* pvSearch, int& bStop)
{
    ExampleSearch* pSearch = static_cast<ExampleSearch*>(pvSearch);
    const std::string strPath = VOToNativePath(pSearch->pSource->PathOf(node));
    const std::string strType = VOToNativePath(pSearch->pSource->TextOf(node.hStrClassifyName));
    if (IsPlainWord(strPath) && (pSearch->best.strPath.empty() || IsPlainWord(strType)))
    {
        pSearch->best = {strPath, IsPlainWord(strType) ? strType : std::string()};
        bStop = pSearch->best.strType.empty() ? 0 : 1;
    }
    return 1;
}

// What the steps of the demonstration give: why it can't go on, and nothing when it can.
using Failure = std::string;

// Looked up in this process, with the calls that any tool makes.
Failure FindExample(Example* pExample)
{
    ReaderSession session;
    std::string strError;
    if (session.Open(AF_SOURCE, &strError) != ReaderSession::Opened::Yes)
    {
        return strError;
    }
    const ReaderSource& source = session.Sources().front();
    const std::optional<structAssetNode> root = source.FindPath(VOWString());
    if (!root)
    {
        return "the published tree has no root folder";
    }
    ExampleSearch search{&source, {}};
    source.Inspector().TraverseAssetNode(root->nAssetID, Inspector::NT_FILE, 1, &OnExample, &search);
    *pExample = search.best;
    return {};
}

Failure ShowReaders(const std::string& strProgram)
{
    Example example;
    if (const Failure failure = FindExample(&example); !failure.empty())
    {
        return failure;
    }
    std::vector<std::string> vecCommands = {"status --from source", "ls --long", "tree --depth 3"};
    if (!example.strPath.empty())
    {
        vecCommands.push_back("stat " + example.strPath);
    }
    if (!example.strType.empty())
    {
        vecCommands.push_back("find --type " + example.strType);
    }
    vecCommands.push_back("image");
    for (const std::string& strCommand : vecCommands)
    {
        if (VOStopRequested())
        {
            return "stopped";
        }
        if (!RunAgain(strProgram, strCommand))
        {
            return fmt::format("\"lum {}\" failed", strCommand);
        }
    }
    return {};
}

// Writes a file into the published directory, and waits for the word of it to come back through shared memory.
Failure ShowAChange(const std::string& strProgram, const std::string& strDirectory, LiveServer* pServer)
{
    constexpr const char* kName = "made-just-now.txt";
    EventStream stream;
    std::string strError;
    if (!stream.Open(AF_SOURCE, &strError))
    {
        return strError;
    }
    // Events count from the first look at the stream on, so the change waits for that.
    for (const auto end = std::chrono::steady_clock::now() + kFirstLook; std::chrono::steady_clock::now() < end;)
    {
        if (!pServer->Turn(kDemoTurn, &strError))
        {
            return strError;
        }
    }
    Tell(fmt::format("\nNow a file is made: {}", kName));
    const auto start = std::chrono::steady_clock::now();
    if (!WriteFile(strDirectory + "/" + kName, "new", 3, &strError))
    {
        return strError;
    }
    std::optional<Change> change;
    while (!change && !VOStopRequested() && std::chrono::steady_clock::now() - start < kPatience)
    {
        if (!pServer->Turn(kDemoTurn, &strError))
        {
            return strError;
        }
        change = stream.Next(std::chrono::milliseconds(0));
    }
    if (!change)
    {
        return "no event arrived";
    }
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    Tell(fmt::format("After {} ms a listener is told: {} {}", took.count(), NameOf(change->eKind),
                     WrittenForm(change->strPath, Escape::Controls)));
    if (!RunAgain(strProgram, fmt::format("stat {}", kName)))
    {
        return "the new file is not in the index";
    }
    return {};
}

Failure Demonstrate(const DemoOptions& options, const std::string& strDirectory)
{
    if (options.strProgram.find_first_of("\"$`%") != std::string::npos)
    {
        return fmt::format("a second process can't be started from {}", options.strProgram);
    }
    const std::vector<ClassifyType> vecTypes = BuiltInTypes();
    // A directory of the user's is left as it is, so that there is nothing to follow.
    const bool bOwnDirectory = !options.strDirectory;
    LiveServer server(vecTypes, bOwnDirectory);
    Failure failure = "the demonstration could not be prepared";
    if (!VOHandleStopRequests() || !server.Start({{AF_SOURCE, {strDirectory}}}, &failure))
    {
        return failure;
    }
    Tell(fmt::format("This process publishes {} nodes of {}; a second one reads them.", server.NodeCount(),
                     WrittenForm(VOFromNative(strDirectory), Escape::Controls)));
    failure = ShowReaders(options.strProgram);
    if (failure.empty() && bOwnDirectory)
    {
        failure = ShowAChange(options.strProgram, strDirectory, &server);
    }
    if (!failure.empty())
    {
        return failure;
    }
    server.Withdraw();

    Tell("\nWithdrawn again: now nothing is found.");
    if (RunAgain(options.strProgram, "status --from source"))
    {
        return "the source is still published";
    }
    Tell("\nThe same by hand: \"lum serve --source DIR\" in one terminal, any other command in another one.");
    return {};
}

}  // namespace

int RunDemo(const DemoOptions& options, Output* /*pOutput*/)
{
    DemoTree tree;
    Failure failure;
    const std::string strDirectory = options.strDirectory ? *options.strDirectory : tree.Make(&failure);
    if (failure.empty())
    {
        failure = Demonstrate(options, strDirectory);
    }
    return failure.empty() ? kExitFound : EndWith(failure);
}

}  // namespace lum

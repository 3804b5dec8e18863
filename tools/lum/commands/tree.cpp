// lum tree: everything below a folder, drawn as a tree.
#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/console.h"
#include "base/exit_code.h"
#include "base/sources.h"
#include "commands/commands.h"
#include "reader/json_view.h"
#include "reader/session.h"
#include "reader/text_view.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

// Draws one node after the other; each Enter has its Leave, after its children.
class TreeRenderer
{
public:
    virtual ~TreeRenderer() = default;

    virtual void Enter(const NodeView& kView, bool bLast) = 0;
    virtual void Leave() = 0;
};

class TextRenderer : public TreeRenderer
{
public:
    explicit TextRenderer(Output* pkOutput) : m_pkOutput(pkOutput) {}

    void Enter(const NodeView& kView, bool bLast) override
    {
        if (m_vecLast.empty())
        {
            m_pkOutput->Write(ShownText(kView.strAbsolute) + "\n");
        }
        else
        {
            std::string strLine;
            for (size_t i = 1; i < m_vecLast.size(); ++i)
            {
                strLine += m_vecLast[i] ? "    " : "\u2502   ";
            }
            m_pkOutput->Write(strLine + (bLast ? "\u2514\u2500\u2500 " : "\u251c\u2500\u2500 ") + ShownName(kView) +
                              "\n");
            ++(kView.kNode.bFolder != 0 ? m_uFolders : m_uFiles);
        }
        m_vecLast.push_back(bLast);
    }

    void Leave() override
    {
        m_vecLast.pop_back();
        if (m_vecLast.empty())
        {
            m_pkOutput->Write(fmt::format("\n{} folders, {} files\n", m_uFolders, m_uFiles));
            m_uFolders = m_uFiles = 0;
        }
    }

private:
    Output* m_pkOutput;
    std::vector<bool> m_vecLast;  // of the nodes that were entered and not left
    unsigned m_uFolders = 0;
    unsigned m_uFiles = 0;
};

// Writes nested objects while the walk goes on, so that a large tree isn't held in memory.
class JsonRenderer : public TreeRenderer
{
public:
    explicit JsonRenderer(Output* pkOutput) : m_pkOutput(pkOutput) { m_pkOutput->Write("{\"trees\": ["); }

    void Enter(const NodeView& kView, bool /*bLast*/) override
    {
        std::string strNode = JsonOf(kView).dump();
        strNode.pop_back();
        m_pkOutput->Write((m_bFirst ? "\n" : ",\n") + strNode + ",\"children\":[");
        m_bFirst = true;
    }

    void Leave() override
    {
        m_pkOutput->Write("]}");
        m_bFirst = false;
    }

    void End() { m_pkOutput->Write("\n]}\n"); }

private:
    Output* m_pkOutput;
    bool m_bFirst = true;
};

// The nodes of one level, and the one that is drawn next.
struct Level
{
    std::vector<structAssetNode> vecNodes;
    size_t uNext = 0;
    bool bEntered = false;  // these are the children of a folder that is marked
};

// Folders that a drawing of an index enters at the most. Lists may share nodes, so a folder may be drawn more than
// once; an image that was made to be endless ends here.
size_t MostFolders(size_t uNodes)
{
    return std::max<size_t>(uNodes * 64, 16'000'000);
}

// Draws a subtree. An image may hold links that lead back to a folder which is being drawn: it isn't entered again, and
// false tells of it.
bool DrawTree(const ReaderSource& kSource, const structAssetNode& kStart, const TreeOptions& kOptions,
              TreeRenderer* pkRenderer)
{
    const VOULONG dwType = static_cast<VOULONG>(Inspector::NT_FOLDER) |
                           (kOptions.bFoldersOnly ? 0 : static_cast<VOULONG>(Inspector::NT_FILE));
    std::vector<bool> vecInside(kSource.Inspector().GetAssetNodeCount());
    size_t uFoldersLeft = MostFolders(vecInside.size());
    std::vector<Level> vecLevels = {{{kStart}, 0}};
    bool bSound = true;
    while (!vecLevels.empty())
    {
        Level& kLevel = vecLevels.back();
        if (kLevel.uNext == kLevel.vecNodes.size())
        {
            const bool bEntered = kLevel.bEntered;
            vecLevels.pop_back();
            if (!vecLevels.empty())
            {
                const structAssetNode& kLeft = vecLevels.back().vecNodes[vecLevels.back().uNext - 1];
                if (bEntered)
                {
                    vecInside[kLeft.nAssetID] = false;
                }
                pkRenderer->Leave();
            }
            continue;
        }
        const structAssetNode kNode = kLevel.vecNodes[kLevel.uNext++];
        pkRenderer->Enter(ViewOf(kSource, kNode), kLevel.uNext == kLevel.vecNodes.size());
        Level kChildren;
        if (kNode.bFolder != 0 && (!kOptions.uDepth || vecLevels.size() <= *kOptions.uDepth))
        {
            kChildren.bEntered = kNode.nAssetID < vecInside.size() && !vecInside[kNode.nAssetID] && uFoldersLeft != 0;
            bSound = bSound && kChildren.bEntered;
            if (kChildren.bEntered)
            {
                --uFoldersLeft;
                vecInside[kNode.nAssetID] = true;
                kChildren.vecNodes = ChildrenOf(kSource, kNode, dwType);
            }
        }
        vecLevels.push_back(std::move(kChildren));
    }
    return bSound;
}

// How many sources had the folder; *pbSound becomes false for a tree that isn't one.
unsigned DrawAll(const TreeOptions& kOptions, const ReaderSession& kSession, TreeRenderer* pkRenderer, bool* pbSound)
{
    unsigned uDrawn = 0;
    for (const ReaderSource& kSource : kSession.Sources())
    {
        const std::optional<structAssetNode> kNode = kSource.FindArgument(kOptions.strPath);
        if (kNode)
        {
            *pbSound = DrawTree(kSource, *kNode, kOptions, pkRenderer) && *pbSound;
            ++uDrawn;
        }
    }
    return uDrawn;
}

}  // namespace

int RunTree(const TreeOptions& kOptions, Output* pkOutput)
{
    ReaderSession kSession;
    if (!OpenOrComplain(kOptions.eaf, &kSession))
    {
        return kExitError;
    }
    bool bSound = true;
    unsigned uDrawn = 0;
    if (kOptions.bJson)
    {
        JsonRenderer kRenderer(pkOutput);
        uDrawn = DrawAll(kOptions, kSession, &kRenderer, &bSound);
        kRenderer.End();
    }
    else
    {
        TextRenderer kRenderer(pkOutput);
        uDrawn = DrawAll(kOptions, kSession, &kRenderer, &bSound);
    }
    if (uDrawn == 0)
    {
        Complain(fmt::format("{}: not in the index", kOptions.strPath));
    }
    const int nResult = Finish(uDrawn != 0, pkOutput);
    if (!bSound && nResult != kExitError)
    {
        Complain("the published index is damaged: a folder lies in itself, or its tree has no end");
        return kExitError;
    }
    return nResult;
}

}  // namespace lum

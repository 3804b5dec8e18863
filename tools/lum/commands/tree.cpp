// lum tree: everything below a folder, drawn as a tree.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>

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
    explicit TreeRenderer(Output* pOutput) : m_pOutput(pOutput) {}
    virtual ~TreeRenderer() = default;

    virtual void Enter(const NodeView& view, bool bLast) = 0;
    virtual void Leave() = 0;
    virtual void End() {}

protected:
    Output* m_pOutput;
};

class TextRenderer : public TreeRenderer
{
public:
    using TreeRenderer::TreeRenderer;

    void Enter(const NodeView& view, bool bLast) override
    {
        if (m_vecLast.empty())
        {
            m_pOutput->Write(ShownText(view.strAbsolute) + "\n");
        }
        else
        {
            std::string strLine;
            for (size_t i = 1; i < m_vecLast.size(); ++i)
            {
                strLine += m_vecLast[i] ? "    " : "\u2502   ";
            }
            m_pOutput->Write(strLine + (bLast ? "\u2514\u2500\u2500 " : "\u251c\u2500\u2500 ") + ShownName(view) +
                             "\n");
            ++(view.node.bFolder != 0 ? m_uFolders : m_uFiles);
        }
        m_vecLast.push_back(bLast);
    }

    void Leave() override
    {
        m_vecLast.pop_back();
        if (m_vecLast.empty())
        {
            m_pOutput->Write(fmt::format("\n{} folders, {} files\n", m_uFolders, m_uFiles));
            m_uFolders = m_uFiles = 0;
        }
    }

private:
    std::vector<bool> m_vecLast;  // of the nodes that were entered and not left
    unsigned m_uFolders = 0;
    unsigned m_uFiles = 0;
};

// Writes nested objects while the walk goes on, so that a large tree isn't held in memory.
class JsonRenderer : public TreeRenderer
{
public:
    explicit JsonRenderer(Output* pOutput) : TreeRenderer(pOutput) { m_pOutput->Write("{\"trees\": ["); }

    void Enter(const NodeView& view, bool /*bLast*/) override
    {
        std::string strNode = JsonOf(view).dump();
        strNode.pop_back();
        m_pOutput->Write((m_bFirst ? "\n" : ",\n") + strNode + ",\"children\":[");
        m_bFirst = true;
    }

    void Leave() override
    {
        m_pOutput->Write("]}");
        m_bFirst = false;
    }

    void End() override { m_pOutput->Write("\n]}\n"); }

private:
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
bool DrawTree(const ReaderSource& source, const structAssetNode& start, const TreeOptions& options,
              TreeRenderer* pRenderer)
{
    const VOULONG dwType = static_cast<VOULONG>(Inspector::NT_FOLDER) |
                           (options.bFoldersOnly ? 0 : static_cast<VOULONG>(Inspector::NT_FILE));
    std::vector<bool> vecInside(source.Inspector().GetAssetNodeCount());
    size_t uFoldersLeft = MostFolders(vecInside.size());
    std::vector<Level> vecLevels = {{{start}, 0}};
    bool bSound = true;
    while (!vecLevels.empty())
    {
        Level& level = vecLevels.back();
        if (level.uNext == level.vecNodes.size())
        {
            const bool bEntered = level.bEntered;
            vecLevels.pop_back();
            if (!vecLevels.empty())
            {
                const structAssetNode& left = vecLevels.back().vecNodes[vecLevels.back().uNext - 1];
                if (bEntered)
                {
                    vecInside[left.nAssetID] = false;
                }
                pRenderer->Leave();
            }
            continue;
        }
        const structAssetNode node = level.vecNodes[level.uNext++];
        pRenderer->Enter(ViewOf(source, node), level.uNext == level.vecNodes.size());
        Level children;
        if (node.bFolder != 0 && (!options.uDepth || vecLevels.size() <= *options.uDepth))
        {
            children.bEntered = node.nAssetID < vecInside.size() && !vecInside[node.nAssetID] && uFoldersLeft != 0;
            bSound = bSound && children.bEntered;
            if (children.bEntered)
            {
                --uFoldersLeft;
                vecInside[node.nAssetID] = true;
                children.vecNodes = ChildrenOf(source, node, dwType);
            }
        }
        vecLevels.push_back(std::move(children));
    }
    return bSound;
}

}  // namespace

int RunTree(const TreeOptions& options, Output* pOutput)
{
    ReaderSession session;
    if (!OpenOrComplain(options.eaf, &session))
    {
        return kExitError;
    }
    const std::vector<ReaderSession::Found> vecFound = session.FindOrComplain(options.strPath);
    const std::unique_ptr<TreeRenderer> pRenderer = options.bJson
                                                        ? std::unique_ptr<TreeRenderer>(new JsonRenderer(pOutput))
                                                        : std::make_unique<TextRenderer>(pOutput);
    bool bSound = true;
    for (const ReaderSession::Found& found : vecFound)
    {
        bSound = DrawTree(found.source, found.node, options, pRenderer.get()) && bSound;
    }
    pRenderer->End();
    const int nResult = Finish(!vecFound.empty(), pOutput);
    if (!bSound && nResult != kExitError)
    {
        return EndWith("the published index is damaged: a folder lies in itself, or its tree has no end");
    }
    return nResult;
}

}  // namespace lum

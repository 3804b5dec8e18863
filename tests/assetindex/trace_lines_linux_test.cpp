// What the asset index shows on the trace channel.
#include <algorithm>

#include "assetindex/asset_test_tools.h"
#include "diagnostics/fresh_process.h"
#include "support/trace_lines_linux.h"

namespace
{
using namespace assettest;
using votest::TraceLines;

const std::string kContainer = "VOTSAssetNodeContainer::";
const std::string kNumbers = "VOTSNumberContainer::";
const std::string kInnerWalk = "VOTSAssetNodeContainerHelper::TraverseAssetNodeInternal";

Lines GetNode(const std::string& strExpression)
{
    return {TraceLines::Line(strExpression, kInnerWalk),
            TraceLines::Line("uAssetID < m_vecAssetNode.Count()", kContainer + "GetAssetNode")};
}

Lines GetList(const std::string& strExpression)
{
    return {TraceLines::Line(strExpression, kInnerWalk),
            TraceLines::Line("m_pkAssetIndexContainer", kContainer + "GetInfoNumberList"),
            TraceLines::Line("uInfoID < m_pkAssetIndexContainer->GetValueCount()", kContainer + "GetInfoNumberList"),
            TraceLines::Line("m_pkAssetIndexContainer->GetNumberList(uInfoID, vecNumber)",
                             kContainer + "GetInfoNumberList"),
            TraceLines::Line("uIndex < m_uCount", kNumbers + "GetNumberList"),
            TraceLines::Line("m_pArrNumber", kNumbers + "GetNumberList")};
}

int Ignore(const structAssetNode&, void*, int&)
{
    return 0;
}

void WalkUnderTrace()
{
    VOTSAssetNodeContainer kTree;
    AddLinked(kTree, VOTEXT("top"), true, kNone);
    AddLinked(kTree, VOTEXT("top/file"), false, 0);
    AddLinked(kTree, VOTEXT("top/d"), true, 0);
    Lines vecExpected;
    const auto Expect = [&vecExpected](const Lines& rkLines)
    { vecExpected.insert(vecExpected.end(), rkLines.begin(), rkLines.end()); };
    Expect({TraceLines::Line("pFun", kInnerWalk)});
    Expect(GetNode("pkContainer->GetAssetNode(uAssetIndex, tsNode)"));
    Expect(GetList("pkContainer->GetInfoNumberList(tsNode.nChildFileInfo, vecChildIndex)"));
    Expect(GetNode("pkContainer->GetAssetNode(vecChildIndex[i], tsChildNode)"));
    Expect(GetList("pkContainer->GetInfoNumberList(tsNode.nChildFolderInfo, vecChildIndex)"));
    Expect(GetNode("pkContainer->GetAssetNode(vecChildIndex[i], tsChildNode)"));
    Expect({TraceLines::Line("pFun", kInnerWalk)});
    Expect(GetNode("pkContainer->GetAssetNode(uAssetIndex, tsNode)"));
    CHECK_HERE(
        vecExpected ==
        TraceLines::Of([&] { VOTSAssetNodeContainerHelper::TraverseAssetNode(&kTree, 0, 3, 1, &Ignore, nullptr); }));
}

TEST(TraceLinesDeathTest, AWalkShowsTheChecksOfWhatItAsksFor)
{
    EXPECT_IN_FRESH_PROCESS({ WalkUnderTrace(); });
}

void FillUnderTrace()
{
    VOTSAssetNodeContainer kTree;
    structAssetNode tsNode;
    int bInserted = 0;
    const auto Has = [](const Lines& rkLines, const std::string& strLine)
    { return std::find(rkLines.begin(), rkLines.end(), strLine) != rkLines.end(); };

    const Lines vecRequest = TraceLines::Of([&] { kTree.RequestAssetNode(VOTEXT("top"), tsNode, bInserted); });
    CHECK_HERE(Has(vecRequest, TraceLines::Line("_AddFileDataParam(hStringParam, tsNode, uParamIndex)",
                                                kContainer + "RequestAssetNode")));
    CHECK_HERE(!HasText(vecRequest, "VOStringHash"));

    AddLinked(kTree, VOTEXT("top/file"), false, kNone);
    const Lines vecChildren = TraceLines::Of([&] { kTree.SetAssetNodeChildIndex(0, {1}); });
    CHECK_HERE(Has(vecChildren, TraceLines::Line("uNeedSize != 0", kNumbers + "InsertNumber")));
    CHECK_HERE(Has(vecChildren,
                   TraceLines::Line("_ResetNumberArrayCount((m_uCount + uNeedSize) * 2)", kNumbers + "InsertNumber")));
    CHECK_HERE(!HasText(vecChildren, "_InsertList"));
    CHECK_HERE(TraceLines::Of([&] { kTree.FindAssetNode(VOTEXT("top"), tsNode); }).size() == 4);
}

TEST(TraceLinesDeathTest, FillingShowsTheChecksUnderTheirOwnNames)
{
    EXPECT_IN_FRESH_PROCESS({ FillUnderTrace(); });
}

}  // namespace

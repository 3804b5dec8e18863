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
    VOTSAssetNodeContainer tree;
    AddLinked(tree, VOTEXT("top"), true, kNone);
    AddLinked(tree, VOTEXT("top/file"), false, 0);
    AddLinked(tree, VOTEXT("top/d"), true, 0);
    Lines vecExpected;
    const auto Expect = [&vecExpected](const Lines& lines)
    { vecExpected.insert(vecExpected.end(), lines.begin(), lines.end()); };
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
        TraceLines::Of([&] { VOTSAssetNodeContainerHelper::TraverseAssetNode(&tree, 0, 3, 1, &Ignore, nullptr); }));
}

TEST(TraceLinesDeathTest, AWalkShowsTheChecksOfWhatItAsksFor)
{
    EXPECT_IN_FRESH_PROCESS({ WalkUnderTrace(); });
}

void FillUnderTrace()
{
    VOTSAssetNodeContainer tree;
    structAssetNode tsNode;
    int bInserted = 0;
    const auto Has = [](const Lines& lines, const std::string& strLine)
    { return std::find(lines.begin(), lines.end(), strLine) != lines.end(); };

    const Lines vecRequest = TraceLines::Of([&] { tree.RequestAssetNode(VOTEXT("top"), tsNode, bInserted); });
    CHECK_HERE(Has(vecRequest, TraceLines::Line("_AddFileDataParam(hStringParam, tsNode, uParamIndex)",
                                                kContainer + "RequestAssetNode")));
    CHECK_HERE(!HasText(vecRequest, "VOStringHash"));

    AddLinked(tree, VOTEXT("top/file"), false, kNone);
    const Lines vecChildren = TraceLines::Of([&] { tree.SetAssetNodeChildIndex(0, {1}); });
    CHECK_HERE(Has(vecChildren, TraceLines::Line("uNeedSize != 0", kNumbers + "InsertNumber")));
    CHECK_HERE(Has(vecChildren,
                   TraceLines::Line("_ResetNumberArrayCount((m_uCount + uNeedSize) * 2)", kNumbers + "InsertNumber")));
    CHECK_HERE(!HasText(vecChildren, "_InsertList"));
    CHECK_HERE(TraceLines::Of([&] { tree.FindAssetNode(VOTEXT("top"), tsNode); }).size() == 4);
}

void LookUpUnderTrace()
{
    VOTSAssetNodeContainer tree;
    structAssetNode aNode[2];
    int abFound[2] = {};
    AddLinked(tree, VOTEXT("top"), true, kNone);
    const MisalignedBlock image(ImageOf(tree), 1);
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    CHECK_HERE(customer.SetAlloc(image.As<ContainerImage>(), 0) != 0);
    const Lines vecOne = TraceLines::Of([&] { customer.FindAssetNode(VOTEXT("top"), aNode[0]); });
    CHECK_HERE(vecOne.size() == 4);
    const VOWCHAR* const apszPath[] = {VOTEXT("top"), VOTEXT("top")};
    Lines vecExpected;
    for (const char* pszArray : {"ppszPath", "ptsNode", "pbFound"})
    {
        vecExpected.push_back(TraceLines::Line(pszArray, kContainer + "FindAssetNodes"));
    }
    vecExpected.insert(vecExpected.end(), vecOne.begin(), vecOne.end());
    vecExpected.insert(vecExpected.end(), vecOne.begin(), vecOne.end());
    CHECK_HERE(vecExpected == TraceLines::Of([&] { customer.FindAssetNodes(apszPath, 2, aNode, abFound); }));
    CHECK_HERE(abFound[0] == 1 && abFound[1] == 1);
}

TEST(TraceLinesDeathTest, ManyLookupsAtOnceShowTheChecksOfEach)
{
    EXPECT_IN_FRESH_PROCESS({ LookUpUnderTrace(); });
}

TEST(TraceLinesDeathTest, FillingShowsTheChecksUnderTheirOwnNames)
{
    EXPECT_IN_FRESH_PROCESS({ FillUnderTrace(); });
}

}  // namespace

// The order of the steps of a load. A load that succeeds logs nothing, but it traces each check, and tracing needs a
// terminal: the test makes one, in a process of its own.
#include <signal.h>
#include <sys/mman.h>

#include <algorithm>

#include "diagnostics/fresh_process.h"
#include "mapping/mapping_test_tools.h"
#include "support/trace_lines_linux.h"

namespace
{
using namespace mappingtest;
using votest::TraceLines;

std::string TraceOf(const std::string& strExpression, const char* pszFunction)
{
    return TraceLines::Line(strExpression, kInspector + pszFunction);
}

void LoadUnderWatch()
{
    Publisher publisher;
    publisher.PublishImage(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    CHECK_HERE(reader.OpenMappingState() == ET_NONE);

    // The count is moved when the reader is first seen inside.
    unsigned int uNewCount = 4321;
    std::vector<unsigned int> vecReaders;
    ErrorType eResult = ET_RESERVED;
    const Lines vecLines = TraceLines::Of([&] { eResult = reader.OpenMappingData(); },
                                          [&](const std::string&)
                                          {
                                              vecReaders.push_back(publisher.Readers(AF_SOURCE));
                                              if (vecReaders.back() != 0 && uNewCount != 0)
                                              {
                                                  publisher.SetCount(AF_SOURCE, uNewCount);
                                                  uNewCount = 0;
                                              }
                                          });
    CHECK_HERE(eResult == ET_NONE);
    CHECK_HERE(uNewCount == 0);
    CHECK_HERE(reader.LastErrorType() == ET_NONE);
    CHECK_HERE(publisher.Word(AF_SOURCE, 1) == 4321);
    CHECK_HERE(reader.GetAssetNodeCount() == 11);

    // The three checks before the count is raised, in their order; attaching after it is lowered.
    const auto Find = [&vecLines](const std::string& strText)
    {
        return static_cast<size_t>(std::find_if(vecLines.begin(), vecLines.end(),
                                                [&strText](const std::string& strLine)
                                                { return strLine.find(strText) != std::string::npos; }) -
                                   vecLines.begin());
    };
    const size_t uContainer = Find("TracePrintf(m_pkAssetNodeContainer)");
    const size_t uName = Find("TracePrintf(ASSETNODE_MAPPING_VIEW_STRING(m_eaf))");
    const size_t uUnmap = Find("TracePrintf(UnMappingView_AssetNodes())");
    const size_t uAttach = Find("TracePrintf(::strcmp(pAlloc->szVersion");
    CHECK_HERE(uContainer < uName && uName < uUnmap && uUnmap < uAttach && uAttach < vecLines.size());
    bool bInside = false;
    for (size_t uStep = 0; uStep < vecLines.size(); ++uStep)
    {
        bInside = bInside || vecReaders[uStep] == 1;
        CHECK_HERE(vecReaders[uStep] <= 1);
        CHECK_HERE(vecReaders[uStep] == 0 || (uStep > uUnmap && uStep < uAttach));
    }
    CHECK_HERE(bInside);
    CHECK_HERE(publisher.Readers(AF_SOURCE) == 0);
}

TEST(LoadOrderDeathTest, TheCountIsRaisedAfterTheChecksLoweredBeforeTheAttachAndAChangeInsideIsTakenOver)
{
    EXPECT_IN_FRESH_PROCESS({ LoadUnderWatch(); });
}

// ---------------------------------------------------------------------------------------------------------------------
// The moment at which a reader leaves: its view of the state can't be written then, and the fault that the step of the
// reader count runs into publishes.
// ---------------------------------------------------------------------------------------------------------------------

class OpenState : public ClosingInspector
{
public:
    using VOTSFileMappingInspector::m_pMappingState;
};

AssetNodeUpdateState* g_pState = nullptr;
volatile sig_atomic_t g_nFaults = 0;

void PublishAtTheFault(int)
{
    g_nFaults = g_nFaults + 1;
    mprotect(g_pState, 4096, PROT_READ | PROT_WRITE);
    g_pState->arrStateInfo[AF_SOURCE].uUpdateCount = 4321;
}

void LoadWhileOneIsPublishedAsTheReaderLeaves()
{
    Publisher publisher;
    publisher.PublishImage(AF_SOURCE, SourceModel());
    OpenState reader;
    CHECK_HERE(reader.OpenMappingState() == ET_NONE);
    g_pState = reader.m_pMappingState;
    signal(SIGSEGV, &PublishAtTheFault);

    ErrorType eResult = ET_RESERVED;
    TraceLines::Of([&] { eResult = reader.OpenMappingData(); },
                   [&](const std::string&)
                   {
                       if (g_nFaults == 0 && publisher.Readers(AF_SOURCE) != 0)
                       {
                           mprotect(g_pState, 4096, PROT_READ);
                       }
                   });
    CHECK_HERE(g_nFaults == 1);
    CHECK_HERE(eResult == ET_NONE);
    CHECK_HERE(reader.GetAssetNodeCount() == 11);
    CHECK_HERE(publisher.Readers(AF_SOURCE) == 0);
    CHECK_HERE(reader.LastErrorType() == ET_DATA_OUTDATED);
}

TEST(LoadOrderDeathTest, APublicationAsTheReaderLeavesShowsAsAChange)
{
    EXPECT_IN_FRESH_PROCESS({ LoadWhileOneIsPublishedAsTheReaderLeaves(); });
}

// ---------------------------------------------------------------------------------------------------------------------
// Clean-up calls are checked, so that a trace shows them
// ---------------------------------------------------------------------------------------------------------------------

void CleanUpUnderTrace()
{
    Publisher publisher;
    publisher.PublishImage(AF_SOURCE, SourceModel());
    ClosingInspector reader;
    CHECK_HERE(reader.OpenMappingState() == ET_NONE);
    const auto Trace = [](const std::function<void()>& function, const char* pszFunction)
    {
        const Lines vecLines = TraceLines::Of(function);
        return std::count(vecLines.begin(), vecLines.end(), TraceOf("UnMappingView_AssetNodes()", pszFunction));
    };
    CHECK_HERE(Trace([&] { CHECK_HERE(reader.ReMappingData() == ET_NONE); }, "ReMappingData") == 1);
    publisher.PublishBlock(AF_SOURCE, Bytes(40, 0));
    CHECK_HERE(Trace([&] { CHECK_HERE(reader.OpenMappingData() == ET_DATA_UNAVAILABLE); }, "MappingView_AssetNodes") ==
               2);
    CHECK_HERE(Trace([&] { CHECK_HERE(reader.CloseMapping() == 1); }, "CloseMapping") == 1);
}

TEST(LoadOrderDeathTest, TheCleanUpOfReloadFailedLoadAndCloseIsTraced)
{
    EXPECT_IN_FRESH_PROCESS({ CleanUpUnderTrace(); });
}

}  // namespace

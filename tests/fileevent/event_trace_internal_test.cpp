// What the trace channel shows of the file events: one line for each check, and none besides.
#include <functional>

#include "diagnostics/check.h"
#include "fileevent/detect_thread.h"
#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

class EventTrace : public testing::Test
{
protected:
    void TearDown() override { g_bVOTraceOpen = false; }

    // The expressions traced by one function while an operation runs.
    std::vector<std::string> Traced(const std::string& strFunction, const std::function<void()>& fnOperation)
    {
        const LogCapture log;
        g_bVOTraceOpen = true;
        fnOperation();
        g_bVOTraceOpen = false;
        std::vector<std::string> vecExpressions;
        for (const votest::LogEntry& entry : log.Traces())
        {
            const std::string strHead = "TracePrintf(";
            const std::string strText = votest::WithoutLineNumber(entry.strText);
            const std::string strTail = ") at line # in " + strFunction + "\n";
            if (strText.starts_with(strHead) && strText.ends_with(strTail))
            {
                vecExpressions.push_back(
                    strText.substr(strHead.size(), strText.size() - strHead.size() - strTail.size()));
            }
        }
        return vecExpressions;
    }
};

TEST_F(EventTrace, AnAppendShowsOneCheckForEachText)
{
    VOTSFileEventContainer container;
    EXPECT_THAT(Traced(kClass + "AppendEvent",
                       [&] { EXPECT_EQ(1, container.AppendEvent(InfoOf(VOTEXT("a"), VOTEXT("b"), VOTEXT("c")), 1)); }),
                ElementsAre("INVALID_HANDLE_VALUE != node.hstrPath", "INVALID_HANDLE_VALUE != node.hstrNewName",
                            "INVALID_HANDLE_VALUE != node.hstrPhysicPath"));
}

TEST_F(EventTrace, ASetUpShowsEachOfItsChecksOnce)
{
    Publisher publisher;
    std::vector<std::string> vecExpected = {
        "hMappingState", "pMappingState",
        "::strcmp(pMappingState->szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION) == 0"};
    vecExpected.resize(vecExpected.size() + ASSETTYPE_COUNT, "NULL == m_pArrInspector[i]");
    EXPECT_EQ(vecExpected, Traced(kAssemble + "_SetupInspector", [] { VOTSFileEventMappingAssemble::Instance(); }));
    VOTSFileEventMappingAssemble::Release();
}

TEST_F(EventTrace, ACopyShowsTheCheckOfItsContent)
{
    Publisher publisher;
    publisher.Publish(AF_SOURCE, ImageOfTimes({10}), 10);
    TSThreadProcDetect detect;
    VOTSFileEventContainer reader(AR_Customer);
    ASSERT_TRUE(detect.OpenState());
    EXPECT_THAT(Traced("TSThreadProcDetect::MappingView_FileEvent",
                       [&]
                       {
                           EXPECT_EQ(LUMTrayService::Inspector::ET_NONE,
                                     detect.MappingView_FileEvent(AF_SOURCE, detect.StateInfo(AF_SOURCE), &reader));
                       }),
                ElementsAre("pFileEventAlloc && pFileEventAlloc->uDataBufSize"));
}

}  // namespace

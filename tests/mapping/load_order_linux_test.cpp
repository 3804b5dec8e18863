// The order of the steps of a load that succeeds. Such a load logs nothing, but it traces each check, and tracing needs
// a terminal: the test makes one, in a process of its own.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "diagnostics/fresh_process.h"
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

struct Step
{
    std::string strText;
    unsigned int uReaders;
};

struct Watch
{
    const Publisher* pkPublisher = nullptr;
    std::vector<Step> vecSteps;
    unsigned int uNewCount = 0;  // put in place when a reader is first seen inside
    int nTerminal = -1;

    static Watch& Get()
    {
        static Watch s_kWatch;
        return s_kWatch;
    }
    static int Trace(VOLOG_PRIORITY, const char* pszText)
    {
        Watch& rkWatch = Get();
        const unsigned int uReaders = rkWatch.pkPublisher->Readers(AF_SOURCE);
        rkWatch.vecSteps.push_back({votest::WithoutLineNumber(pszText), uReaders});
        if (uReaders != 0 && rkWatch.uNewCount != 0)
        {
            rkWatch.pkPublisher->SetCount(AF_SOURCE, rkWatch.uNewCount);
            rkWatch.uNewCount = 0;
        }
        // What goes to the terminal has to be taken from it.
        char szDrained[4096];
        while (read(rkWatch.nTerminal, szDrained, sizeof(szDrained)) > 0)
        {
        }
        return 0;
    }

    // Where a text is first traced; the number of steps when it isn't.
    size_t Find(const std::string& strText) const
    {
        size_t uStep = 0;
        while (uStep < vecSteps.size() && vecSteps[uStep].strText.find(strText) == std::string::npos)
        {
            ++uStep;
        }
        return uStep;
    }
};

void OpenTrace()
{
    CHECK_HERE(setsid() > 0);
    const int nMaster = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    CHECK_HERE(nMaster >= 0 && grantpt(nMaster) == 0 && unlockpt(nMaster) == 0);
    const int nSlave = open(ptsname(nMaster), O_RDWR);
    CHECK_HERE(nSlave >= 0);
    ioctl(nSlave, TIOCSCTTY, 0);
    Watch::Get().nTerminal = nMaster;
    SetTracePrintFunction(&Watch::Trace);
    SetTracePrintEnable(1, 1);
}

void LoadUnderWatch()
{
    Publisher kPublisher;
    kPublisher.Publish(AF_SOURCE, SourceModel());
    ClosingInspector kReader;
    CHECK_HERE(kReader.OpenMappingState() == ET_NONE);
    Watch& rkWatch = Watch::Get();
    rkWatch.pkPublisher = &kPublisher;
    OpenTrace();

    rkWatch.uNewCount = 4321;
    CHECK_HERE(kReader.OpenMappingData() == ET_NONE);
    SetTracePrintEnable(0, 0);
    CHECK_HERE(rkWatch.uNewCount == 0);  // the change was made while the reader was inside
    CHECK_HERE(kReader.LastErrorType() == ET_NONE);
    CHECK_HERE(kPublisher.Word(AF_SOURCE, 1) == 4321);
    CHECK_HERE(kReader.GetAssetNodeCount() == 11);

    // The three checks before the count is raised, in their order; attaching after it is lowered.
    const size_t uContainer = rkWatch.Find("TracePrintf(m_pkAssetNodeContainer)");
    const size_t uName = rkWatch.Find("TracePrintf(ASSETNODE_MAPPING_VIEW_STRING(m_eaf))");
    const size_t uUnmap = rkWatch.Find("TracePrintf(UnMappingView_AssetNodes())");
    const size_t uAttach = rkWatch.Find("TracePrintf(::strcmp(pAlloc->szVersion");
    CHECK_HERE(uContainer < uName && uName < uUnmap && uUnmap < uAttach && uAttach < rkWatch.vecSteps.size());
    bool bInside = false;
    for (size_t uStep = 0; uStep < rkWatch.vecSteps.size(); ++uStep)
    {
        const unsigned int uReaders = rkWatch.vecSteps[uStep].uReaders;
        bInside = bInside || uReaders == 1;
        CHECK_HERE(uReaders <= 1);
        CHECK_HERE(uReaders == 0 || (uStep > uUnmap && uStep < uAttach));
    }
    CHECK_HERE(bInside);
    CHECK_HERE(kPublisher.Readers(AF_SOURCE) == 0);
}

TEST(LoadOrderDeathTest, TheCountIsRaisedAfterTheChecksLoweredBeforeTheAttachAndAChangeInsideIsTakenOver)
{
    EXPECT_IN_FRESH_PROCESS({ LoadUnderWatch(); });
}

}  // namespace

// The stack walker without its library, without memory, and with calls that fail.
#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"
#include "platform/vo_platform.h"
#include "support/fault_points.h"

using namespace walkertest;

namespace
{
// Whether one of the lines reports a failed call.
bool Reports(const Walker& walker, const std::string& strCall)
{
    for (const std::string& line : walker.vecOutput)
    {
        if (line.find("ERROR: " + strCall + ", GetLastError: ") == 0)
        {
            return true;
        }
    }
    return false;
}

class StackWalkerFaults : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
        {
            GTEST_SKIP() << "the calls are the system's own here";
        }
    }
    void TearDown() override { VOFaultDisarm(); }
};
}  // namespace

TEST_F(StackWalkerFaults, WithoutTheLibraryAWalkGives0With1114AndTheSummaryIsReset)
{
    Walker walker;
    walker.Enter("D3D11TranslateCreateDevice", "m");
    walker.vecOutput.clear();
    VOFaultArm("LoadLibraryW", 1, true);
    EXPECT_EQ(0, walker.ShowCallstack());
    EXPECT_EQ(1114u, GetLastError());
    EXPECT_TRUE(Reports(walker, "Error while initializing dbghelp.dll"));
    EXPECT_EQ(1u, walker.vecOutput.size());
    EXPECT_EQ(1, walker.m_bNoFrameKept);
    EXPECT_EQ(0, walker.m_nSummaryFrames);
    EXPECT_EQ(0, walker.m_bD3D11Translate);
    EXPECT_STREQ("", walker.m_szSummary);
    EXPECT_STREQ("", walker.m_szFirstSourceFile);
    VOFaultDisarm();
    EXPECT_EQ(1, walker.ShowCallstack());
}

TEST_F(StackWalkerFaults, EachFunctionOfTheLibraryButTwoIsRequired)
{
    int nMissed = 0;
    for (unsigned uNth = 1; uNth <= 13; ++uNth)
    {
        Walker walker(0);
        VOFaultArm("GetProcAddress", uNth, false);
        // The third is the line, the thirteenth the search path.
        EXPECT_EQ(uNth == 3 || uNth == 13 ? 1 : 0, walker.LoadModules()) << uNth;
        nMissed += VOFaultFired() != 0 ? 1 : 0;
        VOFaultDisarm();
    }
    EXPECT_EQ(13, nMissed);
}

TEST_F(StackWalkerFaults, AModuleListThatCantBeMadeGives0)
{
    Walker walker(0);
    VOFaultArm("maps", 1, true);
    EXPECT_EQ(0, walker.LoadModules());
    EXPECT_EQ(0, walker.m_bModulesLoaded);
}

TEST_F(StackWalkerFaults, NoMemoryForTheSearchPathIsError8)
{
    Walker walker;
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(0, walker.LoadModules());
    EXPECT_EQ(8u, GetLastError());
    EXPECT_EQ(0u, walker.vecOutput.size());
}

TEST_F(StackWalkerFaults, WhatFailsAtAFrameIsReportedAndTheWalkGoesOn)
{
    for (const char* pszCall : {"SymGetSymFromAddr64", "SymGetLineFromAddr64", "SymGetModuleInfo64"})
    {
        Walker walker(0);
        ASSERT_EQ(1, walker.LoadModules());
        walker.vecOutput.clear();
        VOFaultArm(pszCall, 1, true);
        EXPECT_EQ(1, walker.ShowCallstack()) << pszCall;
        VOFaultDisarm();
        EXPECT_TRUE(Reports(walker, pszCall)) << pszCall;
        EXPECT_LT(3u, walker.vecType.size()) << pszCall;
    }
}

TEST_F(StackWalkerFaults, AFirstStepThatFailsIsReportedAndGives1)
{
    Walker walker(0);
    ASSERT_EQ(1, walker.LoadModules());
    walker.vecOutput.clear();
    VOFaultArm("StackWalk64", 1, true);
    EXPECT_EQ(1, walker.ShowCallstack());
    VOFaultDisarm();
    EXPECT_TRUE(Reports(walker, "StackWalk64"));
    EXPECT_EQ(1u, walker.vecOutput.size());
    EXPECT_EQ(1, walker.m_bNoFrameKept);
}

TEST_F(StackWalkerFaults, AStartOfTheLibraryThatFailsIsReportedAndTheListIsMade)
{
    Walker walker(0);
    VOFaultArm("SymInitialize", 1, false);
    EXPECT_EQ(1, walker.LoadModules());
    VOFaultDisarm();
    EXPECT_TRUE(Reports(walker, "SymInitialize"));
}

TEST_F(StackWalkerFaults, AllocationsOfAWalkMayFail)
{
    // The first ones each, then samples: a fresh walk reads a program's symbols, which takes its time.
    for (unsigned uNth = 1;; uNth += uNth < 6 ? 1 : 11)
    {
        Walker walker;
        VOFaultArm("VOTryAllocate", uNth, false);
        walker.ShowCallstack();
        const bool bFired = VOFaultFired() != 0;
        VOFaultDisarm();
        if (!bFired)
        {
            EXPECT_LT(5u, uNth);
            break;
        }
    }
}

TEST_F(StackWalkerFaults, ARecordOfAModuleThatCantBeHadIsError1114OrError8)
{
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 loaded;
    StackWalkerInternal unbound(nullptr, VOCurrentProcessHandle());
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(0, unbound.GetModuleInfo(VOCurrentProcessHandle(), 1, &loaded));
    EXPECT_EQ(1114u, GetLastError());

    Walker owner(0);
    StackWalkerInternal bound(&owner, VOCurrentProcessHandle());
    ASSERT_EQ(1, bound.Init(nullptr));
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(0, bound.GetModuleInfo(VOCurrentProcessHandle(), 1, &loaded));
    EXPECT_EQ(1114u, GetLastError());
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(0, bound.GetModuleInfo(VOCurrentProcessHandle(), 1, &loaded));
    VOFaultDisarm();
    EXPECT_EQ(8u, GetLastError());
}

TEST_F(StackWalkerFaults, AWholeWalkLeavesTheLastError0)
{
    Walker walker(0);
    ASSERT_EQ(1, walker.LoadModules());
    SetLastError(ERROR_INVALID_HANDLE);
    EXPECT_EQ(1, walker.ShowCallstack());
    EXPECT_EQ(0u, GetLastError());
}

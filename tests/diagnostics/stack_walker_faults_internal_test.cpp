// The stack walker without its library, without memory, and with calls that fail.
#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"
#include "platform/fault_points.h"
#include "platform/vo_platform.h"

using namespace walkertest;

namespace
{
// Whether one of the lines reports a failed call.
bool Reports(const Walker& rkWalker, const std::string& strCall)
{
    for (const std::string& rkLine : rkWalker.vecOutput)
    {
        if (rkLine.find("ERROR: " + strCall + ", GetLastError: ") == 0)
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
    Walker kWalker;
    kWalker.Enter("D3D11TranslateCreateDevice", "m");
    kWalker.vecOutput.clear();
    VOFaultArm("LoadLibraryW", 1, true);
    EXPECT_EQ(0, kWalker.ShowCallstack());
    EXPECT_EQ(1114u, GetLastError());
    EXPECT_TRUE(Reports(kWalker, "Error while initializing dbghelp.dll"));
    EXPECT_EQ(1u, kWalker.vecOutput.size());
    EXPECT_EQ(1, kWalker.m_bNoFrameKept);
    EXPECT_EQ(0, kWalker.m_nSummaryFrames);
    EXPECT_EQ(0, kWalker.m_bD3D11Translate);
    EXPECT_STREQ("", kWalker.m_szSummary);
    EXPECT_STREQ("", kWalker.m_szFirstSourceFile);
    VOFaultDisarm();
    EXPECT_EQ(1, kWalker.ShowCallstack());
}

TEST_F(StackWalkerFaults, EachFunctionOfTheLibraryButTwoIsRequired)
{
    int nMissed = 0;
    for (unsigned uNth = 1; uNth <= 13; ++uNth)
    {
        Walker kWalker(0);
        VOFaultArm("GetProcAddress", uNth, false);
        // The third is the line, the thirteenth the search path.
        EXPECT_EQ(uNth == 3 || uNth == 13 ? 1 : 0, kWalker.LoadModules()) << uNth;
        nMissed += VOFaultFired() != 0 ? 1 : 0;
        VOFaultDisarm();
    }
    EXPECT_EQ(13, nMissed);
}

TEST_F(StackWalkerFaults, AModuleListThatCantBeMadeGives0)
{
    Walker kWalker(0);
    VOFaultArm("maps", 1, true);
    EXPECT_EQ(0, kWalker.LoadModules());
    EXPECT_EQ(0, kWalker.m_bModulesLoaded);
}

TEST_F(StackWalkerFaults, NoMemoryForTheSearchPathIsError8)
{
    Walker kWalker;
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(0, kWalker.LoadModules());
    EXPECT_EQ(8u, GetLastError());
    EXPECT_EQ(0u, kWalker.vecOutput.size());
}

TEST_F(StackWalkerFaults, WhatFailsAtAFrameIsReportedAndTheWalkGoesOn)
{
    for (const char* pszCall : {"SymGetSymFromAddr64", "SymGetLineFromAddr64", "SymGetModuleInfo64"})
    {
        Walker kWalker(0);
        ASSERT_EQ(1, kWalker.LoadModules());
        kWalker.vecOutput.clear();
        VOFaultArm(pszCall, 1, true);
        EXPECT_EQ(1, kWalker.ShowCallstack()) << pszCall;
        VOFaultDisarm();
        EXPECT_TRUE(Reports(kWalker, pszCall)) << pszCall;
        EXPECT_LT(3u, kWalker.vecType.size()) << pszCall;
    }
}

TEST_F(StackWalkerFaults, AFirstStepThatFailsIsReportedAndGives1)
{
    Walker kWalker(0);
    ASSERT_EQ(1, kWalker.LoadModules());
    kWalker.vecOutput.clear();
    VOFaultArm("StackWalk64", 1, true);
    EXPECT_EQ(1, kWalker.ShowCallstack());
    VOFaultDisarm();
    EXPECT_TRUE(Reports(kWalker, "StackWalk64"));
    EXPECT_EQ(1u, kWalker.vecOutput.size());
    EXPECT_EQ(1, kWalker.m_bNoFrameKept);
}

TEST_F(StackWalkerFaults, AStartOfTheLibraryThatFailsIsReportedAndTheListIsMade)
{
    Walker kWalker(0);
    VOFaultArm("SymInitialize", 1, false);
    EXPECT_EQ(1, kWalker.LoadModules());
    VOFaultDisarm();
    EXPECT_TRUE(Reports(kWalker, "SymInitialize"));
}

TEST_F(StackWalkerFaults, AllocationsOfAWalkMayFail)
{
    // The first ones each, then samples: a fresh walk reads a program's symbols, which takes its time.
    for (unsigned uNth = 1;; uNth += uNth < 6 ? 1 : 11)
    {
        Walker kWalker;
        VOFaultArm("VOTryAllocate", uNth, false);
        kWalker.ShowCallstack();
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
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 kModule;
    StackWalkerInternal kUnbound(nullptr, VOCurrentProcessHandle());
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(0, kUnbound.GetModuleInfo(VOCurrentProcessHandle(), 1, &kModule));
    EXPECT_EQ(1114u, GetLastError());

    Walker kOwner(0);
    StackWalkerInternal kBound(&kOwner, VOCurrentProcessHandle());
    ASSERT_EQ(1, kBound.Init(nullptr));
    SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(0, kBound.GetModuleInfo(VOCurrentProcessHandle(), 1, &kModule));
    EXPECT_EQ(1114u, GetLastError());
    VOFaultArm("VOTryAllocate", 1, false);
    EXPECT_EQ(0, kBound.GetModuleInfo(VOCurrentProcessHandle(), 1, &kModule));
    VOFaultDisarm();
    EXPECT_EQ(8u, GetLastError());
}

TEST_F(StackWalkerFaults, AWholeWalkLeavesTheLastError0)
{
    Walker kWalker(0);
    ASSERT_EQ(1, kWalker.LoadModules());
    SetLastError(ERROR_INVALID_HANDLE);
    EXPECT_EQ(1, kWalker.ShowCallstack());
    EXPECT_EQ(0u, GetLastError());
}

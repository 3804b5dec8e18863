// Walking stacks.
#include <cstring>
#include <filesystem>

#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"

using namespace walkertest;

namespace
{
// The search path that a LoadModules reports, and "" when it reports none.
std::string SearchPath(Walker& rWalker)
{
    const std::string strMark = "Symbol-SearchPath: '";
    for (const std::string& rkLine : rWalker.vecOutput)
    {
        const size_t uBegin = rkLine.find(strMark);
        if (uBegin != std::string::npos)
        {
            return rkLine.substr(uBegin + strMark.size(), rkLine.find("', symOptions") - uBegin - strMark.size());
        }
    }
    return "(not reported)";
}

int CountReads(void* hProcess, unsigned long long uBase, void* pBuffer, VOULONG uSize, VOULONG* puRead, void* pUserData)
{
    EXPECT_EQ(VOCurrentProcessHandle(), hProcess);
    ++*static_cast<int*>(pUserData);
    memcpy(pBuffer, reinterpret_cast<const void*>(static_cast<uintptr_t>(uBase)), uSize);
    *puRead = uSize;
    return 1;
}

int RefuseReads(void*, unsigned long long, void*, VOULONG, VOULONG*, void*)
{
    return 0;
}
}  // namespace

TEST(StackWalker, AnObjectHasTheStatedOptions)
{
    EXPECT_EQ(63, Walker().m_nOptions);
    EXPECT_EQ(nullptr, Walker().m_pszSymPath);
    EXPECT_EQ(63, Walker(StackWalker::CurrentProcessId(), VOCurrentProcessHandle()).m_nOptions);
    EXPECT_EQ(5, Walker(5).m_nOptions);
    EXPECT_EQ(VOCurrentProcessHandle(), Walker().m_hProcess);
}

TEST(StackWalker, APathSwitchesTheSearchPathOnWhateverTheOptionsSay)
{
    std::string strPath = "some path";
    const Walker kWalker(0, strPath.c_str());
    strPath = "changed";
    EXPECT_EQ(16, kWalker.m_nOptions);
    EXPECT_STREQ("some path", kWalker.m_pszSymPath);
}

TEST(StackWalker, TheSearchPathHasItsPartsInOrder)
{
    Walker kWalker(0, "first");
    EXPECT_EQ(1, kWalker.LoadModules());
    const std::string strFolder = std::filesystem::current_path().string();
    const std::string strPath = SearchPath(kWalker);
    EXPECT_EQ(0u, strPath.find("first;.;" + strFolder + ";")) << strPath;
    const size_t uServer = strPath.find(";SRV*");
    ASSERT_NE(std::string::npos, uServer) << strPath;
    EXPECT_NE(std::string::npos, strPath.find(":\\websymbols*http", uServer)) << strPath;
    EXPECT_EQ(';', strPath.back());
}

TEST(StackWalker, WithoutOptionsAndPathNoSearchPathIsBuilt)
{
    Walker kWalker(0);
    EXPECT_EQ(1, kWalker.LoadModules());
    EXPECT_EQ(std::string::npos, SearchPath(kWalker).find("SRV*"));
    EXPECT_EQ(std::string::npos, SearchPath(kWalker).find(".;"));
}

TEST(StackWalker, LoadModulesListsThemOnce)
{
    Walker kWalker;
    EXPECT_EQ(1, kWalker.LoadModules());
    EXPECT_EQ(1, kWalker.m_bModulesLoaded);
    const size_t uReported = kWalker.vecOutput.size();
    EXPECT_LT(3u, uReported);
    bool bLibrary = false;
    for (const std::string& rkLine : kWalker.vecOutput)
    {
        bLibrary =
            bLibrary || (rkLine.find("VOBaseX64") != std::string::npos && rkLine.find("size: ") != std::string::npos);
    }
    EXPECT_TRUE(bLibrary);
    EXPECT_EQ(1, kWalker.LoadModules());
    EXPECT_EQ(uReported, kWalker.vecOutput.size());
}

TEST(StackWalker, AWalkOfTheCallerReportsFirstThenNextThenLastOnce)
{
    Walker kWalker;
    EXPECT_EQ(1, kWalker.ShowCallstack());
    ASSERT_LT(3u, kWalker.vecType.size());
    EXPECT_EQ(StackWalker::eEntryFirst, kWalker.vecType.front());
    EXPECT_EQ(StackWalker::eEntryLast, kWalker.vecType.back());
    EXPECT_EQ(kWalker.vecAddress.back(), kWalker.vecAddress[kWalker.vecAddress.size() - 2]);
    for (size_t i = 1; i + 1 < kWalker.vecType.size(); ++i)
    {
        EXPECT_EQ(StackWalker::eEntryNext, kWalker.vecType[i]);
    }
}

TEST(StackWalker, TheSummaryIsResetAtEachWalk)
{
    Walker kWalker;
    kWalker.m_bD3D11Translate = 1;
    EXPECT_EQ(1, kWalker.ShowCallstack());
    EXPECT_EQ(0, kWalker.m_bD3D11Translate);
    const std::string strFirst = kWalker.m_szSummary;
    const int nFrames = kWalker.m_nSummaryFrames;
    EXPECT_EQ(1, kWalker.ShowCallstack());
    EXPECT_EQ(nFrames, kWalker.m_nSummaryFrames);
    EXPECT_EQ(strFirst.size(), strlen(kWalker.m_szSummary));
}

TEST(StackWalker, AGivenContextWhoseMemoryCantBeReadStillGives1)
{
    Walker kWalker;
    CONTEXT context = {};
    context.Rip = 16;
    context.Rsp = 32;
    EXPECT_EQ(1, kWalker.ShowCallstack(VOCurrentThreadHandle(), &context, RefuseReads));
    EXPECT_GT(4u, kWalker.vecType.size());
}

TEST(StackWalker, AContextOfNothingGives1AndKeepsNoFrame)
{
    Walker kWalker;
    const CONTEXT context = {};
    EXPECT_EQ(1, kWalker.ShowCallstack(VOCurrentThreadHandle(), &context, RefuseReads));
    EXPECT_EQ(1, kWalker.m_bNoFrameKept);
    EXPECT_STREQ("", kWalker.m_szSummary);
}

TEST(StackWalker, TheCallersReaderIsAskedForTheMemory)
{
    Walker kWalker;
    int nReads = 0;
    EXPECT_EQ(1, kWalker.ShowCallstack(VOCurrentThreadHandle(), nullptr, CountReads, &nReads));
    EXPECT_LT(0, nReads);
    EXPECT_LT(3u, kWalker.vecType.size());
}

TEST(StackWalker, WithoutACallersReaderTheProcessIsRead)
{
    Walker kWalker;
    int nReads = 0;
    kWalker.ShowCallstack(VOCurrentThreadHandle(), nullptr, CountReads, &nReads);
    kWalker.ShowCallstack();
    const int nBefore = nReads;
    const unsigned long long ullValue = 0x1122334455667788;
    unsigned long long ullRead = 0;
    VOULONG uRead = 0;
    EXPECT_NE(0, Walker::myReadProcMem(VOCurrentProcessHandle(), reinterpret_cast<uintptr_t>(&ullValue), &ullRead, 8,
                                       &uRead));
    EXPECT_EQ(ullValue, ullRead);
    EXPECT_EQ(8u, uRead);
    EXPECT_EQ(nBefore, nReads);
    EXPECT_EQ(0, Walker::myReadProcMem(VOCurrentProcessHandle(), 8, &ullRead, 8, &uRead));
}

TEST(StackWalker, AThreadThatIsNoneGives0)
{
    Walker kWalker;
    EXPECT_EQ(0, kWalker.ShowCallstack(nullptr));
    EXPECT_EQ(1, kWalker.m_bNoFrameKept);
}

TEST(StackWalker, CopiesShareWhatTheyOwn)
{
    Walker kCopy(0);
    {
        Walker kWalker(0, "path");
        EXPECT_EQ(1, kWalker.LoadModules());
        kCopy = kWalker;
        const Walker kThird(kWalker);
        EXPECT_EQ(kWalker.m_pszSymPath, kThird.m_pszSymPath);
    }
    EXPECT_STREQ("path", kCopy.m_pszSymPath);
    kCopy.vecOutput.clear();
    EXPECT_EQ(1, kCopy.ShowCallstack());
    EXPECT_LT(2u, kCopy.vecOutput.size());
}

TEST(StackWalkerInternal, WithoutAnOwnerNothingIsBound)
{
    StackWalkerInternal kInternal(nullptr, VOCurrentProcessHandle());
    EXPECT_EQ(0, kInternal.Init(nullptr));
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 kModule;
    EXPECT_EQ(0, kInternal.GetModuleInfo(VOCurrentProcessHandle(), 1, &kModule));
}

TEST(StackWalkerInternal, TheLastErrorSaysWhatFailed)
{
    StackWalkerInternal kInternal(nullptr, VOCurrentProcessHandle());
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 kModule;
    EXPECT_EQ(0, kInternal.GetModuleInfo(VOCurrentProcessHandle(), 1, &kModule));
    EXPECT_EQ(1114u, VOLastError());
    Walker kWalker;
    EXPECT_EQ(1, kWalker.ShowCallstack());
    EXPECT_EQ(0u, VOLastError());
}

TEST(StackWalkerInternal, BeforeTheLibraryIsBoundNoModulesAreListed)
{
    Walker kWalker;
    StackWalkerInternal kWithoutOwner(nullptr, VOCurrentProcessHandle());
    EXPECT_EQ(0, kWithoutOwner.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
    StackWalkerInternal kInternal(&kWalker, VOCurrentProcessHandle());
    EXPECT_EQ(0, kInternal.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
    EXPECT_TRUE(kWalker.vecOutput.empty());
    ASSERT_EQ(1, kInternal.Init(nullptr));
    EXPECT_EQ(1, kInternal.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
    kInternal.PreInit(&kWalker, VOCurrentProcessHandle());
    EXPECT_EQ(0, kInternal.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
}

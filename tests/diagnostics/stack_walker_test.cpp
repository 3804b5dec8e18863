// Walking stacks.
#include <cstring>
#include <filesystem>

#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"

using namespace walkertest;

namespace
{
// The search path that a LoadModules reports, and "" when it reports none.
std::string SearchPath(Walker& walker)
{
    const std::string strMark = "Symbol-SearchPath: '";
    for (const std::string& line : walker.vecOutput)
    {
        const size_t uBegin = line.find(strMark);
        if (uBegin != std::string::npos)
        {
            return line.substr(uBegin + strMark.size(), line.find("', symOptions") - uBegin - strMark.size());
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
    const Walker walker(0, strPath.c_str());
    strPath = "changed";
    EXPECT_EQ(16, walker.m_nOptions);
    EXPECT_STREQ("some path", walker.m_pszSymPath);
}

TEST(StackWalker, TheSearchPathHasItsPartsInOrder)
{
    Walker walker(0, "first");
    EXPECT_EQ(1, walker.LoadModules());
    const std::string strFolder = std::filesystem::current_path().string();
    const std::string strPath = SearchPath(walker);
    EXPECT_EQ(0u, strPath.find("first;.;" + strFolder + ";")) << strPath;
    const size_t uServer = strPath.find(";SRV*");
    ASSERT_NE(std::string::npos, uServer) << strPath;
    EXPECT_NE(std::string::npos, strPath.find(":\\websymbols*http", uServer)) << strPath;
    EXPECT_EQ(';', strPath.back());
}

TEST(StackWalker, WithoutOptionsAndPathNoSearchPathIsBuilt)
{
    Walker walker(0);
    EXPECT_EQ(1, walker.LoadModules());
    EXPECT_EQ(std::string::npos, SearchPath(walker).find("SRV*"));
    EXPECT_EQ(std::string::npos, SearchPath(walker).find(".;"));
}

TEST(StackWalker, LoadModulesListsThemOnce)
{
    Walker walker;
    EXPECT_EQ(1, walker.LoadModules());
    EXPECT_EQ(1, walker.m_bModulesLoaded);
    const size_t uReported = walker.vecOutput.size();
    EXPECT_LT(3u, uReported);
    bool bLibrary = false;
    for (const std::string& line : walker.vecOutput)
    {
        bLibrary =
            bLibrary || (line.find("VOBaseX64") != std::string::npos && line.find("size: ") != std::string::npos);
    }
    EXPECT_TRUE(bLibrary);
    EXPECT_EQ(1, walker.LoadModules());
    EXPECT_EQ(uReported, walker.vecOutput.size());
}

TEST(StackWalker, AWalkOfTheCallerReportsFirstThenNextThenLastOnce)
{
    Walker walker;
    EXPECT_EQ(1, walker.ShowCallstack());
    ASSERT_LT(3u, walker.vecType.size());
    EXPECT_EQ(StackWalker::eEntryFirst, walker.vecType.front());
    EXPECT_EQ(StackWalker::eEntryLast, walker.vecType.back());
    EXPECT_EQ(walker.vecAddress.back(), walker.vecAddress[walker.vecAddress.size() - 2]);
    for (size_t i = 1; i + 1 < walker.vecType.size(); ++i)
    {
        EXPECT_EQ(StackWalker::eEntryNext, walker.vecType[i]);
    }
}

TEST(StackWalker, TheSummaryIsResetAtEachWalk)
{
    Walker walker;
    walker.m_bD3D11Translate = 1;
    EXPECT_EQ(1, walker.ShowCallstack());
    EXPECT_EQ(0, walker.m_bD3D11Translate);
    const std::string strFirst = walker.m_szSummary;
    const int nFrames = walker.m_nSummaryFrames;
    EXPECT_EQ(1, walker.ShowCallstack());
    EXPECT_EQ(nFrames, walker.m_nSummaryFrames);
    EXPECT_EQ(strFirst.size(), strlen(walker.m_szSummary));
}

TEST(StackWalker, AGivenContextWhoseMemoryCantBeReadStillGives1)
{
    Walker walker;
    CONTEXT context = {};
    context.Rip = 16;
    context.Rsp = 32;
    EXPECT_EQ(1, walker.ShowCallstack(VOCurrentThreadHandle(), &context, RefuseReads));
    EXPECT_GT(4u, walker.vecType.size());
}

TEST(StackWalker, AContextOfNothingGives1AndKeepsNoFrame)
{
    Walker walker;
    const CONTEXT context = {};
    EXPECT_EQ(1, walker.ShowCallstack(VOCurrentThreadHandle(), &context, RefuseReads));
    EXPECT_EQ(1, walker.m_bNoFrameKept);
    EXPECT_STREQ("", walker.m_szSummary);
}

TEST(StackWalker, TheCallersReaderIsAskedForTheMemory)
{
    Walker walker;
    int nReads = 0;
    EXPECT_EQ(1, walker.ShowCallstack(VOCurrentThreadHandle(), nullptr, CountReads, &nReads));
    EXPECT_LT(0, nReads);
    EXPECT_LT(3u, walker.vecType.size());
}

TEST(StackWalker, WithoutACallersReaderTheProcessIsRead)
{
    Walker walker;
    int nReads = 0;
    walker.ShowCallstack(VOCurrentThreadHandle(), nullptr, CountReads, &nReads);
    walker.ShowCallstack();
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
    Walker walker;
    EXPECT_EQ(0, walker.ShowCallstack(nullptr));
    EXPECT_EQ(1, walker.m_bNoFrameKept);
}

TEST(StackWalker, CopiesShareWhatTheyOwn)
{
    Walker copy(0);
    {
        Walker walker(0, "path");
        EXPECT_EQ(1, walker.LoadModules());
        copy = walker;
        const Walker third(walker);
        EXPECT_EQ(walker.m_pszSymPath, third.m_pszSymPath);
    }
    EXPECT_STREQ("path", copy.m_pszSymPath);
    copy.vecOutput.clear();
    EXPECT_EQ(1, copy.ShowCallstack());
    EXPECT_LT(2u, copy.vecOutput.size());
}

TEST(StackWalker, ACopyHasTheSummaryAndTheOptions)
{
    Walker walker(0, "path");
    walker.m_nSummaryFrames = 3;
    walker.m_bNoFrameKept = 1;
    walker.m_bD3D11Translate = 1;
    strcpy(walker.m_szSummary, "function,module|");
    strcpy(walker.m_szFirstSourceFile, "file.cpp");
    const Walker copy(walker);
    EXPECT_EQ(3, copy.m_nSummaryFrames);
    EXPECT_EQ(1, copy.m_bNoFrameKept);
    EXPECT_EQ(1, copy.m_bD3D11Translate);
    EXPECT_STREQ("function,module|", copy.m_szSummary);
    EXPECT_STREQ("file.cpp", copy.m_szFirstSourceFile);
}

TEST(StackWalkerInternal, WithoutAnOwnerNothingIsBound)
{
    StackWalkerInternal internal(nullptr, VOCurrentProcessHandle());
    EXPECT_EQ(0, internal.Init(nullptr));
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 loaded;
    EXPECT_EQ(0, internal.GetModuleInfo(VOCurrentProcessHandle(), 1, &loaded));
}

TEST(StackWalkerInternal, TheLastErrorSaysWhatFailed)
{
    StackWalkerInternal internal(nullptr, VOCurrentProcessHandle());
    StackWalkerInternal::IMAGEHLP_MODULE64_V2 loaded;
    EXPECT_EQ(0, internal.GetModuleInfo(VOCurrentProcessHandle(), 1, &loaded));
    EXPECT_EQ(1114u, VOLastError());
    Walker walker;
    EXPECT_EQ(1, walker.ShowCallstack());
    EXPECT_EQ(0u, VOLastError());
}

TEST(StackWalkerInternal, BeforeTheLibraryIsBoundNoModulesAreListed)
{
    Walker walker;
    StackWalkerInternal withoutOwner(nullptr, VOCurrentProcessHandle());
    EXPECT_EQ(0, withoutOwner.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
    StackWalkerInternal internal(&walker, VOCurrentProcessHandle());
    EXPECT_EQ(0, internal.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
    EXPECT_TRUE(walker.vecOutput.empty());
    ASSERT_EQ(1, internal.Init(nullptr));
    EXPECT_EQ(1, internal.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
    internal.PreInit(&walker, VOCurrentProcessHandle());
    EXPECT_EQ(0, internal.LoadModules(VOCurrentProcessHandle(), StackWalker::CurrentProcessId()));
}

// The texts of the stack walker, its filter and its summary.
#include <cstdio>

#include "diagnostics/stack_walker_tools.h"
#include "gtest/gtest.h"

using namespace walkertest;

namespace
{
// An address as the runtime shows pointers.
std::string Pointer(unsigned long long ullAddress)
{
    char szText[40];
    snprintf(szText, sizeof(szText), "%p", reinterpret_cast<void*>(static_cast<uintptr_t>(ullAddress)));
    return szText;
}

Walker Fresh()
{
    Walker walker;
    walker.Reset();
    return walker;
}
}  // namespace

TEST(StackWalkerReport, AFrameWithASourceFileIsFileLineAndName)
{
    Walker walker = Fresh();
    walker.Enter("foo", "a", "dir/a.cpp");
    EXPECT_EQ((Texts{"dir/a.cpp (7): foo\n"}), walker.vecOutput);
    EXPECT_STREQ("dir/a.cpp", walker.m_szFirstSourceFile);
}

TEST(StackWalkerReport, AFrameWithoutASourceFileIsAddressModuleAndName)
{
    Walker walker = Fresh();
    walker.Enter("foo", "a");
    walker.Enter("", "");
    EXPECT_EQ((Texts{Pointer(0x1234) + " (a): (filename not available): foo\n",
                     Pointer(0x1234) +
                         " ((module-name not available)): (filename not available): (function-name not available)\n"}),
              walker.vecOutput);
    EXPECT_STREQ("(filename not available)", walker.m_szFirstSourceFile);
    EXPECT_STREQ("foo,a|(function-name not available),(module-name not available)|", walker.m_szSummary);
}

TEST(StackWalkerReport, TheBestNameThereIsIsTaken)
{
    Walker walker = Fresh();
    StackWalker::CallstackEntry entry = {};
    entry.uAddress = 1;
    strcpy(entry.szName, "decorated");
    strcpy(entry.szUndName, "name");
    strcpy(entry.szLineFileName, "f");
    StackWalker::CallstackEntry complete = entry;
    strcpy(complete.szUndFullName, "name(int)");
    walker.Enter(StackWalker::eEntryFirst, entry);
    walker.Enter(StackWalker::eEntryNext, complete);
    EXPECT_EQ((Texts{"f (0): name\n", "f (0): name(int)\n"}), walker.vecOutput);
    EXPECT_STREQ("name", entry.szName);
    EXPECT_STREQ("name(int)", complete.szName);
}

TEST(StackWalkerReport, LongTextIsCut)
{
    Walker walker = Fresh();
    walker.Enter(std::string(1023, 'n'), std::string(1023, 'm'), std::string(1023, 'f'));
    ASSERT_EQ(1u, walker.vecOutput.size());
    EXPECT_EQ(std::string(1023, 'f'), walker.vecOutput[0]);
    EXPECT_EQ(std::string(1023, 'n'), walker.m_szSummary);
    EXPECT_EQ(std::string(511, 'f'), walker.m_szFirstSourceFile);
    walker.Enter("x", "y");
    EXPECT_EQ(std::string(1023, 'n'), walker.m_szSummary);
}

TEST(StackWalkerReport, TheLastEntryAndAnAddressOfZeroAddNothing)
{
    Walker walker = Fresh();
    StackWalker::CallstackEntry entry = {};
    walker.Enter(StackWalker::eEntryNext, entry);
    entry.uAddress = 5;
    strcpy(entry.szName, "D3D11TranslateCreateDevice");
    walker.Enter(StackWalker::eEntryLast, entry);
    EXPECT_EQ(Texts{}, walker.vecOutput);
    EXPECT_STREQ("", walker.m_szSummary);
    EXPECT_EQ(0, walker.m_bD3D11Translate);
    EXPECT_EQ(1, walker.m_bNoFrameKept);
}

TEST(StackWalkerSummary, HoldsTheFramesThatPassAndEndsWithABar)
{
    Walker walker = Fresh();
    walker.Enter("foo", "a");
    walker.Enter("bar", "d3d11");
    walker.Enter("baz", "b");
    EXPECT_STREQ("foo,a|baz,b|", walker.m_szSummary);
    EXPECT_EQ(3u, walker.vecOutput.size());
    EXPECT_EQ(2, walker.m_nSummaryFrames);
    EXPECT_EQ(0, walker.m_bNoFrameKept);
}

TEST(StackWalkerSummary, HoldsSevenFramesAtMostWithoutABarAtItsEnd)
{
    Walker walker = Fresh();
    for (int i = 1; i <= 8; ++i)
    {
        walker.Enter("f" + std::to_string(i), "m");
    }
    EXPECT_STREQ("f1,m|f2,m|f3,m|f4,m|f5,m|f6,m|f7,m", walker.m_szSummary);
    EXPECT_EQ(8, walker.m_nSummaryFrames);
    EXPECT_EQ(8u, walker.vecOutput.size());
}

TEST(StackWalkerSummary, LeavesOutTheGraphicsRuntime)
{
    Walker walker = Fresh();
    for (const char* pszModule : {"d3d11", "D3D11_3SDKLayers", "D3D11", "d3d11x", "d3d11_3sdklayers"})
    {
        walker.Enter("f", pszModule);
    }
    EXPECT_STREQ("f,D3D11|f,d3d11x|f,d3d11_3sdklayers|", walker.m_szSummary);
}

TEST(StackWalkerSummary, LeavesOutTheWalkItselfOfOneModule)
{
    Walker walker = Fresh();
    walker.Enter("StackWalker::ShowCallstack", "NVCommonX64D");
    walker.Enter("StackWalker::ShowCallstack2", "NVCommonX64D");
    walker.Enter("StackWalker::ShowCallstack", "other");
    EXPECT_STREQ("StackWalker::ShowCallstack2,NVCommonX64D|StackWalker::ShowCallstack,other|", walker.m_szSummary);
}

TEST(StackWalkerSummary, LeavesOutTheHooksOfTheEngineModulesOnly)
{
    for (const char* pszModule : {"NOVREngineDX11EX64D", "VO3DEngineDX11X64D"})
    {
        Walker walker = Fresh();
        walker.Enter("a NOVR_D3D11Hook::Present b", pszModule);
        walker.Enter("my_hookD3D11_x", pszModule);
        walker.Enter("NOVR_Engine::GetDevice", pszModule);
        EXPECT_STREQ("", walker.m_szSummary) << pszModule;
        EXPECT_EQ(1, walker.m_bNoFrameKept);
        walker.Enter("NOVR_Engine::GetDevice2", pszModule);
        EXPECT_EQ(std::string("NOVR_Engine::GetDevice2,") + pszModule + "|", walker.m_szSummary);
    }
    Walker walker = Fresh();
    walker.Enter("NOVR_D3D11Hook::Present", "other");
    walker.Enter("NOVR_Engine::GetDevice", "novrenginedx11ex64d");
    EXPECT_STREQ("NOVR_D3D11Hook::Present,other|NOVR_Engine::GetDevice,novrenginedx11ex64d|", walker.m_szSummary);
}

TEST(StackWalkerSummary, NotesTheDeviceTranslationAlsoInAFrameThatIsDropped)
{
    Walker walker = Fresh();
    walker.Enter("x", "d3d11");
    EXPECT_EQ(0, walker.m_bD3D11Translate);
    walker.Enter("xD3D11TranslateCreateDeviceY", "d3d11");
    EXPECT_EQ(1, walker.m_bD3D11Translate);
    EXPECT_STREQ("", walker.m_szSummary);
}

TEST(StackWalkerReport, AModuleIsShownWithItsVersionWhereItHasOne)
{
    Walker walker;
    walker.OnLoadModule("C:/a.dll", "a.dll", 0x1000, 77, 0, "PDB", "a.pdb", 0);
    walker.OnLoadModule("b", "b.so", 0x2000, 5, 126, "SYM", "", 0x0001000200030004);
    EXPECT_EQ((Texts{"C:/a.dll:a.dll (" + Pointer(0x1000) + "), size: 77 (result: 0), SymType: 'PDB', PDB: 'a.pdb'\n",
                     "b:b.so (" + Pointer(0x2000) +
                         "), size: 5 (result: 126), SymType: 'SYM', PDB: '', fileVersion: 1.2.3.4\n"}),
              walker.vecOutput);
}

TEST(StackWalkerReport, AnErrorIsShownWithItsNumberAndAddress)
{
    Walker walker;
    walker.OnDbgHelpErr("SymInitialize", 87, 0xABC);
    EXPECT_EQ((Texts{"ERROR: SymInitialize, GetLastError: 87 (Address: " + Pointer(0xABC) + ")\n"}), walker.vecOutput);
}

TEST(StackWalkerReport, TheStartIsShownWithTheSystemsVersion)
{
    Walker walker;
    walker.OnSymInit("a;b;", 0x210, "someone");
    ASSERT_EQ(2u, walker.vecOutput.size());
    EXPECT_EQ("SymInit: Symbol-SearchPath: 'a;b;', symOptions: 528, UserName: 'someone'\n", walker.vecOutput[0]);
    EXPECT_EQ(0u, walker.vecOutput[1].find("OS-Version: "));
}

// What the stack walker needs of the platform, against one contract on both systems.
#include "platform/vo_debug_help.h"

#include <stdlib.h>

#include "tests/platform/platform_test_support.h"

namespace
{
HANDLE OwnProcess()
{
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1));
}

template <typename Function>
Function Bound(HMODULE hLibrary, const char* pszName)
{
    return reinterpret_cast<Function>(reinterpret_cast<uintptr_t>(GetProcAddress(hLibrary, pszName)));
}
}  // namespace

TEST(DebugLibraries, AreBoundByName)
{
    const HMODULE hLibrary = LoadLibraryW(VOTEXT("dbghelp.dll"));
    ASSERT_NE(nullptr, hLibrary);
    for (const char* pszName :
         {"SymCleanup", "SymFunctionTableAccess64", "SymGetLineFromAddr64", "SymGetModuleBase64", "SymGetModuleInfo64",
          "SymGetOptions", "SymGetSymFromAddr64", "SymInitialize", "SymLoadModule64", "SymSetOptions", "StackWalk64",
          "UnDecorateSymbolName", "SymGetSearchPath"})
    {
        EXPECT_NE(nullptr, Bound<void (*)()>(hLibrary, pszName)) << pszName;
    }
    EXPECT_EQ(nullptr, Bound<void (*)()>(hLibrary, "SymNothing"));
    EXPECT_NE(FALSE, FreeLibrary(hLibrary));
    EXPECT_EQ(nullptr, LoadLibraryW(VOTEXT("vobase_no_such_library.dll")));
}

TEST(DebugLibraries, ListTheModulesOfAProcess)
{
    const HMODULE hLibrary = LoadLibraryW(VOTEXT("kernel32.dll"));
    const auto pfnSnapshot = Bound<VOCreateToolhelp32Snapshot>(hLibrary, "CreateToolhelp32Snapshot");
    const auto pfnFirst = Bound<VOModule32Step>(hLibrary, "Module32First");
    const auto pfnNext = Bound<VOModule32Step>(hLibrary, "Module32Next");
    ASSERT_TRUE(pfnSnapshot != nullptr && pfnFirst != nullptr && pfnNext != nullptr);
    const HANDLE hSnapshot = pfnSnapshot(kVOSnapshotModules, VOProcessId());
    ASSERT_NE(INVALID_HANDLE_VALUE, hSnapshot);
    bool bProgram = false;
    int nModules = 0;
    const uintptr_t uHere = reinterpret_cast<uintptr_t>(&OwnProcess);
    VOModuleEntry entry = {};
    entry.uSize = sizeof(entry);
    for (BOOL bMore = pfnFirst(hSnapshot, &entry); bMore; bMore = pfnNext(hSnapshot, &entry))
    {
        const uintptr_t uBase = reinterpret_cast<uintptr_t>(entry.pbBase);
        if (uHere >= uBase && uHere < uBase + entry.uBaseSize)
        {
            bProgram = std::string(entry.szModule).find("platform_tests") == 0;
            EXPECT_NE(std::string::npos, std::string(entry.szExePath).find(entry.szModule));
        }
        ++nModules;
    }
    EXPECT_TRUE(bProgram);
    EXPECT_LT(1, nModules);
    EXPECT_EQ(FALSE, pfnNext(hSnapshot, &entry));
    EXPECT_NE(FALSE, pfnFirst(hSnapshot, &entry));
    EXPECT_NE(FALSE, CloseHandle(hSnapshot));
    FreeLibrary(hLibrary);
}

TEST(DebugSurroundings, TextsSayTheSizeThatIsNeededWhereTheyDoNotFit)
{
    char szText[4096] = "x";
    const DWORD uLength = GetCurrentDirectoryA(sizeof(szText), szText);
    EXPECT_EQ(strlen(szText), uLength);
    EXPECT_EQ(std::filesystem::current_path().string(), szText);
    char szSmall[2] = "x";
    EXPECT_EQ(uLength + 1, GetCurrentDirectoryA(sizeof(szSmall), szSmall));
    EXPECT_EQ(0u, GetEnvironmentVariableA("VOBASE_NO_SUCH_VARIABLE", szText, sizeof(szText)));
    EXPECT_LT(0u, GetEnvironmentVariableA("PATH", szText, sizeof(szText)));
    EXPECT_LT(2u, GetEnvironmentVariableA("PATH", szSmall, sizeof(szSmall)));
}

TEST(DebugSurroundings, TheProgramAndTheUserHaveNames)
{
    char szText[4096] = "";
    EXPECT_LT(0u, GetModuleFileNameA(nullptr, szText, sizeof(szText)));
    EXPECT_NE(std::string::npos, std::string(szText).find("platform_tests"));
    EXPECT_EQ(0u, GetModuleFileNameA(reinterpret_cast<HMODULE>(1), szText, sizeof(szText)));
    DWORD uSize = sizeof(szText);
    szText[0] = 0;
    EXPECT_NE(FALSE, GetUserNameA(szText, &uSize));
    EXPECT_EQ(strlen(szText) + 1, uSize);
    EXPECT_LT(1u, uSize);
}

TEST(DebugSurroundings, MemoryOfTheProcessIsReadWholeOrNotAtAll)
{
    const int nValue = 4711;
    int nRead = 0;
    SIZE_T uRead = 0;
    EXPECT_NE(FALSE, ReadProcessMemory(OwnProcess(), &nValue, &nRead, sizeof(nRead), &uRead));
    EXPECT_EQ(4711, nRead);
    EXPECT_EQ(sizeof(nRead), uRead);
    EXPECT_EQ(FALSE, ReadProcessMemory(OwnProcess(), reinterpret_cast<const void*>(uintptr_t{16}), &nRead,
                                       sizeof(nRead), &uRead));
    EXPECT_EQ(4711, nRead);
}

TEST(DebugSurroundings, TheSystemHasAVersionAndAMissingFileHasNone)
{
    VOSystemVersionInfo info;
    ASSERT_TRUE(VOSystemVersion(&info));
    EXPECT_LT(0u, info.uMajor);
    EXPECT_EQ(0u, VOFileVersion("no such file"));
    EXPECT_FALSE(VOFileExists("no such file"));
}

TEST(DebugContext, TheCallersRegistersAreTheOnesBehindTheCall)
{
    CONTEXT context = {};
    RtlCaptureContext(&context);
    // The stack pointer lies below this function's frame, not far from it. (Its objects may be elsewhere: a sanitizer
    // keeps them on a stack of its own.)
    const uintptr_t uFrame = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    EXPECT_LE(context.Rsp, uFrame);
    EXPECT_GT(context.Rsp + 65536, uFrame);
    CONTEXT second = {};
    RtlCaptureContext(&second);
    EXPECT_GT(second.Rip, context.Rip);
    EXPECT_LT(second.Rip, context.Rip + 4096);
    EXPECT_EQ(context.Rsp, second.Rsp);
}

// Where the walker finds its library.
#include <windows.h>

#include <filesystem>
#include <string>

#include "gtest/gtest.h"
#include "platform/vo_debug_help.h"
#include "support/temporary_folder.h"

namespace
{
// The text in the code page of the process; "" when it has no such letters there.
std::string Narrow(const std::wstring& strText)
{
    char szText[1024] = "";
    BOOL bReplaced = FALSE;
    const int nLength = WideCharToMultiByte(CP_ACP, 0, strText.c_str(), -1, szText, sizeof(szText), nullptr,
                                            GetACP() == CP_UTF8 ? nullptr : &bReplaced);
    return nLength > 0 && !bReplaced ? szText : "";
}
}  // namespace

TEST(StackWalkerOnWindows, TheDebuggingToolsAreLoadedFromAFolderOfAnyName)
{
    const votest::TemporaryFolder folder;
    const std::filesystem::path tools = folder.Path() / L"Tools \u20AC";
    const std::string strLibrary = Narrow((tools / "library.dll").wstring());
    ASSERT_NE("", strLibrary);
    wchar_t szLibrary[MAX_PATH] = L"";
    ASSERT_NE(0u, GetModuleFileNameW(GetModuleHandleW(L"VOBaseX64.dll"), szLibrary, MAX_PATH));
    std::filesystem::create_directories(tools);
    std::filesystem::copy_file(szLibrary, tools / "library.dll");
    EXPECT_TRUE(VOFileExists(strLibrary.c_str()));
    const HMODULE hLibrary = VOLoadLibraryByPath(strLibrary.c_str());
    EXPECT_NE(nullptr, hLibrary);
    FreeLibrary(hLibrary);
}

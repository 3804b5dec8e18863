// Roles of child processes that only Linux has.
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mount.h>

#include "tests/platform/platform_test_support.h"

namespace
{
void Report(const std::string& strWhat, bool bDone, const char* pszDone)
{
    SayLine(strWhat + ": " + (bDone ? pszDone : "error " + std::to_string(GetLastError())));
}

// Makes sections where there is hardly any space: a small file system of this process's own in place of the shared one.
int FillFileSystem(const VOWString& strName)
{
    if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/dev/shm", "tmpfs", 0, "size=262144") != 0)
    {
        SayLine(strerror(errno));
        return 0;
    }
    SayLine("mounted");
    const HANDLE hSmall = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 65536, strName.c_str());
    void* const pSmall = MapViewOfFile(hSmall, FILE_MAP_WRITE, 0, 0, 0);
    Report("small section", pSmall != nullptr, "made");
    if (pSmall == nullptr)
    {
        return 1;
    }
    memset(pSmall, 's', 65536);

    const VOWString strLarge = strName + VOTEXT("_large");
    const HANDLE hLarge =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 1048576, strLarge.c_str());
    Report("large section", hLarge != nullptr, "made");

    VOPublishedSection publisher;
    const bool bReplaced = publisher.Replace(strName.c_str(), 1048576, [](void*, size_t) { return true; });
    Report("large replacement", bReplaced, "made");

    const HANDLE hAgain = OpenFileMappingW(FILE_MAP_READ, FALSE, strName.c_str());
    const char* const pAgain = static_cast<const char*>(MapViewOfFile(hAgain, FILE_MAP_READ, 0, 0, 0));
    Report("small section", pAgain != nullptr && std::string(pAgain, VOViewSize(pAgain)) == std::string(65536, 's'),
           "kept");
    const std::filesystem::directory_iterator objects("/dev/shm");
    SayLine("objects: " + std::to_string(std::distance(objects, std::filesystem::directory_iterator())));
    return 0;
}
// Sends the standard output to nowhere, and then to the console.
int AttachElsewhere()
{
    FILE* pConsole = nullptr;
    if (freopen("/dev/null", "w", stdout) == nullptr)
    {
        return 1;
    }
    printf("lost\n");
    if (AttachConsole(ATTACH_PARENT_PROCESS) == FALSE || freopen_s(&pConsole, "CONOUT$", "w", stdout) != 0 ||
        pConsole != stdout)
    {
        return 2;
    }
    SayLine("on the console");
    return 0;
}

// A name space of this program's own, so that nothing another one leaves is seen. Its children inherit it.
[[maybe_unused]] const bool s_bOwnNameSpace = []
{
    const std::string strNameSpace = "platform" + std::to_string(VOProcessId());
    return getenv("VOBASE_TEST_ROLE") != nullptr || setenv("VOBASE_NAMESPACE", strNameSpace.c_str(), 1) == 0;
}();
}  // namespace

int PlaySystemRole(const std::string& strRole, const VOWString& strArgument)
{
    if (strRole == "attach-elsewhere")
    {
        return AttachElsewhere();
    }
    if (strRole == "small-block")
    {
        return DescribeSmallBlock();
    }
    return strRole == "full-file-system" ? FillFileSystem(strArgument) : UNKNOWN_ROLE;
}

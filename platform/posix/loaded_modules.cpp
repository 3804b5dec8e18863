#include "platform/posix/loaded_modules.h"

#include <elf.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "platform/fault_points.h"
#include "platform/posix/handle_table.h"
#include "platform/posix/last_error.h"
#include "platform/vo_debug_help.h"

std::string LoadedModule::FileName() const
{
    return strPath.substr(strPath.rfind('/') + 1);
}

std::string LoadedModule::ShortName() const
{
    const std::string strName = FileName();
    const size_t uLibrary = strName.find(".so");
    return strName.substr(0, uLibrary != std::string::npos ? uLibrary : strName.rfind('.'));
}

pid_t ProcessOf(void* hProcess)
{
    const intptr_t nProcess = reinterpret_cast<intptr_t>(hProcess);
    return nProcess == -1 ? getpid() : static_cast<pid_t>(nProcess);
}

namespace
{
struct CloseStream
{
    void operator()(FILE* pFile) const { fclose(pFile); }
};

bool IsProgramFile(const std::string& strPath)
{
    unsigned char abStart[SELFMAG] = {};
    const std::unique_ptr<FILE, CloseStream> pFile(fopen(strPath.c_str(), "rbe"));
    return pFile != nullptr && fread(abStart, 1, SELFMAG, pFile.get()) == SELFMAG &&
           memcmp(abStart, ELFMAG, SELFMAG) == 0;
}
}  // namespace

std::vector<LoadedModule> ListModules(pid_t nProcess)
{
    std::vector<LoadedModule> vecModule;
    const std::string strMaps = "/proc/" + std::to_string(nProcess) + "/maps";
    const std::unique_ptr<FILE, CloseStream> pFile(VO_FAULT_POINT("maps") ? nullptr : fopen(strMaps.c_str(), "re"));
    char szLine[5000];
    while (pFile != nullptr && fgets(szLine, sizeof(szLine), pFile.get()) != nullptr)
    {
        unsigned long long ullBegin = 0;
        unsigned long long ullEnd = 0;
        int nPath = 0;
        szLine[strcspn(szLine, "\n")] = 0;
        if (sscanf(szLine, "%llx-%llx %*s %*x %*s %*u %n", &ullBegin, &ullEnd, &nPath) < 2 || szLine[nPath] != '/')
        {
            continue;
        }
        const std::string strPath = szLine + nPath;
        if (!vecModule.empty() && vecModule.back().strPath == strPath)
        {
            vecModule.back().ullEnd = ullEnd;
        }
        else
        {
            vecModule.push_back({strPath, ullBegin, ullEnd});
        }
    }
    std::erase_if(vecModule, [](const LoadedModule& rkModule) { return !IsProgramFile(rkModule.strPath); });
    return vecModule;
}

// ---------------------------------------------------------------------------------------------------------------------
// The tool help functions
// ---------------------------------------------------------------------------------------------------------------------

namespace
{
class ModuleSnapshot : public KernelObject
{
public:
    explicit ModuleSnapshot(DWORD uProcess) : uProcessId(uProcess), vecModule(ListModules(static_cast<pid_t>(uProcess)))
    {
    }

    const DWORD uProcessId;
    const std::vector<LoadedModule> vecModule;
    size_t uNext = 0;
};
}  // namespace

HANDLE VOPosixModuleSnapshot(DWORD, DWORD uProcessId)
{
    const auto pSnapshot =
        std::make_shared<ModuleSnapshot>(uProcessId != 0 ? uProcessId : static_cast<DWORD>(getpid()));
    if (pSnapshot->vecModule.empty())
    {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    return HandleTable::Instance().Add(pSnapshot);
}

BOOL VOPosixModuleNext(HANDLE hSnapshot, VOModuleEntry* pEntry)
{
    const auto pSnapshot = HandleTable::Instance().Find<ModuleSnapshot>(hSnapshot);
    if (pSnapshot == nullptr || pSnapshot->uNext >= pSnapshot->vecModule.size())
    {
        SetLastError(pSnapshot == nullptr ? ERROR_INVALID_HANDLE : ERROR_NO_MORE_FILES);
        return FALSE;
    }
    const LoadedModule& rkModule = pSnapshot->vecModule[pSnapshot->uNext++];
    *pEntry = {};
    pEntry->uSize = sizeof(*pEntry);
    pEntry->uProcessId = pSnapshot->uProcessId;
    pEntry->pbBase = reinterpret_cast<unsigned char*>(static_cast<uintptr_t>(rkModule.ullBase));
    pEntry->uBaseSize = static_cast<DWORD>(rkModule.ullEnd - rkModule.ullBase);
    pEntry->hModule = pEntry->pbBase;
    rkModule.FileName().copy(pEntry->szModule, sizeof(pEntry->szModule) - 1);
    rkModule.strPath.copy(pEntry->szExePath, sizeof(pEntry->szExePath) - 1);
    return TRUE;
}

BOOL VOPosixModuleFirst(HANDLE hSnapshot, VOModuleEntry* pEntry)
{
    const auto pSnapshot = HandleTable::Instance().Find<ModuleSnapshot>(hSnapshot);
    if (pSnapshot != nullptr)
    {
        pSnapshot->uNext = 0;
    }
    return VOPosixModuleNext(hSnapshot, pEntry);
}

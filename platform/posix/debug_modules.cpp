#include <ctype.h>
#include <elf.h>
#include <pwd.h>
#include <sys/uio.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>

#include "platform/fault_points.h"
#include "platform/posix/debug_help.h"
#include "platform/posix/kernel.h"
#include "platform/vo_owners.h"

std::string LoadedModule::FileName() const
{
    return strPath.substr(strPath.rfind('/') + 1);
}

std::string LoadedModule::ShortName() const
{
    const std::string strName = FileName();
    const size_t uLibrary = strName.find(".so");
    if (uLibrary != std::string::npos)
    {
        return strName.substr(0, uLibrary);
    }
    const size_t uDot = strName.rfind('.');
    const bool bVersion = uDot != std::string::npos && isdigit(static_cast<unsigned char>(strName[uDot + 1])) != 0;
    return bVersion ? strName : strName.substr(0, uDot);
}

pid_t ProcessOf(void* hProcess)
{
    const intptr_t nProcess = reinterpret_cast<intptr_t>(hProcess);
    return nProcess == -1 ? getpid() : static_cast<pid_t>(nProcess);
}

namespace
{
ssize_t ReadMemory(pid_t nProcess, const void* pvFrom, void* pTo, size_t uSize)
{
    const iovec local = {pTo, uSize};
    const iovec remote = {const_cast<void*>(pvFrom), uSize};
    return process_vm_readv(nProcess, &local, 1, &remote, 1, 0);
}

// A line of the list of mappings: a part of a file.
struct MapsLine
{
    unsigned long long ullBegin = 0;
    unsigned long long ullEnd = 0;
    unsigned long long ullOffset = 0;
    bool bReadable = false;
    bool bExecutable = false;
    std::string strPath;
};

std::vector<MapsLine> ListMappings(pid_t nProcess)
{
    std::vector<MapsLine> vecMapping;
    const std::string strMaps = "/proc/" + std::to_string(nProcess) + "/maps";
    const std::unique_ptr<FILE, VOCloseFile> pFile(VO_FAULT_POINT("maps") ? nullptr : fopen(strMaps.c_str(), "re"));
    char szLine[5000];
    while (pFile != nullptr && fgets(szLine, sizeof(szLine), pFile.get()) != nullptr)
    {
        MapsLine mapping;
        char szAccess[8] = "";
        int nPath = 0;
        szLine[strcspn(szLine, "\n")] = 0;
        if (sscanf(szLine, "%llx-%llx %7s %llx %*s %*u %n", &mapping.ullBegin, &mapping.ullEnd, szAccess,
                   &mapping.ullOffset, &nPath) >= 4 &&
            szLine[nPath] == '/')
        {
            mapping.bReadable = szAccess[0] == 'r';
            mapping.bExecutable = szAccess[0] != 0 && szAccess[1] != 0 && szAccess[2] == 'x';
            mapping.strPath = szLine + nPath;
            vecMapping.push_back(std::move(mapping));
        }
    }
    return vecMapping;
}

// Bytes at the start of a mapped file: from the process, whose file may be gone, or else from the file, since to look
// into another process takes more than to see its mappings.
bool ReadStart(pid_t nProcess, const MapsLine& mapping, unsigned long long ullOffset, void* pTo, size_t uSize)
{
    const void* const pvFrom = reinterpret_cast<void*>(static_cast<uintptr_t>(mapping.ullBegin + ullOffset));
    if (ReadMemory(nProcess, pvFrom, pTo, uSize) == static_cast<ssize_t>(uSize))
    {
        return true;
    }
    const std::unique_ptr<FILE, VOCloseFile> pFile(fopen(mapping.strPath.c_str(), "rbe"));
    return pFile != nullptr && fseek(pFile.get(), static_cast<long>(ullOffset), SEEK_SET) == 0 &&
           fread(pTo, 1, uSize, pFile.get()) == uSize;
}

constexpr unsigned long long kPage = 4096;
constexpr unsigned kMostSegments = 256;
constexpr unsigned long long kAddresses = 1ull << 47;  // of a process, at most

// The segments that the loader loads, of an image whose first bytes are mapped here; empty when it is none.
std::vector<Elf64_Phdr> ReadSegments(pid_t nProcess, const MapsLine& first)
{
    Elf64_Ehdr header;
    std::vector<Elf64_Phdr> vecSegment;
    if (!ReadStart(nProcess, first, 0, &header, sizeof(header)) || memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
        header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr) ||
        header.e_phnum > kMostSegments || header.e_phoff > kPage)
    {
        return vecSegment;
    }
    vecSegment.resize(header.e_phnum);
    if (!ReadStart(nProcess, first, header.e_phoff, vecSegment.data(), vecSegment.size() * sizeof(Elf64_Phdr)))
    {
        vecSegment.clear();
    }
    std::erase_if(vecSegment, [](const Elf64_Phdr& rk)
                  { return rk.p_type != PT_LOAD || rk.p_vaddr >= kAddresses || rk.p_memsz >= kAddresses; });
    return vecSegment;
}

// Whether a mapping is the executable segment of an image that begins at ullBase.
bool IsCodeOf(const MapsLine& mapping, const MapsLine& first, const Elf64_Phdr& segment, unsigned long long ullLowest)
{
    const unsigned long long ullAt = first.ullBegin + (segment.p_vaddr & ~(kPage - 1)) - ullLowest;
    return (segment.p_flags & PF_X) != 0 && mapping.bExecutable && mapping.strPath == first.strPath &&
           ullAt >= mapping.ullBegin && ullAt < mapping.ullEnd &&
           mapping.ullOffset + (ullAt - mapping.ullBegin) == (segment.p_offset & ~(kPage - 1));
}

// The module that begins with a mapping: what its own headers say, if its code lies where they say. A file that is
// mapped to be read has the headers too, and no code.
LoadedModule ModuleAt(pid_t nProcess, const std::vector<MapsLine>& all, const MapsLine& first)
{
    LoadedModule module;
    const std::vector<Elf64_Phdr> vecSegment = ReadSegments(nProcess, first);
    unsigned long long ullLowest = kAddresses;
    unsigned long long ullHighest = 0;
    for (const Elf64_Phdr& rk : vecSegment)
    {
        ullLowest = std::min<unsigned long long>(ullLowest, rk.p_vaddr & ~(kPage - 1));
        ullHighest = std::max<unsigned long long>(ullHighest, (rk.p_vaddr + rk.p_memsz + kPage - 1) & ~(kPage - 1));
    }
    for (const Elf64_Phdr& rk : vecSegment)
    {
        if (std::any_of(all.begin(), all.end(),
                        [&](const MapsLine& mapping) { return IsCodeOf(mapping, first, rk, ullLowest); }))
        {
            module.strPath = first.strPath;
            module.ullBase = first.ullBegin;
            module.ullEnd = first.ullBegin + (ullHighest - ullLowest);
        }
    }
    return module;
}
}  // namespace

std::vector<LoadedModule> ListModules(pid_t nProcess)
{
    std::vector<LoadedModule> vecModule;
    const std::vector<MapsLine> vecMapping = ListMappings(nProcess);
    for (const MapsLine& mapping : vecMapping)
    {
        const bool bInside = !vecModule.empty() && mapping.ullBegin < vecModule.back().ullEnd;
        if (mapping.ullOffset == 0 && mapping.bReadable && !bInside)
        {
            LoadedModule module = ModuleAt(nProcess, vecMapping, mapping);
            if (!module.strPath.empty())
            {
                vecModule.push_back(std::move(module));
            }
        }
    }
    return vecModule;
}

// What a process knows of itself and of its system, for the stack walker.

namespace
{
// Copies a text under the rules of the calls that say which size they need.
DWORD GiveText(const std::string& strText, char* pszBuffer, DWORD uSize)
{
    if (strText.size() + 1 > uSize)
    {
        return static_cast<DWORD>(strText.size() + 1);
    }
    memcpy(pszBuffer, strText.c_str(), strText.size() + 1);
    return static_cast<DWORD>(strText.size());
}

std::string LinkTarget(const char* pszPath)
{
    char szTarget[4096];
    const ssize_t nLength = readlink(pszPath, szTarget, sizeof(szTarget));
    return nLength > 0 ? std::string(szTarget, static_cast<size_t>(nLength)) : "";
}
}  // namespace

DWORD GetEnvironmentVariableA(const char* pszName, char* pszBuffer, DWORD uSize)
{
    const char* const pszValue = getenv(pszName);
    return pszValue != nullptr ? GiveText(pszValue, pszBuffer, uSize) : 0;
}

DWORD GetCurrentDirectoryA(DWORD uSize, char* pszBuffer)
{
    char szFolder[4096];
    return getcwd(szFolder, sizeof(szFolder)) != nullptr ? GiveText(szFolder, pszBuffer, uSize) : 0;
}

DWORD GetModuleFileNameA(HMODULE hModule, char* pszBuffer, DWORD uSize)
{
    const std::string strProgram = hModule == nullptr && uSize != 0 ? LinkTarget("/proc/self/exe") : "";
    return strProgram.empty() ? FailCall(ERROR_INVALID_PARAMETER)
                              : GiveText(strProgram.substr(0, uSize - 1), pszBuffer, uSize);
}

BOOL GetUserNameA(char* pszBuffer, DWORD* puSize)
{
    struct passwd entry;
    struct passwd* pFound = nullptr;
    char szRoom[4096];
    const bool bKnown = getpwuid_r(geteuid(), &entry, szRoom, sizeof(szRoom), &pFound) == 0 && pFound != nullptr;
    const std::string strName = bKnown ? entry.pw_name : std::to_string(geteuid());
    const DWORD uLength = GiveText(strName, pszBuffer, *puSize);
    const BOOL bFits = uLength == strName.size();
    *puSize = bFits ? uLength + 1 : uLength;
    return bFits;
}

void OutputDebugStringA(const char* pszText)
{
    fputs(pszText, stderr);
}

BOOL ReadProcessMemory(HANDLE hProcess, const void* pAddress, void* pBuffer, SIZE_T uSize, SIZE_T* puRead)
{
    const ssize_t nRead =
        VO_FAULT_POINT("ReadProcessMemory") ? -1 : ReadMemory(ProcessOf(hProcess), pAddress, pBuffer, uSize);
    const bool bWhole = nRead >= 0 && static_cast<size_t>(nRead) == uSize;
    if (puRead != nullptr)
    {
        *puRead = bWhole ? uSize : 0;
    }
    return bWhole || FailCall(nRead < 0 ? ErrorFromErrno(errno) : ERROR_INVALID_PARAMETER);
}

unsigned long long VOFileVersion(const char* pszPath)
{
    const std::unique_ptr<char, VOFreeBlock> pszReal(realpath(pszPath, nullptr));
    const std::string strReal = pszReal != nullptr ? pszReal.get() : "";
    const size_t uMark = strReal.rfind(".so.");
    if (uMark == std::string::npos || strReal.find('/', uMark) != std::string::npos)
    {
        return 0;
    }
    unsigned long long ullVersion = 0;
    const char* pszAt = strReal.c_str() + uMark + strlen(".so");
    for (int nShift = 48; nShift >= 0 && *pszAt == '.'; nShift -= 16)
    {
        char* pszEnd = nullptr;
        ullVersion |= (strtoull(pszAt + 1, &pszEnd, 10) & 0xFFFF) << nShift;
        pszAt = pszEnd;
    }
    return ullVersion;
}

bool VOSystemVersion(VOSystemVersionInfo* pInfo)
{
    struct utsname system;
    if (VO_FAULT_POINT("uname") || uname(&system) != 0)
    {
        return false;
    }
    *pInfo = {};
    (void)sscanf(system.release, "%u.%u.%u", &pInfo->uMajor, &pInfo->uMinor, &pInfo->uBuild);
    snprintf(pInfo->szServicePack, sizeof(pInfo->szServicePack), "%s", system.release);
    pInfo->uProductType = 1;
    return true;
}

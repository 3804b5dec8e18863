#include "base/change.h"

#include "vo_utility.h"

namespace lum
{

namespace
{

constexpr unsigned kEventFolder = 1;  // in an event's second parameter

}  // namespace

std::string_view NameOf(ChangeKind eKind)
{
    switch (eKind)
    {
        case ChangeKind::Added:
            return "added";
        case ChangeKind::Removed:
            return "removed";
        case ChangeKind::Renamed:
            return "renamed";
        case ChangeKind::Modified:
            return "modified";
        default:
            return "event";
    }
}

VOTSFileEventContainer::Info EventOf(const Change& kChange)
{
    VOTSFileEventContainer::Info kInfo;
    kInfo.dwEventParam0 = static_cast<unsigned>(kChange.eKind);
    kInfo.dwEventParam1 = kChange.bFolder ? kEventFolder : 0;
    kInfo.dwEventParam2 = kChange.uRoots;
    kInfo.pszPath = kChange.strPath.c_str();
    kInfo.pszNewName = kChange.strNewName.c_str();
    kInfo.pszPhysicPath = kChange.strPhysicalPath.c_str();
    return kInfo;
}

Change ChangeOf(const FileEventParam& kParam)
{
    return {kParam.eaf,
            static_cast<ChangeKind>(kParam.dwEventParam0),
            (kParam.dwEventParam1 & kEventFolder) != 0,
            kParam.dwEventParam2,
            VOTextOf(kParam.pszPath),
            VOTextOf(kParam.pszNewName),
            VOTextOf(kParam.pszPhysicPath),
            kParam.ullTime};
}

}  // namespace lum

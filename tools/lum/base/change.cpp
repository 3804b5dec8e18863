#include "base/change.h"

#include <iterator>

#include "vo_utility.h"

namespace lum
{

namespace
{

constexpr unsigned kEventFolder = 1;  // in an event's second parameter

}  // namespace

std::string_view NameOf(ChangeKind eKind)
{
    constexpr std::string_view kNames[] = {"event", "added", "removed", "renamed", "modified"};
    const size_t uKind = static_cast<size_t>(eKind);
    return kNames[uKind < std::size(kNames) ? uKind : 0];
}

VOTSFileEventContainer::Info EventOf(const Change& change)
{
    VOTSFileEventContainer::Info about;
    about.dwEventParam0 = static_cast<unsigned>(change.eKind);
    about.dwEventParam1 = change.bFolder ? kEventFolder : 0;
    about.dwEventParam2 = change.uRoots;
    about.pszPath = change.strPath.c_str();
    about.pszNewName = change.strNewName.c_str();
    about.pszPhysicPath = change.strPhysicalPath.c_str();
    return about;
}

Change ChangeOf(const FileEventParam& param)
{
    return {param.eaf,
            static_cast<ChangeKind>(param.dwEventParam0),
            (param.dwEventParam1 & kEventFolder) != 0,
            param.dwEventParam2,
            VOTextOf(param.pszPath),
            VOTextOf(param.pszNewName),
            VOTextOf(param.pszPhysicPath),
            param.ullTime};
}

}  // namespace lum

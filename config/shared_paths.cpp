#include "config/shared_paths.h"

#include <atomic>
#include <map>
#include <mutex>

#include "platform/vo_owners.h"

namespace
{

// Only blocks with more than one owner are listed: a list that was never copied allocates nothing here, and a block
// that a derived class has put into its list has one owner like any other.
struct SharedPaths
{
    std::mutex kLock;
    std::map<const char*, unsigned int> mapFurtherOwners;
};

// How many are listed: an owner that ends while there are none takes no lock.
std::atomic<size_t> g_uListed{0};

// Never destroyed: a list of static duration may end later than this would.
SharedPaths& Paths()
{
    static VONeverDestroyed<SharedPaths> s_kPaths;
    return s_kPaths.Get();
}

}  // namespace

void VOSharePath(const char* pszPath)
{
    SharedPaths& rkPaths = Paths();
    const std::lock_guard<std::mutex> kGuard(rkPaths.kLock);
    ++rkPaths.mapFurtherOwners[pszPath];
    g_uListed = rkPaths.mapFurtherOwners.size();
}

bool VOLeavePath(const char* pszPath)
{
    if (g_uListed == 0)
    {
        return true;
    }
    SharedPaths& rkPaths = Paths();
    const std::lock_guard<std::mutex> kGuard(rkPaths.kLock);
    const auto kPlace = rkPaths.mapFurtherOwners.find(pszPath);
    if (kPlace == rkPaths.mapFurtherOwners.end())
    {
        return true;
    }
    if (--kPlace->second == 0)
    {
        rkPaths.mapFurtherOwners.erase(kPlace);
        g_uListed = rkPaths.mapFurtherOwners.size();
    }
    return false;
}

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
    std::mutex lock;
    std::map<const char*, unsigned int> mapFurtherOwners;
};

// How many are listed: an owner that ends while there are none takes no lock.
std::atomic<size_t> g_uListed{0};

// Never destroyed: a list of static duration may end later than this would.
SharedPaths& Paths()
{
    static VONeverDestroyed<SharedPaths> s_paths;
    return s_paths.Get();
}

}  // namespace

void VOSharePath(const char* pszPath)
{
    SharedPaths& paths = Paths();
    const std::lock_guard<std::mutex> guard(paths.lock);
    ++paths.mapFurtherOwners[pszPath];
    g_uListed = paths.mapFurtherOwners.size();
}

bool VOLeavePath(const char* pszPath)
{
    if (g_uListed == 0)
    {
        return true;
    }
    SharedPaths& paths = Paths();
    const std::lock_guard<std::mutex> guard(paths.lock);
    const auto place = paths.mapFurtherOwners.find(pszPath);
    if (place == paths.mapFurtherOwners.end())
    {
        return true;
    }
    if (--place->second == 0)
    {
        paths.mapFurtherOwners.erase(place);
        g_uListed = paths.mapFurtherOwners.size();
    }
    return false;
}

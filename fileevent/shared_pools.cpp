#include "fileevent/shared_pools.h"

#include <atomic>
#include <map>
#include <mutex>

#include "vo_string_hash_set.h"

namespace
{

// Only sets with more than one owner are listed, so that a container that was never copied allocates nothing here.
struct SharedPools
{
    std::mutex kLock;
    std::map<const VOStringHashSet*, unsigned int> mapFurtherOwners;
};

// How many are listed: an owner that ends while there are none takes no lock and makes no list.
std::atomic<size_t> g_uListed{0};

// Never destroyed: a container of static duration may end later than this would.
SharedPools& Pools()
{
    static SharedPools* const s_pkPools = new SharedPools;
    return *s_pkPools;
}

// Whether another owner is left.
bool TakeOwner(const VOStringHashSet* pkStringSet)
{
    if (g_uListed == 0)
    {
        return false;
    }
    SharedPools& rkPools = Pools();
    const std::lock_guard<std::mutex> kGuard(rkPools.kLock);
    const auto kPlace = rkPools.mapFurtherOwners.find(pkStringSet);
    if (kPlace == rkPools.mapFurtherOwners.end())
    {
        return false;
    }
    if (--kPlace->second == 0)
    {
        rkPools.mapFurtherOwners.erase(kPlace);
        g_uListed = rkPools.mapFurtherOwners.size();
    }
    return true;
}

}  // namespace

VOStringHashSet* VOSharePool(VOStringHashSet* pkStringSet)
{
    if (pkStringSet != nullptr)
    {
        SharedPools& rkPools = Pools();
        const std::lock_guard<std::mutex> kGuard(rkPools.kLock);
        ++rkPools.mapFurtherOwners[pkStringSet];
        g_uListed = rkPools.mapFurtherOwners.size();
    }
    return pkStringSet;
}

void VOReleasePool(VOStringHashSet* pkStringSet)
{
    if (pkStringSet != nullptr && !TakeOwner(pkStringSet))
    {
        delete pkStringSet;
    }
}

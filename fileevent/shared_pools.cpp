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
    std::mutex lock;
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
bool TakeOwner(const VOStringHashSet* pStringSet)
{
    if (g_uListed == 0)
    {
        return false;
    }
    SharedPools& pools = Pools();
    const std::lock_guard<std::mutex> guard(pools.lock);
    const auto place = pools.mapFurtherOwners.find(pStringSet);
    if (place == pools.mapFurtherOwners.end())
    {
        return false;
    }
    if (--place->second == 0)
    {
        pools.mapFurtherOwners.erase(place);
        g_uListed = pools.mapFurtherOwners.size();
    }
    return true;
}

}  // namespace

VOStringHashSet* VOSharePool(VOStringHashSet* pStringSet)
{
    if (pStringSet != nullptr)
    {
        SharedPools& pools = Pools();
        const std::lock_guard<std::mutex> guard(pools.lock);
        ++pools.mapFurtherOwners[pStringSet];
        g_uListed = pools.mapFurtherOwners.size();
    }
    return pStringSet;
}

void VOReleasePool(VOStringHashSet* pStringSet)
{
    if (pStringSet != nullptr && !TakeOwner(pStringSet))
    {
        delete pStringSet;
    }
}

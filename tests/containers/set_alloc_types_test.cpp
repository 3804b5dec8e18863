// SetAlloc is an operation of two arguments wherever there is one: a pointer to it has that type.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "vo_string_hash_set.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

namespace
{
struct NamedSet : VOStringHashSet
{
    using VOStringHashSet::_SetAlloc_C;
    using VOStringHashSet::_SetAlloc_P;
};

struct OpenContainer : VOTSAssetNodeContainer
{
    using VOTSAssetNodeContainer::_SetAlloc_C;
    using VOTSAssetNodeContainer::_SetAlloc_P;
};

// Takes the image of one object into another, by a pointer to the operation.
template <typename T, typename Alloc>
int Take(T& from, int (T::*pfnSetAlloc)(Alloc*, int), T&& to = T())
{
    Alloc* pAlloc = from.GetAlloc();
    const int nResult = (to.*pfnSetAlloc)(pAlloc, 1);
    free(pAlloc);
    return nResult;
}
}  // namespace

TEST(SetAllocOfTwoArguments, CanBeNamedInEveryContainer)
{
    VOBufferContainer buffer;
    VOStringContainer texts;
    VOStringHashSet set;
    VOTSAssetNodeClassifyManager classify;
    VOTSAssetNodeContainer container;
    EXPECT_EQ(1, Take(buffer, &VOBufferContainer::SetAlloc));
    EXPECT_EQ(1, Take(texts, &VOStringContainer::SetAlloc));
    EXPECT_EQ(1, Take(set, &VOStringHashSet::SetAlloc));
    EXPECT_EQ(1, Take(classify, &VOTSAssetNodeClassifyManager::SetAlloc));
    EXPECT_EQ(1, Take(container, &VOTSAssetNodeContainer::SetAlloc));
}

TEST(SetAllocOfTwoArguments, CanBeNamedForEachRoleByADerivedClass)
{
    VOStringHashSet set;
    VOTSAssetNodeContainer container;
    typedef VOStringHashSet Set;
    EXPECT_EQ(1, Take<Set>(set, &NamedSet::_SetAlloc_P));
    EXPECT_EQ(1, Take<Set>(set, &NamedSet::_SetAlloc_C, Set(Set::SHR_Customer)));
    EXPECT_EQ(1, Take<VOTSAssetNodeContainer>(container, &OpenContainer::_SetAlloc_P));
    EXPECT_EQ(1, Take<VOTSAssetNodeContainer>(container, &OpenContainer::_SetAlloc_C,
                                              VOTSAssetNodeContainer(LUMTrayService::AR_Customer)));
}

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
int Take(T& rkFrom, int (T::*pfnSetAlloc)(Alloc*, int), T&& rkTo = T())
{
    Alloc* pAlloc = rkFrom.GetAlloc();
    const int nResult = (rkTo.*pfnSetAlloc)(pAlloc, 1);
    free(pAlloc);
    return nResult;
}
}  // namespace

TEST(SetAllocOfTwoArguments, CanBeNamedInEveryContainer)
{
    VOBufferContainer kBuffer;
    VOStringContainer kTexts;
    VOStringHashSet kSet;
    VOTSAssetNodeClassifyManager kClassify;
    VOTSAssetNodeContainer kContainer;
    EXPECT_EQ(1, Take(kBuffer, &VOBufferContainer::SetAlloc));
    EXPECT_EQ(1, Take(kTexts, &VOStringContainer::SetAlloc));
    EXPECT_EQ(1, Take(kSet, &VOStringHashSet::SetAlloc));
    EXPECT_EQ(1, Take(kClassify, &VOTSAssetNodeClassifyManager::SetAlloc));
    EXPECT_EQ(1, Take(kContainer, &VOTSAssetNodeContainer::SetAlloc));
}

TEST(SetAllocOfTwoArguments, CanBeNamedForEachRoleByADerivedClass)
{
    VOStringHashSet kSet;
    VOTSAssetNodeContainer kContainer;
    typedef VOStringHashSet Set;
    EXPECT_EQ(1, Take<Set>(kSet, &NamedSet::_SetAlloc_P));
    EXPECT_EQ(1, Take<Set>(kSet, &NamedSet::_SetAlloc_C, Set(Set::SHR_Customer)));
    EXPECT_EQ(1, Take<VOTSAssetNodeContainer>(kContainer, &OpenContainer::_SetAlloc_P));
    EXPECT_EQ(1, Take<VOTSAssetNodeContainer>(kContainer, &OpenContainer::_SetAlloc_C,
                                              VOTSAssetNodeContainer(LUMTrayService::AR_Customer)));
}

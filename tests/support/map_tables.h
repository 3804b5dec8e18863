// Map tables of sorted maps, made as a Provider makes them.
#pragma once

#include <stdlib.h>

#include <memory>

#include "internal/vo_map_table.h"

namespace votest
{

// The image, which the caller frees; an empty pointer when the map doesn't fit one.
template <typename Table, typename Map>
VOMapTableAlloc* TableAllocOf(const Map& map)
{
    const unsigned long long ullSize = Table::AllocSizeOf(Table::SlotCountFor(map.size()));
    if (ullSize > kVOMaxImageSize)
    {
        return nullptr;
    }
    std::unique_ptr<unsigned char, decltype(&free)> pbAlloc(static_cast<unsigned char*>(VOAllocateImage(ullSize)),
                                                            &free);
    return Table::WriteAllocOfMap(pbAlloc.get(), map) ? reinterpret_cast<VOMapTableAlloc*>(pbAlloc.release()) : nullptr;
}

// A table of its own.
template <typename Table, typename Map>
Table TableOf(const Map& map)
{
    const std::unique_ptr<VOMapTableAlloc, decltype(&free)> pAlloc(TableAllocOf<Table>(map), &free);
    Table table;
    table.SetAlloc(pAlloc.get(), 1);
    return table;
}

}  // namespace votest

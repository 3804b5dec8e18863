// The sizes of the interface's types, as one source sees them: two sources that include the system's header at
// different places have to see the same ones.
#pragma once

#include <cstddef>
#include <map>
#include <string>

typedef std::map<std::string, std::size_t> TypeSizes;

TypeSizes SizesWithoutTheSystemHeader();
TypeSizes SizesAfterTheSystemHeader();

#define VO_TYPE_SIZE(type) TypeSizes::value_type(#type, sizeof(type))

// To be used where vobase.h is included.
#define VO_ALL_TYPE_SIZES                                                                                           \
    {                                                                                                               \
        VO_TYPE_SIZE(VOWCHAR), VO_TYPE_SIZE(VOULONG), VO_TYPE_SIZE(VOWString), VO_TYPE_SIZE(VOLOG_PRIORITY),        \
            VO_TYPE_SIZE(VOStringHash), VO_TYPE_SIZE(VOBufferContainer), VO_TYPE_SIZE(VOStringContainer),           \
            VO_TYPE_SIZE(VOStringHashSet), VO_TYPE_SIZE(LUMTrayService::structAssetNode),                           \
            VO_TYPE_SIZE(LUMTrayService::enumAssetFrom), VO_TYPE_SIZE(VOTSAssetNodeClassifyManager),                \
            VO_TYPE_SIZE(VOTSAssetNodeContainer), VO_TYPE_SIZE(VOTSFileMappingInspector),                           \
            VO_TYPE_SIZE(VOTSFileMappingAssemble), VO_TYPE_SIZE(MD5State), VO_TYPE_SIZE(ZENTRY),                    \
            VO_TYPE_SIZE(tgEFIND), VO_TYPE_SIZE(ZIniFile), VO_TYPE_SIZE(VOPublicOption), VO_TYPE_SIZE(VOLogOutput), \
            VO_TYPE_SIZE(StackWalker), VO_TYPE_SIZE(ZMdlFile), VO_TYPE_SIZE(LUMTrayService::structFileEventNode),   \
            VO_TYPE_SIZE(VOTSFileEventContainer), VO_TYPE_SIZE(FileEventParam),                                     \
            VO_TYPE_SIZE(VOTSFileEventMappingInspector), VO_TYPE_SIZE(VOTSFileEventMappingAssemble),                \
            VO_TYPE_SIZE(VOStackLock), VO_TYPE_SIZE(ZRecoverState), VO_TYPE_SIZE(ZRef), VO_TYPE_SIZE(VOBaseEvent),  \
            VO_TYPE_SIZE(VOTSFileMonitorManager), VO_TYPE_SIZE(VOTSFileMonitorEventDispatcher)                      \
    }

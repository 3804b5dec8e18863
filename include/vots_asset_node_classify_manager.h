// VOTSAssetNodeClassifyManager: the table of classify types of one asset container.
//
// A type has a number, a name, a list of file extensions ("png|tga|dds", without dots) and two colours. The table
// answers to which type an extension belongs, and what a type is called. Extensions and names are matched without
// regard to case. Of two types that list one extension, the one inserted first has it.
//
// No lock: one thread at a time, or any number of readers.
#pragma once

#include <map>

#include "internal/vo_record_vector.h"
#include "tray_service_types.h"
#include "vo_string_hash.h"
#include "vo_types.h"

// In characters, with the terminator.
#define LENGTH_OF_CLASSIFYNAME 50
#define LENGTH_OF_EXTENSIONS 100

// One classify type; part of the image.
struct structAssetNodeClassifyParam
{
    int nClassifyType = 0;
    VOWCHAR szClassifyName[LENGTH_OF_CLASSIFYNAME] = {};
    VOWCHAR szExtensions[LENGTH_OF_EXTENSIONS] = {};
    LUMTrayService::Color TypeColor;
    LUMTrayService::Color BackgroundColor;
};
static_assert(sizeof(structAssetNodeClassifyParam) == 312);
static_assert(offsetof(structAssetNodeClassifyParam, szClassifyName) == 4);
static_assert(offsetof(structAssetNodeClassifyParam, szExtensions) == 104);
static_assert(offsetof(structAssetNodeClassifyParam, TypeColor) == 304);
static_assert(offsetof(structAssetNodeClassifyParam, BackgroundColor) == 308);

class VOBASE_API VOTSAssetNodeClassifyManager
{
public:
#pragma pack(push, 1)
    struct ContainerAlloc
    {
        unsigned int uTypeCount;
        unsigned int uParamBufSize;
        VORecordVectorAlloc kParams;  // record vector image of the types
        unsigned char abTail[4];
    };
#pragma pack(pop)

    VOTSAssetNodeClassifyManager();
    ~VOTSAssetNodeClassifyManager();
    VOTSAssetNodeClassifyManager(const VOTSAssetNodeClassifyManager& rkOther);
    VOTSAssetNodeClassifyManager& operator=(const VOTSAssetNodeClassifyManager& rkOther);

    // All of them return non-zero for success. A lookup that finds nothing returns 0 without a log line.

    // Adds a type. 0 and a log line for an empty name or list, or one that is too long; 0 in silence if the number
    // or the name is taken. The extensions can be found after the next BuildUpExtensionsHash.
    int InsertClassifyType(int nClassifyType, const VOWCHAR* pszClassifyName, const VOWCHAR* pszExtensions,
                           const LUMTrayService::Color& rkTypeColor, const LUMTrayService::Color& rkBackgroundColor);
    int BuildUpExtensionsHash();
    int CleanUp();

    // Empties the table if it is a view of an image; memory of its own stays.
    void DropView();

    int GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const;
    int GetClassifyTypeByExtension(const VOWCHAR* pszExt, int& nResult) const;

    // The buffers hold LENGTH_OF_CLASSIFYNAME and LENGTH_OF_EXTENSIONS characters.
    int GetClassifyName(int nClassifyType, VOWCHAR* pszResult) const;
    int GetClassifyExtensions(int nClassifyType, VOWCHAR* pszResult) const;
    int GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const;
    int GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const;

    // A new image, owned by the caller.
    ContainerAlloc* GetAlloc() const;

    // Replaces the table by an image, copied with bCopy, otherwise as a view of the image, which must outlive the
    // use. A failure leaves the table empty. ullLimit is how many bytes the image may reach.
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy);
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

protected:
    int Exist(int nClassifyType) const;
    int Exist(const VOWCHAR* pszClassifyName) const;
    int ExtensionStringEnable(const VOWCHAR* pszExt, const VOWCHAR* pszExtensions) const;

    VORecordVector<structAssetNodeClassifyParam> m_vecAssetNodeClassifyParam;
    std::map<int, unsigned int> m_mapClassifyType2ParamIndex;
    std::map<unsigned int, unsigned int> m_mapExtensionHash2ParamIndex;
    VOStringHash m_kStringHash;
};
static_assert(sizeof(VOTSAssetNodeClassifyManager::ContainerAlloc) == 32);
static_assert(offsetof(VOTSAssetNodeClassifyManager::ContainerAlloc, kParams) == 8);

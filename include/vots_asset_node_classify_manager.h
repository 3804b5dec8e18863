// VOTSAssetNodeClassifyManager: the table of classify types of one asset container.
//
// A type has a number, a name, a list of file extensions ("png|tga|dds", without dots) and two colours. The
// table answers to which type an extension belongs, and what a type is called. Extensions and names are matched
// without regard to case. Of two types that list one extension, the one inserted first has it.
//
// No lock: one thread at a time, or any number of readers. Whatever adds, copies or takes an image throws
// std::bad_alloc when there is no memory.
#pragma once

#include <map>

#include "internal/vo_record_vector.h"
#include "tray_service_types.h"
#include "vo_string_hash.h"
#include "vo_types.h"

// In characters, with the terminator: of a name, and of a whole list of extensions.
#define LENGTH_OF_CLASSIFYNAME 50
#define LENGTH_OF_EXTENSIONS 100

// One classify type; part of the image. The texts have their terminator inside the field.
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

// A container owns one and forwards to it; a publisher fills it before it makes nodes. Types can't be taken out
// one by one.
class VOBASE_API VOTSAssetNodeClassifyManager
{
public:
    // The head of an image. A reader looks at the records' own head alone, not at the two words in front.
#pragma pack(push, 1)
    struct ContainerAlloc
    {
        unsigned int uTypeCount;
        unsigned int uParamBufSize;
        VORecordVectorAlloc kParams;  // record vector image of the types
        unsigned char abTail[4];
    };
#pragma pack(pop)

    // All of the following return 1 for success and 0 for failure. A lookup that finds nothing returns 0
    // without a log line, and leaves its output alone.
    //
    // The copy of a table has records of its own; the copy of a view is a view of the same image.
    VOTSAssetNodeClassifyManager();
    ~VOTSAssetNodeClassifyManager();
    VOTSAssetNodeClassifyManager(const VOTSAssetNodeClassifyManager& rkOther);
    VOTSAssetNodeClassifyManager& operator=(const VOTSAssetNodeClassifyManager& rkOther);

    // All of them return non-zero for success. A lookup that finds nothing returns 0 without a log line.

    // Adds a type; the texts are copied. 0 and a log line for an empty name or list, or one that is too long.
    // What fails leaves the table as it was.
    //
    // Kept (VOTSAssetNodeClassifyManager::InsertClassifyType): a number or a name (in any case) that is taken
    // gives 0 in silence. Publishers that insert their table once more find nothing changed and no line in the
    // log.
    int InsertClassifyType(int nClassifyType, const VOWCHAR* pszClassifyName, const VOWCHAR* pszExtensions,
                           const LUMTrayService::Color& rkTypeColor, const LUMTrayService::Color& rkBackgroundColor);

    // Makes the extensions of all types findable. Always 1. Empty entries of a list vanish; a blank is a part
    // of its entry.
    //
    // Kept (VOTSAssetNodeClassifyManager::BuildUpExtensionsHash): InsertClassifyType doesn't do it, so that new
    // extensions are missed until then. Publishers insert many types and build once.
    int BuildUpExtensionsHash();

    // Empties the table; memory of its own stays. Always 1.
    int CleanUp();

    // Empties the table if it is a view of an image; memory of its own stays.
    void DropView();

    // The number of the type with this name: the first match by ascending number, comparing name by name. A
    // null name is logged.
    int GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const;

    // The number of the type that lists this extension, which has no dot. A null or empty one is logged.
    // Allocates nothing.
    //
    // Kept (VOTSAssetNodeClassifyManager::GetClassifyTypeByExtension): only the 32-bit hash of the folded
    // extension is looked up, cut to 99 characters in silence. Publishers and readers classify alike by that,
    // also where two extensions share a hash.
    int GetClassifyTypeByExtension(const VOWCHAR* pszExt, int& nResult) const;

    // The name of a type, and its list of extensions as it was inserted, terminated. The buffers hold
    // LENGTH_OF_CLASSIFYNAME and LENGTH_OF_EXTENSIONS characters. A null buffer is logged.
    int GetClassifyName(int nClassifyType, VOWCHAR* pszResult) const;
    int GetClassifyExtensions(int nClassifyType, VOWCHAR* pszResult) const;

    // The two colours of a type.
    int GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const;
    int GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const;

    // A new image, owned by the caller; an empty pointer when it would have more than 4 GiB.
    ContainerAlloc* GetAlloc() const;

    // Replaces the table by an image, copied with bCopy, otherwise as a view of the image, which must outlive
    // the use. The extensions can be found at once. A failure is logged; it leaves the table empty, but for a
    // null pointer, which leaves it as it was. ullLimit is how many bytes the image may reach; without it the
    // caller vouches for the head. Of types with one number the first one counts.
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy);
    int SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullLimit);

    // The image's size in bytes, and the image written to zeroed memory of that size, for images that hold this
    // one.
    unsigned long long AllocSize() const;
    void WriteAlloc(unsigned char* pbTo) const;

protected:
    // 1 if the number, or the name in any case, is taken.
    int Exist(int nClassifyType) const;
    int Exist(const VOWCHAR* pszClassifyName) const;

    // 1 if pszExt is one whole entry of the list, in any case; an empty one never is. A null argument is
    // logged.
    int ExtensionStringEnable(const VOWCHAR* pszExt, const VOWCHAR* pszExtensions) const;

    // The types in the order of insertion; the two maps lead from a number, and from the hash of a folded
    // extension, to the place in it. They are made anew from every image.
    VORecordVector<structAssetNodeClassifyParam> m_vecAssetNodeClassifyParam;
    std::map<int, unsigned int> m_mapClassifyType2ParamIndex;
    std::map<unsigned int, unsigned int> m_mapExtensionHash2ParamIndex;
    VOStringHash m_kStringHash;

private:
    template <typename Take>
    int _TakeFrom(const char* pszFunction, int nClassifyType, Take take) const;
};
static_assert(sizeof(VOTSAssetNodeClassifyManager::ContainerAlloc) == 32);
static_assert(offsetof(VOTSAssetNodeClassifyManager::ContainerAlloc, kParams) == 8);

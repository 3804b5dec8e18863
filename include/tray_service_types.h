// The vocabulary shared by the publisher of asset images and the tools that read them.
//
// Enumerations are stored as 32-bit integers. The records are wire formats: written by one process, read byte
// for byte by another, little-endian and without gaps, so that their 64-bit fields may lie at any address
// inside an image. Nothing here has behaviour, memory or locks of its own. docs/wire-formats.md has the layouts
// as tables.
#pragma once

#include "vo_types.h"

namespace LUMTrayService
{

// On which side of the process boundary a container lives. Fixed at construction; the operations that change
// anything are refused on a Customer.
enum enumAssetRole : int
{
    AR_Provider = 0,  // writer: may be changed
    AR_Customer = 1   // reader: a view of an image
};

// The source of an asset; indexes all per-source tables. Below ASSETTYPE_COUNT a value is a valid index, but
// AF_ERROR names no section.
enum enumAssetFrom : unsigned int
{
    AF_ERROR = 0,  // no source, and no section
    AF_SOURCE = 1,
    AF_TARGET = 2,
    AF_PAKV4 = 3,
    AF_HTTPFILE_SOURCE = 4,
    AF_HTTPFILE_TARGET = 5,
    AF_HTTPFILE_PKG_SOURCE = 6,
    AF_HTTPFILE_PKG_TARGET = 7,
    AF_MERGESRC = 8,
    AF_MERGETARGET = 9,
    ASSETTYPE_COUNT = 10
};

namespace Inspector
{

// Selects children; also the bits of a dwType mask, where 3 selects both. Where one NodeType is asked for, any
// other value selects a list that doesn't exist.
enum NodeType : int
{
    NT_FILE = 1,
    NT_FOLDER = 2
};

// Results of the operations that open published data, and the answers to how the loaded data stand to the
// published ones. ET_NONE is the only success.
//
// Kept (ET_RESERVED): the value 1 is never produced. Tools that store or compare the numbers keep the ones they
// know.
enum ErrorType : int
{
    ET_NONE = 0,
    ET_RESERVED = 1,           // never produced
    ET_STATE_UNAVAILABLE = 2,  // the update state section can't be opened or mapped, or isn't open
    ET_VERSION_MISMATCH = 3,   // the update state section has another version
    ET_DATA_UNAVAILABLE = 4,   // no image is loaded, or the data section isn't there or is damaged
    ET_SOURCE_DISABLED = 5,    // the source isn't published
    ET_DATA_OUTDATED = 6       // an image is loaded, but a newer one has been published
};

// What a query does about ET_DATA_OUTDATED. Any non-zero value acts like SM_SYNC.
enum SyncMode : int
{
    SM_ASYNC = 0,  // goes on answering from the image it has
    SM_SYNC = 1    // fails until the image has been reloaded
};

}  // namespace Inspector

// A colour of a classify type: 4 bytes that the library stores and returns without looking inside. Which byte
// is which is the tools' matter; lum keeps 0x00RRGGBB.
struct Color
{
    unsigned int uValue = 0;
};
static_assert(sizeof(Color) == 4);

// nFileAttribute, as built from a local file. What comes from a pak is stored as it was handed in and follows
// none of this. No other attribute of the system is carried over.
constexpr unsigned int kFileAttributeReadOnly = 0x01;

// Kept (kFileAttributeWritable): always the opposite of read-only, so that a plain file has 0x14. Readers of
// images test either bit.
constexpr unsigned int kFileAttributeWritable = 0x04;

// On Linux: the name begins with a dot.
constexpr unsigned int kFileAttributeHidden = 0x08;
constexpr unsigned int kFileAttributeLocal = 0x10;  // set on every value that was built from a local file

// One file or folder of a source, as handed out: a snapshot, which doesn't follow later changes of the
// container. It owns nothing. Its handles are those of the container that it came from (GetString gives their
// texts) and mean the same in every process that reads the same image; elsewhere they mean nothing.
//
// The defaults are those of a node that nobody has filled yet.
#pragma pack(push, 4)
struct structAssetNode
{
    enumAssetFrom eAssetFrom = AF_ERROR;
    unsigned int uAssetMerge = 0;                           // merge sign, a bit set
    unsigned int nAssetID = static_cast<UINT>(-1);          // the node's index in its container
    unsigned int nParentID = static_cast<UINT>(-1);         // UINT(-1) for a node without a parent
    unsigned int nChildFileInfo = static_cast<UINT>(-1);    // info ID of the list of child files, UINT(-1) for none
    unsigned int nChildFolderInfo = static_cast<UINT>(-1);  // the same for child folders
    int nClassifyType = -1;                                 // -1 for a node that has none
    int bFolder = 0;
    unsigned int nFileAttribute = 0;     // kFileAttribute... flags
    unsigned long long ullFileSize = 0;  // in bytes
    long long ftCreateTime = 0;          // in the time unit of the source; for local files seconds since 1970
    long long ftLastAccessTime = 0;
    long long ftLastWriteTime = 0;
    void* hStrComponent = INVALID_HANDLE_VALUE;     // directory part, relative to the root; invalid under the root
    void* hStrBaseName = INVALID_HANDLE_VALUE;      // base name
    void* hStrExtension = INVALID_HANDLE_VALUE;     // extension without its dot, invalid for none
    void* hStrClassifyName = INVALID_HANDLE_VALUE;  // name of the classify type
    void* hStrPhysicsPath = INVALID_HANDLE_VALUE;   // set by the publisher at will
};
#pragma pack(pop)

static_assert(sizeof(structAssetNode) == 108);
static_assert(offsetof(structAssetNode, eAssetFrom) == 0);
static_assert(offsetof(structAssetNode, uAssetMerge) == 4);
static_assert(offsetof(structAssetNode, nAssetID) == 8);
static_assert(offsetof(structAssetNode, nParentID) == 12);
static_assert(offsetof(structAssetNode, nChildFileInfo) == 16);
static_assert(offsetof(structAssetNode, nChildFolderInfo) == 20);
static_assert(offsetof(structAssetNode, nClassifyType) == 24);
static_assert(offsetof(structAssetNode, bFolder) == 28);
static_assert(offsetof(structAssetNode, nFileAttribute) == 32);
static_assert(offsetof(structAssetNode, ullFileSize) == 36);
static_assert(offsetof(structAssetNode, ftCreateTime) == 44);
static_assert(offsetof(structAssetNode, ftLastAccessTime) == 52);
static_assert(offsetof(structAssetNode, ftLastWriteTime) == 60);
static_assert(offsetof(structAssetNode, hStrComponent) == 68);
static_assert(offsetof(structAssetNode, hStrBaseName) == 76);
static_assert(offsetof(structAssetNode, hStrExtension) == 84);
static_assert(offsetof(structAssetNode, hStrClassifyName) == 92);
static_assert(offsetof(structAssetNode, hStrPhysicsPath) == 100);

// Called for each node of a walk, on the thread that walks, with a copy of the node that ends with the call,
// the caller's parameter, and the stop flag, which ends the walk when set to non-zero. It must not change the
// container. The result is ignored.
typedef int (*TraverseAssetNodeFunction)(const structAssetNode& tsNode, void* pvParam, int& bStop);

}  // namespace LUMTrayService

// The state of a stored record. A removed node keeps its record and everything in it; there is no way back, a
// path that comes again gets a new record. The value 1 is in use nowhere.
enum AssetParamState : unsigned int
{
    APS_Normal = 0,
    APS_Deleted = 2
};

// The stored record of a node; part of the image. What is handed out are its first 108 bytes. The record of a
// node is the one whose index is its nAssetID, in every image.
#pragma pack(push, 4)
struct structAssetNodeParam
{
    LUMTrayService::structAssetNode tsNode;
    void* hStringParam = INVALID_HANDLE_VALUE;  // the node's key in the string pool
    unsigned int dwParamState = APS_Normal;
};
#pragma pack(pop)
static_assert(sizeof(structAssetNodeParam) == 120);
static_assert(offsetof(structAssetNodeParam, hStringParam) == 108);
static_assert(offsetof(structAssetNodeParam, dwParamState) == 116);

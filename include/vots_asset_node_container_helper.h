// VOTSAssetNodeContainerHelper: static operations that turn a path or a pak entry into a finished node, walk a
// tree with a callback, and the plain path functions under all of it. It keeps no state: any thread may call
// that may use the container, which stays the caller's. 1 is success and 0 failure, with a log line. What
// enters something into a container throws std::bad_alloc when there is no memory.
#pragma once

#include <vector>

#include "tray_service_types.h"
#include "vo_types.h"

class VOTSAssetNodeContainer;

// tsNode is the caller's copy of the node at hand; the operations keep it in step with the container by reading
// the node back after each change, with the exceptions told below.
class VOBASE_API VOTSAssetNodeContainerHelper
{
public:
    VOTSAssetNodeContainerHelper() = default;
    VOTSAssetNodeContainerHelper(const VOTSAssetNodeContainerHelper&) {}
    VOTSAssetNodeContainerHelper& operator=(const VOTSAssetNodeContainerHelper&) { return *this; }

    // Request a node and fill it: source, names, classify type, for local and pak nodes the attributes, for
    // merge nodes the merge sign. Parents and child lists are the caller's. An empty container pointer is
    // logged. A failed step gives 0 and leaves the node as far as it got.
    //
    // The local one reads the attributes of the file at the root joined with the path; size, times and
    // attributes of the pak one are those of tsCacheNode, as is whether it is a folder. HTTP and merge nodes
    // have no attributes.
    //
    // Kept (VOTSAssetNodeContainerHelper::RequestLocalAssetNode): a node that was there already is left as it
    // is, with result 1, also one that an earlier request couldn't finish. A file whose extension no classify
    // type lists is made, gives 0, and gets no attributes. Publishers ask GetClassifyTypeByExtension first, and
    // fill such nodes with the container's setters. After this call tsNode doesn't show size and times:
    // GetAssetNode does.
    static int RequestLocalAssetNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     LUMTrayService::enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder);
    static int RequestPakAssetNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                   const VOWCHAR* pszPath, const LUMTrayService::structAssetNode& tsCacheNode);
    static int RequestHttpFileNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                   LUMTrayService::enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder);
    static int RequestAssetMergeNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     LUMTrayService::enumAssetFrom eaf, unsigned int uAssetMerge,
                                     const VOWCHAR* pszPath, int bFolder);

    // Set a part of a node, and read the node back into tsNode. 0 as the container's setter of that name gives
    // it.
    static int SetAssetNodeAssetFrom(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     LUMTrayService::enumAssetFrom eaf);
    static int SetAssetNodeAssetMergeSign(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                          unsigned int uAssetMerge);

    // Cuts a normalised path of at most MAX_PATH - 1 characters into its three parts. The last part of a
    // folder's path is its base name as a whole, dots included.
    //
    // Kept (VOTSAssetNodeContainerHelper::SetAssetNodeStripPath): of a file whose name begins with a dot all is
    // extension, so that it has no base name and no path can be rendered for it. Publishers set the whole name
    // as base name.
    static int SetAssetNodeStripPath(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     const VOWCHAR* pszPath);
    static int SetAssetNodePhysicsPath(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                       const VOWCHAR* pszPhysicsPath);

    // Looks the extension up. 1, and no type, for a folder and for a file without an extension; 0 for an
    // extension that no type lists.
    static int SetAssetNodeClassifyType(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer);

    // Reads the attributes of the file pszPath, relative to the container's root, into the container. tsNode
    // isn't read back, and eaf isn't looked at. Root and path together have at most MAX_PATH - 2 characters.
    static int SetAssetNodeLocalFileAttribute(LUMTrayService::structAssetNode& tsNode,
                                              VOTSAssetNodeContainer* pkContainer, LUMTrayService::enumAssetFrom eaf,
                                              const VOWCHAR* pszPath);

    // Stores size, times, attributes and bFolder of tsNodeParam.
    //
    // Kept (VOTSAssetNodeContainerHelper::SetAssetNodePakFileAttribute): nFileAttribute is stored as it is
    // handed in, the bit of local files included. Readers of pak nodes get the flags that the pak's own index
    // had.
    static int SetAssetNodePakFileAttribute(LUMTrayService::structAssetNode& tsNode,
                                            VOTSAssetNodeContainer* pikContainer,
                                            const LUMTrayService::structAssetNode& tsNodeParam);

    // Zeroes all bytes of tsNode, which aren't its defaults, and fills in size, times in seconds since 1970 and
    // attribute flags of a file. pszPath is opened as it stands.
    //
    // Kept (VOTSAssetNodeContainerHelper::GetAssetNodeFileAttribute): the size is cut to 32 bits, and the
    // result is always 1: for a file that isn't there all fields stay zero but the flags, which are those of a
    // writable file. Publishers that index files which come and go aren't stopped by one that is gone; those
    // with files over 4 GiB store the size themselves.
    static int GetAssetNodeFileAttribute(LUMTrayService::structAssetNode& tsNode, const VOWCHAR* pszPath);

    // Visits the children of a node, not the node itself: at each level files, then folders; with bSubAssetNode
    // depth-first, a folder before its contents. dwType has the bits NT_FILE and NT_FOLDER; folders are entered
    // even where only files are asked for. The callback runs on the calling thread, ends the walk with its stop
    // flag, and must not change the container.
    //
    // A link that leads back to a folder which the walk is inside of is a failure. A node that stands in
    // several lists is visited in each; a walk ends after 64 visits for each node that the container holds, and
    // not before 16 million. The levels are on the heap, eight bytes each; without memory for one the walk
    // throws std::bad_alloc.
    //
    // Kept (VOTSAssetNodeContainerHelper::TraverseAssetNode): the result is always 1, also without a callback
    // or a container: what fails is logged and ends the walk of that level only. Tools show what a damaged
    // image still has.
    static int TraverseAssetNode(const VOTSAssetNodeContainer* pkContainer, unsigned int uAssetIndex, VOULONG dwType,
                                 int bSubAssetNode, LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam);

    // The normal form of a path: "/" separators, no trailing "/", cut to uSize - 1 characters and terminated;
    // with bLower, "A" to "Z" folded. uSize is the room of pszResult in characters; with 0, and without a
    // buffer, nothing is written. A null path, and one of slashes only, give the empty text. The result is
    // always 1.
    static int NormalizedPath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize, int bLower);

    // The parts of a normalised path of nLen characters. pszResult may be an empty pointer; otherwise it must
    // hold nLen + 1 characters, and it isn't touched where there is nothing to give, so the caller empties it
    // first. Nothing is logged.
    //
    // ParseDir: the text before the last "/"; 0 if there is none, or only one at the front.
    static int ParseDir(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen);

    // The last part without its extension and the dot in front of it; 0 if that is empty. pszExt, null or empty
    // for none, isn't compared: its length says where the name ends.
    //
    // Kept (VOTSAssetNodeContainerHelper::ParseBaseName): a "/" at the very front belongs to the name: "/b" has
    // the base name "/b". Base names in images that exist were cut so.
    static int ParseBaseName(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen, const VOWCHAR* pszExt);

    // The text behind the first "." of the last part; always 1.
    //
    // Kept (VOTSAssetNodeContainerHelper::ParseExtension): the first dot counts, not the last: "hull.tar.gz"
    // has "tar.gz". A dot at the very end counts for nothing. Publishers and tools classify by that extension.
    static int ParseExtension(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen);

protected:
    friend class VOTSFileMappingInspector;

    // TraverseAssetNode with a stop flag of the caller's.
    static int TraverseAssetNodeInternal(const VOTSAssetNodeContainer* pkContainer, unsigned int uAssetIndex,
                                         VOULONG dwType, int bSubAssetNode,
                                         LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam, int& bStop);

private:
    class Walk;
};

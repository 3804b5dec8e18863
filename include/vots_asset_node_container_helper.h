// VOTSAssetNodeContainerHelper: static operations that turn a path or a pak entry into a finished node, walk a tree
// with a callback, and the plain path functions under all of it. It keeps no state.
#pragma once

#include <vector>

#include "tray_service_types.h"
#include "vo_types.h"

class VOTSAssetNodeContainer;

class VOBASE_API VOTSAssetNodeContainerHelper
{
public:
    VOTSAssetNodeContainerHelper() = default;
    VOTSAssetNodeContainerHelper(const VOTSAssetNodeContainerHelper&) {}
    VOTSAssetNodeContainerHelper& operator=(const VOTSAssetNodeContainerHelper&) { return *this; }

    // Request a node and fill it: names, classify type, and for local and pak nodes the attributes. A node that was
    // there already is left as it is, with result 1. A failed step gives 0 and leaves the node as far as it got; a
    // file whose extension no classify type lists fails so, and gets no attributes. After RequestLocalAssetNode
    // tsNode doesn't show size and times: GetAssetNode does.
    static int RequestLocalAssetNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     LUMTrayService::enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder);
    static int RequestPakAssetNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                   const VOWCHAR* pszPath, const LUMTrayService::structAssetNode& tsCacheNode);
    static int RequestHttpFileNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                   LUMTrayService::enumAssetFrom eaf, const VOWCHAR* pszPath, int bFolder);
    static int RequestAssetMergeNode(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     LUMTrayService::enumAssetFrom eaf, unsigned int uAssetMerge,
                                     const VOWCHAR* pszPath, int bFolder);

    // Set a part of a node, and read the node back into tsNode.
    static int SetAssetNodeAssetFrom(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     LUMTrayService::enumAssetFrom eaf);
    static int SetAssetNodeAssetMergeSign(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                          unsigned int uAssetMerge);
    static int SetAssetNodeStripPath(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                     const VOWCHAR* pszPath);
    static int SetAssetNodePhysicsPath(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer,
                                       const VOWCHAR* pszPhysicsPath);
    static int SetAssetNodeClassifyType(LUMTrayService::structAssetNode& tsNode, VOTSAssetNodeContainer* pkContainer);

    // Reads the attributes of the file pszPath, relative to the container's root, into the container. tsNode isn't
    // read back.
    static int SetAssetNodeLocalFileAttribute(LUMTrayService::structAssetNode& tsNode,
                                              VOTSAssetNodeContainer* pkContainer, LUMTrayService::enumAssetFrom eaf,
                                              const VOWCHAR* pszPath);
    static int SetAssetNodePakFileAttribute(LUMTrayService::structAssetNode& tsNode,
                                            VOTSAssetNodeContainer* pikContainer,
                                            const LUMTrayService::structAssetNode& tsNodeParam);

    // Zeroes tsNode and fills in size (cut to 32 bits), times and attribute flags of a file. The result is always 1;
    // for a file that isn't there all of them stay zero but the flags, which are those of a writable file.
    static int GetAssetNodeFileAttribute(LUMTrayService::structAssetNode& tsNode, const VOWCHAR* pszPath);

    // Visits the children of a node, not the node itself: at each level files, then folders; with bSubAssetNode
    // depth-first, a folder before its contents. dwType has the bits NT_FILE and NT_FOLDER. The callback ends the
    // walk with its stop flag. The result is always 1: what fails is logged and ends the walk of that level only.
    // A link that leads back to a folder which the walk is inside of is one such failure. A node that stands in
    // several lists is visited in each; a walk ends after 64 visits for each node that the container holds, and not
    // before 16 million.
    static int TraverseAssetNode(const VOTSAssetNodeContainer* pkContainer, unsigned int uAssetIndex, VOULONG dwType,
                                 int bSubAssetNode, LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam);

    // The normal form of a path: "/" separators, no trailing "/", cut to uSize - 1 characters; with bLower, "A" to
    // "Z" folded. The result is always 1.
    static int NormalizedPath(VOWCHAR* pszResult, const VOWCHAR* pszPath, unsigned int uSize, int bLower);

    // The parts of a normalised path of nLen characters. pszResult may be an empty pointer; otherwise it must hold
    // nLen + 1 characters, and it isn't touched where there is nothing to give.
    //
    // ParseDir: the text before the last "/"; 0 if there is none, or only one at the front.
    // ParseExtension: the text behind the first "." of the last part; always 1.
    // ParseBaseName: the last part without "." and pszExt; 0 if that is empty.
    static int ParseDir(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen);
    static int ParseBaseName(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen, const VOWCHAR* pszExt);
    static int ParseExtension(VOWCHAR* pszResult, const VOWCHAR* pszPath, int nLen);

protected:
    friend class VOTSFileMappingInspector;

    static int TraverseAssetNodeInternal(const VOTSAssetNodeContainer* pkContainer, unsigned int uAssetIndex,
                                         VOULONG dwType, int bSubAssetNode,
                                         LUMTrayService::TraverseAssetNodeFunction pFun, void* pvParam, int& bStop);

private:
    class Walk;
};

// The entries of an INI file, as their chain owns them.
//
// The links of the entries are the interface's, and some operations leave them with an entry that no link leads to, or
// with a link that no longer fits (see the operations). So ownership is kept beside them: a chain has a list of all its
// entries, and an entry lives until nothing names it, or until the chain ends.
#pragma once

#include <string_view>

#include "z_ini_file.h"

struct ZIniChain;

struct ZIniNode
{
    ZENTRY entry;  // first, so that an entry's address is its node's
    ZIniChain* pChain;
    ZIniNode* pAllNext;
    bool bDead;  // deleted; stays while m_pLastEntry names it
};

struct ZIniChain
{
    unsigned int uHolders;  // file objects that stand on it
    ZIniNode* pAll;
};

inline ZIniNode* ZIniNodeOf(ZENTRY* pEntry)
{
    return reinterpret_cast<ZIniNode*>(pEntry);
}

// A new entry of the chain, not linked; pChain is null for the first one of a new chain. Null when memory runs out.
ZENTRY* ZIniMakeNode(ZIniChain* pChain);

// Marks an entry as deleted and frees its text; ZIniSweep does the rest.
void ZIniKill(ZENTRY* pEntry);

// Takes deleted entries out of every link and frees them, except one that pKeep names.
void ZIniSweep(ZIniChain* pChain, const ZENTRY* pKeep);

// One object less on the chain; the last one takes all entries with it.
void ZIniDrop(ZIniChain* pChain);

// The texts joined, in a block of the runtime's malloc; null when memory runs out.
char* ZIniJoin(std::string_view strFirst, std::string_view strSecond = {}, std::string_view strThird = {},
               std::string_view strFourth = {});

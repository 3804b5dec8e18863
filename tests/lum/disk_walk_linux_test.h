// What a directory tree holds, found without any code of this project.
#pragma once

#include <stdint.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>

// What lum should say of one file or folder.
struct DiskEntry
{
    bool bFolder = false;
    uint64_t ullSize = 0;
    int64_t nWritten = 0;
    int64_t nAccessed = 0;
    int64_t nCreated = 0;
    uint32_t uAttributes = 0;

    bool operator==(const DiskEntry&) const = default;
};

// By the bytes of the path below the root.
typedef std::map<std::string, DiskEntry> DiskTree;

// Everything below a directory; links aren't followed.
DiskTree WalkDisk(const std::string& strRoot);

// The bytes that a path in lum's JSON stands for.
std::string BytesOfWrittenForm(const std::string& strWritten);

// The nodes of "lum find --json" or "lum stat --json".
DiskTree TreeOfNodes(const nlohmann::json& nodes);

// The nodes of "lum tree --json", without the root.
DiskTree TreeOfNestedNodes(const nlohmann::json& root);

// Access times of a tree that others read at the same time change under a test.
DiskTree WithoutAccessTimes(DiskTree mapTree);

// Empty when equal, otherwise the first differences.
std::string Difference(const DiskTree& mapExpected, const DiskTree& mapFound);

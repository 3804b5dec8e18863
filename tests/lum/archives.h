// Archives, made byte by byte.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

struct ArchiveMember
{
    std::string strPath;  // a folder ends in "/"
    std::string strContent;
    int64_t nWritten = 1000000000;
    uint32_t uMode = 0644;
};

// A tar archive in the ustar form.
std::string MakeTar(const std::vector<ArchiveMember>& vecMembers);

// A zip archive without compression. bUtf8: names are marked as UTF-8.
std::string MakeZip(const std::vector<ArchiveMember>& vecMembers, bool bUtf8 = true);

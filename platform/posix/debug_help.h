// The modules of a process, as the debug help library and the module list know them.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/vo_debug_help.h"

// The modules of a process: the program and the libraries that are loaded, and not what else it has mapped of such
// files.
struct LoadedModule
{
    std::string strPath;
    unsigned long long ullBase = 0;
    unsigned long long ullEnd = 0;

    // The last part of the path, with its extension and without. What begins with a digit is a version and stays.
    std::string FileName() const;
    std::string ShortName() const;
};

// In ascending order of their addresses; empty when the process can't be looked at.
std::vector<LoadedModule> ListModules(pid_t nProcess);

// The process that a handle stands for: -1 the calling one, any other is its id.
pid_t ProcessOf(void* hProcess);

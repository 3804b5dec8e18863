// Deleters for what the C runtime hands out, for std::unique_ptr and std::shared_ptr.
#pragma once

#include <stdio.h>
#include <stdlib.h>

// Closes a file of VOOpenFile.
struct VOCloseFile
{
    void operator()(FILE* pFile) const { fclose(pFile); }
};

// Frees a block of the allocating calls in vo_memory.h.
struct VOFreeBlock
{
    void operator()(void* pvBlock) const { free(pvBlock); }
};

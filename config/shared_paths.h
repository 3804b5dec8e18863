// The paths of lists that were copied: copies stand on the same blocks, and the last owner frees a block.
#pragma once

// One more owner of a block.
void VOSharePath(const char* pszPath);

// One owner less. True when it was the last, who frees the block.
bool VOLeavePath(const char* pszPath);

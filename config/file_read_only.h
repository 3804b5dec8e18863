// The attribute read-only of a configuration file.
#pragma once

// Clears it (bReadOnly 0), or, asked to set it, clears all attributes of a file that isn't read-only: no caller relies
// on more. Always 1.
int VOSetFileReadOnly(const char* pszFilePath, int bReadOnly);

// Reads, changes and writes an INI file:   ini_file FILE
#include <stdio.h>

#include "vobase.h"

int main(int nCount, char** ppszArguments)
{
    if (nCount != 2)
    {
        fprintf(stderr, "usage: ini_file FILE\n");
        return 2;
    }
    const char* const pszFile = ppszArguments[1];

    // Without the file the object stays empty, and what is written makes it.
    ZIniFile ini;
    FILE* const pThere = fopen(pszFile, "r");
    if (pThere != nullptr)
    {
        fclose(pThere);
        if (ini.OpenIniFile(pszFile, false) == 0)
        {
            return 1;
        }
    }

    for (ZENTRY* pSection = ini.SectionBegin(); pSection != nullptr; pSection = ini.SectionNext(pSection))
    {
        char szName[256] = "";
        pSection->GetEntryName(szName, sizeof(szName));
        printf("section %s\n", szName);
    }

    // The other form of ReadString gives a buffer that the next read overwrites.
    char szTitle[100];
    ini.ReadString("Window", "Title", "untitled", szTitle, sizeof(szTitle));
    const double fScale = ini.ReadDouble("Window", "Scale", 1.0, nullptr);
    const int nRuns = ini.ReadInt("Example", "Runs", 0);
    printf("title %s, scale %.2f, run %d times before\n", szTitle, fScale, nRuns);

    ini.WriteInt("Example", "Runs", nRuns + 1);
    return ini.WriteIniFile(pszFile) != 0 ? 0 : 1;
}

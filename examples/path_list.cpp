// Keeps a list of paths in a file:   path_list FILE [PATH...]
#include <stdio.h>

#include <string>

#include "vobase.h"

int main(int nCount, char** ppszArguments)
{
    if (nCount < 2)
    {
        fprintf(stderr, "usage: path_list FILE [PATH...]\n");
        return 2;
    }
    const char* const pszFile = ppszArguments[1];

    // A path from a file still has its line end, and a file written from it would have empty lines. So a program that
    // reads and writes hands the text over in memory, where paths lose theirs (and may hold no blank).
    ZMdlFile list;
    std::string strText;
    FILE* const pThere = fopen(pszFile, "r");
    if (pThere != nullptr)
    {
        for (int nByte; (nByte = fgetc(pThere)) != EOF;)
        {
            strText.push_back(static_cast<char>(nByte));
        }
        fclose(pThere);
    }
    list.OpenMdlFileByBuffer(strText.data(), static_cast<int>(strText.size()));

    for (int i = 2; i < nCount; ++i)
    {
        list.AddPath(ppszArguments[i]);
    }
    for (int i = 0; i < list.GetPathCount(); ++i)
    {
        printf("%d %s\n", i, list.GetPathByIndex(i));
    }
    return list.WriteMdlFile(pszFile) != 0 ? 0 : 1;
}

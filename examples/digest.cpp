// The MD5 digest of a file, read piece by piece, and the two hashes of its name:   digest FILE
#include <stdio.h>

#include <string>

#include "vobase.h"

int main(int nCount, char** ppszArguments)
{
    FILE* const pFile = nCount == 2 ? fopen(ppszArguments[1], "rb") : nullptr;
    if (pFile == nullptr)
    {
        fprintf(stderr, "usage: digest FILE\n");
        return 2;
    }
    MD5State state;
    md5_init(&state);
    unsigned char abPiece[4096];
    for (size_t uRead; (uRead = fread(abPiece, 1, sizeof(abPiece), pFile)) > 0;)
    {
        md5_append(&state, abPiece, static_cast<int>(uRead));
    }
    fclose(pFile);
    unsigned char abDigest[16];
    md5_finish(&state, abDigest);
    for (const unsigned char uByte : abDigest)
    {
        printf("%02x", uByte);
    }
    const std::string strName = ppszArguments[1];
    const VOWString strWide(strName.begin(), strName.end());
    printf("\n%016llx\n%016llx\n", VO_BKDRHashForString64BitA(strName.c_str()),
           VO_BKDRHashForString64BitW(strWide.c_str()));
    return 0;
}

// Encrypts a block and decrypts it again:   string_cipher KEY-OF-8-CHARS HEX-OF-A-BLOCK
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vobase.h"

int main(int nCount, char** ppszArguments)
{
    if (nCount != 3 || strlen(ppszArguments[1]) != 8)
    {
        fprintf(stderr, "usage: string_cipher KEY-OF-8-CHARS HEX-OF-A-BLOCK\n");
        return 2;
    }
    std::bitset<64> bitPlain(strtoull(ppszArguments[2], nullptr, 16));
    std::bitset<64> bitCipher;
    std::bitset<64> bitAgain;
    VOEncryptString(bitCipher, bitPlain, ppszArguments[1]);
    VODecryptString(bitAgain, bitCipher, ppszArguments[1]);
    printf("%016llX\n%016llX\n", bitCipher.to_ullong(), bitAgain.to_ullong());
    return bitAgain == bitPlain ? 0 : 1;
}

// A stranger's program: it knows the installed library and nothing of this tree.
#include <vobase.h>

#include <cstdio>

int main()
{
    const VOStringHash hash;
    const unsigned int uHash = hash.HashW(VOTEXT("Art/Stone.png"), 0);
    std::printf("%08x\n", uHash);
    return uHash == hash.HashA("Art/Stone.png", 0) && hash.HashA("", 0) == 0x7FED7FEDu ? 0 : 1;
}

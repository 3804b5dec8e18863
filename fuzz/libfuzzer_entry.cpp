// Gives libFuzzer one target; VOBASE_FUZZ_TARGET names it.
#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pbData, size_t uSize);
int LLVMFuzzerTestOneInput(const uint8_t* pbData, size_t uSize)
{
    VOBASE_FUZZ_TARGET(pbData, uSize);
    return 0;
}

// The same library code on std::map, as a module of its own: its symbols stay inside, so that one program can run both.
#include "benchmarks/support/provider_fill.h"

extern "C" VOBASE_MODULE_API int FillProviderOnStdMap(const AssetTree* pkTree, unsigned int* puNodes)
{
    VOTSAssetNodeContainer kProvider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
    const bool bFilled = FillProvider(kProvider, *pkTree);
    *puNodes = kProvider.GetAssetNodeCount();
    return bFilled;
}

// The same library code on std::map, as a module of its own: its symbols stay inside, so that one program can run both.
#include "benchmarks/support/provider_fill.h"

extern "C" VOBASE_MODULE_API int FillProviderOnStdMap(const AssetTree* pTree, unsigned int* puNodes)
{
    VOTSAssetNodeContainer provider(LUMTrayService::AR_Provider, VOTEXT("C:/Project"), VOTEXT("Project"));
    const bool bFilled = FillProvider(provider, *pTree);
    *puNodes = provider.GetAssetNodeCount();
    return bFilled;
}

// The classify table. The two maps are derived from the records and rebuilt from every image: from a type's number to
// its record, and from the hash of a folded extension to the record of the first type that lists it.
#include "vots_asset_node_classify_manager.h"

#include "containers/text_access.h"

namespace
{

constexpr VOULONG kHashRow = 0;
constexpr VOWCHAR kSeparator = VOWCHAR('|');
constexpr unsigned int kOuterHeadSize = offsetof(VOTSAssetNodeClassifyManager::ContainerAlloc, kParams);
constexpr unsigned int kOuterSize = sizeof(VOTSAssetNodeClassifyManager::ContainerAlloc) - sizeof(VORecordVectorAlloc);

}  // namespace

VOTSAssetNodeClassifyManager::VOTSAssetNodeClassifyManager() = default;
VOTSAssetNodeClassifyManager::~VOTSAssetNodeClassifyManager() = default;
VOTSAssetNodeClassifyManager::VOTSAssetNodeClassifyManager(const VOTSAssetNodeClassifyManager& rkOther) = default;
VOTSAssetNodeClassifyManager& VOTSAssetNodeClassifyManager::operator=(const VOTSAssetNodeClassifyManager& rkOther) =
    default;

int VOTSAssetNodeClassifyManager::InsertClassifyType(int nClassifyType, const VOWCHAR* pszClassifyName,
                                                     const VOWCHAR* pszExtensions,
                                                     const LUMTrayService::Color& rkTypeColor,
                                                     const LUMTrayService::Color& rkBackgroundColor)
{
    int nResult = 0;
    structAssetNodeClassifyParam param;
    VO_PROCESS_ERROR_AS("pszClassifyName && *pszClassifyName", VOHasText(pszClassifyName));
    VO_PROCESS_ERROR_AS("pszExtensions && *pszExtensions", VOHasText(pszExtensions));
    if (Exist(nClassifyType) || Exist(pszClassifyName))
    {
        return 0;
    }

    param.nClassifyType = nClassifyType;
    param.TypeColor = rkTypeColor;
    param.BackgroundColor = rkBackgroundColor;
    VO_PROCESS_ERROR(S_OK == ::StringCchCopy(param.szClassifyName, LENGTH_OF_CLASSIFYNAME, pszClassifyName));
    VO_PROCESS_ERROR(S_OK == ::StringCchCopy(param.szExtensions, LENGTH_OF_EXTENSIONS, pszExtensions));

    // Room first, then the entry, then the record, which can't fail any more: an allocation that fails leaves the table
    // as it was.
    if (m_vecAssetNodeClassifyParam.Count() >= m_vecAssetNodeClassifyParam.Capacity())
    {
        VO_PROCESS_ERROR(m_vecAssetNodeClassifyParam.Reserve(m_vecAssetNodeClassifyParam.Count() * 2 + 2));
    }
    m_mapClassifyType2ParamIndex.emplace(nClassifyType, m_vecAssetNodeClassifyParam.Count());
    VO_PROCESS_ERROR(m_vecAssetNodeClassifyParam.PushBack(param));
    nResult = 1;

Exit0:
    return nResult;
}

int VOTSAssetNodeClassifyManager::BuildUpExtensionsHash()
{
    m_mapExtensionHash2ParamIndex.clear();
    for (unsigned int i = 0; i < m_vecAssetNodeClassifyParam.Count(); ++i)
    {
        const structAssetNodeClassifyParam param = m_vecAssetNodeClassifyParam[i];
        VOWCHAR szExtensions[LENGTH_OF_EXTENSIONS] = {};
        lstrcpynW(szExtensions, param.szExtensions, LENGTH_OF_EXTENSIONS);
        CharLowerBuffW(szExtensions, LENGTH_OF_EXTENSIONS);

        VOWCHAR* pszContext = nullptr;
        for (VOWCHAR* pszToken = wcstok_s(szExtensions, VOTEXT("|"), &pszContext); pszToken != nullptr;
             pszToken = wcstok_s(nullptr, VOTEXT("|"), &pszContext))
        {
            // The earlier type keeps an extension that two types list.
            m_mapExtensionHash2ParamIndex.emplace(m_kStringHash.HashW(pszToken, kHashRow), i);
        }
    }
    return 1;
}

int VOTSAssetNodeClassifyManager::CleanUp()
{
    m_vecAssetNodeClassifyParam.Clean();
    m_vecAssetNodeClassifyParam.DropView();
    m_mapClassifyType2ParamIndex.clear();
    m_mapExtensionHash2ParamIndex.clear();
    return 1;
}

void VOTSAssetNodeClassifyManager::DropView()
{
    if (m_vecAssetNodeClassifyParam.Capacity() == 0)
    {
        CleanUp();
    }
}

int VOTSAssetNodeClassifyManager::GetClassifyTypeByName(const VOWCHAR* pszClassifyName, int& nResult) const
{
    if (!VO_STEP(pszClassifyName))
    {
        return 0;
    }
    for (auto cIter = m_mapClassifyType2ParamIndex.begin(); cIter != m_mapClassifyType2ParamIndex.end(); ++cIter)
    {
        if (!VO_STEP(cIter->second < m_mapClassifyType2ParamIndex.size()))
        {
            return 0;
        }
        const structAssetNodeClassifyParam param = m_vecAssetNodeClassifyParam[cIter->second];
        VOWCHAR szName[LENGTH_OF_CLASSIFYNAME];
        lstrcpynW(szName, param.szClassifyName, LENGTH_OF_CLASSIFYNAME);
        if (StrCmpIW(szName, pszClassifyName) == 0)
        {
            nResult = param.nClassifyType;
            return 1;
        }
    }
    return 0;
}

int VOTSAssetNodeClassifyManager::GetClassifyTypeByExtension(const VOWCHAR* pszExt, int& nResult) const
{
    if (!VO_STEP_AS("pszExt && *pszExt", VOHasText(pszExt)))
    {
        return 0;
    }
    VOWCHAR szExtension[LENGTH_OF_EXTENSIONS] = {};
    lstrcpynW(szExtension, pszExt, LENGTH_OF_EXTENSIONS);
    CharLowerBuffW(szExtension, static_cast<DWORD>(lstrlenW(szExtension)));
    const auto cIter = m_mapExtensionHash2ParamIndex.find(m_kStringHash.HashW(szExtension, kHashRow));
    if (cIter == m_mapExtensionHash2ParamIndex.end() || cIter->second >= m_vecAssetNodeClassifyParam.Count())
    {
        return 0;
    }
    nResult = VOLoad<int>(m_vecAssetNodeClassifyParam.Bytes(cIter->second));
    return 1;
}

// The record of a type that the table has, for the getters of one field: take(record) has it. Nothing is logged for a
// type that isn't there.
template <typename Take>
int VOTSAssetNodeClassifyManager::_TakeFrom(const char* pszFunction, int nClassifyType, Take take) const
{
    const auto cIter = m_mapClassifyType2ParamIndex.find(nClassifyType);
    if (cIter == m_mapClassifyType2ParamIndex.end() ||
        !VO_STEP_IN(pszFunction, cIter->second < m_mapClassifyType2ParamIndex.size()))
    {
        return 0;
    }
    take(m_vecAssetNodeClassifyParam[cIter->second]);
    return 1;
}

int VOTSAssetNodeClassifyManager::GetClassifyName(int nClassifyType, VOWCHAR* pszResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return VO_STEP(pszResult) && _TakeFrom(pszFunction, nClassifyType,
                                           [&](const structAssetNodeClassifyParam& param)
                                           { lstrcpynW(pszResult, param.szClassifyName, LENGTH_OF_CLASSIFYNAME); });
}

int VOTSAssetNodeClassifyManager::GetClassifyExtensions(int nClassifyType, VOWCHAR* pszResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return VO_STEP(pszResult) && _TakeFrom(pszFunction, nClassifyType,
                                           [&](const structAssetNodeClassifyParam& param)
                                           { lstrcpynW(pszResult, param.szExtensions, LENGTH_OF_EXTENSIONS); });
}

int VOTSAssetNodeClassifyManager::GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    // This one check counts the records and not the types; a host's log tells the two apart.
    const auto cIter = m_mapClassifyType2ParamIndex.find(nClassifyType);
    if (cIter == m_mapClassifyType2ParamIndex.end() || !VO_STEP(cIter->second < m_vecAssetNodeClassifyParam.Count()))
    {
        return 0;
    }
    rkResult = m_vecAssetNodeClassifyParam[cIter->second].TypeColor;
    return 1;
}

int VOTSAssetNodeClassifyManager::GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    VO_NAMED_FUNCTION(pszFunction);
    return _TakeFrom(pszFunction, nClassifyType,
                     [&](const structAssetNodeClassifyParam& param) { rkResult = param.BackgroundColor; });
}

unsigned long long VOTSAssetNodeClassifyManager::AllocSize() const
{
    return kOuterSize + m_vecAssetNodeClassifyParam.AllocSize();
}

void VOTSAssetNodeClassifyManager::WriteAlloc(unsigned char* pbTo) const
{
    VOStore(pbTo + offsetof(ContainerAlloc, uTypeCount), m_vecAssetNodeClassifyParam.Count());
    VOStore(pbTo + offsetof(ContainerAlloc, uParamBufSize),
            static_cast<unsigned int>(m_vecAssetNodeClassifyParam.AllocSize()));
    m_vecAssetNodeClassifyParam.WriteAlloc(pbTo + kOuterHeadSize);
}

VOTSAssetNodeClassifyManager::ContainerAlloc* VOTSAssetNodeClassifyManager::GetAlloc() const
{
    return VOMakeImage<ContainerAlloc>(*this);
}

int VOTSAssetNodeClassifyManager::SetAlloc(ContainerAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeClassifyManager::SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    if (!VO_STEP(pAlloc))
    {
        return 0;
    }
    CleanUp();
    const auto* const pParamAlloc =
        reinterpret_cast<const VORecordVectorAlloc*>(reinterpret_cast<const unsigned char*>(pAlloc) + kOuterHeadSize);
    if (!VO_STEP_AS("m_vecAssetNodeClassifyParam.SetAlloc(pParamAlloc, bCopy)",
                    ullLimit >= kOuterSize &&
                        m_vecAssetNodeClassifyParam.SetAlloc(pParamAlloc, bCopy, VOLimitBehind(ullLimit, kOuterSize))))
    {
        return 0;
    }
    for (unsigned int i = 0; i < m_vecAssetNodeClassifyParam.Count(); ++i)
    {
        m_mapClassifyType2ParamIndex.emplace(VOLoad<int>(m_vecAssetNodeClassifyParam.Bytes(i)), i);
    }
    return BuildUpExtensionsHash();
}

int VOTSAssetNodeClassifyManager::Exist(int nClassifyType) const
{
    return m_mapClassifyType2ParamIndex.count(nClassifyType) != 0;
}

int VOTSAssetNodeClassifyManager::Exist(const VOWCHAR* pszClassifyName) const
{
    int nIgnored = 0;
    return GetClassifyTypeByName(pszClassifyName, nIgnored);
}

int VOTSAssetNodeClassifyManager::ExtensionStringEnable(const VOWCHAR* pszExt, const VOWCHAR* pszExtensions) const
{
    if (!VO_STEP(pszExt) || !VO_STEP(pszExtensions))
    {
        return 0;
    }
    const int nExtLength = lstrlenW(pszExt);
    const int nListLength = lstrlenW(pszExtensions);
    for (int nPosition = 0; nExtLength != 0 && nPosition < nListLength;)
    {
        const VOWCHAR* const pszMatch = StrStrIW(pszExtensions + nPosition, pszExt);
        if (pszMatch == nullptr)
        {
            break;
        }
        const int nBegin = static_cast<int>(pszMatch - pszExtensions);
        nPosition = nBegin + nExtLength;
        const bool bBeginsEntry = nBegin == 0 || VOLoadUnit(pszExtensions + nBegin - 1) == kSeparator;
        const bool bEndsEntry = nPosition == nListLength || VOLoadUnit(pszExtensions + nPosition) == kSeparator;
        if (bBeginsEntry && bEndsEntry)
        {
            return 1;
        }
    }
    return 0;
}

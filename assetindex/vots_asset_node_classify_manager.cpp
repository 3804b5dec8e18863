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
    int nFound = 0;
    VO_PROCESS_ERROR(pszClassifyName);
    for (auto cIter = m_mapClassifyType2ParamIndex.begin(); cIter != m_mapClassifyType2ParamIndex.end(); ++cIter)
    {
        VO_PROCESS_ERROR(cIter->second < m_mapClassifyType2ParamIndex.size());
        const structAssetNodeClassifyParam param = m_vecAssetNodeClassifyParam[cIter->second];
        VOWCHAR szName[LENGTH_OF_CLASSIFYNAME];
        lstrcpynW(szName, param.szClassifyName, LENGTH_OF_CLASSIFYNAME);
        if (StrCmpIW(szName, pszClassifyName) == 0)
        {
            nResult = param.nClassifyType;
            nFound = 1;
            break;
        }
    }

Exit0:
    return nFound;
}

int VOTSAssetNodeClassifyManager::GetClassifyTypeByExtension(const VOWCHAR* pszExt, int& nResult) const
{
    int nFound = 0;
    VOWCHAR szExtension[LENGTH_OF_EXTENSIONS] = {};
    std::map<unsigned int, unsigned int>::const_iterator cIter;
    VO_PROCESS_ERROR_AS("pszExt && *pszExt", VOHasText(pszExt));

    lstrcpynW(szExtension, pszExt, LENGTH_OF_EXTENSIONS);
    CharLowerBuffW(szExtension, static_cast<DWORD>(lstrlenW(szExtension)));
    cIter = m_mapExtensionHash2ParamIndex.find(m_kStringHash.HashW(szExtension, kHashRow));
    if (cIter != m_mapExtensionHash2ParamIndex.end() && cIter->second < m_vecAssetNodeClassifyParam.Count())
    {
        nResult = VOLoad<int>(m_vecAssetNodeClassifyParam.Bytes(cIter->second));
        nFound = 1;
    }

Exit0:
    return nFound;
}

int VOTSAssetNodeClassifyManager::GetClassifyName(int nClassifyType, VOWCHAR* pszResult) const
{
    int nFound = 0;
    const auto cIter = m_mapClassifyType2ParamIndex.find(nClassifyType);
    VO_PROCESS_ERROR(pszResult);
    if (cIter != m_mapClassifyType2ParamIndex.end())
    {
        VO_PROCESS_ERROR(cIter->second < m_mapClassifyType2ParamIndex.size());
        const structAssetNodeClassifyParam param = m_vecAssetNodeClassifyParam[cIter->second];
        lstrcpynW(pszResult, param.szClassifyName, LENGTH_OF_CLASSIFYNAME);
        nFound = 1;
    }

Exit0:
    return nFound;
}

int VOTSAssetNodeClassifyManager::GetClassifyExtensions(int nClassifyType, VOWCHAR* pszResult) const
{
    int nFound = 0;
    const auto cIter = m_mapClassifyType2ParamIndex.find(nClassifyType);
    VO_PROCESS_ERROR(pszResult);
    if (cIter != m_mapClassifyType2ParamIndex.end())
    {
        VO_PROCESS_ERROR(cIter->second < m_mapClassifyType2ParamIndex.size());
        const structAssetNodeClassifyParam param = m_vecAssetNodeClassifyParam[cIter->second];
        lstrcpynW(pszResult, param.szExtensions, LENGTH_OF_EXTENSIONS);
        nFound = 1;
    }

Exit0:
    return nFound;
}

int VOTSAssetNodeClassifyManager::GetClassifyTypeColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    int nFound = 0;
    const auto cIter = m_mapClassifyType2ParamIndex.find(nClassifyType);
    if (cIter != m_mapClassifyType2ParamIndex.end())
    {
        // This one check counts the records and not the types; a host's log tells the two apart.
        VO_PROCESS_ERROR(cIter->second < m_vecAssetNodeClassifyParam.Count());
        rkResult = m_vecAssetNodeClassifyParam[cIter->second].TypeColor;
        nFound = 1;
    }

Exit0:
    return nFound;
}

int VOTSAssetNodeClassifyManager::GetClassifyBackgroundColor(int nClassifyType, LUMTrayService::Color& rkResult) const
{
    int nFound = 0;
    const auto cIter = m_mapClassifyType2ParamIndex.find(nClassifyType);
    if (cIter != m_mapClassifyType2ParamIndex.end())
    {
        VO_PROCESS_ERROR(cIter->second < m_mapClassifyType2ParamIndex.size());
        rkResult = m_vecAssetNodeClassifyParam[cIter->second].BackgroundColor;
        nFound = 1;
    }

Exit0:
    return nFound;
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
    if (AllocSize() > kVOMaxImageSize)
    {
        return nullptr;
    }
    unsigned char* pbAlloc = static_cast<unsigned char*>(VOAllocateImage(AllocSize()));
    WriteAlloc(pbAlloc);
    return reinterpret_cast<ContainerAlloc*>(pbAlloc);
}

int VOTSAssetNodeClassifyManager::SetAlloc(ContainerAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOTSAssetNodeClassifyManager::SetAlloc(ContainerAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    int nResult = 0;
    const VORecordVectorAlloc* pParamAlloc = nullptr;
    VO_PROCESS_ERROR(pAlloc);
    CleanUp();

    pParamAlloc =
        reinterpret_cast<const VORecordVectorAlloc*>(reinterpret_cast<const unsigned char*>(pAlloc) + kOuterHeadSize);
    VO_PROCESS_ERROR_AS("m_vecAssetNodeClassifyParam.SetAlloc(pParamAlloc, bCopy)",
                        ullLimit >= kOuterSize &&
                            m_vecAssetNodeClassifyParam.SetAlloc(
                                pParamAlloc, bCopy, ullLimit == kVOUnbounded ? kVOUnbounded : ullLimit - kOuterSize));
    for (unsigned int i = 0; i < m_vecAssetNodeClassifyParam.Count(); ++i)
    {
        m_mapClassifyType2ParamIndex.emplace(VOLoad<int>(m_vecAssetNodeClassifyParam.Bytes(i)), i);
    }
    nResult = BuildUpExtensionsHash();

Exit0:
    return nResult;
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
    int nResult = 0;
    int nExtLength = 0;
    int nListLength = 0;
    int nPosition = 0;
    VO_PROCESS_ERROR(pszExt);
    VO_PROCESS_ERROR(pszExtensions);

    nExtLength = lstrlenW(pszExt);
    nListLength = lstrlenW(pszExtensions);
    while (nPosition < nListLength)
    {
        const VOWCHAR* pszMatch = StrStrIW(pszExtensions + nPosition, pszExt);
        if (pszMatch == nullptr || nExtLength == 0)
        {
            break;
        }
        const int nBegin = static_cast<int>(pszMatch - pszExtensions);
        const int nEnd = nBegin + nExtLength;
        const bool bSeparatorBefore = nBegin > 0 && VOLoadUnit(pszExtensions + nBegin - 1) == kSeparator;
        const bool bSeparatorBehind = VOLoadUnit(pszExtensions + nEnd) == kSeparator;
        if (nExtLength == nListLength || (bSeparatorBefore && bSeparatorBehind) || (nBegin == 0 && bSeparatorBehind) ||
            (bSeparatorBefore && nEnd == nListLength))
        {
            nResult = 1;
            break;
        }
        nPosition = nEnd;
    }

Exit0:
    return nResult;
}

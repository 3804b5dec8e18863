#include "reader/session.h"

#include <fmt/format.h>

#include "base/console.h"
#include "base/index_keys.h"
#include "base/log.h"
#include "base/sources.h"
#include "base/text.h"
#include "image/image_load.h"
#include "reader/path_argument.h"
#include "vo_utility.h"

using namespace LUMTrayService;
using LUMTrayService::Inspector::ErrorType;

namespace lum
{

namespace
{

// Larger than any path that a publisher of this tree makes; an image of another one may hold longer texts.
constexpr unsigned kPathBuffer = 4096;

const char* ErrorText(ErrorType eError)
{
    switch (eError)
    {
        case Inspector::ET_STATE_UNAVAILABLE:
            return "the update state section can't be opened";
        case Inspector::ET_VERSION_MISMATCH:
            return "the update state section is of another version, or none at all";
        case Inspector::ET_SOURCE_DISABLED:
            return "the source isn't published any more";
        default:
            return "the data section can't be read: it is missing or damaged";
    }
}

}  // namespace

ReaderSource::ReaderSource(enumAssetFrom eaf, VOTSFileMappingInspector* pInspector)
    : m_eaf(eaf), m_pInspector(pInspector), m_strRoot(VOTextOf(pInspector->GetAssetRootPath()))
{
}

VOWString ReaderSource::RootName() const
{
    return VOTextOf(m_pInspector->GetAssetRootName());
}

VOWString ReaderSource::TextOf(void* hString) const
{
    return hString == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(m_pInspector->GetString(hString));
}

VOWString ReaderSource::PathOf(const structAssetNode& node) const
{
    // The root folder has no base name, and no path could be made of it.
    VOWCHAR szPath[kPathBuffer];
    if (node.hStrBaseName == INVALID_HANDLE_VALUE ||
        m_pInspector->GetAssetPath(node.nAssetID, kPathBuffer, szPath) == 0)
    {
        return VOWString();
    }
    return szPath;
}

std::optional<structAssetNode> ReaderSource::_FindForm(const VOWString& strForm) const
{
    // Without a root path the library has no way to take a name with ":" for anything but an absolute path.
    const std::optional<VOWString> strText = LookupText(m_strRoot, strForm);
    structAssetNode node;
    if (!strText || (m_strRoot.empty() && *strText != strForm) ||
        m_pInspector->GetAssetNode(strText->c_str(), node) == 0)
    {
        return std::nullopt;
    }
    return node;
}

std::optional<structAssetNode> ReaderSource::FindPath(const VOWString& strPath) const
{
    const std::optional<structAssetNode> plain = _FindForm(strPath);
    if (!plain)
    {
        return std::nullopt;
    }
    const VOWString strPlain = PathOf(*plain);
    if (strPlain == strPath)
    {
        return plain;
    }
    const std::optional<structAssetNode> exact = _FindForm(ExactCaseForm(strPath));
    if (exact && PathOf(*exact) == strPath)
    {
        return exact;
    }
    // Keys are hashes: what was found may be another path altogether.
    return EqualButForAsciiCase(strPlain, strPath) ? plain : std::nullopt;
}

std::optional<structAssetNode> ReaderSource::FindArgument(const std::string& strArgument) const
{
    for (const VOWString& strReading : ReadingsOf(strArgument))
    {
        const std::optional<VOWString> strPath = RelativePath(strReading, m_strRoot);
        const std::optional<structAssetNode> node = strPath ? FindPath(*strPath) : std::nullopt;
        if (node)
        {
            return node;
        }
    }
    return std::nullopt;
}

ReaderSession::ReaderSession()
{
    WatchLibraryLog();
}

ReaderSession::~ReaderSession()
{
    m_vecSources.clear();
    if (m_pAssemble != nullptr)
    {
        VOTSFileMappingAssemble::Release();
    }
}

ReaderSession::Opened ReaderSession::Open(std::optional<enumAssetFrom> eafWanted, std::string* pstrError)
{
    // Asked first, because the assemble object can't tell a missing section from one without sources.
    VOTSFileMappingInspector probe(AF_SOURCE);
    const ErrorType eState = probe.OpenMappingState();
    probe.CloseMapping();
    if (eState != Inspector::ET_NONE)
    {
        AssetNodeUpdateState state;
        bool bMissing = false;
        if (LoadState(&state, &bMissing, pstrError))
        {
            *pstrError = ErrorText(eState);
        }
        return bMissing ? Opened::NothingPublished : Opened::Failed;
    }

    m_pAssemble = VOTSFileMappingAssemble::Instance();
    for (const enumAssetFrom eaf : AllSources())
    {
        if (m_pAssemble->IsAssetTypeEnable(eaf) == 0 || (eafWanted && *eafWanted != eaf))
        {
            continue;
        }
        const Opened eOpened = _OpenSource(eaf, pstrError);
        if (eOpened != Opened::Yes)
        {
            return eOpened;
        }
    }
    if (m_vecSources.empty())
    {
        *pstrError = eafWanted ? fmt::format("{} isn't published", SourceName(*eafWanted)) : kNothingPublished;
        return Opened::NothingPublished;
    }
    return Opened::Yes;
}

ReaderSession::Opened ReaderSession::_OpenSource(enumAssetFrom eaf, std::string* pstrError)
{
    VOTSFileMappingInspector* pInspector = m_pAssemble->GetFileMappingInspector(eaf);
    ErrorType eError = pInspector->OpenMappingState();
    if (eError == Inspector::ET_NONE)
    {
        eError = pInspector->OpenMappingData();
    }
    // A source that went away since the assemble object was made is none of the published ones.
    if (eError == Inspector::ET_SOURCE_DISABLED)
    {
        return Opened::Yes;
    }
    if (eError == Inspector::ET_NONE)
    {
        eError = pInspector->LastErrorTypeASync();
    }
    if (eError != Inspector::ET_NONE)
    {
        *pstrError = fmt::format("{}: {}", SourceName(eaf), ErrorText(eError));
        return Opened::Failed;
    }
    m_vecSources.emplace_back(eaf, pInspector);
    return Opened::Yes;
}

std::vector<ReaderSession::Found> ReaderSession::FindOrComplain(const std::string& strArgument) const
{
    std::vector<Found> vecFound;
    for (const ReaderSource& source : m_vecSources)
    {
        if (const std::optional<structAssetNode> node = source.FindArgument(strArgument))
        {
            vecFound.push_back({source, *node});
        }
    }
    if (vecFound.empty())
    {
        Complain(fmt::format("{}: not in the index", strArgument));
    }
    return vecFound;
}

bool OpenOrComplain(std::optional<enumAssetFrom> eafWanted, ReaderSession* pSession)
{
    std::string strError;
    if (pSession->Open(eafWanted, &strError) != ReaderSession::Opened::Yes)
    {
        Complain(strError);
        return false;
    }
    return true;
}

int Finish(bool bFound, Output* pOutput)
{
    pOutput->Flush();
    const std::string strDamage = FirstLibraryError();
    if (!strDamage.empty())
    {
        return EndWith(fmt::format("the published index is damaged: {}", strDamage));
    }
    return pOutput->Finish(bFound ? kExitFound : kExitNotFound);
}

}  // namespace lum

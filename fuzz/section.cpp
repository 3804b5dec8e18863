#include <algorithm>

#include "fuzz/asset_queries.h"
#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "platform/vo_section_publisher.h"
#include "vots_file_mapping.h"

using LUMTrayService::AF_SOURCE;
using LUMTrayService::AF_TARGET;
using LUMTrayService::enumAssetFrom;
using LUMTrayService::structAssetNode;
using namespace LUMTrayService::Inspector;

namespace
{
constexpr char kszVersion[12] = FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION;

// The sections, which are made once and filled anew for each input, and a reader that keeps the update state section
// open, as tools do. The second source's section is too short for most.
class Stage
{
public:
    Stage() : m_akReader{VOTSFileMappingInspector(AF_SOURCE), VOTSFileMappingInspector(AF_TARGET)}
    {
        FUZZ_REQUIRE(
            m_kState.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, std::string(kStateSize, 0).data(), kStateSize));
        FUZZ_REQUIRE(
            m_akData[0].Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE), std::string(kLong, 0).data(), kLong));
        FUZZ_REQUIRE(
            m_akData[1].Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_TARGET), std::string(kShort, 0).data(), kShort));
        Empty();
        for (VOTSFileMappingInspector& rkReader : m_akReader)
        {
            FUZZ_REQUIRE(rkReader.OpenMappingState() == ET_NONE);
        }
    }

    ~Stage()
    {
        for (VOTSFileMappingInspector& rkReader : m_akReader)
        {
            rkReader.CloseMapping();
        }
    }

    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    AssetNodeUpdateState& State() const { return *static_cast<AssetNodeUpdateState*>(m_kState.Data()); }
    VOTSFileMappingInspector& Reader(enumAssetFrom eaf) { return m_akReader[eaf == AF_SOURCE ? 0 : 1]; }

    void Put(enumAssetFrom eaf, FuzzBytes kData)
    {
        VOPublishedSection& rkSection = m_akData[eaf == AF_SOURCE ? 0 : 1];
        m_pbUsed = static_cast<uint8_t*>(rkSection.Data());
        m_uUsed = std::min(kData.Size(), rkSection.Size());
        std::copy(kData.Data(), kData.Data() + m_uUsed, m_pbUsed);
        // A claim below 4 GiB is allocated, so here it stays small; a larger one is taken as it is.
        if (m_uUsed >= sizeof(uint64_t))
        {
            const uint64_t ullClaimed = VOLoad<uint64_t>(m_pbUsed);
            VOStore(m_pbUsed, ullClaimed >> 32 == 0 ? ullClaimed & 0x3FFF : ullClaimed);
        }
    }

    // As it was at the start: nothing of one input is left for the next one.
    void Empty()
    {
        std::fill_n(m_pbUsed, m_uUsed, uint8_t{0});
        m_uUsed = 0;
        State() = {};
        std::copy(std::begin(kszVersion), std::end(kszVersion), State().szVersion);
    }

private:
    static constexpr size_t kStateSize = sizeof(AssetNodeUpdateState);
    static constexpr size_t kLong = 4096;
    static constexpr size_t kShort = 40;

    VOPublishedSection m_kState;
    VOPublishedSection m_akData[2];
    VOTSFileMappingInspector m_akReader[2];
    uint8_t* m_pbUsed = nullptr;
    size_t m_uUsed = 0;
};

void AskNode(const VOTSFileMappingInspector& rkReader, unsigned int uID)
{
    structAssetNode tsNode;
    std::vector<unsigned int> vecChild;
    VOWCHAR szPath[MAX_PATH];
    FUZZ_REQUIRE(rkReader.GetAssetNode(uID, tsNode) != 0);
    FUZZ_REQUIRE(rkReader.GetAssetChildIndexList(uID, 3, vecChild) != 0);
    FUZZ_REQUIRE(rkReader.GetAssetChildCount(uID, 3) == vecChild.size());
    for (const NodeType eType : {NT_FILE, NT_FOLDER})
    {
        unsigned int uChild = 0;
        (void)rkReader.GetAssetIndexOfParent(uID, eType);
        FUZZ_REQUIRE(rkReader.GetAssetChildByIndex(uID, 0, eType, uChild) != 0);
    }
    if (rkReader.GetAssetPath(uID, MAX_PATH, szPath) != 0)
    {
        FuzzLength(szPath, MAX_PATH);
        (void)rkReader.GetAssetNode(szPath, tsNode);
    }
    FuzzWalk kWalk;
    FUZZ_REQUIRE(rkReader.TraverseAssetNode(uID, 3, 1, &FuzzWalk::Visit, &kWalk) == 1);
    // A walk that filters can't be stopped by what it leaves out.
    if (kWalk.IsWhole())
    {
        FuzzWalk kMerge;
        FuzzWalk kName;
        FuzzWalk kExtension;
        (void)rkReader.TraverseAssetNode_AssetMerge(uID, ~0u, 1, &FuzzWalk::Visit, &kMerge);
        (void)rkReader.TraverseAssetNode_FileName(uID, VOTEXT("a"), 0, 3, 1, &FuzzWalk::Visit, &kName);
        (void)rkReader.TraverseAssetNode_Extension(uID, VOTEXT("b|c"), 1, 1, &FuzzWalk::Visit, &kExtension);
        FUZZ_REQUIRE(std::max({kMerge.Visits(), kName.Visits(), kExtension.Visits()}) <= kWalk.Visits());
    }
}

void AskAll(const VOTSFileMappingInspector& rkReader)
{
    structAssetNode tsNode;
    int nType = 0;
    std::vector<VOWString> vecExtension;
    const unsigned int uCount = rkReader.GetAssetNodeCount();
    for (unsigned int uID = 0; uID < std::min(uCount, 16u); ++uID)
    {
        AskNode(rkReader, uID);
    }
    FUZZ_REQUIRE(rkReader.GetAssetNode(uCount, tsNode) == 0);
    (void)rkReader.GetAssetNode(VOTEXT("d/a.b"), tsNode);
    (void)FuzzText(rkReader.GetAssetRootPath());
    (void)FuzzText(rkReader.GetAssetRootName());
    (void)rkReader.GetClassifyTypeByName(VOTEXT("T"), nType);
    (void)rkReader.GetClassifyExtension(7, vecExtension);
}

void Load(VOTSFileMappingInspector& rkReader, const AssetNodeStateInfo& rkInfo)
{
    const unsigned int uReaders = rkInfo.uReaderCount;
    const ErrorType eResult = rkReader.OpenMappingData();
    FUZZ_REQUIRE(rkInfo.uReaderCount == uReaders);
    FUZZ_REQUIRE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE || eResult == ET_SOURCE_DISABLED);
    FUZZ_REQUIRE(eResult == ET_NONE || rkReader.GetAssetNodeCount() == 0);
    AskAll(rkReader);
    if (rkInfo.uUpdateCount != 0)
    {
        FUZZ_REQUIRE((eResult == ET_NONE) == (rkReader.LastErrorType() == ET_NONE));
        const unsigned int uCount = rkReader.GetAssetNodeCount();
        FUZZ_REQUIRE(rkReader.ReMappingData() == eResult && rkReader.GetAssetNodeCount() == uCount);
        FUZZ_REQUIRE(rkInfo.uReaderCount == uReaders);
    }
}

// A tool that comes now, as a whole.
void LoadAsNewTool(enumAssetFrom eaf)
{
    VOTSFileMappingAssemble* const pkAssemble = VOTSFileMappingAssemble::Instance();
    if (pkAssemble->OpenMappingState() == ET_NONE && pkAssemble->OpenMappingData() == ET_NONE)
    {
        structAssetNode tsNode;
        std::vector<VOTSFileMappingInspector*> vecFound;
        (void)pkAssemble->GetAssetNode(tsNode, VOTEXT("d"), LUMTrayService::AF_ERROR, &vecFound);
        (void)pkAssemble->GetAssetNode(tsNode, VOTEXT("d/a"), eaf, nullptr);
        (void)pkAssemble->ReMappingData();
        (void)pkAssemble->LastErrorType();
        FUZZ_REQUIRE(vecFound.size() <= 1);
    }
    VOTSFileMappingAssemble::Release();
}
}  // namespace

// The first byte says which source's section is filled, whether a new tool comes as well, and whether it finds another
// version. The record of the update state section follows, then the data section.
void FuzzSection(const uint8_t* pbData, size_t uSize)
{
    static Stage s_kStage;
    FuzzBytes kInput(pbData, uSize);
    const uint8_t uFlags = kInput.Byte();
    const enumAssetFrom eaf = (uFlags & 1) != 0 ? AF_TARGET : AF_SOURCE;
    AssetNodeStateInfo& rkInfo = s_kStage.State().arrStateInfo[eaf];
    rkInfo.bEnable = kInput.Word();
    rkInfo.uUpdateCount = kInput.Word();
    rkInfo.uReaderCount = kInput.Word();
    s_kStage.Put(eaf, kInput);
    Load(s_kStage.Reader(eaf), rkInfo);
    if ((uFlags & 2) != 0)
    {
        s_kStage.State().szVersion[uFlags % 12] ^= static_cast<char>(uFlags & 4);
        LoadAsNewTool(eaf);
    }
    // A reader that finds its source disabled lets go of what it has.
    s_kStage.Empty();
    FUZZ_REQUIRE(s_kStage.Reader(eaf).ReMappingData() == ET_SOURCE_DISABLED);
}

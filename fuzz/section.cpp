#include <algorithm>

#include "fuzz/inspector_queries.h"
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
            m_state.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, std::string(kStateSize, 0).data(), kStateSize));
        FUZZ_REQUIRE(
            m_akData[0].Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE), std::string(kLong, 0).data(), kLong));
        FUZZ_REQUIRE(
            m_akData[1].Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_TARGET), std::string(kShort, 0).data(), kShort));
        Empty();
        for (VOTSFileMappingInspector& reader : m_akReader)
        {
            FUZZ_REQUIRE(reader.OpenMappingState() == ET_NONE);
        }
    }

    ~Stage()
    {
        for (VOTSFileMappingInspector& reader : m_akReader)
        {
            reader.CloseMapping();
        }
    }

    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    AssetNodeUpdateState& State() const { return *static_cast<AssetNodeUpdateState*>(m_state.Data()); }
    VOTSFileMappingInspector& Reader(enumAssetFrom eaf) { return m_akReader[eaf == AF_SOURCE ? 0 : 1]; }

    void Put(enumAssetFrom eaf, FuzzBytes data)
    {
        VOPublishedSection& section = m_akData[eaf == AF_SOURCE ? 0 : 1];
        m_pbUsed = static_cast<uint8_t*>(section.Data());
        m_uUsed = std::min(data.Size(), section.Size());
        std::copy(data.Data(), data.Data() + m_uUsed, m_pbUsed);
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

    VOPublishedSection m_state;
    VOPublishedSection m_akData[2];
    VOTSFileMappingInspector m_akReader[2];
    uint8_t* m_pbUsed = nullptr;
    size_t m_uUsed = 0;
};

void Load(VOTSFileMappingInspector& reader, const AssetNodeStateInfo& about)
{
    const unsigned int uReaders = about.uReaderCount;
    const ErrorType eResult = reader.OpenMappingData();
    FUZZ_REQUIRE(about.uReaderCount == uReaders);
    FUZZ_REQUIRE(eResult == ET_NONE || eResult == ET_DATA_UNAVAILABLE || eResult == ET_SOURCE_DISABLED);
    FUZZ_REQUIRE(eResult == ET_NONE || reader.GetAssetNodeCount() == 0);
    FuzzAskAll(reader);
    if (about.uUpdateCount != 0)
    {
        FUZZ_REQUIRE((eResult == ET_NONE) == (reader.LastErrorType() == ET_NONE));
        const unsigned int uCount = reader.GetAssetNodeCount();
        FUZZ_REQUIRE(reader.ReMappingData() == eResult && reader.GetAssetNodeCount() == uCount);
        FUZZ_REQUIRE(about.uReaderCount == uReaders);
    }
}

// A tool that comes now, as a whole.
void LoadAsNewTool(enumAssetFrom eaf)
{
    VOTSFileMappingAssemble* const pAssemble = VOTSFileMappingAssemble::Instance();
    if (pAssemble->OpenMappingState() == ET_NONE && pAssemble->OpenMappingData() == ET_NONE)
    {
        structAssetNode tsNode;
        std::vector<VOTSFileMappingInspector*> vecFound;
        (void)pAssemble->GetAssetNode(tsNode, VOTEXT("d"), LUMTrayService::AF_ERROR, &vecFound);
        (void)pAssemble->GetAssetNode(tsNode, VOTEXT("d/a"), eaf, nullptr);
        (void)pAssemble->ReMappingData();
        (void)pAssemble->LastErrorType();
        FUZZ_REQUIRE(vecFound.size() <= 1);
    }
    VOTSFileMappingAssemble::Release();
}
}  // namespace

// The first byte says which source's section is filled, whether a new tool comes as well, and whether it finds another
// version. The record of the update state section follows, then the data section.
void FuzzSection(const uint8_t* pbData, size_t uSize)
{
    static Stage s_stage;
    FuzzBytes input(pbData, uSize);
    const uint8_t uFlags = input.Byte();
    const enumAssetFrom eaf = (uFlags & 1) != 0 ? AF_TARGET : AF_SOURCE;
    AssetNodeStateInfo& about = s_stage.State().arrStateInfo[eaf];
    about.bEnable = input.Word();
    about.uUpdateCount = input.Word();
    about.uReaderCount = input.Word();
    s_stage.Put(eaf, input);
    Load(s_stage.Reader(eaf), about);
    if ((uFlags & 2) != 0)
    {
        s_stage.State().szVersion[uFlags % 12] ^= static_cast<char>(uFlags & 4);
        LoadAsNewTool(eaf);
    }
    // A reader that finds its source disabled lets go of what it has.
    s_stage.Empty();
    FUZZ_REQUIRE(s_stage.Reader(eaf).ReMappingData() == ET_SOURCE_DISABLED);
}

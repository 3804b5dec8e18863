#include <algorithm>

#include "fuzz/inspector_queries.h"
#include "fuzz/targets.h"
#include "platform/vo_section_publisher.h"

using LUMTrayService::AF_SOURCE;
using namespace LUMTrayService::Inspector;

namespace
{
constexpr char kszStateVersion[12] = FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION;
constexpr const VOWCHAR* kpszRoad = VOTEXT("vo_fileMappingAssetNodeRoad");
constexpr size_t kHead = 168;  // and its check value
constexpr size_t kBase = 512 * 1024;
constexpr size_t kLog = 16384;
constexpr size_t kMostAtOnce = 8192;

// CRC-32, so that what is damaged gets behind the first check.
uint32_t CheckOf(const std::string& strBytes, size_t uFrom)
{
    uint32_t uCheck = ~0u;
    for (size_t i = uFrom; i < strBytes.size(); ++i)
    {
        uCheck ^= static_cast<uint8_t>(strBytes[i]);
        for (int nBit = 0; nBit < 8; ++nBit)
        {
            uCheck = (uCheck >> 1) ^ ((uCheck & 1) != 0 ? 0xEDB88320u : 0);
        }
    }
    return ~uCheck;
}

template <typename T>
void PutAt(std::string* pstrBytes, size_t uAt, T value)
{
    memcpy(pstrBytes->data() + uAt, &value, sizeof(value));
}

VOWString NameOf(const char* pszPart, uint64_t ullGeneration)
{
    VOWString strName = ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE);
    for (; *pszPart != 0; ++pszPart)
    {
        strName += static_cast<VOWCHAR>(*pszPart);
    }
    for (int nShift = 60; nShift >= 0; nShift -= 4)
    {
        strName += static_cast<VOWCHAR>("0123456789ABCDEF"[(ullGeneration >> nShift) & 15]);
    }
    return strName;
}

// A base as the input has it: its head, and stretches of what follows, which is zero otherwise.
std::string BaseOf(FuzzBytes* pInput, uint64_t ullGeneration)
{
    std::string strBase(kBase, 0);
    const auto Fill = [&](size_t uAt, FuzzBytes bytes)
    {
        if (!bytes.Empty())
        {
            memcpy(strBase.data() + uAt, bytes.Data(), std::min(bytes.Size(), kBase - uAt));
        }
    };
    Fill(0, pInput->Take(kHead));
    PutAt(&strBase, 8, ullGeneration);
    PutAt(&strBase, kHead, CheckOf(strBase.substr(0, kHead), 0));
    while (pInput->Byte() != 0)
    {
        const size_t uAt = pInput->Word() % kBase;
        Fill(uAt, pInput->Take(pInput->Word() % kMostAtOnce));
    }
    return strBase;
}

// A log, each record with the head that it needs to be looked into.
std::string LogOf(FuzzBytes* pInput, uint64_t ullGeneration)
{
    std::string strLog(64, 0);
    memcpy(strLog.data(), "patch.10", 8);
    PutAt(&strLog, 8, ullGeneration);
    PutAt(&strLog, 16, uint64_t{kLog});
    while (!pInput->Empty() && strLog.size() < kLog / 2)
    {
        const uint32_t uKind = pInput->Byte() % 4;
        const FuzzBytes content = pInput->Take(pInput->Word() % kMostAtOnce);
        std::string strRecord(16, 0);
        strRecord.append(reinterpret_cast<const char*>(content.Data()), content.Size());
        strRecord.resize((strRecord.size() + 7) / 8 * 8);
        PutAt(&strRecord, 0, static_cast<uint32_t>(strRecord.size()));
        PutAt(&strRecord, 8, uKind);
        PutAt(&strRecord, 4, CheckOf(strRecord, 8));
        strLog += strRecord;
    }
    return strLog;
}

// The state sections of both roads, which stay, and a reader that keeps them open.
class RoadStage
{
public:
    RoadStage() : m_reader(AF_SOURCE)
    {
        AssetNodeUpdateState state = {};
        memcpy(state.szVersion, kszStateVersion, sizeof(kszStateVersion));
        state.arrStateInfo[AF_SOURCE].bEnable = 1;
        state.arrStateInfo[AF_SOURCE].uUpdateCount = 1;
        FUZZ_REQUIRE(m_state.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, &state, sizeof(state)));
        std::string strRoad(704, 0);
        memcpy(strRoad.data(), "road.1.0", 8);
        PutAt(&strRoad, 64 + 64 * AF_SOURCE + 44, uint32_t{1});
        FUZZ_REQUIRE(m_road.Replace(kpszRoad, strRoad.data(), strRoad.size()));
        FUZZ_REQUIRE(m_reader.OpenMappingState() == ET_NONE);
    }
    ~RoadStage() { m_reader.CloseMapping(); }
    RoadStage(const RoadStage&) = delete;
    RoadStage& operator=(const RoadStage&) = delete;

    void Play(FuzzBytes input)
    {
        VOInstanceLock lock;
        FUZZ_REQUIRE(lock.TryAcquire(kpszRoad) == VOInstanceLock::Result::Acquired);
        VOPublishedSection base;
        VOPublishedSection log;
        const bool bLater = (input.Byte() & 1) != 0;
        ++m_ullGeneration;
        const std::string strBase = BaseOf(&input, m_ullGeneration);
        std::string strLog = LogOf(&input, m_ullGeneration);
        const uint64_t ullWritten = strLog.size();
        strLog.resize(kLog);
        FUZZ_REQUIRE(base.Replace(NameOf("~base", m_ullGeneration).c_str(), strBase.data(), strBase.size()));
        FUZZ_REQUIRE(log.Replace(NameOf("~log", m_ullGeneration).c_str(), strLog.data(), strLog.size()));
        _SetRoad(m_ullGeneration, bLater ? 64 : ullWritten);
        (void)m_reader.ReMappingData();
        FuzzAskAll(m_reader);
        if (bLater)
        {
            // The same records as changes of what is mapped.
            _SetRoad(m_ullGeneration, ullWritten);
            (void)m_reader.ReMappingData();
            FuzzAskAll(m_reader);
        }
        _SetRoad(0, 0);
        (void)m_reader.ReMappingData();
        FUZZ_REQUIRE(m_reader.GetAssetNodeCount() == 0);
        base.Withdraw();
        log.Withdraw();
    }

private:
    void _SetRoad(uint64_t ullGeneration, uint64_t ullWritten)
    {
        unsigned char* const pbSource = static_cast<unsigned char*>(m_road.Data()) + 64 + 64 * AF_SOURCE;
        memcpy(pbSource, &ullGeneration, sizeof(ullGeneration));
        memcpy(pbSource + 8, &ullWritten, sizeof(ullWritten));
    }

    VOPublishedSection m_state;
    VOPublishedSection m_road;
    VOTSFileMappingInspector m_reader;
    uint64_t m_ullGeneration = 0;
};
}  // namespace

// The first byte says whether the log is read with the base or behind it. The base's head follows, without its check
// value; stretches of the base, each a byte that isn't 0, its offset and its length; a byte that is 0; and records: a
// kind, a length, the content.
void FuzzRoad(const uint8_t* pbData, size_t uSize)
{
    static RoadStage s_stage;
    s_stage.Play(FuzzBytes(pbData, uSize));
}

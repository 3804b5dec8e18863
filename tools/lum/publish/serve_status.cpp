#include "publish/serve_status.h"

#include <string.h>

#include <iterator>

#include "platform/vo_process.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr char kVersion[8] = "lum.3";

constexpr size_t kWords = sizeof(SourceStatus) / sizeof(unsigned long long);

}  // namespace

ServeStatusSection::~ServeStatusSection()
{
    m_section.Withdraw();
}

void ServeStatusSection::Open(bool bFollows)
{
    ServeStatus status = {};
    memcpy(status.szVersion, kVersion, sizeof(kVersion));
    status.uProcessId = VOProcessId();
    status.uFollows = bFollows ? 1 : 0;
    m_section.Replace(LUM_SERVE_STATUS_NAME, &status, sizeof(status));
}

// Word by word: a reader may see numbers of two moments beside each other, and never half a number.
void ServeStatusSection::Set(enumAssetFrom eaf, const SourceStatus& status)
{
    if (m_section.Data() == nullptr)
    {
        return;
    }
    unsigned long long aullWords[kWords];
    memcpy(aullWords, &status, sizeof(aullWords));
    unsigned long long* const pullTo =
        reinterpret_cast<unsigned long long*>(&static_cast<ServeStatus*>(m_section.Data())->akSources[eaf]);
    VOStoreWords(pullTo, aullWords, kWords);
}

bool ReadServeStatus(ServeStatus* pStatus)
{
    const VOSectionView section(LUM_SERVE_STATUS_NAME, FILE_MAP_READ);
    if (section.Size() < sizeof(ServeStatus) || !section.BeginsWith(kVersion))
    {
        return false;
    }
    unsigned long long aullWords[sizeof(ServeStatus) / sizeof(unsigned long long)];
    VOLoadWords(aullWords, static_cast<const unsigned long long*>(section.Data()), std::size(aullWords));
    memcpy(static_cast<void*>(pStatus), aullWords, sizeof(*pStatus));
    return true;
}

}  // namespace lum

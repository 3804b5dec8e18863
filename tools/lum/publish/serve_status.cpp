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

constexpr char kVersion[8] = "lum.2";

constexpr size_t kWords = sizeof(SourceStatus) / sizeof(unsigned long long);

}  // namespace

ServeStatusSection::~ServeStatusSection()
{
    m_kSection.Withdraw();
}

void ServeStatusSection::Open(bool bFollows)
{
    ServeStatus kStatus = {};
    memcpy(kStatus.szVersion, kVersion, sizeof(kVersion));
    kStatus.uProcessId = VOProcessId();
    kStatus.uFollows = bFollows ? 1 : 0;
    m_kSection.Replace(LUM_SERVE_STATUS_NAME, &kStatus, sizeof(kStatus));
}

// Word by word: a reader may see numbers of two moments beside each other, and never half a number.
void ServeStatusSection::Set(enumAssetFrom eaf, const SourceStatus& kStatus)
{
    if (m_kSection.Data() == nullptr)
    {
        return;
    }
    unsigned long long aullWords[kWords];
    memcpy(aullWords, &kStatus, sizeof(aullWords));
    unsigned long long* const pullTo =
        reinterpret_cast<unsigned long long*>(&static_cast<ServeStatus*>(m_kSection.Data())->akSources[eaf]);
    VOStoreWords(pullTo, aullWords, kWords);
}

bool ReadServeStatus(ServeStatus* pkStatus)
{
    const VOSectionView kSection(LUM_SERVE_STATUS_NAME, FILE_MAP_READ);
    if (kSection.Size() < sizeof(ServeStatus) || !kSection.BeginsWith(kVersion))
    {
        return false;
    }
    unsigned long long aullWords[sizeof(ServeStatus) / sizeof(unsigned long long)];
    VOLoadWords(aullWords, static_cast<const unsigned long long*>(kSection.Data()), std::size(aullWords));
    memcpy(static_cast<void*>(pkStatus), aullWords, sizeof(*pkStatus));
    return true;
}

}  // namespace lum

#include "publish/option_publisher.h"

#include <fmt/format.h>

#include "platform/vo_platform.h"

namespace lum
{

bool OptionPublisher::Publish(const VOPublicOptionRecord& kRecord, std::string* pstrError)
{
    if (!m_kSection.Replace(kVOPublicOptionSection, &kRecord, sizeof(kRecord)))
    {
        *pstrError = fmt::format("the section of the public options can't be made (system error {})", GetLastError());
        return false;
    }
    return true;
}

void OptionPublisher::Withdraw()
{
    m_kSection.Withdraw();
}

}  // namespace lum

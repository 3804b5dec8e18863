// The writing side of the public options.
#pragma once

#include <string>

#include "platform/vo_section_publisher.h"
#include "vo_public_option.h"

namespace lum
{

// Publishes one record; the end of the object withdraws it.
class OptionPublisher
{
public:
    // Puts the record up whole, in place of one that is published already. False with a message; nothing is changed
    // then.
    bool Publish(const VOPublicOptionRecord& kRecord, std::string* pstrError);

    void Withdraw();

private:
    VOPublishedSection m_kSection;
};

}  // namespace lum

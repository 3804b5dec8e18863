#include <string.h>

#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "platform/vo_section_publisher.h"
#include "vo_public_option.h"

// The first byte says what goes in front of the others: the version, and a demanded key.
void FuzzOptionSection(const uint8_t* pbData, size_t uSize)
{
    if (uSize < 2)
    {
        return;
    }
    std::string strSection(reinterpret_cast<const char*>(pbData + 1), uSize - 1);
    if ((pbData[0] & 1) != 0)
    {
        strSection = std::string("version.0.4\0", 12) + strSection;
    }
    if ((pbData[0] & 2) != 0 && strSection.size() < 1536)
    {
        strSection.resize(1536, static_cast<char>(pbData[1]));
    }
    VOPublishedSection section;
    FUZZ_REQUIRE(section.Replace(kVOPublicOptionSection, strSection.data(), strSection.size()));
    VOPublicOption option;
    if ((pbData[0] & 4) != 0)
    {
        option.SetOptionKey("the key");
    }
    option.Sync();
    for (const char* pszText : {option.GetOptionText1(), option.GetOptionText2(), option.GetOptionText3(),
                                option.GetOptionText4(), option.GetOptionText5()})
    {
        FUZZ_REQUIRE(strlen(pszText) < 260);
    }
    FUZZ_REQUIRE(strlen(option.GetOptionText6()) < 100 && strlen(option.GetOptionKey()) < 100);
    FUZZ_REQUIRE((pbData[0] & 4) == 0 || strcmp(option.GetOptionKey(), "the key") == 0);
}

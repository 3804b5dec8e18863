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
    VOPublishedSection kSection;
    FUZZ_REQUIRE(kSection.Replace(kVOPublicOptionSection, strSection.data(), strSection.size()));
    VOPublicOption kOption;
    if ((pbData[0] & 4) != 0)
    {
        kOption.SetOptionKey("the key");
    }
    kOption.Sync();
    for (const char* pszText : {kOption.GetOptionText1(), kOption.GetOptionText2(), kOption.GetOptionText3(),
                                kOption.GetOptionText4(), kOption.GetOptionText5()})
    {
        FUZZ_REQUIRE(strlen(pszText) < 260);
    }
    FUZZ_REQUIRE(strlen(kOption.GetOptionText6()) < 100 && strlen(kOption.GetOptionKey()) < 100);
    FUZZ_REQUIRE((pbData[0] & 4) == 0 || strcmp(kOption.GetOptionKey(), "the key") == 0);
}

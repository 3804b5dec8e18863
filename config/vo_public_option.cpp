#include "vo_public_option.h"

#include <algorithm>

#include "diagnostics/check.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"

namespace
{

// Copies the record word by word: its writer may be at work.
void CopyRecord(VOPublicOptionRecord* pTo, const void* pvView, size_t uViewSize)
{
    constexpr size_t kWords = sizeof(VOPublicOptionRecord) / sizeof(unsigned long long);
    unsigned long long auWord[kWords] = {};
    const unsigned long long* const puView = static_cast<const unsigned long long*>(pvView);  // it begins at a page
    const size_t uWords = std::min(uViewSize / sizeof(unsigned long long), kWords);
    VOLoadWords(auWord, puView, uWords);
    // The rest of a section that is too short, so that its version is seen.
    const size_t uRest = std::min(uViewSize, sizeof(auWord)) - uWords * sizeof(unsigned long long);
    memcpy(reinterpret_cast<unsigned char*>(auWord) + uWords * sizeof(unsigned long long), puView + uWords, uRest);
    memcpy(pTo, auWord, sizeof(auWord));
}

template <size_t uSize>
void Terminate(char (&szText)[uSize])
{
    szText[uSize - 1] = 0;
}

// A text that its writer didn't terminate ends with its field.
void TerminateTexts(VOPublicOptionRecord* pRecord)
{
    Terminate(pRecord->szOptionKey);
    Terminate(pRecord->szOptionText1);
    Terminate(pRecord->szOptionText2);
    Terminate(pRecord->szOptionText3);
    Terminate(pRecord->szOptionText4);
    Terminate(pRecord->szOptionText5);
    Terminate(pRecord->szOptionText6);
}

}  // namespace

IVOPublicOption::~IVOPublicOption() = default;

VOPublicOption::VOPublicOption() : m_kOption() {}
VOPublicOption::~VOPublicOption() = default;

void VOPublicOption::Sync()
{
    VOPublicOptionRecord published;
    VOSectionView section;
    if (section.OpenHandle(kVOPublicOptionSection, FILE_MAP_READ) == nullptr)
    {
        return;
    }
    if (!VO_STEP_AS("pOptionMemory", section.Map()))
    {
        return;
    }
    CopyRecord(&published, section.Data(), section.Size());
    const bool bVersion = strncmp(published.szVersion, kszVOPublicOptionVersion, sizeof(published.szVersion)) == 0;
    const bool bKey = m_kOption.szOptionKey[0] == 0 ||
                      strncmp(published.szOptionKey, m_kOption.szOptionKey, sizeof(published.szOptionKey)) == 0;
    // Of its size a whole section traces nothing.
    if (VO_STEP_OR_FALSE(bVersion) && VO_STEP_OR_FALSE(bKey) &&
        (section.Size() >= sizeof(published) || VO_STEP_AS("uViewSize >= sizeof(kPublished)", false)))
    {
        TerminateTexts(&published);
        m_kOption = published;
    }
}

int VOPublicOption::SetOptionKey(const char* pszKey)
{
    strcpy_s(m_kOption.szOptionKey, sizeof(m_kOption.szOptionKey), pszKey != nullptr ? pszKey : "");
    return 1;
}

const char* VOPublicOption::GetOptionKey()
{
    return m_kOption.szOptionKey;
}

const char* VOPublicOption::GetOptionText1()
{
    return m_kOption.szOptionText1;
}

const char* VOPublicOption::GetOptionText2()
{
    return m_kOption.szOptionText2;
}

const char* VOPublicOption::GetOptionText3()
{
    return m_kOption.szOptionText3;
}

int VOPublicOption::GetOptionValue1()
{
    return m_kOption.nOptionValue1;
}

int VOPublicOption::GetOptionValue2()
{
    return m_kOption.nOptionValue2;
}

const char* VOPublicOption::GetOptionText4()
{
    return m_kOption.szOptionText4;
}

const char* VOPublicOption::GetOptionText5()
{
    return m_kOption.szOptionText5;
}

const char* VOPublicOption::GetOptionText6()
{
    return m_kOption.szOptionText6;
}

long long VOPublicOption::GetOptionValue3()
{
    return m_kOption.nOptionValue3;
}

long long VOPublicOption::GetOptionValue4()
{
    return m_kOption.nOptionValue4;
}

// The first use is the object's making, so that racing first calls look once and all see what was found.
IVOPublicOption* GetPublicOption()
{
    static VOPublicOption* const s_pkOption = []
    {
        VOPublicOption* const pOption = new VOPublicOption;
        pOption->Sync();
        return pOption;
    }();
    return s_pkOption;
}

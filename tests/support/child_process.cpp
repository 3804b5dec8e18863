#include "support/child_process.h"

#include "platform/vo_process.h"

namespace votest
{
ControlWords::ControlWords(const VOWCHAR* pszName)
{
    m_section.OpenOrCreate(pszName, 64);
}

bool ControlWords::WaitFor(unsigned int uWord, unsigned int uValue)
{
    for (int nStep = 0; nStep < 60000; ++nStep)
    {
        if (Get(uWord) == uValue)
        {
            return true;
        }
        VOSleepMilliseconds(1);
    }
    return false;
}
}  // namespace votest

// Shows the options that a process has published:   public_options [KEY]
#include <stdio.h>

#include "vobase.h"

int main(int nCount, char** ppszArguments)
{
    // The first call looks at the section once.
    IVOPublicOption* const pOption = GetPublicOption();
    if (nCount > 1)
    {
        // Only a section with this key is taken from now on.
        pOption->SetOptionKey(ppszArguments[1]);
        pOption->Sync();
    }
    printf("key    %s\n", pOption->GetOptionKey());
    printf("text1  %s\n", pOption->GetOptionText1());
    printf("text2  %s\n", pOption->GetOptionText2());
    printf("text3  %s\n", pOption->GetOptionText3());
    printf("text4  %s\n", pOption->GetOptionText4());
    printf("text5  %s\n", pOption->GetOptionText5());
    printf("text6  %s\n", pOption->GetOptionText6());
    printf("value1 %d\n", pOption->GetOptionValue1());
    printf("value2 %d\n", pOption->GetOptionValue2());
    printf("value3 %lld\n", pOption->GetOptionValue3());
    printf("value4 %lld\n", pOption->GetOptionValue4());
    return 0;
}

// Shows the options that a process has published:   public_options [KEY]
#include <stdio.h>

#include "vobase.h"

int main(int nCount, char** ppszArguments)
{
    // The first call looks at the section once.
    IVOPublicOption* const pkOption = GetPublicOption();
    if (nCount > 1)
    {
        // Only a section with this key is taken from now on.
        pkOption->SetOptionKey(ppszArguments[1]);
        pkOption->Sync();
    }
    printf("key    %s\n", pkOption->GetOptionKey());
    printf("text1  %s\n", pkOption->GetOptionText1());
    printf("text2  %s\n", pkOption->GetOptionText2());
    printf("text3  %s\n", pkOption->GetOptionText3());
    printf("text4  %s\n", pkOption->GetOptionText4());
    printf("text5  %s\n", pkOption->GetOptionText5());
    printf("text6  %s\n", pkOption->GetOptionText6());
    printf("value1 %d\n", pkOption->GetOptionValue1());
    printf("value2 %d\n", pkOption->GetOptionValue2());
    printf("value3 %lld\n", pkOption->GetOptionValue3());
    printf("value4 %lld\n", pkOption->GetOptionValue4());
    return 0;
}

// The checked formatter for narrow text, against one contract on both systems.
#include "tests/platform/platform_test_support.h"

namespace
{
int Format(char* pszTo, size_t uSize, const char* pszFormat, ...) VO_PRINTF_FORMAT(3, 4);

int Format(char* pszTo, size_t uSize, const char* pszFormat, ...)
{
    va_list arguments;
    va_start(arguments, pszFormat);
    const int nResult = vsprintf_s(pszTo, uSize, pszFormat, arguments);
    va_end(arguments);
    return nResult;
}
}  // namespace

TEST(NarrowFormat, GivesTheLength)
{
    char szText[64];
    EXPECT_EQ(28, Format(szText, sizeof(szText), "VO_ERROR(%s) at line %d in", "expr", 42));
    EXPECT_STREQ("VO_ERROR(expr) at line 42 in", szText);
}

TEST(NarrowFormat, TakesATextThatJustFits)
{
    char szText[6];
    EXPECT_EQ(5, Format(szText, sizeof(szText), "%s", "12345"));
    EXPECT_STREQ("12345", szText);
}

TEST(NarrowFormat, DeliversNothingOfATextThatDoesNotFit)
{
    const InvalidParameterHandler handler;
    char szText[6] = "#####";
    EXPECT_EQ(-1, Format(szText, sizeof(szText), "%s", "123456"));
    EXPECT_STREQ("", szText);
}

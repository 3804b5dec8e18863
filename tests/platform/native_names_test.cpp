// Names between memory and the system, as far as both systems agree.
#include "platform/vo_text.h"

#include "tests/platform/platform_test_support.h"

TEST(NativeNames, AreUtf8)
{
    EXPECT_EQ("a/\xC3\xA4/\xD0\xB6/\xE2\x82\xAC/\xF0\x9F\x98\x80",
              VOToNativePath(VOTEXT("a/\u00E4/\u0436/\u20AC/\U0001F600")));
    EXPECT_EQ(VOWString(VOTEXT("a/\u00E4/\u0436/\u20AC/\U0001F600")),
              VOFromNative("a/\xC3\xA4/\xD0\xB6/\xE2\x82\xAC/\xF0\x9F\x98\x80"));
}

TEST(NativeNames, ReachFromTheFirstCharacterToTheLast)
{
    EXPECT_EQ("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
              VOToNativePath(VOTEXT("\x7F\x80\u07FF\u0800\uFFFF\U00010000\U0010FFFF")));
    EXPECT_EQ(VOWString(VOTEXT("\x7F\x80\u07FF\u0800\uFFFF\U00010000\U0010FFFF")),
              VOFromNative("\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"));
}

TEST(NativeNames, OfNothingAreEmpty)
{
    EXPECT_EQ("", VOToNativePath(VOWString()));
    EXPECT_EQ(VOWString(), VOFromNative(""));
}

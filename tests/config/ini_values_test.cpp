// Reading values of an INI file.
#include <climits>
#include <cmath>

#include "config/ini_tools.h"

using namespace initest;

TEST(IniValues, ReadBoolIsTheNumberTestedAgainstZero)
{
    Ini ini("[m]\na=true\nb=2\nc=0\nd=-1\ne=1;x\nf=\n");
    EXPECT_EQ(0, ini.ReadBool("m", "a", 1));
    EXPECT_EQ(1, ini.ReadBool("m", "b", 0));
    EXPECT_EQ(0, ini.ReadBool("m", "c", 1));
    EXPECT_EQ(1, ini.ReadBool("m", "d", 0));
    EXPECT_EQ(1, ini.ReadBool("m", "e", 0));
    EXPECT_EQ(0, ini.ReadBool("m", "f", 1));
}

TEST(IniValues, ReadBoolGivesTheDefaultAsZeroOrOne)
{
    Ini ini("[m]\na=1\n");
    EXPECT_EQ(1, ini.ReadBool("m", "none", 5));
    EXPECT_EQ(0, ini.ReadBool("none", "a", 0));
    EXPECT_EQ(1, ini.ReadBool(nullptr, "a", -3));
    EXPECT_EQ(0, ini.ReadBool("m", nullptr, 0));
}

TEST(IniValues, ReadIntTakesWhatIsANumber)
{
    Ini ini("[m]\na=12\nb= -7 apples\nc=0x10\nd=word\ne=99999999999\nf=-99999999999\n");
    EXPECT_EQ(12, ini.ReadInt("m", "a", 3));
    EXPECT_EQ(-7, ini.ReadInt("m", "b", 3));
    EXPECT_EQ(0, ini.ReadInt("m", "c", 3));
    EXPECT_EQ(0, ini.ReadInt("m", "d", 3));
    EXPECT_EQ(INT_MAX, ini.ReadInt("m", "e", 3));
    EXPECT_EQ(INT_MIN, ini.ReadInt("m", "f", 3));
    EXPECT_STREQ("-99999999999", ini.m_szReturnBuffer);
}

TEST(IniValues, ReadIntGivesTheDefaultWhenNothingIsFound)
{
    Ini ini("[m]\na=12\n");
    EXPECT_EQ(INT_MIN, ini.ReadInt("m", "none", INT_MIN));
    EXPECT_EQ(INT_MAX, ini.ReadInt("none", "a", INT_MAX));
    EXPECT_EQ(3, ini.ReadInt(nullptr, "a", 3));
    EXPECT_EQ(3, ini.ReadInt("m", nullptr, 3));
}

TEST(IniValues, ReadDoubleReadsBothNotations)
{
    Ini ini("[m]\na=2.5\nb=-1.25E+02 km\nc=7\n");
    EXPECT_EQ(2.5, ini.ReadDouble("m", "a", 1.0, nullptr));
    EXPECT_EQ(-125.0, ini.ReadDouble("m", "b", 1.0, nullptr));
    EXPECT_EQ(7.0, ini.ReadDouble("m", "c", 1.0, "%f"));
}

TEST(IniValues, TheDefaultOfReadDoubleMakesARoundTripThroughItsFormat)
{
    Ini ini("[m]\n");
    EXPECT_EQ(1.23456789012, ini.ReadDouble("m", "a", 1.23456789012, "%.20lf"));
    EXPECT_EQ(1.2345678901, ini.ReadDouble("m", "a", 1.23456789012345, nullptr));
    EXPECT_EQ(1.2, ini.ReadDouble("m", "a", 1.23456, "%.1lf"));
    EXPECT_EQ(1e300, ini.ReadDouble("m", "a", 1e300, "%lf"));
}

TEST(IniValues, AValueThatIsNoNumberDoesNotFallBackOnTheDefaultOfReadDouble)
{
    Ini ini("[m]\na=word\nb=\n");
    EXPECT_EQ(0.0, ini.ReadDouble("m", "a", 4.0, nullptr));
    EXPECT_EQ(0.0, ini.ReadDouble("m", "b", 4.0, nullptr));
}

TEST(IniValues, ReadStringGivesTheValueInTheReturnBuffer)
{
    Ini ini("[m]\na=one ;x\nb=two\n");
    const char* const pszFirst = ini.ReadString("m", "a", "default");
    EXPECT_EQ(ini.m_szReturnBuffer, pszFirst);
    EXPECT_STREQ("one ", pszFirst);
    EXPECT_EQ(pszFirst, ini.ReadString("m", "b", "default"));
    EXPECT_STREQ("two", pszFirst);
}

TEST(IniValues, ReadStringGivesTheDefaultItselfWhenSomethingIsMissing)
{
    Ini ini("[m]\na=one\n");
    const char szDefault[] = "default";
    EXPECT_EQ(szDefault, ini.ReadString("m", "none", szDefault));
    EXPECT_EQ(szDefault, ini.ReadString("none", "a", szDefault));
    EXPECT_EQ(szDefault, ini.ReadString(nullptr, "a", szDefault));
    EXPECT_EQ(szDefault, ini.ReadString("m", nullptr, szDefault));
    EXPECT_EQ(nullptr, ini.ReadString("m", "a", nullptr));
    EXPECT_STREQ("", ini.m_szReturnBuffer);
}

TEST(IniValues, TheSecondReadStringCutsTerminatesAndFillsWithZeros)
{
    Ini ini("[m]\na=abcdef\n");
    char achValue[8];
    memset(achValue, 'x', sizeof(achValue));
    EXPECT_EQ(1, ini.ReadString("m", "a", "default", achValue, 4));
    EXPECT_EQ(std::string("abc\0xxxx", 8), std::string(achValue, 8));
    EXPECT_EQ(1, ini.ReadString("m", "none", "d", achValue, 8));
    EXPECT_EQ(std::string("d\0\0\0\0\0\0\0", 8), std::string(achValue, 8));
    EXPECT_EQ(1, ini.ReadString(nullptr, "a", "null", achValue, 8));
    EXPECT_STREQ("null", achValue);
    EXPECT_EQ(1, ini.ReadString("m", nullptr, "none", achValue, 8));
    EXPECT_STREQ("none", achValue);
}

TEST(IniValues, TheDefaultOfTheSecondReadStringMayBeItsTarget)
{
    Ini ini("[m]\n");
    char szValue[16] = "kept";
    EXPECT_EQ(1, ini.ReadString("m", "a", szValue, szValue, sizeof(szValue)));
    EXPECT_STREQ("kept", szValue);
}

TEST(IniValues, WithoutATargetTheSecondReadStringStillGives1)
{
    Ini ini("[m]\na=1\n");
    char chValue = 'x';
    EXPECT_EQ(1, ini.ReadString("m", "a", "d", nullptr, 10));
    EXPECT_EQ(1, ini.ReadString("m", "a", "d", &chValue, 0));
    EXPECT_EQ(1, ini.ReadString("m", "a", "d", &chValue, -1));
    EXPECT_EQ('x', chValue);
    EXPECT_EQ(1, ini.ReadString("m", "none", nullptr, &chValue, 1));
    EXPECT_EQ(0, chValue);
}

TEST(IniValues, EveryOperationWorksOnAnObjectWithoutEntries)
{
    Ini ini;
    EXPECT_EQ(4, ini.ReadInt("m", "a", 4));
    EXPECT_EQ(nullptr, ini.FindSection("m"));
    EXPECT_EQ(0, ini.DeleteKey("m", "a"));
    EXPECT_EQ(1, ini.DeleteSection("m"));
    ini.CloseIniFile();
    ini.ClearIniFile();
    ini.FreeAllMem();
    EXPECT_EQ("", ini.Written());
}

#include "utility/reference_des.h"

#include <string>

namespace
{
typedef std::string Bits;  // of '0' and '1', the first one is bit 1

Bits BitsOf(uint64_t ullValue, size_t uCount)
{
    Bits strBits;
    for (size_t i = 0; i < uCount; ++i)
    {
        strBits.push_back((ullValue >> (uCount - 1 - i) & 1) != 0 ? '1' : '0');
    }
    return strBits;
}

uint64_t ValueOf(const Bits& strBits)
{
    uint64_t ullValue = 0;
    for (const char ch : strBits)
    {
        ullValue = ullValue * 2 + (ch == '1' ? 1 : 0);
    }
    return ullValue;
}

// The bits that a table names, written as decimal numbers with blanks between them.
Bits Select(const Bits& strFrom, const char* pszTable)
{
    Bits strResult;
    for (const char* pszAt = pszTable; *pszAt != 0;)
    {
        size_t uNumber = 0;
        for (; *pszAt >= '0' && *pszAt <= '9'; ++pszAt)
        {
            uNumber = uNumber * 10 + static_cast<size_t>(*pszAt - '0');
        }
        strResult.push_back(strFrom.at(uNumber - 1));
        pszAt += *pszAt == ' ' ? 1 : 0;
    }
    return strResult;
}

Bits Xor(const Bits& strFirst, const Bits& strSecond)
{
    Bits strResult;
    for (size_t i = 0; i < strFirst.size(); ++i)
    {
        strResult.push_back(strFirst[i] != strSecond.at(i) ? '1' : '0');
    }
    return strResult;
}

const char* const IP =
    "58 50 42 34 26 18 10 2 60 52 44 36 28 20 12 4 62 54 46 38 30 22 14 6 64 56 48 40 32 24 16 8 "
    "57 49 41 33 25 17 9 1 59 51 43 35 27 19 11 3 61 53 45 37 29 21 13 5 63 55 47 39 31 23 15 7";
const char* const IP_INVERSE =
    "40 8 48 16 56 24 64 32 39 7 47 15 55 23 63 31 38 6 46 14 54 22 62 30 37 5 45 13 53 21 61 29 "
    "36 4 44 12 52 20 60 28 35 3 43 11 51 19 59 27 34 2 42 10 50 18 58 26 33 1 41 9 49 17 57 25";
const char* const E =
    "32 1 2 3 4 5 4 5 6 7 8 9 8 9 10 11 12 13 12 13 14 15 16 17 16 17 18 19 20 21 20 21 22 23 24 25 24 25 26 27 28 29 "
    "28 29 30 31 32 1";
const char* const P = "16 7 20 21 29 12 28 17 1 15 23 26 5 18 31 10 2 8 24 14 32 27 3 9 19 13 30 6 22 11 4 25";
const char* const PC1 =
    "57 49 41 33 25 17 9 1 58 50 42 34 26 18 10 2 59 51 43 35 27 19 11 3 60 52 44 36 "
    "63 55 47 39 31 23 15 7 62 54 46 38 30 22 14 6 61 53 45 37 29 21 13 5 28 20 12 4";
const char* const PC2 =
    "14 17 11 24 1 5 3 28 15 6 21 10 23 19 12 4 26 8 16 7 27 20 13 2 "
    "41 52 31 37 47 55 30 40 51 45 33 48 44 49 39 56 34 53 46 42 50 36 29 32";

// Rows 0 to 3 of each S-box, a hex digit for each column.
const char* const S[8][4] = {
    {"E4D12FB83A6C5907", "0F74E2D1A6CB9538", "41E8D62BFC973A50", "FC8249175B3EA06D"},
    {"F18E6B34972DC05A", "3D47F28EC01A69B5", "0E7BA4D158C6932F", "D8A13F42B67C05E9"},
    {"A09E63F51DC7B428", "D709346A285ECBF1", "D6498F30B12C5AE7", "1AD069874FE3B52C"},
    {"7DE3069A1285BC4F", "D8B56F03472C1AE9", "A690CB7DF13E5284", "3F06A1D8945BC72E"},
    {"2C417AB6853FD0E9", "EB2C47D150FA3986", "421BAD78F9C5630E", "B8C71E2D6F09A453"},
    {"C1AF92680D34E75B", "AF427C9561DE0B38", "9EF528C3704A1DB6", "432C95FABE17608D"},
    {"4B2EF08D3C975A61", "D0B7491AE35C2F86", "14BDC37EAF680592", "6BD814A7950FE23C"},
    {"D2846FB1A93E50C7", "1FD8A374C56B0E92", "7B419CE206ADF358", "21E74A8DFC90356B"},
};

Bits Feistel(const Bits& strHalf, const Bits& strKey)
{
    const Bits strMixed = Xor(Select(strHalf, E), strKey);
    Bits strOut;
    for (size_t uBox = 0; uBox < 8; ++uBox)
    {
        const Bits strSix = strMixed.substr(uBox * 6, 6);
        const uint64_t uRow = ValueOf(Bits{strSix[0], strSix[5]});
        const uint64_t uColumn = ValueOf(strSix.substr(1, 4));
        const char chDigit = S[uBox][uRow][uColumn];
        strOut += BitsOf(static_cast<uint64_t>(chDigit >= 'A' ? chDigit - 'A' + 10 : chDigit - '0'), 4);
    }
    return Select(strOut, P);
}
}  // namespace

uint64_t votest::ReferenceDes(uint64_t ullBlock, uint64_t ullKey, bool bEncrypt)
{
    static const size_t s_auTurns[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};
    const Bits strChosen = Select(BitsOf(ullKey, 64), PC1);
    Bits strC = strChosen.substr(0, 28);
    Bits strD = strChosen.substr(28);
    Bits astrKey[16];
    for (size_t i = 0; i < 16; ++i)
    {
        strC = strC.substr(s_auTurns[i]) + strC.substr(0, s_auTurns[i]);
        strD = strD.substr(s_auTurns[i]) + strD.substr(0, s_auTurns[i]);
        astrKey[i] = Select(strC + strD, PC2);
    }

    const Bits strStart = Select(BitsOf(ullBlock, 64), IP);
    Bits strL = strStart.substr(0, 32);
    Bits strR = strStart.substr(32);
    for (size_t i = 0; i < 16; ++i)
    {
        const Bits strNext = Xor(strL, Feistel(strR, astrKey[bEncrypt ? i : 15 - i]));
        strL = strR;
        strR = strNext;
    }
    return ValueOf(Select(strR + strL, IP_INVERSE));
}

// The fast passes over text, against plain ones.
#include "platform/wide_scan.h"

#include <random>
#include <string>

#include "tests/platform/platform_test_support.h"

namespace
{
struct Folded
{
    VOWString strText;
    bool bColon = false;
};

Folded FoldPlainly(const VOWString& strFrom, unsigned uCapacity, bool bLower)
{
    Folded folded;
    for (size_t uUnit = 0; uUnit < strFrom.size() && uUnit + 1 < uCapacity; ++uUnit)
    {
        VOWCHAR cUnit = strFrom[uUnit];
        folded.bColon = folded.bColon || cUnit == ':';
        if (cUnit == '\\')
        {
            cUnit = '/';
        }
        else if (bLower && cUnit >= 'A' && cUnit <= 'Z')
        {
            cUnit = static_cast<VOWCHAR>(cUnit - 'A' + 'a');
        }
        folded.strText.push_back(cUnit);
    }
    return folded;
}

// Units next to every border that the passes know, and any other ones.
VOWString RandomText(std::mt19937& random, size_t uLength)
{
    static const VOWCHAR s_aUnits[] = {'A',    'Z',    '@',    '[',    'a',    'z',    '`',    '{',
                                       '/',    '\\',   ':',    ';',    '9',    0x0100, 0x0141, 0x3A00,
                                       0x5C00, 0x7FFF, 0x8000, 0xC3C3, 0xFF21, 0xFFFF};
    VOWString strText;
    for (size_t uUnit = 0; uUnit < uLength; ++uUnit)
    {
        const unsigned uChoice = static_cast<unsigned>(random());
        const VOWCHAR cAny = static_cast<VOWCHAR>(1 + (uChoice >> 8) % 0xFFFF);
        strText.push_back(uChoice % 4 == 0 ? cAny : s_aUnits[(uChoice >> 8) % (sizeof(s_aUnits) / sizeof(VOWCHAR))]);
    }
    return strText;
}

testing::AssertionResult AgreesWithAPlainFold(const VOWString& strFrom, unsigned uCapacity, bool bLower,
                                              size_t uFromOffset, size_t uToOffset)
{
    // Exact blocks, so that the address sanitizer sees a unit too many.
    const size_t uFromBytes = (strFrom.size() + 1) * sizeof(VOWCHAR);
    const std::unique_ptr<unsigned char[]> pFrom(new unsigned char[uFromOffset + uFromBytes]);
    memcpy(pFrom.get() + uFromOffset, strFrom.c_str(), uFromBytes);
    const std::unique_ptr<unsigned char[]> pTo(new unsigned char[uToOffset + uCapacity * sizeof(VOWCHAR)]);
    memset(pTo.get(), '#', uToOffset + uCapacity * sizeof(VOWCHAR));
    VOWCHAR* const pszTo = reinterpret_cast<VOWCHAR*>(pTo.get() + uToOffset);

    bool bColon = false;
    const unsigned uLength =
        VOFoldCopy(pszTo, reinterpret_cast<const VOWCHAR*>(pFrom.get() + uFromOffset), uCapacity, bLower, &bColon);
    const Folded expected = FoldPlainly(strFrom, uCapacity, bLower);
    if (uLength != expected.strText.size() || bColon != expected.bColon)
    {
        return testing::AssertionFailure() << uLength << " units and a colon " << bColon << ", expected "
                                           << expected.strText.size() << " and " << expected.bColon;
    }
    VOWString strTo(uLength + 1, VOWCHAR{'#'});
    memcpy(strTo.data(), pTo.get() + uToOffset, strTo.size() * sizeof(VOWCHAR));
    if (strTo != expected.strText + VOWString(1, 0))
    {
        return testing::AssertionFailure() << "another text, or no terminator";
    }

    // Behind the terminator lies what lay there before.
    const size_t uWritten = uToOffset + (uLength + 1) * sizeof(VOWCHAR);
    const unsigned char* const pEnd = pTo.get() + uToOffset + uCapacity * sizeof(VOWCHAR);
    if (std::any_of<const unsigned char*>(pTo.get() + uWritten, pEnd, [](unsigned char b) { return b != '#'; }))
    {
        return testing::AssertionFailure() << "something behind the terminator was written";
    }
    return testing::AssertionSuccess();
}
}  // namespace

TEST(FoldCopy, AgreesWithAPlainCopyForAnyTextAtAnyAddress)
{
    std::mt19937 random(20240117);
    for (unsigned uRound = 0; uRound < 20000; ++uRound)
    {
        const VOWString strFrom = RandomText(random, random() % 90);
        // Mostly room enough, and often just about as much as the text needs.
        const unsigned uNear = std::max(1u, static_cast<unsigned>(strFrom.size() + random() % 5) - 1);
        const unsigned uCapacity = random() % 2 == 0 || strFrom.empty() ? 260 : uNear;
        const bool bLower = random() % 2 == 0;
        const size_t uFromOffset = random() % 17;
        ASSERT_TRUE(AgreesWithAPlainFold(strFrom, uCapacity, bLower, uFromOffset, random() % 17)) << uRound;
    }
}

TEST(FoldCopy, CutsAtEveryCapacity)
{
    const VOWString strFrom = Wide("C:\\Some\\Folder\\With A\\Long\\Path\\And.File");
    for (unsigned uCapacity = 1; uCapacity < strFrom.size() + 10; ++uCapacity)
    {
        EXPECT_TRUE(AgreesWithAPlainFold(strFrom, uCapacity, true, 1, 1)) << uCapacity;
    }
}

TEST(FoldCopy, WritesNothingWithoutCapacity)
{
    VOWCHAR szTo[1] = {'#'};
    bool bColon = true;
    EXPECT_EQ(0u, VOFoldCopy(szTo, VOTEXT("a:b"), 0, true, &bColon));
    EXPECT_EQ(VOWCHAR{'#'}, szTo[0]);
    EXPECT_FALSE(bColon);
}

TEST(FoldCopy, LeavesNothingOfTheMemoryBehindTheText)
{
    VOWCHAR szFrom[32];
    std::fill(std::begin(szFrom), std::end(szFrom), VOWCHAR{'!'});
    szFrom[5] = 0;
    VOWCHAR szTo[32] = {};
    EXPECT_EQ(5u, VOFoldCopy(szTo, szFrom, 32, false, nullptr));
    EXPECT_EQ(VOWString(5, VOWCHAR{'!'}) + VOWString(27, 0), VOWString(szTo, 32));
}

TEST(FoldCopy, FoldsATextInPlace)
{
    const VOWString strFrom = Wide("C:\\Some\\FOLDER\\With A\\Long\\Path\\And.File");
    for (size_t uLength = 0; uLength <= strFrom.size(); ++uLength)
    {
        VOWString strBuffer = strFrom.substr(0, uLength) + VOWString(1, 0) + VOWString(20, VOWCHAR{'#'});
        ASSERT_EQ(uLength, VOFoldCopy(strBuffer.data(), strBuffer.data(), 260, true, nullptr));
        ASSERT_EQ(
            FoldPlainly(strFrom.substr(0, uLength), 260, true).strText + VOWString(1, 0) + VOWString(20, VOWCHAR{'#'}),
            strBuffer);
    }
}

TEST(FoldCopy, DoesNotSeeAColonBehindTheCut)
{
    VOWCHAR szTo[16];
    bool bColon = true;
    VOFoldCopy(szTo, VOTEXT("abcdefgh:"), 9, false, &bColon);
    EXPECT_FALSE(bColon);
    VOFoldCopy(szTo, VOTEXT("abcdefgh:"), 10, false, &bColon);
    EXPECT_TRUE(bColon);
}

TEST(WideScanLength, AgreesWithAPlainCountAtAnyAddressAndLimit)
{
    for (size_t uOffset = 0; uOffset < 17; ++uOffset)
    {
        for (size_t uLength = 0; uLength < 40; ++uLength)
        {
            const size_t uBytes = (uLength + 1) * sizeof(VOWCHAR);
            const std::unique_ptr<unsigned char[]> pText(new unsigned char[uOffset + uBytes]);
            memcpy(pText.get() + uOffset, VOWString(uLength, VOWCHAR{0x0100}).c_str(), uBytes);
            const VOWCHAR* const pszText = reinterpret_cast<const VOWCHAR*>(pText.get() + uOffset);
            ASSERT_EQ(uLength, VOWideLength(pszText));
            for (size_t uMost = 0; uMost < 45; ++uMost)
            {
                ASSERT_EQ(std::min(uLength, uMost), VOWideLength(pszText, uMost));
            }
        }
    }
}

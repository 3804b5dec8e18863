// Public options: the record, and what is taken from a section.
#include <atomic>
#include <thread>

#include "diagnostics/fresh_process.h"
#include "platform/vo_section_publisher.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "vo_public_option.h"

using namespace votest;

namespace
{
typedef std::vector<std::string> Texts;
constexpr const VOWCHAR* SECTION = VOTEXT("fileMappingPublicOptionName");

class Option : public VOPublicOption
{
public:
    using VOPublicOption::m_kOption;

    Bytes Record() const { return CopyBytes(&m_kOption, sizeof(m_kOption)); }
};

// The 1,536 bytes of a section, by the offsets of the format.
struct Fields
{
    std::string strVersion = "version.0.4";
    std::string strKey = "the key";
    std::string strText1 = "text one";
    std::string strText2 = "text two";
    std::string strText3 = "text three";
    uint32_t uValue1 = 0x11223344;
    uint32_t uValue2 = 0xFFFFFFFE;
    std::string strText4 = "text four";
    std::string strText5 = "text five";
    std::string strText6 = "text six";
    uint64_t ullValue3 = 0x0102030405060708;
    uint64_t ullValue4 = 0xFFFFFFFFFFFFFFFD;

    Bytes Record() const
    {
        Bytes vecRecord(1536, 0);
        const auto Put = [&](size_t uOffset, const std::string& strText)
        { std::copy(strText.begin(), strText.end(), vecRecord.begin() + static_cast<std::ptrdiff_t>(uOffset)); };
        Put(0, strVersion);
        Put(12, strKey);
        Put(112, strText1);
        Put(372, strText2);
        Put(632, strText3);
        WriteU32(vecRecord, 892, uValue1);
        WriteU32(vecRecord, 896, uValue2);
        Put(900, strText4);
        Put(1160, strText5);
        Put(1420, strText6);
        WriteU64(vecRecord, 1520, ullValue3);
        WriteU64(vecRecord, 1528, ullValue4);
        return vecRecord;
    }
};

// Publishes while it lives.
class Section
{
public:
    explicit Section(const Bytes& rkBytes) { Put(rkBytes); }

    void Put(const Bytes& rkBytes) { EXPECT_TRUE(m_kSection.Replace(SECTION, rkBytes.data(), rkBytes.size())); }

    unsigned char* Data() const { return static_cast<unsigned char*>(m_kSection.Data()); }

private:
    VOPublishedSection m_kSection;
};

const std::string REFUSED = "VO_PROCESS_ERROR_FALSE at line # in VOPublicOption::Sync\n";

void EmptyAtFirstAndFilledBySync()
{
    const LogCapture kLog;
    IVOPublicOption* const pkOption = GetPublicOption();
    CHECK_HERE(pkOption != nullptr);
    CHECK_HERE(std::string(pkOption->GetOptionKey()).empty());
    CHECK_HERE(std::string(pkOption->GetOptionText1()).empty());
    CHECK_HERE(std::string(pkOption->GetOptionText2()).empty());
    CHECK_HERE(std::string(pkOption->GetOptionText3()).empty());
    CHECK_HERE(pkOption->GetOptionValue1() == 0);
    CHECK_HERE(pkOption->GetOptionValue2() == 0);
    CHECK_HERE(std::string(pkOption->GetOptionText4()).empty());
    CHECK_HERE(std::string(pkOption->GetOptionText5()).empty());
    CHECK_HERE(std::string(pkOption->GetOptionText6()).empty());
    CHECK_HERE(pkOption->GetOptionValue3() == 0);
    CHECK_HERE(pkOption->GetOptionValue4() == 0);
    CHECK_HERE(kLog.Count() == 0);

    const Section kSection(Fields().Record());
    CHECK_HERE(GetPublicOption() == pkOption);
    CHECK_HERE(std::string(pkOption->GetOptionText1()).empty());
    pkOption->Sync();
    CHECK_HERE(std::string(pkOption->GetOptionText1()) == "text one");
    CHECK_HERE(kLog.Count() == 0);
}

void FirstCallTakesTheSection()
{
    Section kSection(Fields().Record());
    CHECK_HERE(std::string(GetPublicOption()->GetOptionText1()) == "text one");
    Fields kOther;
    kOther.strText1 = "other";
    kSection.Put(kOther.Record());
    CHECK_HERE(std::string(GetPublicOption()->GetOptionText1()) == "text one");
}

void ManyFirstCalls()
{
    const Section kSection(Fields().Record());
    std::atomic<int> nWrong = 0;
    std::vector<std::thread> vecThread;
    for (int i = 0; i < 8; ++i)
    {
        vecThread.emplace_back([&]
                               { nWrong += std::string(GetPublicOption()->GetOptionText6()) == "text six" ? 0 : 1; });
    }
    for (std::thread& rkThread : vecThread)
    {
        rkThread.join();
    }
    CHECK_HERE(nWrong == 0);
}
}  // namespace

TEST(PublicOptionDeathTest, WithoutASectionAllIsEmptyAndSilentAndOnlySyncLooksAgain)
{
    EXPECT_IN_FRESH_PROCESS(EmptyAtFirstAndFilledBySync());
}

TEST(PublicOptionDeathTest, TheFirstCallTakesThePublishedRecordAndNoLaterOneDoes)
{
    EXPECT_IN_FRESH_PROCESS(FirstCallTakesTheSection());
}

TEST(PublicOptionDeathTest, FirstCallsOfManyThreadsAllSeeThePublishedRecord)
{
    EXPECT_IN_FRESH_PROCESS(ManyFirstCalls());
}

TEST(PublicOption, ANewObjectIsAllZeroItsVersionToo)
{
    EXPECT_TRUE(SameBytes(Bytes(1536, 0), Option().Record()));
    EXPECT_EQ(1544u, sizeof(VOPublicOption));
}

TEST(PublicOption, SyncTakesEveryByteOfTheSection)
{
    const LogCapture kLog;
    const Section kSection(Fields().Record());
    Option kOption;
    kOption.Sync();
    EXPECT_TRUE(SameBytes(Fields().Record(), kOption.Record()));
    EXPECT_STREQ("version.0.4", kOption.m_kOption.szVersion);
    EXPECT_STREQ("the key", kOption.GetOptionKey());
    EXPECT_STREQ("text one", kOption.GetOptionText1());
    EXPECT_STREQ("text two", kOption.GetOptionText2());
    EXPECT_STREQ("text three", kOption.GetOptionText3());
    EXPECT_EQ(0x11223344, kOption.GetOptionValue1());
    EXPECT_EQ(-2, kOption.GetOptionValue2());
    EXPECT_STREQ("text four", kOption.GetOptionText4());
    EXPECT_STREQ("text five", kOption.GetOptionText5());
    EXPECT_STREQ("text six", kOption.GetOptionText6());
    EXPECT_EQ(0x0102030405060708, kOption.GetOptionValue3());
    EXPECT_EQ(-3, kOption.GetOptionValue4());
    EXPECT_EQ(0u, kLog.Count());
}

TEST(PublicOption, WithoutASectionSyncIsSilentAndKeepsTheRecord)
{
    Option kOption;
    {
        const Section kSection(Fields().Record());
        kOption.Sync();
    }
    const LogCapture kLog;
    kOption.Sync();
    EXPECT_TRUE(SameBytes(Fields().Record(), kOption.Record()));
    EXPECT_EQ(0u, kLog.Count());
}

TEST(PublicOption, AnotherVersionIsRefusedWithOneLogLineAndTheRecordStays)
{
    Fields kFields;
    for (const char* pszVersion : {"version.0.3", "version.0.44", "version.0.", "Version.0.4", ""})
    {
        kFields.strVersion = pszVersion;
        const Section kSection(kFields.Record());
        const LogCapture kLog;
        Option kOption;
        kOption.SetOptionKey("kept");
        const Bytes vecBefore = kOption.Record();
        kOption.Sync();
        EXPECT_TRUE(SameBytes(vecBefore, kOption.Record())) << pszVersion;
        EXPECT_EQ((Texts{REFUSED}), kLog.Lines()) << pszVersion;
    }
}

TEST(PublicOption, AnotherKeyThanTheOneDemandedIsRefused)
{
    Fields kFields;
    for (const char* pszKey : {"abd", "ab", "abcd", "ABC", ""})
    {
        kFields.strKey = pszKey;
        const Section kSection(kFields.Record());
        const LogCapture kLog;
        Option kOption;
        EXPECT_EQ(1, kOption.SetOptionKey("abc"));
        const Bytes vecBefore = kOption.Record();
        kOption.Sync();
        EXPECT_TRUE(SameBytes(vecBefore, kOption.Record())) << pszKey;
        EXPECT_EQ((Texts{REFUSED}), kLog.Lines()) << pszKey;
    }
}

TEST(PublicOption, TheSameKeyIsAccepted)
{
    Fields kFields;
    kFields.strKey = "abc";
    const Section kSection(kFields.Record());
    Option kOption;
    kOption.SetOptionKey("abc");
    kOption.Sync();
    EXPECT_STREQ("abc", kOption.GetOptionKey());
    EXPECT_STREQ("text one", kOption.GetOptionText1());
}

TEST(PublicOption, AnEmptyKeyTakesAnySectionAndBecomesItsKey)
{
    Fields kFields;
    Section kSection(kFields.Record());
    Option kOption;
    kOption.Sync();
    EXPECT_STREQ("the key", kOption.GetOptionKey());
    kFields.strKey = "other";
    kSection.Put(kFields.Record());
    const LogCapture kLog;
    kOption.Sync();
    EXPECT_STREQ("the key", kOption.GetOptionKey());
    EXPECT_EQ((Texts{REFUSED}), kLog.Lines());
    kOption.SetOptionKey("");
    kOption.Sync();
    EXPECT_STREQ("other", kOption.GetOptionKey());
}

TEST(PublicOption, AKeyOf99CharactersIsTheLongest)
{
    Option kOption;
    EXPECT_EQ(1, kOption.SetOptionKey(std::string(99, 'k').c_str()));
    EXPECT_EQ(std::string(99, 'k'), kOption.GetOptionKey());
    EXPECT_EQ(1, kOption.SetOptionKey(nullptr));
    EXPECT_STREQ("", kOption.GetOptionKey());
}

TEST(PublicOption, TextsThatFillTheirFieldsEndWithThem)
{
    Fields kFields;
    kFields.strKey = std::string(100, 'k');
    kFields.strText1 = kFields.strText2 = kFields.strText3 = std::string(260, 't');
    kFields.strText4 = kFields.strText5 = std::string(260, 't');
    kFields.strText6 = std::string(100, 't');
    const Section kSection(kFields.Record());
    Option kOption;
    kOption.Sync();
    EXPECT_EQ(std::string(99, 'k'), kOption.GetOptionKey());
    EXPECT_EQ(std::string(259, 't'), kOption.GetOptionText1());
    EXPECT_EQ(std::string(259, 't'), kOption.GetOptionText3());
    EXPECT_EQ(std::string(99, 't'), kOption.GetOptionText6());
    EXPECT_EQ(0x11223344, kOption.GetOptionValue1());
}

TEST(PublicOption, ASectionWhoseWriterIsAtWorkGivesARecordAndNoFault)
{
    Fields kFields;
    const Section kSection(kFields.Record());
    std::atomic<bool> bStop = false;
    std::thread kWriter(
        [&]
        {
            for (unsigned long long ullValue = 0; !bStop; ++ullValue)
            {
                unsigned char* const pbValue = kSection.Data() + 1520;
                std::atomic_ref<unsigned long long>(*reinterpret_cast<unsigned long long*>(pbValue)).store(ullValue);
            }
        });
    Option kOption;
    for (int i = 0; i < 500; ++i)
    {
        kOption.Sync();
        EXPECT_STREQ("text one", kOption.GetOptionText1());
    }
    bStop = true;
    kWriter.join();
}

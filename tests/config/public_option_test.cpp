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
    explicit Section(const Bytes& bytes) { Put(bytes); }

    void Put(const Bytes& bytes) { EXPECT_TRUE(m_section.Replace(SECTION, bytes.data(), bytes.size())); }

    unsigned char* Data() const { return static_cast<unsigned char*>(m_section.Data()); }

private:
    VOPublishedSection m_section;
};

const std::string REFUSED = "VO_PROCESS_ERROR_FALSE at line # in VOPublicOption::Sync\n";

void EmptyAtFirstAndFilledBySync()
{
    const LogCapture log;
    IVOPublicOption* const pOption = GetPublicOption();
    CHECK_HERE(pOption != nullptr);
    CHECK_HERE(std::string(pOption->GetOptionKey()).empty());
    CHECK_HERE(std::string(pOption->GetOptionText1()).empty());
    CHECK_HERE(std::string(pOption->GetOptionText2()).empty());
    CHECK_HERE(std::string(pOption->GetOptionText3()).empty());
    CHECK_HERE(pOption->GetOptionValue1() == 0);
    CHECK_HERE(pOption->GetOptionValue2() == 0);
    CHECK_HERE(std::string(pOption->GetOptionText4()).empty());
    CHECK_HERE(std::string(pOption->GetOptionText5()).empty());
    CHECK_HERE(std::string(pOption->GetOptionText6()).empty());
    CHECK_HERE(pOption->GetOptionValue3() == 0);
    CHECK_HERE(pOption->GetOptionValue4() == 0);
    CHECK_HERE(log.Count() == 0);

    const Section section(Fields().Record());
    CHECK_HERE(GetPublicOption() == pOption);
    CHECK_HERE(std::string(pOption->GetOptionText1()).empty());
    pOption->Sync();
    CHECK_HERE(std::string(pOption->GetOptionText1()) == "text one");
    CHECK_HERE(log.Count() == 0);
}

void FirstCallTakesTheSection()
{
    Section section(Fields().Record());
    CHECK_HERE(std::string(GetPublicOption()->GetOptionText1()) == "text one");
    Fields other;
    other.strText1 = "other";
    section.Put(other.Record());
    CHECK_HERE(std::string(GetPublicOption()->GetOptionText1()) == "text one");
}

void ManyFirstCalls()
{
    const Section section(Fields().Record());
    std::atomic<int> nWrong = 0;
    std::vector<std::thread> vecThread;
    for (int i = 0; i < 8; ++i)
    {
        vecThread.emplace_back([&]
                               { nWrong += std::string(GetPublicOption()->GetOptionText6()) == "text six" ? 0 : 1; });
    }
    for (std::thread& thread : vecThread)
    {
        thread.join();
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
    const LogCapture log;
    const Section section(Fields().Record());
    Option option;
    option.Sync();
    EXPECT_TRUE(SameBytes(Fields().Record(), option.Record()));
    EXPECT_STREQ("version.0.4", option.m_kOption.szVersion);
    EXPECT_STREQ("the key", option.GetOptionKey());
    EXPECT_STREQ("text one", option.GetOptionText1());
    EXPECT_STREQ("text two", option.GetOptionText2());
    EXPECT_STREQ("text three", option.GetOptionText3());
    EXPECT_EQ(0x11223344, option.GetOptionValue1());
    EXPECT_EQ(-2, option.GetOptionValue2());
    EXPECT_STREQ("text four", option.GetOptionText4());
    EXPECT_STREQ("text five", option.GetOptionText5());
    EXPECT_STREQ("text six", option.GetOptionText6());
    EXPECT_EQ(0x0102030405060708, option.GetOptionValue3());
    EXPECT_EQ(-3, option.GetOptionValue4());
    EXPECT_EQ(0u, log.Count());
}

TEST(PublicOption, WithoutASectionSyncIsSilentAndKeepsTheRecord)
{
    Option option;
    {
        const Section section(Fields().Record());
        option.Sync();
    }
    const LogCapture log;
    option.Sync();
    EXPECT_TRUE(SameBytes(Fields().Record(), option.Record()));
    EXPECT_EQ(0u, log.Count());
}

TEST(PublicOption, AnotherVersionIsRefusedWithOneLogLineAndTheRecordStays)
{
    Fields fields;
    for (const char* pszVersion : {"version.0.3", "version.0.44", "version.0.", "Version.0.4", ""})
    {
        fields.strVersion = pszVersion;
        const Section section(fields.Record());
        const LogCapture log;
        Option option;
        option.SetOptionKey("kept");
        const Bytes vecBefore = option.Record();
        option.Sync();
        EXPECT_TRUE(SameBytes(vecBefore, option.Record())) << pszVersion;
        EXPECT_EQ((Texts{REFUSED}), log.Lines()) << pszVersion;
    }
}

TEST(PublicOption, AnotherKeyThanTheOneDemandedIsRefused)
{
    Fields fields;
    for (const char* pszKey : {"abd", "ab", "abcd", "ABC", ""})
    {
        fields.strKey = pszKey;
        const Section section(fields.Record());
        const LogCapture log;
        Option option;
        EXPECT_EQ(1, option.SetOptionKey("abc"));
        const Bytes vecBefore = option.Record();
        option.Sync();
        EXPECT_TRUE(SameBytes(vecBefore, option.Record())) << pszKey;
        EXPECT_EQ((Texts{REFUSED}), log.Lines()) << pszKey;
    }
}

TEST(PublicOption, TheSameKeyIsAccepted)
{
    Fields fields;
    fields.strKey = "abc";
    const Section section(fields.Record());
    Option option;
    option.SetOptionKey("abc");
    option.Sync();
    EXPECT_STREQ("abc", option.GetOptionKey());
    EXPECT_STREQ("text one", option.GetOptionText1());
}

TEST(PublicOption, AnEmptyKeyTakesAnySectionAndBecomesItsKey)
{
    Fields fields;
    Section section(fields.Record());
    Option option;
    option.Sync();
    EXPECT_STREQ("the key", option.GetOptionKey());
    fields.strKey = "other";
    section.Put(fields.Record());
    const LogCapture log;
    option.Sync();
    EXPECT_STREQ("the key", option.GetOptionKey());
    EXPECT_EQ((Texts{REFUSED}), log.Lines());
    option.SetOptionKey("");
    option.Sync();
    EXPECT_STREQ("other", option.GetOptionKey());
}

TEST(PublicOption, AKeyOf99CharactersIsTheLongest)
{
    Option option;
    EXPECT_EQ(1, option.SetOptionKey(std::string(99, 'k').c_str()));
    EXPECT_EQ(std::string(99, 'k'), option.GetOptionKey());
    EXPECT_EQ(1, option.SetOptionKey(nullptr));
    EXPECT_STREQ("", option.GetOptionKey());
}

TEST(PublicOption, TextsThatFillTheirFieldsEndWithThem)
{
    Fields fields;
    fields.strKey = std::string(100, 'k');
    fields.strText1 = fields.strText2 = fields.strText3 = std::string(260, 't');
    fields.strText4 = fields.strText5 = std::string(260, 't');
    fields.strText6 = std::string(100, 't');
    const Section section(fields.Record());
    Option option;
    option.Sync();
    EXPECT_EQ(std::string(99, 'k'), option.GetOptionKey());
    EXPECT_EQ(std::string(259, 't'), option.GetOptionText1());
    EXPECT_EQ(std::string(259, 't'), option.GetOptionText3());
    EXPECT_EQ(std::string(99, 't'), option.GetOptionText6());
    EXPECT_EQ(0x11223344, option.GetOptionValue1());
}

TEST(PublicOption, ASectionWhoseWriterIsAtWorkGivesARecordAndNoFault)
{
    Fields fields;
    const Section section(fields.Record());
    std::atomic<bool> bStop = false;
    std::thread writer(
        [&]
        {
            for (unsigned long long ullValue = 0; !bStop; ++ullValue)
            {
                unsigned char* const pbValue = section.Data() + 1520;
                std::atomic_ref<unsigned long long>(*reinterpret_cast<unsigned long long*>(pbValue)).store(ullValue);
            }
        });
    Option option;
    for (int i = 0; i < 500; ++i)
    {
        option.Sync();
        EXPECT_STREQ("text one", option.GetOptionText1());
    }
    bStop = true;
    writer.join();
}

// Damaged images of the container: every cut, every bit, lying words. Whatever a container makes of one, nothing
// outside the image is read, and nothing is written.
#include <memory>
#include <optional>

#include "fileevent/event_test_tools.h"
#include "support/stdout_capture.h"

namespace
{
using namespace eventtest;

class EventDamage : public testing::TestWithParam<int>
{
protected:
    // Attaches a variant as an image of so many bytes and asks everything; true when it was taken.
    bool Try(const Bytes& givenImage)
    {
        if (m_uTried++ % 200 == 0)
        {
            m_quiet.reset();
            m_quiet.emplace();
        }
        const MisalignedBlock image(givenImage, m_uTried % 8);
        bool bTaken = false;
        for (const enumAssetRole eRole : {AR_Customer, AR_Provider})
        {
            VOTSFileEventContainer container(eRole);
            bTaken = container.SetAlloc(image.As<EventImage>(), GetParam(), givenImage.size()) != 0;
            (void)AskEverything(container);
            EXPECT_EQ(1, container.CleanUp());
            EXPECT_THAT(AllOf(container), IsEmpty());
        }
        EXPECT_TRUE(SameBytes(givenImage, image.Current()));
        m_uTaken += bTaken ? 1 : 0;
        return bTaken;
    }

    const Bytes m_vecSound = SampleModel().Image();
    size_t m_uTried = 0;
    size_t m_uTaken = 0;
    std::optional<votest::StdoutCapture> m_quiet;
};

TEST_P(EventDamage, EveryCutIsRefused)
{
    for (size_t uSize = m_vecSound.size(); uSize-- > 0;)
    {
        EXPECT_FALSE(Try(Bytes(m_vecSound.begin(), m_vecSound.begin() + static_cast<std::ptrdiff_t>(uSize)))) << uSize;
    }
}

TEST_P(EventDamage, EveryFlippedBitIsAnErrorOrAnAnswer)
{
    for (size_t uBit = m_vecSound.size() * 8; uBit-- > 0;)
    {
        Bytes vecImage = m_vecSound;
        vecImage[uBit / 8] = static_cast<unsigned char>(vecImage[uBit / 8] ^ (1u << uBit % 8));
        const bool bTaken = Try(vecImage);
        EXPECT_TRUE(uBit >= 20 * 8 || !bTaken) << "a bit of the head: " << uBit;
    }
    EXPECT_LT(100u, m_uTaken) << "too few of them get past the first checks";
}

TEST_P(EventDamage, EveryWordThatLiesIsAnErrorOrAnAnswer)
{
    for (size_t uAt = 0; uAt + 4 <= m_vecSound.size(); ++uAt)
    {
        for (const uint32_t uLie : {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        {
            Bytes vecImage = m_vecSound;
            WriteU32(vecImage, uAt, uLie);
            (void)Try(vecImage);
        }
    }
    EXPECT_LT(100u, m_uTaken);
}

TEST_P(EventDamage, RandomChangesBehindASoundHeadAreAnErrorOrAnAnswer)
{
    Random random(5);
    for (int nVariant = 0; nVariant < 2000; ++nVariant)
    {
        Bytes vecImage = m_vecSound;
        for (size_t i = 1 + random.Below(4); i > 0; --i)
        {
            const size_t uAt = 20 + random.Below(vecImage.size() - 24);
            WriteU32(vecImage, uAt,
                     random.Percent(50) ? random.Word() >> random.Below(32)
                                        : ReadU32(vecImage, 20 + random.Below(vecImage.size() - 24)));
        }
        (void)Try(vecImage);
    }
    EXPECT_LT(100u, m_uTaken);
}

INSTANTIATE_TEST_SUITE_P(Of, EventDamage, testing::Values(0, 1),
                         [](const testing::TestParamInfo<int>& about)
                         { return std::string(about.param != 0 ? "ACopy" : "AView"); });

}  // namespace

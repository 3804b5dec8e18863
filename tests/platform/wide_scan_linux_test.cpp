// The fast passes over text that ends where the memory ends.
#include <sys/mman.h>
#include <unistd.h>

#include "platform/wide_scan.h"
#include "tests/platform/platform_test_support.h"

namespace
{
// Two pages, of which the second one can't be touched.
class GuardedPage
{
public:
    GuardedPage()
    {
        void* const pPages = mmap(nullptr, 2 * m_uPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        m_pPages = pPages != MAP_FAILED ? static_cast<unsigned char*>(pPages) : nullptr;
        if (m_pPages != nullptr)
        {
            mprotect(m_pPages + m_uPage, m_uPage, PROT_NONE);
        }
    }
    ~GuardedPage() { munmap(m_pPages, 2 * m_uPage); }
    GuardedPage(const GuardedPage&) = delete;
    GuardedPage& operator=(const GuardedPage&) = delete;

    // A text whose terminator ends so many bytes before the end of the page.
    VOWCHAR* Place(const VOWString& strText, size_t uBytesBefore)
    {
        const size_t uBytes = (strText.size() + 1) * sizeof(VOWCHAR);
        unsigned char* const pText = m_pPages + m_uPage - uBytesBefore - uBytes;
        memcpy(pText, strText.c_str(), uBytes);
        return reinterpret_cast<VOWCHAR*>(pText);
    }

    bool IsThere() const { return m_pPages != nullptr; }

private:
    size_t m_uPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    unsigned char* m_pPages = nullptr;
};
}  // namespace

TEST(WideScanAtAPageEnd, FoldCopyTouchesNothingOfTheNextPage)
{
    GuardedPage page;
    ASSERT_TRUE(page.IsThere());
    VOWCHAR szTo[260];
    for (size_t uLength = 0; uLength < 90; ++uLength)
    {
        for (size_t uBytesBefore = 0; uBytesBefore < 20; ++uBytesBefore)
        {
            const VOWCHAR* const pszFrom = page.Place(VOWString(uLength, VOWCHAR{'Q'}), uBytesBefore);
            ASSERT_EQ(uLength, VOFoldCopy(szTo, pszFrom, 260, true, nullptr));
            ASSERT_EQ(VOWString(uLength, VOWCHAR{'q'}), VOWString(szTo));
        }
    }
}

TEST(WideScanAtAPageEnd, FoldCopyWritesNothingToTheNextPage)
{
    GuardedPage page;
    ASSERT_TRUE(page.IsThere());
    const VOWString strFrom(300, VOWCHAR{'Q'});
    for (unsigned uCapacity = 1; uCapacity < 90; ++uCapacity)
    {
        VOWCHAR* const pszTo = page.Place(VOWString(uCapacity - 1, VOWCHAR{'#'}), 0);
        ASSERT_EQ(uCapacity - 1, VOFoldCopy(pszTo, strFrom.c_str(), uCapacity, true, nullptr));
        ASSERT_EQ(VOWString(uCapacity - 1, VOWCHAR{'q'}), VOWString(pszTo));
    }
}

TEST(WideScanAtAPageEnd, LengthTouchesNothingOfTheNextPage)
{
    GuardedPage page;
    ASSERT_TRUE(page.IsThere());
    for (size_t uLength = 0; uLength < 90; ++uLength)
    {
        for (size_t uBytesBefore = 0; uBytesBefore < 20; ++uBytesBefore)
        {
            ASSERT_EQ(uLength, VOWideLength(page.Place(VOWString(uLength, VOWCHAR{'Q'}), uBytesBefore)));
        }
    }
}

TEST(WideScanAtAPageEnd, BoundedCopyOfAnUnterminatedTextTouchesNothingOfTheNextPage)
{
    GuardedPage page;
    ASSERT_TRUE(page.IsThere());
    for (int nLength = 1; nLength < 60; ++nLength)
    {
        // The terminator's place holds a unit of the text, so that nothing ends it but the bound.
        VOWCHAR* const pszFrom = page.Place(VOWString(static_cast<size_t>(nLength) - 1, VOWCHAR{'Q'}), 0);
        VOStoreUnit(pszFrom + nLength - 1, 'Q');
        VOWCHAR szTo[64];
        lstrcpynW(szTo, pszFrom, nLength + 1);
        ASSERT_EQ(VOWString(static_cast<size_t>(nLength), VOWCHAR{'Q'}), VOWString(szTo));
    }
}

TEST(WideScanAtAPageEnd, ComparisonsAndSearchesTouchNothingOfTheNextPage)
{
    GuardedPage first;
    GuardedPage second;
    ASSERT_TRUE(first.IsThere() && second.IsThere());
    for (size_t uBytesBefore = 0; uBytesBefore < 4; ++uBytesBefore)
    {
        VOWCHAR* const pszText = first.Place(Wide("some/path"), uBytesBefore);
        EXPECT_EQ(0, StrCmpIW(pszText, second.Place(Wide("Some/Path"), uBytesBefore)));
        EXPECT_EQ(pszText + 5, StrStrIW(pszText, second.Place(Wide("PATH"), uBytesBefore)));
        EXPECT_EQ(nullptr, StrStrIW(pszText, second.Place(Wide("pathological"), uBytesBefore)));
    }
}

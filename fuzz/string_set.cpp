#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "vo_string_hash_set.h"

namespace
{
typedef VOStringHashSet::StringHashSetAlloc SetAlloc;

const VOWCHAR* const kapszText[] = {VOTEXT("d"),     VOTEXT("d/a"), VOTEXT("a"), VOTEXT("new"),
                                    VOTEXT("other"), VOTEXT(""),    VOTEXT("b"), VOTEXT("c/d.e")};

// The strings that a walk comes to; it ends after as many as are known.
unsigned int Walk(const VOStringHashSet& rkSet)
{
    unsigned int uSeen = 0;
    VOStringHashSet::Iterator kIterator;
    for (int bMore = rkSet.GetFirst(kIterator); bMore != 0; bMore = rkSet.HasNext(kIterator))
    {
        ++uSeen;
        FUZZ_REQUIRE(uSeen <= 4096);
        (void)FuzzText(rkSet.GetString(kIterator.hString));
    }
    return uSeen;
}

void AskAll(const VOStringHashSet& rkSet)
{
    (void)Walk(rkSet);
    for (unsigned int i = 0; i < 8; ++i)
    {
        (void)FuzzText(rkSet.GetString(FuzzHandle(i)));
        (void)FuzzText(rkSet.GetString(FuzzHandle(~0ull - i)));
        (void)FuzzText(rkSet.GetString(rkSet.Find(kapszText[i])));
    }
}

// The image of a set, taken by a reader and by a copy, has the same strings under the same handles.
void RequireSameAgain(const VOStringHashSet& rkSet)
{
    const FuzzImage<SetAlloc> kImage(rkSet.GetAlloc(), &free);
    FUZZ_REQUIRE(kImage != nullptr && rkSet.AllocSize() == FuzzImageSize(kImage));
    VOStringHashSet kView(VOStringHashSet::SHR_Customer);
    VOStringHashSet kCopy(VOStringHashSet::SHR_Provider);
    FUZZ_REQUIRE(kView.SetAlloc(kImage.get(), 0, FuzzImageSize(kImage)) != 0);
    FUZZ_REQUIRE(kCopy.SetAlloc(kImage.get(), 1, FuzzImageSize(kImage)) != 0);
    for (unsigned int i = 0; i < 8; ++i)
    {
        const VOWString strText = FuzzText(rkSet.GetString(FuzzHandle(i)));
        FUZZ_REQUIRE(strText == FuzzText(kView.GetString(FuzzHandle(i))));
        FUZZ_REQUIRE(strText == FuzzText(kCopy.GetString(FuzzHandle(i))));
    }
    const FuzzImage<SetAlloc> kThird(kView.GetAlloc(), &free);
    FUZZ_REQUIRE(kThird != nullptr && FuzzImageSize(kThird) == FuzzImageSize(kImage));
}

// A publisher's image is found through in the same way by both roles.
void RequireSameFinds(const VOStringHashSet& rkProvider)
{
    const FuzzImage<SetAlloc> kImage(rkProvider.GetAlloc(), &free);
    VOStringHashSet kView(VOStringHashSet::SHR_Customer);
    FUZZ_REQUIRE(kImage != nullptr && kView.SetAlloc(kImage.get(), 0, FuzzImageSize(kImage)) != 0);
    for (const VOWCHAR* pszText : kapszText)
    {
        FUZZ_REQUIRE(rkProvider.Find(pszText) == kView.Find(pszText));
    }
    FUZZ_REQUIRE(rkProvider.Count() == kView.Count());
}

// rbSound: all that is in the set came in by these steps.
void Step(VOStringHashSet& rkSet, FuzzBytes& rkSteps, bool& rbSound)
{
    const uint8_t uStep = rkSteps.Byte();
    const VOWCHAR* const pszText = kapszText[uStep / 8 % 8];
    void* hString = INVALID_HANDLE_VALUE;
    int bExist = 0;
    switch (uStep % 8)
    {
        case 0:
        case 1:
            hString = rkSet.Insert(pszText, &bExist);
            FUZZ_REQUIRE(hString != INVALID_HANDLE_VALUE);
            FUZZ_REQUIRE(!rbSound || (rkSet.Insert(pszText, &bExist) == hString && bExist == 1));
            FUZZ_REQUIRE(!rbSound || FuzzText(rkSet.GetString(rkSet.Find(pszText))) == pszText);
            break;
        case 2:
            hString = rkSet.InsertKey(pszText, &bExist);
            FUZZ_REQUIRE(hString != INVALID_HANDLE_VALUE && (!rbSound || rkSet.Find(pszText) == hString));
            break;
        case 3:
            hString = rkSet.Find(pszText);
            if (rkSet.Remove(hString) != 0)
            {
                FUZZ_REQUIRE(rkSet.GetString(hString) == nullptr);
                FUZZ_REQUIRE(!rbSound || rkSet.Find(pszText) == INVALID_HANDLE_VALUE);
            }
            break;
        case 4:
            (void)rkSet.Remove(FuzzHandle(rkSteps.Byte()));
            break;
        case 5:
        {
            // A text of the pool goes in again.
            const VOWCHAR* const pszOwn = rkSet.GetString(FuzzHandle(rkSteps.Byte()));
            if (pszOwn != nullptr)
            {
                (void)rkSet.Insert(pszOwn);
            }
            break;
        }
        case 6:
        {
            VOStringHashSet kCopy(rkSet);
            (void)kCopy.Insert(pszText);
            (void)rkSet.ShrinkToFit();
            break;
        }
        default:
            if (uStep >= 192)
            {
                FUZZ_REQUIRE(rkSet.CleanUp() != 0 && rkSet.Count() == 0);
                rbSound = true;
            }
            break;
    }
}
}  // namespace

void FuzzStringSet(const uint8_t* pbData, size_t uSize)
{
    FuzzBytes kInput(pbData, uSize);
    FuzzBytes kSteps = kInput.TakeSteps();
    SetAlloc* const pAlloc = reinterpret_cast<SetAlloc*>(const_cast<uint8_t*>(kInput.Data()));
    VOStringHashSet kView(VOStringHashSet::SHR_Customer);
    VOStringHashSet kCopy(VOStringHashSet::SHR_Provider);
    const int nView = kView.SetAlloc(pAlloc, 0, kInput.Size());
    FUZZ_REQUIRE(kCopy.SetAlloc(pAlloc, 1, kInput.Size()) == nView);
    if (nView == 0)
    {
        return;
    }
    AskAll(kView);
    RequireSameAgain(kView);
    FUZZ_REQUIRE(kView.Insert(VOTEXT("d")) == INVALID_HANDLE_VALUE);
    bool bSound = false;
    while (!kSteps.Empty())
    {
        Step(kCopy, kSteps, bSound);
    }
    AskAll(kCopy);
    RequireSameAgain(kCopy);
    RequireSameFinds(kCopy);
}

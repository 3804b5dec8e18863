#include "fuzz/support.h"
#include "fuzz/targets.h"
#include "vo_string_hash_set.h"

namespace
{
typedef VOStringHashSet::StringHashSetAlloc SetAlloc;

const VOWCHAR* const kapszText[] = {VOTEXT("d"),     VOTEXT("d/a"), VOTEXT("a"), VOTEXT("new"),
                                    VOTEXT("other"), VOTEXT(""),    VOTEXT("b"), VOTEXT("c/d.e")};

// The strings that a walk comes to; it ends after as many as are known.
unsigned int Walk(const VOStringHashSet& set)
{
    unsigned int uSeen = 0;
    VOStringHashSet::Iterator iterator;
    for (int bMore = set.GetFirst(iterator); bMore != 0; bMore = set.HasNext(iterator))
    {
        ++uSeen;
        FUZZ_REQUIRE(uSeen <= 4096);
        (void)FuzzText(set.GetString(iterator.hString));
    }
    return uSeen;
}

void AskAll(const VOStringHashSet& set)
{
    (void)Walk(set);
    for (unsigned int i = 0; i < 8; ++i)
    {
        (void)FuzzText(set.GetString(FuzzHandle(i)));
        (void)FuzzText(set.GetString(FuzzHandle(~0ull - i)));
        (void)FuzzText(set.GetString(set.Find(kapszText[i])));
    }
}

// The image of a set, taken by a reader and by a copy, has the same strings under the same handles.
void RequireSameAgain(const VOStringHashSet& set)
{
    const FuzzImage<SetAlloc> image(set.GetAlloc(), &free);
    FUZZ_REQUIRE(image != nullptr && set.AllocSize() == FuzzImageSize(image));
    VOStringHashSet view(VOStringHashSet::SHR_Customer);
    VOStringHashSet copy(VOStringHashSet::SHR_Provider);
    FUZZ_REQUIRE(view.SetAlloc(image.get(), 0, FuzzImageSize(image)) != 0);
    FUZZ_REQUIRE(copy.SetAlloc(image.get(), 1, FuzzImageSize(image)) != 0);
    for (unsigned int i = 0; i < 8; ++i)
    {
        const VOWString strText = FuzzText(set.GetString(FuzzHandle(i)));
        FUZZ_REQUIRE(strText == FuzzText(view.GetString(FuzzHandle(i))));
        FUZZ_REQUIRE(strText == FuzzText(copy.GetString(FuzzHandle(i))));
    }
    const FuzzImage<SetAlloc> third(view.GetAlloc(), &free);
    FUZZ_REQUIRE(third != nullptr && FuzzImageSize(third) == FuzzImageSize(image));
}

// A publisher's image is found through in the same way by both roles.
void RequireSameFinds(const VOStringHashSet& provider)
{
    const FuzzImage<SetAlloc> image(provider.GetAlloc(), &free);
    VOStringHashSet view(VOStringHashSet::SHR_Customer);
    FUZZ_REQUIRE(image != nullptr && view.SetAlloc(image.get(), 0, FuzzImageSize(image)) != 0);
    for (const VOWCHAR* pszText : kapszText)
    {
        FUZZ_REQUIRE(provider.Find(pszText) == view.Find(pszText));
    }
    FUZZ_REQUIRE(provider.Count() == view.Count());
}

// bSound: all that is in the set came in by these steps.
void Step(VOStringHashSet& set, FuzzBytes& steps, bool& bSound)
{
    const uint8_t uStep = steps.Byte();
    const VOWCHAR* const pszText = kapszText[uStep / 8 % 8];
    void* hString = INVALID_HANDLE_VALUE;
    int bExist = 0;
    switch (uStep % 8)
    {
        case 0:
        case 1:
            hString = set.Insert(pszText, &bExist);
            FUZZ_REQUIRE(hString != INVALID_HANDLE_VALUE);
            FUZZ_REQUIRE(!bSound || (set.Insert(pszText, &bExist) == hString && bExist == 1));
            FUZZ_REQUIRE(!bSound || FuzzText(set.GetString(set.Find(pszText))) == pszText);
            break;
        case 2:
            hString = set.InsertKey(pszText, &bExist);
            FUZZ_REQUIRE(hString != INVALID_HANDLE_VALUE && (!bSound || set.Find(pszText) == hString));
            break;
        case 3:
            hString = set.Find(pszText);
            if (set.Remove(hString) != 0)
            {
                FUZZ_REQUIRE(set.GetString(hString) == nullptr);
                FUZZ_REQUIRE(!bSound || set.Find(pszText) == INVALID_HANDLE_VALUE);
            }
            break;
        case 4:
            (void)set.Remove(FuzzHandle(steps.Byte()));
            break;
        case 5:
        {
            // A text of the pool goes in again.
            const VOWCHAR* const pszOwn = set.GetString(FuzzHandle(steps.Byte()));
            if (pszOwn != nullptr)
            {
                (void)set.Insert(pszOwn);
            }
            break;
        }
        case 6:
        {
            VOStringHashSet copy(set);
            (void)copy.Insert(pszText);
            (void)set.ShrinkToFit();
            break;
        }
        default:
            if (uStep >= 192)
            {
                FUZZ_REQUIRE(set.CleanUp() != 0 && set.Count() == 0);
                bSound = true;
            }
            break;
    }
}
}  // namespace

void FuzzStringSet(const uint8_t* pbData, size_t uSize)
{
    FuzzBytes input(pbData, uSize);
    FuzzBytes steps = input.TakeSteps();
    SetAlloc* const pAlloc = reinterpret_cast<SetAlloc*>(const_cast<uint8_t*>(input.Data()));
    VOStringHashSet view(VOStringHashSet::SHR_Customer);
    VOStringHashSet copy(VOStringHashSet::SHR_Provider);
    const int nView = view.SetAlloc(pAlloc, 0, input.Size());
    FUZZ_REQUIRE(copy.SetAlloc(pAlloc, 1, input.Size()) == nView);
    if (nView == 0)
    {
        return;
    }
    AskAll(view);
    RequireSameAgain(view);
    FUZZ_REQUIRE(view.Insert(VOTEXT("d")) == INVALID_HANDLE_VALUE);
    bool bSound = false;
    while (!steps.Empty())
    {
        Step(copy, steps, bSound);
    }
    AskAll(copy);
    RequireSameAgain(copy);
    RequireSameFinds(copy);
}

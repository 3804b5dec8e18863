// An index beside a source that exists in memory alone: names that differ in case, folders that can't be read, what is
// left out, and a library that has no room any more.
#include "live/index_model.h"
#include "platform/fault_points.h"

namespace
{

using namespace livetest;

// A disk, its index, and what was told of it.
class Followed
{
public:
    explicit Followed(const std::vector<std::string>& vecPaths = {})
    {
        for (const std::string& strPath : vecPaths)
        {
            Make(strPath);
        }
        EXPECT_TRUE(kIndex.Build({}, &kDisk, nullptr, &strError)) << strError;
        setTold = ReadImage(&kIndex).Walked();
        kIndex.TakeLeftOut();
        kIndex.TakeUnread();
    }

    // "a" is a file, "a/" a folder.
    void Make(const std::string& strPath)
    {
        const bool bFolder = strPath.back() == '/';
        kDisk.Add(Wide(bFolder ? strPath.substr(0, strPath.size() - 1) : strPath), bFolder);
    }

    // Moves within a folder, and hints at it.
    void Rename(const std::string& strFrom, const std::string& strTo)
    {
        kDisk.Move(Wide(strFrom), Wide(strTo));
        FolderHints& rkHints = mapHints[lum::ParentPath(Wide(strFrom))];
        rkHints.vecRenamed.emplace_back(lum::LastPart(Wide(strFrom)), lum::LastPart(Wide(strTo)));
        rkHints.setWritten.insert(lum::LastPart(Wide(strTo)));
    }

    void Touch(const std::string& strFolder) { mapHints[Wide(strFolder)]; }

    // Compares what was hinted at, and what that leads to. False when the index can't follow any more.
    bool Follow()
    {
        bool bFollowed = true;
        while (bFollowed && !mapHints.empty())
        {
            const auto kFirst = mapHints.extract(mapHints.begin());
            std::vector<VOWString> vecMore;
            VOWString strFolder = kFirst.key();
            while (!kIndex.HasFolder(strFolder))
            {
                strFolder = lum::ParentPath(strFolder);
            }
            const FolderHints kHints = strFolder == kFirst.key() ? kFirst.mapped() : FolderHints();
            bFollowed = kIndex.Compare(strFolder, kHints, &kChanges, &vecMore, &strError);
            for (const VOWString& strMore : vecMore)
            {
                mapHints[strMore];
            }
        }
        Apply({kChanges.begin() + static_cast<ptrdiff_t>(m_uApplied), kChanges.end()}, &setTold);
        m_uApplied = kChanges.size();
        return bFollowed;
    }

    // Index and told agree, and everything in the index is found.
    void Check()
    {
        const ReadImage kImage(&kIndex);
        kImage.CheckEveryPathIsFound();
        EXPECT_EQ(setTold, kImage.Walked());
        EXPECT_EQ(setTold.size() + 1, kIndex.NodeCount());
    }

    void FollowAndCheck()
    {
        EXPECT_TRUE(Follow()) << strError;
        Check();
        EXPECT_EQ(kDisk.All(), setTold);
    }

    std::vector<std::string> Told() const
    {
        std::vector<std::string> vecTold;
        for (const Change& kChange : kChanges)
        {
            const char* const apszKinds[] = {"", "added ", "removed ", "renamed ", "modified "};
            vecTold.push_back(apszKinds[static_cast<unsigned>(kChange.eKind)] + Shown(kChange.strPath));
        }
        return vecTold;
    }

    unsigned Id(const std::string& strPath) { return ReadImage(&kIndex).Find(Wide(strPath)); }

    MemoryDisk kDisk;
    lum::SourceIndex kIndex{LUMTrayService::AF_SOURCE, VOTEXT("/root"), VOTEXT("root"), false};
    std::map<VOWString, FolderHints> mapHints;
    Changes kChanges;
    std::string strError;
    Paths setTold;

private:
    size_t m_uApplied = 0;
};

typedef std::vector<std::string> Texts;

TEST(SourceIndexTwins, AFileIsFoundWhenItsCaseTwinGoes)
{
    for (const char* pszGone : {"A", "a"})
    {
        Followed kFollowed({"A", "a"});
        kFollowed.Check();
        kFollowed.kDisk.Remove(Wide(pszGone));
        kFollowed.Touch("");
        kFollowed.FollowAndCheck();
        EXPECT_EQ(Texts{std::string("removed ") + pszGone}, kFollowed.Told());
    }
}

TEST(SourceIndexTwins, OfManyTwinsEachStaysFoundUntilItGoes)
{
    Followed kFollowed({"abc", "ABC", "Abc", "aBc", "abC", "aBC"});
    for (const char* pszGone : {"ABC", "aBC", "abc", "Abc", "abC", "aBc"})
    {
        kFollowed.kDisk.Remove(Wide(pszGone));
        kFollowed.Touch("");
        kFollowed.FollowAndCheck();
    }
}

TEST(SourceIndexTwins, WhatLiesInAFolderIsFoundWhenTheFoldersTwinGoes)
{
    Followed kFollowed({"D/", "D/x", "D/s/", "D/s/y", "d/", "d/x", "d/X", "d/s/", "d/s/y", "d/S/", "d/S/y"});
    kFollowed.kDisk.Remove(Wide("D"));
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
}

TEST(SourceIndexTwins, AFolderWithTwinsInItIsRenamedWhole)
{
    Followed kFollowed({"d/", "d/x", "d/X", "d/s/", "d/S/", "d/s/x", "d/S/x", "D/", "D/x"});
    const unsigned uFile = kFollowed.Id("d/X");
    kFollowed.Rename("d", "e");
    kFollowed.FollowAndCheck();
    EXPECT_EQ(Texts{"renamed d"}, kFollowed.Told());
    EXPECT_EQ(uFile, kFollowed.Id("e/X"));
}

TEST(SourceIndexTwins, ARenameThatChangesTheCaseAloneKeepsTheNodes)
{
    Followed kFollowed({"d/", "d/x", "d/X", "f"});
    const unsigned uFile = kFollowed.Id("d/X");
    const unsigned uOther = kFollowed.Id("f");
    kFollowed.Rename("d", "D");
    kFollowed.Rename("f", "F");
    kFollowed.FollowAndCheck();
    EXPECT_EQ((Texts{"renamed d", "renamed f"}), kFollowed.Told());
    EXPECT_EQ(uFile, kFollowed.Id("D/X"));
    EXPECT_EQ(uOther, kFollowed.Id("F"));
}

TEST(SourceIndexTwins, ARenameBesideATwinKeepsTheNode)
{
    Followed kFollowed({"a", "b", "d/", "d/x", "e/", "e/x", "e/X"});
    const unsigned uFile = kFollowed.Id("b");
    const unsigned uInside = kFollowed.Id("e/x");
    kFollowed.Rename("b", "A");
    kFollowed.Rename("e", "D");
    kFollowed.FollowAndCheck();
    EXPECT_EQ(uFile, kFollowed.Id("A"));
    EXPECT_EQ(uInside, kFollowed.Id("D/x"));
}

TEST(SourceIndexTwins, ARenameOntoTheTwinLeavesOneFile)
{
    Followed kFollowed({"a", "A", "d/", "d/x", "d/s/", "d/s/y", "D/"});
    kFollowed.Rename("a", "A");
    kFollowed.Rename("d", "D");
    kFollowed.FollowAndCheck();
}

TEST(SourceIndexTwins, TwinsAreKeptApartWhenTheContainerIsMadeAnew)
{
    Followed kFollowed({"a", "A", "D/", "D/x", "d/", "d/x", "d/X"});
    ASSERT_TRUE(kFollowed.kIndex.Renew({}, &kFollowed.strError));
    kFollowed.Check();
    kFollowed.kDisk.Remove(Wide("A"));
    kFollowed.kDisk.Remove(Wide("D"));
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
}

// Names that are few and differ in case, so that twins come, go, move and lie in each other all the time.
class RandomDisk
{
public:
    explicit RandomDisk(uint64_t ullSeed) : m_kRandom(ullSeed) {}

    void Step(Followed* pkFollowed)
    {
        MemoryDisk& rkDisk = pkFollowed->kDisk;
        const VOWString strFolder = _Folder(rkDisk);
        const VOWString strPath = lum::JoinPath(strFolder, _Name());
        const bool bThere = rkDisk.mapEntries.contains(strPath);
        switch (m_kRandom.Below(8))
        {
            case 0:
            case 1:
            case 2:
                if (!bThere && std::count(strPath.begin(), strPath.end(), VOWCHAR('/')) < 5)
                {
                    rkDisk.Add(strPath, m_kRandom.Percent(50));
                }
                break;
            case 3:
                rkDisk.Remove(strPath);
                break;
            case 4:
                if (bThere && !rkDisk.IsFolder(strPath))
                {
                    rkDisk.Add(strPath, false);
                }
                break;
            case 5:
                if (m_kRandom.Percent(20))
                {
                    rkDisk.setUnreadable.insert(strFolder);
                }
                return;
            default:
                _Rename(strPath, lum::JoinPath(strFolder, _Name()), pkFollowed);
        }
        pkFollowed->mapHints[strFolder];
    }

    bool Percent(unsigned uPercent) { return m_kRandom.Percent(uPercent); }

private:
    VOWString _Name()
    {
        const char* const apszNames[] = {"a", "A", "b", "B", "ab", "aB", "Ab", "AB"};
        return Wide(apszNames[m_kRandom.Below(8)]);
    }

    VOWString _Folder(const MemoryDisk& kDisk)
    {
        VOWString strFolder;
        for (size_t uDeep = m_kRandom.Below(4); uDeep > 0; --uDeep)
        {
            const VOWString strNext = lum::JoinPath(strFolder, _Name());
            strFolder = kDisk.IsFolder(strNext) ? strNext : strFolder;
        }
        return strFolder;
    }

    // As a system does it: a file goes over a file, a folder over an empty folder.
    void _Rename(const VOWString& strFrom, const VOWString& strTo, Followed* pkFollowed)
    {
        MemoryDisk& rkDisk = pkFollowed->kDisk;
        const bool bThere = rkDisk.mapEntries.contains(strTo);
        const bool bEmpty = std::none_of(rkDisk.mapEntries.begin(), rkDisk.mapEntries.end(),
                                         [&](const auto& kOne) { return lum::LiesIn(kOne.first, strTo); });
        if (strFrom != strTo && rkDisk.mapEntries.contains(strFrom) && bEmpty &&
            (!bThere || rkDisk.IsFolder(strFrom) == rkDisk.IsFolder(strTo)))
        {
            pkFollowed->Rename(Shown(strFrom), Shown(strTo));
        }
    }

    votest::Random m_kRandom;
};

TEST(SourceIndexTwins, AfterEveryRandomChangeIndexLookUpAndToldAgree)
{
    for (uint64_t ullSeed = 1; ullSeed <= 30 && !testing::Test::HasFailure(); ++ullSeed)
    {
        SCOPED_TRACE(ullSeed);
        RandomDisk kRandom(ullSeed);
        Followed kFollowed;
        for (int nStep = 0; nStep < 400 && !testing::Test::HasFailure(); ++nStep)
        {
            SCOPED_TRACE(nStep);
            kRandom.Step(&kFollowed);
            if (kRandom.Percent(40))
            {
                continue;  // several changes are found at once
            }
            ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
            kFollowed.Check();
            if (kRandom.Percent(10))
            {
                // Everything can be read again, and is looked at.
                kFollowed.kDisk.setUnreadable.clear();
                for (const VOWString& strFolder : kFollowed.kIndex.Folders())
                {
                    kFollowed.mapHints[strFolder];
                }
                kFollowed.FollowAndCheck();
                EXPECT_EQ(0u, kFollowed.kIndex.UnreadCount());
            }
            if (kRandom.Percent(2))
            {
                ASSERT_TRUE(kFollowed.kIndex.Renew({}, &kFollowed.strError));
                kFollowed.Check();
            }
        }
    }
}

TEST(SourceIndexRenames, WhatWasRenamedIsKnownByItsLookWhenNobodyTellsOfIt)
{
    Followed kFollowed({"a", "d/", "d/x", "stays"});
    const unsigned uFile = kFollowed.Id("a");
    const unsigned uBelow = kFollowed.Id("d/x");
    kFollowed.kDisk.Move(VOTEXT("a"), VOTEXT("b"));
    kFollowed.kDisk.Move(VOTEXT("d"), VOTEXT("e"));
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
    EXPECT_EQ((Texts{"renamed a", "renamed d"}), kFollowed.Told());
    EXPECT_EQ(uFile, kFollowed.Id("b"));
    EXPECT_EQ(uBelow, kFollowed.Id("e/x"));
}

TEST(SourceIndexRenames, BelowAFolderOfWhichNobodyToldEverythingIsLookedAt)
{
    Followed kFollowed({"d/", "d/in/", "d/in/x", "d/gone"});
    kFollowed.kDisk.Move(VOTEXT("d"), VOTEXT("e"));
    kFollowed.kDisk.Remove(VOTEXT("e/gone"));
    kFollowed.Make("e/in/y");
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
    EXPECT_EQ((Texts{"renamed d", "removed e/gone", "added e/in/y"}), kFollowed.Told());
}

TEST(SourceIndexRenames, WhatLooksLikeSomethingElseAsWellIsNone)
{
    const struct
    {
        const char* pszWhat;
        void (*pfnPrepare)(std::map<VOWString, lum::IndexEntry>& rmapEntries);
    } aCases[] = {
        {"two that went",
         [](auto& rmapEntries)
         {
             rmapEntries[VOTEXT("c")] = rmapEntries[VOTEXT("a")];
             rmapEntries[VOTEXT("c")].strName = VOTEXT("c");
         }},
        {"whole seconds", [](auto& rmapEntries) { rmapEntries[VOTEXT("a")].uWriteFraction = 0; }},
    };
    for (const auto& kCase : aCases)
    {
        SCOPED_TRACE(kCase.pszWhat);
        Followed kFollowed;
        kFollowed.Make("a");
        kCase.pfnPrepare(kFollowed.kDisk.mapEntries);
        kFollowed.Touch("");
        kFollowed.FollowAndCheck();
        kFollowed.kDisk.Move(VOTEXT("a"), VOTEXT("b"));
        kFollowed.kDisk.Remove(VOTEXT("c"));
        kFollowed.Touch("");
        kFollowed.FollowAndCheck();
        const Texts vecTold = kFollowed.Told();
        EXPECT_EQ(0, std::count(vecTold.begin(), vecTold.end(), "renamed a"));
        EXPECT_EQ(1, std::count(vecTold.begin(), vecTold.end(), "removed a"));
        EXPECT_EQ(1, std::count(vecTold.begin(), vecTold.end(), "added b"));
    }
}

TEST(SourceIndexRenames, AnotherSizeIsAnotherFile)
{
    Followed kFollowed({"a"});
    kFollowed.kDisk.Move(VOTEXT("a"), VOTEXT("b"));
    kFollowed.kDisk.mapEntries[VOTEXT("b")].ullSize = 1;
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
    EXPECT_EQ((Texts{"removed a", "added b"}), kFollowed.Told());
}

TEST(SourceIndexUnread, AFolderThatCantBeListedStaysAsItWasUntilItCan)
{
    Followed kFollowed({"d/", "d/a", "d/s/", "d/s/b", "e"});
    const Paths setBefore = kFollowed.setTold;
    kFollowed.kDisk.setUnreadable = {Wide("d"), Wide("d/s"), Wide("")};
    kFollowed.kDisk.Remove(Wide("d/a"));
    kFollowed.Make("d/c");
    for (int nTry = 0; nTry < 2; ++nTry)
    {
        kFollowed.Touch("");
        kFollowed.Touch("d");
        kFollowed.Touch("d/s");
        ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
        EXPECT_EQ(setBefore, kFollowed.setTold);
        EXPECT_EQ(3u, kFollowed.kIndex.UnreadCount());
        EXPECT_EQ(nTry == 0 ? 3u : 0u, kFollowed.kIndex.TakeUnread().size()) << "each is news once";
    }
    kFollowed.kDisk.setUnreadable.clear();
    kFollowed.Touch("");
    kFollowed.Touch("d");
    kFollowed.Touch("d/s");
    kFollowed.FollowAndCheck();
    EXPECT_EQ((Texts{"removed d/a", "added d/c"}), kFollowed.Told());
    EXPECT_EQ(0u, kFollowed.kIndex.UnreadCount());
}

TEST(SourceIndexUnread, AFolderThatCantBeListedWhenItComesIsThereAndFilledLater)
{
    Followed kFollowed;
    kFollowed.Make("d/");
    kFollowed.Make("d/a");
    kFollowed.kDisk.setUnreadable = {Wide("d")};
    kFollowed.Touch("");
    ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
    EXPECT_EQ(Texts{"added d"}, kFollowed.Told());
    ASSERT_TRUE(kFollowed.kIndex.IsUnread(Wide("d")));
    EXPECT_FALSE(kFollowed.kIndex.TakeUnread().at(0).bEntered);
    kFollowed.kDisk.setUnreadable.clear();
    kFollowed.Touch("d");
    kFollowed.FollowAndCheck();
}

TEST(SourceIndexUnread, AFolderThatGoesIsNoneThatCantBeRead)
{
    Followed kFollowed({"d/", "d/s/"});
    kFollowed.kDisk.setUnreadable = {Wide("d"), Wide("d/s")};
    kFollowed.Touch("d");
    kFollowed.Touch("d/s");
    ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
    EXPECT_EQ(2u, kFollowed.kIndex.UnreadCount());
    kFollowed.kDisk.Remove(Wide("d"));
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
    EXPECT_EQ(0u, kFollowed.kIndex.UnreadCount());
}

TEST(SourceIndexUnread, WhatCantBeLookedAtKeepsWhatIsKnownOfIt)
{
    Followed kFollowed({"a", "d/", "d/x"});
    IndexEntry kVague;
    kVague.bDescribed = false;
    for (const char* pszName : {"a", "d", "new"})
    {
        kVague.strName = Wide(pszName);
        kFollowed.kDisk.mapEntries[Wide(pszName)] = kVague;
    }
    kFollowed.Touch("");
    ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
    EXPECT_EQ(Texts{"added new"}, kFollowed.Told()) << "the folder is one, and holds what it held";
    EXPECT_TRUE(kFollowed.kIndex.IsUnread(Wide("")));
    kFollowed.Make("a");
    kFollowed.Make("d/");
    kFollowed.Make("new/");
    kFollowed.Touch("");
    kFollowed.FollowAndCheck();
    EXPECT_EQ(0u, kFollowed.kIndex.UnreadCount());
}

TEST(SourceIndexLeftOut, AConflictThatArisesWhileFollowingIsNamedAndForgottenWhenItGoes)
{
    Followed kFollowed({"d/", "d/x"});
    for (int nRound = 0; nRound < 2; ++nRound)
    {
        IndexEntry kRefused;
        kRefused.strName = Wide("d");
        kRefused.strRefusal = "a file here, and a folder in an earlier directory";
        // Beside the folder of that name, as a lister of several directories gives it.
        kFollowed.kDisk.mapEntries[Wide("d")].strName = Wide("d");
        kFollowed.kDisk.mapEntries[VOWString(VOTEXT("\x01"))] = kRefused;
        for (int nLook = 0; nLook < 2; ++nLook)
        {
            kFollowed.Touch("");
            ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
            const std::vector<lum::NotIndexed> vecLeftOut = kFollowed.kIndex.TakeLeftOut();
            ASSERT_EQ(nLook == 0 ? 1u : 0u, vecLeftOut.size()) << "round " << nRound;
            EXPECT_EQ(1u, kFollowed.kIndex.LeftOutCount());
            EXPECT_TRUE(nLook != 0 || vecLeftOut[0].strPath == Wide("d"));
        }
        kFollowed.kDisk.mapEntries.erase(VOWString(VOTEXT("\x01")));
        kFollowed.Touch("");
        kFollowed.FollowAndCheck();
        EXPECT_EQ(0u, kFollowed.kIndex.LeftOutCount());
    }
    EXPECT_EQ(Texts(), kFollowed.Told());
}

TEST(SourceIndexLeftOut, WhatIsTooLongIsEnteredWhenItsFolderGetsAShorterName)
{
    const std::string strLong(150, 'l');
    Followed kFollowed({strLong + "/", strLong + "/" + strLong, strLong + "/x"});
    EXPECT_EQ(1u, kFollowed.kIndex.LeftOutCount());
    kFollowed.Rename(strLong, "short");
    kFollowed.FollowAndCheck();
    EXPECT_EQ(0u, kFollowed.kIndex.LeftOutCount());
}

TEST(SourceIndexLeftOut, WhatIsLeftOutAgainByAComparisonIsNoChangeOfTheIndex)
{
    Followed kFollowed({"d/", "d/" + std::string(300, 'l'), "d/x"});
    EXPECT_EQ(1u, kFollowed.kIndex.LeftOutCount());
    ReadImage(&kFollowed.kIndex).CheckEveryPathIsFound();
    for (int nLook = 0; nLook < 2; ++nLook)
    {
        kFollowed.Touch("d");
        ASSERT_TRUE(kFollowed.Follow()) << kFollowed.strError;
        EXPECT_FALSE(kFollowed.kIndex.HasChanged());
    }
    EXPECT_EQ(Texts(), kFollowed.Told());
    EXPECT_EQ(1u, kFollowed.kIndex.LeftOutCount());
}

TEST(SourceIndexFull, AListOfChildrenThatDoesntFitIsAFailureThatSaysSo)
{
    Followed kFollowed({"a"});
    kFollowed.Make("d/");
    kFollowed.Make("d/x");
    kFollowed.Touch("");
    VOFaultArm("index.children", 1, false);
    EXPECT_FALSE(kFollowed.Follow());
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ("the index is full", kFollowed.strError);
}

// Whatever allocation fails, the comparison says so or has done all of its work.
TEST(SourceIndexFull, AComparisonThatCouldntDoItsWorkSaysSo)
{
    unsigned uRefused = 0;
    for (unsigned uNth = 1;; ++uNth)
    {
        Followed kFollowed({"d/"});
        for (int i = 0; i < 300; ++i)
        {
            kFollowed.Make("n" + std::to_string(i) + "/");
            kFollowed.Make("n" + std::to_string(i) + "/x");
        }
        kFollowed.Touch("");
        std::vector<VOWString> vecMore;
        bool bCompared = false;
        VOFaultArm(nullptr, uNth, true);
        try
        {
            bCompared = kFollowed.kIndex.Compare({}, {}, &kFollowed.kChanges, &vecMore, &kFollowed.strError);
        }
        catch (const std::bad_alloc&)
        {
        }
        const bool bFired = VOFaultFired() != 0;
        VOFaultDisarm();
        if (!bFired)
        {
            break;
        }
        uRefused += bCompared ? 0 : 1;
        EXPECT_FALSE(bCompared && !kFollowed.kIndex.HasFolder(Wide("n299"))) << "allocation " << uNth;
        EXPECT_FALSE(bCompared && ReadImage(&kFollowed.kIndex).Walked() != kFollowed.kDisk.All())
            << "allocation " << uNth;
    }
    EXPECT_NE(0u, uRefused);
}

}  // namespace

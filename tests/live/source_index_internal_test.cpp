// An index beside a source that exists in memory alone: names that differ in case, folders that can't be read, what is
// left out, and a library that has no room any more.
#include "live/index_model.h"
#include "support/fault_points.h"
#include "vo_utility.h"

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
        EXPECT_TRUE(index.Build({}, &disk, nullptr, &strError)) << strError;
        setTold = ReadImage(&index).Walked();
        index.TakeLeftOut();
        index.TakeUnread();
    }

    // "a" is a file, "a/" a folder.
    void Make(const std::string& strPath)
    {
        const bool bFolder = strPath.back() == '/';
        disk.Add(Wide(bFolder ? strPath.substr(0, strPath.size() - 1) : strPath), bFolder);
    }

    // Moves within a folder, and hints at it.
    void Rename(const std::string& strFrom, const std::string& strTo)
    {
        disk.Move(Wide(strFrom), Wide(strTo));
        FolderHints& hints = mapHints[lum::ParentPath(Wide(strFrom))];
        hints.vecRenamed.emplace_back(lum::LastPart(Wide(strFrom)), lum::LastPart(Wide(strTo)));
        hints.setWritten.insert(lum::LastPart(Wide(strTo)));
    }

    void Touch(const std::string& strFolder) { mapHints[Wide(strFolder)]; }

    // Compares what was hinted at, and what that leads to. False when the index can't follow any more.
    bool Follow()
    {
        bool bFollowed = true;
        while (bFollowed && !mapHints.empty())
        {
            const auto first = mapHints.extract(mapHints.begin());
            std::vector<VOWString> vecMore;
            VOWString strFolder = first.key();
            while (!index.HasFolder(strFolder))
            {
                strFolder = lum::ParentPath(strFolder);
            }
            const FolderHints hints = strFolder == first.key() ? first.mapped() : FolderHints();
            bFollowed = index.Compare(strFolder, hints, &changes, &vecMore, &strError);
            for (const VOWString& strMore : vecMore)
            {
                mapHints[strMore].bMore = true;
            }
        }
        Apply({changes.begin() + static_cast<ptrdiff_t>(m_uApplied), changes.end()}, &setTold);
        m_uApplied = changes.size();
        return bFollowed;
    }

    // Index and told agree, and everything in the index is found.
    void Check()
    {
        const ReadImage image(&index);
        image.CheckEveryPathIsFound();
        EXPECT_EQ(setTold, image.Walked());
        EXPECT_EQ(setTold.size() + 1, index.NodeCount());
    }

    void FollowAndCheck()
    {
        EXPECT_TRUE(Follow()) << strError;
        Check();
        EXPECT_EQ(disk.All(), setTold);
    }

    std::vector<std::string> Told() const
    {
        std::vector<std::string> vecTold;
        for (const Change& change : changes)
        {
            const char* const apszKinds[] = {"", "added ", "removed ", "renamed ", "modified "};
            vecTold.push_back(apszKinds[static_cast<unsigned>(change.eKind)] + Shown(change.strPath));
        }
        return vecTold;
    }

    unsigned Id(const std::string& strPath) { return ReadImage(&index).Find(Wide(strPath)); }

    MemoryDisk disk;
    lum::SourceIndex index{LUMTrayService::AF_SOURCE, VOTEXT("/root"), VOTEXT("root"), false};
    std::map<VOWString, FolderHints> mapHints;
    Changes changes;
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
        Followed followed({"A", "a"});
        followed.Check();
        followed.disk.Remove(Wide(pszGone));
        followed.Touch("");
        followed.FollowAndCheck();
        EXPECT_EQ(Texts{std::string("removed ") + pszGone}, followed.Told());
    }
}

TEST(SourceIndexTwins, OfManyTwinsEachStaysFoundUntilItGoes)
{
    Followed followed({"abc", "ABC", "Abc", "aBc", "abC", "aBC"});
    for (const char* pszGone : {"ABC", "aBC", "abc", "Abc", "abC", "aBc"})
    {
        followed.disk.Remove(Wide(pszGone));
        followed.Touch("");
        followed.FollowAndCheck();
    }
}

TEST(SourceIndexTwins, WhatLiesInAFolderIsFoundWhenTheFoldersTwinGoes)
{
    Followed followed({"D/", "D/x", "D/s/", "D/s/y", "d/", "d/x", "d/X", "d/s/", "d/s/y", "d/S/", "d/S/y"});
    followed.disk.Remove(Wide("D"));
    followed.Touch("");
    followed.FollowAndCheck();
}

TEST(SourceIndexTwins, AFolderWithTwinsInItIsRenamedWhole)
{
    Followed followed({"d/", "d/x", "d/X", "d/s/", "d/S/", "d/s/x", "d/S/x", "D/", "D/x"});
    const unsigned uFile = followed.Id("d/X");
    followed.Rename("d", "e");
    followed.FollowAndCheck();
    EXPECT_EQ(Texts{"renamed d"}, followed.Told());
    EXPECT_EQ(uFile, followed.Id("e/X"));
}

TEST(SourceIndexTwins, ARenameThatChangesTheCaseAloneKeepsTheNodes)
{
    Followed followed({"d/", "d/x", "d/X", "f"});
    const unsigned uFile = followed.Id("d/X");
    const unsigned uOther = followed.Id("f");
    followed.Rename("d", "D");
    followed.Rename("f", "F");
    followed.FollowAndCheck();
    EXPECT_EQ((Texts{"renamed d", "renamed f"}), followed.Told());
    EXPECT_EQ(uFile, followed.Id("D/X"));
    EXPECT_EQ(uOther, followed.Id("F"));
}

TEST(SourceIndexTwins, ARenameBesideATwinKeepsTheNode)
{
    Followed followed({"a", "b", "d/", "d/x", "e/", "e/x", "e/X"});
    const unsigned uFile = followed.Id("b");
    const unsigned uInside = followed.Id("e/x");
    followed.Rename("b", "A");
    followed.Rename("e", "D");
    followed.FollowAndCheck();
    EXPECT_EQ(uFile, followed.Id("A"));
    EXPECT_EQ(uInside, followed.Id("D/x"));
}

TEST(SourceIndexTwins, ARenameOntoTheTwinLeavesOneFile)
{
    Followed followed({"a", "A", "d/", "d/x", "d/s/", "d/s/y", "D/"});
    followed.Rename("a", "A");
    followed.Rename("d", "D");
    followed.FollowAndCheck();
}

TEST(SourceIndexTwins, TwinsAreKeptApartWhenTheContainerIsMadeAnew)
{
    Followed followed({"a", "A", "D/", "D/x", "d/", "d/x", "d/X"});
    ASSERT_TRUE(followed.index.Renew({}, &followed.strError));
    followed.Check();
    followed.disk.Remove(Wide("A"));
    followed.disk.Remove(Wide("D"));
    followed.Touch("");
    followed.FollowAndCheck();
}

// Names that are few and differ in case, so that twins come, go, move and lie in each other all the time.
class RandomDisk
{
public:
    // bNames: hints say which names changed.
    RandomDisk(uint64_t ullSeed, bool bNames) : m_random(ullSeed), m_bNames(bNames) {}

    void Step(Followed* pFollowed)
    {
        MemoryDisk& givenDisk = pFollowed->disk;
        const VOWString strFolder = _Folder(givenDisk);
        const VOWString strPath = lum::JoinPath(strFolder, _Name());
        const bool bThere = givenDisk.mapEntries.contains(strPath);
        FolderHints hints;
        switch (m_random.Below(8))
        {
            case 0:
            case 1:
            case 2:
                if (!bThere && std::count(strPath.begin(), strPath.end(), VOWCHAR('/')) < 5)
                {
                    givenDisk.Add(strPath, m_random.Percent(50));
                    hints.setWritten.insert(lum::LastPart(strPath));
                }
                break;
            case 3:
                givenDisk.Remove(strPath);
                hints.setGone.insert(lum::LastPart(strPath));
                break;
            case 4:
                if (bThere && !givenDisk.IsFolder(strPath))
                {
                    givenDisk.Add(strPath, false);
                    hints.setWritten.insert(lum::LastPart(strPath));
                }
                break;
            case 5:
                if (m_random.Percent(20))
                {
                    givenDisk.setUnreadable.insert(strFolder);
                }
                return;
            default:
                _Rename(strPath, lum::JoinPath(strFolder, _Name()), pFollowed);
        }
        hints.bMore = !m_bNames;
        pFollowed->mapHints[strFolder].Add(hints);
    }

    bool Percent(unsigned uPercent) { return m_random.Percent(uPercent); }

private:
    VOWString _Name()
    {
        const char* const apszNames[] = {"a", "A", "b", "B", "ab", "aB", "Ab", "AB"};
        return Wide(apszNames[m_random.Below(8)]);
    }

    VOWString _Folder(const MemoryDisk& disk)
    {
        VOWString strFolder;
        for (size_t uDeep = m_random.Below(4); uDeep > 0; --uDeep)
        {
            const VOWString strNext = lum::JoinPath(strFolder, _Name());
            strFolder = disk.IsFolder(strNext) ? strNext : strFolder;
        }
        return strFolder;
    }

    // As a system does it: a file goes over a file, a folder over an empty folder.
    void _Rename(const VOWString& strFrom, const VOWString& strTo, Followed* pFollowed)
    {
        MemoryDisk& givenDisk = pFollowed->disk;
        const bool bThere = givenDisk.mapEntries.contains(strTo);
        const bool bEmpty = std::none_of(givenDisk.mapEntries.begin(), givenDisk.mapEntries.end(),
                                         [&](const auto& one) { return lum::LiesIn(one.first, strTo); });
        if (strFrom != strTo && givenDisk.mapEntries.contains(strFrom) && bEmpty &&
            (!bThere || givenDisk.IsFolder(strFrom) == givenDisk.IsFolder(strTo)))
        {
            pFollowed->Rename(Shown(strFrom), Shown(strTo));
        }
    }

    votest::Random m_random;
    bool m_bNames;
};

TEST(SourceIndexTwins, AfterEveryRandomChangeIndexLookUpAndToldAgree)
{
    for (uint64_t ullSeed = 1; ullSeed <= 30 && !testing::Test::HasFailure(); ++ullSeed)
    {
        SCOPED_TRACE(ullSeed);
        // Names say enough when each change is followed at once; several may hide each other.
        const bool bNames = ullSeed % 2 == 0;
        RandomDisk random(ullSeed, bNames);
        Followed followed;
        for (int nStep = 0; nStep < 400 && !testing::Test::HasFailure(); ++nStep)
        {
            SCOPED_TRACE(nStep);
            random.Step(&followed);
            if (!bNames && random.Percent(40))
            {
                continue;  // several changes are found at once
            }
            ASSERT_TRUE(followed.Follow()) << followed.strError;
            followed.Check();
            if (random.Percent(10))
            {
                // Everything can be read again, and is looked at.
                followed.disk.setUnreadable.clear();
                for (const VOWString& strFolder : followed.index.Folders())
                {
                    followed.mapHints[strFolder];
                }
                followed.FollowAndCheck();
                EXPECT_EQ(0u, followed.index.UnreadCount());
            }
            if (random.Percent(2))
            {
                ASSERT_TRUE(followed.index.Renew({}, &followed.strError));
                followed.Check();
            }
        }
    }
}

TEST(SourceIndexNames, ChildrenStayInTheOrderOfTheirNames)
{
    votest::Random random(12);
    Followed followed({"d/"});
    std::set<std::string> setNames;
    for (int nStep = 0; nStep < 1500; ++nStep)
    {
        FolderHints& hints = followed.mapHints[Wide("d")];
        for (size_t uLeft = random.Percent(95) ? 1 : 100; uLeft > 0; --uLeft)
        {
            const std::string strName = std::to_string(random.Below(3000));
            const bool bThere = setNames.contains(strName);
            if (bThere)
            {
                followed.disk.Remove(Wide("d/" + strName));
                setNames.erase(strName);
                hints.setGone.insert(Wide(strName));
            }
            else
            {
                followed.Make("d/" + strName + (random.Percent(30) ? "/" : ""));
                setNames.insert(strName);
                hints.setWritten.insert(Wide(strName));
            }
        }
        ASSERT_TRUE(followed.Follow()) << followed.strError;
    }
    followed.Check();
    VOTSAssetNodeContainer& container = followed.index.Container();
    LUMTrayService::structAssetNode folder;
    ASSERT_EQ(1, container.FindAssetNode(VOTEXT("d"), folder));
    size_t uChildren = 0;
    for (const unsigned uList : {folder.nChildFileInfo, folder.nChildFolderInfo})
    {
        std::vector<unsigned> vecChildren;
        container.GetInfoNumberList(uList, vecChildren);
        std::vector<VOWString> vecNames;
        for (const unsigned uChild : vecChildren)
        {
            LUMTrayService::structAssetNode node;
            container.GetAssetNode(uChild, node);
            vecNames.push_back(VOTextOf(container.GetString(node.hStrBaseName)));
        }
        EXPECT_TRUE(std::is_sorted(vecNames.begin(), vecNames.end()));
        uChildren += vecNames.size();
    }
    EXPECT_EQ(setNames.size(), uChildren);
    EXPECT_GT(uChildren, 500u);
}

TEST(SourceIndexRenames, WhatWasRenamedIsKnownByItsLookWhenNobodyTellsOfIt)
{
    Followed followed({"a", "d/", "d/x", "stays"});
    const unsigned uFile = followed.Id("a");
    const unsigned uBelow = followed.Id("d/x");
    followed.disk.Move(VOTEXT("a"), VOTEXT("b"));
    followed.disk.Move(VOTEXT("d"), VOTEXT("e"));
    followed.Touch("");
    followed.FollowAndCheck();
    EXPECT_EQ((Texts{"renamed a", "renamed d"}), followed.Told());
    EXPECT_EQ(uFile, followed.Id("b"));
    EXPECT_EQ(uBelow, followed.Id("e/x"));
}

TEST(SourceIndexRenames, BelowAFolderOfWhichNobodyToldEverythingIsLookedAt)
{
    Followed followed({"d/", "d/in/", "d/in/x", "d/gone"});
    followed.disk.Move(VOTEXT("d"), VOTEXT("e"));
    followed.disk.Remove(VOTEXT("e/gone"));
    followed.Make("e/in/y");
    followed.Touch("");
    followed.FollowAndCheck();
    EXPECT_EQ((Texts{"renamed d", "removed e/gone", "added e/in/y"}), followed.Told());
}

TEST(SourceIndexRenames, WhatLooksLikeSomethingElseAsWellIsNone)
{
    const struct
    {
        const char* pszWhat;
        void (*pfnPrepare)(std::map<VOWString, lum::IndexEntry>& mapEntries);
    } aCases[] = {
        {"two that went",
         [](auto& mapEntries)
         {
             mapEntries[VOTEXT("c")] = mapEntries[VOTEXT("a")];
             mapEntries[VOTEXT("c")].strName = VOTEXT("c");
         }},
        {"whole seconds", [](auto& mapEntries) { mapEntries[VOTEXT("a")].uWriteFraction = 0; }},
    };
    for (const auto& one : aCases)
    {
        SCOPED_TRACE(one.pszWhat);
        Followed followed;
        followed.Make("a");
        one.pfnPrepare(followed.disk.mapEntries);
        followed.Touch("");
        followed.FollowAndCheck();
        followed.disk.Move(VOTEXT("a"), VOTEXT("b"));
        followed.disk.Remove(VOTEXT("c"));
        followed.Touch("");
        followed.FollowAndCheck();
        const Texts vecTold = followed.Told();
        EXPECT_EQ(0, std::count(vecTold.begin(), vecTold.end(), "renamed a"));
        EXPECT_EQ(1, std::count(vecTold.begin(), vecTold.end(), "removed a"));
        EXPECT_EQ(1, std::count(vecTold.begin(), vecTold.end(), "added b"));
    }
}

TEST(SourceIndexRenames, AnotherSizeIsAnotherFile)
{
    Followed followed({"a"});
    followed.disk.Move(VOTEXT("a"), VOTEXT("b"));
    followed.disk.mapEntries[VOTEXT("b")].ullSize = 1;
    followed.Touch("");
    followed.FollowAndCheck();
    EXPECT_EQ((Texts{"removed a", "added b"}), followed.Told());
}

TEST(SourceIndexUnread, AFolderThatCantBeListedStaysAsItWasUntilItCan)
{
    Followed followed({"d/", "d/a", "d/s/", "d/s/b", "e"});
    const Paths setBefore = followed.setTold;
    followed.disk.setUnreadable = {Wide("d"), Wide("d/s"), Wide("")};
    followed.disk.Remove(Wide("d/a"));
    followed.Make("d/c");
    for (int nTry = 0; nTry < 2; ++nTry)
    {
        followed.Touch("");
        followed.Touch("d");
        followed.Touch("d/s");
        ASSERT_TRUE(followed.Follow()) << followed.strError;
        EXPECT_EQ(setBefore, followed.setTold);
        EXPECT_EQ(3u, followed.index.UnreadCount());
        EXPECT_EQ(nTry == 0 ? 3u : 0u, followed.index.TakeUnread().size()) << "each is news once";
    }
    followed.disk.setUnreadable.clear();
    followed.Touch("");
    followed.Touch("d");
    followed.Touch("d/s");
    followed.FollowAndCheck();
    EXPECT_EQ((Texts{"removed d/a", "added d/c"}), followed.Told());
    EXPECT_EQ(0u, followed.index.UnreadCount());
}

TEST(SourceIndexUnread, AFolderThatCantBeListedWhenItComesIsThereAndFilledLater)
{
    Followed followed;
    followed.Make("d/");
    followed.Make("d/a");
    followed.disk.setUnreadable = {Wide("d")};
    followed.Touch("");
    ASSERT_TRUE(followed.Follow()) << followed.strError;
    EXPECT_EQ(Texts{"added d"}, followed.Told());
    ASSERT_TRUE(followed.index.IsUnread(Wide("d")));
    EXPECT_FALSE(followed.index.TakeUnread().at(0).bEntered);
    followed.disk.setUnreadable.clear();
    followed.Touch("d");
    followed.FollowAndCheck();
}

TEST(SourceIndexUnread, AFolderThatGoesIsNoneThatCantBeRead)
{
    Followed followed({"d/", "d/s/"});
    followed.disk.setUnreadable = {Wide("d"), Wide("d/s")};
    followed.Touch("d");
    followed.Touch("d/s");
    ASSERT_TRUE(followed.Follow()) << followed.strError;
    EXPECT_EQ(2u, followed.index.UnreadCount());
    followed.disk.Remove(Wide("d"));
    followed.Touch("");
    followed.FollowAndCheck();
    EXPECT_EQ(0u, followed.index.UnreadCount());
}

TEST(SourceIndexUnread, WhatCantBeLookedAtKeepsWhatIsKnownOfIt)
{
    Followed followed({"a", "d/", "d/x"});
    IndexEntry vague;
    vague.bDescribed = false;
    for (const char* pszName : {"a", "d", "new"})
    {
        vague.strName = Wide(pszName);
        followed.disk.mapEntries[Wide(pszName)] = vague;
    }
    followed.Touch("");
    ASSERT_TRUE(followed.Follow()) << followed.strError;
    EXPECT_EQ(Texts{"added new"}, followed.Told()) << "the folder is one, and holds what it held";
    EXPECT_TRUE(followed.index.IsUnread(Wide("")));
    followed.Make("a");
    followed.Make("d/");
    followed.Make("new/");
    followed.Touch("");
    followed.FollowAndCheck();
    EXPECT_EQ(0u, followed.index.UnreadCount());
}

TEST(SourceIndexLeftOut, AConflictThatArisesWhileFollowingIsNamedAndForgottenWhenItGoes)
{
    Followed followed({"d/", "d/x"});
    for (int nRound = 0; nRound < 2; ++nRound)
    {
        IndexEntry refused;
        refused.strName = Wide("d");
        refused.strRefusal = "a file here, and a folder in an earlier directory";
        // Beside the folder of that name, as a lister of several directories gives it.
        followed.disk.mapEntries[Wide("d")].strName = Wide("d");
        followed.disk.mapEntries[VOWString(VOTEXT("\x01"))] = refused;
        for (int nLook = 0; nLook < 2; ++nLook)
        {
            followed.Touch("");
            ASSERT_TRUE(followed.Follow()) << followed.strError;
            const std::vector<lum::NotIndexed> vecLeftOut = followed.index.TakeLeftOut();
            ASSERT_EQ(nLook == 0 ? 1u : 0u, vecLeftOut.size()) << "round " << nRound;
            EXPECT_EQ(1u, followed.index.LeftOutCount());
            EXPECT_TRUE(nLook != 0 || vecLeftOut[0].strPath == Wide("d"));
        }
        followed.disk.mapEntries.erase(VOWString(VOTEXT("\x01")));
        followed.Touch("");
        followed.FollowAndCheck();
        EXPECT_EQ(0u, followed.index.LeftOutCount());
    }
    EXPECT_EQ(Texts(), followed.Told());
}

TEST(SourceIndexLeftOut, WhatIsTooLongIsEnteredWhenItsFolderGetsAShorterName)
{
    const std::string strLong(150, 'l');
    Followed followed({strLong + "/", strLong + "/" + strLong, strLong + "/x"});
    EXPECT_EQ(1u, followed.index.LeftOutCount());
    followed.Rename(strLong, "short");
    followed.FollowAndCheck();
    EXPECT_EQ(0u, followed.index.LeftOutCount());
}

TEST(SourceIndexLeftOut, WhatIsLeftOutAgainByAComparisonIsNoChangeOfTheIndex)
{
    Followed followed({"d/", "d/" + std::string(300, 'l'), "d/x"});
    EXPECT_EQ(1u, followed.index.LeftOutCount());
    ReadImage(&followed.index).CheckEveryPathIsFound();
    for (int nLook = 0; nLook < 2; ++nLook)
    {
        followed.Touch("d");
        ASSERT_TRUE(followed.Follow()) << followed.strError;
        EXPECT_FALSE(followed.index.HasChanged());
    }
    EXPECT_EQ(Texts(), followed.Told());
    EXPECT_EQ(1u, followed.index.LeftOutCount());
}

TEST(SourceIndexFull, AListOfChildrenThatDoesntFitIsAFailureThatSaysSo)
{
    Followed followed({"a"});
    followed.Make("d/");
    followed.Make("d/x");
    followed.Touch("");
    VOFaultArm("index.children", 1, false);
    EXPECT_FALSE(followed.Follow());
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ("the index is full", followed.strError);
}

// Whatever allocation fails, the comparison says so or has done all of its work.
TEST(SourceIndexFull, AComparisonThatCouldntDoItsWorkSaysSo)
{
    unsigned uRefused = 0;
    for (unsigned uNth = 1;; ++uNth)
    {
        Followed followed({"d/"});
        for (int i = 0; i < 300; ++i)
        {
            followed.Make("n" + std::to_string(i) + "/");
            followed.Make("n" + std::to_string(i) + "/x");
        }
        followed.Touch("");
        std::vector<VOWString> vecMore;
        bool bCompared = false;
        VOFaultArm(nullptr, uNth, true);
        try
        {
            bCompared = followed.index.Compare({}, {}, &followed.changes, &vecMore, &followed.strError);
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
        EXPECT_FALSE(bCompared && !followed.index.HasFolder(Wide("n299"))) << "allocation " << uNth;
        EXPECT_FALSE(bCompared && ReadImage(&followed.index).Walked() != followed.disk.All()) << "allocation " << uNth;
    }
    EXPECT_NE(0u, uRefused);
}

}  // namespace

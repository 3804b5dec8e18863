// The watched tree by itself: the test decides how much has happened on disk by the time it looks.
#include <sys/stat.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

#include "platform/posix/watch_tree.h"
#include "tests/platform/change_mirror.h"
#include "tests/platform/change_reader.h"

namespace fs = std::filesystem;

namespace
{
// A tree over a folder; changes are told when the test asks for them.
class ToldTree
{
public:
    ToldTree()
    {
        fs::create_directory(Root());
        struct stat info = {};
        EXPECT_EQ(0, stat(Root().c_str(), &info));
        m_pTree = std::make_unique<WatchTree>(Root().string(), FileIdentity{info.st_dev, info.st_ino},
                                              ChangeReader::ALL, m_bStop);
        EXPECT_EQ(0, m_pTree->Open());
        m_pTree->TakeLost();
    }

    fs::path Root() const { return m_folder.Path() / "root"; }
    fs::path Outside() const { return m_folder.Path(); }
    bool IsLost() const { return m_bLost; }
    const Mirror& Told() const { return m_mirror; }
    const std::vector<std::string>& Changes() const { return m_vecChanges; }

    // Takes the notices that are there.
    void Process()
    {
        ChangeBatch batch;
        m_pTree->Process(&batch);
        m_bLost = m_pTree->TakeLost() || m_bLost;
        ForEachChange(batch.Data(), batch.Size(),
                      [this](const std::string& strChange, const VOWString&, bool)
                      {
                          m_mirror.Apply(strChange);
                          m_vecChanges.push_back(strChange);
                      });
    }

    // Until nothing is left to be told.
    void Settle()
    {
        Process();
        while (!m_bLost && m_pTree->Timeout() >= 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(m_pTree->Timeout()));
            Process();
        }
    }

private:
    TemporaryFolder m_folder;
    std::atomic<bool> m_bStop{false};
    std::unique_ptr<WatchTree> m_pTree;
    Mirror m_mirror;
    std::vector<std::string> m_vecChanges;
    bool m_bLost = false;
};

// Names are few, so that they are taken again and again.
fs::path RandomPath(const fs::path& root, std::minstd_rand& random)
{
    fs::path path = root;
    const unsigned uDepth = 1 + random() % 3;
    for (unsigned uPart = 0; uPart < uDepth; ++uPart)
    {
        path /= std::string(1, static_cast<char>('a' + random() % 3));
    }
    return path;
}

void ChangeAtRandom(const fs::path& root, std::minstd_rand& random)
{
    std::error_code error;
    const fs::path path = RandomPath(root, random);
    const fs::path other = RandomPath(root, random);
    switch (random() % 8)
    {
        case 0:
        case 1:
        case 2:
            fs::create_directory(path, error);
            break;
        case 3:
            std::ofstream(path).close();
            break;
        case 4:
        case 5:
            fs::rename(path, other, error);
            break;
        case 6:
            fs::remove(path, error);
            break;
        default:
            fs::remove_all(path, error);
            break;
    }
}
}  // namespace

TEST(WatchTree, DoesNotTakeAFileThatGoesAndOneThatComesForARename)
{
    ToldTree tree;
    std::ofstream(tree.Root() / "gone").close();
    std::ofstream(tree.Outside() / "other").close();
    tree.Settle();
    fs::rename(tree.Root() / "gone", tree.Outside() / "gone");
    fs::rename(tree.Outside() / "other", tree.Root() / "come");
    tree.Settle();
    EXPECT_EQ((std::vector<std::string>{"+ gone", "* gone", "- gone", "+ come"}), tree.Changes());
}

TEST(WatchTree, TellsWhatItLooksAtLateAsTheDiskHasIt)
{
    // The seeds hold some whose directories are moved, watched elsewhere meanwhile, and moved back.
    constexpr unsigned FIRST = 251;
    constexpr unsigned SEEDS = 100;
    unsigned uCompared = 0;
    for (unsigned uSeed = FIRST; uSeed < FIRST + SEEDS; ++uSeed)
    {
        std::minstd_rand random(uSeed);
        ToldTree tree;
        const unsigned uPace = 2 + random() % 40;
        for (unsigned uStep = 0; uStep < 150 && !tree.IsLost(); ++uStep)
        {
            ChangeAtRandom(tree.Root(), random);
            if (random() % uPace == 0)
            {
                tree.Process();
            }
        }
        tree.Settle();
        if (!tree.IsLost())
        {
            ++uCompared;
            EXPECT_EQ(OnDisk(tree.Root()), tree.Told().Paths()) << "seed " << uSeed;
            EXPECT_EQ(0u, tree.Told().Wrong()) << "seed " << uSeed;
        }
    }
    EXPECT_GT(uCompared, SEEDS / 2) << "most rounds lost changes";
}

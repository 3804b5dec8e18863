// Random changes of a directory tree, for as long as a run of them takes.
#pragma once

#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

typedef std::chrono::steady_clock SoakClock;

// How long random changes go on: as the environment says, or so long.
inline std::chrono::seconds SoakTime(std::chrono::seconds unlessSaid)
{
    const char* pszSeconds = getenv("VOBASE_SOAK_SECONDS");
    return pszSeconds != nullptr ? std::chrono::seconds(atoi(pszSeconds)) : unlessSaid;
}

// Several of these change one tree until the time is over.
class RandomWriter
{
public:
    RandomWriter(std::filesystem::path root, unsigned uSeed) : m_root(std::move(root)), m_random(uSeed) {}

    void Run(SoakClock::time_point kEnd)
    {
        while (SoakClock::now() < kEnd)
        {
            // Other writers take things away at any moment.
            std::error_code ignored;
            _Collect();
            _Step(ignored);
            std::this_thread::sleep_for(std::chrono::microseconds(m_random() % 4000));
        }
    }

private:
    void _Collect()
    {
        m_vecFolders.assign(1, m_root);
        m_vecFiles.clear();
        std::error_code ends;
        for (std::filesystem::recursive_directory_iterator it(m_root, ends), itEnd; !ends && it != itEnd;
             it.increment(ends))
        {
            std::error_code gone;
            (it->is_directory(gone) ? m_vecFolders : m_vecFiles).push_back(it->path());
        }
    }

    const std::filesystem::path& _Folder() { return m_vecFolders[m_random() % m_vecFolders.size()]; }
    std::filesystem::path _File()
    {
        return m_vecFiles.empty() ? m_root / "none" : m_vecFiles[m_random() % m_vecFiles.size()];
    }
    // Half of the names differ from another one in case alone.
    std::string _Name() { return (m_random() % 2 == 0 ? "n" : "N") + std::to_string(m_random() % 40); }

    // The same name, in the other case.
    static std::filesystem::path _Twin(const std::filesystem::path& path)
    {
        std::string strName = path.filename().string();
        for (char& rch : strName)
        {
            rch = static_cast<char>(rch >= 'a' && rch <= 'z'   ? rch - 'a' + 'A'
                                    : rch >= 'A' && rch <= 'Z' ? rch - 'A' + 'a'
                                                               : rch);
        }
        return path.parent_path() / strName;
    }

    void _Step(std::error_code& ignored)
    {
        const std::filesystem::path file = _File();
        const std::filesystem::path folder = _Folder();
        const bool bInside = folder != m_root;
        switch (m_vecFiles.size() > 2000 ? 10 : m_random() % 14)
        {
            case 0:
            case 1:
            case 2:
                _Write(folder / (_Name() + ".txt"), std::string(m_random() % 50, 'x'));
                break;
            case 3:
                _Write(file, std::string(m_random() % 100, 'y'));
                break;
            case 4:
                std::filesystem::create_directory(folder / _Name(), ignored);
                break;
            case 5:
                std::filesystem::rename(file, file.parent_path() / (_Name() + ".fbx"), ignored);
                break;
            case 6:
                std::filesystem::rename(file, folder / file.filename(), ignored);
                break;
            case 7:
                if (bInside)
                {
                    std::filesystem::rename(folder, folder.parent_path() / ("r" + _Name()), ignored);
                }
                break;
            case 8:
                if (bInside)
                {
                    std::filesystem::rename(folder, _Folder() / folder.filename(), ignored);
                }
                break;
            case 9:
                _Write(file.string() + "~", "saved");
                std::filesystem::rename(file.string() + "~", file, ignored);
                break;
            case 10:
                if (bInside && m_random() % 2 != 0)
                {
                    std::filesystem::remove_all(folder, ignored);
                    break;
                }
                std::filesystem::remove(file, ignored);
                break;
            case 11:
                std::filesystem::rename(file, _Twin(file), ignored);
                break;
            case 12:
                if (bInside)
                {
                    std::filesystem::rename(folder, _Twin(folder), ignored);
                }
                break;
            default:
            {
                const std::filesystem::path deep = folder / _Name() / "deep" / "er";
                std::filesystem::create_directories(deep, ignored);
                for (unsigned i = m_random() % 20; i > 0; --i)
                {
                    _Write(deep / ("b" + std::to_string(i) + ".tga"), "b");
                }
            }
        }
    }

    static void _Write(const std::filesystem::path& file, const std::string& strText)
    {
        std::ofstream(file) << strText;
    }

    std::filesystem::path m_root;
    std::mt19937 m_random;
    std::vector<std::filesystem::path> m_vecFolders;
    std::vector<std::filesystem::path> m_vecFiles;
};

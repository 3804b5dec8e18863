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
inline std::chrono::seconds SoakTime(std::chrono::seconds kUnlessSaid)
{
    const char* pszSeconds = getenv("VOBASE_SOAK_SECONDS");
    return pszSeconds != nullptr ? std::chrono::seconds(atoi(pszSeconds)) : kUnlessSaid;
}

// Several of these change one tree until the time is over.
class RandomWriter
{
public:
    RandomWriter(std::filesystem::path kRoot, unsigned uSeed) : m_kRoot(std::move(kRoot)), m_kRandom(uSeed) {}

    void Run(SoakClock::time_point kEnd)
    {
        while (SoakClock::now() < kEnd)
        {
            // Other writers take things away at any moment.
            std::error_code kIgnored;
            _Collect();
            _Step(kIgnored);
            std::this_thread::sleep_for(std::chrono::microseconds(m_kRandom() % 4000));
        }
    }

private:
    void _Collect()
    {
        m_vecFolders.assign(1, m_kRoot);
        m_vecFiles.clear();
        std::error_code kEnds;
        for (std::filesystem::recursive_directory_iterator it(m_kRoot, kEnds), itEnd; !kEnds && it != itEnd;
             it.increment(kEnds))
        {
            std::error_code kGone;
            (it->is_directory(kGone) ? m_vecFolders : m_vecFiles).push_back(it->path());
        }
    }

    const std::filesystem::path& _Folder() { return m_vecFolders[m_kRandom() % m_vecFolders.size()]; }
    std::filesystem::path _File()
    {
        return m_vecFiles.empty() ? m_kRoot / "none" : m_vecFiles[m_kRandom() % m_vecFiles.size()];
    }
    // Half of the names differ from another one in case alone.
    std::string _Name() { return (m_kRandom() % 2 == 0 ? "n" : "N") + std::to_string(m_kRandom() % 40); }

    // The same name, in the other case.
    static std::filesystem::path _Twin(const std::filesystem::path& kPath)
    {
        std::string strName = kPath.filename().string();
        for (char& rch : strName)
        {
            rch = static_cast<char>(rch >= 'a' && rch <= 'z'   ? rch - 'a' + 'A'
                                    : rch >= 'A' && rch <= 'Z' ? rch - 'A' + 'a'
                                                               : rch);
        }
        return kPath.parent_path() / strName;
    }

    void _Step(std::error_code& rkIgnored)
    {
        const std::filesystem::path kFile = _File();
        const std::filesystem::path kFolder = _Folder();
        const bool bInside = kFolder != m_kRoot;
        switch (m_vecFiles.size() > 2000 ? 10 : m_kRandom() % 14)
        {
            case 0:
            case 1:
            case 2:
                _Write(kFolder / (_Name() + ".txt"), std::string(m_kRandom() % 50, 'x'));
                break;
            case 3:
                _Write(kFile, std::string(m_kRandom() % 100, 'y'));
                break;
            case 4:
                std::filesystem::create_directory(kFolder / _Name(), rkIgnored);
                break;
            case 5:
                std::filesystem::rename(kFile, kFile.parent_path() / (_Name() + ".fbx"), rkIgnored);
                break;
            case 6:
                std::filesystem::rename(kFile, kFolder / kFile.filename(), rkIgnored);
                break;
            case 7:
                if (bInside)
                {
                    std::filesystem::rename(kFolder, kFolder.parent_path() / ("r" + _Name()), rkIgnored);
                }
                break;
            case 8:
                if (bInside)
                {
                    std::filesystem::rename(kFolder, _Folder() / kFolder.filename(), rkIgnored);
                }
                break;
            case 9:
                _Write(kFile.string() + "~", "saved");
                std::filesystem::rename(kFile.string() + "~", kFile, rkIgnored);
                break;
            case 10:
                if (bInside && m_kRandom() % 2 != 0)
                {
                    std::filesystem::remove_all(kFolder, rkIgnored);
                    break;
                }
                std::filesystem::remove(kFile, rkIgnored);
                break;
            case 11:
                std::filesystem::rename(kFile, _Twin(kFile), rkIgnored);
                break;
            case 12:
                if (bInside)
                {
                    std::filesystem::rename(kFolder, _Twin(kFolder), rkIgnored);
                }
                break;
            default:
            {
                const std::filesystem::path kDeep = kFolder / _Name() / "deep" / "er";
                std::filesystem::create_directories(kDeep, rkIgnored);
                for (unsigned i = m_kRandom() % 20; i > 0; --i)
                {
                    _Write(kDeep / ("b" + std::to_string(i) + ".tga"), "b");
                }
            }
        }
    }

    static void _Write(const std::filesystem::path& kFile, const std::string& strText)
    {
        std::ofstream(kFile) << strText;
    }

    std::filesystem::path m_kRoot;
    std::mt19937 m_kRandom;
    std::vector<std::filesystem::path> m_vecFolders;
    std::vector<std::filesystem::path> m_vecFiles;
};

// What the events that a watcher was told make of the paths that it began with; and a publisher that can open nothing.
#pragma once

#include <sys/resource.h>

#include "tests/live/live_test_support.h"

class Replay
{
public:
    explicit Replay(std::set<std::string> setPaths, std::string strSource = "source")
        : m_setPaths(std::move(setPaths)), m_strSource(std::move(strSource))
    {
    }

    // Applies what was told since the last time. Anything that doesn't fit is a failure.
    const std::set<std::string>& Follow(const LumWatch& kWatch)
    {
        const std::vector<nlohmann::json> vecEvents = kWatch.Events();
        for (; m_uApplied < vecEvents.size(); ++m_uApplied)
        {
            if (vecEvents[m_uApplied]["from"] == m_strSource)
            {
                _Apply(vecEvents[m_uApplied]);
            }
        }
        return m_setPaths;
    }

private:
    void _Apply(const nlohmann::json& kEvent)
    {
        const std::string strKind = kEvent["kind"];
        const std::string strPath = kEvent["path"];
        const std::string strParent = std::filesystem::path(strPath).parent_path().string();
        if (strKind == "added")
        {
            EXPECT_TRUE(strParent.empty() || m_setPaths.contains(strParent)) << kEvent;
            EXPECT_TRUE(m_setPaths.insert(strPath).second) << kEvent;
        }
        else if (strKind == "removed")
        {
            EXPECT_EQ(m_setPaths.erase(strPath), 1u) << kEvent;
        }
        else if (strKind == "renamed")
        {
            EXPECT_TRUE(m_setPaths.contains(strPath)) << kEvent;
            _Rename(strPath, (std::filesystem::path(strParent) / kEvent["new_name"].get<std::string>()).string());
        }
        else
        {
            EXPECT_TRUE(m_setPaths.contains(strPath)) << kEvent;
        }
    }

    void _Rename(const std::string& strOld, const std::string& strNew)
    {
        std::set<std::string> setMoved;
        for (const std::string& strOne : m_setPaths)
        {
            const bool bMoves = strOne == strOld || strOne.starts_with(strOld + "/");
            EXPECT_TRUE(setMoved.insert(bMoves ? strNew + strOne.substr(strOld.size()) : strOne).second) << strOne;
        }
        m_setPaths.swap(setMoved);
    }

    std::set<std::string> m_setPaths;
    std::string m_strSource;
    size_t m_uApplied = 0;
};

// As long as it lives, a process can open no file, directory or section any more.
class NoFilesLeft
{
public:
    explicit NoFilesLeft(uint32_t uProcessId) : m_nProcess(static_cast<pid_t>(uProcessId))
    {
        EXPECT_EQ(prlimit(m_nProcess, RLIMIT_NOFILE, nullptr, &m_kBefore), 0);
        rlimit kNone = m_kBefore;
        kNone.rlim_cur = 4;
        EXPECT_EQ(prlimit(m_nProcess, RLIMIT_NOFILE, &kNone, nullptr), 0);
    }
    ~NoFilesLeft() { EXPECT_EQ(prlimit(m_nProcess, RLIMIT_NOFILE, &m_kBefore, nullptr), 0); }
    NoFilesLeft(const NoFilesLeft&) = delete;
    NoFilesLeft& operator=(const NoFilesLeft&) = delete;

private:
    pid_t m_nProcess;
    rlimit m_kBefore = {};
};

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
    const std::set<std::string>& Follow(const LumWatch& watch)
    {
        const std::vector<nlohmann::json> vecEvents = watch.Events();
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
    void _Apply(const nlohmann::json& event)
    {
        const std::string strKind = event["kind"];
        const std::string strPath = event["path"];
        const std::string strParent = std::filesystem::path(strPath).parent_path().string();
        if (strKind == "added")
        {
            EXPECT_TRUE(strParent.empty() || m_setPaths.contains(strParent)) << event;
            EXPECT_TRUE(m_setPaths.insert(strPath).second) << event;
        }
        else if (strKind == "removed")
        {
            EXPECT_EQ(m_setPaths.erase(strPath), 1u) << event;
        }
        else if (strKind == "renamed")
        {
            EXPECT_TRUE(m_setPaths.contains(strPath)) << event;
            _Rename(strPath, (std::filesystem::path(strParent) / event["new_name"].get<std::string>()).string());
        }
        else
        {
            EXPECT_TRUE(m_setPaths.contains(strPath)) << event;
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
        EXPECT_EQ(prlimit(m_nProcess, RLIMIT_NOFILE, nullptr, &m_before), 0);
        rlimit kNone = m_before;
        kNone.rlim_cur = 4;
        EXPECT_EQ(prlimit(m_nProcess, RLIMIT_NOFILE, &kNone, nullptr), 0);
    }
    ~NoFilesLeft() { EXPECT_EQ(prlimit(m_nProcess, RLIMIT_NOFILE, &m_before, nullptr), 0); }
    NoFilesLeft(const NoFilesLeft&) = delete;
    NoFilesLeft& operator=(const NoFilesLeft&) = delete;

private:
    pid_t m_nProcess;
    rlimit m_before = {};
};

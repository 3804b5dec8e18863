// A running "lum watch", and waiting for what a publisher finds out.
#pragma once

#include <functional>
#include <set>
#include <thread>

#include "support/waiting.h"
#include "tests/lum_support/lum_test_support.h"

// For conditions that take a process of their own to look at.
template <typename Condition>
bool WaitUntil(Condition&& holds)
{
    return votest::WaitUntil(holds, std::chrono::milliseconds(50));
}

// "lum watch --json". Constructed, it gets every event from now on.
class LumWatch
{
public:
    explicit LumWatch(std::vector<std::string> vecArguments = {}) : m_process(Arguments(std::move(vecArguments)))
    {
        // Its threads look twice a second, and take no event from before their first look.
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    }

    LumProcess& Process() { return m_process; }

    std::vector<nlohmann::json> Events() const
    {
        std::vector<nlohmann::json> vecEvents;
        const std::string strOut = m_process.Out();
        for (const std::string& strLine : LinesOf(strOut.substr(0, strOut.rfind('\n') + 1)))
        {
            vecEvents.push_back(nlohmann::json::parse(strLine, nullptr, false));
        }
        return vecEvents;
    }

    // "added a.txt", "renamed a.txt b.txt", "removed folder/"
    std::vector<std::string> Told() const
    {
        std::vector<std::string> vecTold;
        for (const nlohmann::json& event : Events())
        {
            std::string strTold = event["kind"].get<std::string>() + " " + event["path"].get<std::string>() +
                                  (event["folder"].get<bool>() ? "/" : "");
            if (event.contains("new_name"))
            {
                strTold += " " + event["new_name"].get<std::string>();
            }
            vecTold.push_back(strTold);
        }
        return vecTold;
    }

    bool WaitForTold(const std::string& strTold) const
    {
        return WaitUntil(
            [&]
            {
                const std::vector<std::string> vecTold = Told();
                return std::find(vecTold.begin(), vecTold.end(), strTold) != vecTold.end();
            });
    }

private:
    static std::vector<std::string> Arguments(std::vector<std::string> vecArguments)
    {
        vecArguments.insert(vecArguments.begin(), {"watch", "--json"});
        return vecArguments;
    }

    LumProcess m_process;
};

// Everything in the index, by path.
inline std::set<std::string> IndexedPaths()
{
    std::set<std::string> setPaths;
    const std::string strOut = RunLum({"find", "--null"}).strOut;
    for (size_t uAt = 0; uAt < strOut.size();)
    {
        const size_t uEnd = strOut.find('\0', uAt);
        setPaths.insert(strOut.substr(uAt, uEnd - uAt));
        uAt = uEnd + 1;
    }
    return setPaths;
}

// Everything on the disk below a directory, by path.
inline std::set<std::string> PathsOnDisk(const std::filesystem::path& root)
{
    std::set<std::string> setPaths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
    {
        setPaths.insert(entry.path().lexically_relative(root).generic_string());
    }
    return setPaths;
}

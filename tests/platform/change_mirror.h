// What a tree holds, on disk and as its change records tell it, for the tests.
#pragma once

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

// Every path below a directory, in the form of the records.
inline std::set<std::string> OnDisk(const std::filesystem::path& root)
{
    std::set<std::string> setPaths;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
    {
        std::string strPath = std::filesystem::relative(entry.path(), root).string();
        std::replace(strPath.begin(), strPath.end(), '/', '\\');
        setPaths.insert(strPath);
    }
    return setPaths;
}

// A set of paths to which records are applied; what they do has to make sense each time.
class Mirror
{
public:
    void Apply(const std::string& strChange)
    {
        const std::string strPath = strChange.substr(2);
        switch (strChange[0])
        {
            case '+':
                m_uWrong += m_setPaths.insert(strPath).second ? 0 : 1;
                break;
            case '-':
                m_uWrong += m_setPaths.erase(strPath) == 1 ? 0 : 1;
                Move(strPath, nullptr);
                break;
            case '<':
                m_strOld = strPath;
                break;
            case '>':
                m_uWrong += m_setPaths.erase(m_strOld) == 1 ? 0 : 1;
                m_uWrong += m_setPaths.insert(strPath).second ? 0 : 1;
                Move(m_strOld, &strPath);
                break;
            default:
                break;
        }
    }
    const std::set<std::string>& Paths() const { return m_setPaths; }
    size_t Wrong() const { return m_uWrong; }

private:
    // What lies below a directory goes with it.
    void Move(const std::string& strFrom, const std::string* pstrTo)
    {
        std::vector<std::string> vecBelow;
        for (auto place = m_setPaths.lower_bound(strFrom + "\\");
             place != m_setPaths.end() && place->compare(0, strFrom.size() + 1, strFrom + "\\") == 0; ++place)
        {
            vecBelow.push_back(*place);
        }
        for (const std::string& strPath : vecBelow)
        {
            m_setPaths.erase(strPath);
            if (pstrTo != nullptr)
            {
                m_setPaths.insert(*pstrTo + strPath.substr(strFrom.size()));
            }
        }
    }

    std::set<std::string> m_setPaths;
    std::string m_strOld;
    size_t m_uWrong = 0;
};

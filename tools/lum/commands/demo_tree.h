// A small project in a temporary directory, for a demonstration that was given no directory of its own.
#pragma once

#include <filesystem>
#include <string>

namespace lum
{

class DemoTree
{
public:
    DemoTree() = default;
    ~DemoTree();  // removes what was made
    DemoTree(const DemoTree&) = delete;
    DemoTree& operator=(const DemoTree&) = delete;

    // Makes the project. *pstrDirectory is its narrow path. False with a message.
    bool Make(std::string* pstrDirectory, std::string* pstrError);

private:
    std::filesystem::path m_root;
};

}  // namespace lum

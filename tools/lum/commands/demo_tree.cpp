#include "commands/demo_tree.h"

#include <fmt/format.h>

#include <fstream>
#include <system_error>

#include "base/files.h"
#include "platform/vo_process.h"

namespace lum
{

namespace
{

namespace fs = std::filesystem;

constexpr const char* kFiles[] = {"models/ship/ship.fbx",
                                  "models/ship/ship.mtl",
                                  "models/harbour/crane.obj",
                                  "models/harbour/quay.gltf",
                                  "textures/ship_hull.dds",
                                  "textures/ship_deck.png",
                                  "textures/water.normal.tga",
                                  "scenes/harbour.scene",
                                  "shaders/water.hlsl",
                                  "sounds/gull.ogg",
                                  ".project",
                                  "README"};

}  // namespace

DemoTree::~DemoTree()
{
    if (!m_root.empty())
    {
        std::error_code ignored;
        fs::remove_all(m_root, ignored);
    }
}

bool DemoTree::Make(std::string* pstrDirectory, std::string* pstrError)
{
    std::error_code error;
    const fs::path root = fs::temp_directory_path(error) / fmt::format("lum-demo-{}", VOProcessId());
    if (error || !fs::create_directory(root, error))
    {
        *pstrError = fmt::format("the demonstration's directory can't be made: {}", error.message());
        return false;
    }
    m_root = root;
    for (const char* pszFile : kFiles)
    {
        const fs::path file = root / pszFile;
        fs::create_directories(file.parent_path(), error);
        std::ofstream stream(file, std::ios::binary);
        stream << pszFile << '\n';
        if (!stream.flush())
        {
            *pstrError = "the demonstration's files can't be written";
            return false;
        }
    }
    *pstrDirectory = ToNative(root);
    return true;
}

}  // namespace lum

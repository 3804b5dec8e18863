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
    if (!m_kRoot.empty())
    {
        std::error_code kIgnored;
        fs::remove_all(m_kRoot, kIgnored);
    }
}

bool DemoTree::Make(std::string* pstrDirectory, std::string* pstrError)
{
    std::error_code kError;
    const fs::path kRoot = fs::temp_directory_path(kError) / fmt::format("lum-demo-{}", VOProcessId());
    if (kError || !fs::create_directory(kRoot, kError))
    {
        *pstrError = fmt::format("the demonstration's directory can't be made: {}", kError.message());
        return false;
    }
    m_kRoot = kRoot;
    for (const char* pszFile : kFiles)
    {
        const fs::path kFile = kRoot / pszFile;
        fs::create_directories(kFile.parent_path(), kError);
        std::ofstream kStream(kFile, std::ios::binary);
        kStream << pszFile << '\n';
        if (!kStream.flush())
        {
            *pstrError = "the demonstration's files can't be written";
            return false;
        }
    }
    *pstrDirectory = ToNative(kRoot);
    return true;
}

}  // namespace lum

#include "tests/lum_support/lum_test_support.h"

#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <thread>

#include "platform/vo_process.h"
#include "platform/vo_section_publisher.h"
#include "vo_utility.h"
#include "vots_asset_node_container.h"
#include "vots_asset_node_container_helper.h"
#include "vots_file_mapping.h"

namespace fs = std::filesystem;
using namespace LUMTrayService;

namespace
{

struct Released
{
    void operator()(void* pMemory) const { free(pMemory); }
};

class NameSpaceEnvironment : public testing::Environment
{
public:
    void SetUp() override { UsePrivateNameSpace(); }
};
[[maybe_unused]] const testing::Environment* const g_pEnvironment =
    testing::AddGlobalTestEnvironment(new NameSpaceEnvironment);

std::string NarrowPath(const fs::path& path)
{
    const std::u8string strPath = path.u8string();
    return std::string(strPath.begin(), strPath.end());
}

}  // namespace

std::string TemporaryFolder::Name(std::string_view strRelative) const
{
    return NarrowPath(strRelative.empty() ? Path() : Path() / std::u8string(strRelative.begin(), strRelative.end()));
}

std::string TemporaryFolder::Write(std::string_view strRelative, std::string_view strContent) const
{
    const fs::path file = Path() / std::u8string(strRelative.begin(), strRelative.end());
    fs::create_directories(file.parent_path());
    WriteWholeFile(file, strContent);
    return Name(strRelative);
}

std::string ReadWholeFile(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void WriteWholeFile(const fs::path& file, std::string_view strContent)
{
    std::ofstream stream(file, std::ios::binary);
    stream.write(strContent.data(), static_cast<std::streamsize>(strContent.size()));
}

std::vector<std::string> LinesOf(const std::string& strText)
{
    std::vector<std::string> vecLines;
    std::istringstream stream(strText);
    for (std::string strLine; std::getline(stream, strLine);)
    {
        vecLines.push_back(strLine);
    }
    return vecLines;
}

LumResult RunLum(const std::vector<std::string>& vecArguments)
{
    LumProcess process(vecArguments);
    LumResult result;
    result.nExitCode = process.Wait();
    result.strOut = process.Out();
    result.strErr = process.Err();
    return result;
}

namespace
{

std::vector<std::string> ServeArguments(const std::vector<std::string>& vecArguments, LumServe::Mode eMode)
{
    std::vector<std::string> vecAll = {"serve"};
    if (eMode == LumServe::Mode::Once)
    {
        vecAll.push_back("--once");
    }
    vecAll.insert(vecAll.end(), vecArguments.begin(), vecArguments.end());
    return vecAll;
}

bool WaitUntilPublished(LumProcess& process)
{
    const auto tEnd = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < tEnd)
    {
        const bool bRunning = process.IsRunning();
        if (Contains(process.Out(), "serving "))
        {
            return true;
        }
        if (!bRunning)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return false;
}

}  // namespace

LumServe::LumServe(const std::vector<std::string>& vecArguments, Mode eMode)
    : m_process(ServeArguments(vecArguments, eMode)), m_bPublishes(WaitUntilPublished(m_process))
{
}

LumServe::~LumServe()
{
    Stop();
}

int LumServe::Stop()
{
    if (m_process.IsRunning() && !m_process.RequestStop())
    {
        m_process.Kill();
    }
    return m_process.Wait();
}

nlohmann::json LumJson(std::vector<std::string> vecArguments, int nExpectedExit)
{
    vecArguments.push_back("--json");
    const LumResult result = RunLum(vecArguments);
    EXPECT_EQ(result.nExitCode, nExpectedExit) << result.strErr;
    nlohmann::json parsed = nlohmann::json::parse(result.strOut, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << result.strOut.substr(0, 2000);
    return parsed;
}

struct HandMadePublisher::Sections
{
    VOPublishedSection state;
    VOPublishedSection data;
};

HandMadePublisher::HandMadePublisher() : m_pSections(new Sections)
{
    PublishState(GoodState());
}

HandMadePublisher::~HandMadePublisher() = default;

bool HandMadePublisher::PublishBlock(const std::string& strBlock)
{
    return m_pSections->data.Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE), strBlock.data(), strBlock.size());
}

bool HandMadePublisher::PublishImage(const std::string& strImage)
{
    return PublishBlock(BlockOf(strImage));
}

bool HandMadePublisher::PublishState(const std::string& strBytes)
{
    return m_pSections->state.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, strBytes.data(), strBytes.size());
}

std::string GoodState()
{
    std::string strState(132, '\0');
    strState.replace(0, 11, "version.2.4");
    SetWord(&strState, 12 + 12 * 1, 1);      // enabled
    SetWord(&strState, 12 + 12 * 1 + 4, 7);  // update count
    return strState;
}

std::string BlockOf(const std::string& strImage)
{
    std::string strCopy = strImage;
    unsigned char* pbBlock = nullptr;
    unsigned uSize = 0;
    EXPECT_NE(VOCompressBuffer_lzo1x(&pbBlock, &uSize, reinterpret_cast<unsigned char*>(strCopy.data()),
                                     static_cast<unsigned>(strCopy.size())),
              0);
    const std::unique_ptr<unsigned char, Released> pOwner(pbBlock);
    return std::string(reinterpret_cast<char*>(pbBlock), uSize);
}

std::string SmallImage()
{
    VOTSAssetNodeContainer container(AR_Provider, VOTEXT("/data"), VOTEXT("data"));
    container.InsertClassifyType(4, VOTEXT("texture"), VOTEXT("png|tga"), Color{1}, Color{2});
    container.BuildUpExtensionsHash();
    const auto request = [&](const VOWCHAR* pszPath, int bFolder)
    {
        structAssetNode node;
        int nExisted = 0;
        container.RequestAssetNode(pszPath, node, nExisted);
        container.SetAssetNodeFolder(node.nAssetID, bFolder);
        return node.nAssetID;
    };
    const unsigned uRoot = request(VOTEXT(""), 1);
    const unsigned uFolder = request(VOTEXT("Ship"), 1);
    const unsigned uHull = request(VOTEXT("Ship/Hull.png"), 0);
    const unsigned uGone = request(VOTEXT("Ship/gone.tga"), 0);
    const unsigned uReadme = request(VOTEXT("README"), 0);
    container.SetAssetNodeStripPath(uFolder, nullptr, VOTEXT("Ship"), nullptr);
    container.SetAssetNodeStripPath(uHull, VOTEXT("Ship"), VOTEXT("Hull"), VOTEXT("png"));
    container.SetAssetNodeStripPath(uGone, VOTEXT("Ship"), VOTEXT("gone"), VOTEXT("tga"));
    container.SetAssetNodeStripPath(uReadme, nullptr, VOTEXT("README"), nullptr);
    container.SetAssetNodeClassifyType(uHull, 4, VOTEXT("texture"));
    container.SetAssetNodeParentIndex(uFolder, uRoot);
    container.SetAssetNodeParentIndex(uReadme, uRoot);
    container.SetAssetNodeParentIndex(uHull, uFolder);
    container.SetAssetNodeParentIndex(uGone, uFolder);
    container.SetAssetNodeChildIndex(uRoot, {uFolder, uReadme});
    container.SetAssetNodeChildIndex(uFolder, {uHull, uGone});
    container.RemoveAssetNode(uGone);
    const std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, Released> pImage(container.GetAlloc());
    return std::string(reinterpret_cast<const char*>(pImage.get()), pImage->uDataBufSize + 56);
}

uint32_t WordAt(const std::string& strBytes, size_t uAt)
{
    uint32_t uValue = 0;
    for (size_t i = 0; i < 4; ++i)
    {
        uValue |= static_cast<uint32_t>(static_cast<unsigned char>(strBytes.at(uAt + i))) << (8 * i);
    }
    return uValue;
}

void SetWord(std::string* pstrBytes, size_t uAt, uint32_t uValue)
{
    for (size_t i = 0; i < 4; ++i)
    {
        pstrBytes->at(uAt + i) = static_cast<char>(uValue >> (8 * i));
    }
}

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
[[maybe_unused]] const testing::Environment* const g_pkEnvironment =
    testing::AddGlobalTestEnvironment(new NameSpaceEnvironment);

std::string NarrowPath(const fs::path& kPath)
{
    const std::u8string strPath = kPath.u8string();
    return std::string(strPath.begin(), strPath.end());
}

}  // namespace

std::string TemporaryFolder::Name(std::string_view strRelative) const
{
    return NarrowPath(strRelative.empty() ? Path() : Path() / std::u8string(strRelative.begin(), strRelative.end()));
}

std::string TemporaryFolder::Write(std::string_view strRelative, std::string_view strContent) const
{
    const fs::path kFile = Path() / std::u8string(strRelative.begin(), strRelative.end());
    fs::create_directories(kFile.parent_path());
    WriteWholeFile(kFile, strContent);
    return Name(strRelative);
}

std::string ReadWholeFile(const fs::path& kFile)
{
    std::ifstream kStream(kFile, std::ios::binary);
    std::ostringstream kContent;
    kContent << kStream.rdbuf();
    return kContent.str();
}

void WriteWholeFile(const fs::path& kFile, std::string_view strContent)
{
    std::ofstream kStream(kFile, std::ios::binary);
    kStream.write(strContent.data(), static_cast<std::streamsize>(strContent.size()));
}

std::vector<std::string> LinesOf(const std::string& strText)
{
    std::vector<std::string> vecLines;
    std::istringstream kStream(strText);
    for (std::string strLine; std::getline(kStream, strLine);)
    {
        vecLines.push_back(strLine);
    }
    return vecLines;
}

LumResult RunLum(const std::vector<std::string>& vecArguments)
{
    LumProcess kProcess(vecArguments);
    LumResult kResult;
    kResult.nExitCode = kProcess.Wait();
    kResult.strOut = kProcess.Out();
    kResult.strErr = kProcess.Err();
    return kResult;
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

bool WaitUntilPublished(LumProcess& kProcess)
{
    const auto tEnd = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < tEnd)
    {
        const bool bRunning = kProcess.IsRunning();
        if (Contains(kProcess.Out(), "serving "))
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
    : m_kProcess(ServeArguments(vecArguments, eMode)), m_bPublishes(WaitUntilPublished(m_kProcess))
{
}

LumServe::~LumServe()
{
    Stop();
}

int LumServe::Stop()
{
    if (m_kProcess.IsRunning() && !m_kProcess.RequestStop())
    {
        m_kProcess.Kill();
    }
    return m_kProcess.Wait();
}

nlohmann::json LumJson(std::vector<std::string> vecArguments, int nExpectedExit)
{
    vecArguments.push_back("--json");
    const LumResult kResult = RunLum(vecArguments);
    EXPECT_EQ(kResult.nExitCode, nExpectedExit) << kResult.strErr;
    nlohmann::json kJson = nlohmann::json::parse(kResult.strOut, nullptr, false);
    EXPECT_FALSE(kJson.is_discarded()) << kResult.strOut.substr(0, 2000);
    return kJson;
}

struct HandMadePublisher::Sections
{
    VOPublishedSection kState;
    VOPublishedSection kData;
};

HandMadePublisher::HandMadePublisher() : m_pSections(new Sections)
{
    PublishState(GoodState());
}

HandMadePublisher::~HandMadePublisher() = default;

bool HandMadePublisher::PublishBlock(const std::string& strBlock)
{
    return m_pSections->kData.Replace(ASSETNODE_MAPPING_VIEW_STRING(AF_SOURCE), strBlock.data(), strBlock.size());
}

bool HandMadePublisher::PublishImage(const std::string& strImage)
{
    return PublishBlock(BlockOf(strImage));
}

bool HandMadePublisher::PublishState(const std::string& strBytes)
{
    return m_pSections->kState.Replace(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, strBytes.data(), strBytes.size());
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
    VOTSAssetNodeContainer kContainer(AR_Provider, VOTEXT("/data"), VOTEXT("data"));
    kContainer.InsertClassifyType(4, VOTEXT("texture"), VOTEXT("png|tga"), Color{1}, Color{2});
    kContainer.BuildUpExtensionsHash();
    const auto request = [&](const VOWCHAR* pszPath, int bFolder)
    {
        structAssetNode kNode;
        int nExisted = 0;
        kContainer.RequestAssetNode(pszPath, kNode, nExisted);
        kContainer.SetAssetNodeFolder(kNode.nAssetID, bFolder);
        return kNode.nAssetID;
    };
    const unsigned uRoot = request(VOTEXT(""), 1);
    const unsigned uFolder = request(VOTEXT("Ship"), 1);
    const unsigned uHull = request(VOTEXT("Ship/Hull.png"), 0);
    const unsigned uGone = request(VOTEXT("Ship/gone.tga"), 0);
    const unsigned uReadme = request(VOTEXT("README"), 0);
    kContainer.SetAssetNodeStripPath(uFolder, nullptr, VOTEXT("Ship"), nullptr);
    kContainer.SetAssetNodeStripPath(uHull, VOTEXT("Ship"), VOTEXT("Hull"), VOTEXT("png"));
    kContainer.SetAssetNodeStripPath(uGone, VOTEXT("Ship"), VOTEXT("gone"), VOTEXT("tga"));
    kContainer.SetAssetNodeStripPath(uReadme, nullptr, VOTEXT("README"), nullptr);
    kContainer.SetAssetNodeClassifyType(uHull, 4, VOTEXT("texture"));
    kContainer.SetAssetNodeParentIndex(uFolder, uRoot);
    kContainer.SetAssetNodeParentIndex(uReadme, uRoot);
    kContainer.SetAssetNodeParentIndex(uHull, uFolder);
    kContainer.SetAssetNodeParentIndex(uGone, uFolder);
    kContainer.SetAssetNodeChildIndex(uRoot, {uFolder, uReadme});
    kContainer.SetAssetNodeChildIndex(uFolder, {uHull, uGone});
    kContainer.RemoveAssetNode(uGone);
    const std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, Released> pkImage(kContainer.GetAlloc());
    return std::string(reinterpret_cast<const char*>(pkImage.get()), pkImage->uDataBufSize + 56);
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

// A publisher that is written from docs/wire-formats.md alone ("Sections as Linux keeps them"), with the system's calls
// and nothing of this tree: what it publishes is read by the library.
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/fresh_process.h"
#include "mapping/mapping_test_tools.h"

namespace
{
using namespace mappingtest;

const char* const kStateSection = "vo_fileMappingUpdateStateName_assetNode";
const char* const kDataSection = "vo_fileMappingAssetNodeContainerName_source";

std::string Escaped(const std::string& strText)
{
    std::string strResult;
    for (const char ch : strText)
    {
        const bool bPlain =
            (ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z') || ch == '_' || ch == '-';
        char szEscape[4] = {ch, 0, 0, 0};
        if (!bPlain)
        {
            snprintf(szEscape, sizeof(szEscape), "%%%02X", static_cast<unsigned char>(ch));
        }
        strResult += szEscape;
    }
    return strResult;
}

// The name of a section's object, with the "/" that shm_open wants.
std::string ObjectName(const std::string& strSection)
{
    const char* pszNameSpace = getenv("VOBASE_NAMESPACE");
    const std::string strNameSpace = pszNameSpace != nullptr && *pszNameSpace != 0 ? Escaped(pszNameSpace) + "." : "";
    return "/vobase." + std::to_string(geteuid()) + "." + strNameSpace + Escaped(strSection);
}

std::string PathOf(const std::string& strSection)
{
    return "/dev/shm" + ObjectName(strSection);
}

// A section, mapped for as long as the object lives; its name goes at the end.
class PlainSection
{
public:
    explicit PlainSection(const char* pszSection) : m_strSection(pszSection) {}
    ~PlainSection() { Withdraw(); }
    PlainSection(const PlainSection&) = delete;
    PlainSection& operator=(const PlainSection&) = delete;

    void Replace(const Bytes& rkBytes, mode_t uMode = 0600)
    {
        static int s_nNumber = 0;
        const std::string strTemporary =
            ObjectName(m_strSection) + "~" + std::to_string(getpid()) + "-" + std::to_string(++s_nNumber);
        const int nFile = shm_open(strTemporary.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
        ASSERT_LE(0, nFile);
        ASSERT_EQ(0, flock(nFile, LOCK_EX));
        ASSERT_EQ(0, fchmod(nFile, uMode));
        ASSERT_EQ(0, posix_fallocate(nFile, 0, static_cast<off_t>(rkBytes.size())));
        Unmap();
        m_uSize = rkBytes.size();
        m_pvView = mmap(nullptr, m_uSize, PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
        ASSERT_NE(MAP_FAILED, m_pvView);
        memcpy(m_pvView, rkBytes.data(), m_uSize);
        ASSERT_EQ(0, rename(("/dev/shm" + strTemporary).c_str(), PathOf(m_strSection).c_str()));
        ASSERT_EQ(0, close(nFile));
        m_bNamed = true;
    }

    void Withdraw()
    {
        Unmap();
        if (m_bNamed)
        {
            EXPECT_EQ(0, shm_unlink(ObjectName(m_strSection).c_str()));
        }
        m_bNamed = false;
    }

    // One aligned store of four bytes.
    void Store(size_t uOffset, unsigned int uValue)
    {
        __atomic_store_n(reinterpret_cast<unsigned int*>(static_cast<unsigned char*>(m_pvView) + uOffset), uValue,
                         __ATOMIC_SEQ_CST);
    }

private:
    void Unmap()
    {
        if (m_pvView != nullptr)
        {
            munmap(m_pvView, m_uSize);
        }
        m_pvView = nullptr;
    }

    std::string m_strSection;
    void* m_pvView = nullptr;
    size_t m_uSize = 0;
    bool m_bNamed = false;
};

// The two sections of one published source.
struct PlainPublisher
{
    PlainSection kState{kStateSection};
    PlainSection kData{kDataSection};

    explicit PlainPublisher(ModelContainer kModel)
    {
        kState.Replace(EmptyState());
        kData.Replace(LiteralBlock(kModel.Image()));
        kState.Store(16 + 12 * AF_SOURCE, 1);
        kState.Store(12 + 12 * AF_SOURCE, 1);
    }
};

bool AssembleFinds(const VOWCHAR* pszPath)
{
    VOTSFileMappingAssemble* pkAssemble = VOTSFileMappingAssemble::Instance();
    structAssetNode tsNode;
    const bool bFound = pkAssemble->OpenMappingState() == ET_NONE && pkAssemble->OpenMappingData() == ET_NONE &&
                        pkAssemble->IsAssetTypeEnable(AF_SOURCE) != 0 &&
                        pkAssemble->GetAssetNode(tsNode, pszPath, AF_SOURCE, nullptr) == 1;
    VOTSFileMappingAssemble::Release();
    return bFound;
}

TEST(PlainPublisher, WhatItPublishesIsFoundByTheAssemble)
{
    const PlainPublisher kPublisher(SourceModel());
    EXPECT_TRUE(AssembleFinds(VOTEXT("top/d1/inner.txt")));
}

TEST(PlainPublisher, AReplacedDataSectionIsLoadedAndTheOldOneStaysWholeForWhoIsInside)
{
    PlainPublisher kPublisher(SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    const int nOld = open(PathOf(kDataSection).c_str(), O_RDONLY);
    struct stat infoOld = {};
    ASSERT_EQ(0, fstat(nOld, &infoOld));

    kPublisher.kData.Replace(LiteralBlock(OneFileModel(VOTEXT("new.txt")).Image()));
    kPublisher.kState.Store(16 + 12 * AF_SOURCE, 2);
    EXPECT_EQ(ET_DATA_OUTDATED, kReader.LastErrorType());
    EXPECT_EQ(ET_NONE, kReader.OpenMappingData());
    EXPECT_EQ(0u, IdOf(kReader, VOTEXT("new.txt")));

    Bytes vecOld(static_cast<size_t>(infoOld.st_size));
    EXPECT_EQ(infoOld.st_size, read(nOld, vecOld.data(), vecOld.size()));
    EXPECT_TRUE(SameBytes(LiteralBlock(SourceModel().Image()), vecOld));
    close(nOld);
}

TEST(PlainPublisher, AWithdrawnSectionIsGoneForNewReadersAndStaysForOldOnes)
{
    PlainPublisher kPublisher(SourceModel());
    ClosingInspector kReader;
    kReader.Load();
    kPublisher.kState.Withdraw();
    EXPECT_EQ(ET_NONE, kReader.LastErrorType());
    ClosingInspector kNew;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kNew.OpenMappingState());
}

TEST(PlainPublisher, AnObjectThatOthersMayWriteToIsRefused)
{
    for (const mode_t uMode : {0620, 0602, 0666})
    {
        PlainPublisher kPublisher(SourceModel());
        kPublisher.kState.Replace(EmptyState(), uMode);
        ClosingInspector kReader;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingState()) << uMode;
    }
}

TEST(PlainPublisher, AnObjectWithASecondLinkIsRefused)
{
    const PlainPublisher kPublisher(SourceModel());
    const std::string strLink = PathOf("second");
    ASSERT_EQ(0, link(PathOf(kStateSection).c_str(), strLink.c_str()));
    ClosingInspector kReader;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, kReader.OpenMappingState());
    EXPECT_EQ(0, unlink(strLink.c_str()));
    EXPECT_EQ(ET_NONE, kReader.OpenMappingState());
}

TEST(PlainPublisherDeathTest, ANameSpaceIsEscaped)
{
    EXPECT_IN_FRESH_PROCESS({
        const std::string strNameSpace = "plain publisher." + std::to_string(getpid()) + "/\xC3\xA4~";
        setenv("VOBASE_NAMESPACE", strNameSpace.c_str(), 1);
        const PlainPublisher kPublisher(SourceModel());
        CHECK_HERE(ObjectName("x").find("plain%20publisher%2E") != std::string::npos);
        CHECK_HERE(ObjectName("x").find("%2F%C3%A4%7E.x") != std::string::npos);
        CHECK_HERE(AssembleFinds(VOTEXT("top/d1/inner.txt")));
    });
}

}  // namespace

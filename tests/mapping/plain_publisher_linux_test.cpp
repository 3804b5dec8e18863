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

    void Replace(const Bytes& bytes, mode_t uMode = 0600)
    {
        static int s_nNumber = 0;
        const std::string strTemporary =
            ObjectName(m_strSection) + "~" + std::to_string(getpid()) + "-" + std::to_string(++s_nNumber);
        const int nFile = shm_open(strTemporary.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
        ASSERT_LE(0, nFile);
        ASSERT_EQ(0, flock(nFile, LOCK_EX));
        ASSERT_EQ(0, fchmod(nFile, uMode));
        ASSERT_EQ(0, posix_fallocate(nFile, 0, static_cast<off_t>(bytes.size())));
        Unmap();
        m_uSize = bytes.size();
        m_pvView = mmap(nullptr, m_uSize, PROT_READ | PROT_WRITE, MAP_SHARED, nFile, 0);
        ASSERT_NE(MAP_FAILED, m_pvView);
        memcpy(m_pvView, bytes.data(), m_uSize);
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
    PlainSection state{kStateSection};
    PlainSection data{kDataSection};

    explicit PlainPublisher(ModelContainer model)
    {
        state.Replace(EmptyState());
        data.Replace(LiteralBlock(model.Image()));
        state.Store(16 + 12 * AF_SOURCE, 1);
        state.Store(12 + 12 * AF_SOURCE, 1);
    }
};

bool AssembleFinds(const VOWCHAR* pszPath)
{
    VOTSFileMappingAssemble* pAssemble = VOTSFileMappingAssemble::Instance();
    structAssetNode tsNode;
    const bool bFound = pAssemble->OpenMappingState() == ET_NONE && pAssemble->OpenMappingData() == ET_NONE &&
                        pAssemble->IsAssetTypeEnable(AF_SOURCE) != 0 &&
                        pAssemble->GetAssetNode(tsNode, pszPath, AF_SOURCE, nullptr) == 1;
    VOTSFileMappingAssemble::Release();
    return bFound;
}

TEST(PlainPublisher, WhatItPublishesIsFoundByTheAssemble)
{
    const PlainPublisher publisher(SourceModel());
    EXPECT_TRUE(AssembleFinds(VOTEXT("top/d1/inner.txt")));
}

TEST(PlainPublisher, AReplacedDataSectionIsLoadedAndTheOldOneStaysWholeForWhoIsInside)
{
    PlainPublisher publisher(SourceModel());
    ClosingInspector reader;
    reader.Load();
    const int nOld = open(PathOf(kDataSection).c_str(), O_RDONLY);
    struct stat infoOld = {};
    ASSERT_EQ(0, fstat(nOld, &infoOld));

    publisher.data.Replace(LiteralBlock(OneFileModel(VOTEXT("new.txt")).Image()));
    publisher.state.Store(16 + 12 * AF_SOURCE, 2);
    EXPECT_EQ(ET_DATA_OUTDATED, reader.LastErrorType());
    EXPECT_EQ(ET_NONE, reader.OpenMappingData());
    EXPECT_EQ(0u, IdOf(reader, VOTEXT("new.txt")));

    Bytes vecOld(static_cast<size_t>(infoOld.st_size));
    EXPECT_EQ(infoOld.st_size, read(nOld, vecOld.data(), vecOld.size()));
    EXPECT_TRUE(SameBytes(LiteralBlock(SourceModel().Image()), vecOld));
    close(nOld);
}

TEST(PlainPublisher, AWithdrawnSectionIsGoneForNewReadersAndStaysForOldOnes)
{
    PlainPublisher publisher(SourceModel());
    ClosingInspector reader;
    reader.Load();
    publisher.state.Withdraw();
    EXPECT_EQ(ET_NONE, reader.LastErrorType());
    ClosingInspector fresh;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, fresh.OpenMappingState());
}

TEST(PlainPublisher, AnObjectThatOthersMayWriteToIsRefused)
{
    for (const mode_t uMode : {0620, 0602, 0666})
    {
        PlainPublisher publisher(SourceModel());
        publisher.state.Replace(EmptyState(), uMode);
        ClosingInspector reader;
        EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingState()) << uMode;
    }
}

TEST(PlainPublisher, AnObjectWithASecondLinkIsRefused)
{
    const PlainPublisher publisher(SourceModel());
    const std::string strLink = PathOf("second");
    ASSERT_EQ(0, link(PathOf(kStateSection).c_str(), strLink.c_str()));
    ClosingInspector reader;
    EXPECT_EQ(ET_STATE_UNAVAILABLE, reader.OpenMappingState());
    EXPECT_EQ(0, unlink(strLink.c_str()));
    EXPECT_EQ(ET_NONE, reader.OpenMappingState());
}

TEST(PlainPublisherDeathTest, ANameSpaceIsEscaped)
{
    EXPECT_IN_FRESH_PROCESS({
        const std::string strNameSpace = "plain publisher." + std::to_string(getpid()) + "/\xC3\xA4~";
        setenv("VOBASE_NAMESPACE", strNameSpace.c_str(), 1);
        const PlainPublisher publisher(SourceModel());
        CHECK_HERE(ObjectName("x").find("plain%20publisher%2E") != std::string::npos);
        CHECK_HERE(ObjectName("x").find("%2F%C3%A4%7E.x") != std::string::npos);
        CHECK_HERE(AssembleFinds(VOTEXT("top/d1/inner.txt")));
    });
}

}  // namespace

#include "image/image_load.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <string.h>

#include "base/console.h"
#include "base/files.h"
#include "base/sources.h"
#include "image/byte_view.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr uint64_t kBlockHead = 16;
constexpr uint64_t kMaxImage = 0xFFFFFFFFull;

// What one byte of a compressed stream can stand for at most, and what a stream takes beside that.
constexpr uint64_t kMaxExpansion = 256;
constexpr uint64_t kExpansionSlack = 64;

// Announces a reader, so that a publisher leaves the data section alone meanwhile.
class ReaderMark
{
public:
    explicit ReaderMark(enumAssetFrom eaf) : m_state(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, FILE_MAP_WRITE)
    {
        if (m_state.Size() >= sizeof(AssetNodeUpdateState) &&
            m_state.BeginsWith(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION))
        {
            m_puReaders = &static_cast<AssetNodeUpdateState*>(m_state.Data())->arrStateInfo[eaf].uReaderCount;
            VOAddToWord(*m_puReaders, 1);
        }
    }

    ~ReaderMark()
    {
        if (m_puReaders != nullptr)
        {
            VOAddToWord(*m_puReaders, -1);
        }
    }

private:
    VOSectionView m_state;
    unsigned* m_puReaders = nullptr;
};

// Checks the head of a compressed block before it is trusted with an allocation and a length.
std::string WrongBlockHead(ByteView block)
{
    if (block.Size() < kBlockHead)
    {
        return fmt::format("{} bytes are no compressed block", block.Size());
    }
    const uint64_t ullSource = block.Long(0);
    const uint64_t ullStream = block.Long(8);
    if (ullStream == 0 || ullStream > block.Size() - kBlockHead)
    {
        return fmt::format("offset 8: a stream of {} bytes in a block of {}", ullStream, block.Size());
    }
    if (ullSource == 0 || ullSource > kMaxImage || ullSource > ullStream * kMaxExpansion + kExpansionSlack)
    {
        return fmt::format("offset 0: {} bytes can't be in a stream of {}", ullSource, ullStream);
    }
    return {};
}

bool Decompress(std::vector<unsigned char> vecBlock, LoadedImage* pResult, std::string* pstrError)
{
    const ByteView block(vecBlock.data(), vecBlock.size());
    *pstrError = WrongBlockHead(block);
    if (!pstrError->empty())
    {
        return false;
    }
    unsigned char* pbImage = nullptr;
    unsigned uSize = 0;
    if (VODeCompressBuffer_lzo1x(&pbImage, &uSize, vecBlock.data()) == 0)
    {
        *pstrError = fmt::format("offset {}: the stream of the block is damaged", kBlockHead);
        return false;
    }
    pResult->vecImage.assign(pbImage, pbImage + uSize);
    free(pbImage);
    if (uSize != block.Long(0))
    {
        *pstrError = fmt::format("offset 0: {} bytes announced, {} in the stream", block.Long(0), uSize);
        return false;
    }
    pResult->ullBlockSize = block.Long(8) + kBlockHead + 8;
    return true;
}

}  // namespace

bool LoadSectionImage(enumAssetFrom eaf, LoadedImage* pResult, std::string* pstrError)
{
    std::vector<unsigned char> vecBlock;
    {
        const ReaderMark mark(eaf);
        VOSectionView section;
        if (section.OpenHandle(ASSETNODE_MAPPING_VIEW_STRING(eaf), FILE_MAP_READ) == nullptr)
        {
            *pstrError = fmt::format("{}: there is no data section", SourceName(eaf));
            return false;
        }
        // A section may be larger than its block. What the head says is read once, and used only within the section.
        section.Map();
        const ByteView bytes(static_cast<const unsigned char*>(section.Data()), section.Size());
        const uint64_t ullStream = bytes.Long(8);
        const bool bWhole = bytes.Has(kBlockHead, ullStream);
        const uint64_t ullSize = bWhole ? kBlockHead + ullStream : bytes.Size();
        vecBlock.assign(bytes.Data(), bytes.Data() + ullSize);
    }
    if (!Decompress(std::move(vecBlock), pResult, pstrError))
    {
        *pstrError = fmt::format("{}: {}", SourceName(eaf), *pstrError);
        return false;
    }
    return true;
}

bool LoadFileImage(const std::string& strNative, LoadedImage* pResult, std::string* pstrError)
{
    std::vector<unsigned char> vecBytes;
    if (!ReadFile(strNative, &vecBytes, pstrError))
    {
        return false;
    }
    constexpr char kImageStart[] = "ver.";
    if (vecBytes.size() >= 4 && memcmp(vecBytes.data(), kImageStart, 4) == 0)
    {
        pResult->vecImage = std::move(vecBytes);
        return true;
    }
    if (!Decompress(std::move(vecBytes), pResult, pstrError))
    {
        *pstrError = fmt::format("{}: neither an image nor a compressed one: {}", strNative, *pstrError);
        return false;
    }
    return true;
}

bool LoadState(AssetNodeUpdateState* pState, bool* pbMissing, std::string* pstrError)
{
    VOSectionView section;
    const bool bThere = section.OpenHandle(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, FILE_MAP_READ) != nullptr;
    *pbMissing = !bThere && GetLastError() == ERROR_FILE_NOT_FOUND;
    if (!bThere)
    {
        *pstrError = *pbMissing ? kNothingPublished : "the update state section can't be opened";
        return false;
    }
    section.Map();
    if (section.Size() < sizeof(AssetNodeUpdateState))
    {
        *pstrError =
            fmt::format("the update state section has {} bytes, not {}", section.Size(), sizeof(AssetNodeUpdateState));
        return false;
    }
    memcpy(pState, section.Data(), sizeof(AssetNodeUpdateState));
    return true;
}

}  // namespace lum

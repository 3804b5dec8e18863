#include "image/image_load.h"

#include <string.h>

#include <memory>

#include "base/console.h"
#include "base/failure.h"
#include "base/files.h"
#include "base/sources.h"
#include "image/byte_view.h"
#include "platform/vo_owners.h"
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

LoadedImage Decompress(const std::vector<unsigned char>& vecBlock)
{
    // The head is checked before it is trusted with an allocation and a length.
    const ByteView block(vecBlock.data(), vecBlock.size());
    if (block.Size() < kBlockHead)
    {
        throw Failure("{} bytes are no compressed block", block.Size());
    }
    const uint64_t ullSource = block.Long(0);
    const uint64_t ullStream = block.Long(8);
    if (ullStream == 0 || ullStream > block.Size() - kBlockHead)
    {
        throw Failure("offset 8: a stream of {} bytes in a block of {}", ullStream, block.Size());
    }
    if (ullSource == 0 || ullSource > kMaxImage || ullSource > ullStream * kMaxExpansion + kExpansionSlack)
    {
        throw Failure("offset 0: {} bytes can't be in a stream of {}", ullSource, ullStream);
    }
    unsigned char* pbImage = nullptr;
    unsigned uSize = 0;
    if (VODeCompressBuffer_lzo1x(&pbImage, &uSize, const_cast<unsigned char*>(vecBlock.data())) == 0)
    {
        throw Failure("offset {}: the stream of the block is damaged", kBlockHead);
    }
    const std::unique_ptr<unsigned char, VOFreeBlock> pOwner(pbImage);
    if (uSize != ullSource)
    {
        throw Failure("offset 0: {} bytes announced, {} in the stream", ullSource, uSize);
    }
    return {{pbImage, pbImage + uSize}, ullStream + kBlockHead + 8};
}

}  // namespace

LoadedImage LoadSectionImage(enumAssetFrom eaf)
{
    std::vector<unsigned char> vecBlock;
    {
        const ReaderMark mark(eaf);
        VOSectionView section;
        if (section.OpenHandle(ASSETNODE_MAPPING_VIEW_STRING(eaf), FILE_MAP_READ) == nullptr)
        {
            throw Failure("{}: there is no data section", SourceName(eaf));
        }
        // A section may be larger than its block. What the head says is read once, and used only within the section.
        section.Map();
        const ByteView bytes(static_cast<const unsigned char*>(section.Data()), section.Size());
        const uint64_t ullStream = bytes.Long(8);
        const bool bWhole = bytes.Has(kBlockHead, ullStream);
        const uint64_t ullSize = bWhole ? kBlockHead + ullStream : bytes.Size();
        vecBlock.assign(bytes.Data(), bytes.Data() + ullSize);
    }
    return FailingAt(std::string(SourceName(eaf)), [&] { return Decompress(vecBlock); });
}

LoadedImage LoadFileImage(const std::string& strNative)
{
    std::vector<unsigned char> vecBytes = ReadFile(strNative);
    constexpr std::string_view kImageStart = "ver.";
    if (vecBytes.size() >= 4 && memcmp(vecBytes.data(), kImageStart.data(), 4) == 0)
    {
        return {std::move(vecBytes), 0};
    }
    return FailingAt(strNative + ": neither an image nor a compressed one", [&] { return Decompress(vecBytes); });
}

AssetNodeUpdateState LoadState()
{
    VOSectionView section;
    if (section.OpenHandle(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, FILE_MAP_READ) == nullptr)
    {
        if (GetLastError() == ERROR_FILE_NOT_FOUND)
        {
            throw NotPublished("{}", kNothingPublished);
        }
        throw Failure("the update state section can't be opened");
    }
    section.Map();
    AssetNodeUpdateState state;
    if (section.Size() < sizeof(state))
    {
        throw Failure("the update state section has {} bytes, not {}", section.Size(), sizeof(state));
    }
    memcpy(&state, section.Data(), sizeof(state));
    return state;
}

}  // namespace lum

#include <lzo/lzo1x.h>

#include <algorithm>
#include <memory>

#include "diagnostics/check.h"
#include "platform/vo_memory.h"
#include "platform/vo_owners.h"
#include "utility/block_format.h"
#include "vo_utility.h"

namespace
{

typedef std::unique_ptr<unsigned char, VOFreeBlock> Block;

Block AllocateBlock(unsigned long long ullSize)
{
    return Block(static_cast<unsigned char*>(VOAllocateImage(ullSize)));
}

// What LZO1X-1 asks for: 16 K dictionary entries of 8 bytes.
constexpr unsigned int kWorkMemorySize = 131072;
static_assert(LZO1X_1_MEM_COMPRESS <= kWorkMemorySize);

// One byte of a stream stands for at most 255 bytes of output.
unsigned long long OutputBound(unsigned long long ullStreamSize)
{
    constexpr unsigned long long kMost = ~0ull / 256;
    return ullStreamSize < kMost ? ullStreamSize * 255 + 4096 : ~0ull;
}

// What comes out of a block.
class Output
{
public:
    // The buffer has the size that the head claims, so that a caller may go by the head. A head that claims more than
    // its stream can give gets that much too, if it may be asked for (bAsClaimed) and if the length can be told: zeroed
    // memory that nobody touches costs no memory but room in the address space. Where there is none to be had, and for
    // any other such claim, the buffer is as large as the output can be.
    int Decompress(const VOCompressedBlockHead& rkHead, const unsigned char* pbStream, bool bAsClaimed)
    {
        const unsigned long long ullBound = OutputBound(rkHead.uCompressedSize);
        unsigned long long ullRoom = rkHead.uSrcSize;
        if (ullRoom > ullBound && bAsClaimed && ullRoom <= kVOMaxImageSize)
        {
            m_pbBuffer.reset(static_cast<unsigned char*>(VOTryAllocate(static_cast<size_t>(ullRoom))));
        }
        if (m_pbBuffer == nullptr)
        {
            ullRoom = std::min(ullRoom, ullBound);
            m_pbBuffer = AllocateBlock(ullRoom);
        }
        m_uSize = ullRoom;
        return lzo1x_decompress_safe(pbStream, rkHead.uCompressedSize, m_pbBuffer.get(), &m_uSize, nullptr);
    }

    // Hands the buffer over, with the low 32 bits of the length.
    void Give(unsigned char** ppbuffResult, unsigned int* puBuffSize)
    {
        *ppbuffResult = m_pbBuffer.release();
        *puBuffSize = static_cast<unsigned int>(m_uSize);
    }

private:
    Block m_pbBuffer;
    lzo_uint m_uSize = 0;
};

}  // namespace

int VOCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, unsigned char* pbuffSrc,
                           unsigned int uSrcSize)
{
    const unsigned long long ullSource = uSrcSize;
    const unsigned long long ullRoom =
        ullSource + ullSource / 16 + 67 + sizeof(VOCompressedBlockHead) + kVOBlockTailSize;
    lzo_uint uCompressedSize = 0;
    int nRetLzo = lzo_init();
    if (!VO_STEP(nRetLzo == LZO_E_OK) || !VO_STEP(pbuffSrc && uSrcSize) || !VO_STEP(ppbuffResult && puBuffSize))
    {
        return 0;
    }
    Block pbBlock = AllocateBlock(ullRoom);
    const Block pbWork = AllocateBlock(kWorkMemorySize);
    nRetLzo = lzo1x_1_compress(pbuffSrc, uSrcSize, pbBlock.get() + sizeof(VOCompressedBlockHead), &uCompressedSize,
                               pbWork.get());
    const unsigned long long ullSize = uCompressedSize + sizeof(VOCompressedBlockHead) + kVOBlockTailSize;
    if (!VO_STEP(nRetLzo == LZO_E_OK) || !VO_STEP_OR_FALSE(ullSize <= kVOMaxImageSize))
    {
        return 0;
    }
    VOStore(pbBlock.get(), VOCompressedBlockHead{uSrcSize, uCompressedSize});
    *puBuffSize = static_cast<unsigned int>(ullSize);
    *ppbuffResult = pbBlock.release();
    return 1;
}

// Both forms of decompression: the head is the given one, or stands in front of the stream.
static int Decompress(const char* pszFunction, unsigned char** ppbuffResult, unsigned int* puBuffSize,
                      const VOCompressedBlockHead* pHead, const unsigned char* pbuffDeCompress)
{
    Output output;
    int nRetLzo = lzo_init();
    if (!VO_STEP_IN(pszFunction, nRetLzo == LZO_E_OK) || !VO_STEP_IN(pszFunction, ppbuffResult && puBuffSize) ||
        !VO_STEP_IN(pszFunction, pbuffDeCompress))
    {
        return 0;
    }
    nRetLzo = pHead != nullptr ? output.Decompress(*pHead, pbuffDeCompress, false)
                               : output.Decompress(VOLoad<VOCompressedBlockHead>(pbuffDeCompress),
                                                   pbuffDeCompress + sizeof(VOCompressedBlockHead), true);
    if (!VO_STEP_IN(pszFunction, nRetLzo == LZO_E_OK))
    {
        return 0;
    }
    output.Give(ppbuffResult, puBuffSize);
    return 1;
}

int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, unsigned char* pbuffDeCompress)
{
    VO_NAMED_FUNCTION(pszFunction);
    return Decompress(pszFunction, ppbuffResult, puBuffSize, nullptr, pbuffDeCompress);
}

int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, const VOCompressedBlockHead& head,
                             const unsigned char* pbStream)
{
    VO_NAMED_FUNCTION(pszFunction);
    return Decompress(pszFunction, ppbuffResult, puBuffSize, &head, pbStream);
}

#include <lzo/lzo1x.h>

#include <algorithm>
#include <memory>

#include "diagnostics/check.h"
#include "utility/block_format.h"
#include "vo_utility.h"

namespace
{

struct FreeBlock
{
    void operator()(unsigned char* pbBlock) const { free(pbBlock); }
};
typedef std::unique_ptr<unsigned char, FreeBlock> Block;

Block AllocateBlock(unsigned long long ullSize)
{
    return Block(static_cast<unsigned char*>(VOAllocateImage(ullSize)));
}

// What LZO1X-1 asks for: 16 K dictionary entries of 8 bytes.
constexpr unsigned int kWorkMemorySize = 131072;
static_assert(LZO1X_1_MEM_COMPRESS <= kWorkMemorySize);

// One byte of a stream stands for at most 255 bytes of output, so a head that claims more than this needs no memory
// for what it claims.
unsigned long long OutputBound(unsigned long long ullStreamSize)
{
    constexpr unsigned long long kMost = ~0ull / 256;
    return ullStreamSize < kMost ? ullStreamSize * 255 + 4096 : ~0ull;
}

}  // namespace

int VOCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, unsigned char* pbuffSrc,
                           unsigned int uSrcSize)
{
    int nResult = 0;
    const unsigned long long ullSource = uSrcSize;
    const unsigned long long ullRoom =
        ullSource + ullSource / 16 + 67 + sizeof(VOCompressedBlockHead) + kVOBlockTailSize;
    Block pbBlock;
    Block pbWork;
    lzo_uint uCompressedSize = 0;
    int nRetLzo = lzo_init();
    VO_PROCESS_ERROR(nRetLzo == LZO_E_OK);
    VO_PROCESS_ERROR(pbuffSrc && uSrcSize);
    VO_PROCESS_ERROR(ppbuffResult && puBuffSize);

    pbBlock = AllocateBlock(ullRoom);
    pbWork = AllocateBlock(kWorkMemorySize);
    nRetLzo = lzo1x_1_compress(pbuffSrc, uSrcSize, pbBlock.get() + sizeof(VOCompressedBlockHead), &uCompressedSize,
                               pbWork.get());
    VO_PROCESS_ERROR(nRetLzo == LZO_E_OK);
    if (uCompressedSize + sizeof(VOCompressedBlockHead) + kVOBlockTailSize > kVOMaxImageSize)
    {
        VO_PROCESS_ERROR_FALSE;
    }

    VOStore(pbBlock.get(), VOCompressedBlockHead{uSrcSize, uCompressedSize});
    *puBuffSize = static_cast<unsigned int>(uCompressedSize + sizeof(VOCompressedBlockHead) + kVOBlockTailSize);
    *ppbuffResult = pbBlock.release();
    nResult = 1;

Exit0:
    return nResult;
}

int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, unsigned char* pbuffDeCompress)
{
    int nResult = 0;
    const int nRetLzo = lzo_init();
    VO_PROCESS_ERROR(nRetLzo == LZO_E_OK);
    VO_PROCESS_ERROR(ppbuffResult && puBuffSize);
    VO_PROCESS_ERROR(pbuffDeCompress);
    nResult = VODeCompressBuffer_lzo1x(ppbuffResult, puBuffSize, VOLoad<VOCompressedBlockHead>(pbuffDeCompress),
                                       pbuffDeCompress + sizeof(VOCompressedBlockHead));

Exit0:
    return nResult;
}

int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, const VOCompressedBlockHead& kHead,
                             const unsigned char* pbStream)
{
    int nResult = 0;
    Block pbBuffer = AllocateBlock(std::min(kHead.uSrcSize, OutputBound(kHead.uCompressedSize)));
    lzo_uint uResultSize = std::min(kHead.uSrcSize, OutputBound(kHead.uCompressedSize));
    const int nRetLzo = lzo1x_decompress_safe(pbStream, kHead.uCompressedSize, pbBuffer.get(), &uResultSize, nullptr);
    VO_PROCESS_ERROR(nRetLzo == LZO_E_OK);

    *ppbuffResult = pbBuffer.release();
    *puBuffSize = static_cast<unsigned int>(uResultSize);
    nResult = 1;

Exit0:
    return nResult;
}

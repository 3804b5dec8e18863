// Small services: the compressed block in which an image travels, the MD5 digest (RFC 1321), a 64-bit string hash,
// bounded string copies and case folds.
#pragma once

#include "vo_types.h"

// Compresses uSrcSize bytes into a new block: source size (8 bytes), stream length n (8 bytes), the LZO1X-1 stream,
// and 8 zero bytes. *ppbuffResult is the block, which the caller releases with free(), *puBuffSize is n + 24. 0 and a
// log line, with nothing written, for no source, no size or no outputs.
VOBASE_API int VOCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, unsigned char* pbuffSrc,
                                      unsigned int uSrcSize);

// Decompresses a block into a new buffer, which the caller releases with free(), and gives the length of what the
// stream held; of a length from 4 GiB on only the low 32 bits. 0 and a log line, with nothing written, for a damaged
// block. The caller vouches for the memory behind pbuffDeCompress: the block's own header is all that tells its length.
//
// The buffer has the size that the header claims, with zeros behind what the stream held. A header that claims more
// than its stream can hold (255 bytes for each byte of it) gets that size while it is below 4 GiB and the system has
// it; go by *puBuffSize. Throws std::bad_alloc when there is no memory.
VOBASE_API int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize,
                                        unsigned char* pbuffDeCompress);

// The state of a digest, filled only by the functions below.
struct MD5State
{
    unsigned int uBitCount[2];  // message length in bits, low word first
    unsigned int uChain[4];     // A, B, C, D
    unsigned char byBlock[64];  // bytes not yet processed
};
static_assert(sizeof(MD5State) == 88 && offsetof(MD5State, uChain) == 8 && offsetof(MD5State, byBlock) == 24);

VOBASE_API void md5_init(MD5State* pState);
VOBASE_API void md5_append(MD5State* pState, const unsigned char* pData, int nBytes);  // nothing for nBytes <= 0
VOBASE_API void md5_finish(MD5State* pState, unsigned char* pDigest);                  // writes 16 bytes

// A string hash with the multiplier 131. The narrow form walks from the first character to the last and takes a
// character as signed; the wide form walks from the last to the first. The two differ for one text.
VOBASE_API unsigned long long VO_BKDRHashForString64BitA(const char* pszString);
VOBASE_API unsigned long long VO_BKDRHashForString64BitW(const VOWCHAR* pszString);

// Copies at most uSizeTo - 1 characters, terminates, and fills the target of uSizeTo characters with zeros. uMaxCount
// doesn't limit the copy: it is only checked. 0 and a log line, with nothing written, for an empty pointer, for
// uMaxCount above uSizeTo, and for a target of no characters.
VOBASE_API int VOStrnCpy_SA(char* pszTo, unsigned int uSizeTo, const char* pszFrom, unsigned int uMaxCount);
VOBASE_API int VOStrnCpy_SW(VOWCHAR* pszTo, unsigned int uSizeTo, const VOWCHAR* pszFrom, unsigned int uMaxCount);

// Folds "A" to "Z"; every other character is returned as it is.
VOBASE_API char VOCHAR_TOLOWER(char ch);
VOBASE_API VOWCHAR VOTCHAR_TOLOWER(VOWCHAR ch);

// A copy of a text that may lie at an odd address, as the texts in a pool do; empty for an empty pointer.
VOBASE_API VOWString VOTextOf(const VOWCHAR* pszText);

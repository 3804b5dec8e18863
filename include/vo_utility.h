// Small services: the compressed block in which an image travels, the MD5 digest (RFC 1321), a 64-bit string
// hash, bounded string copies and case folds.
//
// All of them are free of state: any number of threads may call, each with its own buffers.
#pragma once

#include "vo_types.h"

// Compresses uSrcSize bytes into a new block: source size (8 bytes), stream length n (8 bytes), the LZO1X-1
// stream, and 8 zero bytes. *ppbuffResult is the block, which the caller releases with free(), *puBuffSize is n
// + 24. 0 and a log line, with nothing written, for no source, no size or no outputs, and for a block that
// would be longer than 4 GiB. Throws std::bad_alloc when there is no memory for the block (about 1.06 times the
// source) or for 128 KiB of work memory, with nothing written.
VOBASE_API int VOCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize, unsigned char* pbuffSrc,
                                      unsigned int uSrcSize);

// Decompresses a block into a new buffer, which the caller releases with free(), and gives the length of what
// the stream held. 0 and a log line, with nothing written, for a damaged block and for an empty pointer. The
// caller vouches for the memory behind pbuffDeCompress: the block's own header is all that tells its length.
// Throws std::bad_alloc when there is no memory, with nothing written.
//
// The buffer has the size that the header claims, with zeros behind what the stream held. A header that claims
// more than its stream can hold (255 bytes for each byte of it) gets that size while it is below 4 GiB and the
// system has it; go by *puBuffSize.
//
// Kept (VODeCompressBuffer_lzo1x): of a length from 4 GiB on, *puBuffSize has the low 32 bits only. Callers
// with a 32-bit size word pass it on as it comes; no image of this library is that long.
VOBASE_API int VODeCompressBuffer_lzo1x(unsigned char** ppbuffResult, unsigned int* puBuffSize,
                                        unsigned char* pbuffDeCompress);

// The state of a digest, filled only by the functions below. It belongs to its caller, holds no memory of its
// own, and may be copied in the middle of a message.
struct MD5State
{
    unsigned int uBitCount[2];  // message length in bits, low word first
    unsigned int uChain[4];     // A, B, C, D
    unsigned char byBlock[64];  // bytes not yet processed
};
static_assert(sizeof(MD5State) == 88 && offsetof(MD5State, uChain) == 8 && offsetof(MD5State, byBlock) == 24);

// A message is begun, fed in pieces of any size, and finished once. md5_append takes nBytes bytes and does
// nothing for 0 and less; md5_finish writes 16 bytes and uses the state up, so that the next message begins
// with md5_init. No pointer is tested: null faults.
VOBASE_API void md5_init(MD5State* pState);
VOBASE_API void md5_append(MD5State* pState, const unsigned char* pData, int nBytes);
VOBASE_API void md5_finish(MD5State* pState, unsigned char* pDigest);

// A string hash with the multiplier 131, 0 for the empty text. A null narrow text faults, a null wide one gives
// 0.
//
// Kept (VO_BKDRHashForString64BitW): the narrow form walks from the first character to the last and takes a
// character as signed, the wide form walks from the last to the first, unsigned. So the two differ for one
// text. Tables that were made with either form are looked up with that form.
VOBASE_API unsigned long long VO_BKDRHashForString64BitA(const char* pszString);
VOBASE_API unsigned long long VO_BKDRHashForString64BitW(const VOWCHAR* pszString);

// Copy at most uSizeTo - 1 characters, terminate, and fill the rest of the target with zeros. uSizeTo is the
// room of the target in characters, terminator included. 0 and a log line, with nothing written, for an empty
// pointer, for uMaxCount above uSizeTo, and for a target of no characters.
//
// Kept (VOStrnCpy_SA): uMaxCount doesn't limit the copy, it is only checked. Callers that pass the wanted
// length there get the whole text all the same, in both forms.
VOBASE_API int VOStrnCpy_SA(char* pszTo, unsigned int uSizeTo, const char* pszFrom, unsigned int uMaxCount);
VOBASE_API int VOStrnCpy_SW(VOWCHAR* pszTo, unsigned int uSizeTo, const VOWCHAR* pszFrom, unsigned int uMaxCount);

// Fold "A" to "Z"; every other character, a char from 0x80 up included, is returned as it is, whatever the
// locale.
VOBASE_API char VOCHAR_TOLOWER(char ch);
VOBASE_API VOWCHAR VOTCHAR_TOLOWER(VOWCHAR ch);

// A copy of a text that may lie at an odd address, as the texts in a pool do; empty for an empty pointer.
VOBASE_API VOWString VOTextOf(const VOWCHAR* pszText);

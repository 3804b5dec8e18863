// The string cipher: DES (FIPS 46) on one 64-bit block, no mode of operation, no padding. In spite of their names the
// functions don't work on strings: a block is a bitset, and only the key is text.
//
// Numbering: position 63 of a bitset is bit 1 of the standard's block, position 0 its bit 64, so that the bitset read
// as a number is the block read as a big-endian number. The key's chars count from the other end: char 7 is the first
// key byte of the standard, char 0 the last one; the lowest bit of each char is a parity bit and is ignored.
//
// DES is a published cipher with a short key: it keeps nothing secret today. It is here for data that exist.
#pragma once

#include <bitset>

#include "vo_types.h"

// Store the encryption, or the decryption, of bitSource under a key in bitResult, which may be the same object;
// bitSource isn't changed otherwise. Exactly 8 chars are read at pszKey, whatever they are: a zero among them
// doesn't end the key, and a shorter text has to be padded by the caller. Null faults. Always 1. No state is
// kept, so that any number of threads may call; nothing is allocated.
//
// Kept (VOEncryptString): the key is taken from its last char to its first. Data that were encrypted before
// open with that order alone.
VOBASE_API int VOEncryptString(std::bitset<64>& bitResult, std::bitset<64>& bitSource, const char* pszKey);
VOBASE_API int VODecryptString(std::bitset<64>& bitResult, std::bitset<64>& bitSource, const char* pszKey);

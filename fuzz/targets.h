// The fuzz targets: each takes any bytes, and does with them what a program does with bytes that it didn't make.
// Nothing may fault, leak or break an invariant, whatever the bytes are.
//
// scripts/fuzz runs them under libFuzzer; tests/fuzz runs every seed, and everything that was ever found, in every
// build.
#pragma once

#include <stddef.h>
#include <stdint.h>

void FuzzIniReader(const uint8_t* pbData, size_t uSize);       // open, look up, edit, write, open again
void FuzzPathListFile(const uint8_t* pbData, size_t uSize);    // the path list from a file
void FuzzPathListBuffer(const uint8_t* pbData, size_t uSize);  // the path list from memory
void FuzzBufferLine(const uint8_t* pbData, size_t uSize);      // one line out of a buffer, with rooms of any size
void FuzzOptionSection(const uint8_t* pbData, size_t uSize);   // the section of the public options
void FuzzDecompressor(const uint8_t* pbData, size_t uSize);    // a compressed block

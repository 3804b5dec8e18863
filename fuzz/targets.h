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

// Images of the library: the first byte of those that change it says how many bytes of steps follow, in front of the
// image.
void FuzzAssetImage(const uint8_t* pbData, size_t uSize);     // a reader's view: every query, the image taken again
void FuzzAssetProvider(const uint8_t* pbData, size_t uSize);  // a publisher's copy: changed, flattened, attached again
void FuzzEventImage(const uint8_t* pbData, size_t uSize);     // file events: a view and a copy that is changed
void FuzzStringSet(const uint8_t* pbData, size_t uSize);      // a string set in both roles
void FuzzSection(const uint8_t* pbData, size_t uSize);        // the sections of a published index, loaded and reloaded
void FuzzRoad(const uint8_t* pbData, size_t uSize);           // a base and its log, mapped and followed

// What lum reads.
void FuzzLumImage(const uint8_t* pbData, size_t uSize);    // an image, looked at byte by byte
void FuzzLumDump(const uint8_t* pbData, size_t uSize);     // the same, written out value by value
void FuzzLumTypes(const uint8_t* pbData, size_t uSize);    // a table of classify types
void FuzzLumPaths(const uint8_t* pbData, size_t uSize);    // a list of paths
void FuzzLumOptions(const uint8_t* pbData, size_t uSize);  // an option file

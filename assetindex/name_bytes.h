// How the units of names stand as bytes in a name index.
#pragma once

#include "vo_types.h"

// A unit as its bytes; gives where the next one goes.
inline unsigned char* VOPutUnit(unsigned char* pbTo, unsigned int uUnit)
{
    if (uUnit < 0x80)
    {
        *pbTo++ = static_cast<unsigned char>(uUnit);
        return pbTo;
    }
    if (uUnit < 0x800)
    {
        *pbTo++ = static_cast<unsigned char>(0xC0 | uUnit >> 6);
    }
    else
    {
        *pbTo++ = static_cast<unsigned char>(0xE0 | uUnit >> 12);
        *pbTo++ = static_cast<unsigned char>(0x80 | (uUnit >> 6 & 0x3F));
    }
    *pbTo++ = static_cast<unsigned char>(0x80 | (uUnit & 0x3F));
    return pbTo;
}

constexpr VOWCHAR kVOFirstPrintable = 0x20;
constexpr VOWCHAR kVOLastPrintable = 0x7E;

inline bool VOIsPrintableAscii(VOWCHAR cUnit)
{
    return cUnit >= kVOFirstPrintable && cUnit <= kVOLastPrintable;
}

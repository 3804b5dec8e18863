#include "tests/lum/archives.h"

#include <stdio.h>

namespace
{

void Put16(std::string* pstrTo, uint32_t uValue)
{
    *pstrTo += static_cast<char>(uValue);
    *pstrTo += static_cast<char>(uValue >> 8);
}

void Put32(std::string* pstrTo, uint32_t uValue)
{
    Put16(pstrTo, uValue);
    Put16(pstrTo, uValue >> 16);
}

std::string Octal(uint64_t ullValue, int nDigits)
{
    char szText[32];
    snprintf(szText, sizeof(szText), "%0*llo", nDigits, static_cast<unsigned long long>(ullValue));
    return szText;
}

uint32_t Crc32(const std::string& strBytes)
{
    uint32_t uCrc = 0xFFFFFFFF;
    for (const char ch : strBytes)
    {
        uCrc ^= static_cast<unsigned char>(ch);
        for (int i = 0; i < 8; ++i)
        {
            uCrc = (uCrc >> 1) ^ ((uCrc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return ~uCrc;
}

bool IsFolder(const ArchiveMember& member)
{
    return member.strPath.ends_with("/");
}

std::string TarHeader(const ArchiveMember& member)
{
    std::string strHeader(512, '\0');
    strHeader.replace(0, member.strPath.size(), member.strPath);
    strHeader.replace(100, 7, Octal(member.uMode, 7));
    strHeader.replace(108, 7, Octal(0, 7));
    strHeader.replace(116, 7, Octal(0, 7));
    strHeader.replace(124, 11, Octal(member.strContent.size(), 11));
    strHeader.replace(136, 11, Octal(static_cast<uint64_t>(member.nWritten), 11));
    strHeader.replace(148, 8, "        ");
    strHeader[156] = IsFolder(member) ? '5' : '0';
    strHeader.replace(257, 8, std::string("ustar\00000", 8));
    uint32_t uSum = 0;
    for (const char ch : strHeader)
    {
        uSum += static_cast<unsigned char>(ch);
    }
    strHeader.replace(148, 8, Octal(uSum, 6) + std::string("\0 ", 2));
    return strHeader;
}

// The fields that the local and the central header of a zip member share.
std::string ZipFields(const ArchiveMember& member, bool bUtf8)
{
    std::string strFields;
    Put16(&strFields, 20);
    Put16(&strFields, bUtf8 ? 0x800 : 0);
    Put16(&strFields, 0);       // stored
    Put16(&strFields, 0);       // time 00:00
    Put16(&strFields, 0x2A21);  // date 2001-01-01
    Put32(&strFields, Crc32(member.strContent));
    Put32(&strFields, static_cast<uint32_t>(member.strContent.size()));
    Put32(&strFields, static_cast<uint32_t>(member.strContent.size()));
    Put16(&strFields, static_cast<uint32_t>(member.strPath.size()));
    Put16(&strFields, 0);
    return strFields;
}

}  // namespace

std::string MakeTar(const std::vector<ArchiveMember>& vecMembers)
{
    std::string strTar;
    for (const ArchiveMember& member : vecMembers)
    {
        strTar += TarHeader(member) + member.strContent;
        strTar.resize((strTar.size() + 511) / 512 * 512);
    }
    strTar.resize(strTar.size() + 1024);
    return strTar;
}

std::string MakeZip(const std::vector<ArchiveMember>& vecMembers, bool bUtf8)
{
    std::string strZip;
    std::string strCentral;
    for (const ArchiveMember& member : vecMembers)
    {
        const uint32_t uOffset = static_cast<uint32_t>(strZip.size());
        strZip += "PK\x03\x04" + ZipFields(member, bUtf8) + member.strPath + member.strContent;

        strCentral += "PK\x01\x02";
        Put16(&strCentral, 0x0314);  // made on Unix
        strCentral += ZipFields(member, bUtf8);
        Put16(&strCentral, 0);
        Put16(&strCentral, 0);
        Put16(&strCentral, 0);
        Put32(&strCentral, ((IsFolder(member) ? 0040000 : 0100000) | member.uMode) << 16);
        Put32(&strCentral, uOffset);
        strCentral += member.strPath;
    }
    const uint32_t uCentral = static_cast<uint32_t>(strZip.size());
    strZip += strCentral + "PK\x05\x06";
    Put32(&strZip, 0);
    Put16(&strZip, static_cast<uint32_t>(vecMembers.size()));
    Put16(&strZip, static_cast<uint32_t>(vecMembers.size()));
    Put32(&strZip, static_cast<uint32_t>(strCentral.size()));
    Put32(&strZip, uCentral);
    Put16(&strZip, 0);
    return strZip;
}

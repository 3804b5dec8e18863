// ZIniFile: a configuration file as a chain of its lines. A file keeps its comments and the spelling of its keys
// through a round trip, because every line stays text, and a value is found by looking through the lines at each read.
//
// What the reader makes of a line: cut, for this test only, at its first ";", a line with a "[" and a "]" in it is a
// section, one with a "=" a key and its value, anything else a comment. Nothing is trimmed, so "name = 1" has the key
// "name " and the value " 1". Empty lines vanish. Lines of more than 254 characters are cut into several. Text is
// bytes, whatever their encoding. Names are compared in full, with "a" to "z" taken as "A" to "Z".
//
// An object belongs to one thread at a time: even reads change it.
#pragma once

#include "vo_types.h"

enum : char
{
    tpSECTION = 1,
    tpKEYVALUE = 2,
    tpCOMMENT = 3
};

// One line of a file. Entries are made and freed by the file object they belong to.
struct VOBASE_API ZENTRY
{
    char cType;     // tpSECTION, tpKEYVALUE, tpCOMMENT; 0 for an entry not yet filled
    char* pszText;  // the whole line, a section with its brackets; from the runtime's malloc
    ZENTRY* pPrev;
    ZENTRY* pNext;  // null at the end

    // The text without its first and last character: the name of a section. Writes nothing unless nSize is greater than
    // the length of the whole text.
    void GetEntryName(char* pszName, int nSize);
};

// What a search for a key found.
struct tgEFIND
{
    ZENTRY* pSectionEntry;  // null when there is no such section
    ZENTRY* pKeyEntry;      // null when there is no such key
    char szKey[128];        // the key as the file spells it
    char szValue[128];      // the text behind the first "=", up to a ";"
    char szComment[256];    // from the ";" on. A value of more than 127 characters runs on into this room, and is whole
};

class VOBASE_API ZIniFile
{
public:
    ZIniFile();
    ~ZIniFile();

    // Copies the pointers: both objects then stand on one chain, which lives until the last of them lets it go. Only
    // one of them may change it.
    ZIniFile(const ZIniFile& rkOther);
    ZIniFile& operator=(const ZIniFile& rkOther);

    // Reads a file in place of what the object held; the second argument isn't looked at. Everything in front of the
    // first "[" of the first line is dropped, a byte order mark for instance; a first line without one is refused, with
    // a message on standard output. 0 and a log line for no name and for a file that can't be opened. The object is
    // empty after a failure. An empty file is none.
    int OpenIniFile(const char* pFileName, bool bReserved = false);

    // Writes every line with CR LF, and an empty line in front of each section but the first. A read-only file is
    // written and is read-only afterwards. 0 and a log line when the file can't be opened; the object has then lost its
    // entries.
    int WriteIniFile(const char* pFileName);

    // Three names of one action: frees all entries.
    void CloseIniFile();
    void ClearIniFile();
    void FreeAllMem();

    // Frees one block of the runtime's malloc.
    void FreeMem(void* p);

    // The first section entry whose whole text is "[" pSection "]", or null: a section line with a comment behind its
    // bracket is never found.
    ZENTRY* FindSection(const char* pSection);

    // 1 when the first section of that name has the key. Without the section only the two pointers are set.
    int FindKey(const char* pSection, const char* pKey, tgEFIND* pFind);

    // The first entry, and the next line that has a "[" with no "#" in front of it, whatever its type; null at the end.
    ZENTRY* SectionBegin();
    ZENTRY* SectionNext(ZENTRY* pEnty);

    // Values. A null name gives the default. Numbers are read as far as they go, so "true" is 0; a text that is no
    // number at all is 0.0 as a double. pFormat is the printf format of the default, which makes a round trip through
    // its text; null means "%1.10lE".
    int ReadBool(const char* pSection, const char* pKey, int nDefault);
    int ReadInt(const char* pSection, const char* pKey, int nDefault);
    double ReadDouble(const char* pSection, const char* pKey, double fDefault, const char* pFormat = nullptr);

    // The value, valid until the next read, or pDefault itself.
    const char* ReadString(const char* pSection, const char* pKey, const char* pDefault);

    // Copies the value or the default into nSize characters, cut, terminated and filled with zeros. Always 1.
    int ReadString(const char* pSection, const char* pKey, const char* pDefault, char* pValue, int nSize);

    // Change the line of a key, or add it: directly behind its section, or with a new section at the end. A null key
    // adds pValue as a line of its own, a comment. An empty section or value is refused with a log line. The spelling
    // of an existing key and the comment of its line stay. WriteDouble renders up to 31 characters; a longer text is
    // refused as an empty one is.
    void WriteBool(const char* pSection, const char* pKey, int nValue);
    void WriteInt(const char* pSection, const char* pKey, int nValue);
    void WriteDouble(const char* pSection, const char* pKey, double fValue, const char* pFormat = nullptr);
    void WriteString(const char* pSection, const char* pKey, const char* pValue);

    // 1 when the key was there. m_pLastEntry isn't moved.
    int DeleteKey(const char* pSection, const char* pKey);

    // Always 1. The last line of the last section stays, and belongs to the section in front of it then; a last section
    // of one line isn't deleted at all.
    int DeleteSection(const char* pSection);

    // Append an entry at m_pLastEntry, and insert one behind pEntry; the back link of the entry behind it and
    // m_pLastEntry stay as they were. 0 when memory runs out, for a null text, and for a null pEntry.
    int AddItem(char cType, const char* pszText);
    int AddItemAt(ZENTRY* pEntry, char cType, const char* pszText);

    // Inserts "key=value" behind pEntry, or, with a null key, the value as a comment.
    void AddKey(ZENTRY* pEntry, const char* pKey, const char* pValue);

    // Appends "[section]" and a line as above. 0 and a log line when memory runs out.
    int AddSectionAndKey(const char* pSection, const char* pKey, const char* pValue);

    // Links an empty entry behind m_pLastEntry, which its caller has to move; it becomes the head when there is none.
    // Without memory: null and a log line, and all entries are freed.
    ZENTRY* MakeNewEntry();

protected:
    // Clears the attribute read-only (bReadOnly 0), or sets all attributes to 0 when the file isn't read-only.
    // Always 1.
    int SetFileReadOnly(const char* pFileName, int bReadOnly);

    ZENTRY* m_pFirstEntry;
    ZENTRY* m_pLastEntry;
    char m_szReturnBuffer[264];  // the value that was read last
};
static_assert(sizeof(ZENTRY) == 32 && sizeof(tgEFIND) == 528 && offsetof(tgEFIND, szComment) == 272);

// ZIniFile: a configuration file as a chain of its lines. A file keeps its comments and the spelling of its
// keys through a round trip, because every line stays text, and a value is found by looking through the lines
// at each read. docs/ini-file.md has the format as a table.
//
// What the reader makes of a line: cut, for this test only, at its first ";", a line with a "[" and a "]" in it
// is a section, one with a "=" a key and its value, anything else a comment. Nothing is trimmed, so "name = 1"
// has the key "name " and the value " 1". Empty lines vanish. Lines of more than 254 characters are cut into
// several. Text is bytes, whatever their encoding. Names are compared in full, with "a" to "z" taken as "A" to
// "Z".
//
// An object belongs to one thread at a time: even reads change it. Where memory runs out a line is left out or
// a result is 0; opening and writing a file throw std::bad_alloc when there is none for the name.
#pragma once

#include "vo_types.h"

// What a line is.
enum : char
{
    tpSECTION = 1,
    tpKEYVALUE = 2,
    tpCOMMENT = 3
};

// One line of a file. Entries are made and freed by the file object they belong to; a pointer to one is good
// until its line is deleted or the object lets the chain go.
struct VOBASE_API ZENTRY
{
    char cType;     // tpSECTION, tpKEYVALUE, tpCOMMENT; 0 for an entry not yet filled
    char* pszText;  // the whole line, a section with its brackets; from the runtime's malloc
    ZENTRY* pPrev;
    ZENTRY* pNext;  // null at the end

    // The text without its first and last character: the name of a section, terminated.
    //
    // Kept (ZENTRY::GetEntryName): nothing is written unless nSize is greater than the length of the whole
    // text. Callers empty the buffer first, and see by that that it was too small.
    void GetEntryName(char* pszName, int nSize);
};

// What a search for a key found, in memory of the caller's.
//
// Kept (tgEFIND): a value of more than 127 characters runs on from szValue into szComment, and is whole there.
// Callers that read szValue as a text get long values.
struct tgEFIND
{
    ZENTRY* pSectionEntry;  // null when there is no such section
    ZENTRY* pKeyEntry;      // null when there is no such key
    char szKey[128];        // the key as the file spells it
    char szValue[128];      // the text behind the first "=", up to a ";"
    char szComment[256];    // from the ";" on
};

// The lines of one file, in their order, and what is read out of them or changed in them. The file itself is
// open only while it is read or written.
class VOBASE_API ZIniFile
{
public:
    // Empty: nothing is opened.
    ZIniFile();
    ~ZIniFile();

    // Copies the pointers: both objects then stand on one chain, which lives until the last of them lets it go.
    // Only one of them may change it, and copies belong to one thread together: nothing guards what they share.
    ZIniFile(const ZIniFile& rkOther);
    ZIniFile& operator=(const ZIniFile& rkOther);

    // Reads a file in place of what the object held; the second argument isn't looked at. 1, also for an empty
    // file. 0 and a log line for no name and for a file that can't be opened. The object is empty after a
    // failure.
    //
    // Kept (ZIniFile::OpenIniFile): everything in front of the first "[" of the first line is dropped, a byte
    // order mark for instance; a first line without one is refused with 0, with a message on standard output in
    // the GBK code page and no log line. Hosts show their users that message.
    int OpenIniFile(const char* pFileName, bool bReserved = false);

    // Writes every line with CR LF, and an empty line in front of each section but the first. A read-only file
    // is written and is read-only afterwards.
    //
    // Kept (ZIniFile::WriteIniFile): 0 and a log line when the file can't be opened; the object has then lost
    // its entries. Hosts that go on after that open the file again.
    int WriteIniFile(const char* pFileName);

    // Three names of one action: frees all entries. Pointers to them are dead, but where a copy still stands on
    // the chain.
    void CloseIniFile();
    void ClearIniFile();
    void FreeAllMem();

    // Frees one block of the runtime's malloc; null does nothing.
    void FreeMem(void* p);

    // The first section entry of that name, or null; in any case of its letters.
    //
    // Kept (ZIniFile::FindSection): the whole text of the entry is compared with "[" pSection "]", so that a
    // section line with a comment behind its bracket is never found by name. Writers put comments on lines of
    // their own.
    ZENTRY* FindSection(const char* pSection);

    // 1 when the first section of that name has the key: the first match wins. *pFind is filled as its fields
    // say; without the section only the two pointers are set, and with a section but no such key szKey and
    // szComment are those of the last line that was looked at. pFind null gives 0.
    int FindKey(const char* pSection, const char* pKey, tgEFIND* pFind);

    // The first entry, null when there is none; and the next one that counts as a section, null at the end. A
    // null entry is logged.
    //
    // Kept (ZIniFile::SectionNext): it goes by the text and not by the type: a line that has a "[" with no "#"
    // in front of it counts, a comment or a value too. Tools that list sections list such lines with them.
    ZENTRY* SectionBegin();
    ZENTRY* SectionNext(ZENTRY* pEnty);

    // Values. A missing key and a null name give the default, which ReadBool makes 0 or 1. A number beyond an
    // int counts as the nearest one.
    //
    // Kept (ZIniFile::ReadBool): numbers are read as far as they go, so that "true" is 0; any number but 0 is
    // 1. Files that exist say 1 and 0.
    int ReadBool(const char* pSection, const char* pKey, int nDefault);
    int ReadInt(const char* pSection, const char* pKey, int nDefault);

    // The value as a double. pFormat is the printf format of the default; null means "%1.10lE".
    //
    // Kept (ZIniFile::ReadDouble): the default makes a round trip through its text, and has the digits that the
    // format leaves it; a value that is no number at all gives 0.0, not the default. Tools compare a value that
    // they wrote with one that they read.
    double ReadDouble(const char* pSection, const char* pKey, double fDefault, const char* pFormat = nullptr);

    // The value, at most 263 characters of it, valid until the next read of any kind; or pDefault itself. A
    // null default gives null.
    const char* ReadString(const char* pSection, const char* pKey, const char* pDefault);

    // Copies the value or the default into nSize characters, cut, terminated and filled with zeros. pValue may
    // be the default. Without a buffer nothing is written. Always 1.
    int ReadString(const char* pSection, const char* pKey, const char* pDefault, char* pValue, int nSize);

    // Change the line of a key, or add it: directly behind its section, or with a new section at the end. A
    // null key adds pValue as a line of its own, a comment. The spelling of an existing key and the comment of
    // its line stay. They change the object; WriteIniFile changes the file.
    //
    // Kept (ZIniFile::WriteString): an empty section or value is refused with a log line, and the line stays as
    // it was. Tools delete a key where they mean none.
    void WriteBool(const char* pSection, const char* pKey, int nValue);
    void WriteInt(const char* pSection, const char* pKey, int nValue);

    // Up to 31 characters; a longer text is refused as an empty one is, since a part of a number would be
    // another number.
    void WriteDouble(const char* pSection, const char* pKey, double fValue, const char* pFormat = nullptr);
    void WriteString(const char* pSection, const char* pKey, const char* pValue);

    // 1 when the key was there, else 0. Its line is freed.
    //
    // Kept (ZIniFile::DeleteKey): m_pLastEntry isn't moved, also when the last line was deleted; what is added
    // next goes to the end of the chain. Derived classes read m_pLastEntry.
    int DeleteKey(const char* pSection, const char* pKey);

    // Takes out the first section of that name with its lines. Always 1.
    //
    // Kept (ZIniFile::DeleteSection): the last line of the last section stays, and belongs to the section in
    // front of it then; a last section of one line isn't deleted at all. Tools that delete and write again have
    // such lines in their files.
    int DeleteSection(const char* pSection);

    // Append an entry at m_pLastEntry, and insert one behind pEntry; the text is copied. 1, or 0 when memory
    // runs out, for a null text, and for a null pEntry; an entry that AddItem has no memory for costs all
    // entries.
    //
    // Kept (ZIniFile::AddItemAt): the back link of the entry behind the new one and m_pLastEntry stay as they
    // were, so that a line that was added behind the last one is unhooked by the next append. Derived classes
    // walk these links, as they do behind AddKey.
    int AddItem(char cType, const char* pszText);
    int AddItemAt(ZENTRY* pEntry, char cType, const char* pszText);

    // Inserts "key=value" behind pEntry, or, with a null key, the value as a comment. Without memory or a value
    // nothing happens.
    void AddKey(ZENTRY* pEntry, const char* pKey, const char* pValue);

    // Appends "[section]" and a line as above. 1, or 0 and a log line when memory runs out and for a null
    // section or value.
    int AddSectionAndKey(const char* pSection, const char* pKey, const char* pValue);

    // Links an empty entry behind m_pLastEntry; it becomes the head when there is none. Without memory: null
    // and a log line, and all entries are freed.
    //
    // Kept (ZIniFile::MakeNewEntry): m_pLastEntry isn't moved. Derived classes fill the entry and move it
    // themselves.
    ZENTRY* MakeNewEntry();

protected:
    // Clears the attribute read-only (bReadOnly 0). Always 1.
    //
    // Kept (ZIniFile::SetFileReadOnly): asked to set it, it sets all attributes of a file that isn't read-only
    // to 0 instead. Nobody in the library asks for that; derived classes that do get plain files.
    int SetFileReadOnly(const char* pFileName, int bReadOnly);

    // The chain, as far as links lead; every entry that was made is freed with it, whether one leads to it or
    // not.
    ZENTRY* m_pFirstEntry;
    ZENTRY* m_pLastEntry;
    char m_szReturnBuffer[264];  // the value that was read last
};
static_assert(sizeof(ZENTRY) == 32 && sizeof(tgEFIND) == 528 && offsetof(tgEFIND, szComment) == 272);

// ZMdlFile: an ordered list of paths, kept as a text file with one path in each line, or read from memory.
//
// In a file a path that holds a backslash anywhere has one more backslash in front of its line, and a reader takes one
// backslash away there. File and memory are read differently: a path from a file keeps its line end, one from memory
// loses it, and loses everything from its first blank on.
//
// A path has at most 259 characters, bytes as they are. A longer one is refused as the runtime's bounded copy does:
// that ends the process on Windows unless the host has a handler for invalid parameters; where it goes on, the path is
// the empty text. An object belongs to one thread at a time.
#pragma once

#include <list>

#include "vo_types.h"

class VOBASE_API ZMdlFile
{
public:
    ZMdlFile();
    ~ZMdlFile();

    // Copies the list: both objects then share their paths, which live until the last of them lets go.
    ZMdlFile(const ZMdlFile& rkOther);
    ZMdlFile& operator=(const ZMdlFile& rkOther);

    // Adds the lines of a file, each with its line end, to what is there; bCreate makes the file, or empties it, and
    // adds nothing. 0 and a log line when it can't be opened. A line of 259 characters or more, its line end included,
    // ends the process.
    int OpenMdlFile(const char* pszFilePath, bool bCreate);

    // Adds the lines of nSize bytes, which need no terminator, without their line ends. Reading stops at a line of
    // 1,024 characters. Always 1.
    int OpenMdlFileByBuffer(const char* pszBuffer, int nSize);

    // Writes all paths. A read-only file is written and can be written afterwards. 0 and a log line when it can't be
    // opened.
    int WriteMdlFile(const char* pszFilePath);

    int GetPathCount() const;

    // The path at a place, counted from 0; the text stays the object's. Null and a log line for a bad index.
    const char* GetPathByIndex(int nIndex);

    // Appends a copy of the path less one backslash at its start. Always 1.
    int AddPath(const char* pszPath);

    // 0 and a log line for a bad index. ReplacePath copies the path as it stands, and keeps the place.
    int RemovePathAt(int nIndex);
    int ReplacePath(const char* pszPath, int nIndex);

    // Always 1.
    int ClearAll();

protected:
    // Clears the attribute read-only (bReadOnly 0), or sets all attributes to 0 when the file isn't read-only.
    // Always 1.
    int SetFileReadOnly(const char* pszFilePath, int bReadOnly);

    // Copies the next line, without its end, to szRetLine, which has room for uLineBufferSize characters, and moves the
    // buffer's pointer behind the line and all line ends that follow. 0 at the end, and for a line that doesn't fit:
    // the pointer then stays. A line end at the very start gives an empty line.
    int GetBufferLine(char** ppszBuffer, unsigned int uLineBufferSize, char* const szRetLine);

    // Each path is a block of exactly 260 bytes from new char[260], zero behind the text; a derived class may put its
    // own there, and the list then owns them.
    std::list<char*> m_StrVertor;
};

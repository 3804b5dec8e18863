// ZMdlFile: an ordered list of paths, kept as a text file with one path in each line, or read from memory.
// docs/path-list.md shows how the two are read differently.
//
// In a file a path that holds a backslash anywhere has one more backslash in front of its line, and a reader
// takes one backslash away there.
//
// A path has at most 259 characters, bytes as they are. A longer one is refused as the runtime's bounded copy
// does: that ends the process on Windows unless the host has a handler for invalid parameters; where it goes
// on, the path is the empty text. An object belongs to one thread at a time. What adds a path throws
// std::bad_alloc, with the list as it was, when there is no memory.
#pragma once

#include <list>

#include "vo_types.h"

// Owns its paths. Places are counted from 0, in the order of adding; finding one costs a walk from the front.
class VOBASE_API ZMdlFile
{
public:
    ZMdlFile();
    ~ZMdlFile();

    // Copies the list: both objects then share their paths, which live until the last of them lets go.
    ZMdlFile(const ZMdlFile& rkOther);
    ZMdlFile& operator=(const ZMdlFile& rkOther);

    // Adds the lines of a file to what is there; bCreate makes the file, or empties it, and adds nothing. 0 and
    // a log line when it can't be opened.
    //
    // Kept (ZMdlFile::OpenMdlFile): each path keeps its line end, so that a list that was read from a file and
    // is written again has an empty line behind each. Callers cut it off themselves. A line of 259 characters
    // or more, its line end included, ends the process, with the reason on standard error: hosts look at their
    // files first.
    int OpenMdlFile(const char* pszFilePath, bool bCreate);

    // Adds the lines of nSize bytes, which need no terminator, without their line ends. Always 1.
    //
    // Kept (ZMdlFile::OpenMdlFileByBuffer): a path ends at its first blank, and reading stops, with a log line,
    // at a line of 1,024 characters. Senders of such buffers put a remark behind a blank.
    int OpenMdlFileByBuffer(const char* pszBuffer, int nSize);

    // Writes all paths, each with a line end. 0 and a log line when the file can't be opened.
    //
    // Kept (ZMdlFile::WriteMdlFile): a read-only file is written, and can be written afterwards, unlike an INI
    // file. Hosts that want it protected set the attribute again.
    int WriteMdlFile(const char* pszFilePath);

    // How many paths there are.
    int GetPathCount() const;

    // The path at a place; the text stays the object's, and lives until it is removed or replaced. Null and a
    // log line for a bad index, a negative one too.
    const char* GetPathByIndex(int nIndex);

    // Appends a copy of the path less one backslash at its start. A null path counts as the empty one. Always
    // 1.
    int AddPath(const char* pszPath);

    // 1, or 0 and a log line for a bad index. What is put in place of a path may be a part of it.
    //
    // Kept (ZMdlFile::ReplacePath): the path is copied as it stands, with a backslash at its start, unlike
    // AddPath's. Callers that replace what GetPathByIndex gave them pass it back unchanged.
    int RemovePathAt(int nIndex);
    int ReplacePath(const char* pszPath, int nIndex);

    // Takes out all paths. Always 1.
    int ClearAll();

protected:
    // As ZIniFile::SetFileReadOnly. Always 1.
    int SetFileReadOnly(const char* pszFilePath, int bReadOnly);

    // Copies the next line, without its end, to szRetLine, which has room for uLineBufferSize characters, and moves the
    // buffer's pointer behind the line and all line ends that follow. 0 at the end, and for a line that doesn't fit:
    // the pointer then stays. A line end at the very start gives an empty line.
    int GetBufferLine(char** ppszBuffer, unsigned int uLineBufferSize, char* const szRetLine);

    // Each path is a block of exactly 260 bytes from new char[260], zero behind the text; a derived class may put its
    // own there, and the list then owns them.
    std::list<char*> m_StrVertor;
};

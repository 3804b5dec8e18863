// VOLogOutput: writes log text to a file. A host puts it behind the log front with a hook of its own that forwards to
// an object of this class; nothing in the library calls it.
//
// One object stands for one file, whose name is made when Init runs: below the given folder, a folder for the day and
// in it a file for the second, such as logs\2026-11-14\2026-11-14 08-03-56.log. There is no roll-over: only a new Init
// moves on to a new file. A line is "2026-11-14 08-03-56:[VOLOG-ERROR]text", with the line end that the text brings.
//
// Any number of threads and processes may write to one file: each line is one open, one write and one close.
// docs/log-file.md says where the file is found on which system.
#pragma once

#include "vo_log.h"
#include "vo_types.h"

class VOBASE_API VOLogOutput
{
public:
    VOLogOutput();
    ~VOLogOutput();

    // Makes the folders, not the file, and fixes its name. 0, with the name as it was, for a null path and for one with
    // which the name would have more than 259 characters; else 1, also when a folder can't be made: the first write
    // then fails. ".." and two slashes at the start are passed over when the folders are made, but not when the file is
    // opened.
    int Init(const char* pszLogPath);

    // Does nothing. Always 1.
    int UnInit();

    // Appends a line. 0 when the file can't be opened or written, and for a priority above 7: the file is then made,
    // and gets nothing.
    int OutputPrintf(VOLOG_PRIORITY emPriority, const char* pszText);

protected:
    // The tag of a level, "VOLOG-ERROR", cut to nSize. 0 for a priority above 7 and for a null buffer.
    int GetPriorityString(VOLOG_PRIORITY emPriority, char* pszBuffer, int nSize);

    // The local time. nFlags: 4 date and time, else 1 date, else 2 time, else the buffer is left alone. A text that
    // doesn't fit is the empty text. 0 for a null buffer only.
    int GetCurrentTimeString(char* pszBuffer, int nSize, int nFlags);

    // Makes all folders of a path, less the full stops and slashes at its start. Always 1.
    int MakePathDir(const char* pszPath);

    char m_szLogFile[260];
};
static_assert(sizeof(VOLogOutput) == 260);

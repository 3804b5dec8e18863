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

// Holds nothing but the name: no open file, no memory. Init and a write at the same time are the caller's to
// keep apart; writes may come from any number of threads. Nothing here logs about itself: what fails shows in
// the result. Init and OutputPrintf throw std::bad_alloc when there is no memory for their texts.
class VOBASE_API VOLogOutput
{
public:
    VOLogOutput();
    ~VOLogOutput();

    // Makes the folders, not the file, and fixes its name. pszLogPath is the folder, in the system's narrow
    // encoding, absolute or below the working directory. 0, with the name as it was, for a null path and for
    // one with which the name would have more than 259 characters.
    //
    // Kept (VOLogOutput::Init): 1 also when a folder can't be made; the first write then fails. Hosts go on
    // without a log file and don't take it for an error. A null path is refused only after folders have been
    // made below "(null)".
    int Init(const char* pszLogPath);

    // Does nothing. Always 1.
    int UnInit();

    // Appends a line of the current local time, the tag of the level and the text, which brings its own line
    // end; "(null)" stands for a null text. 1 when the line has been given to the system whole. 0 when the file
    // can't be opened or written, and before Init.
    //
    // Kept (VOLogOutput::OutputPrintf): for a priority above 7 the result is 0 and the file is made, with
    // nothing in it. Tools that look for a log file find it.
    int OutputPrintf(VOLOG_PRIORITY emPriority, const char* pszText);

protected:
    // The tag of a level, "VOLOG-ERROR", cut to nSize - 1 characters and terminated. 0 for a priority above 7
    // and for a null buffer.
    int GetPriorityString(VOLOG_PRIORITY emPriority, char* pszBuffer, int nSize);

    // The local time. nFlags: 4 date and time, else 1 date, else 2 time, else the buffer is left alone. A text
    // that doesn't fit nSize characters is the empty text. 0 for a null buffer only.
    int GetCurrentTimeString(char* pszBuffer, int nSize, int nFlags);

    // Makes all folders of a path, from the outermost on; those that exist do no harm, and failures aren't
    // told. Always 1.
    //
    // Kept (VOLogOutput::MakePathDir): full stops and slashes at the start of the path are passed over here,
    // but not when the file is opened. So "..\logs" makes the folder "logs" and the first write fails;
    // docs/log-file.md has the table. Hosts that give such a path count on finding folders below the working
    // directory only.
    int MakePathDir(const char* pszPath);

    // The whole name of the file, with backslashes; empty before Init.
    char m_szLogFile[260];
};
static_assert(sizeof(VOLogOutput) == 260);

// The process, its console, and requests to stop.
#pragma once

#include <stdint.h>
#include <stdio.h>

#include <string>
#include <vector>

uint32_t VOProcessId();

void VOSleepMilliseconds(uint32_t uMilliseconds);

// The program's arguments after its name, in the narrow form of vo_native_names.h on both systems.
std::vector<std::string> VOArguments(int nCount, char** ppszArguments);

// Sets a variable of the environment that processes started from now on get. UTF-8, or any bytes on Linux. Not beside
// other threads that look at the environment. False when it can't be set.
bool VOSetEnvironment(const std::string& strName, const std::string& strValue);

// Makes a console show UTF-8 and understand colour sequences, where that isn't so by itself.
void VOPrepareConsole();

// True when the stream ends at a terminal that a person looks at.
bool VOIsTerminal(FILE* pStream);

// Keeps standard output for the caller: the stream that is returned ends where standard output did, and what is written
// to stdout from now on, by whatever library, goes nowhere. Programs that are started later have standard output as it
// was. Null, and nothing is changed, when the system refuses. Once, before other threads.
FILE* VOTakeStandardOutput();

// Runs a command line by the system's shell, and waits for its end. What it writes goes to standard output, also after
// VOTakeStandardOutput. -1 when it can't be run; otherwise what system() gives. From one thread at a time.
int VORunCommand(const std::string& strCommand);

// Requests that come so close behind the first one are the first one, in milliseconds. Whoever passes a signal on sends
// it to the process and to its group, so that it comes twice.
inline constexpr uint32_t kVOSameStopRequest = 500;

// From this call on, the first request to stop (SIGINT, SIGTERM or SIGHUP; Ctrl-C, Ctrl-Break or the closing of the
// console on Windows) is noted instead of ending the process; a later one, kVOSameStopRequest or more behind it, ends
// it at once. Calling it again changes nothing. False when the system refused.
bool VOHandleStopRequests();

// True once a request was noted.
bool VOStopRequested();

// Waits for a request at most so long (0xFFFFFFFF: without limit). True when there is one. Any number of threads may
// wait.
bool VOWaitForStopRequest(uint32_t uMilliseconds);

// Makes the request from inside the program.
void VORequestStop();

// What lum says: results on standard output, everything else on standard error; and what every command ends with.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace lum
{

constexpr int kExitFound = 0;     // done, or found
constexpr int kExitNotFound = 1;  // the question was answered: there is no such thing
constexpr int kExitError = 2;     // it could not be done, or the question could not be answered

// What a command says that finds no publisher.
constexpr const char* kNothingPublished = "nothing is published here; to publish a directory: lum serve --source DIR";

// From this call on standard output is for results alone: what the library prints there goes nowhere. Once, before
// anything is written.
void KeepStandardOutput();

// Collects a command's result and writes it in large pieces.
class Output
{
public:
    ~Output();

    void Write(std::string_view strText);

    // Brings everything to standard output. False when some of it could not be written.
    bool Flush();

    // The same at the end of a command: gives its exit code, and kExitError after a complaint when something is
    // missing.
    int Finish(int nResult);

private:
    std::string m_strBuffer;
    bool m_bFailed = false;
};

// One line on standard error, with the program's name in front; and in the log file, where one was started.
void Complain(std::string_view strText);

// The same, and the exit code of a command that ends with it.
int EndWith(std::string_view strText, int nExitCode = kExitError);

// A counter that moves while a long scan runs; seen only when standard error is a terminal.
class Progress
{
public:
    explicit Progress(std::string strWhat);
    ~Progress();  // clears the line
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(unsigned uCount);

private:
    std::string m_strWhat;
    bool m_bTerminal;
    bool m_bShown = false;
    std::chrono::steady_clock::time_point m_tNext;
};

}  // namespace lum

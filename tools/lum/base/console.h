// What lum says: results on standard output, everything else on standard error.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace lum
{

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

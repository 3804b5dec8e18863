// Takes standard output (the descriptor, so that a shared library's output is in it) while an object lives. One object
// at a time. GoogleTest reports to standard output as well: when a check failed meanwhile, the text is passed on in the
// end, so that its message isn't lost.
#pragma once

#include <string>

namespace votest
{
class StdoutCapture
{
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Ends the capture and gives what was written, with "\n" as line end on every system.
    const std::string& Text();

private:
    bool m_bCapturing = true;
    bool m_bFailedBefore;
    std::string m_strText;
};
}  // namespace votest

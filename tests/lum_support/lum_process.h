// The lum program as a process of its own.
#pragma once

#include <stdint.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

// How a run of lum ended.
struct LumResult
{
    int nExitCode = -1;  // -1 when it didn't start, or was ended by a signal
    std::string strOut;  // line ends are "\n" on every system
    std::string strErr;
};

// How long anything may take that lum does in a test. None waits that long in a sound build: it keeps a broken one
// from hanging.
constexpr std::chrono::minutes kPatience(2);

// One lum process. It is killed when the object ends.
class LumProcess
{
public:
    explicit LumProcess(const std::vector<std::string>& vecArguments);
    ~LumProcess();
    LumProcess(const LumProcess&) = delete;
    LumProcess& operator=(const LumProcess&) = delete;

    bool IsRunning();
    uint32_t ProcessId() const;

    // Asks it to stop, as a person at a terminal would. False where that can't be done; the process then goes on.
    bool RequestStop();

    // Ends it at once, without any chance to clean up.
    void Kill();

    // Waits for the end. One that doesn't come within kPatience is a failure of the test, and the process is killed.
    int Wait();

    // After Wait: the signal that ended it; 0 for none, and where there are no signals.
    int EndingSignal() const;

    // What it has written so far.
    std::string Out() const;
    std::string Err() const;

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

// Runs lum to its end.
LumResult RunLum(const std::vector<std::string>& vecArguments);

// Moves this process, and those it starts, to a name space of sections of its own, where the system has such.
void UsePrivateNameSpace();

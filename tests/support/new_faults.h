// Lets operator new fail in a program that links the static library (on Linux in any program). For FailEach.
#pragma once

namespace votest
{
// Counts the calls of this thread only.
class NewFaults
{
public:
    static void Arm(unsigned uNth);
    static void Disarm();

    // Whether a call failed since the last Arm.
    static bool Fired();
};
}  // namespace votest

#include "platform/posix/own_signal.h"

namespace
{
bool IsFree(int nSignal)
{
    struct sigaction action = {};
    return sigaction(nSignal, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
           action.sa_handler == SIG_DFL;
}
}  // namespace

int TakeOwnSignal(SignalHandler pfnHandler, bool bFromBelow, int nLeftOpen)
{
    const int nCount = SIGRTMAX - SIGRTMIN;
    for (int i = 0; i < nCount; ++i)
    {
        const int nSignal = bFromBelow ? SIGRTMIN + i : SIGRTMAX - 1 - i;
        if (!IsFree(nSignal))
        {
            continue;
        }
        struct sigaction action = {};
        action.sa_sigaction = pfnHandler;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigfillset(&action.sa_mask);
        if (nLeftOpen != 0)
        {
            sigdelset(&action.sa_mask, nLeftOpen);
        }
        if (sigaction(nSignal, &action, nullptr) == 0)
        {
            return nSignal;
        }
    }
    return 0;
}

void GiveBackOwnSignal(int nSignal, SignalHandler pfnHandler)
{
    struct sigaction action = {};
    if (nSignal == 0 || sigaction(nSignal, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) == 0 ||
        action.sa_sigaction != pfnHandler)
    {
        return;
    }
    // What a thread has blocked is still under way, and its default would end the process: to be ignored drops it.
    action = {};
    action.sa_handler = SIG_IGN;
    sigaction(nSignal, &action, nullptr);
    action.sa_handler = SIG_DFL;
    sigaction(nSignal, &action, nullptr);
}

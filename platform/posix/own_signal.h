// Real-time signals of the library's own.
#pragma once

#include <signal.h>

typedef void (*SignalHandler)(int nSignal, siginfo_t* pInfo, void* pvContext);

// Takes a real-time signal that nobody in the process handles yet, from the lower or the upper end; 0 when there is
// none. While the handler runs, all other signals wait but nLeftOpen (0 for none).
int TakeOwnSignal(SignalHandler pfnHandler, bool bFromBelow, int nLeftOpen);

// Gives it back, and what of it is still under way is dropped. Nothing, if somebody has taken it over meanwhile.
void GiveBackOwnSignal(int nSignal, SignalHandler pfnHandler);

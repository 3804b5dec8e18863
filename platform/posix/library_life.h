// The library's life in a process that may load and unload it.
//
// A thread of the library runs its code, so the library isn't unloaded while one lives, whatever its host closes: the
// loader holds it as long as a thread has something of it to run at its end. What the library has put into the process
// (signals, keys) it takes back when it is unloaded. At the end of a process the same is called, maybe while threads
// still run: then everything stays as it is.
#pragma once

typedef void (*EndOfThread)(void* pvParameter);

// Has a function called when the calling thread ends, before which the library isn't unloaded. The one that is asked
// for first is called last, behind the destructors of the thread's own objects.
void CallAtEndOfThread(EndOfThread pfnEnd, void* pvParameter);

// Whether a thread that was held by the above hasn't ended.
bool AnyThreadLives();

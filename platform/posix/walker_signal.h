// The signal by which the stack walker makes a thread of the process stand.
#pragma once

// Taken at the first call; 0 when there is none left.
int WalkerSignal();

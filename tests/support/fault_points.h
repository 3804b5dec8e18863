// Makes calls of the platform layer fail at their fault points. For programs that link the static library.
//
// A test arms "the Nth hit", runs its body, and looks at VOFaultFired(); when nothing fired, the body ran to its end
// and the next N would find nothing either.
#pragma once

#include <string>
#include <vector>

#include "platform/fault_points.h"

// Makes hit number uNth (1 is the next one) fail, counted over the points called pszName, or over all points for a null
// pszName. bPersistent: every later counted hit fails too. Arming again replaces what was armed and starts at zero.
void VOFaultArm(const char* pszName, unsigned uNth, bool bPersistent);

// Nothing fails any more. The counts stay.
void VOFaultDisarm();

// Counted hits, and hits that failed, since the last VOFaultArm.
unsigned VOFaultHits();
unsigned VOFaultFired();

// The names of all points that were hit since the process began, in alphabetical order, each once.
std::vector<std::string> VOFaultNames();

// Fault points: places at which a test makes a call of the platform layer fail.
//
// VO_FAULT_POINT("name") is true when the call that it stands in has to fail now. In ordinary builds it is the constant
// false and costs nothing; with VOBASE_FAULT_POINTS defined (the vo_platform_faulty library) the functions below
// decide.
//
// A test arms "the Nth hit", runs its body, and looks at VOFaultFired(); when nothing fired, the body ran to its end
// and the next N would find nothing either.
#pragma once

#if defined(VOBASE_FAULT_POINTS)

#include <string>
#include <vector>

#define VO_FAULT_POINT(name) VOFaultPointHit(name)

// True where this layer makes the calls of the seam itself, so that they hold fault points; false where they are the
// system's own.
#if defined(_WIN32)
constexpr bool VO_SYSTEM_CALLS_HAVE_FAULT_POINTS = false;
#else
constexpr bool VO_SYSTEM_CALLS_HAVE_FAULT_POINTS = true;
#endif

// Counts a hit; true when this hit has to fail. Any thread.
bool VOFaultPointHit(const char* pszName);

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

#else

#define VO_FAULT_POINT(name) false

#endif

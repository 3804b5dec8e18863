// A word in a section that steps with each publication, and that any process waits for which has the section mapped.
#pragma once

#include <stdint.h>

#include "vo_types.h"

// One process steps the word at a time; any number of threads and processes wait. A step costs a call of the system,
// and so does a wait; Now costs neither.
//
// Linux: the word itself is waited for. Windows: events in the session, which all objects of one name share; so many
// take turns that one who is held up between looking and waiting misses a step only when several come at that moment,
// and then goes on after kMissedPause.
class VOSharedSignal
{
public:
    static constexpr uint32_t kMissedPause = 500;  // milliseconds

    // pszName: of the word; the name of its section and what tells it from others there. The word has to outlive the
    // object. Where the events can't be had, waiting is asking again and again.
    VOSharedSignal(const VOWCHAR* pszName, uint32_t& word);
    ~VOSharedSignal();
    VOSharedSignal(const VOSharedSignal&) = delete;
    VOSharedSignal& operator=(const VOSharedSignal&) = delete;

    uint32_t Now() const;

    // Adds 1, behind everything that was stored before, and wakes all who wait.
    void Step();

    // Returns true as soon as the word isn't uSeen, and false when so many milliseconds have gone by; 0 only looks.
    bool WaitWhile(uint32_t uSeen, uint32_t uMilliseconds) const;

private:
    uint32_t& m_word;
    static constexpr uint32_t kTurns = 8;
    [[maybe_unused]] void* m_ahTurn[kTurns] = {};  // Windows
};

// Event objects.
#pragma once

#include <memory>

#include "platform/posix/waitable.h"

class Event : public Waitable
{
public:
    using Waitable::Waitable;
};

// The event behind a handle; null with ERROR_INVALID_HANDLE when there is none.
std::shared_ptr<Event> FindEvent(HANDLE hEvent);

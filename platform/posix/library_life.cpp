#include "platform/posix/library_life.h"

#include <atomic>

// The C library's own, under the C++ language's destructors of thread-local objects. Nobody but it can hold a library
// and let it go from a thread whose code lies in it.
extern "C" int __cxa_thread_atexit_impl(void (*pfnDestructor)(void*), void* pvObject, void* pvLibrary);
extern "C" __attribute__((visibility("hidden"))) void* __dso_handle;

namespace
{
std::atomic<unsigned> s_uLiving{0};

void Leave(void*)
{
    s_uLiving.fetch_sub(1);
}
}  // namespace

void CallAtEndOfThread(EndOfThread pfnEnd, void* pvParameter)
{
    s_uLiving.fetch_add(1);
    __cxa_thread_atexit_impl(Leave, nullptr, &__dso_handle);
    __cxa_thread_atexit_impl(pfnEnd, pvParameter, &__dso_handle);
}

bool AnyThreadLives()
{
    return s_uLiving.load() != 0;
}

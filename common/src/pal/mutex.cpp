#include "pal/mutex.h"
#include "pal/exception.h"

namespace PAL {

#ifdef _WIN32
Mutex::Mutex()
{
    if (!InitializeCriticalSectionAndSpinCount(&cs_, 4000))
        throw WindowsError(29, "mutex", static_cast<int32_t>(GetLastError()));
}
Mutex::~Mutex() { DeleteCriticalSection(&cs_); }
void Mutex::Lock() { EnterCriticalSection(&cs_); }
void Mutex::Unlock() { LeaveCriticalSection(&cs_); }
#else
Mutex::Mutex() = default;
Mutex::~Mutex() = default;
void Mutex::Lock() { m_.lock(); }
void Mutex::Unlock() { m_.unlock(); }
#endif

}  // namespace PAL

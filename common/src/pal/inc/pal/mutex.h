// A lock for the few process-wide values that more than one thread may touch.
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <mutex>
#endif

namespace PAL {

class Mutex {
public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void Lock();
    void Unlock();

    class Guard {
    public:
        explicit Guard(Mutex& m) : m_(m) { m_.Lock(); }
        ~Guard() { m_.Unlock(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        Mutex& m_;
    };

private:
#ifdef _WIN32
    CRITICAL_SECTION cs_;
#else
    std::mutex m_;
#endif
};

}  // namespace PAL

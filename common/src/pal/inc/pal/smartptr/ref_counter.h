// The counter block behind PAL::SharedPtr: a strong and a weak count under a
// lock of their own, so that copies may live on more than one thread.
#pragma once

#include <cstdint>

#include "pal/mutex.h"

namespace PAL {

class RefCounterBase {
public:
    RefCounterBase() = default;
    virtual ~RefCounterBase() = default;
    RefCounterBase(const RefCounterBase&) = delete;
    RefCounterBase& operator=(const RefCounterBase&) = delete;

    // Deletes the object pointed to.
    virtual void Dispose() = 0;
    // Deletes this counter block.
    virtual void Destroy() { delete this; }

    void AddRef()
    {
        Mutex::Guard guard(lock_);
        ++strong_;
        ++weak_;
    }

    // The last owner disposes of the object, then of the block itself.
    void Release()
    {
        lock_.Lock();
        --strong_;
        --weak_;
        const int32_t strong = strong_;
        const int32_t weak = weak_;
        lock_.Unlock();
        if (strong == 0) Dispose();
        if (weak == 0) Destroy();
    }

    int32_t StrongCount()
    {
        Mutex::Guard guard(lock_);
        return strong_;
    }

private:
    int32_t strong_ = 1;
    int32_t weak_ = 1;
    Mutex lock_;
};

template <class T>
struct TypeSafeDeleter {
    // A pointer to an incomplete type would be deleted without its destructor.
    void operator()(T* p) const
    {
        static_assert(sizeof(T) > 0, "cannot delete an incomplete type");
        delete p;
    }
};

template <class P, class D>
class RefCounterBaseImpl : public RefCounterBase {
public:
    explicit RefCounterBaseImpl(P p) : pointee_(p) {}
    void Dispose() override { D()(pointee_); }

private:
    P pointee_;
};

}  // namespace PAL

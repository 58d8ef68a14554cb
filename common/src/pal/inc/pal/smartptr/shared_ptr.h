// A reference-counted owner: the raw pointer and its counter block.
#pragma once

#include <new>
#include <utility>

#include "pal/exception.h"
#include "pal/smartptr/ref_counter.h"

namespace PAL {

template <class T, class D = TypeSafeDeleter<T>>
class SharedPtr {
public:
    SharedPtr() = default;
    explicit SharedPtr(T* p) { reset(p); }
    SharedPtr(const SharedPtr& other) : ptr_(other.ptr_), counter_(other.counter_)
    {
        if (counter_) counter_->AddRef();
    }
    SharedPtr(SharedPtr&& other) noexcept : ptr_(other.ptr_), counter_(other.counter_)
    {
        other.ptr_ = nullptr;
        other.counter_ = nullptr;
    }
    SharedPtr& operator=(SharedPtr other) noexcept
    {
        swap(other);
        return *this;
    }
    ~SharedPtr()
    {
        if (counter_) counter_->Release();
    }

    // Takes ownership of ptr. If no counter block can be made, ptr is
    // deleted and the failure goes on.
    void reset(T* ptr = nullptr)
    {
        if (ptr != nullptr && ptr == ptr_)
            throw AssertFailure(__LINE__, "smartptr", L"ptr == m_ptr");
        RefCounterBase* counter = nullptr;
        if (ptr) {
            try {
                counter = new RefCounterBaseImpl<T*, D>(ptr);
            } catch (...) {
                D()(ptr);
                throw;
            }
        }
        SharedPtr fresh;
        fresh.ptr_ = ptr;
        fresh.counter_ = counter;
        swap(fresh);
    }

    void swap(SharedPtr& other) noexcept
    {
        std::swap(ptr_, other.ptr_);
        std::swap(counter_, other.counter_);
    }

    T* get() const { return ptr_; }
    T* operator->() const { return ptr_; }
    T& operator*() const { return *ptr_; }
    explicit operator bool() const { return ptr_ != nullptr; }
    int use_count() const { return counter_ ? counter_->StrongCount() : 0; }

private:
    T* ptr_ = nullptr;
    RefCounterBase* counter_ = nullptr;
};

}  // namespace PAL

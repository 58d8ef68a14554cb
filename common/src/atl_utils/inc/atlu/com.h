// Small COM owners: an interface pointer, a BSTR and a VARIANT, each released
// on every path. Our stand-ins for the few ATL smart types the library used.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <comdef.h>

#include <string>
#include <utility>

#include "pal/atlexception.h"

namespace atlutils {

template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    // Takes a reference of its own.
    explicit ComPtr(T* p) : p_(p)
    {
        if (p_) p_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.p_) {}
    ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    ~ComPtr() { Release(); }
    ComPtr& operator=(ComPtr other) noexcept
    {
        std::swap(p_, other.p_);
        return *this;
    }

    void Release()
    {
        if (p_) std::exchange(p_, nullptr)->Release();
    }
    // Out-parameter of a call that hands over a reference.
    T** Put()
    {
        Release();
        return &p_;
    }
    void** PutVoid() { return reinterpret_cast<void**>(Put()); }
    T* Get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }

private:
    T* p_ = nullptr;
};

// An owned BSTR; a failed allocation is the one failure ATL reported here.
class Bstr {
public:
    Bstr() = default;
    explicit Bstr(const std::wstring& text)
        : b_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())))
    {
        if (!b_) throw ATL::CAtlException(static_cast<int32_t>(E_OUTOFMEMORY));
    }
    ~Bstr() { SysFreeString(b_); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    Bstr(Bstr&& other) noexcept : b_(std::exchange(other.b_, nullptr)) {}

    BSTR Get() const { return b_; }
    BSTR* Put()
    {
        SysFreeString(b_);
        b_ = nullptr;
        return &b_;
    }
    std::wstring Text() const { return b_ ? std::wstring(b_, SysStringLen(b_)) : std::wstring(); }

private:
    BSTR b_ = nullptr;
};

// A VARIANT cleared at the end of its scope.
class Variant {
public:
    Variant() { VariantInit(&v_); }
    ~Variant() { VariantClear(&v_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    VARIANT* operator&() { return &v_; }
    VARIANT& Get() { return v_; }
    const VARIANT& Get() const { return v_; }
    void Clear() { VariantClear(&v_); }

private:
    VARIANT v_;
};

// A failure code that becomes a _com_error, as _com_util::CheckError did.
inline void CheckCom(HRESULT hr)
{
    if (FAILED(hr)) throw _com_error(hr);
}

}  // namespace atlutils

// A view of a SAFEARRAY of VARIANTs that belongs to someone else, with a
// bounds-checked element access. Our stand-in for the one use of ATL's safe
// array class: the array stays owned by the VARIANT it came from.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <comdef.h>

#include "pal/atlexception.h"

namespace atlutils {

template <class T, VARTYPE VT>
class CComSafeArray {
public:
    CComSafeArray() = default;
    virtual ~CComSafeArray()
    {
        // Reached with an array only when a derived class did not detach it.
        if (m_psa) {
            SafeArrayUnlock(m_psa);
            SafeArrayDestroy(m_psa);
        }
    }
    CComSafeArray(const CComSafeArray&) = delete;
    CComSafeArray& operator=(const CComSafeArray&) = delete;

    T& GetAt(LONG index) const
    {
        if (!m_psa) throw ATL::CAtlException(static_cast<int32_t>(E_FAIL));
        LONG lower = 0, upper = 0;
        HRESULT hr = SafeArrayGetLBound(m_psa, 1, &lower);
        if (FAILED(hr)) throw ATL::CAtlException(hr);
        hr = SafeArrayGetUBound(m_psa, 1, &upper);
        if (FAILED(hr)) throw ATL::CAtlException(hr);
        if (index < lower || index > upper) throw ATL::CAtlException(static_cast<int32_t>(E_INVALIDARG));
        return static_cast<T*>(m_psa->pvData)[index - lower];
    }
    LONG GetLowerBound() const { return Bound(&SafeArrayGetLBound); }
    LONG GetUpperBound() const { return Bound(&SafeArrayGetUBound); }
    UINT GetDimensions() const { return m_psa ? SafeArrayGetDim(m_psa) : 0; }
    SAFEARRAY* m_psa = nullptr;

private:
    LONG Bound(HRESULT(WINAPI* fn)(SAFEARRAY*, UINT, LONG*)) const
    {
        if (!m_psa) throw ATL::CAtlException(static_cast<int32_t>(E_FAIL));
        LONG b = 0;
        const HRESULT hr = fn(m_psa, 1, &b);
        if (FAILED(hr)) throw ATL::CAtlException(hr);
        return b;
    }
};

template <class T>
class AutoDetachCComSafeArray;

// Attaches to an array of VARIANTs and locks it; unlocks and lets go at the
// end. It must not outlive the VARIANT that owns the array.
template <>
class AutoDetachCComSafeArray<tagVARIANT> : public CComSafeArray<tagVARIANT, VT_VARIANT> {
public:
    explicit AutoDetachCComSafeArray(SAFEARRAY* array)
    {
        if (!array) throw ATL::CAtlException(static_cast<int32_t>(E_INVALIDARG));
        VARTYPE type = VT_EMPTY;
        const HRESULT hr = SafeArrayGetVartype(array, &type);
        if (FAILED(hr)) throw ATL::CAtlException(hr);
        if (type != VT_VARIANT) throw ATL::CAtlException(static_cast<int32_t>(E_INVALIDARG));
        m_psa = array;
        const HRESULT locked = SafeArrayLock(array);
        if (FAILED(locked)) {
            m_psa = nullptr;
            throw _com_error(locked);
        }
    }
    ~AutoDetachCComSafeArray() override
    {
        SafeArrayUnlock(m_psa);
        m_psa = nullptr;
    }
};

}  // namespace atlutils

// Walking a directory-service container: the children come as VARIANTs from
// its IEnumVARIANT, and ADsEnumerator turns each into an IADs pointer.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <ole2.h>
#include <iads.h>
#include <adshlp.h>

#include <comdef.h>

#include <cstring>
#include <string>

#include "atlu/com.h"

namespace atlutils {

template <class Container>
class Enumerator {
public:
    explicit Enumerator(Container* container)
    {
        ComPtr<IUnknown> unknown;
        CheckCom(container->get__NewEnum(unknown.Put()));
        // A container that hands out no enumerator fails at the first step.
        if (unknown) unknown->QueryInterface(IID_IEnumVARIANT, enum_.PutVoid());
    }
    virtual ~Enumerator() = default;
    Enumerator(const Enumerator&) = delete;
    Enumerator& operator=(const Enumerator&) = delete;

    bool Next(VARIANT& out)
    {
        if (!enum_) throw _com_error(E_POINTER);
        VARIANT element;
        VariantInit(&element);
        const HRESULT hr = enum_->Next(1, &element, nullptr);
        if (FAILED(hr)) throw _com_error(hr);
        if (hr != S_OK) return false;
        const HRESULT cleared = VariantClear(&out);
        if (FAILED(cleared)) {
            VariantClear(&element);
            throw _com_error(cleared);
        }
        // The element moves: nothing is copied, nothing released twice.
        std::memcpy(&out, &element, sizeof element);
        return true;
    }

protected:
    ComPtr<IEnumVARIANT> enum_;
};

namespace detail {
inline IADsContainer* BindContainer(const std::wstring& path, ComPtr<IADsContainer>& holder)
{
    CheckCom(ADsGetObject(path.c_str(), IID_IADsContainer, holder.PutVoid()));
    return holder.Get();
}
}  // namespace detail

class ADsEnumerator : public Enumerator<IADsContainer> {
public:
    explicit ADsEnumerator(const std::wstring& path) : ADsEnumerator(path, ComPtr<IADsContainer>()) {}
    ~ADsEnumerator() override = default;

    using Enumerator<IADsContainer>::Next;
    bool Next(ComPtr<IADs>& out)
    {
        Variant element;
        if (!Enumerator<IADsContainer>::Next(element.Get())) return false;
        VARIANT& v = element.Get();
        IUnknown* unknown = nullptr;
        switch (v.vt) {
        case VT_DISPATCH: unknown = v.pdispVal; break;
        case VT_UNKNOWN: unknown = v.punkVal; break;
        case VT_DISPATCH | VT_BYREF: unknown = v.ppdispVal ? *v.ppdispVal : nullptr; break;
        case VT_UNKNOWN | VT_BYREF: unknown = v.ppunkVal ? *v.ppunkVal : nullptr; break;
        default: break;
        }
        if (!unknown) throw _com_error(E_INVALIDARG);
        ComPtr<IADs> node;
        unknown->QueryInterface(IID_IADs, node.PutVoid());
        out = std::move(node);
        return true;
    }

private:
    // The container is only needed to get the enumerator; it goes at once.
    ADsEnumerator(const std::wstring& path, ComPtr<IADsContainer>&& holder)
        : Enumerator<IADsContainer>(detail::BindContainer(path, holder))
    {
    }
};

}  // namespace atlutils

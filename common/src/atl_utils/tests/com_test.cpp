// The safe-array view and the container enumerator against arrays and a
// container of the test's own.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "atlu/adsenum.h"
#include "atlu/safearray.h"

namespace {

using atlutils::AutoDetachCComSafeArray;

VARIANT Text(const wchar_t* t)
{
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(t);
    return v;
}

// A one-dimensional array of VARIANTs holding BSTRs, with the given bounds.
SAFEARRAY* MakeArray(VARTYPE type, LONG lower, const std::vector<const wchar_t*>& texts)
{
    SAFEARRAYBOUND bound{static_cast<ULONG>(texts.size()), lower};
    SAFEARRAY* array = SafeArrayCreate(type, 1, &bound);
    for (size_t i = 0; i < texts.size(); ++i) {
        LONG index = lower + static_cast<LONG>(i);
        VARIANT v = Text(texts[i]);  // the array keeps its own copy
        SafeArrayPutElement(array, &index, type == VT_VARIANT ? static_cast<void*>(&v) : v.bstrVal);
        VariantClear(&v);
    }
    return array;
}

int32_t CodeOf(const std::function<void()>& f)
{
    try {
        f();
    } catch (const ATL::CAtlException& e) {
        return e.m_hr;
    } catch (const _com_error& e) {
        return e.Error();
    }
    return 0;
}

TEST(SafeArrayView, ElementsByIndexFromTheLowerBound)
{
    struct Case {
        LONG lower;
        LONG index;
        const wchar_t* expect;  // nullptr: refused with 0x80070057
    } cases[] = {
        {0, 0, L"a"}, {0, 2, L"c"}, {0, 3, nullptr}, {0, -1, nullptr},
        {5, 5, L"a"}, {5, 7, L"c"}, {5, 0, nullptr}, {5, 8, nullptr},
    };
    for (const Case& c : cases) {
        SAFEARRAY* array = MakeArray(VT_VARIANT, c.lower, {L"a", L"b", L"c"});
        {
            AutoDetachCComSafeArray<tagVARIANT> view(array);
            EXPECT_EQ(view.GetLowerBound(), c.lower);
            if (c.expect)
                EXPECT_STREQ(view.GetAt(c.index).bstrVal, c.expect) << c.lower << "/" << c.index;
            else
                EXPECT_EQ(static_cast<uint32_t>(CodeOf([&] { view.GetAt(c.index); })), 0x80070057u)
                    << c.lower << "/" << c.index;
        }
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    }
}

TEST(SafeArrayView, LeavesTheArrayAliveAndUnlocked)
{
    VARIANT owner;
    VariantInit(&owner);
    owner.vt = VT_ARRAY | VT_VARIANT;
    owner.parray = MakeArray(VT_VARIANT, 0, {L"x"});
    {
        AutoDetachCComSafeArray<tagVARIANT> view(owner.parray);
        // Locked while viewed: the owner could not destroy it now.
        EXPECT_EQ(static_cast<uint32_t>(SafeArrayDestroy(owner.parray)), 0x8002000Du);
    }
    EXPECT_EQ(owner.parray->cLocks, 0u);
    EXPECT_EQ(VariantClear(&owner), S_OK);
}

TEST(SafeArrayView, RefusesNullAndArraysOfAnotherType)
{
    EXPECT_EQ(static_cast<uint32_t>(CodeOf([] { AutoDetachCComSafeArray<tagVARIANT> v(nullptr); })), 0x80070057u);
    SAFEARRAY* strings = MakeArray(VT_BSTR, 0, {L"a"});
    EXPECT_EQ(static_cast<uint32_t>(CodeOf([&] { AutoDetachCComSafeArray<tagVARIANT> v(strings); })), 0x80070057u);
    EXPECT_EQ(strings->cLocks, 0u);
    SafeArrayDestroy(strings);
}

// ---- enumerator ----------------------------------------------------------------

// An enumerator over a fixed list of VARIANTs, and a container that hands it
// out (or something that is no enumerator at all).
class FakeEnum : public IEnumVARIANT {
public:
    explicit FakeEnum(std::vector<VARIANT> items, HRESULT fail = S_OK) : items_(std::move(items)), fail_(fail) {}
    ~FakeEnum()
    {
        for (auto& v : items_) VariantClear(&v);
    }
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IUnknown || riid == IID_IEnumVARIANT) {
            *out = static_cast<IEnumVARIANT*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++refs_; }
    STDMETHODIMP_(ULONG) Release() override
    {
        const ULONG r = --refs_;
        if (r == 0) delete this;
        return r;
    }
    STDMETHODIMP Next(ULONG count, VARIANT* out, ULONG* fetched) override
    {
        if (fail_ != S_OK) return fail_;
        if (next_ >= items_.size()) return S_FALSE;
        VariantCopy(out, &items_[next_++]);
        return S_OK;
    }
    STDMETHODIMP Skip(ULONG) override { return E_NOTIMPL; }
    STDMETHODIMP Reset() override { return E_NOTIMPL; }
    STDMETHODIMP Clone(IEnumVARIANT**) override { return E_NOTIMPL; }

private:
    std::vector<VARIANT> items_;
    HRESULT fail_;
    size_t next_ = 0;
    ULONG refs_ = 1;
};

// Only get__NewEnum matters to the enumerator.
struct FakeContainer {
    IUnknown* handOut = nullptr;
    HRESULT result = S_OK;
    HRESULT get__NewEnum(IUnknown** out)
    {
        *out = handOut;
        return result;
    }
};

TEST(Enumerator, StepsToTheEndOrTurnsFailuresIntoComErrors)
{
    struct Case {
        const char* name;
        HRESULT newEnum;
        bool givesEnum;
        HRESULT next;
        uint32_t atConstruction, atNext;
        const wchar_t* seen;
    } cases[] = {
        {"two items", S_OK, true, S_OK, 0, 0, L"one;two;"},
        {"container refuses", E_ACCESSDENIED, false, S_OK, 0x80070005u, 0, L""},
        {"no enumerator handed out", S_OK, false, S_OK, 0, 0x80004003u, L""},
        {"a step fails", S_OK, true, E_UNEXPECTED, 0, 0x8000FFFFu, L""},
    };
    for (const Case& k : cases) {
        std::vector<VARIANT> items;
        if (k.givesEnum && k.next == S_OK) items = {Text(L"one"), Text(L"two")};
        FakeContainer c{k.givesEnum ? new FakeEnum(std::move(items), k.next) : nullptr, k.newEnum};
        atlutils::Enumerator<FakeContainer>* e = nullptr;
        EXPECT_EQ(static_cast<uint32_t>(CodeOf([&] { e = new atlutils::Enumerator<FakeContainer>(&c); })),
                  k.atConstruction)
            << k.name;
        if (!e) continue;
        atlutils::Variant v;
        std::wstring seen;
        EXPECT_EQ(static_cast<uint32_t>(CodeOf([&] { while (e->Next(v.Get())) seen += std::wstring(v.Get().bstrVal) + L";"; })), k.atNext) << k.name;
        EXPECT_EQ(seen, k.seen) << k.name;
        // At the end the last item stays where it was.
        if (!seen.empty()) { EXPECT_STREQ(v.Get().bstrVal, L"two"); }
        delete e;
    }
}

}  // namespace

// The safe-array view against arrays of the test's own; COM stays
// initialised while a ComRuntime lives, and a refused start is a
// WindowsError with COM's own code. The container enumerator is driven
// through the metabase stand-in by msi_utils' cases (tests/cases/iis.txt,
// "children": items in order, a refusing container, no enumerator, a
// failing step).
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "atlu/runtime.h"
#include "atlu/safearray.h"

using View = atlutils::AutoDetachCComSafeArray<tagVARIANT>;

static VARIANT Text(const wchar_t* t)
{
    VARIANT v;
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(t);
    return v;
}

// A one-dimensional array of VARIANTs (or BSTRs) holding "a", "b" and "c" from index `lower`.
static SAFEARRAY* MakeArray(VARTYPE type, LONG lower)
{
    SAFEARRAYBOUND bound{3, lower};
    SAFEARRAY* array = SafeArrayCreate(type, 1, &bound);
    for (LONG index = lower; index < lower + 3; ++index) {
        const wchar_t text[] = {wchar_t(L'a' + index - lower), 0};
        VARIANT v = Text(text);  // the array keeps its own copy
        SafeArrayPutElement(array, &index, type == VT_VARIANT ? static_cast<void*>(&v) : v.bstrVal);
        VariantClear(&v);
    }
    return array;
}

// The HRESULT that `f` throws, 0 when it throws nothing.
static uint32_t CodeOf(const std::function<void()>& f)
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
    const struct {
        LONG lower, index;
        const wchar_t* expect;  // nullptr: refused with 0x80070057
    } cases[] = {
        {0, 0, L"a"}, {0, 2, L"c"}, {0, 3, nullptr}, {0, -1, nullptr},
        {5, 5, L"a"}, {5, 7, L"c"}, {5, 0, nullptr}, {5, 8, nullptr},
    };
    for (const auto& c : cases) {
        SAFEARRAY* array = MakeArray(VT_VARIANT, c.lower);
        {
            View view(array);
            EXPECT_EQ(view.GetLowerBound(), c.lower);
            if (c.expect) EXPECT_STREQ(view.GetAt(c.index).bstrVal, c.expect) << c.lower << "/" << c.index;
            else EXPECT_EQ(CodeOf([&] { view.GetAt(c.index); }), 0x80070057u) << c.lower << "/" << c.index;
        }
        EXPECT_EQ(SafeArrayDestroy(array), S_OK);
    }
}

TEST(SafeArrayView, LeavesTheArrayAliveAndUnlockedAndRefusesNullAndOtherTypes)
{
    VARIANT owner;
    owner.vt = VT_ARRAY | VT_VARIANT;
    owner.parray = MakeArray(VT_VARIANT, 0);
    {
        View view(owner.parray);
        // Locked while viewed: the owner could not destroy it now.
        EXPECT_EQ(static_cast<uint32_t>(SafeArrayDestroy(owner.parray)), 0x8002000Du);
    }
    EXPECT_EQ(owner.parray->cLocks, 0u);
    EXPECT_EQ(VariantClear(&owner), S_OK);

    EXPECT_EQ(CodeOf([] { View v(nullptr); }), 0x80070057u);
    SAFEARRAY* strings = MakeArray(VT_BSTR, 0);
    EXPECT_EQ(CodeOf([&] { View v(strings); }), 0x80070057u);
    EXPECT_EQ(strings->cLocks, 0u);
    SafeArrayDestroy(strings);
}

// CoInitializeEx answers S_FALSE when the thread is already in the same
// apartment, S_OK when COM was not initialised.
static HRESULT Probe()
{
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (SUCCEEDED(hr)) CoUninitialize();
    return hr;
}

TEST(ComRuntime, InitialisesForItsLifetimeNestsAndRefusesAnotherApartment)
{
    std::thread([] {
        EXPECT_EQ(Probe(), S_OK);
        {
            atlutils::ComRuntime outer(COINIT_APARTMENTTHREADED);
            EXPECT_EQ(Probe(), S_FALSE);
            { atlutils::ComRuntime inner(COINIT_APARTMENTTHREADED); }
            EXPECT_EQ(Probe(), S_FALSE) << "the inner guard must not end the outer one";
            try {
                atlutils::ComRuntime mta(COINIT_MULTITHREADED);
                ADD_FAILURE() << "changing the apartment must fail";
            } catch (const PAL::WindowsError& e) {
                EXPECT_EQ(static_cast<uint32_t>(e.Code()), static_cast<uint32_t>(RPC_E_CHANGED_MODE));
            }
            EXPECT_EQ(Probe(), S_FALSE) << "the failed guard must not uninitialise";
        }
        EXPECT_EQ(Probe(), S_OK);
    }).join();
}

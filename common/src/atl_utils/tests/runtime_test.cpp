// COM stays initialised while a ComRuntime lives, and a refused start is a
// WindowsError with COM's own code.
#include <gtest/gtest.h>

#include <thread>

#include "atlu/runtime.h"

namespace {

// CoInitializeEx answers S_FALSE when the thread is already in the same
// apartment, S_OK when COM was not initialised.
HRESULT Probe()
{
    HRESULT hr = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (SUCCEEDED(hr)) CoUninitialize();
    return hr;
}

TEST(ComRuntime, InitialisesForItsLifetimeAndNests)
{
    std::thread([] {
        EXPECT_EQ(Probe(), S_OK);
        {
            atlutils::ComRuntime outer(COINIT_APARTMENTTHREADED);
            EXPECT_EQ(Probe(), S_FALSE);
            {
                atlutils::ComRuntime inner(COINIT_APARTMENTTHREADED);
                EXPECT_EQ(Probe(), S_FALSE);
            }
            EXPECT_EQ(Probe(), S_FALSE) << "the inner guard must not end the outer one";
        }
        EXPECT_EQ(Probe(), S_OK);
    }).join();
}

TEST(ComRuntime, OtherApartmentIsRefusedWithComsCode)
{
    std::thread([] {
        atlutils::ComRuntime sta(COINIT_APARTMENTTHREADED);
        try {
            atlutils::ComRuntime mta(COINIT_MULTITHREADED);
            ADD_FAILURE() << "changing the apartment must fail";
        } catch (const PAL::WindowsError& e) {
            EXPECT_EQ(static_cast<uint32_t>(e.Code()), static_cast<uint32_t>(RPC_E_CHANGED_MODE));
        }
        EXPECT_EQ(Probe(), S_FALSE) << "the failed guard must not uninitialise";
    }).join();
}

}  // namespace

// Keeps COM initialised on this thread for the lifetime of a stack object.
#pragma once

#include <objbase.h>

#include "pal/exception.h"

namespace atlutils {

class ComRuntime {
public:
    explicit ComRuntime(DWORD flags = COINIT_APARTMENTTHREADED)
    {
        const HRESULT hr = CoInitializeEx(nullptr, flags);
        // S_FALSE (already initialised) still needs its CoUninitialize.
        if (hr < 0) throw PAL::WindowsError(39, "common/src/atl_utils/inc/atlu/runtime", hr);
    }
    ~ComRuntime() { CoUninitialize(); }
    ComRuntime(const ComRuntime&) = delete;
    ComRuntime& operator=(const ComRuntime&) = delete;
};

}  // namespace atlutils

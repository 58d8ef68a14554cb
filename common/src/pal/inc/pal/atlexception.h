// The one piece of ATL's exception support the library uses. mingw-w64 has no
// ATL, so this is our own: an HRESULT carried by value.
#pragma once

#include <cstdint>

namespace ATL {

class CAtlException {
public:
    explicit CAtlException(int32_t hr) : m_hr(hr) {}
    operator int32_t() const { return m_hr; }
    int32_t m_hr;
};

}  // namespace ATL

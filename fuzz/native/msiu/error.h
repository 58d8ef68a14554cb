// Native stand-in for the installer layer's failure, for the Windows-free
// parts of the actions that the fuzzer builds. Only what those parts use.
#pragma once

#include <cstdint>
#include <string>

namespace msiu {

using HRESULT = int32_t;
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005);

struct MSIError {
    HRESULT code;
    std::wstring text;
};

// Throws with the format as its text: the fuzzer only needs to see that a
// failure was raised, not its finished wording.
[[noreturn]] inline void ThrowError(HRESULT code, const wchar_t* format, ...) { throw MSIError{code, format}; }

}  // namespace msiu

// Native stand-in for the installer layer's failure, for the Windows-free
// parts of the actions that the fuzzer builds. Only what those parts use.
#pragma once

#include <cstdint>
#include <string>

namespace msiu {

using HRESULT = int32_t;
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005);

class MSIError {
public:
    MSIError(HRESULT code, std::wstring text) : code_(code), text_(std::move(text)) {}
    HRESULT Code() const { return code_; }
    const std::wstring& Text() const { return text_; }

private:
    HRESULT code_;
    std::wstring text_;
};

// Throws with the format as its text: the fuzzer only needs to see that a
// failure was raised, not its finished wording.
[[noreturn]] inline void ThrowError(HRESULT code, const wchar_t* format, ...) { throw MSIError(code, format); }

}  // namespace msiu

// The library's own failure: an HRESULT and a finished English text.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <cstdint>
#include <string>

class _com_error;

namespace msiu {

constexpr HRESULT kInvalidArg = static_cast<HRESULT>(0x80070057);
constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005);
constexpr HRESULT kBufferTooSmall = static_cast<HRESULT>(0x8007007A);

class MSIError {
public:
    MSIError(HRESULT code, std::wstring text) : code_(code), text_(std::move(text)) {}
    virtual ~MSIError() = default;
    HRESULT Code() const { return code_; }
    const std::wstring& Text() const { return text_; }

private:
    int32_t code_;
    std::wstring text_;
};

// The one rule by which a Windows result becomes an HRESULT.
constexpr HRESULT HResultFromWin32(long value)
{
    return value > 0 ? static_cast<HRESULT>((static_cast<unsigned long>(value) & 0xFFFF) | 0x80070000)
                     : static_cast<HRESULT>(value);
}

// printf-style wide formatting with the platform's rules: %s takes a wide
// string, %S a narrow one.
std::wstring FormatV(const wchar_t* format, va_list args);
std::wstring Format(const wchar_t* format, ...);

[[noreturn]] void ThrowError(HRESULT code, const wchar_t* format, ...);

// The text of a failure code: the system's message, else the two fallbacks.
std::wstring ErrorText(HRESULT code);
std::wstring ComErrorText(const _com_error& error);

}  // namespace msiu

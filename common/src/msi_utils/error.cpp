#include "msiu/error.h"

#include <comdef.h>

#include <cstdio>
#include <vector>

namespace msiu {

std::wstring FormatV(const wchar_t* format, va_list args)
{
    // The runtime's own _vsnwprintf: %s is a wide string there, as the
    // messages of this library are written.
    std::vector<wchar_t> buffer(256);
    for (;;) {
        va_list copy;
        va_copy(copy, args);
        int n = _vsnwprintf(buffer.data(), buffer.size(), format, copy);
        va_end(copy);
        if (n >= 0 && static_cast<size_t>(n) < buffer.size()) return std::wstring(buffer.data(), n);
        buffer.resize(buffer.size() * 2);
    }
}

std::wstring Format(const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    std::wstring text = FormatV(format, args);
    va_end(args);
    return text;
}

void ThrowError(HRESULT code, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    std::wstring text = FormatV(format, args);
    va_end(args);
    throw MSIError(code, std::move(text));
}

std::wstring ErrorText(HRESULT code)
{
    wchar_t* buffer = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                             static_cast<DWORD>(code), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                             reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    if (n && buffer) {
        std::wstring text(buffer, n);
        LocalFree(buffer);
        if (text.size() >= 2 && text[text.size() - 2] == L'\r' && text.back() == L'\n')
            text.resize(text.size() - 2);
        return text;
    }
    if (buffer) LocalFree(buffer);
    auto u = static_cast<unsigned long>(code);
    if (u >= 0x80040201UL && u <= 0x8004FFFFUL)
        return Format(L"IDispatch error #%d", static_cast<int>(u - 0x80040200UL));
    return Format(L"Unknown error 0x%0lX", u);
}

std::wstring ComErrorText(const _com_error& error)
{
    std::wstring description;
    if (IErrorInfo* info = error.ErrorInfo()) {
        BSTR text = nullptr;
        if (SUCCEEDED(info->GetDescription(&text)) && text) description.assign(text, SysStringLen(text));
        if (text) SysFreeString(text);
        info->Release();
    }
    if (!description.empty()) return description;
    return ErrorText(error.Error());
}

}  // namespace msiu

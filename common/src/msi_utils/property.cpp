#include "msiu/property.h"

#include <cwchar>

#include "msiu/error.h"
#include "wca.h"

namespace msiu {

bool PropertyExists(const std::wstring& name)
{
    return wca::IsPropertySet(name);
}

std::wstring GetProperty(const std::wstring& name, bool required)
{
    if (required && !PropertyExists(name))
        ThrowError(kInvalidArg, L"Property \"%s\" does not exist", name.c_str());
    std::wstring value;
    HRESULT hr = wca::GetProperty(name, value);
    if (FAILED(hr)) ThrowError(hr, L"Failed to get value for property \"%s\"", name.c_str());
    return value;
}

std::wstring GetFormattedProperty(const std::wstring& name, bool required)
{
    if (required && !PropertyExists(name))
        ThrowError(kInvalidArg, L"Property \"%s\" does not exist", name.c_str());
    std::wstring value;
    HRESULT hr = wca::GetFormattedProperty(name, value);
    if (FAILED(hr)) ThrowError(hr, L"Failed to get formatted value for property \"%s\"", name.c_str());
    return value;
}

int GetIntProperty(const std::wstring& name, bool required)
{
    std::wstring value = GetProperty(name, required);
    if (!value.empty() && value[0] == L'#') value.erase(0, 1);
    // The installer writes integers as "#n" in some tables; text that is no
    // number reads as 0, as the C runtime's conversion does.
    return static_cast<int>(std::wcstol(value.c_str(), nullptr, 10));
}

void SetProperty(const std::wstring& name, const std::wstring& value)
{
    HRESULT hr = wca::SetProperty(name, value);
    if (FAILED(hr))
        ThrowError(hr, L"Failed to set property \"%s\" to value \"%s\"", name.c_str(), value.c_str());
}

void SetIntProperty(const std::wstring& name, int value)
{
    SetProperty(name, std::to_wstring(value));
}

void ClearProperty(const std::wstring& name)
{
    HRESULT hr = wca::SetProperty(name, std::wstring());
    if (FAILED(hr)) ThrowError(hr, L"Failed to clear property \"%s\"", name.c_str());
}

std::wstring FormatString(const std::wstring& text)
{
    std::wstring value;
    HRESULT hr = wca::GetFormattedString(text, value);
    if (FAILED(hr)) ThrowError(hr, L"Failed to format string \"%s\"", text.c_str());
    return value;
}

}  // namespace msiu

// Installer properties. An empty property does not exist.
#pragma once

#include <string>

namespace msiu {

bool PropertyExists(const std::wstring& name);
std::wstring GetProperty(const std::wstring& name, bool required);
std::wstring GetFormattedProperty(const std::wstring& name, bool required);
int GetIntProperty(const std::wstring& name, bool required);
void SetProperty(const std::wstring& name, const std::wstring& value);
void SetIntProperty(const std::wstring& name, int value);
void ClearProperty(const std::wstring& name);
std::wstring FormatString(const std::wstring& text);

}  // namespace msiu

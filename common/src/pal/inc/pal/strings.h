// Trimming, comparing, number parsing and code-page conversion of text.
#pragma once

#include <cstdint>
#include <locale>
#include <string>

namespace PAL {

std::wstring TrimLeft(const std::wstring& text);
std::wstring TrimRight(const std::wstring& text);
std::wstring Trim(const std::wstring& text);
std::string TrimLeft(const std::string& text);
std::string TrimRight(const std::string& text);
std::string Trim(const std::string& text);

std::wstring ToLower(const std::wstring& text, const std::locale& locale = std::locale());
int CompareNoCase(const std::wstring& a, const std::wstring& b,
                  const std::locale& locale = std::locale());

// Each throws StrCvtError: code 1 when nothing of the type could be read,
// code 2 when something follows the number.
uint16_t StrToUShort(const std::wstring& text, int base = 10, const std::locale& locale = std::locale());
int32_t StrToLong(const std::wstring& text, int base = 10, const std::locale& locale = std::locale());
uint32_t StrToULong(const std::wstring& text, int base = 10, const std::locale& locale = std::locale());
int32_t StrToInt(const std::wstring& text, int base = 10, const std::locale& locale = std::locale());
bool StrToBool(const std::wstring& text, bool allowNames, const std::locale& locale = std::locale());

#ifdef _WIN32
// Between wide text and the thread's ANSI code page (CP_THREAD_ACP by default).
// A failure throws ATL::CAtlException.
std::string NarrowText(const std::wstring& text, unsigned codePage = 3);
std::wstring WideText(const std::string& text, unsigned codePage = 3);
#endif

}  // namespace PAL

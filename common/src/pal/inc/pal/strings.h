// Trimming, comparing, number parsing and code-page conversion of text.
#pragma once

#include <cstdint>
#include <locale>
#include <string>

// The shell's path header defines StrToInt and StrToLong as macros.
#ifdef StrToInt
#undef StrToInt
#endif
#ifdef StrToLong
#undef StrToLong
#endif

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
// Conversion objects between wide text and a code page (the thread's ANSI
// code page by default). Texts of up to 128 elements stay in the object's own
// buffer. A null pointer converts to a null pointer; a failure throws
// ATL::CAtlException with the last error.
class NarrowText {
public:
    explicit NarrowText(const wchar_t* text, unsigned codePage = 3);
    explicit NarrowText(const std::wstring& text, unsigned codePage = 3);
    NarrowText(const NarrowText&) = delete;
    NarrowText& operator=(const NarrowText&) = delete;

    const char* c_str() const { return text_; }
    size_t size() const { return size_; }
    std::string str() const { return text_ ? std::string(text_, size_) : std::string(); }
    operator std::string() const { return str(); }

private:
    void Convert(const wchar_t* text, int length, unsigned codePage);

    char small_[128];
    std::string heap_;
    char* text_ = nullptr;
    size_t size_ = 0;
};

class WideText {
public:
    explicit WideText(const char* text, unsigned codePage = 3);
    explicit WideText(const std::string& text, unsigned codePage = 3);
    WideText(const WideText&) = delete;
    WideText& operator=(const WideText&) = delete;

    const wchar_t* c_str() const { return text_; }
    size_t size() const { return size_; }
    std::wstring str() const { return text_ ? std::wstring(text_, size_) : std::wstring(); }
    operator std::wstring() const { return str(); }

private:
    void Convert(const char* text, int length, unsigned codePage);

    wchar_t small_[128];
    std::wstring heap_;
    wchar_t* text_ = nullptr;
    size_t size_ = 0;
};
#endif

}  // namespace PAL

#include "pal/strings.h"

#include <iomanip>
#include <sstream>
#include <cstring>
#include <cwchar>
#include <type_traits>

#include "pal/exception.h"

#ifdef _WIN32
#include <windows.h>
#include "pal/atlexception.h"
#endif

namespace PAL {

namespace {

template <class Ch>
bool IsBlank(Ch c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

template <class S>
S TrimLeftT(const S& text)
{
    size_t i = 0;
    while (i < text.size() && IsBlank(text[i])) ++i;
    return text.substr(i);
}

template <class S>
S TrimRightT(const S& text)
{
    size_t n = text.size();
    while (n > 0 && IsBlank(text[n - 1])) --n;
    return text.substr(0, n);
}

// Conversion failures name the module, not the file, as their source.
[[noreturn]] void Fail(int32_t code, uint32_t line)
{
    throw StrCvtError(line, "string", code);
}

void ExpectEnd(std::wistream& in)
{
    if (in.peek() != std::char_traits<wchar_t>::eof()) Fail(StrCvtError::Incomplete, __LINE__);
}

// One frame for every number type: trimmed text, formatted extraction in the
// given base, nothing left behind.
template <class T, class Read>
T Parse(const std::wstring& text, int base, const std::locale& locale, Read read)
{
    std::wistringstream in(Trim(text));
    in.imbue(locale);
    in >> std::setbase(base);
    T value = read(in);
    if (in.fail() || in.bad()) Fail(StrCvtError::InvalidInput, __LINE__);
    ExpectEnd(in);
    return value;
}

// Signed types read in base 16 as unsigned and keep the bits, so that
// "FFFFFFFF" is -1 rather than out of range.
int32_t SignedOrBits(const std::wstring& text, int base, const std::locale& locale)
{
    return Parse<int32_t>(text, base, locale, [base](std::wistream& in) -> int32_t {
        if (base == 16) {
            uint32_t u = 0;
            in >> u;
            return static_cast<int32_t>(u);
        }
        int32_t v = 0;
        in >> v;
        return v;
    });
}

}  // namespace

std::wstring TrimLeft(const std::wstring& t) { return TrimLeftT(t); }
std::wstring TrimRight(const std::wstring& t) { return TrimRightT(t); }
std::wstring Trim(const std::wstring& t) { return TrimLeftT(TrimRightT(t)); }
std::string TrimLeft(const std::string& t) { return TrimLeftT(t); }
std::string TrimRight(const std::string& t) { return TrimRightT(t); }
std::string Trim(const std::string& t) { return TrimLeftT(TrimRightT(t)); }

std::wstring ToLower(const std::wstring& text, const std::locale& locale)
{
    std::wstring out(text);
    for (auto& c : out) c = std::tolower(c, locale);
    return out;
}

int CompareNoCase(const std::wstring& a, const std::wstring& b, const std::locale& locale)
{
    return ToLower(a, locale).compare(ToLower(b, locale));
}

uint16_t StrToUShort(const std::wstring& text, int base, const std::locale& locale)
{
    return Parse<uint16_t>(text, base, locale, [](std::wistream& in) -> uint16_t {
        uint32_t v = 0;
        in >> v;
        if (!in.fail() && v >= 0x10000) in.setstate(std::ios::failbit);
        return static_cast<uint16_t>(v);
    });
}

int32_t StrToLong(const std::wstring& text, int base, const std::locale& locale)
{
    return SignedOrBits(text, base, locale);
}

int32_t StrToInt(const std::wstring& text, int base, const std::locale& locale)
{
    return SignedOrBits(text, base, locale);
}

uint32_t StrToULong(const std::wstring& text, int base, const std::locale& locale)
{
    return Parse<uint32_t>(text, base, locale, [](std::wistream& in) -> uint32_t {
        uint32_t v = 0;
        in >> v;
        return v;
    });
}

bool StrToBool(const std::wstring& text, bool allowNames, const std::locale& locale)
{
    return Parse<bool>(text, 10, locale, [&](std::wistream& in) -> bool {
        if (allowNames) {
            auto next = in.peek();
            bool digit = next != std::char_traits<wchar_t>::eof() &&
                         std::isdigit(static_cast<wchar_t>(next), locale);
            if (!digit) in >> std::boolalpha;
        }
        bool v = false;
        in >> v;
        return v;
    });
}

#ifdef _WIN32
namespace {
[[noreturn]] void ThrowLastError()
{
    const DWORD e = GetLastError();
    throw ATL::CAtlException(e > 0 ? static_cast<int32_t>((e & 0xFFFF) | 0x80070000)
                                   : static_cast<int32_t>(e));
}
}  // namespace

NarrowText::NarrowText(const wchar_t* text, unsigned codePage)
{
    if (text) Convert(text, static_cast<int>(wcslen(text)) + 1, codePage);
}

NarrowText::NarrowText(const std::wstring& text, unsigned codePage)
{
    Convert(text.c_str(), static_cast<int>(text.size()) + 1, codePage);
}

// `length` counts the terminator, so that the result carries one too.
void NarrowText::Convert(const wchar_t* text, int length, unsigned codePage)
{
    // Up to four bytes a character: most texts never leave the small buffer.
    size_t capacity = static_cast<size_t>(length) * 4;
    char* out = small_;
    if (capacity > sizeof(small_)) {
        heap_.assign(capacity, '\0');
        out = &heap_[0];
    } else {
        capacity = sizeof(small_);
    }
    int n = WideCharToMultiByte(codePage, 0, text, length, out, static_cast<int>(capacity), nullptr, nullptr);
    if (n == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        n = WideCharToMultiByte(codePage, 0, text, length, nullptr, 0, nullptr, nullptr);
        if (n == 0) ThrowLastError();
        heap_.assign(static_cast<size_t>(n), '\0');
        out = &heap_[0];
        n = WideCharToMultiByte(codePage, 0, text, length, out, n, nullptr, nullptr);
    }
    if (n == 0) ThrowLastError();
    text_ = out;
    size_ = static_cast<size_t>(n) - 1;
}

WideText::WideText(const char* text, unsigned codePage)
{
    if (text) Convert(text, static_cast<int>(strlen(text)) + 1, codePage);
}

WideText::WideText(const std::string& text, unsigned codePage)
{
    Convert(text.c_str(), static_cast<int>(text.size()) + 1, codePage);
}

void WideText::Convert(const char* text, int length, unsigned codePage)
{
    // One wide character a byte is enough for every code page.
    size_t capacity = static_cast<size_t>(length);
    wchar_t* out = small_;
    if (capacity > sizeof(small_) / sizeof(small_[0])) {
        heap_.assign(capacity, L'\0');
        out = &heap_[0];
    } else {
        capacity = sizeof(small_) / sizeof(small_[0]);
    }
    int n = MultiByteToWideChar(codePage, 0, text, length, out, static_cast<int>(capacity));
    if (n == 0 && GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        n = MultiByteToWideChar(codePage, 0, text, length, nullptr, 0);
        if (n == 0) ThrowLastError();
        heap_.assign(static_cast<size_t>(n), L'\0');
        out = &heap_[0];
        n = MultiByteToWideChar(codePage, 0, text, length, out, n);
    }
    if (n == 0) ThrowLastError();
    text_ = out;
    size_ = static_cast<size_t>(n) - 1;
}
#endif

}  // namespace PAL

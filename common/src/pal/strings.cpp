#include "pal/strings.h"

#include <iomanip>
#include <sstream>
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

void ExpectEnd(std::wistream& in)
{
    if (in.peek() != std::char_traits<wchar_t>::eof())
        PAL_THROW(StrCvtError, StrCvtError::Incomplete);
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
    if (in.fail() || in.bad()) PAL_THROW(StrCvtError, StrCvtError::InvalidInput);
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
std::string NarrowText(const std::wstring& text, unsigned codePage)
{
    if (text.empty()) return std::string();
    int n = WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()),
                                nullptr, 0, nullptr, nullptr);
    if (n <= 0) throw ATL::CAtlException(static_cast<int32_t>(0x80070000 | (GetLastError() & 0xFFFF)));
    std::string out(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), &out[0], n,
                        nullptr, nullptr);
    return out;
}

std::wstring WideText(const std::string& text, unsigned codePage)
{
    if (text.empty()) return std::wstring();
    int n = MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    if (n <= 0) throw ATL::CAtlException(static_cast<int32_t>(0x80070000 | (GetLastError() & 0xFFFF)));
    std::wstring out(static_cast<size_t>(n), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), static_cast<int>(text.size()), &out[0], n);
    return out;
}
#endif

}  // namespace PAL

// Value scanning for the section readers. The file's values are read the way
// a scanf with "%*s %d" or "%*s %s" reads them, but without its undefined
// corners: integers saturate instead of overflowing, and no buffer has a
// width that a long value could exceed.
#pragma once

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace qxparser_internal {

// White space as scanf skips it.
inline bool isScanSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

inline bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline size_t skipScanSpace(std::string_view s, size_t pos)
{
    while (pos < s.size() && isScanSpace(s[pos])) ++pos;
    return pos;
}

inline size_t skipChars(std::string_view s, size_t pos, std::string_view set)
{
    while (pos < s.size() && set.find(s[pos]) != std::string_view::npos) ++pos;
    return pos;
}

inline size_t skipToChars(std::string_view s, size_t pos, std::string_view set)
{
    while (pos < s.size() && set.find(s[pos]) == std::string_view::npos) ++pos;
    return pos;
}

// Where "%*s" leaves the scan: behind the first run of non-space characters.
// npos if the text holds no such run.
inline size_t behindFirstWord(std::string_view s)
{
    size_t pos = skipScanSpace(s, 0);
    if (pos == s.size()) return std::string_view::npos;
    while (pos < s.size() && !isScanSpace(s[pos])) ++pos;
    return pos;
}

// "%d" at pos: spaces, a sign and at least one digit. Moves pos behind it.
inline bool scanInt(std::string_view s, size_t& pos, int32_t& out)
{
    size_t p = skipScanSpace(s, pos);
    bool negative = false;
    if (p < s.size() && (s[p] == '+' || s[p] == '-')) negative = s[p++] == '-';
    if (p == s.size() || !isDigit(s[p])) return false;
    long long value = 0;
    for (; p < s.size() && isDigit(s[p]); ++p) {
        if (value <= LLONG_MAX / 16) value = value * 10 + (s[p] - '0');
    }
    if (negative) value = -value;
    if (value > INT32_MAX) value = INT32_MAX;
    if (value < INT32_MIN) value = INT32_MIN;
    out = static_cast<int32_t>(value);
    pos = p;
    return true;
}

// "%o" at pos, the same way.
inline bool scanOctal(std::string_view s, size_t& pos, int32_t& out)
{
    size_t p = skipScanSpace(s, pos);
    bool negative = false;
    if (p < s.size() && (s[p] == '+' || s[p] == '-')) negative = s[p++] == '-';
    if (p == s.size() || s[p] < '0' || s[p] > '7') return false;
    long long value = 0;
    for (; p < s.size() && s[p] >= '0' && s[p] <= '7'; ++p) {
        if (value <= LLONG_MAX / 16) value = value * 8 + (s[p] - '0');
    }
    if (negative) value = -value;
    if (value > INT32_MAX) value = INT32_MAX;
    if (value < INT32_MIN) value = INT32_MIN;
    out = static_cast<int32_t>(value);
    pos = p;
    return true;
}

// "%lf" at pos. The caller holds the locale on one with a decimal point.
inline bool scanDouble(std::string_view s, size_t& pos, double& out)
{
    size_t p = skipScanSpace(s, pos);
    if (p == s.size()) return false;
    std::string copy(s.substr(p, 400));
    char* end = nullptr;
    double value = std::strtod(copy.c_str(), &end);
    if (end == copy.c_str()) return false;
    out = value;
    pos = p + static_cast<size_t>(end - copy.c_str());
    return true;
}

// "%f": as "%lf", narrowed to a 32-bit float.
inline bool scanFloat(std::string_view s, size_t& pos, float& out)
{
    double value = 0;
    if (!scanDouble(s, pos, value)) return false;
    out = static_cast<float>(value);
    return true;
}

// "%s" at pos: the next run of non-space characters.
inline bool scanWord(std::string_view s, size_t& pos, std::string& out)
{
    size_t p = skipScanSpace(s, pos);
    if (p == s.size()) return false;
    size_t start = p;
    while (p < s.size() && !isScanSpace(s[p])) ++p;
    out.assign(s.substr(start, p - start));
    pos = p;
    return true;
}

// The value of "%*s %d", "%*s %s", "%*s %f", "%*s %lf", "%*s %o".
inline bool scanSecondInt(std::string_view line, int32_t& out)
{
    size_t pos = behindFirstWord(line);
    return pos != std::string_view::npos && scanInt(line, pos, out);
}

inline bool scanSecondOctal(std::string_view line, int32_t& out)
{
    size_t pos = behindFirstWord(line);
    return pos != std::string_view::npos && scanOctal(line, pos, out);
}

inline bool scanSecondWord(std::string_view line, std::string& out)
{
    size_t pos = behindFirstWord(line);
    return pos != std::string_view::npos && scanWord(line, pos, out);
}

inline bool scanSecondDouble(std::string_view line, double& out)
{
    size_t pos = behindFirstWord(line);
    return pos != std::string_view::npos && scanDouble(line, pos, out);
}

inline bool scanSecondFloat(std::string_view line, float& out)
{
    size_t pos = behindFirstWord(line);
    return pos != std::string_view::npos && scanFloat(line, pos, out);
}

// atoi: the leading integer, 0 if there is none.
inline int32_t leadingInt(std::string_view s)
{
    size_t pos = 0;
    int32_t value = 0;
    return scanInt(s, pos, value) ? value : 0;
}

// The items of a text split at runs of the given characters, as strtok
// splits it: no empty items.
inline std::vector<std::string_view> splitItems(std::string_view s, std::string_view separators)
{
    std::vector<std::string_view> items;
    size_t pos = 0;
    while (true) {
        pos = skipChars(s, pos, separators);
        if (pos >= s.size()) break;
        size_t end = skipToChars(s, pos, separators);
        items.push_back(s.substr(pos, end - pos));
        pos = end;
    }
    return items;
}

inline std::string upperAscii(std::string_view s)
{
    std::string out(s);
    for (char& c : out) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return out;
}

// The text between the first and the last double quote. False if there
// aren't two different ones.
inline bool quotedText(std::string_view s, std::string& out)
{
    size_t first = s.find('"');
    size_t last = s.rfind('"');
    if (first == std::string_view::npos || last == first) return false;
    out.assign(s.substr(first + 1, last - first - 1));
    return true;
}

}  // namespace qxparser_internal

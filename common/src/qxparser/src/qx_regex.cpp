#include "orvane/qx_regex.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <regex>
#include <vector>

#ifndef _WIN32
#include <regex.h>
#endif

#include "qx_regex_std.h"

// The Windows C runtime has no regcomp. The standard library's basic grammar
// is the same POSIX basic syntax, which is all a parse rule may use. That
// path is built everywhere, so that its fuzz target runs natively too.
namespace qxparser_internal {

// Rewrites a POSIX basic expression so that the standard library's grammar
// takes what regcomp takes. A '*' at the start, behind a leading '^' or behind
// "\(" is a plain character there; the standard grammar refuses it, so such a
// star is escaped.
std::string forStandardGrammar(const std::string& pattern)
{
    std::string out;
    out.reserve(pattern.size() + 4);
    bool atStart = true;
    bool inInterval = false;
    for (size_t i = 0; i < pattern.size(); ++i) {
        char c = pattern[i];
        if (c == '*' && atStart) {
            out += "\\*";
            atStart = false;
            continue;
        }
        if (c == '^' && i == 0) {
            out += c;
            continue;
        }
        atStart = false;
        if (c == '\\' && i + 1 < pattern.size()) {
            const char next = pattern[++i];
            // regcomp takes an escaped ordinary character (\] or \-) as that
            // character, and a \} that closes no \{ as a plain brace; the
            // standard library in strict mode refuses both.
            const bool plain = std::strchr("(){}.[\\*^$123456789", next) == nullptr || (next == '}' && !inInterval);
            if (next == '{') inInterval = true;
            if (next == '}') inInterval = false;
            if (plain) {
                out += next;
            } else {
                out += c;
                out += next;
            }
            atStart = next == '(';
            continue;
        }
        if (c == '[') {
            // A bracket expression runs to its first ']' that isn't its first
            // member and doesn't close a "[:class:]"; a star in it is plain.
            size_t j = i + 1;
            if (j < pattern.size() && pattern[j] == '^') ++j;
            if (j < pattern.size() && pattern[j] == ']') ++j;
            while (j < pattern.size() && pattern[j] != ']') {
                if (pattern[j] == '[' && j + 1 < pattern.size() &&
                    (pattern[j + 1] == ':' || pattern[j + 1] == '.' || pattern[j + 1] == '=')) {
                    size_t close = pattern.find(std::string{pattern[j + 1], ']'}, j + 2);
                    j = close == std::string::npos ? pattern.size() : close + 2;
                } else {
                    ++j;
                }
            }
            size_t end = j < pattern.size() ? j + 1 : pattern.size();
            out.append(pattern, i, end - i);
            i = end - 1;
            continue;
        }
        out += c;
    }
    return out;
}

bool compileStandard(const std::string& pattern, std::regex& expression, std::string& error)
{
    error.clear();
    if (!orvane::qx_regex::withinLimits(pattern, error)) return false;
    try {
        expression.assign(forStandardGrammar(pattern), std::regex::basic | std::regex::icase);
        return true;
    } catch (const std::regex_error& e) {
        error = e.what();
    } catch (const std::bad_alloc&) {
        error = "Out of memory";
    }
    return false;
}

}  // namespace qxparser_internal

namespace orvane {

#ifdef _WIN32

struct qx_regex::engine {
    std::regex expression;
};

std::unique_ptr<qx_regex> qx_regex::compile(const std::string& pattern, std::string& error)
{
    error.clear();
    if (!withinLimits(pattern, error)) return nullptr;
    auto compiled = std::make_unique<engine>();
    if (!qxparser_internal::compileStandard(pattern, compiled->expression, error)) return nullptr;
    return std::unique_ptr<qx_regex>(new qx_regex(std::move(compiled)));
}

size_t qx_regex::subExpressionCount() const
{
    return impl->expression.mark_count();
}

qx_regex::~qx_regex() = default;

#else

struct qx_regex::engine {
    regex_t expression;
    ~engine() { regfree(&expression); }
};

std::unique_ptr<qx_regex> qx_regex::compile(const std::string& pattern, std::string& error)
{
    error.clear();
    if (!withinLimits(pattern, error)) return nullptr;
    regex_t expression;
    int result = regcomp(&expression, pattern.c_str(), REG_ICASE);
    if (result != 0) {
        // A failed regcomp has freed what it made.
        char text[256];
        regerror(result, &expression, text, sizeof text);
        error = text;
        return nullptr;
    }
    auto compiled = std::make_unique<engine>();
    compiled->expression = expression;
    return std::unique_ptr<qx_regex>(new qx_regex(std::move(compiled)));
}

size_t qx_regex::subExpressionCount() const
{
    return impl->expression.re_nsub;
}

qx_regex::~qx_regex() = default;

#endif

qx_regex::qx_regex(std::unique_ptr<engine> compiled) : impl(std::move(compiled)) {}

// Walks the basic syntax as the engines do and weighs it: an atom is 1, a
// group the sum of its parts, and an interval multiplies what it repeats by
// its larger bound, as the engines' expansion does.
bool qx_regex::withinLimits(const std::string& pattern, std::string& reason)
{
    if (pattern.size() > kMaxLength) {
        reason = "longer than " + std::to_string(kMaxLength) + " characters";
        return false;
    }
    struct frame {
        long total = 0, last = 0;
    };
    std::vector<frame> frames(1);
    auto atom = [&](long weight) {
        frames.back().total = std::min(frames.back().total + weight, kMaxExpansion + 1);
        frames.back().last = weight;
    };
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (c == '[') {
            size_t j = i + 1;
            if (j < pattern.size() && pattern[j] == '^') ++j;
            if (j < pattern.size() && pattern[j] == ']') ++j;
            while (j < pattern.size() && pattern[j] != ']') {
                const bool cls = pattern[j] == '[' && j + 1 < pattern.size() && std::strchr(":.=", pattern[j + 1]);
                const size_t close = cls ? pattern.find(std::string{pattern[j + 1], ']'}, j + 2) : std::string::npos;
                j = !cls ? j + 1 : close == std::string::npos ? pattern.size() : close + 2;
            }
            i = j;
            atom(1);
            continue;
        }
        if (c != '\\' || i + 1 == pattern.size()) {
            if (c != '*' && c != '^' && c != '$') atom(1);
            continue;
        }
        const char next = pattern[++i];
        if (next == '(') {
            if (static_cast<int>(frames.size()) > kMaxNesting) {
                reason = "groups nested deeper than " + std::to_string(kMaxNesting);
                return false;
            }
            frames.emplace_back();
        } else if (next == ')' && frames.size() > 1) {
            const long inner = std::max(frames.back().total, 1L);
            frames.pop_back();
            atom(inner);
        } else if (next == '{') {
            long bound = 0;
            for (++i; i < pattern.size() && pattern[i] != '\\'; ++i) {
                if (pattern[i] == ',') continue;
                if (pattern[i] < '0' || pattern[i] > '9') break;
                long number = 0;
                while (i < pattern.size() && pattern[i] >= '0' && pattern[i] <= '9' && number <= kMaxBound)
                    number = number * 10 + (pattern[i++] - '0');
                --i;
                if (number > kMaxBound) {
                    reason = "an interval bound above " + std::to_string(kMaxBound);
                    return false;
                }
                bound = std::max(bound, number);
            }
            ++i;  // the '}' of "\\}"
            frame& f = frames.back();
            const long repeated = f.last * std::max(bound, 1L);
            f.total = std::min(f.total - f.last + repeated, kMaxExpansion + 1);
            f.last = repeated;
        } else {
            atom(1);
        }
        if (frames.back().total > kMaxExpansion) {
            reason = "repetitions that multiply beyond " + std::to_string(kMaxExpansion);
            return false;
        }
    }
    for (const frame& f : frames) {
        if (f.total > kMaxExpansion) {
            reason = "repetitions that multiply beyond " + std::to_string(kMaxExpansion);
            return false;
        }
    }
    return true;
}

}  // namespace orvane

#include "orvane/qx_regex.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <regex>

#ifndef _WIN32
#include <regex.h>
#endif

#include "qx_regex_std.h"

// The Windows C runtime has no regcomp. The standard library's basic grammar
// is the same POSIX basic syntax, which is all a parse rule may use. That
// path is built everywhere, so that its fuzz target runs natively too.
namespace qxparser_internal {

// Rewrites a POSIX basic expression so that the standard library's grammar
// takes what regcomp takes. A '*' at the start or behind "\(", or behind a '^'
// there, is a plain character there; the standard grammar refuses it, so such
// a star is escaped.
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
        if (c == '^' && atStart && (i == 0 || pattern[i - 1] == '(')) {
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
    // compileStandard checks the limits itself.
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

// Walks the basic syntax as the engines do and weighs it twice. The expansion:
// an atom is 1, a group the sum of its parts, and a repetition multiplies what
// it repeats by the copies the engines build of it. The empty weight: what of
// that can match nothing (a starred or optional copy, an anchor, a
// back-reference). regcomp's closures over such parts grow with the square of
// their number and with the cube where anchors are among them, so an anchor
// weighs kAnchorWeight; under a star or an endless interval they grow faster
// still, so what a loop repeats may hold only a few.
bool qx_regex::withinLimits(const std::string& pattern, std::string& reason)
{
    if (pattern.size() > kMaxLength) {
        reason = "longer than " + std::to_string(kMaxLength) + " characters";
        return false;
    }
    struct item {
        long weight, empty;
        bool nullable;
    };
    struct frame {
        long total, empty;
        item last;
        bool nullable, alternation;
    };
    const frame fresh{0, 0, {0, 0, false}, true, false};
    const auto cap = [](long value) { return std::min(value, kMaxExpansion + 1); };
    // The innermost open group (or the whole pattern) and, on the stack, the
    // ones around it: this runs for every rule a file holds.
    frame cur = fresh;
    frame outer[kMaxNesting];
    size_t depth = 0;
    // Every sum stays far below overflow: each token adds at most a capped
    // weight and is checked against the limits before the next.
    const auto add = [&](long weight, long empty, bool nullable) {
        cur.total += weight;
        cur.empty += empty;
        cur.nullable = cur.nullable && nullable;
        cur.last = item{weight, empty, nullable};
    };
    // The last item becomes `required` copies of itself and `optional` ones
    // that may be left out, the last of which loops if `endless`. With
    // nothing in front the engines refuse it.
    const auto repeat = [&](long required, long optional, bool endless) {
        const item last = cur.last;
        if (last.weight == 0) return true;
        if (endless && last.empty > kMaxLoopedEmpty) {
            reason = "a star or endless interval over parts that can match nothing weighing more than " +
                     std::to_string(kMaxLoopedEmpty);
            return false;
        }
        const item now{cap(last.weight * (required + optional)), cap(last.empty * required + (last.empty + 1) * optional),
                       last.nullable || required == 0};
        cur.total += now.weight - last.weight;
        cur.empty += now.empty - last.empty;
        cur.nullable = cur.nullable && now.nullable;
        cur.last = now;
        return true;
    };
    // A star at the start or behind "\\(", or behind a '^' there, is a plain star.
    bool plainStar = true;
    const auto ordinary = [](char ch) { return ch != '[' && ch != '*' && ch != '^' && ch != '$' && ch != '\\'; };
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        const bool starIsPlain = plainStar;
        plainStar = c == '^' && starIsPlain;
        bool fine = true;
        if (ordinary(c)) {
            // A run of ordinary characters, the bulk of any rule, in one step;
            // a repetition behind it takes its last character.
            size_t j = i + 1;
            while (j < pattern.size() && ordinary(pattern[j])) ++j;
            cur.total += static_cast<long>(j - 1 - i);
            add(1, 0, false);
            i = j - 1;
        } else if (c == '[') {
            size_t j = i + 1;
            if (j < pattern.size() && pattern[j] == '^') ++j;
            if (j < pattern.size() && pattern[j] == ']') ++j;
            while (j < pattern.size() && pattern[j] != ']') {
                const bool cls = pattern[j] == '[' && j + 1 < pattern.size() && std::strchr(":.=", pattern[j + 1]);
                const size_t close = cls ? pattern.find(std::string{pattern[j + 1], ']'}, j + 2) : std::string::npos;
                j = !cls ? j + 1 : close == std::string::npos ? pattern.size() : close + 2;
            }
            i = j;
            add(1, 0, false);
        } else if (c == '*') {
            if (starIsPlain) add(1, 0, false);
            else fine = repeat(0, 1, true);
        } else if (c == '^' || c == '$') {
            // Plain characters away from the ends; taken as anchors everywhere.
            add(1, kAnchorWeight, true);
        } else if (i + 1 == pattern.size()) {
            add(1, 0, false);  // a backslash at the end
        } else {
            const char next = pattern[++i];
            if (next == '(') {
                if (depth >= static_cast<size_t>(kMaxNesting)) {
                    reason = "groups nested deeper than " + std::to_string(kMaxNesting);
                    return false;
                }
                outer[depth++] = cur;
                cur = fresh;
                plainStar = true;
            } else if (next == ')' && depth > 0) {
                const frame inner = cur;
                cur = outer[--depth];
                const bool nullable = inner.nullable || inner.alternation;
                add(std::max(inner.total, 1L), nullable ? std::max(inner.empty, 1L) : inner.empty, nullable);
            } else if (next == '{') {
                // Both engines read an escaped character in an interval as that
                // character ("\,", "\0"); any but digits and one comma they refuse.
                long least = -1, most = -1;
                bool comma = false;
                for (++i; i < pattern.size(); ++i) {
                    if (pattern[i] == '\\' && i + 1 < pattern.size() && pattern[++i] == '}') break;
                    if (pattern[i] == ',') {
                        comma = true;
                    } else if (pattern[i] >= '0' && pattern[i] <= '9') {
                        long& field = comma ? most : least;
                        field = std::min(std::max(field, 0L) * 10 + (pattern[i] - '0'), kMaxBound + 1);
                    }
                }
                if (least > kMaxBound || most > kMaxBound) {
                    reason = "an interval bound above " + std::to_string(kMaxBound);
                    return false;
                }
                if (!comma) most = least;
                least = std::max(least, 0L);
                const bool endless = most < 0;
                const long copies = endless ? least + 1 : std::max({most, least, 1L});
                fine = repeat(std::min(least, copies), copies - std::min(least, copies), endless);
            } else if (next == '+') {
                fine = repeat(1, 1, true);
            } else if (next == '?') {
                fine = repeat(0, 1, false);
            } else if (next == '|') {
                cur.alternation = true;
            } else if (next >= '1' && next <= '9') {
                add(1, 1, true);
            } else {
                add(1, 0, false);
            }
        }
        if (!fine) return false;
        const frame& f = cur;
        if (f.total > kMaxExpansion) {
            reason = "repetitions that multiply beyond " + std::to_string(kMaxExpansion);
            return false;
        }
        if (f.empty > kMaxEmptyWeight) {
            reason = "parts that can match nothing weighing more than " + std::to_string(kMaxEmptyWeight);
            return false;
        }
    }
    return true;
}

}  // namespace orvane

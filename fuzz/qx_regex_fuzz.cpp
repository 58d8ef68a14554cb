// The regular expression engines behind the parse rules: regcomp natively
// and the standard library's basic grammar as on Windows, both driven here.
// On each a pattern either compiles, with the same count of sub-expressions
// every time, or gives an error text, also every time the same; neither
// crashes, exhausts memory or the stack on a pattern of a taxonomy's length.
#include <cstdint>
#include <regex>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_regex.h"
#include "qx_regex_std.h"

using orvane::qx_regex;

namespace {

std::string outcome(const std::string& pattern)
{
    std::string error;
    auto compiled = qx_regex::compile(pattern, error);
    if (!compiled) {
        if (error.empty()) qxfuzz::broken("a pattern that doesn't compile has an error text", pattern, "");
        return "error: " + error;
    }
    return "compiled: " + std::to_string(compiled->subExpressionCount());
}

std::string standardOutcome(const std::string& pattern)
{
    std::regex expression;
    std::string error;
    if (!qxparser_internal::compileStandard(pattern, expression, error)) {
        if (error.empty()) qxfuzz::broken("the standard engine's refusal has an error text", pattern, "");
        return "error: " + error;
    }
    return "compiled: " + std::to_string(expression.mark_count());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Past the length limit, so that the refusal is driven too.
    if (size > qx_regex::kMaxLength + 16) return 0;
    const std::string pattern(reinterpret_cast<const char*>(data), size);
    qxfuzz::expectSame("a pattern compiles the same way twice", outcome(pattern), outcome(pattern));
    qxfuzz::expectSame("the standard engine judges a pattern the same way twice", standardOutcome(pattern),
                       standardOutcome(pattern));
    return 0;
}

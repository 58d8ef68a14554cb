// The regular expression engine behind the parse rules: a pattern either
// compiles, with the same count of sub-expressions every time, or gives an
// error text, also every time the same.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_regex.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // A rule's pattern is at most 126 characters; the engine sees no more.
    if (size > 126) return 0;
    const std::string pattern(reinterpret_cast<const char*>(data), size);
    const std::string first = outcome(pattern);
    qxfuzz::expectSame("a pattern compiles the same way twice", first, outcome(pattern));
    return 0;
}

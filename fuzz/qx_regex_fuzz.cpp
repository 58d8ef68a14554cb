// The regular expression engines behind the parse rules: regcomp natively
// and the standard library's basic grammar as on Windows, both with the
// limits checked first. On each, a pattern either compiles, without an error
// text and with no more sub-expressions than it has "\(", or is refused with
// a text; neither crashes, exhausts memory or the stack on a pattern of a
// taxonomy's length.
#include <cstdint>
#include <regex>
#include <string>

#include "fuzz_support.h"
#include "orvane/qx_regex.h"
#include "qx_regex_std.h"

namespace {

void check(const char* engine, const std::string& pattern, bool compiled, size_t groups, const std::string& error)
{
    size_t opened = 0;
    for (size_t at = pattern.find("\\("); at != std::string::npos; at = pattern.find("\\(", at + 2)) ++opened;
    if (compiled == !error.empty() || (compiled && groups > opened))
        qxfuzz::broken(engine, pattern, std::to_string(compiled) + " " + std::to_string(groups) + " " + error);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Past the length limit, so that the refusal is driven too.
    if (size > orvane::qx_regex::kMaxLength + 16) return 0;
    const std::string pattern(reinterpret_cast<const char*>(data), size);
    std::string error;
    auto native = orvane::qx_regex::compile(pattern, error);
    check("regcomp: a refusal, and only a refusal, has a text; groups come from \\(", pattern, native != nullptr,
          native ? native->subExpressionCount() : 0, error);
    std::regex expression;
    error.clear();
    const bool standard = qxparser_internal::compileStandard(pattern, expression, error);
    check("standard engine: a refusal, and only a refusal, has a text; groups come from \\(", pattern, standard,
          standard ? expression.mark_count() : 0, error);
    return 0;
}

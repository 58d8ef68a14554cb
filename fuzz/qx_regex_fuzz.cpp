// The regular expression engines behind the parse rules: regcomp natively
// and the standard library's basic grammar as on Windows, both with the
// limits checked first. On each, a pattern either compiles, without an error
// text and with no more sub-expressions than it has "\(", or is refused with
// a text; neither crashes, exhausts memory or the stack on a pattern of a
// taxonomy's length.
#include <regex>

#include "fuzz_support.h"
#include "orvane/qx_regex.h"
#include "qx_regex_std.h"

QX_FUZZ_TARGET
{
    // Past the length limit, so that the refusal is driven too.
    if (input.size() > orvane::qx_regex::kMaxLength + 16) return;
    size_t opened = 0;
    for (size_t at = input.find("\\("); at != std::string::npos; at = input.find("\\(", at + 2)) ++opened;
    const auto check = [&](const char* engine, bool compiled, size_t groups, const std::string& error) {
        QX_LAW(compiled == error.empty() && (!compiled || groups <= opened), engine, input,
               std::to_string(compiled) + " " + std::to_string(groups) + " " + error);
    };
    std::string error;
    auto native = orvane::qx_regex::compile(input, error);
    check("regcomp: a refusal, and only a refusal, has a text; groups come from \\(", native != nullptr,
          native ? native->subExpressionCount() : 0, error);
    std::regex expression;
    error.clear();
    const bool standard = qxparser_internal::compileStandard(input, expression, error);
    check("standard engine: a refusal, and only a refusal, has a text; groups come from \\(", standard,
          standard ? expression.mark_count() : 0, error);
}

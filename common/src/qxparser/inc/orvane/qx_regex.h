// The three things this library needs of a regular expression engine:
// compile a basic expression that ignores case, say why it didn't compile,
// and count its sub-expressions. Matching is the server's business.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace orvane {

class qx_regex {
public:
    // Null if the pattern doesn't compile; `error` then holds the engine's text.
    // A pattern beyond the limits below never reaches the engine.
    static std::unique_ptr<qx_regex> compile(const std::string& pattern, std::string& error);

    // The engines build every repetition out in full and recurse once per
    // group: a short pattern can take gigabytes or the whole stack. These
    // limits hold on both engines, far above any real rule.
    static constexpr size_t kMaxLength = 1024;
    static constexpr int kMaxNesting = 16;
    static constexpr long kMaxBound = 255;
    static constexpr long kMaxExpansion = 10000;
    // What can match nothing, an anchor counting kAnchorWeight, in the whole
    // pattern and under one star or endless interval: regcomp's closures over
    // such parts grow far faster than their number.
    static constexpr long kMaxEmptyWeight = 256;
    static constexpr long kMaxLoopedEmpty = 8;
    static constexpr long kAnchorWeight = 16;
    // False, with the reason, if `pattern` goes beyond a limit.
    static bool withinLimits(const std::string& pattern, std::string& reason);

    qx_regex(const qx_regex&) = delete;
    qx_regex& operator=(const qx_regex&) = delete;
    virtual ~qx_regex();

    size_t subExpressionCount() const;

private:
    struct engine;
    explicit qx_regex(std::unique_ptr<engine> compiled);
    std::unique_ptr<engine> impl;
};

}  // namespace orvane

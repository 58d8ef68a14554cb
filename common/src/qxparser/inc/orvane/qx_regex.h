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
    static std::unique_ptr<qx_regex> compile(const std::string& pattern, std::string& error);

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

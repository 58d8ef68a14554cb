#include "orvane/qx_regex.h"

#include <new>

#ifdef _WIN32
// The Windows C runtime has no regcomp. The standard library's basic grammar
// is the same POSIX basic syntax, which is all a parse rule may use.
#include <regex>
#else
#include <regex.h>
#endif

namespace orvane {

#ifdef _WIN32

struct qx_regex::engine {
    std::regex expression;
};

std::unique_ptr<qx_regex> qx_regex::compile(const std::string& pattern, std::string& error)
{
    error.clear();
    try {
        auto compiled = std::make_unique<engine>();
        compiled->expression.assign(pattern, std::regex::basic | std::regex::icase);
        return std::unique_ptr<qx_regex>(new qx_regex(std::move(compiled)));
    } catch (const std::regex_error& e) {
        error = e.what();
    } catch (const std::bad_alloc&) {
        error = "Out of memory";
    }
    return nullptr;
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

}  // namespace orvane

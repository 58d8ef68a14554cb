// The standard library's engine behind qx_regex on Windows, built on every
// platform so that the native fuzz target drives the Windows path as well.
#pragma once

#include <regex>
#include <string>

namespace qxparser_internal {

// A POSIX basic expression rewritten so that the standard basic grammar takes
// what regcomp takes.
std::string forStandardGrammar(const std::string& pattern);
// The limits of qx_regex, then the standard engine with icase; false with the
// reason or the engine's text if it doesn't compile.
bool compileStandard(const std::string& pattern, std::regex& expression, std::string& error);

}  // namespace qxparser_internal

// Hands the configuration library's messages to the install log.
#pragma once

#include <string>

#include "orvane/qx_errors.h"

namespace orvane {

// One line of the install log per message, in order; the list keeps them.
void logParserErrors(const qx_errorlist& list);
void logParserErrors(const qx_errors& object);

// The text of message n (from 1) as it reaches the log.
std::wstring parserErrorLine(const qx_errorlist& list, int n);

}  // namespace orvane

// Hands the configuration library's messages to the install log. It lives on
// the installer's side so that the library itself never needs the installer;
// the names stay in the library's namespace, since they speak of its types.
#pragma once

#include <string>

#include "orvane/qx_errors.h"

namespace orvane {

// One line of the install log per message, in order; the list keeps them.
void logParserErrors(const qx_errorlist& list);
void logParserErrors(const qx_errors& object);

// The text of message n (from 1) as it is handed to the installer: the tag
// "qxparser [severity:repeats] -- " and the message, with every bracket
// escaped so that the log shows both as written.
std::wstring parserErrorLine(const qx_errorlist& list, int n);

}  // namespace orvane

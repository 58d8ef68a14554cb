#include "parser_log/parser_log.h"

#include <windows.h>

#include "msiu/log.h"
#include "pal/strings.h"

namespace orvane {

std::wstring parserErrorLine(const qx_errorlist& list, int n)
{
    // The library's texts are in the system's default code page.
    std::wstring line = L"qxparser [";
    line += std::to_wstring(list.getSeverity(n));
    line += L":";
    line += std::to_wstring(list.getRepeats(n));
    line += L"] -- ";
    line += PAL::WideText(list.getMessage(n), CP_ACP);
    return msiu::EscapeFormatting(line);
}

void logParserErrors(const qx_errorlist& list)
{
    for (int n = 1; n <= list.getMessageCount(); ++n) {
        msiu::LogText(msiu::kMsgInfo, parserErrorLine(list, n), true);
    }
}

void logParserErrors(const qx_errors& object)
{
    logParserErrors(object.getErrorRepository());
}

}  // namespace orvane

#include "msiu/log.h"

#include <comdef.h>

#include <sstream>

#include "msiu/error.h"
#include "msiu/property.h"
#include "msiu/record.h"
#include "pal/strings.h"
#include "wca.h"

namespace msiu {

namespace {
detail::MessageBoxFn g_messageBox = &MessageBoxW;

std::wstring LogName()
{
    return PAL::WideText(wca::Ctx().logName, CP_ACP);
}

void LogFormatted(UINT type, bool withPrefix, const wchar_t* format, va_list args)
{
    LogText(type, FormatV(format, args), withPrefix);
}
}  // namespace

void detail::SetMessageBoxFunction(MessageBoxFn fn)
{
    g_messageBox = fn ? fn : &MessageBoxW;
}

void LogText(UINT type, const std::wstring& text, bool withPrefix)
{
    if (type != kMsgFatal && type != kMsgError && type != kMsgWarning && type != kMsgInfo)
        ThrowError(kInvalidArg, L"Invalid message type");

    const std::wstring name = LogName();
    std::wstring full = withPrefix ? name : std::wstring();
    full = full.empty() ? text : full + L":  " + text;

    wca::Context& c = wca::Ctx();
    if (c.uiMode) {
        if (type == kMsgFatal) g_messageBox(nullptr, text.c_str(), name.c_str(), MB_ICONSTOP);
        SetProperty(L"OrvaneLastDoActionLogMsg", full);
        return;
    }

    DBRecord record(1);
    record.SetField(0, full);
    int r = wca::ProcessMessage(static_cast<INSTALLMESSAGE>(type), record.Handle());
    if (r == ERROR_INSTALL_USEREXIT || r == IDCANCEL) c.cancel = ERROR_INSTALL_USEREXIT;
    if (r == -1) ThrowError(kFail, L"Failed to process message record");
}

void LogMessage(UINT type, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    LogFormatted(type, true, format, args);
    va_end(args);
}

void LogMessageBare(UINT type, const wchar_t* format, ...)
{
    va_list args;
    va_start(args, format);
    LogFormatted(type, false, format, args);
    va_end(args);
}

void LogTextNoThrow(const std::wstring& text, UINT type) noexcept
{
    try {
        LogText(type, text, true);
    } catch (...) {
    }
}

void LogError(const MSIError& error, UINT type) noexcept
{
    try {
        std::wostringstream s;
        s << error.Text() << L"  (" << std::hex << std::showbase
          << static_cast<unsigned long>(static_cast<uint32_t>(error.Code())) << L")";
        LogText(type, s.str(), true);
    } catch (...) {
    }
}

void LogComError(const _com_error& error, UINT type) noexcept
{
    try {
        LogText(type, L"COM/ATL exception caught: " + ComErrorText(error), true);
    } catch (...) {
    }
}

std::wstring EscapeFormatting(const std::wstring& text)
{
    std::wstring out;
    out.reserve(text.size());
    for (wchar_t c : text) {
        if (c == L'[')
            out += L"[\\[]";
        else if (c == L']')
            out += L"[\\]]";
        else
            out += c;
    }
    return out;
}

}  // namespace msiu

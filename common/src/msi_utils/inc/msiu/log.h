// Every text that reaches the install log or the user passes through LogText.
#pragma once

#include <windows.h>

#include <string>

class _com_error;

namespace msiu {

class MSIError;

enum MessageType : UINT {
    kMsgFatal = 0x0000000,
    kMsgError = 0x1000000,
    kMsgWarning = 0x2000000,
    kMsgInfo = 0x4000000,
};

void LogText(UINT type, const std::wstring& text, bool withPrefix);
void LogMessage(UINT type, const wchar_t* format, ...);
void LogMessageBare(UINT type, const wchar_t* format, ...);
void LogTextNoThrow(const std::wstring& text, UINT type) noexcept;
void LogError(const MSIError& error, UINT type) noexcept;
void LogComError(const _com_error& error, UINT type) noexcept;

// The installer reads a message as a format string, where [name] stands for
// a property's value and vanishes when there is none. This gives `text` with
// every bracket escaped, so that the log shows it as written.
std::wstring EscapeFormatting(const std::wstring& text);

namespace detail {
// The message box of UI mode; tests put a recorder here.
using MessageBoxFn = int(WINAPI*)(HWND, LPCWSTR, LPCWSTR, UINT);
void SetMessageBoxFunction(MessageBoxFn fn);
}  // namespace detail

}  // namespace msiu

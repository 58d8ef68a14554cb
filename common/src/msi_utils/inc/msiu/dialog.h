// The layer under the library's own dialogs: a modal dialog base with the
// control helpers, the guard around every message handler, the owner search
// and the folder browser. There is no ATL here, so the dialog base is ours.
#pragma once

#include <windows.h>
#include <comdef.h>

#include <initializer_list>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "msiu/error.h"
#include "pal/exception.h"
#include "pal/strings.h"

namespace msiu {

// A string of the library's string table, and the same with FormatMessage
// inserts (%1, %2, %1!d!): texts as DWORD_PTR of a wchar_t*, numbers as is.
std::wstring LoadResourceString(UINT id);
std::wstring FormatResourceString(UINT id, std::initializer_list<DWORD_PTR> inserts = {});
// Raises a text of the string table as the library's failure.
[[noreturn]] void ThrowResourceError(HRESULT code, UINT id, std::initializer_list<DWORD_PTR> inserts = {});

// Every box of the dialogs goes through here; tests put a recorder in place.
int ShowMessageBox(HWND owner, const std::wstring& text, const std::wstring& caption, UINT style);
namespace detail {
using DialogBoxFn = int(WINAPI*)(HWND, LPCWSTR, LPCWSTR, UINT);
void SetDialogMessageBox(DialogBoxFn fn);
}  // namespace detail

// The text the handler guard shows for the exception in flight. Call it only
// from inside a catch block.
std::wstring HandlerFailureText() noexcept;
// The guard's catch side: the "Error" box owned by the dialog, result -1.
LRESULT ShowHandlerFailure(HWND dialog) noexcept;

HWND FindParentDialogWindow();
bool BrowseForFolder(HWND owner, std::wstring& path, const std::wstring& title, int rootFolder, bool strict);

// Trimming of control texts: every iswspace character at both ends.
std::wstring TrimSpace(const std::wstring& text);

// The user's default locale with classic numbers, so that no digit grouping
// gets into a number shown or parsed.
std::locale DialogLocale();

}  // namespace msiu

namespace atlutils {

// The window part of a dialog: its handle.
class Window {
public:
    HWND m_hWnd = nullptr;
};

[[noreturn]] inline void ThrowLastError(HRESULT whenZero = static_cast<HRESULT>(0x80004005))
{
    const DWORD e = GetLastError();
    throw _com_error(e ? msiu::HResultFromWin32(static_cast<long>(e)) : whenZero);
}

template <class T, class TBase = Window>
class DialogBaseImpl : public TBase {
public:
    DialogBaseImpl() : locale_(msiu::DialogLocale()) {}
    explicit DialogBaseImpl(const std::locale& locale) : locale_(locale) {}
    DialogBaseImpl(const DialogBaseImpl&) = delete;
    DialogBaseImpl& operator=(const DialogBaseImpl&) = delete;

    virtual BOOL ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                      LRESULT& result) = 0;
    virtual ~DialogBaseImpl() = default;
    virtual DLGPROC GetDialogProc() { return &DialogProc; }
    virtual void OnFinalMessage(HWND) {}

    // Modal run of the template T::IDD from `module`: the value given to
    // EndDialog, or -1 if the dialog could not be made.
    INT_PTR DoModal(HWND owner, HINSTANCE module)
    {
        return DialogBoxParamW(module, MAKEINTRESOURCEW(T::IDD), owner, GetDialogProc(),
                               reinterpret_cast<LPARAM>(this));
    }
    BOOL EndDialog(INT_PTR result) { return ::EndDialog(this->m_hWnd, result); }

    const std::locale& Locale() const { return locale_; }

    // ---- control helpers; the window system's failures become _com_error ----
    HWND Item(int id) const
    {
        HWND control = GetDlgItem(this->m_hWnd, id);
        if (!control) ThrowLastError();
        return control;
    }
    std::wstring GetItemText(int id, bool trim) const
    {
        HWND control = Item(id);
        SetLastError(0);
        const int length = GetWindowTextLengthW(control);
        if (length == 0 && GetLastError() != 0) ThrowLastError();
        std::wstring text(static_cast<size_t>(length) + 1, L'\0');
        SetLastError(0);
        const int got = GetWindowTextW(control, &text[0], length + 1);
        if (got == 0 && GetLastError() != 0) ThrowLastError();
        text.resize(static_cast<size_t>(got));
        return trim ? msiu::TrimSpace(text) : text;
    }
    int GetItemInt(int id) const
    {
        const std::wstring text = GetItemText(id, false);
        try {
            return PAL::StrToInt(text, 10, locale_);
        } catch (const PAL::StrCvtError&) {
            msiu::ThrowError(msiu::kInvalidArg, L"Not a valid integer");
        }
    }
    void SetItemText(int id, const std::wstring& text)
    {
        if (!SetDlgItemTextW(this->m_hWnd, id, text.c_str())) ThrowLastError();
    }
    void SetItemInt(int id, long value)
    {
        std::wostringstream out;
        out.imbue(locale_);
        out << value;
        SetItemText(id, out.str());
    }
    void EnableItem(int id, bool enable) { EnableWindow(Item(id), enable ? TRUE : FALSE); }
    bool IsItemChecked(int id) const { return IsDlgButtonChecked(this->m_hWnd, id) == BST_CHECKED; }
    void CheckItem(int id, bool check)
    {
        if (!CheckDlgButton(this->m_hWnd, id, check ? BST_CHECKED : BST_UNCHECKED)) ThrowLastError();
    }
    void FocusItem(int id) { SendMessageW(this->m_hWnd, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(Item(id)), TRUE); }

    void ListReset(int id) { SendMessageW(Item(id), LB_RESETCONTENT, 0, 0); }
    void ListSetTabStops(int id, const std::vector<int>& stops)
    {
        std::vector<INT> copy(stops.begin(), stops.end());
        if (!SendMessageW(Item(id), LB_SETTABSTOPS, copy.size(), reinterpret_cast<LPARAM>(copy.data())))
            ThrowLastError();
    }
    int ListAddLine(int id, const std::wstring& text)
    {
        const LRESULT r = SendMessageW(Item(id), LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str()));
        if (r == LB_ERRSPACE) throw _com_error(msiu::kOutOfMemory);
        if (r == LB_ERR) ThrowLastError();
        return static_cast<int>(r);
    }
    int ListGetSelection(int id) const
    {
        const LRESULT r = SendMessageW(Item(id), LB_GETCURSEL, 0, 0);
        if (r == LB_ERR) ThrowLastError();
        return static_cast<int>(r);
    }
    void ListSetSelection(int id, int index)
    {
        if (SendMessageW(Item(id), LB_SETCURSEL, static_cast<WPARAM>(index), 0) == LB_ERR) ThrowLastError();
    }

    int DialogUnitsToPixels(int width) const
    {
        RECT r = {0, 0, width, 8};
        if (!MapDialogRect(this->m_hWnd, &r)) ThrowLastError();
        return r.right - r.left;
    }
    int MeasureText(const std::wstring& text) const
    {
        HDC dc = GetDC(this->m_hWnd);
        if (!dc) ThrowLastError();
        HFONT font = reinterpret_cast<HFONT>(SendMessageW(this->m_hWnd, WM_GETFONT, 0, 0));
        HGDIOBJ old = font ? SelectObject(dc, font) : nullptr;
        SIZE size = {0, 0};
        const BOOL ok = GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size);
        const DWORD error = GetLastError();
        if (old) SelectObject(dc, old);
        ReleaseDC(this->m_hWnd, dc);
        if (!ok) {
            SetLastError(error);
            ThrowLastError();
        }
        return size.cx;
    }

private:
    static INT_PTR CALLBACK DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        DialogBaseImpl* self;
        if (message == WM_INITDIALOG) {
            self = reinterpret_cast<DialogBaseImpl*>(lParam);
            SetWindowLongPtrW(window, DWLP_USER, lParam);
            self->m_hWnd = window;
        } else {
            self = reinterpret_cast<DialogBaseImpl*>(GetWindowLongPtrW(window, DWLP_USER));
        }
        if (!self) return FALSE;
        LRESULT result = 0;
        const BOOL handled = self->ProcessWindowMessage(window, message, wParam, lParam, result);
        if (message == WM_NCDESTROY) {
            SetWindowLongPtrW(window, DWLP_USER, 0);
            self->m_hWnd = nullptr;
            self->OnFinalMessage(window);
        }
        if (!handled) return FALSE;
        // WM_INITDIALOG answers the focus question through its result.
        if (message == WM_INITDIALOG) return static_cast<INT_PTR>(result);
        SetWindowLongPtrW(window, DWLP_MSGRESULT, result);
        return TRUE;
    }

    std::locale locale_;
};

}  // namespace atlutils

namespace msiu {

HINSTANCE DialogModule();

template <class T, class TBase = atlutils::Window>
class DialogImpl : public atlutils::DialogBaseImpl<T, TBase> {
public:
    using atlutils::DialogBaseImpl<T, TBase>::DialogBaseImpl;

    INT_PTR Run(HWND owner) { return this->DoModal(owner, DialogModule()); }

protected:
    // Every handler body runs in here: a failure becomes the "Error" box and
    // the dialog stays as it is.
    template <class Body>
    LRESULT Guarded(Body&& body)
    {
        try {
            return body();
        } catch (...) {
            return ShowHandlerFailure(this->m_hWnd);
        }
    }
};

}  // namespace msiu

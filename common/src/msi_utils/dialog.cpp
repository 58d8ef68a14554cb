#include "msiu/dialog.h"

#include <shlobj.h>

#include <cwctype>
#include <new>

#include "msiu/module.h"
#include "msiu/property.h"
#include "pal/atlexception.h"

namespace msiu {

namespace {
detail::DialogBoxFn g_box = &MessageBoxW;

struct ItemList {
    PIDLIST_ABSOLUTE p = nullptr;
    ~ItemList() { CoTaskMemFree(p); }
};
}  // namespace

void detail::SetDialogMessageBox(DialogBoxFn fn)
{
    g_box = fn ? fn : &MessageBoxW;
}

int ShowMessageBox(HWND owner, const std::wstring& text, const std::wstring& caption, UINT style)
{
    return g_box(owner, text.c_str(), caption.c_str(), style);
}

HINSTANCE DialogModule()
{
    // Inside the DLL the load callback has kept its handle; a test program
    // that links the actions carries the resources itself.
    HMODULE module = GetModuleHandleOfLibrary();
    return module ? module : GetModuleHandleW(nullptr);
}

std::wstring LoadResourceString(UINT id)
{
    const wchar_t* text = nullptr;
    SetLastError(0);
    const int length = LoadStringW(DialogModule(), id, reinterpret_cast<LPWSTR>(&text), 0);
    if (length <= 0 || !text) {
        const DWORD e = GetLastError();
        throw PAL::WindowsError(__LINE__, __FILE__, static_cast<int32_t>(e ? e : ERROR_RESOURCE_NAME_NOT_FOUND));
    }
    return std::wstring(text, static_cast<size_t>(length));
}

std::wstring FormatResourceString(UINT id, std::initializer_list<DWORD_PTR> inserts)
{
    const std::wstring pattern = LoadResourceString(id);
    std::vector<DWORD_PTR> args(inserts);
    args.push_back(0);
    wchar_t* buffer = nullptr;
    const DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER |
                                       FORMAT_MESSAGE_ARGUMENT_ARRAY,
                                   pattern.c_str(), 0, 0, reinterpret_cast<LPWSTR>(&buffer), 0,
                                   reinterpret_cast<va_list*>(args.data()));
    if (n == 0) throw PAL::WindowsError(__LINE__, __FILE__, static_cast<int32_t>(GetLastError()));
    std::wstring text(buffer, n);
    LocalFree(buffer);
    return text;
}

void ThrowResourceError(HRESULT code, UINT id, std::initializer_list<DWORD_PTR> inserts)
{
    throw MSIError(code, FormatResourceString(id, inserts));
}

std::wstring HandlerFailureText() noexcept
{
    // The order of the action frame's ladder: WindowsError before its base.
    try {
        try {
            throw;
        } catch (const MSIError& e) {
            return e.Text();
        } catch (const PAL::WindowsError& e) {
            return ComErrorText(_com_error(HResultFromWin32(e.Code())));
        } catch (const PAL::Exception& e) {
            return e.Text();
        } catch (const ATL::CAtlException& e) {
            return ComErrorText(_com_error(e.m_hr));
        } catch (const _com_error& e) {
            return ComErrorText(e);
        } catch (const std::bad_alloc&) {
            return ComErrorText(_com_error(kOutOfMemory));
        } catch (...) {
            return L"Unhandled exception";
        }
    } catch (...) {
        return L"Unhandled exception";
    }
}

LRESULT ShowHandlerFailure(HWND dialog) noexcept
{
    const std::wstring text = HandlerFailureText();
    try {
        ShowMessageBox(dialog, text, L"Error", MB_ICONSTOP);
    } catch (...) {
    }
    return -1;
}

HWND FindParentDialogWindow()
{
    const std::wstring title = GetProperty(L"_ParentDialogWindowTitle", false);
    if (title.empty()) return nullptr;
    HWND window = FindWindowW(L"MsiDialogCloseClass", title.c_str());
    if (!window) window = FindWindowW(nullptr, title.c_str());
    return window;
}

bool BrowseForFolder(HWND owner, std::wstring& path, const std::wstring& title, int rootFolder, bool strict)
{
    wchar_t displayName[MAX_PATH] = {};
    BROWSEINFOW info = {};
    info.hwndOwner = owner;
    info.pszDisplayName = displayName;
    info.lpszTitle = title.empty() ? nullptr : title.c_str();
    info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_EDITBOX | BIF_NEWDIALOGSTYLE;

    ItemList root, picked;
    if (rootFolder != 0) {
        const HRESULT hr = SHGetFolderLocation(owner, rootFolder, nullptr, 0, &root.p);
        if (FAILED(hr)) {
            if (strict) ThrowError(hr, L"Unable to get folder location for CSIDL %d", rootFolder);
            root.p = nullptr;
        }
        info.pidlRoot = root.p;
    }
    picked.p = SHBrowseForFolderW(&info);
    if (!picked.p) return false;
    wchar_t buffer[MAX_PATH] = {};
    if (!SHGetPathFromIDListW(picked.p, buffer)) return false;
    path = buffer;
    return true;
}

std::wstring TrimSpace(const std::wstring& text)
{
    size_t begin = 0, end = text.size();
    while (begin < end && std::iswspace(text[begin])) ++begin;
    while (end > begin && std::iswspace(text[end - 1])) --end;
    return text.substr(begin, end - begin);
}

std::locale DialogLocale()
{
    std::locale user = std::locale::classic();
    try {
        user = std::locale("");
    } catch (const std::exception&) {
        // A runtime without named locales keeps the classic one.
    }
    return std::locale(user, std::locale::classic(), std::locale::numeric);
}

}  // namespace msiu

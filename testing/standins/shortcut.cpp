// A stand-in for the shell's Internet shortcut object, registered for its
// class id in the test prefix only (never part of the shipped DLL). Wine's own
// object has no IShellLinkW, so a description can't be set there; this one
// has the three interfaces the shortcut code uses and writes the .url file as
// the shell does: the description in the shortcut property set, then the
// InternetShortcut section, ANSI text with CRLF, replacing any file that
// stands there.
#include <windows.h>
#include <objbase.h>
#include <shobjidl.h>
#include <intshcut.h>
// The shortcut ids are defined here, not taken from a library.
#include <initguid.h>
#include <isguids.h>

#include <new>
#include <string>

namespace {

LONG g_objects = 0;
LONG g_locks = 0;

std::string Narrow(const std::wstring& text)
{
    const int n = WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), &bytes[0], n, nullptr, nullptr);
    return bytes;
}

HRESULT CopyOut(const std::wstring& text, LPWSTR buffer, int cch)
{
    if (!buffer || cch <= 0) return E_INVALIDARG;
    lstrcpynW(buffer, text.c_str(), cch);
    return S_OK;
}

class Shortcut : public IUniformResourceLocatorW, public IShellLinkW, public IPersistFile {
public:
    Shortcut() { InterlockedIncrement(&g_objects); }
    virtual ~Shortcut() { InterlockedDecrement(&g_objects); }

    // IUnknown, shared by the three interfaces.
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (riid == IID_IUnknown || riid == IID_IUniformResourceLocatorW)
            *out = static_cast<IUniformResourceLocatorW*>(this);
        else if (riid == IID_IShellLinkW)
            *out = static_cast<IShellLinkW*>(this);
        else if (riid == IID_IPersistFile || riid == IID_IPersist)
            *out = static_cast<IPersistFile*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
    STDMETHODIMP_(ULONG) Release() override
    {
        const LONG n = InterlockedDecrement(&refs_);
        if (n == 0) delete this;
        return static_cast<ULONG>(n);
    }

    // IUniformResourceLocatorW
    STDMETHODIMP SetURL(LPCWSTR url, DWORD) override
    {
        if (!url) return E_INVALIDARG;
        url_ = url;
        return S_OK;
    }
    STDMETHODIMP GetURL(LPWSTR* url) override
    {
        if (!url) return E_POINTER;
        *url = static_cast<LPWSTR>(CoTaskMemAlloc((url_.size() + 1) * sizeof(wchar_t)));
        if (!*url) return E_OUTOFMEMORY;
        lstrcpyW(*url, url_.c_str());
        return S_OK;
    }
    STDMETHODIMP InvokeCommand(PURLINVOKECOMMANDINFOW) override { return E_NOTIMPL; }

    // IShellLinkW: the description is what matters; the rest is the
    // minimum a caller could expect.
    STDMETHODIMP GetPath(LPWSTR, int, WIN32_FIND_DATAW*, DWORD) override { return S_FALSE; }
    STDMETHODIMP GetIDList(PIDLIST_ABSOLUTE*) override { return E_NOTIMPL; }
    STDMETHODIMP SetIDList(PCIDLIST_ABSOLUTE) override { return E_NOTIMPL; }
    STDMETHODIMP GetDescription(LPWSTR name, int cch) override { return CopyOut(description_, name, cch); }
    STDMETHODIMP SetDescription(LPCWSTR name) override
    {
        // The shell keeps at most an info tip's worth of text.
        if (!name || lstrlenW(name) >= INFOTIPSIZE) return E_INVALIDARG;
        description_ = name;
        return S_OK;
    }
    STDMETHODIMP GetWorkingDirectory(LPWSTR dir, int cch) override { return CopyOut(L"", dir, cch); }
    STDMETHODIMP SetWorkingDirectory(LPCWSTR) override { return S_OK; }
    STDMETHODIMP GetArguments(LPWSTR args, int cch) override { return CopyOut(L"", args, cch); }
    STDMETHODIMP SetArguments(LPCWSTR) override { return S_OK; }
    STDMETHODIMP GetHotkey(WORD* key) override { if (key) *key = 0; return S_OK; }
    STDMETHODIMP SetHotkey(WORD) override { return S_OK; }
    STDMETHODIMP GetShowCmd(int* cmd) override { if (cmd) *cmd = SW_SHOWNORMAL; return S_OK; }
    STDMETHODIMP SetShowCmd(int) override { return S_OK; }
    STDMETHODIMP GetIconLocation(LPWSTR path, int cch, int* icon) override
    {
        if (icon) *icon = 0;
        return CopyOut(L"", path, cch);
    }
    STDMETHODIMP SetIconLocation(LPCWSTR, int) override { return S_OK; }
    STDMETHODIMP SetRelativePath(LPCWSTR, DWORD) override { return S_OK; }
    STDMETHODIMP Resolve(HWND, DWORD) override { return S_OK; }
    STDMETHODIMP SetPath(LPCWSTR) override { return E_NOTIMPL; }

    // IPersistFile
    STDMETHODIMP GetClassID(CLSID* id) override
    {
        if (!id) return E_POINTER;
        *id = CLSID_InternetShortcut;
        return S_OK;
    }
    STDMETHODIMP IsDirty() override { return S_OK; }
    STDMETHODIMP Load(LPCOLESTR, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Save(LPCOLESTR path, BOOL remember) override
    {
        if (!path) return E_INVALIDARG;
        std::string text;
        if (!description_.empty())
            text += "[{000214A0-0000-0000-C000-000000000046}]\r\nProp12=31," + Narrow(description_) + "\r\n";
        text += "[InternetShortcut]\r\nURL=" + Narrow(url_) + "\r\n";
        HANDLE file = CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file == INVALID_HANDLE_VALUE) return HRESULT_FROM_WIN32(GetLastError());
        DWORD written = 0;
        const BOOL ok = WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        const DWORD error = GetLastError();
        CloseHandle(file);
        if (!ok) return HRESULT_FROM_WIN32(error);
        if (remember) file_ = path;
        return S_OK;
    }
    STDMETHODIMP SaveCompleted(LPCOLESTR) override { return S_OK; }
    STDMETHODIMP GetCurFile(LPOLESTR* path) override
    {
        if (!path) return E_POINTER;
        *path = static_cast<LPOLESTR>(CoTaskMemAlloc((file_.size() + 1) * sizeof(wchar_t)));
        if (!*path) return E_OUTOFMEMORY;
        lstrcpyW(*path, file_.c_str());
        return S_OK;
    }

private:
    LONG refs_ = 1;
    std::wstring url_, description_, file_;
};

class Factory : public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (!out) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IClassFactory) {
            *out = static_cast<IClassFactory*>(this);
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** out) override
    {
        if (outer) return CLASS_E_NOAGGREGATION;
        auto* object = new (std::nothrow) Shortcut();
        if (!object) return E_OUTOFMEMORY;
        const HRESULT hr = object->QueryInterface(riid, out);
        object->Release();
        return hr;
    }
    STDMETHODIMP LockServer(BOOL lock) override
    {
        if (lock) InterlockedIncrement(&g_locks);
        else InterlockedDecrement(&g_locks);
        return S_OK;
    }
};

Factory g_factory;

}  // namespace

extern "C" HRESULT __stdcall DllGetClassObject(REFCLSID clsid, REFIID riid, void** out)
{
    if (clsid != CLSID_InternetShortcut) return CLASS_E_CLASSNOTAVAILABLE;
    return g_factory.QueryInterface(riid, out);
}

extern "C" HRESULT __stdcall DllCanUnloadNow()
{
    return g_objects == 0 && g_locks == 0 ? S_OK : S_FALSE;
}

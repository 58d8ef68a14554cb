// A stand-in for the shell's Internet shortcut object, registered for its
// class id in the test prefix only (never part of the shipped DLL). Wine's own
// object has no IShellLinkW, so a description can't be set there; this one
// has the three interfaces the shortcut code uses and writes the .url file as
// the shell does: the description in the shortcut property set, then the
// InternetShortcut section, ANSI text with CRLF, replacing any file that
// stands there. Only the calls that code makes do anything; the others say
// they are not implemented.
#include <windows.h>
#include <objbase.h>
#include <shobjidl.h>
#include <intshcut.h>
// The shortcut ids are defined here, not taken from a library.
#include <initguid.h>
#include <isguids.h>

#include <string>

namespace {

std::string Narrow(const std::wstring& text)
{
    const int n = WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(n), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), static_cast<int>(text.size()), &bytes[0], n, nullptr, nullptr);
    return bytes;
}

class Shortcut final : public IUniformResourceLocatorW, public IShellLinkW, public IPersistFile {
public:
    // IUnknown, shared by the three interfaces.
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IUnknown || riid == IID_IUniformResourceLocatorW) *out = static_cast<IUniformResourceLocatorW*>(this);
        else if (riid == IID_IShellLinkW) *out = static_cast<IShellLinkW*>(this);
        else if (riid == IID_IPersistFile || riid == IID_IPersist) *out = static_cast<IPersistFile*>(this);
        else return *out = nullptr, E_NOINTERFACE;
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
    STDMETHODIMP SetURL(LPCWSTR url, DWORD) override { return url_ = url, S_OK; }
    STDMETHODIMP GetURL(LPWSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP InvokeCommand(PURLINVOKECOMMANDINFOW) override { return E_NOTIMPL; }

    // IShellLinkW: the shell keeps at most an info tip's worth of description.
    STDMETHODIMP SetDescription(LPCWSTR name) override
    {
        if (lstrlenW(name) >= INFOTIPSIZE) return E_INVALIDARG;
        description_ = name;
        return S_OK;
    }
    STDMETHODIMP GetDescription(LPWSTR, int) override { return E_NOTIMPL; }
    STDMETHODIMP GetPath(LPWSTR, int, WIN32_FIND_DATAW*, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDList(PIDLIST_ABSOLUTE*) override { return E_NOTIMPL; }
    STDMETHODIMP SetIDList(PCIDLIST_ABSOLUTE) override { return E_NOTIMPL; }
    STDMETHODIMP GetWorkingDirectory(LPWSTR, int) override { return E_NOTIMPL; }
    STDMETHODIMP SetWorkingDirectory(LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP GetArguments(LPWSTR, int) override { return E_NOTIMPL; }
    STDMETHODIMP SetArguments(LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP GetHotkey(WORD*) override { return E_NOTIMPL; }
    STDMETHODIMP SetHotkey(WORD) override { return E_NOTIMPL; }
    STDMETHODIMP GetShowCmd(int*) override { return E_NOTIMPL; }
    STDMETHODIMP SetShowCmd(int) override { return E_NOTIMPL; }
    STDMETHODIMP GetIconLocation(LPWSTR, int, int*) override { return E_NOTIMPL; }
    STDMETHODIMP SetIconLocation(LPCWSTR, int) override { return E_NOTIMPL; }
    STDMETHODIMP SetRelativePath(LPCWSTR, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP Resolve(HWND, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP SetPath(LPCWSTR) override { return E_NOTIMPL; }

    // IPersistFile
    STDMETHODIMP GetClassID(CLSID* id) override { return *id = CLSID_InternetShortcut, S_OK; }
    STDMETHODIMP IsDirty() override { return S_OK; }
    STDMETHODIMP Load(LPCOLESTR, DWORD) override { return E_NOTIMPL; }
    STDMETHODIMP SaveCompleted(LPCOLESTR) override { return S_OK; }
    STDMETHODIMP GetCurFile(LPOLESTR*) override { return E_NOTIMPL; }
    STDMETHODIMP Save(LPCOLESTR path, BOOL) override
    {
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
        return ok ? S_OK : HRESULT_FROM_WIN32(error);
    }

private:
    LONG refs_ = 1;
    std::wstring url_, description_;
};

// One factory for the life of the DLL, which then stays loaded.
struct Factory : IClassFactory {
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        *out = riid == IID_IUnknown || riid == IID_IClassFactory ? this : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** out) override
    {
        if (outer) return CLASS_E_NOAGGREGATION;
        auto* object = new Shortcut();
        const HRESULT hr = object->QueryInterface(riid, out);
        object->Release();
        return hr;
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
} g_factory;

}  // namespace

extern "C" HRESULT __stdcall DllGetClassObject(REFCLSID clsid, REFIID riid, void** out)
{
    return clsid == CLSID_InternetShortcut ? g_factory.QueryInterface(riid, out) : CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" HRESULT __stdcall DllCanUnloadNow() { return S_FALSE; }

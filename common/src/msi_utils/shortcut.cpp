#include "msiu/shortcut.h"

#include <windows.h>
#include <objbase.h>
#include <shobjidl.h>
#include <intshcut.h>
// The shortcut object's ids come from the SDK header, defined here.
#include <initguid.h>
#include <isguids.h>

#include "msiu/error.h"
#include "msiu/log.h"

namespace msiu {

namespace {

// Releases its interface on every path.
template <class I>
class ComPtr {
public:
    ComPtr() = default;
    ~ComPtr()
    {
        if (p_) p_->Release();
    }
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    I* operator->() const { return p_; }
    void** Receive() { return reinterpret_cast<void**>(&p_); }

private:
    I* p_ = nullptr;
};

}  // namespace

void CreateURLShortcut(const std::wstring& path, const std::wstring& url, const std::wstring& description)
{
    LogMessage(kMsgInfo, L"Creating URL shortcut for \"%s\" in: %s", url.c_str(), path.c_str());

    ComPtr<IUniformResourceLocatorW> locator;
    HRESULT hr = CoCreateInstance(CLSID_InternetShortcut, nullptr, CLSCTX_ALL, IID_IUniformResourceLocatorW,
                                  locator.Receive());
    if (FAILED(hr))
        ThrowError(hr, L"Failed to get IUniformResourceLocator interface to create shortcut: %s", path.c_str());
    hr = locator->SetURL(url.c_str(), 0);
    if (FAILED(hr)) ThrowError(hr, L"Failed to set URL for shortcut: %s", path.c_str());

    {
        ComPtr<IShellLinkW> link;
        if (FAILED(locator->QueryInterface(IID_IShellLinkW, link.Receive())))
            ThrowError(E_NOINTERFACE, L"Interface IShellLink not available");
        hr = link->SetDescription(description.c_str());
        if (FAILED(hr)) ThrowError(hr, L"Failed to set Description for shortcut: %s", path.c_str());
    }

    ComPtr<IPersistFile> file;
    if (FAILED(locator->QueryInterface(IID_IPersistFile, file.Receive())))
        ThrowError(E_NOINTERFACE, L"Interface IPersistFile not available");
    hr = file->Save(path.c_str(), TRUE);
    if (FAILED(hr)) ThrowError(hr, L"Failed to save shortcut: %s", path.c_str());
}

}  // namespace msiu

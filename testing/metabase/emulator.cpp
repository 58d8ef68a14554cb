// qxmetabase.dll: an in-process COM server that stands in for the IIS
// directory provider on a machine without IIS. Registered as the provider of
// the IIS: prefix, it is what ADsGetObject hands the library. Each binding
// reads the metabase file named in the registry; every change is written
// back to that file at once and recorded in its change log, and any call can
// be told to fail (see qxtest/metabase_model.h).
#include <windows.h>
#include <ole2.h>
#include <iads.h>
#include <iiisext.h>
#include <adserr.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "qxtest/metabase_model.h"
#include "qxtest/metabase_ids.h"

namespace {

using qxmb::Metabase;
using qxmb::Node;
using qxmb::Value;

std::atomic<long> g_objects{0};

// {EE46D40C-1B38-4A02-898D-358E74DFC9D2}
const IID kIID_IISWebService = {0xEE46D40C, 0x1B38, 0x4A02, {0x89, 0x8D, 0x35, 0x8E, 0x74, 0xDF, 0xC9, 0xD2}};

std::wstring MetabaseFile()
{
    const std::wstring key = std::wstring(L"Software\\Classes\\CLSID\\") + qxmb::kEmulatorClassText + L"\\Metabase";
    wchar_t value[MAX_PATH * 2] = L"";
    DWORD size = sizeof value;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, value, &size) != ERROR_SUCCESS)
        return std::wstring();
    return value;
}

std::wstring Hex(HRESULT hr)
{
    wchar_t text[16];
    swprintf(text, 16, L"0x%08lX", static_cast<unsigned long>(hr));
    return text;
}

std::wstring Text(BSTR b) { return b ? std::wstring(b, SysStringLen(b)) : std::wstring(); }

HRESULT ToVariant(const Value& v, VARIANT* out, bool asArray)
{
    VariantInit(out);
    if (v.kind == Value::List || asArray) {
        std::vector<VARIANT> items;
        if (v.kind == Value::List) {
            for (const auto& e : v.list) {
                VARIANT item;
                VariantInit(&item);
                item.vt = VT_BSTR;
                item.bstrVal = SysAllocString(e.c_str());
                items.push_back(item);
            }
        } else {
            VARIANT item;
            ToVariant(v, &item, false);
            items.push_back(item);
        }
        SAFEARRAYBOUND bound{static_cast<ULONG>(items.size()), 0};
        SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, 1, &bound);
        for (LONG i = 0; i < static_cast<LONG>(items.size()); ++i) {
            SafeArrayPutElement(array, &i, &items[i]);
            VariantClear(&items[i]);
        }
        out->vt = VT_ARRAY | VT_VARIANT;
        out->parray = array;
        return S_OK;
    }
    if (v.kind == Value::Number) {
        out->vt = VT_I4;
        out->lVal = v.number;
    } else {
        out->vt = VT_BSTR;
        out->bstrVal = SysAllocString(v.text.c_str());
    }
    return S_OK;
}

std::wstring Show(const Value& v)
{
    if (v.kind == Value::Number) return std::to_wstring(v.number);
    if (v.kind == Value::Text) return v.text;
    std::wstring all;
    for (const auto& e : v.list) all += (all.empty() ? L"" : L" | ") + e;
    return L"[" + all + L"]";
}

// One web service extension record: allowed,file,deletable,group,description.
struct ExtRecord {
    std::wstring allowed, file, rest;
};

ExtRecord SplitRecord(const std::wstring& entry)
{
    ExtRecord r;
    const size_t first = entry.find(L',');
    r.allowed = entry.substr(0, first);
    if (first == std::wstring::npos) return r;
    std::wstring tail = entry.substr(first + 1);
    // The file may hold commas: the last three fields are counted from the end.
    size_t cut = tail.size();
    for (int i = 0; i < 3 && cut != std::wstring::npos && cut > 0; ++i) cut = tail.rfind(L',', cut - 1);
    if (cut == std::wstring::npos || cut == 0) {
        r.file = tail;
    } else {
        r.file = tail.substr(0, cut);
        r.rest = tail.substr(cut);
    }
    return r;
}

// A table of plain methods that none of the library's calls reach.
#define QXMB_NOTIMPL(sig) \
    STDMETHODIMP sig override { return E_NOTIMPL; }

class Unknown {
protected:
    Unknown() { ++g_objects; }
    virtual ~Unknown() { --g_objects; }
    ULONG DoAddRef() { return ++refs_; }
    ULONG DoRelease()
    {
        const ULONG r = --refs_;
        if (r == 0) delete this;
        return r;
    }

private:
    std::atomic<ULONG> refs_{1};
};

struct Binding {
    std::wstring file;
    Metabase snapshot;
};

class NodeObject;

class EnumObject : public IEnumVARIANT, Unknown {
public:
    EnumObject(std::vector<IDispatch*> items, HRESULT fail) : items_(std::move(items)), fail_(fail) {}
    ~EnumObject() override
    {
        for (IDispatch* d : items_) d->Release();
    }
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IUnknown || riid == IID_IEnumVARIANT) {
            *out = static_cast<IEnumVARIANT*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return DoAddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return DoRelease(); }
    STDMETHODIMP Next(ULONG count, VARIANT* out, ULONG* fetched) override
    {
        if (fetched) *fetched = 0;
        if (FAILED(fail_)) return fail_;
        ULONG n = 0;
        for (; n < count && next_ < items_.size(); ++n, ++next_) {
            VariantInit(&out[n]);
            out[n].vt = VT_DISPATCH;
            out[n].pdispVal = items_[next_];
            items_[next_]->AddRef();
        }
        if (fetched) *fetched = n;
        return n == count ? S_OK : S_FALSE;
    }
    STDMETHODIMP Skip(ULONG count) override
    {
        next_ += count;
        return next_ <= items_.size() ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override
    {
        next_ = 0;
        return S_OK;
    }
    QXMB_NOTIMPL(Clone(IEnumVARIANT**))

private:
    std::vector<IDispatch*> items_;
    HRESULT fail_;
    size_t next_ = 0;
};

// What a container hands out when told that its enumerator is broken.
class NotAnEnum : public IUnknown, Unknown {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IUnknown) {
            *out = static_cast<IUnknown*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return DoAddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return DoRelease(); }
};

class NodeObject : public IISWebService, public IADsContainer, Unknown {
public:
    NodeObject(std::shared_ptr<Binding> binding, std::wstring path) : binding_(std::move(binding)), path_(std::move(path))
    {
    }

    // IUnknown
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        *out = nullptr;
        if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IADs)
            *out = static_cast<IADs*>(static_cast<IISWebService*>(this));
        else if (riid == IID_IADsContainer)
            *out = static_cast<IADsContainer*>(this);
        else if (riid == kIID_IISWebService && Self().Class() == L"IIsWebService" &&
                 Self().FailureFor(L"QueryInterface", L"IISWebService") == S_OK)
            *out = static_cast<IISWebService*>(this);
        if (!*out) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return DoAddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return DoRelease(); }

    // IDispatch: the library calls the interfaces directly.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override
    {
        *count = 0;
        return S_OK;
    }
    QXMB_NOTIMPL(GetTypeInfo(UINT, LCID, ITypeInfo**))
    QXMB_NOTIMPL(GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*))
    QXMB_NOTIMPL(Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*))

    // IADs
    STDMETHODIMP get_Name(BSTR* out) override { return Answer(L"Name", L"", Self().Name(), out); }
    STDMETHODIMP get_Class(BSTR* out) override { return Answer(L"Class", L"", Self().Class(), out); }
    STDMETHODIMP get_ADsPath(BSTR* out) override
    {
        return Answer(L"ADsPath", L"", L"IIS://localhost" + Self().path, out);
    }
    QXMB_NOTIMPL(get_GUID(BSTR*))
    STDMETHODIMP get_Parent(BSTR* out) override
    {
        const std::wstring p = Self().path;
        return Answer(L"Parent", L"", L"IIS://localhost" + p.substr(0, p.rfind(L'/')), out);
    }
    QXMB_NOTIMPL(get_Schema(BSTR*))
    STDMETHODIMP GetInfo() override
    {
        try {
            binding_->snapshot = qxmb::Load(binding_->file);
            return S_OK;
        } catch (...) {
            return E_FAIL;
        }
    }
    STDMETHODIMP SetInfo() override
    {
        HRESULT hr = Self().FailureFor(L"SetInfo");
        if (SUCCEEDED(hr)) {
            try {
                // Written to the file as it is now, so that changes made
                // through other bindings since this one was made stay.
                Metabase current = qxmb::Load(binding_->file);
                Node* node = current.Find(path_);
                if (!node) {
                    hr = HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
                } else {
                    for (const auto& p : pending_) node->Set(p.first, p.second);
                    qxmb::Save(binding_->file, current);
                }
            } catch (...) {
                hr = E_FAIL;
            }
        }
        std::wstring what;
        for (const auto& p : pending_) what += L" " + p.first + L"=" + Show(p.second);
        Journal(L"SetInfo " + Self().path + what, hr);
        if (SUCCEEDED(hr)) pending_.clear();
        return hr;
    }
    STDMETHODIMP Get(BSTR name, VARIANT* out) override { return Read(L"Get", Text(name), out, false); }
    STDMETHODIMP GetEx(BSTR name, VARIANT* out) override { return Read(L"GetEx", Text(name), out, true); }
    STDMETHODIMP Put(BSTR name, VARIANT value) override
    {
        const std::wstring property = Text(name);
        Value v;
        HRESULT hr = Self().FailureFor(L"Put", property);
        VARIANT converted;
        VariantInit(&converted);
        if (SUCCEEDED(hr)) {
            if (value.vt == VT_BSTR) {
                v.text = Text(value.bstrVal);
            } else if (SUCCEEDED(VariantChangeType(&converted, &value, 0, VT_I4))) {
                v.kind = Value::Number;
                v.number = converted.lVal;
            } else {
                hr = E_INVALIDARG;
            }
        }
        Journal(L"Put " + Self().path + L" " + property + L" = " + (SUCCEEDED(hr) ? Show(v) : L"?"), hr);
        if (FAILED(hr)) return hr;
        pending_.emplace_back(property, v);
        return S_OK;
    }
    QXMB_NOTIMPL(PutEx(LONG, BSTR, VARIANT))
    STDMETHODIMP GetInfoEx(VARIANT, LONG) override { return S_OK; }

    // IADsContainer
    QXMB_NOTIMPL(get_Count(LONG*))
    STDMETHODIMP get__NewEnum(IUnknown** out) override
    {
        *out = nullptr;
        const HRESULT hr = Self().FailureFor(L"NewEnum");
        if (FAILED(hr)) return hr;
        if (Self().FailureFor(L"EnumQuery") != S_OK) {
            *out = new NotAnEnum;
            return S_OK;
        }
        std::vector<IDispatch*> children;
        for (const Node* child : binding_->snapshot.Children(path_))
            children.push_back(static_cast<IADs*>(static_cast<IISWebService*>(new NodeObject(binding_, child->path))));
        *out = new EnumObject(std::move(children), Self().FailureFor(L"Next"));
        return S_OK;
    }
    QXMB_NOTIMPL(get_Filter(VARIANT*))
    QXMB_NOTIMPL(put_Filter(VARIANT))
    QXMB_NOTIMPL(get_Hints(VARIANT*))
    QXMB_NOTIMPL(put_Hints(VARIANT))
    QXMB_NOTIMPL(GetObject(BSTR, BSTR, IDispatch**))
    QXMB_NOTIMPL(Create(BSTR, BSTR, IDispatch**))
    QXMB_NOTIMPL(Delete(BSTR, BSTR))
    QXMB_NOTIMPL(CopyHere(BSTR, BSTR, IDispatch**))
    QXMB_NOTIMPL(MoveHere(BSTR, BSTR, IDispatch**))

    // IISWebService: the extension file records, kept in the web service
    // node's WebSvcExtRestrictionList.
    QXMB_NOTIMPL(GetCurrentMode(VARIANT*))
    QXMB_NOTIMPL(CreateNewSite(BSTR, VARIANT*, BSTR, VARIANT, VARIANT*))
    QXMB_NOTIMPL(EnableApplication(BSTR))
    QXMB_NOTIMPL(RemoveApplication(BSTR))
    QXMB_NOTIMPL(ListApplications(VARIANT*))
    QXMB_NOTIMPL(AddDependency(BSTR, BSTR))
    QXMB_NOTIMPL(RemoveDependency(BSTR, BSTR))
    QXMB_NOTIMPL(EnableWebServiceExtension(BSTR))
    QXMB_NOTIMPL(DisableWebServiceExtension(BSTR))
    QXMB_NOTIMPL(ListWebServiceExtensions(VARIANT*))
    STDMETHODIMP EnableExtensionFile(BSTR file) override
    {
        const std::wstring f = Text(file);
        return ChangeRecords(L"EnableExtensionFile", f, L"", [&](std::vector<std::wstring>& list) {
            for (auto& e : list) {
                ExtRecord r = SplitRecord(e);
                if (qxmb::EqualNoCase(r.file, f)) {
                    e = L"1," + r.file + r.rest;
                    return S_OK;
                }
            }
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        });
    }
    QXMB_NOTIMPL(DisableExtensionFile(BSTR))
    STDMETHODIMP AddExtensionFile(BSTR file, VARIANT access, BSTR group, VARIANT canDelete, BSTR description) override
    {
        const std::wstring f = Text(file);
        if (access.vt != VT_BOOL || canDelete.vt != VT_BOOL) {
            Journal(L"AddExtensionFile " + f + L" (the flags are no VT_BOOL)", E_INVALIDARG);
            return E_INVALIDARG;
        }
        const bool allowed = access.boolVal != VARIANT_FALSE, deletable = canDelete.boolVal != VARIANT_FALSE;
        const std::wstring detail = L" (" + Text(group) + L", \"" + Text(description) + L"\", " +
                                    (allowed ? L"allowed" : L"not allowed") + L", " +
                                    (deletable ? L"deletable" : L"not deletable") + L")";
        return ChangeRecords(L"AddExtensionFile", f, detail, [&](std::vector<std::wstring>& list) {
            for (const auto& e : list)
                if (qxmb::EqualNoCase(SplitRecord(e).file, f)) return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
            list.push_back(std::wstring(allowed ? L"1," : L"0,") + f + (deletable ? L",1," : L",0,") + Text(group) +
                           L"," + Text(description));
            return S_OK;
        });
    }
    STDMETHODIMP DeleteExtensionFileRecord(BSTR file) override
    {
        const std::wstring f = Text(file);
        return ChangeRecords(L"DeleteExtensionFileRecord", f, L"", [&](std::vector<std::wstring>& list) {
            for (auto it = list.begin(); it != list.end(); ++it)
                if (qxmb::EqualNoCase(SplitRecord(*it).file, f)) {
                    list.erase(it);
                    return S_OK;
                }
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        });
    }
    QXMB_NOTIMPL(ListExtensionFiles(VARIANT*))
    QXMB_NOTIMPL(QueryGroupIDStatus(BSTR, VARIANT*))

private:
    const Node& Self() const
    {
        static const Node gone;
        const Node* n = binding_->snapshot.Find(path_);
        return n ? *n : gone;
    }

    HRESULT Answer(const wchar_t* op, const wchar_t* arg, const std::wstring& text, BSTR* out)
    {
        *out = nullptr;
        const HRESULT hr = Self().FailureFor(op, arg);
        if (FAILED(hr)) return hr;
        *out = SysAllocString(text.c_str());
        return *out ? S_OK : E_OUTOFMEMORY;
    }

    HRESULT Read(const wchar_t* op, const std::wstring& property, VARIANT* out, bool asArray)
    {
        VariantInit(out);
        const HRESULT hr = Self().FailureFor(op, property);
        if (FAILED(hr)) return hr;
        for (auto it = pending_.rbegin(); it != pending_.rend(); ++it)
            if (qxmb::EqualNoCase(it->first, property)) return ToVariant(it->second, out, asArray);
        const Value* v = Self().Find(property);
        if (!v) return E_ADS_PROPERTY_NOT_FOUND;
        return ToVariant(*v, out, asArray);
    }

    template <class Change>
    HRESULT ChangeRecords(const wchar_t* op, const std::wstring& file, const std::wstring& detail, Change change)
    {
        HRESULT hr = Self().FailureFor(op, file);
        if (SUCCEEDED(hr)) {
            try {
                Metabase current = qxmb::Load(binding_->file);
                Node* node = current.Find(path_);
                Value* list = node ? node->Find(L"WebSvcExtRestrictionList") : nullptr;
                if (!list || list->kind != Value::List) {
                    hr = E_ADS_PROPERTY_NOT_SUPPORTED;
                } else {
                    hr = change(list->list);
                    if (SUCCEEDED(hr)) {
                        qxmb::Save(binding_->file, current);
                        binding_->snapshot = current;
                    }
                }
            } catch (...) {
                hr = E_FAIL;
            }
        }
        Journal(std::wstring(op) + L" " + file + detail, hr);
        return hr;
    }

    void Journal(const std::wstring& line, HRESULT hr)
    {
        try {
            qxmb::Record(binding_->file, SUCCEEDED(hr) ? line : line + L" -> failed " + Hex(hr));
        } catch (...) {
        }
    }

    std::shared_ptr<Binding> binding_;
    std::wstring path_;
    std::vector<std::pair<std::wstring, Value>> pending_;
};

// What the directory service creates from the ProgID: it opens paths.
class Provider : public IADsOpenDSObject, Unknown {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IADsOpenDSObject) {
            *out = static_cast<IADsOpenDSObject*>(this);
            AddRef();
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return DoAddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return DoRelease(); }
    STDMETHODIMP GetTypeInfoCount(UINT* count) override
    {
        *count = 0;
        return S_OK;
    }
    QXMB_NOTIMPL(GetTypeInfo(UINT, LCID, ITypeInfo**))
    QXMB_NOTIMPL(GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*))
    QXMB_NOTIMPL(Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*))

    STDMETHODIMP OpenDSObject(BSTR name, BSTR, BSTR, LONG, IDispatch** out) override
    {
        *out = nullptr;
        const std::wstring path = Text(name);
        const std::wstring scheme = L"IIS://";
        if (path.size() < scheme.size() || !qxmb::EqualNoCase(path.substr(0, scheme.size()), scheme))
            return E_ADS_BAD_PATHNAME;
        std::wstring rest = path.substr(scheme.size());
        const size_t slash = rest.find(L'/');
        const std::wstring host = rest.substr(0, slash);
        if (!qxmb::EqualNoCase(host, L"localhost")) return HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE);
        const std::wstring node = slash == std::wstring::npos ? L"/" : rest.substr(slash);

        auto binding = std::make_shared<Binding>();
        binding->file = MetabaseFile();
        try {
            binding->snapshot = qxmb::Load(binding->file);
        } catch (...) {
            return E_FAIL;
        }
        const Node* found = binding->snapshot.Find(node);
        if (!found) return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
        const HRESULT hr = found->FailureFor(L"Bind");
        if (FAILED(hr)) return hr;
        *out = static_cast<IADs*>(static_cast<IISWebService*>(new NodeObject(binding, found->path)));
        return S_OK;
    }
};

class Factory : public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
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
        *out = nullptr;
        if (outer) return CLASS_E_NOAGGREGATION;
        Provider* p = new Provider;
        const HRESULT hr = p->QueryInterface(riid, out);
        p->Release();
        return hr;
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
};

Factory g_factory;

}  // namespace

extern "C" HRESULT __stdcall DllGetClassObject(REFCLSID clsid, REFIID riid, void** out)
{
    if (clsid != qxmb::kEmulatorClass) {
        *out = nullptr;
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    return g_factory.QueryInterface(riid, out);
}

extern "C" HRESULT __stdcall DllCanUnloadNow() { return g_objects == 0 ? S_OK : S_FALSE; }

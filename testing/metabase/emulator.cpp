// qxmetabase.dll: an in-process COM server that stands in for the IIS
// directory provider on a machine without IIS. Registered as the provider of
// the IIS: prefix, it is what ADsGetObject hands the library. Each binding
// reads the metabase file named in the registry; every change is written
// back to that file at once and recorded in its change log, and any call can
// be told to fail (see qxtest/metabase_model.h). Methods that neither the
// library nor the directory service call answer E_NOTIMPL.
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

namespace {

using qxmb::Metabase;
using qxmb::Node;
using qxmb::Value;

std::atomic<long> g_objects{0};

// {EE46D40C-1B38-4A02-898D-358E74DFC9D2}
const IID kIID_IISWebService = {0xEE46D40C, 0x1B38, 0x4A02, {0x89, 0x8D, 0x35, 0x8E, 0x74, 0xDF, 0xC9, 0xD2}};

std::wstring Text(BSTR b) { return b ? std::wstring(b, SysStringLen(b)) : std::wstring(); }

void Scalar(const Value& v, VARIANT* out)
{
    VariantInit(out);
    if (v.kind == Value::Number) out->vt = VT_I4, out->lVal = v.number;
    else out->vt = VT_BSTR, out->bstrVal = SysAllocString(v.text.c_str());
}

// A list, or any value asked for as one, comes as a SAFEARRAY of VARIANTs.
HRESULT ToVariant(const Value& v, VARIANT* out, bool asArray)
{
    if (v.kind != Value::List && !asArray) return Scalar(v, out), S_OK;
    std::vector<Value> items;
    for (const auto& e : v.list) items.push_back(Value{Value::Text, e});
    if (v.kind != Value::List) items.push_back(v);
    SAFEARRAYBOUND bound{static_cast<ULONG>(items.size()), 0};
    SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, 1, &bound);
    VARIANT* data = nullptr;
    SafeArrayAccessData(array, reinterpret_cast<void**>(&data));
    for (size_t i = 0; i < items.size(); ++i) Scalar(items[i], &data[i]);
    SafeArrayUnaccessData(array);
    VariantInit(out);
    out->vt = VT_ARRAY | VT_VARIANT;
    out->parray = array;
    return S_OK;
}

// A value as Put gave it: a number or a text.
std::wstring Show(const Value& v) { return v.kind == Value::Number ? std::to_wstring(v.number) : v.text; }

// The file of an extension record allowed,file,deletable,group,description:
// it may hold commas, so the last three fields are counted from the end.
std::wstring RecordFile(const std::wstring& entry)
{
    const size_t first = entry.find(L',');
    if (first == std::wstring::npos) return std::wstring();
    const std::wstring tail = entry.substr(first + 1);
    size_t cut = tail.size();
    for (int i = 0; i < 3 && cut != std::wstring::npos && cut > 0; ++i) cut = tail.rfind(L',', cut - 1);
    return cut == std::wstring::npos || cut == 0 ? tail : tail.substr(0, cut);
}

#define QXMB_NOTIMPL(sig) STDMETHODIMP sig override { return E_NOTIMPL; }
#define QXMB_NO_DISPATCH                                                                                       \
    QXMB_NOTIMPL(GetTypeInfoCount(UINT*)) QXMB_NOTIMPL(GetTypeInfo(UINT, LCID, ITypeInfo**))                    \
    QXMB_NOTIMPL(GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*))                                         \
    QXMB_NOTIMPL(Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*))

// Reference counting for every object of the server, counted for unloading.
template <class... Interfaces>
class Object : public Interfaces... {
public:
    Object() { ++g_objects; }
    virtual ~Object() { --g_objects; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++refs_; }
    STDMETHODIMP_(ULONG) Release() override
    {
        const ULONG r = --refs_;
        if (r == 0) delete this;
        return r;
    }

protected:
    HRESULT Hand(void* self, void** out) { return (*out = self) ? AddRef(), S_OK : E_NOINTERFACE; }

private:
    std::atomic<ULONG> refs_{1};
};

class EnumObject : public Object<IEnumVARIANT> {
public:
    EnumObject(std::vector<IDispatch*> items, HRESULT fail) : items_(std::move(items)), fail_(fail) {}
    ~EnumObject() override { for (IDispatch* d : items_) d->Release(); }
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        return Hand(riid == IID_IUnknown || riid == IID_IEnumVARIANT ? static_cast<IEnumVARIANT*>(this) : nullptr, out);
    }
    STDMETHODIMP Next(ULONG count, VARIANT* out, ULONG* fetched) override
    {
        ULONG n = 0;
        for (; SUCCEEDED(fail_) && n < count && next_ < items_.size(); ++n, ++next_)
            VariantInit(&out[n]), out[n].vt = VT_DISPATCH, (out[n].pdispVal = items_[next_])->AddRef();
        if (fetched) *fetched = n;
        return FAILED(fail_) ? fail_ : n == count ? S_OK : S_FALSE;
    }
    QXMB_NOTIMPL(Skip(ULONG)) QXMB_NOTIMPL(Reset()) QXMB_NOTIMPL(Clone(IEnumVARIANT**))

private:
    std::vector<IDispatch*> items_;
    HRESULT fail_;
    size_t next_ = 0;
};

struct Binding {
    std::wstring file;
    Metabase snapshot;
};

// The class factory, and what the directory service creates from the ProgID:
// it opens paths. It is also what a container hands out when told that its
// enumerator is broken, for it is no enumerator.
class Provider : public Object<IADsOpenDSObject, IClassFactory> {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        if (riid == IID_IClassFactory) return Hand(static_cast<IClassFactory*>(this), out);
        const bool ok = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IADsOpenDSObject;
        return Hand(ok ? static_cast<IADsOpenDSObject*>(this) : nullptr, out);
    }
    QXMB_NO_DISPATCH
    STDMETHODIMP OpenDSObject(BSTR name, BSTR, BSTR, LONG, IDispatch** out) override;
    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID riid, void** out) override
    {
        *out = nullptr;
        return outer ? CLASS_E_NOAGGREGATION : Handed(new Provider, riid, out);
    }
    STDMETHODIMP LockServer(BOOL) override { return S_OK; }
    // `p` asked for `riid`, and released: what is handed out holds its own reference.
    static HRESULT Handed(Provider* p, REFIID riid, void** out)
    {
        const HRESULT hr = p->QueryInterface(riid, out);
        p->Release();
        return hr;
    }
};

class NodeObject : public Object<IISWebService, IADsContainer> {
public:
    NodeObject(std::shared_ptr<Binding> binding, std::wstring path) : binding_(std::move(binding)), path_(std::move(path)) {}
    IDispatch* AsDispatch() { return static_cast<IADs*>(this); }

    STDMETHODIMP QueryInterface(REFIID riid, void** out) override
    {
        void* self = nullptr;
        if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IADs) self = AsDispatch();
        else if (riid == IID_IADsContainer) self = static_cast<IADsContainer*>(this);
        else if (riid == kIID_IISWebService && Class() == L"IIsWebService" &&
                 Self().FailureFor(L"QueryInterface", L"IISWebService") == S_OK)
            self = static_cast<IISWebService*>(this);
        return Hand(self, out);
    }
    QXMB_NO_DISPATCH

    // IADs
    STDMETHODIMP get_Name(BSTR* out) override { return Answer(L"Name", Self().path.substr(Self().path.rfind(L'/') + 1), out); }
    STDMETHODIMP get_Class(BSTR* out) override { return Answer(L"Class", Class(), out); }
    STDMETHODIMP get_ADsPath(BSTR* out) override { return Answer(L"ADsPath", L"IIS://localhost" + Self().path, out); }
    QXMB_NOTIMPL(get_GUID(BSTR*)) QXMB_NOTIMPL(get_Parent(BSTR*)) QXMB_NOTIMPL(get_Schema(BSTR*))
    QXMB_NOTIMPL(GetInfo()) QXMB_NOTIMPL(GetInfoEx(VARIANT, LONG)) QXMB_NOTIMPL(PutEx(LONG, BSTR, VARIANT))
    STDMETHODIMP SetInfo() override
    {
        HRESULT hr = Self().FailureFor(L"SetInfo");
        if (SUCCEEDED(hr)) {
            // Written to the file as it is now, so that changes made through
            // other bindings since this one was made stay.
            hr = Change([&](Node& node) {
                for (const auto& p : pending_) node.Set(p.first, p.second);
                return S_OK;
            });
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
        VARIANT number;
        VariantInit(&number);
        HRESULT hr = Self().FailureFor(L"Put", property);
        if (SUCCEEDED(hr) && value.vt == VT_BSTR) v.text = Text(value.bstrVal);
        else if (SUCCEEDED(hr) && SUCCEEDED(VariantChangeType(&number, &value, 0, VT_I4))) v = {Value::Number, L"", number.lVal};
        else if (SUCCEEDED(hr)) hr = E_INVALIDARG;
        Journal(L"Put " + Self().path + L" " + property + L" = " + (SUCCEEDED(hr) ? Show(v) : L"?"), hr);
        if (SUCCEEDED(hr)) pending_.emplace_back(property, v);
        return hr;
    }

    // IADsContainer
    STDMETHODIMP get__NewEnum(IUnknown** out) override
    {
        *out = nullptr;
        const HRESULT hr = Self().FailureFor(L"NewEnum");
        if (FAILED(hr)) return hr;
        if (Self().FailureFor(L"EnumQuery") != S_OK) return *out = static_cast<IADsOpenDSObject*>(new Provider), S_OK;
        std::vector<IDispatch*> children;
        for (const Node* child : binding_->snapshot.Children(path_))
            children.push_back((new NodeObject(binding_, child->path))->AsDispatch());
        *out = new EnumObject(std::move(children), Self().FailureFor(L"Next"));
        return S_OK;
    }
    QXMB_NOTIMPL(get_Count(LONG*)) QXMB_NOTIMPL(get_Filter(VARIANT*)) QXMB_NOTIMPL(put_Filter(VARIANT))
    QXMB_NOTIMPL(get_Hints(VARIANT*)) QXMB_NOTIMPL(put_Hints(VARIANT)) QXMB_NOTIMPL(GetObject(BSTR, BSTR, IDispatch**))
    QXMB_NOTIMPL(Create(BSTR, BSTR, IDispatch**)) QXMB_NOTIMPL(Delete(BSTR, BSTR))
    QXMB_NOTIMPL(CopyHere(BSTR, BSTR, IDispatch**)) QXMB_NOTIMPL(MoveHere(BSTR, BSTR, IDispatch**))

    // IISWebService: the extension file records, kept in the web service
    // node's WebSvcExtRestrictionList.
    QXMB_NOTIMPL(GetCurrentMode(VARIANT*)) QXMB_NOTIMPL(CreateNewSite(BSTR, VARIANT*, BSTR, VARIANT, VARIANT*))
    QXMB_NOTIMPL(EnableApplication(BSTR)) QXMB_NOTIMPL(RemoveApplication(BSTR))
    QXMB_NOTIMPL(ListApplications(VARIANT*)) QXMB_NOTIMPL(AddDependency(BSTR, BSTR))
    QXMB_NOTIMPL(RemoveDependency(BSTR, BSTR)) QXMB_NOTIMPL(EnableWebServiceExtension(BSTR))
    QXMB_NOTIMPL(DisableWebServiceExtension(BSTR)) QXMB_NOTIMPL(ListWebServiceExtensions(VARIANT*))
    QXMB_NOTIMPL(DisableExtensionFile(BSTR)) QXMB_NOTIMPL(ListExtensionFiles(VARIANT*))
    QXMB_NOTIMPL(QueryGroupIDStatus(BSTR, VARIANT*))
    STDMETHODIMP EnableExtensionFile(BSTR file) override
    {
        return ChangeRecords(L"EnableExtensionFile", Text(file), L"", [&](std::vector<std::wstring>& list, size_t at) {
            if (at == list.size()) return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
            list[at] = L"1" + list[at].substr(list[at].find(L','));
            return S_OK;
        });
    }
    STDMETHODIMP AddExtensionFile(BSTR file, VARIANT access, BSTR group, VARIANT canDelete, BSTR description) override
    {
        const std::wstring f = Text(file);
        const bool allowed = access.boolVal != VARIANT_FALSE, deletable = canDelete.boolVal != VARIANT_FALSE;
        const std::wstring detail = L" (" + Text(group) + L", \"" + Text(description) + L"\", " +
                                    (allowed ? L"allowed" : L"not allowed") + L", " +
                                    (deletable ? L"deletable" : L"not deletable") + L")";
        return ChangeRecords(L"AddExtensionFile", f, detail, [&](std::vector<std::wstring>& list, size_t at) {
            if (at != list.size()) return HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS);
            list.push_back(std::wstring(allowed ? L"1," : L"0,") + f + (deletable ? L",1," : L",0,") + Text(group) +
                           L"," + Text(description));
            return S_OK;
        });
    }
    STDMETHODIMP DeleteExtensionFileRecord(BSTR file) override
    {
        return ChangeRecords(L"DeleteExtensionFileRecord", Text(file), L"", [&](std::vector<std::wstring>& list, size_t at) {
            if (at == list.size()) return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
            list.erase(list.begin() + at);
            return S_OK;
        });
    }

private:
    const Node& Self() const
    {
        static const Node gone;
        const Node* n = binding_->snapshot.Find(path_);
        return n ? *n : gone;
    }
    std::wstring Class() const
    {
        const Value* v = Self().Find(L"Class");
        return v && v->kind == Value::Text ? v->text : L"IIsObject";
    }

    HRESULT Answer(const wchar_t* op, const std::wstring& text, BSTR* out)
    {
        const HRESULT hr = Self().FailureFor(op);
        *out = FAILED(hr) ? nullptr : SysAllocString(text.c_str());
        return hr;
    }

    HRESULT Read(const wchar_t* op, const std::wstring& property, VARIANT* out, bool asArray)
    {
        VariantInit(out);
        const HRESULT hr = Self().FailureFor(op, property);
        if (FAILED(hr)) return hr;
        for (auto it = pending_.rbegin(); it != pending_.rend(); ++it)
            if (qxmb::EqualNoCase(it->first, property)) return ToVariant(it->second, out, asArray);
        const Value* v = Self().Find(property);
        return v ? ToVariant(*v, out, asArray) : E_ADS_PROPERTY_NOT_FOUND;
    }

    // Applies `change` to this node as the file holds it now and writes the
    // file back when it succeeds; returns the snapshot of what was written.
    template <class F>
    HRESULT Change(F change, Metabase* written = nullptr)
    {
        try {
            Metabase current = qxmb::Load(binding_->file);
            Node* node = current.Find(path_);
            if (!node) return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
            const HRESULT hr = change(*node);
            if (SUCCEEDED(hr)) qxmb::Save(binding_->file, current);
            if (SUCCEEDED(hr) && written) *written = current;
            return hr;
        } catch (...) {
            return E_FAIL;
        }
    }

    // `change` gets the record list and the index of the file's record (the
    // list's size when there is none).
    template <class F>
    HRESULT ChangeRecords(const wchar_t* op, const std::wstring& file, const std::wstring& detail, F change)
    {
        HRESULT hr = Self().FailureFor(op, file);
        if (SUCCEEDED(hr)) {
            hr = Change(
                [&](Node& node) {
                    Value* list = node.Find(L"WebSvcExtRestrictionList");
                    if (!list || list->kind != Value::List) return E_ADS_PROPERTY_NOT_SUPPORTED;
                    size_t at = 0;
                    while (at < list->list.size() && !qxmb::EqualNoCase(RecordFile(list->list[at]), file)) ++at;
                    return change(list->list, at);
                },
                &binding_->snapshot);
        }
        Journal(std::wstring(op) + L" " + file + detail, hr);
        return hr;
    }

    void Journal(const std::wstring& line, HRESULT hr)
    {
        wchar_t code[16];
        swprintf(code, 16, L"0x%08lX", static_cast<unsigned long>(hr));
        qxmb::Record(binding_->file, SUCCEEDED(hr) ? line : line + L" -> failed " + code);
    }

    std::shared_ptr<Binding> binding_;
    std::wstring path_;
    std::vector<std::pair<std::wstring, Value>> pending_;
};

STDMETHODIMP Provider::OpenDSObject(BSTR name, BSTR, BSTR, LONG, IDispatch** out)
{
    *out = nullptr;
    const std::wstring path = Text(name), scheme = L"IIS://";
    if (path.size() < scheme.size() || !qxmb::EqualNoCase(path.substr(0, scheme.size()), scheme))
        return E_ADS_BAD_PATHNAME;
    const std::wstring rest = path.substr(scheme.size());
    const size_t slash = rest.find(L'/');
    if (!qxmb::EqualNoCase(rest.substr(0, slash), L"localhost")) return HRESULT_FROM_WIN32(RPC_S_SERVER_UNAVAILABLE);

    auto binding = std::make_shared<Binding>();
    wchar_t file[MAX_PATH * 2] = L"";
    DWORD size = sizeof file;
    RegGetValueW(HKEY_LOCAL_MACHINE, (std::wstring(L"Software\\Classes\\CLSID\\") + qxmb::kEmulatorClassText).c_str(),
                 L"Metabase", RRF_RT_REG_SZ, nullptr, file, &size);
    binding->file = file;
    try {
        binding->snapshot = qxmb::Load(binding->file);
    } catch (...) {
        return E_FAIL;
    }
    const Node* found = binding->snapshot.Find(slash == std::wstring::npos ? L"/" : rest.substr(slash));
    if (!found) return HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND);
    const HRESULT hr = found->FailureFor(L"Bind");
    if (FAILED(hr)) return hr;
    *out = (new NodeObject(binding, found->path))->AsDispatch();
    return S_OK;
}

}  // namespace

extern "C" HRESULT __stdcall DllGetClassObject(REFCLSID clsid, REFIID riid, void** out)
{
    if (clsid == qxmb::kEmulatorClass) return Provider::Handed(new Provider, riid, out);
    *out = nullptr;
    return CLASS_E_CLASSNOTAVAILABLE;
}

extern "C" HRESULT __stdcall DllCanUnloadNow() { return g_objects == 0 ? S_OK : S_FALSE; }

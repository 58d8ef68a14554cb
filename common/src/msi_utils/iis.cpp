#include "msiu/iis.h"

#include <adshlp.h>
#include <comdef.h>

#include <cwctype>

#include "atlu/adsenum.h"
#include "atlu/safearray.h"
#include "msiu/error.h"
#include "pal/strings.h"

namespace msiu {

namespace {

const wchar_t kWebService[] = L"IIsWebService";
const wchar_t kWebServer[] = L"IIsWebServer";

// Class names compare as the platform compares BSTRs: case-sensitive.
bool ClassIs(const atlutils::Bstr& cls, const wchar_t* expected)
{
    atlutils::Bstr want{std::wstring(expected)};
    return VarBstrCmp(cls.Get(), want.Get(), LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
}

atlutils::Bstr ReadClass(IADs* node, const std::wstring& path)
{
    atlutils::Bstr cls;
    const HRESULT hr = node->get_Class(cls.Put());
    if (FAILED(hr)) ThrowError(hr, L"Failed to get Class property for: %s", path.c_str());
    return cls;
}

// A multi-valued property's array: it must have exactly one dimension.
void CheckOneDimension(const VARIANT& value)
{
    if (!(value.vt & VT_ARRAY) || !value.parray || SafeArrayGetDim(value.parray) != 1)
        throw _com_error(kInvalidArg);
}

std::wstring ElementText(const VARIANT& element)
{
    // Entries are taken as BSTRs; the provider delivers nothing else.
    return element.bstrVal ? std::wstring(element.bstrVal, SysStringLen(element.bstrVal)) : std::wstring();
}

bool EqualFoldAZ(const std::wstring& a, const std::wstring& b)
{
    if (a.size() != b.size()) return false;
    auto fold = [](wchar_t c) { return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c; };
    for (size_t i = 0; i < a.size(); ++i)
        if (fold(a[i]) != fold(b[i])) return false;
    return true;
}

VARIANT BoolVariant(bool value)
{
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BOOL;
    v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return v;
}

}  // namespace

std::wstring IISServicePath(const std::wstring& host)
{
    if (host.find(L'/') != std::wstring::npos) ThrowError(kInvalidArg, L"IIS host name invalid: %s", host.c_str());
    return L"IIS://" + host + L"/w3svc";
}

std::wstring JoinIISPath(const std::wstring& left, const std::wstring& right)
{
    if (left.empty() || right.empty()) throw _com_error(kInvalidArg);
    std::wstring joined = left;
    if (joined.back() != L'/') joined += L'/';
    joined += right.front() == L'/' ? right.substr(1) : right;
    return joined;
}

std::wstring IISSitePath(const std::wstring& site, const std::wstring& host)
{
    return JoinIISPath(IISServicePath(host), site);
}

std::wstring IISVirtualDirPath(const std::wstring& site, const std::wstring& vdir, const std::wstring& host)
{
    std::wstring tail = JoinIISPath(site, L"ROOT");
    if (!vdir.empty()) tail = JoinIISPath(tail, vdir);
    return JoinIISPath(IISServicePath(host), tail);
}

IADsPtr GetIISNode(const std::wstring& path)
{
    IADsPtr node;
    try {
        atlutils::CheckCom(ADsGetObject(path.c_str(), IID_IADs, node.PutVoid()));
    } catch (const _com_error& e) {
        ThrowError(e.Error(), L"Unable to fetch IIS metabase node: %s", path.c_str());
    }
    return node;
}

void GetIISSiteBinding(const std::wstring& path, std::wstring& ip, std::wstring& port, std::wstring& host,
                       bool useSSL)
{
    IADsPtr node = GetIISNode(path);
    if (!ClassIs(ReadClass(node.Get(), path), kWebServer))
        ThrowError(kInvalidArg, L"Not a valid web site path: %s", path.c_str());

    const wchar_t* property = useSSL ? L"SecureBindings" : L"ServerBindings";
    atlutils::Variant value;
    HRESULT hr = node->GetEx(atlutils::Bstr(property).Get(), &value);
    if (FAILED(hr)) ThrowError(hr, L"Failed to get %s property for: %s", property, path.c_str());

    std::wstring entry;
    {
        CheckOneDimension(value.Get());
        atlutils::AutoDetachCComSafeArray<tagVARIANT> array(value.Get().parray);
        // A site with several bindings is told by its first one.
        entry = ElementText(array.GetAt(array.GetLowerBound()));
    }
    if (entry.empty()) ThrowError(kInvalidArg, L"Web server binding entry is empty for: %s", path.c_str());

    const size_t first = entry.find(L':');
    const size_t second = first == std::wstring::npos ? first : entry.find(L':', first + 1);
    if (second == std::wstring::npos)
        ThrowError(kInvalidArg, L"Malformed web server binding \"%s\" for: %s", entry.c_str(), path.c_str());
    ip = PAL::Trim(entry.substr(0, first));
    port = PAL::Trim(entry.substr(first + 1, second - first - 1));
    host = PAL::Trim(entry.substr(second + 1));
}

std::wstring GetIISScriptMapTarget(const std::wstring& path, const std::wstring& extension)
{
    IADsPtr node = GetIISNode(path);
    atlutils::Variant value;
    const HRESULT hr = node->GetEx(atlutils::Bstr(std::wstring(L"ScriptMaps")).Get(), &value);
    if (FAILED(hr)) ThrowError(hr, L"Failed to get ScriptMaps property for: %s", path.c_str());
    CheckOneDimension(value.Get());

    atlutils::AutoDetachCComSafeArray<tagVARIANT> array(value.Get().parray);
    const LONG lower = array.GetLowerBound(), upper = array.GetUpperBound();
    for (LONG i = lower; i <= upper; ++i) {
        const std::wstring entry = ElementText(array.GetAt(i));
        if (entry.empty()) continue;
        const size_t comma = entry.find(L',');
        if (PAL::CompareNoCase(PAL::Trim(entry.substr(0, comma)), extension) != 0) continue;
        if (comma == std::wstring::npos) return PAL::Trim(entry);
        const std::wstring rest = entry.substr(comma + 1);
        return PAL::Trim(rest.substr(0, rest.find(L',')));
    }
    return std::wstring();
}

void ListIISChildren(const std::wstring& path, std::vector<IADsPtr>& list)
{
    list.clear();
    try {
        atlutils::ADsEnumerator children(path);
        IADsPtr child;
        while (children.Next(child)) list.push_back(child);
    } catch (const _com_error& e) {
        ThrowError(e.Error(), L"Unable to enumerate IIS metabase container: %s", path.c_str());
    }
}

bool FindIISSiteByComment(const std::wstring& servicePath, const std::wstring& displayName, std::wstring& site)
{
    site.clear();
    {
        IADsPtr service = GetIISNode(servicePath);
        if (!ClassIs(ReadClass(service.Get(), servicePath), kWebService))
            ThrowError(kInvalidArg, L"Not a valid web service path: %s", servicePath.c_str());
    }
    std::vector<IADsPtr> children;
    ListIISChildren(servicePath, children);
    for (const IADsPtr& child : children) {
        if (!child) throw _com_error(E_NOINTERFACE);
        atlutils::Bstr childPath;
        HRESULT hr = child->get_ADsPath(childPath.Put());
        if (FAILED(hr))
            ThrowError(hr, L"Failed to get ADsPath property of child node.  Parent node was: %s", servicePath.c_str());
        const std::wstring where = childPath.Text();
        if (!ClassIs(ReadClass(child.Get(), where), kWebServer)) continue;

        atlutils::Bstr name;
        hr = child->get_Name(name.Put());
        if (FAILED(hr)) ThrowError(hr, L"Failed to get Name property for: %s", where.c_str());
        atlutils::Variant comment;
        hr = child->Get(atlutils::Bstr(std::wstring(L"ServerComment")).Get(), &comment);
        if (FAILED(hr)) ThrowError(hr, L"Failed to get ServerComment property for: %s", where.c_str());
        const std::wstring text = comment.Get().vt == VT_BSTR ? ElementText(comment.Get()) : std::wstring();
        if (EqualFoldAZ(text, displayName)) {
            site = name.Text();
            return true;
        }
    }
    return false;
}

void AddIISExtensionFile(IISWebService* service, const std::wstring& file, const std::wstring& groupId,
                         const std::wstring& description, bool access, bool canDelete)
{
    atlutils::Bstr bFile(file), bGroup(groupId), bDescription(description);
    const HRESULT hr = service->AddExtensionFile(bFile.Get(), BoolVariant(access), bGroup.Get(),
                                                 BoolVariant(canDelete), bDescription.Get());
    if (FAILED(hr)) ThrowError(hr, L"IISWebService::AddExtensionFile() failed for: %s", file.c_str());
}

void EnableIISExtensionFile(IISWebService* service, const std::wstring& file)
{
    atlutils::Bstr bFile(file);
    const HRESULT hr = service->EnableExtensionFile(bFile.Get());
    if (FAILED(hr)) ThrowError(hr, L"IISWebService::EnableExtensionFile() failed for: %s", file.c_str());
}

}  // namespace msiu

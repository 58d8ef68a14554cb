// The shell's path header first: pal/strings.h undoes its StrToInt macro.
#include <windows.h>
#include <commctrl.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "cluster/node_edit_dlg.h"

#include "msiu/error.h"
#include "msiu/network.h"
#include "pal/exception.h"
#include "pal/strings.h"

using namespace cluster_ids;

namespace {

DWORD_PTR Insert(const std::wstring& text) { return reinterpret_cast<DWORD_PTR>(text.c_str()); }

[[noreturn]] void Fail(UINT id, std::initializer_list<DWORD_PTR> inserts = {})
{
    msiu::ThrowResourceError(msiu::kInvalidArg, id, inserts);
}

int ToInt(const std::wstring& text, const std::locale& locale)
{
    try {
        return PAL::StrToInt(text, 10, locale);
    } catch (const PAL::StrCvtError&) {
        msiu::ThrowError(msiu::kInvalidArg, L"Not a valid integer");
    }
}

// A usable address that is IPv6 still can't be used: this version speaks IPv4.
void RequireUsableIPv4(int kind, const std::wstring& address)
{
    if (kind == msiu::kIPv4Address && !msiu::IsUsableIPv4Address(address, 13))
        Fail(kAddressNotUsable, {Insert(address)});
    if (kind == msiu::kIPv6Address) {
        if (!msiu::IsUsableIPv6Address(address, 13)) Fail(kAddressNotUsable, {Insert(address)});
        Fail(kNoIPv6);
    }
}

}  // namespace

void NodeEditDlg::RunChecks(const NodeEditValues& v, ClusterNode& node, int& focus, const std::locale& locale)
{
    focus = kUNCPath;
    std::wstring s = msiu::TrimSpace(v.uncPath);
    if (s.empty()) Fail(kUNCPathEmpty);
    const std::wstring pathSet = kPathSet;
    if (s.find_first_of(pathSet) != std::wstring::npos) Fail(kPathBadCharacters, {Insert(pathSet)});
    if (!PathIsUNCW(s.c_str())) Fail(kNotUNCPath);
    if (!msiu::HasUNCShare(s)) Fail(kUNCPathNoShare);
    node.SetUNCPath(s);
    const std::wstring server = node.GetUNCServer(false);
    const int kind = msiu::ClassifyHostAddress(server);
    if (kind == msiu::kHostName && !msiu::HostExists(server)) Fail(kUNCServerMissing, {Insert(server)});
    RequireUsableIPv4(kind, server);
    if (kind == msiu::kNotAnAddress) Fail(kUNCServerInvalid, {Insert(server)});

    focus = kLocalPath;
    s = msiu::TrimSpace(v.localPath);
    if (s.empty()) Fail(kLocalPathEmpty);
    if (s.find_first_of(pathSet) != std::wstring::npos) Fail(kPathBadCharacters, {Insert(pathSet)});
    if (PathGetDriveNumberW(s.c_str()) == -1) Fail(kLocalPathNoDrive);
    node.SetLocalPath(s);

    focus = kHostName;
    s.clear();
    if (v.useHostName) {
        s = msiu::TrimSpace(v.hostName);
        if (s.empty()) Fail(kHostNameEmpty);
        if (s.find_first_of(kNameSet) != std::wstring::npos) Fail(kHostNameBadCharacters);
        const int hostKind = msiu::ClassifyHostAddress(s);
        if (hostKind == msiu::kIPv4Address || hostKind == msiu::kIPv6Address) Fail(kHostNameIsAddress);
        if (hostKind == msiu::kNotAnAddress) Fail(kHostNameLabel, {Insert(s)});
        if (!msiu::HostExists(s)) Fail(kHostNameMissing, {Insert(s)});
    }
    node.SetHostName(s);

    focus = kIPAddress;
    s.clear();
    if (v.useIPAddress) {
        s = msiu::TrimSpace(v.ipAddress);
        if (s.empty()) Fail(kIPAddressEmpty);
        if (s.find_first_of(kNameSet) != std::wstring::npos) Fail(kIPAddressBadCharacters);
        const int addressKind = msiu::ClassifyHostAddress(s);
        if (addressKind != msiu::kIPv4Address && addressKind != msiu::kIPv6Address)
            Fail(kIPAddressFormat, {Insert(s)});
        RequireUsableIPv4(addressKind, s);
    }
    node.SetIPAddress(s);

    focus = kPort;
    const int port = ToInt(v.port, locale);
    if (port < 1 || port > 65535) Fail(kPortRange);
    node.port = static_cast<uint16_t>(port);

    focus = kCpuCount;
    const int cpus = ToInt(v.cpuCount, locale);
    if (cpus < 1 || cpus > 128) Fail(kCpuRange, {1, 128});
    node.cpuCount = static_cast<uint16_t>(cpus);

    // Whatever the user left open is filled from the name service, so that
    // every accepted node has an address and a name.
    focus = node.hostName.empty() ? kUNCPath : kUseHostName;
    if (node.ipAddress.empty()) {
        const std::wstring name = node.hostName.empty() ? node.GetUNCServer(false) : node.hostName;
        const std::wstring address = msiu::ResolveHostToAddress(name, AF_INET);
        if (msiu::ClassifyHostAddress(address) == msiu::kIPv6Address) Fail(kNoIPv6);
        node.SetIPAddress(address);
    }
    if (node.hostName.empty()) node.SetHostName(node.GetUNCServer(false));
}

std::optional<NodeEditFailure> NodeEditDlg::ValidateAndCommit(const NodeEditValues& values, ClusterNode& node)
{
    int focus = 0;
    try {
        RunChecks(values, node, focus, msiu::DialogLocale());
    } catch (const msiu::MSIError& e) {
        return NodeEditFailure{focus, e.Text()};
    }
    return std::nullopt;
}

std::wstring NodeEditDlg::SuggestLocalPath(const std::wstring& uncPathText)
{
    std::wstring s = msiu::TrimSpace(uncPathText);
    std::wstring drive = L"C", directory = L"QuorixNode";
    bool shareIsDrive = false;
    if (!s.empty() && s.back() == L'\\') s.pop_back();

    const std::locale& classic = std::locale::classic();
    size_t shareStart = std::wstring::npos;
    const size_t firstSeparator = s.size() > 2 ? s.find_first_of(L"\\/", 2) : std::wstring::npos;
    if (firstSeparator != std::wstring::npos) {
        shareStart = firstSeparator + 1;
        if (shareStart < s.size()) {
            const std::wstring prefix = s.substr(shareStart, 2);
            if (std::isalpha(prefix[0], classic) && (prefix.size() == 1 || std::ispunct(prefix[1], classic))) {
                drive = prefix.substr(0, 1);
                shareIsDrive = true;
            }
        }
    }
    const size_t lastSeparator = s.find_last_of(L"\\/");
    if (lastSeparator != std::wstring::npos && lastSeparator + 1 < s.size()) {
        const size_t lastStart = lastSeparator + 1;
        if (lastStart == shareStart && shareIsDrive)
            directory.clear();
        else
            directory = s.substr(lastStart);
    }
    return drive + L":\\" + directory;
}

// ---- the window side -----------------------------------------------------

NodeEditDlg::NodeEditDlg(ClusterNode& node) : node_(node)
{
    // The processor spinner is a common control: its class must be there.
    INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_UPDOWN_CLASS};
    InitCommonControlsEx(&controls);
}

BOOL NodeEditDlg::ProcessWindowMessage(HWND, UINT message, WPARAM wParam, LPARAM, LRESULT& result)
{
    if (message == WM_INITDIALOG) {
        result = Guarded([&] { return OnInitDialog(); });
        return TRUE;
    }
    if (message != WM_COMMAND) return FALSE;
    const int id = LOWORD(wParam), code = HIWORD(wParam);
    if (code == BN_CLICKED) {
        switch (id) {
        case IDOK: result = Guarded([&] { return OnOK(); }); return TRUE;
        case IDCANCEL: result = Guarded([&] { EndDialog(IDCANCEL); return LRESULT(0); }); return TRUE;
        case kBrowse: result = Guarded([&] { return OnBrowse(); }); return TRUE;
        case kUseHostName:
        case kUseIPAddress:
            result = Guarded([&] {
                EnableItem(id + 1, IsItemChecked(id));
                return LRESULT(0);
            });
            return TRUE;
        default: break;
        }
    }
    if (id == kLocalPath && code == EN_SETFOCUS) {
        result = Guarded([&] { return OnLocalPathFocus(); });
        return TRUE;
    }
    return FALSE;
}

LRESULT NodeEditDlg::OnInitDialog()
{
    SetItemText(kUNCPath, node_.uncPath);
    SetItemText(kLocalPath, node_.localPath);
    SetItemInt(kPort, node_.port);
    SetItemInt(kCpuCount, node_.cpuCount);
    SendDlgItemMessageW(m_hWnd, kCpuSpinner, UDM_SETRANGE32, 1, 128);
    if (!node_.hostName.empty()) {
        CheckItem(kUseHostName, true);
        EnableItem(kHostName, true);
        SetItemText(kHostName, node_.hostName);
    }
    if (!node_.ipAddress.empty()) {
        CheckItem(kUseIPAddress, true);
        EnableItem(kIPAddress, true);
        SetItemText(kIPAddress, node_.ipAddress);
    }
    return 0;
}

NodeEditValues NodeEditDlg::ReadValues() const
{
    NodeEditValues v;
    v.uncPath = GetItemText(kUNCPath, false);
    v.localPath = GetItemText(kLocalPath, false);
    v.useHostName = IsItemChecked(kUseHostName);
    if (v.useHostName) v.hostName = GetItemText(kHostName, false);
    v.useIPAddress = IsItemChecked(kUseIPAddress);
    if (v.useIPAddress) v.ipAddress = GetItemText(kIPAddress, false);
    v.port = GetItemText(kPort, false);
    v.cpuCount = GetItemText(kCpuCount, false);
    return v;
}

LRESULT NodeEditDlg::OnOK()
{
    const NodeEditValues values = ReadValues();
    int focus = 0;
    try {
        RunChecks(values, node_, focus, Locale());
    } catch (...) {
        if (focus) FocusItem(focus);
        throw;
    }
    EndDialog(IDOK);
    return 0;
}

LRESULT NodeEditDlg::OnBrowse()
{
    std::wstring path;
    if (msiu::BrowseForFolder(m_hWnd, path, msiu::LoadResourceString(kBrowseTitle), CSIDL_NETWORK, false)) {
        SetItemText(kUNCPath, path);
        FocusItem(kLocalPath);
    }
    return 0;
}

LRESULT NodeEditDlg::OnLocalPathFocus()
{
    if (!GetItemText(kLocalPath, true).empty()) return 0;
    const std::wstring unc = GetItemText(kUNCPath, true);
    if (!msiu::HasUNCShare(unc)) return 0;
    SetItemText(kLocalPath, SuggestLocalPath(unc));
    return 0;
}

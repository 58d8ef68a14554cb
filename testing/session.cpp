#include "qxtest/session.h"

#include <objbase.h>
#include <shellapi.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qxtest {

namespace {

void Check(UINT r, const char* what)
{
    if (r != ERROR_SUCCESS) throw std::runtime_error(std::string(what) + " failed: " + std::to_string(r));
}

std::wstring NewGuid()
{
    GUID g;
    CoCreateGuid(&g);
    wchar_t text[64];
    StringFromGUID2(g, text, 64);
    return text;
}

std::wstring UniqueTempName(const wchar_t* prefix)
{
    wchar_t dir[MAX_PATH];
    GetTempPathW(MAX_PATH, dir);
    static unsigned counter = 0;
    return std::wstring(dir) + prefix + std::to_wstring(GetCurrentProcessId()) + L"_" +
           std::to_wstring(GetTickCount()) + L"_" + std::to_wstring(++counter);
}

void Exec(MSIHANDLE db, const std::wstring& sql)
{
    MSIHANDLE view = 0;
    UINT r = MsiDatabaseOpenViewW(db, sql.c_str(), &view);
    if (r != ERROR_SUCCESS) throw std::runtime_error("bad SQL in test package");
    r = MsiViewExecute(view, 0);
    MsiViewClose(view);
    MsiCloseHandle(view);
    Check(r, "MsiViewExecute");
}

std::wstring Quote(const std::wstring& s)
{
    std::wstring out;
    for (wchar_t c : s) {
        if (c == L'\'') out += L"''";
        else out += c;
    }
    return out;
}

std::wstring FromEnvDir(const char* name, const wchar_t* fallback)
{
    const char* v = std::getenv(name);
    std::string unixPath = v ? v : "";
    if (unixPath.empty()) return fallback;
    std::wstring w(unixPath.begin(), unixPath.end());
    for (auto& c : w)
        if (c == L'/') c = L'\\';
    return L"Z:" + w;
}

}  // namespace

PackageFile::PackageFile(const std::vector<std::pair<std::wstring, std::wstring>>& properties,
                         const std::vector<std::wstring>& extraSql)
    : path_(UniqueTempName(L"qxpkg") + L".msi")
{
    MSIHANDLE db = 0;
    Check(MsiOpenDatabaseW(path_.c_str(), MSIDBOPEN_CREATE, &db), "MsiOpenDatabase");
    Exec(db, L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` CHAR(0) NOT NULL "
             L"PRIMARY KEY `Property`)");
    std::vector<std::pair<std::wstring, std::wstring>> all = {
        {L"ProductCode", NewGuid()},
        {L"ProductName", L"Quorix test package"},
        {L"ProductLanguage", L"1033"},
        {L"ProductVersion", L"1.0.0"},
        {L"Manufacturer", L"Quorix"},
    };
    for (const auto& p : properties) all.push_back(p);
    for (const auto& p : all)
        if (!p.second.empty())  // an empty property is no property; the column refuses it
            Exec(db, L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('" + Quote(p.first) + L"', '" +
                     Quote(p.second) + L"')");
    for (const auto& sql : extraSql) Exec(db, sql);

    MSIHANDLE summary = 0;
    Check(MsiGetSummaryInformationW(db, nullptr, 10, &summary), "MsiGetSummaryInformation");
    MsiSummaryInfoSetPropertyW(summary, 7 /*PID_TEMPLATE*/, VT_LPSTR, 0, nullptr, L"x64;1033");
    MsiSummaryInfoSetPropertyW(summary, 9 /*PID_REVNUMBER*/, VT_LPSTR, 0, nullptr, NewGuid().c_str());
    MsiSummaryInfoSetPropertyW(summary, 14 /*PID_PAGECOUNT*/, VT_I4, 200, nullptr, nullptr);
    MsiSummaryInfoSetPropertyW(summary, 15 /*PID_WORDCOUNT*/, VT_I4, 2, nullptr, nullptr);
    MsiSummaryInfoPersist(summary);
    MsiCloseHandle(summary);
    Check(MsiDatabaseCommit(db), "MsiDatabaseCommit");
    MsiCloseHandle(db);
}

PackageFile::~PackageFile()
{
    DeleteFileW(path_.c_str());
}

std::vector<std::wstring> FeatureTables(const std::vector<std::pair<std::wstring, int>>& features,
                                        const wchar_t* guidStem)
{
    std::vector<std::wstring> sql = {
        L"CREATE TABLE `Directory` (`Directory` CHAR(72) NOT NULL, `Directory_Parent` CHAR(72), "
        L"`DefaultDir` CHAR(255) NOT NULL PRIMARY KEY `Directory`)",
        L"INSERT INTO `Directory` (`Directory`, `DefaultDir`) VALUES ('TARGETDIR', 'SourceDir')",
        L"CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Feature_Parent` CHAR(38), `Title` CHAR(64), "
        L"`Description` CHAR(255), `Display` SHORT, `Level` SHORT NOT NULL, `Directory_` CHAR(72), "
        L"`Attributes` SHORT NOT NULL PRIMARY KEY `Feature`)",
        L"CREATE TABLE `Component` (`Component` CHAR(72) NOT NULL, `ComponentId` CHAR(38), "
        L"`Directory_` CHAR(72) NOT NULL, `Attributes` SHORT NOT NULL, `Condition` CHAR(255), "
        L"`KeyPath` CHAR(72) PRIMARY KEY `Component`)",
        L"CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT NULL "
        L"PRIMARY KEY `Feature_`, `Component_`)",
    };
    int n = 0;
    for (const auto& f : features) {
        wchar_t number[8];
        swprintf(number, 8, L"%02X}", ++n);
        const std::wstring guid = std::wstring(guidStem) + number;
        sql.push_back(L"INSERT INTO `Feature` (`Feature`, `Level`, `Attributes`) VALUES ('" + f.first + L"', " +
                      std::to_wstring(f.second) + L", 0)");
        sql.push_back(L"INSERT INTO `Component` (`Component`, `ComponentId`, `Directory_`, `Attributes`) VALUES ('C_" +
                      f.first + L"', '" + guid + L"', 'TARGETDIR', 0)");
        sql.push_back(L"INSERT INTO `FeatureComponents` (`Feature_`, `Component_`) VALUES ('" + f.first + L"', 'C_" +
                      f.first + L"')");
    }
    return sql;
}

MessageCapture::MessageCapture()
{
    MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
    const DWORD mask = INSTALLLOGMODE_FATALEXIT | INSTALLLOGMODE_ERROR | INSTALLLOGMODE_WARNING |
                       INSTALLLOGMODE_INFO | INSTALLLOGMODE_USER;
    MsiSetExternalUIRecord(&MessageCapture::Handler, mask, this, &previous_);
}

MessageCapture::~MessageCapture()
{
    MsiSetExternalUIRecord(previous_, 0, nullptr, nullptr);
}

int WINAPI MessageCapture::Handler(LPVOID context, UINT type, MSIHANDLE record)
{
    auto* self = static_cast<MessageCapture*>(context);
    std::wstring text;
    if (record) {
        DWORD cch = 0;
        wchar_t empty[1] = L"";
        MsiRecordGetStringW(record, 0, empty, &cch);
        std::vector<wchar_t> buffer(cch + 1);
        cch = static_cast<DWORD>(buffer.size());
        MsiRecordGetStringW(record, 0, buffer.data(), &cch);
        text.assign(buffer.data(), cch);
    }
    const UINT kind = type & 0xFF000000;
    self->messages.push_back({kind, text});
    if (!self->cancelOn.empty() && text.find(self->cancelOn) != std::wstring::npos) return IDCANCEL;
    return IDOK;
}

std::vector<std::wstring> MessageCapture::Texts(UINT type) const
{
    std::vector<std::wstring> out;
    for (const auto& m : messages)
        if (m.type == type) out.push_back(m.text);
    return out;
}

std::vector<std::wstring> MessageCapture::AllTexts() const
{
    std::vector<std::wstring> out;
    for (const auto& m : messages) out.push_back(m.text);
    return out;
}

Session::Session(const Props& properties,
                 const std::vector<std::wstring>& extraSql)
    : package_(properties, extraSql)
{
    Check(MsiOpenPackageW(package_.Path().c_str(), &handle_), "MsiOpenPackage");
    capture.messages.clear();
}

Session::~Session()
{
    if (handle_) MsiCloseHandle(handle_);
}

std::wstring Session::Property(const std::wstring& name) const
{
    DWORD cch = 0;
    wchar_t empty[1] = L"";
    MsiGetPropertyW(handle_, name.c_str(), empty, &cch);
    std::vector<wchar_t> buffer(cch + 1);
    cch = static_cast<DWORD>(buffer.size());
    MsiGetPropertyW(handle_, name.c_str(), buffer.data(), &cch);
    return std::wstring(buffer.data(), cch);
}

void Session::SetProperty(const std::wstring& name, const std::wstring& value)
{
    Check(MsiSetPropertyW(handle_, name.c_str(), value.c_str()), "MsiSetProperty");
}

TempDir::TempDir() : path_(UniqueTempName(L"qxdir") + L"\\")
{
    CreateDirectoryW(path_.c_str(), nullptr);
}

TempDir::~TempDir()
{
    std::wstring from = path_.substr(0, path_.size() - 1);
    from.push_back(L'\0');  // SHFileOperation wants a double-terminated list
    SHFILEOPSTRUCTW op{};
    op.wFunc = FO_DELETE;
    op.pFrom = from.c_str();
    op.fFlags = FOF_NOCONFIRMATION | FOF_NOERRORUI | FOF_SILENT;
    SHFileOperationW(&op);
}

std::string ReadFileBytes(const std::wstring& path)
{
    std::ifstream in(path.c_str(), std::ios::binary);
    if (!in) throw std::runtime_error("cannot read test file");
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFileBytes(const std::wstring& path, const std::string& bytes)
{
    std::ofstream out(path.c_str(), std::ios::binary | std::ios::trunc);
    out << bytes;
    if (!out) throw std::runtime_error("cannot write test file");
}

bool Exists(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring SourceDir() { return FromEnvDir("QX_SOURCE_DIR", L".."); }
std::wstring BinaryDir() { return FromEnvDir("QX_BINARY_DIR", L"."); }
std::wstring ActionDllPath() { return BinaryDir() + L"\\custom_actions\\quorixca.dll"; }

ActionFn Action(const char* name)
{
    static HMODULE dll = LoadLibraryW(ActionDllPath().c_str());
    if (!dll) throw std::runtime_error("quorixca.dll not found");
    auto fn = reinterpret_cast<ActionFn>(GetProcAddress(dll, name));
    if (!fn) throw std::runtime_error(std::string("no export ") + name);
    return fn;
}

std::wstring SystemText(HRESULT code)
{
    wchar_t* buffer = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                             static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text = n ? std::wstring(buffer, n) : std::wstring();
    if (buffer) LocalFree(buffer);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
    return text;
}

}  // namespace qxtest

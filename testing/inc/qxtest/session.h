// In-process installer sessions for tests: a small package made on the fly,
// opened with MsiOpenPackageW, and every message the actions send captured;
// temporary folders and files, and where the build is.
#pragma once

#include <windows.h>
#include <msi.h>
#include <msiquery.h>
#include <objbase.h>
#include <shellapi.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qxtest {

using Props = std::vector<std::pair<std::wstring, std::wstring>>;

namespace detail {

inline void Check(UINT r, const char* what) { if (r) throw std::runtime_error(std::string(what) + " failed: " + std::to_string(r)); }

inline std::wstring NewGuid()
{
    GUID g;
    CoCreateGuid(&g);
    wchar_t text[64];
    StringFromGUID2(g, text, 64);
    return text;
}

inline std::wstring UniqueTempName(const wchar_t* prefix)
{
    wchar_t dir[MAX_PATH];
    GetTempPathW(MAX_PATH, dir);
    static unsigned counter = 0;
    return std::wstring(dir) + prefix + std::to_wstring(GetCurrentProcessId()) + L"_" +
           std::to_wstring(GetTickCount()) + L"_" + std::to_wstring(++counter);
}

inline void Exec(MSIHANDLE db, const std::wstring& sql)
{
    PMSIHANDLE view;
    if (MsiDatabaseOpenViewW(db, sql.c_str(), &view) != ERROR_SUCCESS) throw std::runtime_error("bad SQL in test package");
    Check(MsiViewExecute(view, 0), "MsiViewExecute");
}

inline std::wstring Quote(const std::wstring& s)
{
    std::wstring out;
    for (wchar_t c : s) out += c == L'\'' ? L"''" : std::wstring(1, c);
    return out;
}

// A directory of the environment CTest sets, a Unix path as Wine's drive Z:
// sees it.
inline std::wstring FromEnvDir(const char* name, const wchar_t* fallback)
{
    const char* v = std::getenv(name);
    if (!v || !*v) return fallback;
    std::wstring w = L"Z:";
    for (; *v; ++v) w += *v == '/' ? L'\\' : static_cast<wchar_t>(*v);
    return w;
}

// The text an installer call hands back through a buffer it sizes first.
template <class Get>
std::wstring Fetch(Get&& get)
{
    DWORD cch = 0;
    wchar_t empty[1] = L"";
    get(empty, &cch);
    std::vector<wchar_t> buffer(++cch);
    get(buffer.data(), &cch);
    return std::wstring(buffer.data(), cch);
}

}  // namespace detail

// Paths of the build.
inline std::wstring SourceDir() { return detail::FromEnvDir("QX_SOURCE_DIR", L".."); }
inline std::wstring BinaryDir() { return detail::FromEnvDir("QX_BINARY_DIR", L"."); }
inline std::wstring ActionDllPath() { return BinaryDir() + L"\\custom_actions\\quorixca.dll"; }

// The exported actions of quorixca.dll, loaded once.
using ActionFn = UINT(__stdcall*)(MSIHANDLE);
inline ActionFn Action(const char* name)
{
    static HMODULE dll = LoadLibraryW(ActionDllPath().c_str());
    if (!dll) throw std::runtime_error("quorixca.dll not found");
    auto fn = reinterpret_cast<ActionFn>(reinterpret_cast<void*>(GetProcAddress(dll, name)));
    if (!fn) throw std::runtime_error(std::string("no export ") + name);
    return fn;
}

// A minimal package database on disk: Property table with the given
// properties, summary information, and any extra SQL the test wants.
class PackageFile {
public:
    explicit PackageFile(const Props& properties = {}, const std::vector<std::wstring>& extraSql = {})
    {
        using namespace detail;
        PMSIHANDLE db, summary;
        Check(MsiOpenDatabaseW(path_.c_str(), MSIDBOPEN_CREATE, &db), "MsiOpenDatabase");
        Exec(db, L"CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` CHAR(0) NOT NULL PRIMARY KEY `Property`)");
        Props all = {{L"ProductCode", NewGuid()}, {L"ProductName", L"Quorix test package"}, {L"ProductLanguage", L"1033"},
                     {L"ProductVersion", L"1.0.0"}, {L"Manufacturer", L"Quorix"}};
        all.insert(all.end(), properties.begin(), properties.end());
        for (const auto& p : all)
            if (!p.second.empty())  // an empty property is no property; the column refuses it
                Exec(db, L"INSERT INTO `Property` (`Property`, `Value`) VALUES ('" + Quote(p.first) + L"', '" +
                         Quote(p.second) + L"')");
        for (const auto& sql : extraSql) Exec(db, sql);
        Check(MsiGetSummaryInformationW(db, nullptr, 10, &summary), "MsiGetSummaryInformation");
        MsiSummaryInfoSetPropertyW(summary, 7 /*PID_TEMPLATE*/, VT_LPSTR, 0, nullptr, L"x64;1033");
        MsiSummaryInfoSetPropertyW(summary, 9 /*PID_REVNUMBER*/, VT_LPSTR, 0, nullptr, NewGuid().c_str());
        MsiSummaryInfoSetPropertyW(summary, 14 /*PID_PAGECOUNT*/, VT_I4, 200, nullptr, nullptr);
        MsiSummaryInfoSetPropertyW(summary, 15 /*PID_WORDCOUNT*/, VT_I4, 2, nullptr, nullptr);
        MsiSummaryInfoPersist(summary);
        Check(MsiDatabaseCommit(db), "MsiDatabaseCommit");
    }
    ~PackageFile() { DeleteFileW(path_.c_str()); }
    const std::wstring& Path() const { return path_; }

private:
    std::wstring path_ = detail::UniqueTempName(L"qxpkg") + L".msi";
};

// The statements of testing/kit/tables.txt, and the columns Row() fills for
// each table.
inline const std::pair<std::vector<std::wstring>, std::map<std::wstring, std::wstring>>& Schema()
{
    static const auto schema = [] {
        std::pair<std::vector<std::wstring>, std::map<std::wstring, std::wstring>> s;
        std::wifstream file((SourceDir() + L"\\testing\\kit\\tables.txt").c_str());
        if (!file) throw std::runtime_error("testing/kit/tables.txt not found");
        for (std::wstring line; std::getline(file, line);)
            if (line.rfind(L"columns ", 0) == 0) s.second[line.substr(8, line.find(L' ', 8) - 8)] = line.substr(line.find(L' ', 8) + 1);
            else if (!line.empty() && line[0] != L'#') s.first.push_back(line);
        return s;
    }();
    return schema;
}

// The tables the actions read, created empty, with `rows` added; a row is
// best made with Row(), its values in the order of the columns Row() names.
inline std::vector<std::wstring> Tables(const std::vector<std::wstring>& rows = {})
{
    std::vector<std::wstring> sql = Schema().first;
    sql.insert(sql.end(), rows.begin(), rows.end());
    return sql;
}
inline std::wstring Row(const std::wstring& table, const std::wstring& values)
{
    return L"INSERT INTO `" + table + L"` (" + Schema().second.at(table) + L") VALUES (" + values + L")";
}

// Those tables with, for each (name, level) pair, a feature and one empty
// component of it installed into TARGETDIR. Component ids are guidStem (35
// characters) followed by the feature's number in two hex digits, so that
// packages of different tests keep their components apart.
inline std::vector<std::wstring> FeatureTables(const std::vector<std::pair<std::wstring, int>>& features,
                                               const wchar_t* guidStem)
{
    std::vector<std::wstring> rows;
    wchar_t number[8];
    for (const auto& [name, level] : features) {
        swprintf(number, 8, L"%02X}", static_cast<unsigned>(rows.size() / 3 + 1));
        rows.push_back(Row(L"Feature", L"'" + name + L"', " + std::to_wstring(level) + L", 0"));
        rows.push_back(Row(L"Component", L"'C_" + name + L"', '" + guidStem + number + L"', 'TARGETDIR', 0, ''"));
        rows.push_back(Row(L"FeatureComponents", L"'" + name + L"', 'C_" + name + L"'"));
    }
    return Tables(rows);
}

// A message's type (0, 0x1000000, 0x2000000, 0x4000000) and its field 0 as the action set it.
struct Message { UINT type; std::wstring text; };

// Captures every message of the external UI; can answer cancel.
class MessageCapture {
public:
    MessageCapture()
    {
        MsiSetInternalUI(INSTALLUILEVEL_NONE, nullptr);
        const DWORD mask = INSTALLLOGMODE_FATALEXIT | INSTALLLOGMODE_ERROR | INSTALLLOGMODE_WARNING |
                           INSTALLLOGMODE_INFO | INSTALLLOGMODE_USER;
        MsiSetExternalUIRecord(&Handler, mask, this, &previous_);
    }
    ~MessageCapture() { MsiSetExternalUIRecord(previous_, 0, nullptr, nullptr); }

    std::vector<Message> messages;
    // Answer IDCANCEL to the message whose text contains this, if set.
    std::wstring cancelOn;
    // Texts of messages of one type, or of all, in order.
    std::vector<std::wstring> Texts(UINT type) const { return Select([&](const Message& m) { return m.type == type; }); }
    std::vector<std::wstring> AllTexts() const { return Select([](const Message&) { return true; }); }

private:
    template <class Pick>
    std::vector<std::wstring> Select(Pick&& pick) const
    {
        std::vector<std::wstring> out;
        for (const auto& m : messages)
            if (pick(m)) out.push_back(m.text);
        return out;
    }
    static int WINAPI Handler(LPVOID context, UINT type, MSIHANDLE record)
    {
        auto* self = static_cast<MessageCapture*>(context);
        const std::wstring text =
            record ? detail::Fetch([&](wchar_t* b, DWORD* n) { MsiRecordGetStringW(record, 0, b, n); }) : L"";
        self->messages.push_back({type & 0xFF000000, text});
        return !self->cancelOn.empty() && text.find(self->cancelOn) != std::wstring::npos ? IDCANCEL : IDOK;
    }
    INSTALLUI_HANDLER_RECORD previous_ = nullptr;
};

// An open package session with a message capture around it.
class Session {
public:
    explicit Session(const Props& properties = {}, const std::vector<std::wstring>& extraSql = {})
        : package_(properties, extraSql)
    {
        detail::Check(MsiOpenPackageW(package_.Path().c_str(), &handle_), "MsiOpenPackage");
        capture.messages.clear();
    }
    ~Session() { MsiCloseHandle(handle_); }
    MSIHANDLE Handle() const { return handle_; }
    std::wstring Property(const std::wstring& name) const
    {
        return detail::Fetch([&](wchar_t* b, DWORD* n) { MsiGetPropertyW(handle_, name.c_str(), b, n); });
    }
    void SetProperty(const std::wstring& name, const std::wstring& value)
    {
        detail::Check(MsiSetPropertyW(handle_, name.c_str(), value.c_str()), "MsiSetProperty");
    }

    MessageCapture capture;

private:
    PackageFile package_;
    MSIHANDLE handle_ = 0;
};

// A temporary directory, removed with everything in it at the end.
class TempDir {
public:
    TempDir() { CreateDirectoryW(path_.c_str(), nullptr); }
    ~TempDir()
    {
        const std::wstring from = path_.substr(0, path_.size() - 1) + L'\0';  // SHFileOperation wants a double-terminated list
        SHFILEOPSTRUCTW op{nullptr, FO_DELETE, from.c_str(), nullptr,
                           FOF_NOCONFIRMATION | FOF_NOERRORUI | FOF_SILENT, FALSE, nullptr, nullptr};
        SHFileOperationW(&op);
    }
    const std::wstring& Path() const { return path_; }  // ends in a backslash
    std::wstring File(const std::wstring& name) const { return path_ + name; }

private:
    std::wstring path_ = detail::UniqueTempName(L"qxdir") + L"\\";
};

inline std::string ReadFileBytes(const std::wstring& path)
{
    std::ifstream in(path.c_str(), std::ios::binary);
    if (!in) throw std::runtime_error("cannot read test file");
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteFileBytes(const std::wstring& path, const std::string& bytes)
{
    std::ofstream out(path.c_str(), std::ios::binary | std::ios::trunc);
    if (!(out << bytes)) throw std::runtime_error("cannot write test file");
}

inline bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

// The narrow text of the platform's message for a Windows error, as the
// library itself would produce it.
inline std::wstring SystemText(HRESULT code)
{
    wchar_t* buffer = nullptr;
    const DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM, nullptr,
                                   static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&buffer), 0, nullptr);
    std::wstring text(buffer ? buffer : L"", n);
    LocalFree(buffer);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
    return text;
}

}  // namespace qxtest
